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

int zlib_reader_init(struct reader *reader, struct reader *reader_base);
struct reader *zlib_reader_create(struct reader *reader_base);
uint32_t zlib_reader_get_last_savepoint(const struct reader *reader);

KOR_END_DECLS

#endif
