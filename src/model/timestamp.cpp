// timestamp: a point in time, in whole seconds; microseconds are always 0.
#include "timestamp.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <limits>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/codec.hpp"

namespace {

// The string form YYYYMMDD:HH:MM:SS, in local time.
constexpr char string_format[] = "%Y%m%d:%H:%M:%S";
constexpr size_t string_length = 17;
constexpr int base_year = 1900;

bool has_string_shape(const char *str)
{
    return std::strlen(str) == string_length && str[8] == ':' &&
           str[11] == ':' && str[14] == ':';
}

// Part of the interface: what is not a digit counts as its distance from '0'.
int number_at(const char *str, int start, int ndigits)
{
    int value = 0;
    for (int i = start; i < start + ndigits; ++i)
        value = 10 * value + static_cast<unsigned char>(str[i]) - '0';
    return value;
}

std::tm fields_of(const char *str)
{
    std::tm fields = {};
    fields.tm_year = number_at(str, 0, 4) - base_year;
    fields.tm_mon = number_at(str, 4, 2) - 1;
    fields.tm_mday = number_at(str, 6, 2);
    fields.tm_hour = number_at(str, 9, 2);
    fields.tm_min = number_at(str, 12, 2);
    fields.tm_sec = number_at(str, 15, 2);
    fields.tm_isdst = -1;
    return fields;
}

// Part of the interface: only these bounds hold.  Month 00 is December of the
// year before, and a second of 60 is a leap second.
bool are_in_bounds(const std::tm &fields)
{
    return fields.tm_year >= 0 && fields.tm_mon <= 11 && fields.tm_mday >= 1 &&
           fields.tm_mday <= 31 && fields.tm_hour <= 23 &&
           fields.tm_min <= 59 && fields.tm_sec <= 60;
}

bool fits_seconds(std::time_t time)
{
    using seconds = std::numeric_limits<int32_t>;
    return time >= seconds::min() && time <= seconds::max();
}

void set_seconds(struct timestamp *t, int32_t seconds)
{
    t->version = TIMESTAMP_VERSION;
    t->tv.tv_sec = seconds;
    t->tv.tv_usec = 0;
}

}  // namespace

int timestamp_init_current(struct timestamp *t)
{
    KOR_ASSERT(t != NULL);
    struct timeval now = {};
    gettimeofday(&now, nullptr);
    set_seconds(t, static_cast<int32_t>(now.tv_sec));
    KOR_ASSERT(t->tv.tv_sec > 0);
    return KOR_OK;
}

struct timestamp *timestamp_create_current(void)
{
    return vela::create<struct timestamp>(timestamp_init_current);
}

int timestamp_init_null(struct timestamp *t)
{
    KOR_ASSERT(t != NULL);
    set_seconds(t, 0);
    return KOR_OK;
}

struct timestamp *timestamp_create_null(void)
{
    return vela::create<struct timestamp>(timestamp_init_null);
}

int timestamp_init_from_timeval(struct timestamp *t, const struct timeval *tv)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(tv != NULL);
    set_seconds(t, static_cast<int32_t>(tv->tv_sec));
    return KOR_OK;
}

struct timestamp *timestamp_create_from_timeval(const struct timeval *tv)
{
    KOR_ASSERT(tv != NULL);
    return vela::create<struct timestamp>(
        [tv](auto *t) { return timestamp_init_from_timeval(t, tv); });
}

int timestamp_init_from_string(struct timestamp *t, const char *str)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(str != NULL);
    if (!has_string_shape(str)) return KOR_ERR_BAD_TIMESTAMP;
    std::tm fields = fields_of(str);
    if (!are_in_bounds(fields)) return KOR_ERR_BAD_TIMESTAMP;

    // Loading the zone may set errno although nothing failed: do it before.
    tzset();
    errno = 0;
    const std::time_t time = std::mktime(&fields);
    if (time < 0 && errno != 0) return KOR_ERR_BAD_TIMESTAMP;
    if (!fits_seconds(time)) return KOR_ERR_BAD_TIMESTAMP;
    set_seconds(t, static_cast<int32_t>(time));
    return KOR_OK;
}

struct timestamp *timestamp_create_from_string(const char *str)
{
    KOR_ASSERT(str != NULL);
    return vela::create<struct timestamp>(
        [str](auto *t) { return timestamp_init_from_string(t, str); });
}

