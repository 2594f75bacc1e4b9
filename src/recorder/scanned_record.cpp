#include "recorder/scanned_record.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "error.h"
#include "io/codec.hpp"
#include "kor_buffer.h"
#include "kor_cb_record.h"
#include "kor_hb_record.h"
#include "model/sensor_form.hpp"
#include "model/shared_array.hpp"
#include "recorder/buffer_body.hpp"
#include "recorder/stored_forms.hpp"
#include "sensor_value.h"

namespace {

constexpr size_t placeholder_size = 32;

static_assert(static_cast<uint32_t>(vela::record_kind::names) ==
                  KOR_CB_RECORD_SENSOR_NAMES &&
              KOR_CB_RECORD_SENSOR_NAMES == KOR_HB_RECORD_SENSOR_NAMES);
static_assert(static_cast<uint32_t>(vela::record_kind::values) ==
                  KOR_CB_RECORD_SENSOR_VALUES &&
              KOR_CB_RECORD_SENSOR_VALUES == KOR_HB_RECORD_SENSOR_VALUES);
static_assert(static_cast<uint32_t>(vela::record_kind::event) ==
              KOR_CB_RECORD_EVENT);

// Buffers of either kind have the same header.
constexpr uint8_t header_version = KOR_CURRENT_BUFFER_VERSION;
static_assert(header_version == KOR_HIST_BUFFER_VERSION);

int read_columns(vela::column_names *names, struct reader *in)
{
    return names->read(in);
}

int write_columns(const vela::column_names *names, struct writer *out)
{
    vela::encoder archive(out);
    uint32_t count = names->count();
    vela::array_head(archive, SENSOR_ARRAY_VERSION, SENSOR_ARRAY_VERSION,
                     count);
    for (uint32_t i = 0; i < count && archive.ok(); ++i) {
        const struct {
            uint8_t version;
            const char *name;
        } column = {SENSOR_VERSION, names->names()[i]};
        vela::sensor_form(archive, column);
    }
    return archive.result();
}

constexpr vela::serializer<vela::column_names> columns_form = {
    .write = write_columns,
    .read = read_columns,
};

}  // namespace

// --- names ---

void vela::column_names::clear() noexcept
{
    text_.clear();
    names_.clear();
    count_ = 0;
}

bool vela::column_names::add(const char *name) noexcept
{
    ++count_;
    return text_.append(name, std::strlen(name) + 1);
}

// The text may have moved while it grew: only now are there places to keep.
bool vela::column_names::point_at_names() noexcept
{
    const char **const names = names_.extend(count_);
    if (names == nullptr) return count_ == 0;
    const char *name = text_.begin();
    for (uint32_t i = 0; i < count_; ++i) {
        names[i] = name;
        name += std::strlen(name) + 1;
    }
    return true;
}

int vela::column_names::read(struct reader *in) noexcept
{
    clear();
    decoder archive(in);
    uint32_t count = 0;
    array_head(archive, SENSOR_ARRAY_VERSION, SENSOR_ARRAY_VERSION, count);
    for (uint32_t i = 0; i < count && archive.ok(); ++i) {
        struct sensor stored = {};
        sensor_form(archive, stored);
        const heap<char> name(stored.name);
        archive.check(name && add(name.get()), KOR_ERR_NO_MEMORY);
    }
    archive.check(archive.ok() && point_at_names(), KOR_ERR_NO_MEMORY);
    return archive.result();
}

bool vela::column_names::assign(const column_names &other) noexcept
{
    clear();
    count_ = other.count_;
    return text_.append(other.text_.begin(), other.text_.size()) &&
           point_at_names();
}

bool vela::column_names::assign(const struct sensor_array &sensors) noexcept
{
    clear();
    for (uint32_t i = 0; i < sensors.nsensors; ++i)
        if (!add(sensors.sensors[i]->canonical->name)) return false;
    return point_at_names();
}

bool vela::column_names::assign_placeholders(uint32_t count) noexcept
{
    clear();
    for (uint32_t i = 1; i <= count; ++i) {
        char name[placeholder_size];
        std::snprintf(name, sizeof name, "sensor %u", i);
        if (!add(name)) return false;
    }
    return point_at_names();
}

bool vela::column_names::equals(const column_names &other) const noexcept
{
    return count_ == other.count_ && text_.size() == other.text_.size() &&
           std::equal(text_.begin(), text_.end(), other.text_.begin());
}

int vela::column_names::has_repetition() const noexcept
{
    growable<const char *> sorted;
    if (!sorted.append(names_.begin(), names_.size())) return KOR_ERR_NO_MEMORY;
    std::sort(sorted.begin(), sorted.end(), [](const char *a, const char *b) {
        return std::strcmp(a, b) < 0;
    });
    return std::adjacent_find(sorted.begin(), sorted.end(),
                              [](const char *a, const char *b) {
                                  return std::strcmp(a, b) == 0;
                              }) != sorted.end();
}

// --- a record ---

vela::scanned_record::scanned_record() noexcept
{
    timestamp_init_null(&names_time_);
    kor_cb_record_sensor_values_init_null(&sample_);
    kor_hb_record_sensor_values_init_null(&interval_);
    kor_cb_record_event_init_null(&event_);
}

vela::scanned_record::~scanned_record()
{
    kor_cb_record_sensor_values_destruct(&sample_);
    kor_hb_record_sensor_values_destruct(&interval_);
    kor_cb_record_event_destruct(&event_);
}

int vela::scanned_record::read_names(struct reader *in) noexcept
{
    decoder archive(in);
    names_form(archive, KOR_CB_RECORD_SENSOR_NAMES_VERSION, names_time_, names_,
               columns_form);
    return archive.result();
}

