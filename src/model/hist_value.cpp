// hist_value: what is kept of one sensor over one interval.  All arithmetic
// is in single precision and in the order given here: the sums are stored.
#include "hist_value.h"

#include <limits>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/codec.hpp"

namespace {

constexpr auto hist_value_form = [](auto &archive, auto &hv) {
    archive.version(hv.version, HIST_VALUE_VERSION);
    archive.fields(hv.count, hv.min, hv.max, hv.first, hv.last, hv.sum, hv.sum2,
                   hv.sum3, hv.sum4);
};

// Takes in the extremes of `later`; neither is empty.
void widen(struct hist_value *hv, const struct hist_value &later)
{
    hv->min = hv->min < later.min ? hv->min : later.min;
    hv->max = hv->max > later.max ? hv->max : later.max;
}

void start_at(struct hist_value *hv, sensor_value min, sensor_value max,
              sensor_value first)
{
    hv->min = min;
    hv->max = max;
    hv->first = first;
}

// Infinite sums of opposite signs have no sum.  Processors give the NaN that
// comes out different signs; what is stored is the same on all of them.
void add(sensor_value *sum, sensor_value term)
{
    *sum += term;
    if (*sum != *sum) *sum = std::numeric_limits<sensor_value>::quiet_NaN();
}

}  // namespace

int hist_value_init(struct hist_value *hv)
{
    KOR_ASSERT(hv != NULL);
    *hv = {};
    hv->version = HIST_VALUE_VERSION;
    return KOR_OK;
}

struct hist_value *hist_value_create(void)
{
    return vela::create<struct hist_value>(hist_value_init);
}

void hist_value_destruct(struct hist_value *hv)
{
    KOR_ASSERT(hv != NULL);
    KOR_ASSERT(hv->version == HIST_VALUE_VERSION);
    hv->version = 0;
}

void hist_value_destroy(struct hist_value **hv)
{
    KOR_ASSERT(hv != NULL);
    KOR_ASSERT(*hv != NULL);
    vela::destroy(hv, hist_value_destruct);
}

int hist_value_is_equal(const struct hist_value *hv1,
                        const struct hist_value *hv2)
{
    KOR_ASSERT(hv1 != NULL);
    KOR_ASSERT(hv1->version == HIST_VALUE_VERSION);
    KOR_ASSERT(hv2 != NULL);
    KOR_ASSERT(hv2->version == HIST_VALUE_VERSION);
    return hv1->count == hv2->count &&
           sensor_value_is_equal(hv1->min, hv2->min) &&
           sensor_value_is_equal(hv1->max, hv2->max) &&
           sensor_value_is_equal(hv1->first, hv2->first) &&
           sensor_value_is_equal(hv1->last, hv2->last) &&
           sensor_value_is_equal(hv1->sum, hv2->sum) &&
           sensor_value_is_equal(hv1->sum2, hv2->sum2) &&
           sensor_value_is_equal(hv1->sum3, hv2->sum3) &&
           sensor_value_is_equal(hv1->sum4, hv2->sum4);
}

struct hist_value *hist_value_copy(const struct hist_value *hv,
                                   struct hist_value *dest)
{
    KOR_ASSERT(hv != NULL);
    KOR_ASSERT(hv->version == HIST_VALUE_VERSION);
    if (dest == nullptr) dest = hist_value_create();
    if (dest == nullptr) return nullptr;
    *dest = *hv;
    return dest;
}

void hist_value_update(struct hist_value *hv, sensor_value reading)
{
    KOR_ASSERT(hv != NULL);
    KOR_ASSERT(hv->version == HIST_VALUE_VERSION);
    if (!sensor_value_is_valid(reading)) return;
    hv->count += 1;
    if (hv->count == 1)
        start_at(hv, reading, reading, reading);
    else if (reading < hv->min)
        hv->min = reading;
    else if (reading > hv->max)
        hv->max = reading;

    const sensor_value p2 = reading * reading;
    const sensor_value p3 = p2 * reading;
    const sensor_value p4 = p3 * reading;
    hv->last = reading;
    add(&hv->sum, reading);
    add(&hv->sum2, p2);
    add(&hv->sum3, p3);
    add(&hv->sum4, p4);
}

void hist_value_merge_with(struct hist_value *hv1, const struct hist_value *hv2)
{
    KOR_ASSERT(hv1 != NULL);
    KOR_ASSERT(hv1->version == HIST_VALUE_VERSION);
    KOR_ASSERT(hv2 != NULL);
    KOR_ASSERT(hv2->version == HIST_VALUE_VERSION);
    if (hv2->count == 0) return;
    if (hv1->count == 0)
        start_at(hv1, hv2->min, hv2->max, hv2->first);
    else
        widen(hv1, *hv2);
    hv1->last = hv2->last;
    add(&hv1->sum, hv2->sum);
    add(&hv1->sum2, hv2->sum2);
    add(&hv1->sum3, hv2->sum3);
    add(&hv1->sum4, hv2->sum4);
    hv1->count += hv2->count;
}

int binary_serializer_write_hist_value(const struct hist_value *hv,
                                       struct writer *writer)
{
    KOR_ASSERT(hv != NULL);
    KOR_ASSERT(hv->version == 1);
    return vela::encode(*hv, writer, hist_value_form);
}

int binary_serializer_read_hist_value(struct hist_value *hv,
                                      struct reader *reader)
{
    KOR_ASSERT(hv != NULL);
    KOR_ASSERT(hv->version == 1);
    struct hist_value stored = *hv;
    const int nread = vela::decode(stored, reader, hist_value_form);
    if (nread > 0) *hv = stored;
    return nread;
}