void timestamp_destruct(struct timestamp *t)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(t->version == TIMESTAMP_VERSION);
    *t = {};
}

void timestamp_destroy(struct timestamp **t)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(*t != NULL);
    vela::destroy(t, timestamp_destruct);
}

int timestamp_compare(const struct timestamp *t1, const struct timestamp *t2)
{
    KOR_ASSERT(t1 != NULL);
    KOR_ASSERT(t2 != NULL);
    KOR_ASSERT(t1->version == TIMESTAMP_VERSION);
    KOR_ASSERT(t2->version == TIMESTAMP_VERSION);
    KOR_ASSERT(t1->tv.tv_usec == 0);
    KOR_ASSERT(t2->tv.tv_usec == 0);
    if (t1->tv.tv_sec < t2->tv.tv_sec) return -1;
    return t1->tv.tv_sec > t2->tv.tv_sec ? 1 : 0;
}

int timestamp_is_equal(const struct timestamp *t1, const struct timestamp *t2)
{
    KOR_ASSERT(t1 != NULL);
    KOR_ASSERT(t2 != NULL);
    KOR_ASSERT(t1->version == TIMESTAMP_VERSION);
    KOR_ASSERT(t2->version == TIMESTAMP_VERSION);
    return timestamp_compare(t1, t2) == 0;
}

struct timeval *timestamp_to_timeval(const struct timestamp *t,
                                     struct timeval *tv)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(t->version == TIMESTAMP_VERSION);
    KOR_ASSERT(tv != NULL);
    tv->tv_sec = t->tv.tv_sec;
    tv->tv_usec = t->tv.tv_usec;
    return tv;
}

char *timestamp_to_string(const struct timestamp *t, char *buffer,
                          size_t bufsize)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(t->version == TIMESTAMP_VERSION);
    KOR_ASSERT(buffer != NULL);
    KOR_ASSERT(bufsize > 17);
    const std::time_t time = t->tv.tv_sec;
    const std::tm *const time_struct = std::localtime(&time);
    KOR_ASSERT(time_struct != NULL);
    const size_t rc =
        std::strftime(buffer, bufsize, string_format, time_struct);
    KOR_ASSERT(rc > 0);
    buffer[string_length] = '\0';
    return buffer;
}

struct timestamp *timestamp_copy(const struct timestamp *t,
                                 struct timestamp *dst)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(t->version == TIMESTAMP_VERSION);
    if (dst == nullptr) dst = timestamp_create_null();
    if (dst == nullptr) return nullptr;
    *dst = *t;
    return dst;
}

int timestamp_is_null(const struct timestamp *t)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(t->version == TIMESTAMP_VERSION);
    return t->tv.tv_sec == 0 && t->tv.tv_usec == 0;
}

void timestamp_increment(struct timestamp *t, uint32_t seconds)
{
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(t->version == TIMESTAMP_VERSION);
    // In unsigned arithmetic, where running over is no undefined behaviour.
    const uint32_t sum = static_cast<uint32_t>(t->tv.tv_sec) + seconds;
    t->tv.tv_sec = static_cast<int32_t>(sum);
}

int binary_serializer_write_timestamp(const struct timestamp *timestamp,
                                      struct writer *writer)
{
    KOR_ASSERT(timestamp != NULL);
    KOR_ASSERT(timestamp->version == 1);
    vela::encoder archive(writer);
    archive.version(timestamp->version, TIMESTAMP_VERSION);
    archive.fields(timestamp->tv.tv_sec, timestamp->tv.tv_usec);
    return archive.result();
}

int binary_serializer_read_timestamp(struct timestamp *timestamp,
                                     struct reader *reader)
{
    KOR_ASSERT(timestamp != NULL);
    KOR_ASSERT(timestamp->version == 1);
    // A time stamp never opens a file: even its first byte must be there.
    vela::decoder archive(reader, vela::first_byte::required);
    int32_t microseconds = 0;
    archive.version(timestamp->version, TIMESTAMP_VERSION);
    archive.fields(timestamp->tv.tv_sec, microseconds);
    // Part of the interface: the seconds stay stored when this fails.
    archive.check(microseconds == 0, KOR_ERR_INVALID_DATA);
    return archive.result();
}
