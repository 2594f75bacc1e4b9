#include "recorder/scanned_record.hpp"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "error.h"
#include "io/codec.hpp"
#include "kor_buffer.h"
#include "kor_cb_record.h"
#include "kor_hb_record.h"
#include "sensor_value.h"

namespace {

// Where the fields of a stored record lie, behind its type and its version.
constexpr size_t type_size = 4;
constexpr size_t version_size = 1;
constexpr size_t count_size = 4;
constexpr size_t time_size = 9;
constexpr size_t payload_start = type_size + version_size;
constexpr size_t names_count_offset = payload_start + time_size + version_size;
constexpr size_t names_start = names_count_offset + count_size;
constexpr size_t sample_count_offset = payload_start + time_size;
constexpr size_t readings_start = sample_count_offset + count_size;
constexpr size_t interval_end_offset = payload_start + time_size;
constexpr size_t interval_count_offset = interval_end_offset + time_size;
constexpr size_t summaries_start = interval_count_offset + count_size;
constexpr size_t event_time_offset = payload_start + count_size;
constexpr size_t text_length_offset = event_time_offset + time_size;
constexpr size_t text_start = text_length_offset + count_size;

constexpr uint32_t reading_size = 4;
constexpr uint32_t summary_size = 37;
constexpr uint32_t counters_size = 5 * count_size;
constexpr uint8_t interval_version_without_events = 1;

constexpr uint32_t copy_block = 1024;
constexpr size_t placeholder_size = 32;

static_assert(static_cast<uint32_t>(vela::record_kind::names) ==
                  KOR_CB_RECORD_SENSOR_NAMES &&
              KOR_CB_RECORD_SENSOR_NAMES == KOR_HB_RECORD_SENSOR_NAMES);
static_assert(static_cast<uint32_t>(vela::record_kind::values) ==
                  KOR_CB_RECORD_SENSOR_VALUES &&
              KOR_CB_RECORD_SENSOR_VALUES == KOR_HB_RECORD_SENSOR_VALUES);
static_assert(static_cast<uint32_t>(vela::record_kind::event) ==
              KOR_CB_RECORD_EVENT);

bool is_count(uint32_t count) noexcept
{
    return count >= 1 && count <= vela::max_serialized_count;
}

}  // namespace

// --- looking up fields ---

uint32_t vela::scanned_record::u32_at(size_t offset) const noexcept
{
    return vela::load<uint32_t>(bytes_.begin() + offset);
}

struct timestamp vela::scanned_record::time_at(size_t offset) const noexcept
{
    struct timestamp t = {};
    t.version = TIMESTAMP_VERSION;
    t.tv.tv_sec = static_cast<int32_t>(u32_at(offset + version_size));
    return t;
}

vela::record_kind vela::scanned_record::kind() const noexcept
{
    return bytes_.empty() ? record_kind::none
                          : static_cast<record_kind>(u32_at(0));
}

bool vela::scanned_record::is_interval() const noexcept
{
    return kind() == record_kind::values &&
           buffer_kind_ == KOR_BUFFER_TYPE_HIST;
}

struct timestamp vela::scanned_record::start() const noexcept
{
    return time_at(kind() == record_kind::event ? event_time_offset
                                                : payload_start);
}

struct timestamp vela::scanned_record::end() const noexcept
{
    return is_interval() ? time_at(interval_end_offset) : start();
}

uint32_t vela::scanned_record::count() const noexcept
{
    if (kind() == record_kind::names) return u32_at(names_count_offset);
    return u32_at(is_interval() ? interval_count_offset : sample_count_offset);
}

float vela::scanned_record::reading(uint32_t i) const noexcept
{
    return std::bit_cast<float>(
        u32_at(readings_start + static_cast<size_t>(i) * reading_size));
}

struct hist_value vela::scanned_record::summary(uint32_t i) const noexcept
{
    size_t at = summaries_start + static_cast<size_t>(i) * summary_size;
    struct hist_value hv = {};
    hv.version = bytes_[at];
    at += version_size;
    hv.count = u32_at(at);
    for (sensor_value *figure : {&hv.min, &hv.max, &hv.first, &hv.last, &hv.sum,
                                 &hv.sum2, &hv.sum3, &hv.sum4}) {
        at += reading_size;
        *figure = std::bit_cast<float>(u32_at(at));
    }
    return hv;
}

struct kor_hb_record_events vela::scanned_record::events() const noexcept
{
    struct kor_hb_record_events events = {};
    events.version = KOR_HB_RECORD_EVENTS_VERSION;
    if (bytes_[type_size] == interval_version_without_events) return events;
    size_t at = summaries_start + static_cast<size_t>(count()) * summary_size +
                version_size;
    for (uint32_t *counter : {&events.n_type1, &events.n_type4, &events.n_type2,
                              &events.n_type3, &events.n_type5}) {
        *counter = u32_at(at);
        at += count_size;
    }
    return events;
}

uint32_t vela::scanned_record::event_type() const noexcept
{
    return u32_at(payload_start);
}

const char *vela::scanned_record::text(uint32_t *length) const noexcept
{
    *length = u32_at(text_length_offset);
    return reinterpret_cast<const char *>(bytes_.begin() + text_start);
}

