#include "recorder/fold_proof.hpp"

#include <bit>

#include "error.h"
#include "kor_buffer.h"
#include "kor_hb_record.h"
#include "recorder/event_counters.hpp"

namespace {

// A list counts its clearings in 16 bits.
constexpr uint32_t max_intervals = 65535;
constexpr uint32_t intervals_per_merge = 2;

bool is_same_float(float a, float b) noexcept
{
    // What an addition of infinities yields differs between processors.
    const bool are_same_bits =
        std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b);
    return are_same_bits || (a != a && b != b);
}

bool is_same_summary(const struct hist_value &a,
                     const struct hist_value &b) noexcept
{
    return a.count == b.count && is_same_float(a.min, b.min) &&
           is_same_float(a.max, b.max) && is_same_float(a.first, b.first) &&
           is_same_float(a.last, b.last) && is_same_float(a.sum, b.sum) &&
           is_same_float(a.sum2, b.sum2) && is_same_float(a.sum3, b.sum3) &&
           is_same_float(a.sum4, b.sum4);
}

}  // namespace

vela::fold_pass::~fold_pass()
{
    hist_value_list_destruct(&list_);
    if (sensors_ != nullptr) sensor_array_destroy(&sensors_);
}

int vela::fold_pass::open(const char *path,
                          uint32_t samples_per_interval) noexcept
{
    hist_value_list_init(&list_);
    kor_hb_record_events_init_null(&events_);
    const uint32_t kind = kind_of_name(path);
    values_per_interval_ = kind == KOR_BUFFER_TYPE_HIST ? intervals_per_merge
                                                        : samples_per_interval;
    return scan_.open(path, kind);
}

vela::folded vela::fold_pass::fail(int code) noexcept
{
    error_ = code;
    return folded::failed;
}

void vela::fold_pass::begin_interval() noexcept
{
    if (given_ > 0) hist_value_list_clear(&list_);
    for (struct hist_value *&entry : columns_) entry = nullptr;
    kor_hb_record_events_init_null(&events_);
    taken_ = 0;
}

bool vela::fold_pass::take_names() noexcept
{
    const column_names &names = scan_.names();
    if (sensors_ != nullptr) sensor_array_destroy(&sensors_);
    sensors_ = sensor_array_create_from_names(names.names(), names.count());
    if (sensors_ == nullptr) return false;
    columns_.clear();
    struct hist_value **const room = columns_.extend(names.count());
    if (room == nullptr) return false;
    for (uint32_t i = 0; i < names.count(); ++i) room[i] = nullptr;
    return true;
}

// Events count towards the interval of the next sample.  False for one that
// the recorder cannot fold.
bool vela::fold_pass::count_event() noexcept
{
    uint32_t *const counter = counter_of(events_, scan_.record().event_type());
    if (counter != nullptr) ++*counter;
    return counter != nullptr;
}

struct hist_value *vela::fold_pass::column(uint32_t i) noexcept
{
    if (columns_[i] == nullptr)
        columns_[i] = hist_value_list_add_if_not_present(
            &list_, sensor_array_get_sensors(sensors_)[i]);
    return columns_[i];
}

vela::folded vela::fold_pass::take_values() noexcept
{
    const scanned_record &record = scan_.record();
    if (sensors_ == nullptr || record.count() != columns_.size())
        return folded::unfit;
    if (taken_ == 0) start_ = record.start();
    end_ = record.end();
    ++taken_;
    for (uint32_t i = 0; i < record.count(); ++i) {
        struct hist_value *const entry = column(i);
        if (entry == nullptr) return fail(KOR_ERR_NO_MEMORY);
        if (record.is_interval())
            hist_value_merge_with(entry, &record.summaries()[i]);
        else
            hist_value_update(entry, record.readings()[i]);
    }
    if (record.is_interval())
        kor_hb_record_events_merge_with(&events_, &record.events());
    return folded::end;
}

// Takes a record into the interval in progress: `end` means that it went in.
vela::folded vela::fold_pass::take_record() noexcept
{
    switch (scan_.record().kind()) {
        case record_kind::names:
            return take_names() ? folded::end : fail(KOR_ERR_NO_MEMORY);
        case record_kind::values:
            return take_values();
        case record_kind::event:
            return count_event() ? folded::end : folded::unfit;
        default:
            return folded::unfit;
    }
}

// The fold of a current buffer also writes the samples that are left over at
// the end; the merge of a history drops an odd interval.
vela::folded vela::fold_pass::next() noexcept
{
    begin_interval();
    if (given_ >= max_intervals) return folded::unfit;
    ++given_;
    while (taken_ < values_per_interval_) {
        const scanned item = scan_.next();
        if (item == scanned::failed) return fail(scan_.error());
        if (item == scanned::end) break;
        if (item != scanned::record) continue;  // damage
        const folded result = take_record();
        if (result != folded::end) return result;
    }
    const bool is_merge = scan_.kind() == KOR_BUFFER_TYPE_HIST;
    const uint32_t least = is_merge ? values_per_interval_ : 1;
    return taken_ >= least ? folded::interval : folded::end;
}

