// Compressed streams against zlib alone, for the same records: one stream of
// its own for each record, as the recorder writes them.  Library and floor are
// timed in turn in the same run, so that the ratio means something on any
// machine.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "libkor.h"

namespace {

constexpr uint32_t nrecords = 500;
constexpr uint32_t block_size = 2048;

using bytes = std::vector<unsigned char>;

// A record of readings that change little from one to the next.
bytes record_of(uint32_t size)
{
    bytes record(size);
    uint32_t noise = 1;
    for (uint32_t i = 0; i < size; ++i) {
        noise = noise * 1664525 + 1013904223;
        record[i] = static_cast<unsigned char>(i % 4 < 2 ? 0x42 : noise >> 24);
    }
    return record;
}

void write_with_library(const bytes &record, FILE *fp)
{
    writer *out = zlib_writer_create(raw_writer_create(fp, 1));
    for (uint32_t i = 0; i < nrecords; ++i) {
        writer_write_bytes(out, record.data(),
                           static_cast<uint32_t>(record.size()));
        writer_flush(out);
    }
    writer_destroy(&out);
}

void write_with_floor(const bytes &record, FILE *fp)
{
    z_stream stream = {};
    if (deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK) std::abort();
    for (uint32_t i = 0; i < nrecords; ++i) {
        deflateReset(&stream);
        bytes input = record;
        stream.next_in = input.data();
        stream.avail_in = static_cast<uInt>(input.size());
        unsigned char out[block_size];
        do {
            stream.next_out = out;
            stream.avail_out = sizeof out;
            deflate(&stream, Z_FINISH);
            std::fwrite(out, 1, sizeof out - stream.avail_out, fp);
            std::fflush(fp);
        } while (stream.avail_out == 0);
    }
    deflateEnd(&stream);
}

void read_with_library(const bytes &record, FILE *fp)
{
    reader *in = zlib_reader_create(raw_reader_create(fp, 1));
    bytes content(record.size());
    uint32_t nread = 0;
    while (reader_read_bytes(in, content.data(),
                             static_cast<uint32_t>(content.size())) > 0)
        ++nread;
    if (nread != nrecords) std::abort();
    reader_destroy(&in);
}

void read_with_floor(const bytes &record, FILE *fp)
{
    z_stream stream = {};
    if (inflateInit(&stream) != Z_OK) std::abort();
    bytes content(record.size());
    unsigned char in[block_size];
    for (uint32_t i = 0; i < nrecords; ++i) {
        inflateReset(&stream);
        stream.next_out = content.data();
        stream.avail_out = static_cast<uInt>(content.size());
        int code = Z_OK;
        while (code != Z_STREAM_END) {
            if (stream.avail_in == 0) {
                stream.next_in = in;
                stream.avail_in =
                    static_cast<uInt>(std::fread(in, 1, sizeof in, fp));
            }
            code = inflate(&stream, Z_NO_FLUSH);
            if (code != Z_OK && code != Z_STREAM_END) std::abort();
        }
    }
    inflateEnd(&stream);
}

using run = void (*)(const bytes &record, FILE *fp);

double seconds_of(run what, const bytes &record, FILE *fp)
{
    std::rewind(fp);
    const auto start = std::chrono::steady_clock::now();
    what(record, fp);
    const std::chrono::duration<double> time =
        std::chrono::steady_clock::now() - start;
    return time.count();
}

void compare(benchmark::State &state, run library, run floor)
{
    const bytes record = record_of(static_cast<uint32_t>(state.range(0)));
    FILE *const fp = std::tmpfile();
    write_with_library(record, fp);  // what the readers read
    double library_seconds = 0;
    double floor_seconds = 0;
    for ([[maybe_unused]] auto unused : state) {
        const double seconds = seconds_of(library, record, fp);
        library_seconds += seconds;
        floor_seconds += seconds_of(floor, record, fp);
        state.SetIterationTime(seconds);
    }
    std::fclose(fp);
    state.SetItemsProcessed(state.iterations() * nrecords);
    state.counters["times_floor"] = library_seconds / floor_seconds;
}

void WriteStreams(benchmark::State &state)
{
    compare(state, write_with_library, write_with_floor);
}
void ReadStreams(benchmark::State &state)
{
    compare(state, read_with_library, read_with_floor);
}

}  // namespace

BENCHMARK(WriteStreams)->Arg(60)->Arg(500)->Arg(4100)->UseManualTime();
BENCHMARK(ReadStreams)->Arg(60)->Arg(500)->Arg(4100)->UseManualTime();

BENCHMARK_MAIN();
