// codec.hpp: the stored form of a record as one flat list of fields.
//
// A form is a generic lambda over an archive and a record.  It names the
// fields in file order and serves both directions:
//
//     constexpr auto hist_value_form = [](auto &ar, auto &hv) {
//         ar.version(hv.version, HIST_VALUE_VERSION);
//         ar.u32(hv.count);
//         ar.f32(hv.min);
//     };
//
// The archive keeps the running byte total and the first failure.  After a
// failure every further call does nothing, so a form holds no error handling.
// All multi-byte values are big-endian; nothing is padded or aligned.
#ifndef KOR_IO_CODEC_HPP
#define KOR_IO_CODEC_HPP

#include <bit>
#include <cstdint>

#include "binary_serializer_common.h"
#include "error.h"
#include "reader.h"
#include "writer.h"

namespace vela {

// No count or string length in any file exceeds this.
inline constexpr uint32_t max_serialized_count = 10000;

inline constexpr uint32_t big_endian(uint32_t value) noexcept
{
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap32(value);
    else
        return value;
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
    void bytes(const void *data, unsigned size) noexcept
    {
        if (ok()) take(writer_write_bytes(out_, data, size));
    }
    void version(uint8_t current, uint8_t) noexcept { bytes(&current, 1); }
    void u32(uint32_t value) noexcept
    {
        const uint32_t wire = big_endian(value);
        bytes(&wire, sizeof wire);
    }
    void i32(int32_t value) noexcept { u32(static_cast<uint32_t>(value)); }
    // Through the bit pattern: a byte-swapped float must never sit in a
    // floating-point register, where it may be quietened as a NaN.
    void f32(float value) noexcept { u32(std::bit_cast<uint32_t>(value)); }
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

    void bytes(void *data, unsigned size) noexcept
    {
        if (ok()) take(binary_serializer_read_bytes(data, size, in_));
    }
    // Compares the stored version and leaves the object's own alone.
    void version(uint8_t, uint8_t expected) noexcept
    {
        uint8_t stored = 0;
        bytes(&stored, 1);
        check(stored == expected, KOR_ERR_WRONG_VERSION);
    }
    void u32(uint32_t &value) noexcept
    {
        uint32_t wire = 0;
        bytes(&wire, sizeof wire);
        if (ok()) value = big_endian(wire);
    }
    void i32(int32_t &value) noexcept
    {
        uint32_t bits = 0;
        u32(bits);
        if (ok()) value = static_cast<int32_t>(bits);
    }
    void f32(float &value) noexcept
    {
        uint32_t bits = 0;
        u32(bits);
        if (ok()) value = std::bit_cast<float>(bits);
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
