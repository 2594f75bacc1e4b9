/*
 * reader.h: the byte source that every deserializer reads from.
 */
#ifndef LIBKOR_READER_H
#define LIBKOR_READER_H

#include <stdint.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

#define READER_VERSION 1
#define READER_TYPE_RAW 1
#define READER_TYPE_ZLIB 2
#define READER_TYPE_GARBAGE 3

KOR_STRUCT(reader);
struct reader {
    uint8_t version; /* READER_VERSION; 0 after destruction */
    uint32_t type;   /* READER_TYPE_*, > 0 */
    void *reader;    /* the implementation's state, owned */
    int (*fn_destruct)(void *state);
    int (*fn_read_bytes)(void *state, void *buf, uint32_t len);
    int (*fn_eof)(void *state);
};

int _reader_init(struct reader *reader, uint32_t type);
void _reader_destruct(struct reader *reader);
int reader_read_bytes(struct reader *reader, void *buf, uint32_t len);
int reader_eof(struct reader *reader);
void reader_destruct(struct reader *reader);
void reader_destroy(struct reader **reader);

KOR_END_DECLS

#endif
