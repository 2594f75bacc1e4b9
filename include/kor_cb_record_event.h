/*
 * kor_cb_record_event.h: a typed text event with a time stamp.
 */
#ifndef LIBKOR_KOR_CB_RECORD_EVENT_H
#define LIBKOR_KOR_CB_RECORD_EVENT_H

#include <stdint.h>

#include "kor_export.h"
#include "reader.h"
#include "timestamp.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define KOR_CB_RECORD_EVENT_VERSION 1

KOR_STRUCT(kor_cb_record_event);
struct kor_cb_record_event {
    uint8_t version;    /* 1; 0 after destruction */
    uint32_t type;      /* the caller's own, > 0 */
    struct timestamp t; /* when it happened */
    char *text;         /* owned */
};

int kor_cb_record_event_init(struct kor_cb_record_event *rec, uint32_t type,
                             const struct timestamp *t, const char *text);
struct kor_cb_record_event *kor_cb_record_event_create(
    uint32_t type, const struct timestamp *t, const char *text);
int kor_cb_record_event_init_null(struct kor_cb_record_event *rec);
struct kor_cb_record_event *kor_cb_record_event_create_null(void);
void kor_cb_record_event_destruct(struct kor_cb_record_event *rec);
void kor_cb_record_event_destroy(struct kor_cb_record_event **rec);
int kor_cb_record_event_is_equal(const struct kor_cb_record_event *rec1,
                                 const struct kor_cb_record_event *rec2);
uint32_t kor_cb_record_event_get_type(const struct kor_cb_record_event *rec);
struct timestamp *kor_cb_record_event_get_timestamp(
    struct kor_cb_record_event *rec);
int binary_serializer_write_kor_cb_record_event(
    const struct kor_cb_record_event *rec, struct writer *writer);
int binary_serializer_read_kor_cb_record_event(struct kor_cb_record_event *rec,
                                               struct reader *reader);

KOR_END_DECLS

#endif
