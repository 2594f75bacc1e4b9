/*
 * timestamp.h: a point in time, in whole seconds.
 *
 * Every function asserts that its pointers are not null and, but for the init
 * functions and targets of copies, that the version is TIMESTAMP_VERSION.
 * Times of day are those of the process's time zone.  struct timeval is the C
 * library's: where its width is a choice, callers must make the library's.
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

/*
 * Make a time stamp of the current time, cut to the whole second.
 *
 * Returns  0, or the time stamp; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
int timestamp_init_current(struct timestamp *t);
struct timestamp *timestamp_create_current(void);

/* The same, but the null time stamp: second 0. */
int timestamp_init_null(struct timestamp *t);
struct timestamp *timestamp_create_null(void);

/* The same, but of the seconds of tv; its microseconds are dropped. */
int timestamp_init_from_timeval(struct timestamp *t, const struct timeval *tv);
struct timestamp *timestamp_create_from_timeval(const struct timeval *tv);

/*
 * Make a time stamp from text, YYYYMMDD:HH:MM:SS in local time.
 *
 * str      17 characters.  The year is 1900 or later, the month at most 12, the
 *          day 1 to 31, the hour at most 23, the minute at most 59, the second
 *          at most 60; no other bound is checked, nor that digits are digits,
 *          and month 00 is December of the year before.
 * Returns  0, or the time stamp; KOR_ERR_BAD_TIMESTAMP (-11) for other text and
 *          times beyond 32 bits, t then being as it was, or null with that or
 *          KOR_ERR_NO_MEMORY (-22) as the last error
 */
int timestamp_init_from_string(struct timestamp *t, const char *str);
struct timestamp *timestamp_create_from_string(const char *str);

/* Clear all fields; destroy also frees it and clears the caller's pointer. */
void timestamp_destruct(struct timestamp *t);
void timestamp_destroy(struct timestamp **t);

/*
 * Orders two time stamps, whose microseconds must be 0.
 *
 * Returns  -1 if t1 is the earlier, 1 if it is the later, else 0
 */
int timestamp_compare(const struct timestamp *t1, const struct timestamp *t2);

/* Whether timestamp_compare gives 0. */
int timestamp_is_equal(const struct timestamp *t1, const struct timestamp *t2);

/* Copies both fields out and returns tv. */
struct timeval *timestamp_to_timeval(const struct timestamp *t,
                                     struct timeval *tv);

/*
 * Formats in the form that timestamp_init_from_string reads.
 *
 * bufsize  > 17; 17 characters and a NUL are stored
 * Returns  buffer
 */
char *timestamp_to_string(const struct timestamp *t, char *buffer,
                          size_t bufsize);

/*
 * Copies a time stamp.
 *
 * dst      overwritten, whatever it held; null makes a new one, the caller's
 * Returns  the copy; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct timestamp *timestamp_copy(const struct timestamp *t,
                                 struct timestamp *dst);

/* Whether seconds and microseconds are both 0. */
int timestamp_is_null(const struct timestamp *t);

/* Adds seconds; nothing checks that they run over 32 bits. */
void timestamp_increment(struct timestamp *t, uint32_t seconds);

/*
 * The stored form, 9 bytes: version 1 (1 byte), seconds (4), microseconds (4).
 *
 * Writing returns  the sum of the writer's results, or its negative code
 * Reading returns  9
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_INVALID_DATA (-6) for microseconds other than 0, the
 *                  seconds then being stored already
 *                  KOR_ERR_TRUNCATED (-48) for a stream that ends, even before
 *                  the first byte
 *                  a negative code of the reader
 */
int binary_serializer_write_timestamp(const struct timestamp *timestamp,
                                      struct writer *writer);
int binary_serializer_read_timestamp(struct timestamp *timestamp,
                                     struct reader *reader);

KOR_END_DECLS

#endif
