// timestamp_array: the time stamps of a matrix's rows.
#include "timestamp_array.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "model/shared_array.hpp"

namespace {

int write_element(struct timestamp *const *t, struct writer *out)
{
    return binary_serializer_write_timestamp(*t, out);
}

int read_element(struct timestamp **t, struct reader *in)
{
    *t = timestamp_create_null();
    return *t != nullptr ? binary_serializer_read_timestamp(*t, in)
                         : vela_get_last_error();
}

struct timestamp_layout {
    using array = struct timestamp_array;
    using element = struct timestamp;
    static constexpr auto count = &array::ntimestamps;
    static constexpr auto elements = &array::timestamps;
    static constexpr uint8_t version = TIMESTAMP_ARRAY_VERSION;
    static constexpr auto destroy = timestamp_destroy;
    static bool counts_references(const element &) { return false; }
    static constexpr vela::serializer<element *> element_form{write_element,
                                                              read_element};
};
using timestamps_of = vela::shared_array<timestamp_layout>;

// Fills the array with consecutive seconds; null elements stay on a failure.
bool count_up_from(const struct timestamp *start, struct timestamp_array *array)
{
    const struct timestamp *previous = start;
    for (uint32_t i = 0; i < array->ntimestamps; ++i) {
        struct timestamp *const t = timestamp_copy(previous, nullptr);
        if (t == nullptr) return false;
        if (i > 0) timestamp_increment(t, 1);
        array->timestamps[i] = t;
        previous = t;
    }
    return true;
}

}  // namespace

int timestamp_array_init(struct timestamp_array *array,
                         struct timestamp **timestamps, uint32_t ntimestamps)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(timestamps != NULL);
    KOR_ASSERT(ntimestamps > 0);
    return timestamps_of::adopt(*array, timestamps, ntimestamps);
}

struct timestamp_array *timestamp_array_create(struct timestamp **timestamps,
                                               uint32_t ntimestamps)
{
    return vela::create<struct timestamp_array>([=](auto *array) {
        return timestamp_array_init(array, timestamps, ntimestamps);
    });
}

int timestamp_array_init_empty(struct timestamp_array *array,
                               uint32_t ntimestamps)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(ntimestamps > 0);
    return timestamps_of::adopt_empty(*array, ntimestamps);
}

struct timestamp_array *timestamp_array_create_empty(uint32_t ntimestamps)
{
    return vela::create<struct timestamp_array>([=](auto *array) {
        return timestamp_array_init_empty(array, ntimestamps);
    });
}

int timestamp_array_init_null(struct timestamp_array *array)
{
    KOR_ASSERT(array != NULL);
    timestamps_of::make_null(*array);
    return KOR_OK;
}

struct timestamp_array *timestamp_array_create_null(void)
{
    return vela::create<struct timestamp_array>(timestamp_array_init_null);
}

int timestamp_array_init_dummy(struct timestamp_array *array,
                               const struct timestamp *start,
                               uint32_t ntimestamps)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(start != NULL);
    KOR_ASSERT(ntimestamps > 0);
    const int result = timestamp_array_init_empty(array, ntimestamps);
    if (result < 0) vela_set_last_error(result);
    if (result == KOR_OK && count_up_from(start, array)) return KOR_OK;
    timestamp_array_destruct(array);
    KOR_ASSERT(vela_get_last_error() < 0);
    return vela_get_last_error();
}

struct timestamp_array *timestamp_array_create_dummy(
    const struct timestamp *start, uint32_t ntimestamps)
{
    return vela::create<struct timestamp_array>([=](auto *array) {
        return timestamp_array_init_dummy(array, start, ntimestamps);
    });
}

void timestamp_array_destruct(struct timestamp_array *array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == TIMESTAMP_ARRAY_VERSION);
    if (array->ref_count != nullptr) {
        KOR_ASSERT(*array->ref_count > 0);
        KOR_ASSERT(array->timestamps != NULL);
    }
    timestamps_of::release(*array);
}

void timestamp_array_destroy(struct timestamp_array **array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(*array != NULL);
    vela::destroy(array, timestamp_array_destruct);
}

struct timestamp_array *timestamp_array_copy(
    const struct timestamp_array *array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == TIMESTAMP_ARRAY_VERSION);
    if (array->ref_count != nullptr) KOR_ASSERT(*array->ref_count > 0);
    return vela::create<struct timestamp_array>([array](auto *copy) {
        timestamps_of::share(*array, *copy);
        return KOR_OK;
    });
}

int timestamp_array_is_equal(const struct timestamp_array *s1,
                             const struct timestamp_array *s2)
{
    KOR_ASSERT(s1 != NULL);
    KOR_ASSERT(s1->version == TIMESTAMP_ARRAY_VERSION);
    KOR_ASSERT(s2 != NULL);
    KOR_ASSERT(s2->version == TIMESTAMP_ARRAY_VERSION);
    if (s1->timestamps == s2->timestamps) {
        KOR_ASSERT(s1->ntimestamps == s2->ntimestamps);
        KOR_ASSERT(s1->ref_count == s2->ref_count);
        return 1;
    }
    if (s1->ntimestamps != s2->ntimestamps) return 0;
    if (s1->timestamps == nullptr || s2->timestamps == nullptr) return 0;
    for (uint32_t i = 0; i < s1->ntimestamps; ++i) {
        KOR_ASSERT(s1->timestamps[i] != NULL);
        KOR_ASSERT(s2->timestamps[i] != NULL);
        if (!timestamp_is_equal(s1->timestamps[i], s2->timestamps[i])) return 0;
    }
    return 1;
}

struct timestamp *timestamp_array_get(const struct timestamp_array *array,
                                      int i)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == TIMESTAMP_ARRAY_VERSION);
    KOR_ASSERT(i >= 0);
    KOR_ASSERT(i < array->ntimestamps);
    return array->timestamps[i];
}

struct timestamp *timestamp_array_set(struct timestamp_array *array, int i,
                                      struct timestamp *t)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == TIMESTAMP_ARRAY_VERSION);
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(t->version == TIMESTAMP_VERSION);
    KOR_ASSERT(i >= 0);
    KOR_ASSERT(i < array->ntimestamps);
    return timestamps_of::replace(*array, i, t);
}

struct timestamp **timestamp_array_get_timestamps(
    const struct timestamp_array *array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == TIMESTAMP_ARRAY_VERSION);
    return array->timestamps;
}

uint32_t timestamp_array_get_size(const struct timestamp_array *array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == TIMESTAMP_ARRAY_VERSION);
    return array->ntimestamps;
}

int binary_serializer_write_timestamp_array(const struct timestamp_array *array,
                                            struct writer *writer)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == 1);
    KOR_ASSERT(array->timestamps != NULL);
    KOR_ASSERT(array->ntimestamps > 0);
    if (array->ntimestamps > vela::max_serialized_count)
        return KOR_ERR_TOO_LONG;
    for (uint32_t i = 0; i < array->ntimestamps; ++i)
        KOR_ASSERT(array->timestamps[i] != NULL);
    return timestamps_of::write(*array, writer);
}

int binary_serializer_read_timestamp_array(struct timestamp_array *array,
                                           struct reader *reader)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == 1);
    return timestamps_of::read(*array, reader);
}
