// Sensors and interval summaries against what the C++ library and plain code
// need for the same work.  Library and floor are timed in turn in the same
// run, so that the ratio means something on any machine.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>
#include <unordered_map>
#include <vector>

#include "libkor.h"

namespace {

// The sensors of a machine, and one reading of each.
struct machine {
    explicit machine(uint32_t nsensors)
    {
        for (uint32_t i = 0; i < nsensors; ++i) {
            names.push_back("SENSOR " + std::to_string(i) + " Temp");
            readings.push_back(static_cast<float>(i % 100) / 3.0f);
        }
        for (const std::string &name : names) pointers.push_back(name.c_str());
        sensors = sensor_array_create_from_names(pointers.data(), nsensors);
        if (sensors == nullptr) std::abort();
        summaries.resize(nsensors);
        for (hist_value &hv : summaries) hist_value_init(&hv);
    }
    machine(const machine &) = delete;
    machine &operator=(const machine &) = delete;
    ~machine() { sensor_array_destroy(&sensors); }

    uint32_t size() const { return static_cast<uint32_t>(names.size()); }

    std::vector<std::string> names;
    std::vector<const char *> pointers;
    std::vector<float> readings;
    std::vector<hist_value> summaries;
    sensor_array *sensors = nullptr;
};

// --- looking names up, as reading a names record does ---

void intern_with_library(machine &m)
{
    sensor_array *again =
        sensor_array_create_from_names(m.pointers.data(), m.size());
    sensor_array_destroy(&again);
}

void intern_with_floor(machine &m)
{
    static std::unordered_map<std::string, uint32_t> references;
    if (references.size() != m.size()) references.clear();
    for (const char *name : m.pointers) ++references[name];
    for (const char *name : m.pointers) --references[name];
}

// --- first registration and last release ---

void register_with_library(machine &m)
{
    sensor_array_destroy(&m.sensors);
    m.sensors = sensor_array_create_from_names(m.pointers.data(), m.size());
}

void register_with_floor(machine &m)
{
    std::unordered_map<std::string, uint32_t> references;
    for (const char *name : m.pointers) ++references[name];
    for (const char *name : m.pointers) references.erase(name);
}

// --- one sample into its summaries ---

void update_with_library(machine &m)
{
    for (uint32_t i = 0; i < m.size(); ++i)
        hist_value_update(&m.summaries[i], m.readings[i]);
}

void update_with_floor(machine &m)
{
    for (uint32_t i = 0; i < m.size(); ++i) {
        hist_value &hv = m.summaries[i];
        const float r = m.readings[i];
        if (std::isnan(r)) continue;
        if (hv.count++ == 0) hv.min = hv.max = hv.first = r;
        if (r < hv.min) hv.min = r;
        if (r > hv.max) hv.max = r;
        const float p2 = r * r;
        hv.last = r;
        hv.sum += r;
        hv.sum2 += p2;
        hv.sum3 += p2 * r;
        hv.sum4 += p2 * r * r;
    }
}

using run = void (*)(machine &m);

double seconds_of(run what, machine &m)
{
    const auto start = std::chrono::steady_clock::now();
    what(m);
    benchmark::ClobberMemory();
    const std::chrono::duration<double> time =
        std::chrono::steady_clock::now() - start;
    return time.count();
}

void compare(benchmark::State &state, run library, run floor)
{
    machine m(static_cast<uint32_t>(state.range(0)));
    double library_seconds = 0;
    double floor_seconds = 0;
    for ([[maybe_unused]] auto unused : state) {
        const double seconds = seconds_of(library, m);
        library_seconds += seconds;
        floor_seconds += seconds_of(floor, m);
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["times_floor"] = library_seconds / floor_seconds;
}

void InternNames(benchmark::State &state)
{
    compare(state, intern_with_library, intern_with_floor);
}
void RegisterNames(benchmark::State &state)
{
    compare(state, register_with_library, register_with_floor);
}
void UpdateSummaries(benchmark::State &state)
{
    compare(state, update_with_library, update_with_floor);
}

}  // namespace

BENCHMARK(InternNames)->Arg(10)->Arg(1000)->Arg(10000)->UseManualTime();
BENCHMARK(RegisterNames)->Arg(10)->Arg(1000)->Arg(10000)->UseManualTime();
BENCHMARK(UpdateSummaries)->Arg(10)->Arg(1000)->Arg(10000)->UseManualTime();
BENCHMARK_MAIN();
