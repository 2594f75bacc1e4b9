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

/*
 * Make an event.
 *
 * type     the caller's own, > 0; only 1 to 5 can be folded into a history
 * t, text  copied; an empty text can be written but never read back
 * Returns  0, or the event; KOR_ERR_NO_MEMORY (-22), or null with it as the
 *          last error
 */
int kor_cb_record_event_init(struct kor_cb_record_event *rec, uint32_t type,
                             const struct timestamp *t, const char *text);
struct kor_cb_record_event *kor_cb_record_event_create(
    uint32_t type, const struct timestamp *t, const char *text);

/*
 * Make an event for a reader to fill: type 0, null time stamp, no text.
 *
 * Returns  0, or the event; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
int kor_cb_record_event_init_null(struct kor_cb_record_event *rec);
struct kor_cb_record_event *kor_cb_record_event_create_null(void);

/* Release the text; destroy also frees the event and clears the pointer. */
void kor_cb_record_event_destruct(struct kor_cb_record_event *rec);
void kor_cb_record_event_destroy(struct kor_cb_record_event **rec);

/* Whether types, times and texts are the same. */
int kor_cb_record_event_is_equal(const struct kor_cb_record_event *rec1,
                                 const struct kor_cb_record_event *rec2);

/* Accessors.  The time stamp is borrowed. */
uint32_t kor_cb_record_event_get_type(const struct kor_cb_record_event *rec);
struct timestamp *kor_cb_record_event_get_timestamp(
    struct kor_cb_record_event *rec);

/*
 * The stored form: version 1 (1 byte), type (4), time stamp (9), text (4 + n).
 *
 * Writing returns  bytes written, a negative code of the writer, or
 *                  KOR_ERR_TOO_LONG (-49) for a text beyond 10000 characters,
 *                  the fields before it then being written already
 * Reading returns  bytes read; 0 at the end of the stream
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_END_OF_STREAM (-43) for a stream that ends exactly
 *                  before the text
 *                  KOR_ERR_TRUNCATED (-48) for one that ends elsewhere inside
 *                  KOR_ERR_INVALID_DATA (-6) for a text that is empty, too long
 *                  or holds a NUL, or for a damaged time stamp
 *                  KOR_ERR_NO_MEMORY (-22)
 *                  a negative code of the reader; `rec` is then as it was
 */
int binary_serializer_write_kor_cb_record_event(
    const struct kor_cb_record_event *rec, struct writer *writer);
int binary_serializer_read_kor_cb_record_event(struct kor_cb_record_event *rec,
                                               struct reader *reader);

KOR_END_DECLS

#endif
