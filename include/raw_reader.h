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

int raw_reader_init(struct reader *reader, FILE *fp, uint32_t flags);
struct reader *raw_reader_create(FILE *fp, uint32_t flags);

KOR_END_DECLS

#endif
