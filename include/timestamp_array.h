/*
 * timestamp_array.h: time stamps whose copies share their elements.
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

int timestamp_array_init(struct timestamp_array *array,
                         struct timestamp **timestamps, uint32_t ntimestamps);
struct timestamp_array *timestamp_array_create(struct timestamp **timestamps,
                                               uint32_t ntimestamps);
int timestamp_array_init_empty(struct timestamp_array *array,
                               uint32_t ntimestamps);
struct timestamp_array *timestamp_array_create_empty(uint32_t ntimestamps);
int timestamp_array_init_null(struct timestamp_array *array);
struct timestamp_array *timestamp_array_create_null(void);
int timestamp_array_init_dummy(struct timestamp_array *array,
                               const struct timestamp *start,
                               uint32_t ntimestamps);
struct timestamp_array *timestamp_array_create_dummy(
    const struct timestamp *start, uint32_t ntimestamps);
void timestamp_array_destruct(struct timestamp_array *array);
void timestamp_array_destroy(struct timestamp_array **array);
struct timestamp_array *timestamp_array_copy(
    const struct timestamp_array *array);
int timestamp_array_is_equal(const struct timestamp_array *s1,
                             const struct timestamp_array *s2);
struct timestamp *timestamp_array_get(const struct timestamp_array *array,
                                      int i);
struct timestamp *timestamp_array_set(struct timestamp_array *array, int i,
                                      struct timestamp *t);
struct timestamp **timestamp_array_get_timestamps(
    const struct timestamp_array *array);
uint32_t timestamp_array_get_size(const struct timestamp_array *array);
int binary_serializer_write_timestamp_array(const struct timestamp_array *array,
                                            struct writer *writer);
int binary_serializer_read_timestamp_array(struct timestamp_array *array,
                                           struct reader *reader);

KOR_END_DECLS

#endif
