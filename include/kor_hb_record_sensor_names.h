/*
 * kor_hb_record_sensor_names.h: the column header of a history buffer.
 */
#ifndef LIBKOR_KOR_HB_RECORD_SENSOR_NAMES_H
#define LIBKOR_KOR_HB_RECORD_SENSOR_NAMES_H

#include <stdint.h>

#include "hist_value_list.h"
#include "kor_cb_record_sensor_names.h"
#include "kor_export.h"

KOR_BEGIN_DECLS

/* The very same structure and stored form as in a current buffer. */
typedef struct kor_cb_record_sensor_names kor_hb_record_sensor_names;

/*
 * Make a names record of the sensors of a list, in its order of iteration.
 *
 * t        copied; the start of the interval that brought the names
 * list     borrowed
 * Returns  0, or the record; else a code, or null with it as the last error:
 *          KOR_ERR_NO_MEMORY (-22)
 *          for an empty list the last error as it stands, or
 *          KOR_ERR_INVALID_DATA (-6) if there is none
 */
int kor_hb_record_sensor_names_init(kor_hb_record_sensor_names *rec,
                                    const struct timestamp *t,
                                    struct hist_value_list *list);
kor_hb_record_sensor_names *kor_hb_record_sensor_names_create(
    const struct timestamp *t, struct hist_value_list *list);

/* The rest is as in kor_cb_record_sensor_names.h. */
int kor_hb_record_sensor_names_init_null(kor_hb_record_sensor_names *rec);
kor_hb_record_sensor_names *kor_hb_record_sensor_names_create_null(void);
void kor_hb_record_sensor_names_destruct(kor_hb_record_sensor_names *rec);
void kor_hb_record_sensor_names_destroy(kor_hb_record_sensor_names **rec);
kor_hb_record_sensor_names *kor_hb_record_sensor_names_copy(
    const kor_hb_record_sensor_names *rec, kor_hb_record_sensor_names *dest);
int kor_hb_record_sensor_names_is_equal(const kor_hb_record_sensor_names *rec1,
                                        const kor_hb_record_sensor_names *rec2);
int kor_hb_record_sensor_names_are_sensors_equal(
    const kor_hb_record_sensor_names *rec1,
    const kor_hb_record_sensor_names *rec2);
uint32_t kor_hb_record_sensor_names_get_number_sensors(
    const kor_hb_record_sensor_names *rec);
struct sensor_array *kor_hb_record_sensor_names_get_sensors(
    const kor_hb_record_sensor_names *rec);
struct timestamp *kor_hb_record_sensor_names_get_timestamp(
    kor_hb_record_sensor_names *rec);
int binary_serializer_write_kor_hb_record_sensor_names(
    const kor_hb_record_sensor_names *rec, struct writer *writer);
int binary_serializer_read_kor_hb_record_sensor_names(
    kor_hb_record_sensor_names *rec, struct reader *reader);

KOR_END_DECLS

#endif
