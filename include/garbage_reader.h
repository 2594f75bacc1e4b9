/*
 * garbage_reader.h: a reader that damages what another reader yields.
 */
#ifndef LIBKOR_GARBAGE_READER_H
#define LIBKOR_GARBAGE_READER_H

#include <stdint.h>

#include "kor_export.h"
#include "reader.h"

KOR_BEGIN_DECLS

#define GARBAGE_READER_VERSION 1

KOR_STRUCT(garbage_reader);
struct garbage_reader {
    uint8_t version;       /* GARBAGE_READER_VERSION */
    struct reader *reader; /* the base reader, owned */
    uint32_t nclean;       /* bytes that still pass through unchanged */
    uint32_t flags;        /* bit 0: the end has been decided */
};

int garbage_reader_init(struct reader *reader, struct reader *base_reader,
                        uint32_t nclean);
struct reader *garbage_reader_create(struct reader *base_reader,
                                     uint32_t nclean);

KOR_END_DECLS

#endif
