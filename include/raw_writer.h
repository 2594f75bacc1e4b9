/*
 * raw_writer.h: a writer over a C stream.
 */
#ifndef LIBKOR_RAW_WRITER_H
#define LIBKOR_RAW_WRITER_H

#include <stdint.h>
#include <stdio.h>

#include "kor_export.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define RAW_WRITER_VERSION 1

KOR_STRUCT(raw_writer);
struct raw_writer {
    uint8_t version; /* RAW_WRITER_VERSION */
    FILE *fp;        /* never null while live */
    uint32_t flags;  /* bit 0: the caller keeps fp and closes it */
};

/*
 * Makes a writer over a C stream in the caller's storage.  Every write is
 * flushed to the file before it returns its length; one that writes or flushes
 * less returns KOR_ERR_INFLATE (-41).  writer_flush always returns 0.
 *
 * fp       not null; taken, and closed with the writer, unless bit 0 of flags
 *          is set; stays the caller's when this fails
 * flags    bit 0: the caller keeps fp; other bits are stored and ignored
 * Returns  0, or KOR_ERR_NO_MEMORY (-22)
 */
int raw_writer_init(struct writer *writer, FILE *fp, uint32_t flags);

/*
 * The same on the heap.
 *
 * Returns  a writer for writer_destroy, or null with the last error set to
 *          KOR_ERR_NO_MEMORY (-22)
 */
struct writer *raw_writer_create(FILE *fp, uint32_t flags);

KOR_END_DECLS

#endif
