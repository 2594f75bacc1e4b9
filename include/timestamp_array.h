/*
 * timestamp_array.h: time stamps whose copies share their elements.
 *
 * The pointer array, the time stamps in it and the counter belong to all
 * arrays that share the counter; the last one destructed frees them.  Every
 * function asserts that its pointers are not null and, but for the init
 * functions, that the version is TIMESTAMP_ARRAY_VERSION.
 */
#ifndef LIBKOR_TIMESTAMP_ARRAY_H
#define LIBKOR_TIMESTAMP_ARRAY_H

#include <stdint.h>

#include "kor_export.h"
#include "timestamp.h"

KOR_BEGIN_DECLS

#define TIMESTAMP_ARRAY_VERSION 1

KOR_STRUCT(timestamp_array);
struct timestamp_array {
    uint8_t version;      /* TIMESTAMP_ARRAY_VERSION; 0 after destruction */
    uint32_t ntimestamps; /* 0 in a null array */
    uint32_t *ref_count;  /* shared by every copy; null in a null array */
    struct timestamp **timestamps; /* shared; an element may be null */
};

/*
 * Make an array of given time stamps.
 *
 * timestamps   from malloc, taken on success; the caller's on failure
 * ntimestamps  > 0
 * Returns      0, or the array; KOR_ERR_NO_MEMORY (-22), or null with it as the
 *              last error
 */
int timestamp_array_init(struct timestamp_array *array,
                         struct timestamp **timestamps, uint32_t ntimestamps);
struct timestamp_array *timestamp_array_create(struct timestamp **timestamps,
                                               uint32_t ntimestamps);

/* The same, but with every element null, for timestamp_array_set to fill. */
int timestamp_array_init_empty(struct timestamp_array *array,
                               uint32_t ntimestamps);
struct timestamp_array *timestamp_array_create_empty(uint32_t ntimestamps);

/* The same, but without elements, for a reader to fill. */
int timestamp_array_init_null(struct timestamp_array *array);
struct timestamp_array *timestamp_array_create_null(void);

/*
 * The same, but of ntimestamps consecutive seconds beginning with start.  After
 * a failure of init the array is destructed already.
 */
int timestamp_array_init_dummy(struct timestamp_array *array,
                               const struct timestamp *start,
                               uint32_t ntimestamps);
struct timestamp_array *timestamp_array_create_dummy(
    const struct timestamp *start, uint32_t ntimestamps);

/*
 * Give up this array's share and clear all fields; destroy also frees the
 * array and clears the caller's pointer.
 */
void timestamp_array_destruct(struct timestamp_array *array);
void timestamp_array_destroy(struct timestamp_array **array);

/*
 * Makes one more array that shares the elements.
 *
 * Returns  the copy, the caller's; null with KOR_ERR_NO_MEMORY (-22) as the
 *          last error
 */
struct timestamp_array *timestamp_array_copy(
    const struct timestamp_array *array);

/* Whether both share their elements, or hold equal ones in one order. */
int timestamp_array_is_equal(const struct timestamp_array *s1,
                             const struct timestamp_array *s2);

/* The element at i, from 0; borrowed, null if none was set. */
struct timestamp *timestamp_array_get(const struct timestamp_array *array,
                                      int i);

/*
 * Stores a time stamp in place of that at i, which is destroyed.  Every copy
 * that shares the elements sees it.
 *
 * t        taken
 * Returns  t
 */
struct timestamp *timestamp_array_set(struct timestamp_array *array, int i,
                                      struct timestamp *t);

/* The pointer array, borrowed, null in a null array; and its size. */
struct timestamp **timestamp_array_get_timestamps(
    const struct timestamp_array *array);
uint32_t timestamp_array_get_size(const struct timestamp_array *array);

/*
 * The stored form: version 1 (1 byte), count (4), the time stamps (9 each).
 *
 * array    to write: at least one element, none null
 *          to read into: a null array, which it still is after a failure
 * Writing returns  the sum of the writer's results, or its negative code
 *                  KOR_ERR_TOO_LONG (-49) for more than 10000 elements, nothing
 *                  being written
 * Reading returns  bytes read; 0 at the end of the stream
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_TOO_LONG (-49) for a count outside 1 to 10000
 *                  KOR_ERR_INVALID_DATA (-6) for microseconds other than 0
 *                  KOR_ERR_TRUNCATED (-48)
 *                  KOR_ERR_NO_MEMORY (-22)
 *                  a negative code of the reader
 */
int binary_serializer_write_timestamp_array(const struct timestamp_array *array,
                                            struct writer *writer);
int binary_serializer_read_timestamp_array(struct timestamp_array *array,
                                           struct reader *reader);

KOR_END_DECLS

#endif
