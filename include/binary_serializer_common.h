/*
 * binary_serializer_common.h: the stored form of strings and byte runs.
 */
#ifndef LIBKOR_BINARY_SERIALIZER_COMMON_H
#define LIBKOR_BINARY_SERIALIZER_COMMON_H

#include <stdint.h>

#include "kor_export.h"
#include "reader.h"
#include "writer.h"

KOR_BEGIN_DECLS

int binary_serializer_write_string(const char *str, struct writer *writer);
char *binary_serializer_read_string(struct reader *reader, int *nread);
int binary_serializer_read_bytes(void *buf, uint32_t buflen,
                                 struct reader *reader);

KOR_END_DECLS

#endif
