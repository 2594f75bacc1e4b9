/*
 * zlib_writer.h: a writer that deflates; each flush ends a zlib stream.
 */
#ifndef LIBKOR_ZLIB_WRITER_H
#define LIBKOR_ZLIB_WRITER_H

#include <stdint.h>

#include "kor_export.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define ZLIB_WRITER_VERSION 1

/*
 * Makes, in the caller's storage, a writer that gathers 2048 bytes at a time
 * and deflates them to its base.  A flush ends the zlib stream, the next write
 * begins another; a flush with nothing written since writes nothing.  Writes
 * and flushes return the compressed bytes that went to the base.
 *
 * KOR_ERR_DEFLATE (-42) from either means that deflate failed: any further use
 * aborts, destruction included.  A failure of the base is passed on; what had
 * reached it of the stream in progress is no whole stream.
 *
 * writer_base  not null; taken, and destroyed with the writer; stays the
 *              caller's when this fails
 * Returns      0, or KOR_ERR_NO_MEMORY (-22)
 */
int zlib_writer_init(struct writer *writer, struct writer *writer_base);

/*
 * The same on the heap.
 *
 * Returns  a writer for writer_destroy, or null with the last error set to
 *          KOR_ERR_NO_MEMORY (-22)
 */
struct writer *zlib_writer_create(struct writer *writer_base);

KOR_END_DECLS

#endif
