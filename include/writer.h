/*
 * writer.h: the byte sink that every serializer writes to, and byte order.
 *
 * An implementation fills a writer with its state, a block from malloc, and
 * three operations.  Every call asserts that the writer is not null, that its
 * version is WRITER_VERSION, that the operation it needs is there and that
 * there is a state.
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

    /* Flushes and releases what the state holds, not the block. */
    int (*fn_destruct)(void *state);
    /* Writes all len bytes: a count of bytes, or a negative code. */
    int (*fn_write_bytes)(void *state, const void *buf, uint32_t len);
    /* Pushes buffered data down: 0 or more, or a negative code. */
    int (*fn_flush)(void *state);
};

/*
 * Begins a writer: sets version and type and makes the state null.  For
 * implementations, which then fill in the state and the operations.
 *
 * type     > 0
 * Returns  0
 */
int _writer_init(struct writer *writer, uint32_t type);

/*
 * Ends a writer whose state is released elsewhere: version and type become 0.
 */
void _writer_destruct(struct writer *writer);

/*
 * Writes bytes.
 *
 * buf      len bytes, not null; borrowed
 * Returns  a count, or the implementation's negative code.  The raw writer
 *          counts len; the zlib writer counts the compressed bytes that went
 *          to its base during the call, often 0.  Only a negative result is a
 *          failure.
 */
int writer_write_bytes(struct writer *writer, const void *buf, uint32_t len);

/*
 * Pushes buffered data down.
 *
 * Returns  0 (raw writer), the compressed bytes that went to the base (zlib
 *          writer), or the implementation's negative code
 */
int writer_flush(struct writer *writer);

/*
 * Flushes, releases the state and what it owns (a base writer, a file not
 * marked to be kept open) and clears the writer.  A failure of the flush goes
 * unreported: flush first to see it.
 *
 * writer  the caller's storage, which stays the caller's
 */
void writer_destruct(struct writer *writer);

/*
 * Destructs a writer that a create function gave, frees it and clears the
 * caller's pointer.
 *
 * writer  neither it nor what it points to may be null
 */
void writer_destroy(struct writer **writer);

/*
 * Turns a float to big-endian byte order, or back.  The result is a pattern of
 * bytes, not a number: store it at once, since some processors change patterns
 * that look like signalling NaNs.
 *
 * Returns  f with its bytes reversed on a little-endian host
 */
float hton_float(float f);
float ntoh_float(float f);

/*
 * The same for a double.
 */
double hton_double(double d);
double ntoh_double(double d);

KOR_END_DECLS

#endif
