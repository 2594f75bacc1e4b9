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

int zlib_writer_init(struct writer *writer, struct writer *writer_base);
struct writer *zlib_writer_create(struct writer *writer_base);

KOR_END_DECLS

#endif
