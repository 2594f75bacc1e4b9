#include "debug.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "common/contract.hpp"

// The seed log: opened by the first seed, never closed.
static constinit FILE *fp = nullptr;

void *vela_heapify(const void *p, size_t size)
{
    KOR_ASSERT(p != NULL);
    void *const copy = std::malloc(size);
    KOR_ASSERT(copy != NULL);
    return std::memcpy(copy, p, size);
}

void _vela_srand(int seed, const char *file, int line)
{
    if (fp == nullptr) {
        fp = std::fopen("srand.log", "w");
        KOR_ASSERT(fp != NULL);
    }
    // Part of the interface: the log is not flushed, nothing is seeded, and
    // only standard output gets a line break in front.
    std::fprintf(fp, "%s:%d: seed=%d\n", file, line, seed);
    std::printf("\n%s:%d: seed=%d\n", file, line, seed);
}

void _vela_srand_clock(const char *file, int line)
{
    _vela_srand(static_cast<int>(std::time(nullptr)), file, line);
}
