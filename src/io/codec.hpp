// codec.hpp: the stored form of a record as one flat list of fields.
//
// A form is a generic lambda over an archive and a record.  It names the
// fields in file order and serves both directions:
//
//     constexpr auto hist_value_form = [](auto &ar, auto &hv) {
//         ar.version(hv.version, HIST_VALUE_VERSION);
//         ar.fields(hv.count, hv.min, hv.max);
//     };
//
// The archive keeps the running byte total and the first failure.  After a
// failure every further call does nothing, so a form holds no error handling.
// All multi-byte values are big-endian; nothing is padded or aligned.
//
// Arrays and runs of fields go through a stream of the library's own in one
// call for each block; any other stream gets one call for each value.  Bytes
// and totals are the same.
#ifndef KOR_IO_CODEC_HPP
#define KOR_IO_CODEC_HPP

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "binary_serializer_common.h"
#include "error.h"
#include "io/byte_order.hpp"
#include "io/streams.hpp"
#include "reader.h"
#include "writer.h"

namespace vela {

// No count or string length in any file exceeds this.
inline constexpr uint32_t max_serialized_count = 10000;

// Most bytes that values are gathered into for one stream call.
inline constexpr size_t codec_block_size = 2048;

// What one value of a field may be.
template <class T>
concept scalar = std::same_as<T, uint32_t> || std::same_as<T, int32_t> ||
    std::same_as<T, float> || std::same_as<T, double>;

// The stored bits of a value, in a word of its size.  Only ever the word is
// swapped: a byte-swapped float must never sit in a floating-point register,
// where it may be quietened as a NaN.
template <scalar T>
using wire_word = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;

template <scalar T>
void store(void *bytes, T value) noexcept
{
    const auto wire = big_endian(std::bit_cast<wire_word<T>>(value));
    std::memcpy(bytes, &wire, sizeof wire);
}

template <scalar T>
T load(const void *bytes) noexcept
{
    wire_word<T> wire;
    std::memcpy(&wire, bytes, sizeof wire);
    return std::bit_cast<T>(big_endian(wire));
}

// Byte total and first failure of a run of stream calls.
class stream_tally {
public:
    bool ok() const noexcept { return !stopped_; }

    // The byte total, or the code that stopped the run.
    int result() const noexcept { return stopped_ ? code_ : total_; }

    // Stops the run with `code` unless `holds`.
    void check(bool holds, int code) noexcept
    {
        if (ok() && !holds) stop(code);
    }

protected:
    int total() const noexcept { return total_; }
    void add(int nbytes) noexcept { total_ += nbytes; }
    void stop(int code) noexcept
    {
        stopped_ = true;
        code_ = code;
    }

private:
    int total_ = 0;
    int code_ = 0;
    bool stopped_ = false;
};

// The two serializers of a nested object.
template <class T>
struct serializer {
    int (*write)(const T *, struct writer *);
    int (*read)(T *, struct reader *);
};

class encoder : public stream_tally {
public:
    explicit encoder(struct writer *out) noexcept : out_(out) {}

    // A writer may report 0 for bytes it only buffered: that is no failure.
    void bytes(const void *data, uint32_t size) noexcept
    {
        if (ok()) take(writer_write_bytes(out_, data, size));
    }
    void version(uint8_t current, uint8_t) noexcept { bytes(&current, 1); }
    void u32(uint32_t value) noexcept { field(value); }
    void i32(int32_t value) noexcept { field(value); }
    void f32(float value) noexcept { field(value); }
    void f64(double value) noexcept { field(value); }
    void f32s(const float *values, size_t n) noexcept { array(values, n); }
    void f64s(const double *values, size_t n) noexcept { array(values, n); }

    // A run of fields, none of which decides about another.
    template <scalar... T>
    void fields(const T &...values) noexcept
    {
        if (!is_own_writer(out_)) return (field(values), ...);
        std::byte block[(sizeof(T) + ...)];
        static_assert(sizeof block <= codec_block_size);
        std::byte *next = block;
        ((store(next, values), next += sizeof(T)), ...);
        bytes(block, sizeof block);
    }
    void string(const char *text) noexcept
    {
        if (ok()) take(binary_serializer_write_string(text, out_));
    }
    template <class T>
    void object(const T &record, const serializer<T> &form) noexcept
    {
        if (ok()) take(form.write(&record, out_));
    }

private:
    void take(int result) noexcept { result < 0 ? stop(result) : add(result); }

