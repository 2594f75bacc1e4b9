/*
 * hist_value.h: what is kept of one sensor over one interval.
 */
#ifndef LIBKOR_HIST_VALUE_H
#define LIBKOR_HIST_VALUE_H

#include <stdint.h>

#include "kor_export.h"
#include "reader.h"
#include "sensor_value.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define HIST_VALUE_VERSION 1

KOR_STRUCT(hist_value);
struct hist_value {
    uint8_t version; /* HIST_VALUE_VERSION; 0 after destruction */
    uint32_t count;  /* valid readings summarised */
    sensor_value min;
    sensor_value max;
    sensor_value first;
    sensor_value last;
    sensor_value sum;
    sensor_value sum2; /* of the squares */
    sensor_value sum3; /* of the cubes */
    sensor_value sum4; /* of the fourth powers */
};

int hist_value_init(struct hist_value *hv);
struct hist_value *hist_value_create(void);
void hist_value_destruct(struct hist_value *hv);
void hist_value_destroy(struct hist_value **hv);
int hist_value_is_equal(const struct hist_value *hv1,
                        const struct hist_value *hv2);
struct hist_value *hist_value_copy(const struct hist_value *hv,
                                   struct hist_value *dest);
void hist_value_update(struct hist_value *hv, sensor_value reading);
void hist_value_merge_with(struct hist_value *hv1,
                           const struct hist_value *hv2);
int binary_serializer_write_hist_value(const struct hist_value *hv,
                                       struct writer *writer);
int binary_serializer_read_hist_value(struct hist_value *hv,
                                      struct reader *reader);

KOR_END_DECLS

#endif
