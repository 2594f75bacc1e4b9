// scanned_record.hpp: a record as it lies in a file.
//
// record_parser takes one record after another out of a stream.  Records are
// read by the library's own serializers, through a reader that spares them the
// ends of streams on which they would abort.  Only names are read otherwise:
// those of a damaged file are not to get into the registry of sensors.
#ifndef KOR_RECORDER_SCANNED_RECORD_HPP
#define KOR_RECORDER_SCANNED_RECORD_HPP

#include <cstdint>

#include "common/growable.hpp"
#include "hist_value.h"
#include "io/whole_reader.hpp"
#include "kor_cb_record_event.h"
#include "kor_cb_record_sensor_values.h"
#include "kor_hb_record_sensor_values.h"
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

// The names of a names record, in column order.
class column_names {
public:
    [[nodiscard]] bool assign(const column_names &other) noexcept;
    [[nodiscard]] bool assign(const struct sensor_array &sensors) noexcept;
    // "sensor 1", "sensor 2" and so on, for readings whose names are lost.
    [[nodiscard]] bool assign_placeholders(uint32_t count) noexcept;
    // Reads the columns of a names record: a byte count or a negative code.
    int read(struct reader *in) noexcept;
    void clear() noexcept;

    uint32_t count() const noexcept
    {
        return static_cast<uint32_t>(names_.size());
    }
    const char *const *names() const noexcept { return names_.begin(); }
    bool equals(const column_names &other) const noexcept;
    // Whether two names are the same.  Returns 1, 0 or KOR_ERR_NO_MEMORY.
    int has_repetition() const noexcept;

private:
    bool add(const char *name) noexcept;
    bool point_at_names() noexcept;

    growable<char> text_;  // every name with its final NUL
    growable<const char *> names_;
    uint32_t count_ = 0;
};

// A record that is read over and over again.
class scanned_record {
public:
    scanned_record() noexcept;
    scanned_record(const scanned_record &) = delete;
    scanned_record &operator=(const scanned_record &) = delete;
    ~scanned_record();

    // Reads a record of a buffer of some KOR_BUFFER_TYPE_*.  Returns the byte
    // count or a negative code.
    int read(uint32_t buffer_kind, struct reader *in) noexcept;

    record_kind kind() const noexcept { return kind_; }
    // Whether it comes from a history buffer.
    bool is_of_history() const noexcept { return is_history_; }
    bool is_interval() const noexcept
    {
        return kind_ == record_kind::values && is_history_;
    }
    // A record's time, or the first one of an interval.
    struct timestamp start() const noexcept;
    struct timestamp end() const noexcept;
    const column_names &names() const noexcept { return names_; }
    // The number of readings or summaries.
    uint32_t count() const noexcept;
    const float *readings() const noexcept { return sample_.values; }
    const struct hist_value *summaries() const noexcept
    {
        return interval_.hvalues;
    }
    const struct kor_hb_record_events &events() const noexcept
    {
        return interval_.events;
    }
    uint32_t event_type() const noexcept { return event_.type; }
    const char *text() const noexcept { return event_.text; }

private:
    int read_names(struct reader *in) noexcept;

    record_kind kind_ = record_kind::none;
    bool is_history_ = false;
    // One of these is the record, the others are there for those to come.
    struct timestamp names_time_;
    column_names names_;
    struct kor_cb_record_sensor_values sample_;
    struct kor_hb_record_sensor_values interval_;
    struct kor_cb_record_event event_;
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
    // `kept`, unless null, becomes what is stored of the record.
    parsed record(uint32_t buffer_kind, scanned_record *record,
                  stored_bytes *kept) noexcept;
    int error() const noexcept { return error_; }

private:
    static int take(void *self, void *to, uint32_t size) noexcept;
    parsed result_of(int nread) noexcept;

    stream_source &in_;
    whole_reader reader_{take, this};
    stored_bytes *kept_ = nullptr;
    bool has_begun_ = false;  // bytes of the record were read
    int error_ = 0;
};

// Compose what is stored.  They return a byte count or a negative code.
int write_header(const struct buffer_header &header,
                 struct writer *out) noexcept;
int write_names(const struct timestamp &t, const column_names &names,
                struct writer *out) noexcept;
// A sample all of whose readings are invalid, or an interval without samples;
// `count` is not 0.
int write_empty_sample(const struct timestamp &t, uint32_t count,
                       struct writer *out) noexcept;
int write_empty_interval(const struct timestamp &t, uint32_t count,
                         struct writer *out) noexcept;

}  // namespace vela

#endif
