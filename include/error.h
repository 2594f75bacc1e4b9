/*
 * error.h: the codes of every recoverable failure, and the last-error value.
 */
#ifndef LIBKOR_ERROR_H
#define LIBKOR_ERROR_H

/* With this folder on the include path, <error.h> means this file; the C
 * library's own must not be hidden by it.  The pragma is for that extension. */
#if defined(__GNUC__) && defined(__has_include_next)
#pragma GCC system_header
#if __has_include_next(<error.h>)
#include_next <error.h>
#endif
#endif

#include "kor_export.h"

KOR_BEGIN_DECLS

/*
 * Every code once: name, value, meaning.  KOR_ERR_FULL and
 * KOR_ERR_END_OF_STREAM are notes, not failures: the caller acts on them.
 */
#define KOR_ERROR_LIST(X)                                                   \
    X(KOR_OK, 0, "success")                                                 \
    X(KOR_ERR_FAILED, -1, "general failure")                                \
    X(KOR_ERR_FULL, -2, "buffer full")                                      \
    X(KOR_ERR_OTHER_KIND, -3, "buffer file of the other kind")              \
    X(KOR_ERR_UNKNOWN_KIND, -4, "not a buffer file of a known kind")        \
    X(KOR_ERR_INVALID_DATA, -6, "invalid data")                             \
    X(KOR_ERR_DIVISION_BY_ZERO, -10, "division by zero")                    \
    X(KOR_ERR_BAD_TIMESTAMP, -11, "malformed time stamp")                   \
    X(KOR_ERR_WRONG_VERSION, -12, "serialized with another version")        \
    X(KOR_ERR_NO_MEMORY, -22, "out of memory")                              \
    X(KOR_ERR_CANNOT_OPEN, -40, "file could not be opened")                 \
    X(KOR_ERR_INFLATE, -41, "decompression or file write failed")           \
    X(KOR_ERR_DEFLATE, -42, "compression failed")                           \
    X(KOR_ERR_END_OF_STREAM, -43, "clean end of stream")                    \
    X(KOR_ERR_INCOMPLETE, -44, "no first line, or history buffer not full") \
    X(KOR_ERR_TRUNCATED, -48, "stream ended inside an object")              \
    X(KOR_ERR_TOO_LONG, -49, "count or length beyond 10000")                \
    X(KOR_ERR_NEGATIVE_ROOT, -50, "square root of a negative element")

enum kor_error {
#define KOR_ERROR_ENUMERATOR(name, value, meaning) name = value,
    KOR_ERROR_LIST(KOR_ERROR_ENUMERATOR)
#undef KOR_ERROR_ENUMERATOR
};

/*
 * Stores the last error of the process.
 *
 * err  0 to clear it, or a negative code; a positive one aborts
 */
void vela_set_last_error(int err);

/*
 * Gives the code that was stored last.  Functions that return a pointer store
 * one when they return null for a failure; a success leaves the value alone
 * unless the function says otherwise.
 *
 * Returns  0 or a negative code
 */
int vela_get_last_error(void);

/*
 * Says what a code means.
 *
 * Returns  the meaning in KOR_ERROR_LIST, or a fixed text for a code that is
 *          not there; never null, never freed
 */
const char *vela_strerror(int code);

KOR_END_DECLS

#endif
