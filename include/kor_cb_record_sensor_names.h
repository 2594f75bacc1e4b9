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

/*
 * Make a names record of a telemetry vector.
 *
 * vector   borrowed, one row; its time stamp and sensors are taken as they are
 *          now: later changes to the vector do not reach the record
 * Returns  0, or the record; KOR_ERR_NO_MEMORY (-22), or null with it as the
 *          last error
 */
int kor_cb_record_sensor_names_init(struct kor_cb_record_sensor_names *rec,
                                    struct matrix *vector);
struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_create(
    struct matrix *vector);

/*
 * Make a names record for a reader to fill: null time stamp, no sensors.
 *
 * Returns  0, or the record; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
int kor_cb_record_sensor_names_init_null(
    struct kor_cb_record_sensor_names *rec);
struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_create_null(void);

/*
 * Release the sensors; destroy also frees the record and clears the pointer.
 */
void kor_cb_record_sensor_names_destruct(
    struct kor_cb_record_sensor_names *rec);
void kor_cb_record_sensor_names_destroy(
    struct kor_cb_record_sensor_names **rec);

/*
 * Copies a record and takes its sensors anew.
 *
 * dest     filled, or null for a new record
 * Returns  the copy; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_copy(
    const struct kor_cb_record_sensor_names *rec,
    struct kor_cb_record_sensor_names *dest);

/* Whether time stamps and sensors are the same. */
int kor_cb_record_sensor_names_is_equal(
    const struct kor_cb_record_sensor_names *rec1,
    const struct kor_cb_record_sensor_names *rec2);

/* Whether the sensors and their order are the same. */
int kor_cb_record_sensor_names_are_sensors_equal(
    const struct kor_cb_record_sensor_names *rec1,
    const struct kor_cb_record_sensor_names *rec2);

/* Accessors.  The sensor array and the time stamp are borrowed. */
uint32_t kor_cb_record_sensor_names_get_number_sensors(
    const struct kor_cb_record_sensor_names *rec);
struct sensor_array *kor_cb_record_sensor_names_get_sensors(
    const struct kor_cb_record_sensor_names *rec);
struct timestamp *kor_cb_record_sensor_names_get_timestamp(
    struct kor_cb_record_sensor_names *rec);

/*
 * The stored form: version 1 (1 byte), time stamp (9), sensor array.
 *
 * Writing returns  bytes written, a negative code of the writer, or
 *                  KOR_ERR_TOO_LONG (-49) for more than 10000 sensors or a name
 *                  beyond 10000 characters, the fields before it then being
 *                  written already
 * Reading returns  bytes read; 0 at the end of the stream
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_TOO_LONG (-49) for a sensor count outside 1..10000
 *                  KOR_ERR_END_OF_STREAM (-43) for a stream that ends exactly
 *                  before a name
 *                  KOR_ERR_TRUNCATED (-48) for one that ends elsewhere inside
 *                  KOR_ERR_INVALID_DATA (-6) for a damaged name or time stamp
 *                  KOR_ERR_NO_MEMORY (-22)
 *                  a negative code of the reader; `rec` is then as it was
 */
int binary_serializer_write_kor_cb_record_sensor_names(
    const struct kor_cb_record_sensor_names *rec, struct writer *writer);
int binary_serializer_read_kor_cb_record_sensor_names(
    struct kor_cb_record_sensor_names *rec, struct reader *reader);

KOR_END_DECLS

#endif