// --- names ---

void vela::column_names::clear() noexcept
{
    text_.clear();
    names_.clear();
    count_ = 0;
}

bool vela::column_names::add(const char *name, uint32_t length) noexcept
{
    ++count_;
    return text_.append(name, length) && text_.append('\0');
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

bool vela::column_names::assign(const scanned_record &names) noexcept
{
    clear();
    const unsigned char *at = names.bytes().begin() + names_start;
    for (uint32_t i = 0; i < names.count(); ++i) {
        at += version_size;
        const uint32_t length = vela::load<uint32_t>(at);
        at += count_size;
        if (!add(reinterpret_cast<const char *>(at), length)) return false;
        at += length;
    }
    return point_at_names();
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
    for (uint32_t i = 0; i < sensors.nsensors; ++i) {
        const char *const name = sensors.sensors[i]->canonical->name;
        if (!add(name, static_cast<uint32_t>(std::strlen(name)))) return false;
    }
    return point_at_names();
}

bool vela::column_names::assign_placeholders(uint32_t count) noexcept
{
    clear();
    for (uint32_t i = 1; i <= count; ++i) {
        char name[placeholder_size];
        std::snprintf(name, sizeof name, "sensor %u", i);
        if (!add(name, static_cast<uint32_t>(std::strlen(name)))) return false;
    }
    return point_at_names();
}

bool vela::column_names::equals(const column_names &other) const noexcept
{
    return count_ == other.count_ && text_.size() == other.text_.size() &&
           std::equal(text_.begin(), text_.end(), other.text_.begin());
}

// --- checking field by field ---

bool vela::record_parser::take(void *to, uint32_t size) noexcept
{
    if (!ok_) return false;
    ok_ = in_.read(to, size) == size;
    if (!ok_ || kept_ == nullptr) return ok_;
    ok_ = kept_->append(static_cast<unsigned char *>(to), size);
    if (!ok_) error_ = KOR_ERR_NO_MEMORY;
    return ok_;
}

bool vela::record_parser::skip(uint32_t size) noexcept
{
    unsigned char block[copy_block];
    while (ok_ && size > 0) {
        const uint32_t part = std::min(size, copy_block);
        take(block, part);
        size -= part;
    }
    return ok_;
}

uint32_t vela::record_parser::u32() noexcept
{
    unsigned char bytes[count_size] = {};
    take(bytes, sizeof bytes);
    return vela::load<uint32_t>(bytes);
}

void vela::record_parser::version(uint8_t lowest, uint8_t highest,
                                  uint8_t *stored) noexcept
{
    *stored = 0;
    take(stored, version_size);
    ok_ = ok_ && *stored >= lowest && *stored <= highest;
}

uint32_t vela::record_parser::bounded_count() noexcept
{
    const uint32_t count = u32();
    ok_ = ok_ && is_count(count);
    return count;
}

void vela::record_parser::time() noexcept
{
    uint8_t stored;
    version(TIMESTAMP_VERSION, TIMESTAMP_VERSION, &stored);
    u32();
    const uint32_t microseconds = u32();
    ok_ = ok_ && microseconds == 0;
}

void vela::record_parser::text() noexcept
{
    uint32_t left = bounded_count();
    char block[copy_block];
    while (ok_ && left > 0) {
        const uint32_t part = std::min(left, copy_block);
        take(block, part);
        ok_ = ok_ && std::memchr(block, '\0', part) == nullptr;
        left -= part;
    }
}

void vela::record_parser::names() noexcept
{
    uint8_t stored;
    version(1, 1, &stored);
    time();
    version(1, 1, &stored);
    uint32_t left = bounded_count();
    while (ok_ && left-- > 0) {
        version(1, 1, &stored);
        text();
    }
}

void vela::record_parser::sample() noexcept
{
    uint8_t stored;
    version(1, 1, &stored);
    time();
    const uint32_t count = bounded_count();
    if (ok_) skip(count * reading_size);
}

void vela::record_parser::interval() noexcept
{
    uint8_t stored;
    version(interval_version_without_events,
            KOR_HB_RECORD_SENSOR_VALUES_VERSION, &stored);
    time();
    time();
    uint32_t left = bounded_count();
    uint8_t inner;
    while (ok_ && left-- > 0) {
        version(HIST_VALUE_VERSION, HIST_VALUE_VERSION, &inner);
        skip(summary_size - version_size);
    }
    if (stored == interval_version_without_events) return;
    version(KOR_HB_RECORD_EVENTS_VERSION, KOR_HB_RECORD_EVENTS_VERSION, &inner);
    skip(counters_size);
}

void vela::record_parser::event() noexcept
{
    uint8_t stored;
    version(1, 1, &stored);
    u32();
    time();
    text();
}

void vela::record_parser::payload(uint32_t buffer_kind,
                                  record_kind kind) noexcept
{
    const bool is_history = buffer_kind == KOR_BUFFER_TYPE_HIST;
    if (kind == record_kind::names)
        names();
    else if (kind == record_kind::values)
        is_history ? interval() : sample();
    else if (kind == record_kind::event && !is_history)
        event();
    else
        ok_ = false;
}

vela::parsed vela::record_parser::result() const noexcept
{
    if (ok_) return parsed::record;
    return error_ < 0 ? parsed::failed : parsed::broken;
}

vela::parsed vela::record_parser::record(uint32_t buffer_kind,
                                         scanned_record *kept) noexcept
{
    ok_ = true;
    kept_ = kept != nullptr ? &kept->bytes() : nullptr;
    if (kept != nullptr) {
        kept->bytes().clear();
        kept->set_buffer_kind(buffer_kind);
    }
    unsigned char type[type_size];
    const uint32_t nread = in_.read(type, sizeof type);
    const bool has_ended = in_.state() == stream_state::complete;
    if (nread == 0 && has_ended) return parsed::end;
    ok_ = nread == sizeof type;
    if (ok_ && kept_ != nullptr && !kept_->append(type, sizeof type)) {
        ok_ = false;
        error_ = KOR_ERR_NO_MEMORY;
    }
    if (ok_)
        payload(buffer_kind,
                static_cast<record_kind>(vela::load<uint32_t>(type)));
    if (!ok_ && in_.state() == stream_state::failed) error_ = in_.error();
    return result();
}

vela::parsed vela::record_parser::header(struct buffer_header *header) noexcept
{
    ok_ = true;
    kept_ = nullptr;
    header->kind = u32();
    uint8_t stored;
    version(1, 1, &stored);
    header->capacity = u32();
    ok_ = ok_ && (header->kind == KOR_BUFFER_TYPE_CURRENT ||
                  header->kind == KOR_BUFFER_TYPE_HIST);
    if (!ok_ && in_.state() == stream_state::failed) error_ = in_.error();
    return result();
}

// --- composing ---

void vela::record_composer::u8(uint8_t value) noexcept
{
    ok_ = ok_ && to_.append(value);
}

void vela::record_composer::u32(uint32_t value) noexcept
{
    const uint32_t wire = big_endian(value);
    unsigned char bytes[sizeof wire];
    std::memcpy(bytes, &wire, sizeof wire);
    ok_ = ok_ && to_.append(bytes, sizeof bytes);
}

void vela::record_composer::text(const char *text) noexcept
{
    const size_t length = std::strlen(text);
    u32(static_cast<uint32_t>(length));
    ok_ = ok_ &&
          to_.append(reinterpret_cast<const unsigned char *>(text), length);
}

void vela::record_composer::time(const struct timestamp &t) noexcept
{
    u8(TIMESTAMP_VERSION);
    u32(static_cast<uint32_t>(t.tv.tv_sec));
    u32(0);
}

void vela::record_composer::header(const struct buffer_header &header) noexcept
{
    u32(header.kind);
    u8(1);
    u32(header.capacity);
}

void vela::record_composer::names(const struct timestamp &t,
                                  const column_names &names) noexcept
{
    u32(static_cast<uint32_t>(record_kind::names));
    u8(1);
    time(t);
    u8(1);
    u32(names.count());
    for (uint32_t i = 0; i < names.count(); ++i) {
        u8(1);
        text(names.names()[i]);
    }
}

void vela::record_composer::empty_sample(const struct timestamp &t,
                                         uint32_t count) noexcept
{
    u32(static_cast<uint32_t>(record_kind::values));
    u8(1);
    time(t);
    u32(count);
    for (uint32_t i = 0; i < count; ++i) f32(_vela_invalid_sensor_value);
}

void vela::record_composer::f32(float value) noexcept
{
    u32(std::bit_cast<uint32_t>(value));
}

void vela::record_composer::summary(const struct hist_value &hv) noexcept
{
    u8(HIST_VALUE_VERSION);
    u32(hv.count);
    for (const sensor_value figure :
         {hv.min, hv.max, hv.first, hv.last, hv.sum, hv.sum2, hv.sum3, hv.sum4})
        f32(figure);
}

void vela::record_composer::counters(
    const struct kor_hb_record_events &events) noexcept
{
    u8(KOR_HB_RECORD_EVENTS_VERSION);
    for (const uint32_t counter :
         {events.n_type1, events.n_type4, events.n_type2, events.n_type3,
          events.n_type5})
        u32(counter);
}

void vela::record_composer::interval_head(const struct timestamp &start,
                                          const struct timestamp &end,
                                          uint32_t count) noexcept
{
    u32(static_cast<uint32_t>(record_kind::values));
    u8(KOR_HB_RECORD_SENSOR_VALUES_VERSION);
    time(start);
    time(end);
    u32(count);
}

void vela::record_composer::interval(
    const struct timestamp &start, const struct timestamp &end,
    const struct hist_value *values, uint32_t count,
    const struct kor_hb_record_events &events) noexcept
{
    interval_head(start, end, count);
    for (uint32_t i = 0; i < count; ++i) summary(values[i]);
    counters(events);
}

void vela::record_composer::empty_interval(const struct timestamp &t,
                                           uint32_t count) noexcept
{
    interval_head(t, t, count);
    for (uint32_t i = 0; i < count; ++i) summary({});
    counters({});
}
