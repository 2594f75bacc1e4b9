#include "vela_memory.h"

#include <cstdlib>
#include <cstring>

void *_vela_malloc(size_t size)
{
    return std::malloc(size);
}

void *_vela_calloc(size_t count, size_t size)
{
    return std::calloc(count, size);
}

void _vela_free(void *ptr)
{
    std::free(ptr);
}

char *_vela_strdup(const char *str)
{
    return strdup(str);
}
