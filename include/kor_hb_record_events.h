/*
 * kor_hb_record_events.h: how many events of each type an interval saw.
 */
#ifndef LIBKOR_KOR_HB_RECORD_EVENTS_H
#define LIBKOR_KOR_HB_RECORD_EVENTS_H

#include <stdint.h>

#include "kor_export.h"
#include "reader.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define KOR_HB_RECORD_EVENTS_VERSION 1

KOR_STRUCT(kor_hb_record_events);
struct kor_hb_record_events {
    uint8_t version; /* 1; 0 after destruction */
    /* In this order in the file, too: it is part of the format. */
    uint32_t n_type1;
    uint32_t n_type4;
    uint32_t n_type2;
    uint32_t n_type3;
    uint32_t n_type5;
};

int kor_hb_record_events_init_null(struct kor_hb_record_events *rec);
struct kor_hb_record_events *kor_hb_record_events_create_null(void);
void kor_hb_record_events_destruct(struct kor_hb_record_events *rec);
void kor_hb_record_events_destroy(struct kor_hb_record_events **rec);
struct kor_hb_record_events *kor_hb_record_events_copy(
    const struct kor_hb_record_events *rec, struct kor_hb_record_events *dest);
int kor_hb_record_events_is_equal(const struct kor_hb_record_events *rec1,
                                  const struct kor_hb_record_events *rec2);
void kor_hb_record_events_merge_with(struct kor_hb_record_events *rec1,
                                     const struct kor_hb_record_events *rec2);
int binary_serializer_write_kor_hb_record_events(
    const struct kor_hb_record_events *rec, struct writer *writer);
int binary_serializer_read_kor_hb_record_events(
    struct kor_hb_record_events *rec, struct reader *reader);

KOR_END_DECLS

#endif
