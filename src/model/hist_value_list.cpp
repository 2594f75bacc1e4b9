// hist_value_list: a table from sensor to interval summary.
//
// An entry belongs to the current contents if its `seq` is the list's.  Entries
// of earlier generations stay where they are in their chains and are claimed
// again, so clearing frees nothing and the order of a chain is that in which
// its entries were allocated, the latest first.
#include "hist_value_list.h"

#include <cstdlib>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "model/hist_value_entries.hpp"

namespace {

using entry = struct hist_value_list_entry;

// The entries of the current generation: buckets in turn, chains from the
// head.
class current_entries {
public:
    explicit current_entries(const struct hist_value_list &list) noexcept
        : list_(list)
    {
    }

    // The next one, or null after the last.
    const entry *next() noexcept
    {
        do step();
        while (at_ != nullptr && at_->seq != list_.seq);
        return at_;
    }

private:
    void step() noexcept
    {
        if (at_ != nullptr) at_ = at_->next;
        while (at_ == nullptr && bucket_ < vela::hist_value_buckets)
            at_ = list_.buckets[bucket_++];
    }

    const struct hist_value_list &list_;
    const entry *at_ = nullptr;
    uint32_t bucket_ = 0;
};

void destroy_chain(entry *e)
{
    while (e != nullptr) {
        const vela::heap<entry> current(e);
        e = e->next;
        sensor_destroy(&current->sensor);
        hist_value_destruct(&current->hvalue);
    }
}

}  // namespace

namespace vela {

uint32_t hist_value_bucket_of(const struct sensor *sensor) noexcept
{
    return sensor_get_hash_code(sensor) % hist_value_buckets;
}

hist_value_list_entry *find_hist_value(const struct hist_value_list &list,
                                       const struct sensor *sensor) noexcept
{
    entry *e = list.buckets[hist_value_bucket_of(sensor)];
    while (e != nullptr && !sensor_is_equal(e->sensor, sensor)) e = e->next;
    return e;
}

struct hist_value *claim_hist_value(struct hist_value_list &list,
                                    hist_value_list_entry &e) noexcept
{
    if (e.seq != list.seq) {
        hist_value_destruct(&e.hvalue);
        hist_value_init(&e.hvalue);
        e.seq = list.seq;
        list.nitems += 1;
    }
    return &e.hvalue;
}

hist_value_list_entry *push_hist_value(struct hist_value_list &list,
                                       const struct sensor *sensor) noexcept
{
    heap<entry> e(static_cast<entry *>(std::malloc(sizeof(entry))));
    if (!e) return fail(KOR_ERR_NO_MEMORY);
    e->sensor = sensor_copy(sensor, nullptr);
    if (e->sensor == nullptr) return nullptr;
    e->seq = list.seq;
    hist_value_init(&e->hvalue);
    entry *&head = list.buckets[hist_value_bucket_of(sensor)];
    e->next = head;
    head = e.get();
    list.nitems += 1;
    return e.release();
}

}  // namespace vela

int hist_value_list_init(struct hist_value_list *list)
{
    KOR_ASSERT(list != NULL);
    *list = {};
    return KOR_OK;
}

struct hist_value_list *hist_value_list_create(void)
{
    return vela::create<struct hist_value_list>(hist_value_list_init);
}

void hist_value_list_destruct(struct hist_value_list *list)
{
    KOR_ASSERT(list != NULL);
    for (entry *&head : list->buckets) {
        destroy_chain(head);
        head = nullptr;
    }
    list->nitems = 0;
}

void hist_value_list_destroy(struct hist_value_list **list)
{
    KOR_ASSERT(list != NULL);
    KOR_ASSERT(*list != NULL);
    vela::destroy(list, hist_value_list_destruct);
}

struct hist_value *hist_value_list_add_if_not_present(
    struct hist_value_list *list, const struct sensor *sensor)
{
    KOR_ASSERT(list != NULL);
    KOR_ASSERT(sensor != NULL);
    entry *e = vela::find_hist_value(*list, sensor);
    if (e == nullptr) e = vela::push_hist_value(*list, sensor);
    return e != nullptr ? vela::claim_hist_value(*list, *e) : nullptr;
}

int hist_value_list_is_empty(const struct hist_value_list *list)
{
    KOR_ASSERT(list != NULL);
    return list->nitems == 0;
}

uint32_t hist_value_list_get_size(const struct hist_value_list *list)
{
    KOR_ASSERT(list != NULL);
    return list->nitems;
}

struct sensor_array *hist_value_list_get_sensor_copies(
    const struct hist_value_list *list)
{
    KOR_ASSERT(list != NULL);
    if (list->nitems == 0) return nullptr;
    struct sensor_array *const copies = sensor_array_create_empty(list->nitems);
    if (copies == nullptr) return nullptr;
    current_entries entries(*list);
    for (uint32_t i = 0; i < list->nitems; ++i)
        copies->sensors[i] = sensor_copy(entries.next()->sensor, nullptr);
    return copies;
}

struct hist_value *hist_value_list_get_hist_value_copies(
    const struct hist_value_list *list)
{
    KOR_ASSERT(list != NULL);
    if (list->nitems == 0) return nullptr;
    auto *const copies = static_cast<struct hist_value *>(
        std::calloc(list->nitems, sizeof(struct hist_value)));
    if (copies == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    current_entries entries(*list);
    for (uint32_t i = 0; i < list->nitems; ++i)
        hist_value_copy(&entries.next()->hvalue, &copies[i]);
    return copies;
}

int hist_value_list_are_sensors_equal(const struct hist_value_list *list,
                                      const struct sensor_array *s_array)
{
    KOR_ASSERT(list != NULL);
    KOR_ASSERT(s_array != NULL);
    KOR_ASSERT(s_array->version == SENSOR_ARRAY_VERSION);
    if (list->nitems != s_array->nsensors) return 0;
    current_entries entries(*list);
    for (uint32_t i = 0; i < list->nitems; ++i)
        if (!sensor_is_equal(entries.next()->sensor, s_array->sensors[i]))
            return 0;
    return 1;
}

void hist_value_list_clear(struct hist_value_list *list)
{
    KOR_ASSERT(list != NULL);
    list->seq = static_cast<uint16_t>(list->seq + 1);
    list->nitems = 0;
    // The entries of generation 0 would seem to belong to the new one.
    KOR_ASSERT(list->seq != 0);
}
