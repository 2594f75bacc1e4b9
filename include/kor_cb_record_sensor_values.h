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

/*
 * Make a record of a telemetry vector's only row.
 *
 * vector   borrowed and not copied: it must outlive the record, unless
 *          kor_cb_record_sensor_values_get_values has been called before
 * Returns  (create) the record; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
void kor_cb_record_sensor_values_init(struct kor_cb_record_sensor_values *rec,
                                      struct matrix *vector);
struct kor_cb_record_sensor_values *kor_cb_record_sensor_values_create(
    struct matrix *vector);

/*
 * Make a record for a reader to fill: null time stamp, no readings.
 *
 * Returns  0, or the record; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
int kor_cb_record_sensor_values_init_null(
    struct kor_cb_record_sensor_values *rec);
struct kor_cb_record_sensor_values *kor_cb_record_sensor_values_create_null(
    void);

/*
 * Release the readings; destroy also frees the record and clears the pointer.
 * The vector is not touched.
 */
void kor_cb_record_sensor_values_destruct(
    struct kor_cb_record_sensor_values *rec);
void kor_cb_record_sensor_values_destroy(
    struct kor_cb_record_sensor_values **rec);

/*
 * Whether time stamps and readings are the same; readings within the tolerance
 * of sensor_value_compare, or of matrix_is_equal where both records still refer
 * to their vectors.
 */
int kor_cb_record_sensor_values_is_equal(
    struct kor_cb_record_sensor_values *rec1,
    struct kor_cb_record_sensor_values *rec2);

/* The number of readings, > 0. */
uint32_t kor_cb_record_sensor_values_get_number_values(
    const struct kor_cb_record_sensor_values *rec);

/*
 * The readings in an array of the record's own, made at the first call.  The
 * record then no longer refers to its vector.
 *
 * Returns  the array, owned by the record; null with KOR_ERR_NO_MEMORY (-22) as
 *          the last error, the record unchanged
 */
float *kor_cb_record_sensor_values_get_values(
    struct kor_cb_record_sensor_values *rec);

/* The time of the sample, borrowed. */
struct timestamp *kor_cb_record_sensor_values_get_timestamp(
    struct kor_cb_record_sensor_values *rec);

/*
 * The stored form: version 1 (1 byte), time stamp (9), the number of readings
 * (4, 1 to 10000), each reading as a float (4).
 *
 * Writing returns  bytes written, a negative code of the writer, or
 *                  KOR_ERR_TOO_LONG (-49) for more than 10000 readings, nothing
 *                  then being written
 * Reading returns  bytes read, an array of the same size being read over; 0 at
 *                  the end of the stream
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_INVALID_DATA (-6) for a number outside 1..10000 or a
 *                  damaged time stamp
 *                  KOR_ERR_TRUNCATED (-48) for a stream that ends inside
 *                  KOR_ERR_NO_MEMORY (-22), or a negative code of the reader
 */
int binary_serializer_write_kor_cb_record_sensor_values(
    const struct kor_cb_record_sensor_values *rec, struct writer *writer);
int binary_serializer_read_kor_cb_record_sensor_values(
    struct kor_cb_record_sensor_values *rec, struct reader *reader);

KOR_END_DECLS

#endif
