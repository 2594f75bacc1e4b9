// The recorder against the least that its file format costs: the same streams
// deflated by zlib and written with one write(2) each.  Library and floor are
// timed in turn in the same run, in a scratch folder in memory.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "libkor.h"

namespace {

constexpr uint32_t nsamples = 512;  // one current buffer
constexpr uint32_t nintervals = 32;
constexpr int32_t first_second = 1167609601;

class scratch {
public:
    scratch()
    {
        if (mkdtemp(path_) == nullptr || chdir(path_) != 0) std::abort();
    }
    ~scratch()
    {
        if (std::system("rm -f ./*") != 0) std::abort();
        rmdir(path_);
    }
    scratch(const scratch &) = delete;
    scratch &operator=(const scratch &) = delete;

private:
    char path_[32] = "/dev/shm/libkor-bench-XXXXXX";
};

// A vector of sensors whose readings change a little from sample to sample.
class vector {
public:
    explicit vector(uint32_t nsensors) : nsensors_(nsensors)
    {
        sensor **sensors = static_cast<sensor **>(sensors_create(nsensors));
        for (uint32_t i = 0; i < nsensors; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "SENSOR %u Temp", i);
            sensors[i] = sensor_create(name);
        }
        timestamp_init_null(&now_);
        timestamp_increment(&now_, first_second);
        vector_ = telemetry_matrix_create_vector(
            matrix_create(1, nsensors), sensor_array_create(sensors, nsensors),
            &now_);
    }
    ~vector() { matrix_destroy(&vector_); }
    vector(const vector &) = delete;
    vector &operator=(const vector &) = delete;

    matrix *at(uint32_t sample)
    {
        for (uint32_t i = 0; i < nsensors_; ++i)
            vector_->values[0][i] = 40.0 + (sample * 7 + i * 3) % 50 * 0.25;
        timestamp_increment(&now_, 1);
        telemetry_matrix_update_vector_timestamp(vector_, &now_);
        return vector_;
    }
    uint32_t nsensors() const { return nsensors_; }

private:
    uint32_t nsensors_;
    timestamp now_;
    matrix *vector_;
};

double seconds_since(std::chrono::steady_clock::time_point start)
{
    const std::chrono::duration<double> time =
        std::chrono::steady_clock::now() - start;
    return time.count();
}

void fill(const char *name, vector &samples)
{
    kor_current_buffer *cbuf = kor_current_buffer_create(name, nsamples);
    for (uint32_t i = 0; i < nsamples; ++i)
        kor_current_buffer_write_telemetry_vector(cbuf, samples.at(i));
    kor_current_buffer_close(&cbuf);
}

// The same bytes, without any of the library's work.
void fill_floor(const char *name, vector &samples)
{
    const int fd = open(name, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    z_stream stream = {};
    if (fd < 0 || deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK)
        std::abort();
    std::vector<unsigned char> record(18 + 4 * samples.nsensors());
    std::vector<unsigned char> out(compressBound(record.size()));
    for (uint32_t i = 0; i < nsamples; ++i) {
        const matrix *m = samples.at(i);
        for (uint32_t k = 0; k < samples.nsensors(); ++k) {
            const float value = static_cast<float>(m->values[0][k]);
            uint32_t word;
            std::memcpy(&word, &value, sizeof word);
            word = __builtin_bswap32(word);
            std::memcpy(&record[18 + 4 * k], &word, sizeof word);
        }
        deflateReset(&stream);
        stream.next_in = record.data();
        stream.avail_in = static_cast<uInt>(record.size());
        stream.next_out = out.data();
        stream.avail_out = static_cast<uInt>(out.size());
        deflate(&stream, Z_FINISH);
        if (write(fd, out.data(), out.size() - stream.avail_out) < 0)
            std::abort();
    }
    deflateEnd(&stream);
    close(fd);
}

void WriteSamples(benchmark::State &state)
{
    const scratch folder;
    vector samples(static_cast<uint32_t>(state.range(0)));
    double library = 0;
    double floor = 0;
    for ([[maybe_unused]] auto unused : state) {
        auto start = std::chrono::steady_clock::now();
        fill("library", samples);
        const double seconds = seconds_since(start);
        library += seconds;
        start = std::chrono::steady_clock::now();
        fill_floor("floor", samples);
        floor += seconds_since(start);
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * nsamples);
    state.counters["times_floor"] = library / floor;
}

// What a fold cannot do without: the whole buffer inflated.
void inflate_all(const char *name)
{
    FILE *const fp = std::fopen(name, "r");
    if (fp == nullptr) std::abort();
    reader *in = zlib_reader_create(raw_reader_create(fp, 0));
    unsigned char block[2048];
    while (reader_read_bytes(in, block, sizeof block) > 0) {
    }
    reader_destroy(&in);
}

void FoldBuffer(benchmark::State &state)
{
    const scratch folder;
    vector samples(static_cast<uint32_t>(state.range(0)));
    fill("c", samples);
    double library = 0;
    double floor = 0;
    for ([[maybe_unused]] auto unused : state) {
        kor_hist_buffer *hbuf = kor_hist_buffer_create("h", 2 * nintervals);
        auto start = std::chrono::steady_clock::now();
        if (kor_current_buffer_compress("c", hbuf, nsamples / nintervals) != 0)
            std::abort();
        const double seconds = seconds_since(start);
        library += seconds;
        kor_hist_buffer_close(&hbuf);
        start = std::chrono::steady_clock::now();
        inflate_all("c");
        floor += seconds_since(start);
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * nsamples);
    state.counters["times_floor"] = library / floor;
}

void RotateSteadily(benchmark::State &state)
{
    const scratch folder;
    vector samples(static_cast<uint32_t>(state.range(0)));
    kor *recorder = kor_create("r", nsamples, nintervals);
    for (uint32_t i = 0; i < 4 * nsamples; ++i)
        kor_write_telemetry_vector(recorder, samples.at(i));
    for ([[maybe_unused]] auto unused : state)
        for (uint32_t i = 0; i < nsamples; ++i)
            kor_write_telemetry_vector(recorder, samples.at(i));
    kor_close(&recorder);
    state.SetItemsProcessed(state.iterations() * nsamples);
}

}  // namespace

BENCHMARK(WriteSamples)->Arg(1)->Arg(20)->Arg(1000)->UseManualTime();
BENCHMARK(FoldBuffer)->Arg(1)->Arg(20)->Arg(1000)->UseManualTime();
BENCHMARK(RotateSteadily)->Arg(20)->Arg(1000)->Arg(10000);

BENCHMARK_MAIN();
