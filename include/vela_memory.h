/*
 * vela_memory.h: the allocation wrappers.
 */
#ifndef LIBKOR_VELA_MEMORY_H
#define LIBKOR_VELA_MEMORY_H

#include <stddef.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

void *_vela_malloc(size_t size);
void *_vela_calloc(size_t count, size_t size);
void _vela_free(void *ptr);
char *_vela_strdup(const char *str);

KOR_END_DECLS

#endif
