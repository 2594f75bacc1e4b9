/*
 * debug.h: aids for tests: heap copies of blocks and a log of random seeds.
 */
#ifndef LIBKOR_DEBUG_H
#define LIBKOR_DEBUG_H

#include <stddef.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

void *vela_heapify(const void *p, size_t size);
void _vela_srand(int seed, const char *file, int line);
void _vela_srand_clock(const char *file, int line);

KOR_END_DECLS

#endif
