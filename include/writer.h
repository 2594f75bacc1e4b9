/*
 * writer.h: the byte sink that every serializer writes to, and byte order.
 */
#ifndef LIBKOR_WRITER_H
#define LIBKOR_WRITER_H

#include <stdint.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

#define WRITER_VERSION 1
#define WRITER_TYPE_RAW 1
#define WRITER_TYPE_ZLIB 2

KOR_STRUCT(writer);
struct writer {
    uint8_t version; /* WRITER_VERSION; 0 after destruction */
    uint32_t type;   /* WRITER_TYPE_*, > 0 */
    void *writer;    /* the implementation's state, owned */
    int (*fn_destruct)(void *state);
    int (*fn_write_bytes)(void *state, const void *buf, uint32_t len);
    int (*fn_flush)(void *state);
};

int _writer_init(struct writer *writer, uint32_t type);
void _writer_destruct(struct writer *writer);
int writer_write_bytes(struct writer *writer, const void *buf, uint32_t len);
int writer_flush(struct writer *writer);
void writer_destruct(struct writer *writer);
void writer_destroy(struct writer **writer);
float hton_float(float f);
float ntoh_float(float f);
double hton_double(double d);
double ntoh_double(double d);

KOR_END_DECLS

#endif
