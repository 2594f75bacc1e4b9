/*
 * zlib_reader.h: a reader that inflates a run of zlib streams.
 */
#ifndef LIBKOR_ZLIB_READER_H
#define LIBKOR_ZLIB_READER_H

#include <stdint.h>

#include "kor_export.h"
#include "reader.h"

KOR_BEGIN_DECLS

#define ZLIB_READER_VERSION 1

/*
 * Makes, in the caller's storage, a reader that follows the zlib streams of
 * its base one after another, as one sequence of bytes.  A stream that was cut
 * is a short read, not a failure.  A read returns KOR_ERR_INFLATE (-41) when
 * inflate fails, also on bytes behind the last stream that are none; the
 * reader may then only be destroyed.  Failures of the base are passed on.
 *
 * reader_base  not null; taken, and destroyed with the reader; stays the
 *              caller's when this fails
 * Returns      0, or KOR_ERR_NO_MEMORY (-22)
 */
int zlib_reader_init(struct reader *reader, struct reader *reader_base);

/*
 * The same on the heap.
 *
 * Returns  a reader for reader_destroy, or null with the last error set to
 *          KOR_ERR_NO_MEMORY (-22)
 */
struct reader *zlib_reader_create(struct reader *reader_base);

/*
 * Tells how much of the base stream is known to be whole.
 *
 * reader   a zlib reader
 * Returns  compressed bytes from the start of the base up to the end of the
 *          last stream read completely; 0 before there is one
 */
uint32_t zlib_reader_get_last_savepoint(const struct reader *reader);

KOR_END_DECLS

#endif
