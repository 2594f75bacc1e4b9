/*
 * vela_memory.h: the allocation wrappers.
 */
#ifndef LIBKOR_VELA_MEMORY_H
#define LIBKOR_VELA_MEMORY_H

#include <stddef.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

/*
 * malloc.
 *
 * Returns  a block of `size` bytes, freed by the caller, or null
 */
void *_vela_malloc(size_t size);

/*
 * calloc.
 *
 * Returns  a zeroed block of `count` times `size` bytes, freed by the caller,
 *          or null
 */
void *_vela_calloc(size_t count, size_t size);

/*
 * free.
 *
 * ptr  a block of one of these functions or of the C library, or null
 */
void _vela_free(void *ptr);

/*
 * strdup.
 *
 * str      not null; borrowed
 * Returns  a copy, freed by the caller, or null
 */
char *_vela_strdup(const char *str);

KOR_END_DECLS

#endif
