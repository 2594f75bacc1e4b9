/*
 * reader.h: the byte source that every deserializer reads from.
 *
 * An implementation fills a reader with its state, a block from malloc, and
 * three operations.  Every call asserts that the reader is not null, that its
 * version is READER_VERSION and that the operation it needs is there.
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

    /* Releases what the state holds, not the block; its result goes nowhere. */
    int (*fn_destruct)(void *state);
    /* Reads up to len bytes: the count, 0 at the end, or a negative code. */
    int (*fn_read_bytes)(void *state, void *buf, uint32_t len);
    /* Non-zero once the end of the stream has been reached. */
    int (*fn_eof)(void *state);
};

/*
 * Begins a reader: sets version and type and makes the state null.  For
 * implementations, which then fill in the state and the operations.
 *
 * type     > 0
 * Returns  0
 */
int _reader_init(struct reader *reader, uint32_t type);

/*
 * Ends a reader whose state is released elsewhere: version and type become 0.
 */
void _reader_destruct(struct reader *reader);

/*
 * Reads bytes.
 *
 * buf      room for len bytes, not null
 * Returns  the number of bytes read, which may be less than len; 0 at the end;
 *          or the implementation's negative code
 */
int reader_read_bytes(struct reader *reader, void *buf, uint32_t len);

/*
 * Says whether the end of the stream has been reached.
 *
 * Returns  non-zero or 0
 */
int reader_eof(struct reader *reader);

/*
 * Releases the state and what it owns: a base reader, a file not marked to be
 * kept open.
 *
 * reader  the caller's storage, which stays the caller's
 */
void reader_destruct(struct reader *reader);

/*
 * Destructs a reader that a create function gave, frees it and clears the
 * caller's pointer.
 *
 * reader  neither it nor what it points to may be null
 */
void reader_destroy(struct reader **reader);

KOR_END_DECLS

#endif
