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

/*
 * Writes a string: its length in 4 bytes, big-endian, then its characters.
 *
 * str      at most 10000 characters, not null; borrowed.  An empty string is
 *          written but cannot be read back.
 * Returns  the sum of what the writes returned (4 + length over a raw writer);
 *          KOR_ERR_TOO_LONG (-49), nothing written; or the writer's negative
 *          code
 */
int binary_serializer_write_string(const char *str, struct writer *writer);

/*
 * Reads a string.  A stream that ends right behind the length aborts.
 *
 * nread    set to the bytes consumed, 4 + length, or to 0 on failure; may be
 *          null
 * Returns  a string of 1 to 10000 characters, freed by the caller; or null
 *          with the last error set: KOR_ERR_END_OF_STREAM (-43) when nothing
 *          is left, KOR_ERR_TRUNCATED (-48), KOR_ERR_INVALID_DATA (-6) for a
 *          length out of range or a NUL inside, KOR_ERR_NO_MEMORY (-22), or
 *          the reader's negative code
 */
char *binary_serializer_read_string(struct reader *reader, int *nread);

/*
 * Reads exactly so many bytes, with one call of the reader.
 *
 * buf      room for buflen bytes, not null
 * buflen   > 0
 * Returns  buflen; 0 at the end of the stream; KOR_ERR_TRUNCATED (-48) when
 *          only a part was left; or the reader's negative code
 */
int binary_serializer_read_bytes(void *buf, uint32_t buflen,
                                 struct reader *reader);

KOR_END_DECLS

#endif
