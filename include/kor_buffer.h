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

int kor_buffer_init_null(struct kor_buffer *rec);
int kor_buffer_init_current_buffer(struct kor_buffer *rec,
                                   struct kor_current_buffer *cbuf);
int kor_buffer_init_hist_buffer(struct kor_buffer *rec,
                                struct kor_hist_buffer *hbuf);
void kor_buffer_destruct(struct kor_buffer *rec);
void kor_buffer_destroy(struct kor_buffer **buf);
void kor_buffer_detach(struct kor_buffer *rec);
int binary_serializer_write_kor_buffer(const struct kor_buffer *rec,
                                       struct writer *writer);
struct kor_buffer *kor_buffer_open_for_read_write(const char *filename);
struct reader *_kor_buffer_create_reader(FILE *fp);
struct writer *_kor_buffer_create_writer(FILE *fp);

KOR_END_DECLS

#endif
