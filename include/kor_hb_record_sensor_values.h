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

/*
 * Make the record of an interval.
 *
 * start, end  of the first and the last sample; copied
 * list        borrowed, not empty; its values are copied in iteration order
 * events      copied; may be null for "no events"
 * Returns     0, or the record; KOR_ERR_NO_MEMORY (-22), or null with it as the
 *             last error
 */
int kor_hb_record_sensor_values_init(struct kor_hb_record_sensor_values *rec,
                                     const struct timestamp *start,
                                     const struct timestamp *end,
                                     struct hist_value_list *list,
                                     const struct kor_hb_record_events *events);
struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_create(
    const struct timestamp *start, const struct timestamp *end,
    struct hist_value_list *list, const struct kor_hb_record_events *events);

/*
 * Make a record for a reader to fill: null time stamps, no values, no events.
 *
 * Returns  0, or the record; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
int kor_hb_record_sensor_values_init_null(
    struct kor_hb_record_sensor_values *rec);
struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_create_null(
    void);

/* Release the values; destroy also frees the record and clears the pointer. */
void kor_hb_record_sensor_values_destruct(
    struct kor_hb_record_sensor_values *rec);
void kor_hb_record_sensor_values_destroy(
    struct kor_hb_record_sensor_values **rec);

/* Accessors.  What they point at is borrowed. */
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

/*
 * Whether time stamps, events and values are the same; values within the
 * tolerance of hist_value_is_equal.
 */
int kor_hb_record_sensor_values_is_equal(
    const struct kor_hb_record_sensor_values *rec1,
    const struct kor_hb_record_sensor_values *rec2);

/*
 * Copies a record without its events.
 *
 * rec      its version becomes 2, whatever it was read with
 * dest     filled, its events left as they are; or null for a new record, which
 *          has no events
 * Returns  the copy; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_copy(
    struct kor_hb_record_sensor_values *rec,
    struct kor_hb_record_sensor_values *dest);

/*
 * The stored form: version 2 (1 byte), start and end (9 each), the number of
 * values (4, 1 to 10000), each value (37), the events (21).
 *
 * Writing returns  bytes written, a negative code of the writer, or
 *                  KOR_ERR_TOO_LONG (-49) for more than 10000 values, nothing
 *                  then being written
 * Reading returns  bytes read, an array of the same size being read over; 0 at
 *                  the end of the stream.  A stream of version 1 has no events
 *                  and leaves version 1 in the record
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_INVALID_DATA (-6) for a number outside 1..10000 or a
 *                  damaged time stamp
 *                  KOR_ERR_TRUNCATED (-48) for a stream that ends inside; after
 *                  a failed value n_sensors is the number read whole
 *                  KOR_ERR_NO_MEMORY (-22), or a negative code of the reader
 */
int binary_serializer_write_kor_hb_record_sensor_values(
    const struct kor_hb_record_sensor_values *rec, struct writer *writer);
int binary_serializer_read_kor_hb_record_sensor_values(
    struct kor_hb_record_sensor_values *rec, struct reader *reader);

KOR_END_DECLS

#endif
