/*
 * kor_cb_record_sensor_values.h: one sample: a time stamp and its readings.
 */
#ifndef LIBKOR_KOR_CB_RECORD_SENSOR_VALUES_H
#define LIBKOR_KOR_CB_RECORD_SENSOR_VALUES_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"
#include "timestamp.h"

KOR_BEGIN_DECLS

#define KOR_CB_RECORD_SENSOR_VALUES_VERSION 1

KOR_STRUCT(kor_cb_record_sensor_values);
struct kor_cb_record_sensor_values {
    uint8_t version;            /* 1; 0 after destruction */
    struct timestamp timestamp; /* of the sample */
    float *values;              /* owned; null while vector is set */
    uint32_t n_sensors;         /* > 0 in a live record */
    struct matrix *vector;      /* borrowed; null while values is set */
};

void kor_cb_record_sensor_values_init(struct kor_cb_record_sensor_values *rec,
                                      struct matrix *vector);
struct kor_cb_record_sensor_values *kor_cb_record_sensor_values_create(
    struct matrix *vector);
int kor_cb_record_sensor_values_init_null(
    struct kor_cb_record_sensor_values *rec);
struct kor_cb_record_sensor_values *kor_cb_record_sensor_values_create_null(
    void);
void kor_cb_record_sensor_values_destruct(
    struct kor_cb_record_sensor_values *rec);
void kor_cb_record_sensor_values_destroy(
    struct kor_cb_record_sensor_values **rec);
int kor_cb_record_sensor_values_is_equal(
    struct kor_cb_record_sensor_values *rec1,
    struct kor_cb_record_sensor_values *rec2);
uint32_t kor_cb_record_sensor_values_get_number_values(
    const struct kor_cb_record_sensor_values *rec);
float *kor_cb_record_sensor_values_get_values(
    struct kor_cb_record_sensor_values *rec);
struct timestamp *kor_cb_record_sensor_values_get_timestamp(
    struct kor_cb_record_sensor_values *rec);
int binary_serializer_write_kor_cb_record_sensor_values(
    const struct kor_cb_record_sensor_values *rec, struct writer *writer);
int binary_serializer_read_kor_cb_record_sensor_values(
    struct kor_cb_record_sensor_values *rec, struct reader *reader);

KOR_END_DECLS

#endif
