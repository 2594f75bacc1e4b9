/*
 * kor_hb_record_sensor_values.h: the summary of one interval.
 */
#ifndef LIBKOR_KOR_HB_RECORD_SENSOR_VALUES_H
#define LIBKOR_KOR_HB_RECORD_SENSOR_VALUES_H

#include <stdint.h>

#include "hist_value_list.h"
#include "kor_export.h"
#include "kor_hb_record_events.h"
#include "timestamp.h"

KOR_BEGIN_DECLS

#define KOR_HB_RECORD_SENSOR_VALUES_VERSION 2

KOR_STRUCT(kor_hb_record_sensor_values);
struct kor_hb_record_sensor_values {
    uint8_t version;            /* 2, or 1 as read from an old stream */
    struct timestamp start;     /* of the first sample */
    struct timestamp end;       /* of the last sample */
    struct hist_value *hvalues; /* owned; in the order of the names record */
    uint32_t n_sensors;         /* > 0 in a live record */
    struct kor_hb_record_events events;
};

int kor_hb_record_sensor_values_init(struct kor_hb_record_sensor_values *rec,
                                     const struct timestamp *start,
                                     const struct timestamp *end,
                                     struct hist_value_list *list,
                                     const struct kor_hb_record_events *events);
struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_create(
    const struct timestamp *start, const struct timestamp *end,
    struct hist_value_list *list, const struct kor_hb_record_events *events);
int kor_hb_record_sensor_values_init_null(
    struct kor_hb_record_sensor_values *rec);
struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_create_null(
    void);
void kor_hb_record_sensor_values_destruct(
    struct kor_hb_record_sensor_values *rec);
void kor_hb_record_sensor_values_destroy(
    struct kor_hb_record_sensor_values **rec);
struct hist_value *kor_hb_record_sensor_values_get_hist_values(
    const struct kor_hb_record_sensor_values *rec);
uint32_t kor_hb_record_sensor_values_get_number_hist_values(
    const struct kor_hb_record_sensor_values *rec);
struct timestamp *kor_hb_record_sensor_values_get_start_timestamp(
    struct kor_hb_record_sensor_values *rec);
struct timestamp *kor_hb_record_sensor_values_get_end_timestamp(
    struct kor_hb_record_sensor_values *rec);
struct kor_hb_record_events *kor_hb_record_sensor_values_get_events(
    struct kor_hb_record_sensor_values *rec);
int kor_hb_record_sensor_values_is_equal(
    const struct kor_hb_record_sensor_values *rec1,
    const struct kor_hb_record_sensor_values *rec2);
struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_copy(
    struct kor_hb_record_sensor_values *rec,
    struct kor_hb_record_sensor_values *dest);
int binary_serializer_write_kor_hb_record_sensor_values(
    const struct kor_hb_record_sensor_values *rec, struct writer *writer);
int binary_serializer_read_kor_hb_record_sensor_values(
    struct kor_hb_record_sensor_values *rec, struct reader *reader);

KOR_END_DECLS

#endif