    template <scalar T>
    void field(T value) noexcept
    {
        std::byte wire[sizeof(T)];
        store(wire, value);
        bytes(wire, sizeof wire);
    }
    template <scalar T>
    void array(const T *values, size_t n) noexcept
    {
        if (!is_own_writer(out_)) {
            for (size_t i = 0; i < n && ok(); ++i) field(values[i]);
            return;
        }
        constexpr size_t per_block = codec_block_size / sizeof(T);
        for (size_t first = 0; first < n && ok(); first += per_block)
            array_block(values + first, std::min(per_block, n - first));
    }
    template <scalar T>
    void array_block(const T *values, size_t n) noexcept
    {
        std::byte block[codec_block_size];
        for (size_t i = 0; i < n; ++i) store(block + i * sizeof(T), values[i]);
        bytes(block, static_cast<uint32_t>(n * sizeof(T)));
    }

    struct writer *out_;
};

// What a stream that ends before the first byte means to the caller.
enum class first_byte { optional, required };

class decoder : public stream_tally {
public:
    explicit decoder(struct reader *in,
                     first_byte first = first_byte::optional) noexcept
        : in_(in), first_(first)
    {
    }

    void bytes(void *data, uint32_t size) noexcept
    {
        if (ok()) take(binary_serializer_read_bytes(data, size, in_));
    }
    // Compares the stored version and leaves the object's own alone.  Always a
    // read of its own: a wrong version counts before anything that follows.
    void version(uint8_t, uint8_t expected) noexcept
    {
        uint8_t stored = 0;
        bytes(&stored, 1);
        check(stored == expected, KOR_ERR_WRONG_VERSION);
    }
    void u32(uint32_t &value) noexcept { field(value); }
    void i32(int32_t &value) noexcept { field(value); }
    void f32(float &value) noexcept { field(value); }
    void f64(double &value) noexcept { field(value); }
    void f32s(float *values, size_t n) noexcept { array(values, n); }
    void f64s(double *values, size_t n) noexcept { array(values, n); }

    // A run of fields, none of which decides about another.  On failure some
    // of them may hold what was read.
    template <scalar... T>
    void fields(T &...values) noexcept
    {
        if (!is_own_reader(in_)) return (field(values), ...);
        std::byte block[(sizeof(T) + ...)] = {};
        static_assert(sizeof block <= codec_block_size);
        bytes(block, sizeof block);
        if (!ok()) return;
        const std::byte *next = block;
        ((values = load<T>(next), next += sizeof(T)), ...);
    }
    // Stores a new heap string at once, so that its owner frees it.
    void string(char *&text) noexcept
    {
        if (!ok()) return;
        int nread = 0;
        char *const read = binary_serializer_read_string(in_, &nread);
        if (read == nullptr) return stop(vela_get_last_error());
        text = read;
        add(nread);
    }
    template <class T>
    void object(T &record, const serializer<T> &form) noexcept
    {
        if (ok()) take(form.read(&record, in_));
    }

private:
    // 0 is the stream's end: clean before the first byte, else a truncation.
    void take(int result) noexcept
    {
        if (result > 0)
            add(result);
        else if (result < 0)
            stop(result);
        else
            stop(total() == 0 && first_ == first_byte::optional
                     ? KOR_OK
                     : KOR_ERR_TRUNCATED);
    }

    // The bytes start as zeros, since a damaging reader may report some that
    // it never stored.
    template <scalar T>
    void field(T &value) noexcept
    {
        std::byte wire[sizeof(T)] = {};
        bytes(wire, sizeof wire);
        if (ok()) value = load<T>(wire);
    }
    template <scalar T>
    void array(T *values, size_t n) noexcept
    {
        if (!is_own_reader(in_)) {
            for (size_t i = 0; i < n && ok(); ++i) field(values[i]);
            return;
        }
        constexpr size_t per_block = codec_block_size / sizeof(T);
        for (size_t first = 0; first < n && ok(); first += per_block)
            array_block(values + first, std::min(per_block, n - first));
    }
    template <scalar T>
    void array_block(T *values, size_t n) noexcept
    {
        std::byte block[codec_block_size];
        bytes(block, static_cast<uint32_t>(n * sizeof(T)));
        if (!ok()) return;
        for (size_t i = 0; i < n; ++i)
            values[i] = load<T>(block + i * sizeof(T));
    }

    struct reader *in_;
    first_byte first_;
};

template <class Record, class Form>
int encode(const Record &record, struct writer *out, Form form)
{
    encoder archive(out);
    form(archive, record);
    return archive.result();
}

template <class Record, class Form>
int decode(Record &record, struct reader *in, Form form,
           first_byte first = first_byte::optional)
{
    decoder archive(in, first);
    form(archive, record);
    return archive.result();
}

}  // namespace vela

#endif
