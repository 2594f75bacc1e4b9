#include "model/hist_value_columns.hpp"

#include <cstdlib>

#include "common/contract.hpp"
#include "model/hist_value_entries.hpp"
#include "model/sensor_internal.hpp"

namespace vela {

namespace {
constexpr uint32_t first_table_size = 64;

template <class T>
heap<T> zeroed(uint32_t count) noexcept
{
    return heap<T>(static_cast<T *>(std::calloc(count, sizeof(T))));
}
}  // namespace

int hist_columns::bind(struct hist_value_list &list,
                       const struct sensor_array &sensors) noexcept
{
    KOR_ASSERT(list_ == NULL || list_ == &list);
    list_ = &list;
    const uint32_t count = sensors.nsensors;
    if (count > capacity_) {
        ncolumns_ = 0;
        capacity_ = 0;
        columns_ = zeroed<column>(count);
        if (!columns_) return KOR_ERR_NO_MEMORY;
        capacity_ = count;
    }
    ncolumns_ = count;
    for (uint32_t i = 0; i < count; ++i) {
        KOR_ASSERT(sensors.sensors[i] != NULL);
        columns_.get()[i] = {sensors.sensors[i]->canonical, nullptr};
    }
    return KOR_OK;
}

struct hist_value *hist_columns::claim(uint32_t i) noexcept
{
    KOR_ASSERT(i < ncolumns_);
    column &c = columns_.get()[i];
    if (c.found == nullptr) c.found = resolve(c.sensor);
    return c.found != nullptr ? claim_hist_value(*list_, *c.found) : nullptr;
}

hist_columns::entry *hist_columns::resolve(const struct sensor *sensor) noexcept
{
    entry *const present = learn_chain(hist_value_bucket_of(sensor))
                               ? place_of(sensor)
                               : find_hist_value(*list_, sensor);
    return present != nullptr ? present : push_hist_value(*list_, sensor);
}

// Entries are only ever added at the head of a chain, by anybody: what stands
// before the head known so far is new.  False if there is no memory.
bool hist_columns::learn_chain(uint32_t bucket) noexcept
{
    if (!known_heads_) known_heads_ = zeroed<entry *>(hist_value_buckets);
    if (!known_heads_ || !make_room()) return false;
    entry *&known = known_heads_.get()[bucket];
    entry *const head = list_->buckets[bucket];
    for (entry *e = head; e != known; e = e->next)
        if (!learn(e)) return false;
    known = head;
    return true;
}

bool hist_columns::learn(entry *e) noexcept
{
    if (!make_room()) return false;
    entry *&place = place_of(e->sensor);
    if (place == nullptr) ++nknown_;
    place = e;
    return true;
}

// Keeps the table at most half full with one entry more.
bool hist_columns::make_room() noexcept
{
    if (2 * (nknown_ + 1) <= table_size_) return true;
    const uint32_t old_size = table_size_;
    const uint32_t size = old_size > 0 ? 2 * old_size : first_table_size;
    heap<entry *> old = zeroed<entry *>(size);
    if (!old) return false;
    old.swap(table_);
    table_size_ = size;
    for (uint32_t i = 0; i < old_size; ++i)
        if (entry *const e = old.get()[i]; e != nullptr)
            place_of(e->sensor) = e;
    return true;
}

// Where a sensor's entry stands in the table, or the empty place for it.
hist_columns::entry *&hist_columns::place_of(
    const struct sensor *sensor) const noexcept
{
    uint32_t i = hash_of_address(sensor);
    for (;; ++i) {
        entry *&place = table_.get()[i & (table_size_ - 1)];
        if (place == nullptr || place->sensor == sensor) return place;
    }
}

}  // namespace vela
