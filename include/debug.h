/*
 * debug.h: aids for tests: heap copies of blocks and a log of random seeds.
 */
#ifndef LIBKOR_DEBUG_H
#define LIBKOR_DEBUG_H

#include <stddef.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

/*
 * Copies a block to the heap.
 *
 * p        `size` bytes, not null; borrowed
 * Returns  the copy, freed by the caller; never null, since running out of
 *          memory aborts
 */
void *vela_heapify(const void *p, size_t size);

/*
 * Logs a random seed: a line in "srand.log" in the current folder and one on
 * standard output.  The first call of a process empties the log, a log that
 * cannot be opened aborts, and nothing is flushed.  No generator is seeded;
 * the caller seeds its own with the same value.
 *
 * file, line  where the seed is used
 */
void _vela_srand(int seed, const char *file, int line);

/*
 * Logs the current time in seconds as a seed, as _vela_srand does.
 */
void _vela_srand_clock(const char *file, int line);

KOR_END_DECLS

#endif
