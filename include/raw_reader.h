/*
 * raw_reader.h: a reader over a C stream.
 */
#ifndef LIBKOR_RAW_READER_H
#define LIBKOR_RAW_READER_H

#include <stdint.h>
#include <stdio.h>

#include "kor_export.h"
#include "reader.h"

KOR_BEGIN_DECLS

#define RAW_READER_VERSION 1

KOR_STRUCT(raw_reader);
struct raw_reader {
    uint8_t version; /* RAW_READER_VERSION */
    FILE *fp;        /* never null while live */
    uint32_t flags;  /* bit 0: the caller keeps fp and closes it */
};

/*
 * Makes a reader over a C stream in the caller's storage.  A read error is not
 * told from the end of the file: both read as 0 bytes.
 *
 * fp       not null; taken, and closed with the reader, unless bit 0 of flags
 *          is set; stays the caller's when this fails
 * flags    bit 0: the caller keeps fp; other bits are stored and ignored
 * Returns  0, or KOR_ERR_NO_MEMORY (-22)
 */
int raw_reader_init(struct reader *reader, FILE *fp, uint32_t flags);

/*
 * The same on the heap.
 *
 * Returns  a reader for reader_destroy, or null with the last error set to
 *          KOR_ERR_NO_MEMORY (-22)
 */
struct reader *raw_reader_create(FILE *fp, uint32_t flags);

KOR_END_DECLS

#endif