int vela::fold_pass::write_to(struct writer *out) noexcept
{
    const owned<kor_hb_record_sensor_values_destroy> values(
        kor_hb_record_sensor_values_create(&start_, &end_, &list_, &events_));
    if (!values) return KOR_ERR_NO_MEMORY;
    struct kor_hb_record record;
    kor_hb_record_init_sensor_values(&record, values.get());
    return binary_serializer_write_kor_hb_record(&record, out);
}

int vela::interval_reader::open(const char *path) noexcept
{
    return scan_.open(path, KOR_BUFFER_TYPE_HIST);
}

vela::folded vela::interval_reader::next() noexcept
{
    for (;;) {
        const scanned item = scan_.next();
        if (item == scanned::failed) return folded::failed;
        if (item == scanned::end) return folded::end;
        if (item == scanned::record && scan_.record().is_interval())
            return folded::interval;
    }
}

namespace {

bool is_same_time(const struct timestamp &a, const struct timestamp &b) noexcept
{
    return a.tv.tv_sec == b.tv.tv_sec;
}

// Whether the columns of an interval are those of a list, in its order.
bool are_same_columns(const vela::buffer_scan &scan,
                      const struct sensor_array &sensors,
                      const struct hist_value *values) noexcept
{
    const char *const *const names = scan.names().names();
    for (uint32_t i = 0; i < scan.record().count(); ++i) {
        const struct sensor *const sensor = sensors.sensors[i]->canonical;
        if (std::strcmp(sensor->name, names[i]) != 0 ||
            !is_same_summary(scan.record().summaries()[i], values[i]))
            return false;
    }
    return true;
}

}  // namespace

int vela::interval_reader::equals(const fold_pass &pass) const noexcept
{
    const scanned_record &record = scan_.record();
    const uint32_t count = hist_value_list_get_size(&pass.list());
    if (record.count() != count || scan_.names().count() != count ||
        !is_same_time(record.start(), pass.start()) ||
        !is_same_time(record.end(), pass.end()) ||
        !kor_hb_record_events_is_equal(&record.events(), &pass.events()))
        return 0;
    const heap<struct hist_value> values(
        hist_value_list_get_hist_value_copies(&pass.list()));
    struct sensor_array *sensors =
        values ? hist_value_list_get_sensor_copies(&pass.list()) : nullptr;
    if (sensors == nullptr) return KOR_ERR_NO_MEMORY;
    const owned<sensor_array_destroy> owner(sensors);
    return are_same_columns(scan_, *sensors, values.get()) ? 1 : 0;
}

namespace {

// What is left of a claim while its sources are gone through.
struct comparison {
    vela::heap_object<vela::interval_reader> history;
    uint32_t left;
    bool partly;
};

// Compares all that one source gives.  Returns 1, 0 or a negative code.
int compare_source(comparison &claim, const char *path,
                   uint32_t samples_per_interval) noexcept
{
    using vela::folded;
    const auto pass = vela::make_heap_object<vela::fold_pass>();
    if (!pass) return KOR_ERR_NO_MEMORY;
    const int opened = pass->open(path, samples_per_interval);
    if (opened < 0) return opened;
    for (;;) {
        if (claim.left == 0 && claim.partly) return 1;
        const folded given = pass->next();
        if (given == folded::failed) return pass->error();
        if (given == folded::end) return 1;
        if (given == folded::unfit || claim.left == 0) return 0;
        --claim.left;
        const folded stored = claim.history->next();
        if (stored == folded::failed) return claim.history->error();
        if (stored == folded::end) return 0;
        const int equal = claim.history->equals(*pass);
        if (equal != 1) return equal;
    }
}

}  // namespace

int vela::prove_folded(const fold_claim &claim) noexcept
{
    comparison open = {make_heap_object<interval_reader>(), claim.count,
                       claim.partly};
    if (!open.history) return KOR_ERR_NO_MEMORY;
    const int opened = open.history->open(claim.history);
    if (opened < 0) return opened;
    for (uint32_t i = 0; i < claim.first; ++i) {
        const folded skipped = open.history->next();
        if (skipped == folded::failed) return open.history->error();
        if (skipped == folded::end) return 0;
    }
    for (const char *source : claim.sources) {
        if (source == nullptr) continue;
        const int result =
            compare_source(open, source, claim.samples_per_interval);
        if (result != 1) return result;
    }
    return open.left == 0 ? 1 : 0;
}
