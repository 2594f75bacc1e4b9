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

int raw_writer_init(struct writer *writer, FILE *fp, uint32_t flags);
struct writer *raw_writer_create(FILE *fp, uint32_t flags);

KOR_END_DECLS

#endif
