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

/*
 * Make a summary that counts no event.
 *
 * Returns  0, or the summary; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
int kor_hb_record_events_init_null(struct kor_hb_record_events *rec);
struct kor_hb_record_events *kor_hb_record_events_create_null(void);

/* End a summary; destroy also frees it and clears the pointer. */
void kor_hb_record_events_destruct(struct kor_hb_record_events *rec);
void kor_hb_record_events_destroy(struct kor_hb_record_events **rec);

/*
 * Copies a summary.
 *
 * dest     filled, or null for a new summary
 * Returns  the copy; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct kor_hb_record_events *kor_hb_record_events_copy(
    const struct kor_hb_record_events *rec, struct kor_hb_record_events *dest);

/* Whether all five counters are the same. */
int kor_hb_record_events_is_equal(const struct kor_hb_record_events *rec1,
                                  const struct kor_hb_record_events *rec2);

/* Adds the counters of `rec2` to those of `rec1`, modulo 2^32. */
void kor_hb_record_events_merge_with(struct kor_hb_record_events *rec1,
                                     const struct kor_hb_record_events *rec2);

/*
 * The stored form: version 1 (1 byte), then the number of events of types 1, 4,
 * 2, 3 and 5 (4 bytes each).
 *
 * Writing returns  bytes written, or a negative code of the writer
 * Reading returns  21; 0 at the end of the stream
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_TRUNCATED (-48) for a stream that ends inside; one
 *                  that ends exactly before the second counter aborts
 *                  a negative code of the reader; `rec` is then as it was
 */
int binary_serializer_write_kor_hb_record_events(
    const struct kor_hb_record_events *rec, struct writer *writer);
int binary_serializer_read_kor_hb_record_events(
    struct kor_hb_record_events *rec, struct reader *reader);

KOR_END_DECLS

#endif
