/*
 * kor_buffer.h: a handle on a buffer file of either kind.
 */
#ifndef LIBKOR_KOR_BUFFER_H
#define LIBKOR_KOR_BUFFER_H

#include <stdint.h>
#include <stdio.h>

#include "kor_current_buffer.h"
#include "kor_export.h"
#include "kor_hist_buffer.h"

KOR_BEGIN_DECLS

#define KOR_BUFFER_TYPE_CURRENT 1u
#define KOR_BUFFER_TYPE_HIST 2u

KOR_STRUCT(kor_buffer);
struct kor_buffer {
    uint32_t type; /* KOR_BUFFER_TYPE_*; 0: empty */
    union {
        void *data;
        struct kor_current_buffer *cbuf;
        struct kor_hist_buffer *hbuf;
    };
    uint32_t owns_data; /* 1: the buffer is closed with the handle */
};

/* Makes an empty handle.  Returns 0. */
int kor_buffer_init_null(struct kor_buffer *rec);

/*
 * Make a handle on an open buffer.
 *
 * cbuf, hbuf  borrowed
 * Returns     0
 */
int kor_buffer_init_current_buffer(struct kor_buffer *rec,
                                   struct kor_current_buffer *cbuf);
int kor_buffer_init_hist_buffer(struct kor_buffer *rec,
                                struct kor_hist_buffer *hbuf);

/* Closes the buffer if the handle owns it, and empties the handle. */
void kor_buffer_destruct(struct kor_buffer *rec);

/* The same for a handle on the heap, which is freed. */
void kor_buffer_destroy(struct kor_buffer **buf);

/* Gives the buffer up: it is then the caller's to close. */
void kor_buffer_detach(struct kor_buffer *rec);

/*
 * Writes the head of a buffer file: the type as 4 bytes, then the buffer's own
 * header.
 *
 * Returns  the bytes written (9), or the first failure of the writer
 */
int binary_serializer_write_kor_buffer(const struct kor_buffer *rec,
                                       struct writer *writer);

/*
 * Opens a buffer file of either kind, behind its first record.  The file must
 * be writable even if it is only read.
 *
 * Returns  a handle that owns the buffer, or null with the last error set:
 *          KOR_ERR_NO_MEMORY (-22), KOR_ERR_CANNOT_OPEN (-40),
 *          KOR_ERR_TRUNCATED (-48) for a file that ends before its type,
 *          KOR_ERR_UNKNOWN_KIND (-4), or the code of the buffer's own open
 */
struct kor_buffer *kor_buffer_open_for_read_write(const char *filename);

/*
 * Make the streams of a buffer file: zlib over a raw stream that leaves `fp`
 * open.
 *
 * Returns  a reader or writer, or null with the last error set:
 *          KOR_ERR_NO_MEMORY (-22)
 */
struct reader *_kor_buffer_create_reader(FILE *fp);
struct writer *_kor_buffer_create_writer(FILE *fp);

KOR_END_DECLS

#endif
