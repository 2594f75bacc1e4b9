// flight.cpp: the load of this machine, recorded and played back in C++.
//
//     flight BASE [SAMPLES [SECONDS]]
//
// Takes so many samples, so many seconds apart (10 and 1), then prints all that
// the recorder holds.  Run again, it goes on where it stopped.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <unistd.h>

#include "libkor.hpp"

namespace {

// Per file; both even, and the second divides the first.
constexpr std::uint32_t samples_per_file = 60;
constexpr std::uint32_t intervals_per_file = 6;

// The meaning of an event type is the application's own; 1 to 5 are counted.
enum event_type : std::uint32_t { load_is_high = 1 };

constexpr int nloads = 3;

libkor::error complain(const char *what, libkor::error error)
{
    std::fprintf(stderr, "flight: %s: %s\n", what, error.message());
    return error;
}

void read_loads(libkor::telemetry_vector &vector)
{
    double loads[nloads];
    const int nread = getloadavg(loads, nloads);
    for (int i = 0; i < nloads; ++i) {
        const auto column = static_cast<std::uint32_t>(i);
        if (i < nread)
            vector.set(column, loads[i]);
        else
            vector.set_missing(column);
    }
}

libkor::error take_sample(libkor::recorder &recorder,
                          libkor::telemetry_vector &vector)
{
    const std::time_t now = std::time(nullptr);
    read_loads(vector);
    if (const auto error = recorder.write(vector, now))
        return complain("sample", error);
    const double nprocessors =
        static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN));
    if (vector.get(0) <= nprocessors) return {};
    const auto error =
        recorder.write_event(load_is_high, now, "more work than processors");
    return error ? complain("event", error) : error;
}

libkor::error record(const char *base, int nsamples, unsigned period)
{
    // Recovers what a crash left behind, or begins anew.
    auto recorder =
        libkor::recorder::resume(base, samples_per_file, intervals_per_file);
    if (!recorder) return complain(base, recorder.error());
    auto vector =
        libkor::telemetry_vector::create({"LOAD1", "LOAD5", "LOAD15"});
    if (!vector) return complain("vector", vector.error());
    for (int i = 0; i < nsamples; ++i) {
        if (i > 0) sleep(period);
        if (const auto error = take_sample(*recorder, *vector)) return error;
    }
    return {};
}

void print_interval(const libkor::item &item)
{
    std::printf("%lld interval",
                static_cast<long long>(libkor::seconds(item.start)));
    for (std::uint32_t i = 0; i < item.n_sensors; ++i) {
        const hist_value &load = item.hvalues[i];
        // A sensor without a reading has no extremes.
        if (load.count > 0)
            std::printf(" %.2f..%.2f", double{load.min}, double{load.max});
        else
            std::printf(" -");
    }
    std::printf("\n");
}

void print(const libkor::item &item)
{
    const auto start = static_cast<long long>(libkor::seconds(item.start));
    if (item.kind == KOR_PLAYBACK_INTERVAL) print_interval(item);
    if (item.kind == KOR_PLAYBACK_SAMPLE) {
        std::printf("%lld sample", start);
        for (std::uint32_t i = 0; i < item.n_sensors; ++i)
            std::printf(" %.2f", double{item.values[i]});
        std::printf("\n");
    }
    if (item.kind == KOR_PLAYBACK_EVENT)
        std::printf("%lld event %" PRIu32 ": %s\n", start, item.event_type,
                    item.text);
    if (item.kind == KOR_PLAYBACK_DAMAGE)
        std::printf("%s: %" PRIu64 " bytes are damaged\n", item.filename,
                    item.length);
}

libkor::error play(const char *base)
{
    auto playback = libkor::playback::open(base);
    if (!playback) return complain(base, playback.error());
    for (const libkor::item &item : *playback) print(item);
    const auto error = playback->error();
    return error ? complain(base, error) : error;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2 || argc > 4) {
        std::fprintf(stderr, "usage: flight BASE [SAMPLES [SECONDS]]\n");
        return 2;
    }
    const int nsamples = argc > 2 ? std::atoi(argv[2]) : 10;
    const int period = argc > 3 ? std::atoi(argv[3]) : 1;
    if (record(argv[1], nsamples, static_cast<unsigned>(period))) return 1;
    return play(argv[1]) ? 1 : 0;
}
