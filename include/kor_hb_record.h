/*
 * kor_hb_record.h: any record of a history buffer.
 */
#ifndef LIBKOR_KOR_HB_RECORD_H
#define LIBKOR_KOR_HB_RECORD_H

#include <stdint.h>

#include "kor_export.h"
#include "kor_hb_record_sensor_names.h"
#include "kor_hb_record_sensor_values.h"

KOR_BEGIN_DECLS

#define KOR_HB_RECORD_SENSOR_NAMES 1u
#define KOR_HB_RECORD_SENSOR_VALUES 2u

KOR_STRUCT(kor_hb_record);
struct kor_hb_record {
    uint32_t type; /* KOR_HB_RECORD_*; 0: empty */
    union {
        void *data;
        struct kor_cb_record_sensor_names *names;
        struct kor_hb_record_sensor_values *values;
    };
    uint32_t owns_data; /* 1: the payload is destroyed with the record */
};

int kor_hb_record_init_null(struct kor_hb_record *rec);
int kor_hb_record_init_sensor_names(struct kor_hb_record *rec,
                                    kor_hb_record_sensor_names *names);
int kor_hb_record_init_sensor_values(
    struct kor_hb_record *rec, struct kor_hb_record_sensor_values *values);
void kor_hb_record_destruct(struct kor_hb_record *rec);
void kor_hb_record_detach(struct kor_hb_record *rec);
int binary_serializer_write_kor_hb_record(const struct kor_hb_record *rec,
                                          struct writer *writer);
int binary_serializer_read_kor_hb_record(struct kor_hb_record *rec,
                                         struct reader *reader);

KOR_END_DECLS

#endif
