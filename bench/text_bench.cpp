// Text telemetry against what the C library alone would take for the same
// lines: fgets, mktime and strtod for reading, strftime and snprintf for
// writing. Both are timed in turn in the same run, so that the ratio means
// something on any machine.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "libkor.h"

namespace {

constexpr int nlines = 2000;
constexpr int line_size = 65536;
constexpr int timestamp_length = 17;
constexpr int32_t first_second = 1167609600;  // 1 January 2007

double reading(int row, int column)
{
    return (row * 31 + column * 7) % 100000 * 0.017 - 20;
}

// A telemetry matrix of `nlines` rows.
matrix *create_telemetry(uint32_t nsensors)
{
    std::vector<std::string> names;
    std::vector<const char *> texts;
    for (uint32_t i = 0; i < nsensors; ++i)
        names.push_back("CPU" + std::to_string(i) + " Temp");
    for (const std::string &name : names) texts.push_back(name.c_str());
    timestamp start;
    timestamp_init_null(&start);
    start.tv.tv_sec = first_second;
    matrix *const values = matrix_create(nlines, nsensors);
    for (uint32_t i = 0; i < nlines; ++i)
        for (uint32_t j = 0; j < nsensors; ++j)
            matrix_set(values, i, j,
                       reading(static_cast<int>(i), static_cast<int>(j)));
    return telemetry_matrix_create(
        values, sensor_array_create_from_names(texts.data(), nsensors),
        timestamp_array_create_dummy(&start, nlines));
}

void write_with_library(matrix *m, FILE *fp)
{
    writer *text = vorn_writer_create(raw_writer_create(fp, 1));
    vorn_serializer_write_matrix(m, text);
    writer_destroy(&text);
}

void write_with_floor(matrix *m, FILE *fp)
{
    const uint32_t nsensors = matrix_get_number_columns(m);
    std::vector<char> line(line_size);
    for (uint32_t i = 0; i < nlines; ++i) {
        const time_t now = first_second + static_cast<time_t>(i);
        struct tm parts;
        localtime_r(&now, &parts);
        size_t n =
            std::strftime(line.data(), line.size(), "%Y%m%d:%H:%M:%S", &parts);
        for (uint32_t j = 0; j < nsensors; ++j)
            n += static_cast<size_t>(std::snprintf(&line[n], line.size() - n,
                                                   ",%.3lf", m->values[i][j]));
        line[n++] = '\n';
        std::fwrite(line.data(), 1, n, fp);
        std::fflush(fp);
    }
}

void read_with_library(FILE *fp)
{
    vorn_reader *text = vorn_reader_open_from_fp(fp);
    double sum = 0;
    while (const matrix *vector = vorn_reader_get_next_telemetry_vector(text))
        sum += vector->values[0][0];
    benchmark::DoNotOptimize(sum);
    vorn_reader_close(&text);
}

void read_with_floor(FILE *fp)
{
    std::vector<char> line(line_size);
    double sum = 0;
    if (std::fgets(line.data(), line_size, fp) == nullptr) return;
    while (std::fgets(line.data(), line_size, fp) != nullptr) {
        struct tm parts = {};
        parts.tm_year = (line[2] - '0') * 10 + line[3] - '0' + 100;
        parts.tm_mon = (line[4] - '0') * 10 + line[5] - '0' - 1;
        parts.tm_mday = (line[6] - '0') * 10 + line[7] - '0';
        parts.tm_hour = (line[9] - '0') * 10 + line[10] - '0';
        parts.tm_min = (line[12] - '0') * 10 + line[13] - '0';
        parts.tm_sec = (line[15] - '0') * 10 + line[16] - '0';
        parts.tm_isdst = -1;
        sum += static_cast<double>(mktime(&parts));
        char *p = line.data() + timestamp_length;
        while (*p == ',') sum += std::strtod(p + 1, &p);
    }
    benchmark::DoNotOptimize(sum);
}

template <class Work>
double seconds_of(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    const auto end = std::chrono::steady_clock::now();
    return std::chrono::duration<double>(end - start).count();
}

// Times both in turn; the benchmark's own time is the library's.
template <class Library, class Floor>
void compare(benchmark::State &state, Library library, Floor floor)
{
    double library_seconds = 0;
    double floor_seconds = 0;
    for ([[maybe_unused]] auto unused : state) {
        const double seconds = seconds_of(library);
        state.SetIterationTime(seconds);
        library_seconds += seconds;
        floor_seconds += seconds_of(floor);
    }
    state.SetItemsProcessed(state.iterations() * nlines);
    state.counters["times_floor"] = library_seconds / floor_seconds;
}

void Write(benchmark::State &state)
{
    matrix *m = create_telemetry(static_cast<uint32_t>(state.range(0)));
    FILE *const fp = std::fopen("/dev/null", "w");
    compare(
        state, [=] { write_with_library(m, fp); },
        [=] { write_with_floor(m, fp); });
    std::fclose(fp);
    matrix_destroy(&m);
}

void Read(benchmark::State &state)
{
    matrix *m = create_telemetry(static_cast<uint32_t>(state.range(0)));
    FILE *const fp = std::tmpfile();
    write_with_library(m, fp);
    matrix_destroy(&m);
    compare(
        state,
        [fp] {
            std::rewind(fp);
            read_with_library(fp);
        },
        [fp] {
            std::rewind(fp);
            read_with_floor(fp);
        });
    std::fclose(fp);
}

}  // namespace

BENCHMARK(Write)->UseManualTime()->Arg(1)->Arg(20)->Arg(500);
BENCHMARK(Read)->UseManualTime()->Arg(1)->Arg(20)->Arg(500);

int main(int argc, char **argv)
{
    // Finding the time zone's file again and again is not what is measured.
    setenv("TZ", "UTC0", 1);
    tzset();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
