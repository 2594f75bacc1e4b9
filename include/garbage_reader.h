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

/*
 * Makes, in the caller's storage, a reader that tests how damaged input is
 * received.  A read that stays within the clean bytes passes through; any
 * other returns the full length asked for, with every byte from the rest of
 * the budget on changed by random_uint, whether or not the base had as many.
 * At the base's end one read in 64, on average, reports the end.
 *
 * base_reader  not null; taken, and destroyed with the reader; stays the
 *              caller's when this fails
 * nclean       bytes that pass unchanged
 * Returns      0, or KOR_ERR_NO_MEMORY (-22)
 */
int garbage_reader_init(struct reader *reader, struct reader *base_reader,
                        uint32_t nclean);

/*
 * The same on the heap.
 *
 * Returns  a reader for reader_destroy, or null with the last error set to
 *          KOR_ERR_NO_MEMORY (-22)
 */
struct reader *garbage_reader_create(struct reader *base_reader,
                                     uint32_t nclean);

KOR_END_DECLS

#endif