int vela::scanned_record::read(uint32_t buffer_kind, struct reader *in) noexcept
{
    uint32_t type = 0;
    decoder tag(in);
    tag.u32(type);
    if (!tag.ok()) return tag.result();
    kind_ = static_cast<record_kind>(type);
    is_history_ = buffer_kind == KOR_BUFFER_TYPE_HIST;
    if (kind_ == record_kind::names) return read_names(in);
    if (is_interval())
        return binary_serializer_read_kor_hb_record_sensor_values(&interval_,
                                                                  in);
    if (kind_ == record_kind::values)
        return binary_serializer_read_kor_cb_record_sensor_values(&sample_, in);
    if (kind_ == record_kind::event && !is_history_)
        return binary_serializer_read_kor_cb_record_event(&event_, in);
    return KOR_ERR_UNKNOWN_KIND;
}

struct timestamp vela::scanned_record::start() const noexcept
{
    if (kind_ == record_kind::names) return names_time_;
    if (kind_ == record_kind::event) return event_.t;
    return is_history_ ? interval_.start : sample_.timestamp;
}

struct timestamp vela::scanned_record::end() const noexcept
{
    return is_interval() ? interval_.end : start();
}

uint32_t vela::scanned_record::count() const noexcept
{
    return is_history_ ? interval_.n_sensors : sample_.n_sensors;
}

// --- out of a stream ---

int vela::record_parser::take(void *self, void *to, uint32_t size) noexcept
{
    auto &parser = *static_cast<record_parser *>(self);
    const uint32_t nread = parser.in_.read(to, size);
    parser.has_begun_ = parser.has_begun_ || nread > 0;
    if (parser.kept_ != nullptr &&
        !parser.kept_->append(static_cast<unsigned char *>(to), nread))
        return KOR_ERR_NO_MEMORY;
    return static_cast<int>(nread);
}

vela::parsed vela::record_parser::result_of(int nread) noexcept
{
    if (nread >= 0) return parsed::record;
    if (nread == KOR_ERR_NO_MEMORY) error_ = nread;
    if (in_.state() == stream_state::failed) error_ = in_.error();
    return error_ < 0 ? parsed::failed : parsed::broken;
}

vela::parsed vela::record_parser::record(uint32_t buffer_kind,
                                         scanned_record *record,
                                         stored_bytes *kept) noexcept
{
    kept_ = kept;
    if (kept_ != nullptr) kept_->clear();
    has_begun_ = false;
    const int nread = record->read(buffer_kind, reader_.get());
    const bool is_at_end = !has_begun_ && in_.state() == stream_state::complete;
    return is_at_end ? parsed::end : result_of(nread);
}

// Whether a recorder can have chosen the capacity is not a question of whether
// the file can be read.
vela::parsed vela::record_parser::header(struct buffer_header *header) noexcept
{
    kept_ = nullptr;
    decoder tag(reader_.get());
    tag.u32(header->kind);
    if (!tag.ok()) return result_of(tag.result());
    const int nread =
        read_buffer_header(header_version, header->capacity, reader_.get());
    if (nread < 0 && nread != KOR_ERR_INVALID_DATA) return result_of(nread);
    // Asked last: a stream that is cut in its header is the start of one.
    const bool is_known = header->kind == KOR_BUFFER_TYPE_CURRENT ||
                          header->kind == KOR_BUFFER_TYPE_HIST;
    return is_known ? parsed::record : parsed::broken;
}

// --- composing ---

int vela::write_header(const struct buffer_header &header,
                       struct writer *out) noexcept
{
    encoder tag(out);
    tag.u32(header.kind);
    return tag.ok() ? write_buffer_header(header_version, header.capacity, out)
                    : tag.result();
}

int vela::write_names(const struct timestamp &t, const column_names &names,
                      struct writer *out) noexcept
{
    encoder archive(out);
    archive.u32(static_cast<uint32_t>(record_kind::names));
    names_form(archive, KOR_CB_RECORD_SENSOR_NAMES_VERSION, t, names,
               columns_form);
    return archive.result();
}

int vela::write_empty_sample(const struct timestamp &t, uint32_t count,
                             struct writer *out) noexcept
{
    growable<float> readings;
    float *const first = readings.extend(count);
    if (first == nullptr) return KOR_ERR_NO_MEMORY;
    std::fill(first, first + count, _vela_invalid_sensor_value);
    struct kor_cb_record_sensor_values sample;
    kor_cb_record_sensor_values_init_null(&sample);
    sample.timestamp = t;
    sample.values = first;
    sample.n_sensors = count;
    struct kor_cb_record record;
    kor_cb_record_init_sensor_values(&record, &sample);
    return binary_serializer_write_kor_cb_record(&record, out);
}

int vela::write_empty_interval(const struct timestamp &t, uint32_t count,
                               struct writer *out) noexcept
{
    growable<struct hist_value> summaries;
    struct hist_value *const first = summaries.extend(count);
    if (first == nullptr) return KOR_ERR_NO_MEMORY;
    std::for_each(first, first + count,
                  [](struct hist_value &hv) { hist_value_init(&hv); });
    struct kor_hb_record_sensor_values interval;
    kor_hb_record_sensor_values_init_null(&interval);
    interval.start = t;
    interval.end = t;
    interval.hvalues = first;
    interval.n_sensors = count;
    struct kor_hb_record record;
    kor_hb_record_init_sensor_values(&record, &interval);
    return binary_serializer_write_kor_hb_record(&record, out);
}
