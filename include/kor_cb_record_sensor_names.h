/*
 * kor_cb_record_sensor_names.h: the column header of a current buffer.
 */
#ifndef LIBKOR_KOR_CB_RECORD_SENSOR_NAMES_H
#define LIBKOR_KOR_CB_RECORD_SENSOR_NAMES_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"
#include "sensor_array.h"
#include "timestamp.h"

KOR_BEGIN_DECLS

#define KOR_CB_RECORD_SENSOR_NAMES_VERSION 1

KOR_STRUCT(kor_cb_record_sensor_names);
struct kor_cb_record_sensor_names {
    uint8_t version;              /* 1; 0 after destruction */
    struct timestamp timestamp;   /* of the vector that brought the names */
    struct sensor_array *sensors; /* owned; null in a null record */
};

int kor_cb_record_sensor_names_init(struct kor_cb_record_sensor_names *rec,
                                    struct matrix *vector);
struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_create(
    struct matrix *vector);
int kor_cb_record_sensor_names_init_null(
    struct kor_cb_record_sensor_names *rec);
struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_create_null(void);
void kor_cb_record_sensor_names_destruct(
    struct kor_cb_record_sensor_names *rec);
void kor_cb_record_sensor_names_destroy(
    struct kor_cb_record_sensor_names **rec);
struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_copy(
    const struct kor_cb_record_sensor_names *rec,
    struct kor_cb_record_sensor_names *dest);
int kor_cb_record_sensor_names_is_equal(
    const struct kor_cb_record_sensor_names *rec1,
    const struct kor_cb_record_sensor_names *rec2);
int kor_cb_record_sensor_names_are_sensors_equal(
    const struct kor_cb_record_sensor_names *rec1,
    const struct kor_cb_record_sensor_names *rec2);
uint32_t kor_cb_record_sensor_names_get_number_sensors(
    const struct kor_cb_record_sensor_names *rec);
struct sensor_array *kor_cb_record_sensor_names_get_sensors(
    const struct kor_cb_record_sensor_names *rec);
struct timestamp *kor_cb_record_sensor_names_get_timestamp(
    struct kor_cb_record_sensor_names *rec);
int binary_serializer_write_kor_cb_record_sensor_names(
    const struct kor_cb_record_sensor_names *rec, struct writer *writer);
int binary_serializer_read_kor_cb_record_sensor_names(
    struct kor_cb_record_sensor_names *rec, struct reader *reader);

KOR_END_DECLS

#endif
