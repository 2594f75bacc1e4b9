// scanned_record.hpp: a record as it lies in a file, checked field by field.
//
// record_parser takes one record after another out of a stream and refuses
// what the library's own readers would refuse or abort on.  What it keeps is
// the stored bytes; scanned_record looks fields up in them.
#ifndef KOR_RECORDER_SCANNED_RECORD_HPP
#define KOR_RECORDER_SCANNED_RECORD_HPP

#include <cstdint>

#include "common/growable.hpp"
#include "hist_value.h"
#include "kor_hb_record_events.h"
#include "recorder/stream_source.hpp"
#include "sensor_array.h"
#include "timestamp.h"

namespace vela {

using stored_bytes = growable<unsigned char>;

// What a record tells.  Values are a sample in a current buffer and an
// interval in a history buffer.
enum class record_kind : uint32_t {
    none = 0,
    names = 1,
    values = 2,
    event = 3
};

class scanned_record {
public:
    stored_bytes &bytes() noexcept { return bytes_; }
    const stored_bytes &bytes() const noexcept { return bytes_; }
    // Tells how the bytes are to be read: a KOR_BUFFER_TYPE_*.
    void set_buffer_kind(uint32_t kind) noexcept { buffer_kind_ = kind; }

    record_kind kind() const noexcept;
    bool is_interval() const noexcept;
    // An event's or a sample's time, or the first one of an interval.
    struct timestamp start() const noexcept;
    struct timestamp end() const noexcept;
    // The number of names, readings or summaries.
    uint32_t count() const noexcept;
    float reading(uint32_t i) const noexcept;
    struct hist_value summary(uint32_t i) const noexcept;
    struct kor_hb_record_events events() const noexcept;
    uint32_t event_type() const noexcept;
    // The text of an event; not terminated.
    const char *text(uint32_t *length) const noexcept;

private:
    uint32_t u32_at(size_t offset) const noexcept;
    struct timestamp time_at(size_t offset) const noexcept;

    stored_bytes bytes_;
    uint32_t buffer_kind_ = 0;
};

// The names of a names record, in column order.
class column_names {
public:
    [[nodiscard]] bool assign(const scanned_record &names) noexcept;
    [[nodiscard]] bool assign(const column_names &other) noexcept;
    [[nodiscard]] bool assign(const struct sensor_array &sensors) noexcept;
    // "sensor 1", "sensor 2" and so on, for readings whose names are lost.
    [[nodiscard]] bool assign_placeholders(uint32_t count) noexcept;
    void clear() noexcept;

    uint32_t count() const noexcept
    {
        return static_cast<uint32_t>(names_.size());
    }
    const char *const *names() const noexcept { return names_.begin(); }
    bool equals(const column_names &other) const noexcept;

private:
    bool add(const char *name, uint32_t length) noexcept;
    bool point_at_names() noexcept;

    growable<char> text_;  // every name with its final NUL
    growable<const char *> names_;
    uint32_t count_ = 0;
};

// The header of a buffer file.
struct buffer_header {
    uint32_t kind = 0;  // KOR_BUFFER_TYPE_*
    uint32_t capacity = 0;
};

enum class parsed {
    record,
    end,     // nothing more in this stream
    broken,  // not a record
    failed,  // see error()
};

class record_parser {
public:
    explicit record_parser(stream_source &in) noexcept : in_(in) {}

    parsed header(struct buffer_header *header) noexcept;
    // `kept` may be null: the record is then checked only.
    parsed record(uint32_t buffer_kind, scanned_record *kept) noexcept;
    int error() const noexcept { return error_; }

private:
    bool take(void *to, uint32_t size) noexcept;
    bool skip(uint32_t size) noexcept;
    uint32_t u32() noexcept;
    void version(uint8_t lowest, uint8_t highest, uint8_t *stored) noexcept;
    uint32_t bounded_count() noexcept;
    void time() noexcept;
    void text() noexcept;
    void names() noexcept;
    void sample() noexcept;
    void interval() noexcept;
    void event() noexcept;
    void payload(uint32_t buffer_kind, record_kind kind) noexcept;
    parsed result() const noexcept;

    stream_source &in_;
    stored_bytes *kept_ = nullptr;
    bool ok_ = true;
    int error_ = 0;
};

// Composes stored records.
class record_composer {
public:
    explicit record_composer(stored_bytes &to) noexcept : to_(to) {}
    bool ok() const noexcept { return ok_; }

    void header(const struct buffer_header &header) noexcept;
    void names(const struct timestamp &t, const column_names &names) noexcept;
    // A sample all of whose readings are invalid.
    void empty_sample(const struct timestamp &t, uint32_t count) noexcept;
    void interval(const struct timestamp &start, const struct timestamp &end,
                  const struct hist_value *values, uint32_t count,
                  const struct kor_hb_record_events &events) noexcept;
    // An interval without samples.
    void empty_interval(const struct timestamp &t, uint32_t count) noexcept;
    void u8(uint8_t value) noexcept;
    void u32(uint32_t value) noexcept;
    void text(const char *text) noexcept;

private:
    void time(const struct timestamp &t) noexcept;
    void f32(float value) noexcept;
    void summary(const struct hist_value &hv) noexcept;
    void counters(const struct kor_hb_record_events &events) noexcept;
    void interval_head(const struct timestamp &start,
                       const struct timestamp &end, uint32_t count) noexcept;

    stored_bytes &to_;
    bool ok_ = true;
};

}  // namespace vela

#endif
