/*
 * kor_cb_record.h: any record of a current buffer.
 */
#ifndef LIBKOR_KOR_CB_RECORD_H
#define LIBKOR_KOR_CB_RECORD_H

#include <stdint.h>

#include "kor_cb_record_event.h"
#include "kor_cb_record_sensor_names.h"
#include "kor_cb_record_sensor_values.h"
#include "kor_export.h"

KOR_BEGIN_DECLS

#define KOR_CB_RECORD_SENSOR_NAMES 1u
#define KOR_CB_RECORD_SENSOR_VALUES 2u
#define KOR_CB_RECORD_EVENT 3u

KOR_STRUCT(kor_cb_record);
struct kor_cb_record {
    uint32_t type; /* KOR_CB_RECORD_*; 0: empty */
    union {
        void *data;
        struct kor_cb_record_sensor_names *names;
        struct kor_cb_record_sensor_values *values;
        struct kor_cb_record_event *event;
    };
    uint32_t owns_data; /* 1: the payload is destroyed with the record */
};

int kor_cb_record_init_null(struct kor_cb_record *rec);
int kor_cb_record_init_sensor_names(struct kor_cb_record *rec,
                                    struct kor_cb_record_sensor_names *names);
int kor_cb_record_init_sensor_values(
    struct kor_cb_record *rec, struct kor_cb_record_sensor_values *values);
int kor_cb_record_init_event(struct kor_cb_record *rec,
                             struct kor_cb_record_event *event);
void kor_cb_record_destruct(struct kor_cb_record *rec);
void kor_cb_record_detach(struct kor_cb_record *rec);
int binary_serializer_write_kor_cb_record(const struct kor_cb_record *rec,
                                          struct writer *writer);
int binary_serializer_read_kor_cb_record(struct kor_cb_record *rec,
                                         struct reader *reader);

KOR_END_DECLS

#endif
