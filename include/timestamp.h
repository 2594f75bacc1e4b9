/*
 * timestamp.h: a point in time, in whole seconds.
 */
#ifndef LIBKOR_TIMESTAMP_H
#define LIBKOR_TIMESTAMP_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>

#include "kor_export.h"
#include "reader.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define TIMESTAMP_VERSION 1

KOR_STRUCT(timestamp);
struct timestamp {
    uint8_t version; /* TIMESTAMP_VERSION; 0 after destruction */
    struct {
        int32_t tv_sec;  /* seconds since the epoch; 0: the null time stamp */
        int32_t tv_usec; /* always 0 */
    } tv;                /* 32 bits on every host, as on the target */
};

int timestamp_init_current(struct timestamp *t);
struct timestamp *timestamp_create_current(void);
int timestamp_init_null(struct timestamp *t);
struct timestamp *timestamp_create_null(void);
int timestamp_init_from_timeval(struct timestamp *t, const struct timeval *tv);
struct timestamp *timestamp_create_from_timeval(const struct timeval *tv);
int timestamp_init_from_string(struct timestamp *t, const char *str);
struct timestamp *timestamp_create_from_string(const char *str);
void timestamp_destruct(struct timestamp *t);
void timestamp_destroy(struct timestamp **t);
int timestamp_compare(const struct timestamp *t1, const struct timestamp *t2);
int timestamp_is_equal(const struct timestamp *t1, const struct timestamp *t2);
struct timeval *timestamp_to_timeval(const struct timestamp *t,
                                     struct timeval *tv);
char *timestamp_to_string(const struct timestamp *t, char *buffer,
                          size_t bufsize);
struct timestamp *timestamp_copy(const struct timestamp *t,
                                 struct timestamp *dst);
int timestamp_is_null(const struct timestamp *t);
void timestamp_increment(struct timestamp *t, uint32_t seconds);
int binary_serializer_write_timestamp(const struct timestamp *timestamp,
                                      struct writer *writer);
int binary_serializer_read_timestamp(struct timestamp *timestamp,
                                     struct reader *reader);

KOR_END_DECLS

#endif
