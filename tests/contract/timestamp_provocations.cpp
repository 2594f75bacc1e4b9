// What time stamps and arrays of them promise.
#include <ctime>

#include "contract/model_fixtures.hpp"
#include "contract/streams.hpp"

using namespace std::string_literals;
using contract::any_writer;
using contract::empty_reader;
using contract::null_pointers;
using contract::some_time;
using contract::stamp;
using contract::two_stamps;

// --- a clock and a calendar that may go wrong ---

static bool clock_stands_at_zero = false;
static bool local_time_is_unknown = false;
static bool nothing_can_be_formatted = false;

extern "C" {
int __real_gettimeofday(struct timeval *tv, void *zone);
struct tm *__real_localtime(const time_t *time);
size_t __real_strftime(char *buffer, size_t size, const char *format,
                       const struct tm *fields);
int __wrap_gettimeofday(struct timeval *tv, void *zone);
struct tm *__wrap_localtime(const time_t *time);
size_t __wrap_strftime(char *buffer, size_t size, const char *format,
                       const struct tm *fields);

int __wrap_gettimeofday(struct timeval *tv, void *zone)
{
    if (!clock_stands_at_zero) return __real_gettimeofday(tv, zone);
    *tv = {};
    return 0;
}

struct tm *__wrap_localtime(const time_t *time)
{
    return local_time_is_unknown ? nullptr : __real_localtime(time);
}

size_t __wrap_strftime(char *buffer, size_t size, const char *format,
                       const struct tm *fields)
{
    if (nothing_can_be_formatted) return 0;
    return __real_strftime(buffer, size, format, fields);
}
}

namespace {

char buf[32];

// Dead, as destruction leaves them.
struct timestamp dead_stamp = {};
struct timestamp_array dead_stamps = {};

struct timestamp *stamp_with_microseconds()
{
    static struct timestamp t;
    timestamp_copy(stamp(), &t);
    t.tv.tv_usec = 1;
    return &t;
}

struct timestamp_array *a_stamp_and_a_gap()
{
    struct timestamp_array *const array = two_stamps();
    array->timestamps[1] = NULL;
    return array;
}

}  // namespace

// --- timestamp ---

ABORTS(timestamp_init_current, "t != NULL")
{
    timestamp_init_current(NULL);
}

ABORTS(timestamp_init_current, "t->tv.tv_sec > 0")
{
    struct timestamp t;
    clock_stands_at_zero = true;
    timestamp_init_current(&t);
}

ABORTS(timestamp_init_current, "t->tv.tv_sec > 0")
{
    clock_stands_at_zero = true;
    timestamp_create_current();
}

ABORTS(timestamp_init_null, "t != NULL")
{
    timestamp_init_null(NULL);
}

ABORTS(timestamp_init_from_timeval, "t != NULL")
{
    timestamp_init_from_timeval(NULL, &some_time);
}

ABORTS(timestamp_init_from_timeval, "tv != NULL")
{
    struct timestamp t;
    timestamp_init_from_timeval(&t, NULL);
}

ABORTS(timestamp_create_from_timeval, "tv != NULL")
{
    timestamp_create_from_timeval(NULL);
}

ABORTS(timestamp_init_from_string, "t != NULL")
{
    timestamp_init_from_string(NULL, "20070101:00:00:00");
}

ABORTS(timestamp_init_from_string, "str != NULL")
{
    struct timestamp t;
    timestamp_init_from_string(&t, NULL);
}

ABORTS(timestamp_create_from_string, "str != NULL")
{
    timestamp_create_from_string(NULL);
}

ABORTS(timestamp_destruct, "t != NULL")
{
    timestamp_destruct(NULL);
}

ABORTS(timestamp_destruct, "t->version == TIMESTAMP_VERSION")
{
    timestamp_destruct(&dead_stamp);
}

ABORTS(timestamp_destruct, "t->version == TIMESTAMP_VERSION")
{
    struct timestamp *t = &dead_stamp;
    timestamp_destroy(&t);
}

ABORTS(timestamp_destroy, "t != NULL")
{
    timestamp_destroy(NULL);
}

ABORTS(timestamp_destroy, "*t != NULL")
{
    struct timestamp *none = NULL;
    timestamp_destroy(&none);
}

ABORTS(timestamp_compare, "t1 != NULL")
{
    timestamp_compare(NULL, stamp());
}

ABORTS(timestamp_compare, "t2 != NULL")
{
    timestamp_compare(stamp(), NULL);
}

ABORTS(timestamp_compare, "t1->version == TIMESTAMP_VERSION")
{
    timestamp_compare(&dead_stamp, stamp());
}

ABORTS(timestamp_compare, "t2->version == TIMESTAMP_VERSION")
{
    timestamp_compare(stamp(), &dead_stamp);
}

ABORTS(timestamp_is_equal, "t1 != NULL")
{
    timestamp_is_equal(NULL, stamp());
}

ABORTS(timestamp_is_equal, "t2 != NULL")
{
    timestamp_is_equal(stamp(), NULL);
}

ABORTS(timestamp_is_equal, "t1->version == TIMESTAMP_VERSION")
{
    timestamp_is_equal(&dead_stamp, stamp());
}

ABORTS(timestamp_is_equal, "t2->version == TIMESTAMP_VERSION")
{
    timestamp_is_equal(stamp(), &dead_stamp);
}

ABORTS(timestamp_compare, "t1->tv.tv_usec == 0")
{
    timestamp_compare(stamp_with_microseconds(), stamp());
}

ABORTS(timestamp_compare, "t1->tv.tv_usec == 0")
{
    timestamp_is_equal(stamp_with_microseconds(), stamp());
}

ABORTS(timestamp_compare, "t2->tv.tv_usec == 0")
{
    timestamp_compare(stamp(), stamp_with_microseconds());
}

ABORTS(timestamp_compare, "t2->tv.tv_usec == 0")
{
    timestamp_is_equal(stamp(), stamp_with_microseconds());
}

ABORTS(timestamp_to_timeval, "t != NULL")
{
    struct timeval tv;
    timestamp_to_timeval(NULL, &tv);
}

ABORTS(timestamp_to_timeval, "t->version == TIMESTAMP_VERSION")
{
    struct timeval tv;
    timestamp_to_timeval(&dead_stamp, &tv);
}

ABORTS(timestamp_to_timeval, "tv != NULL")
{
    timestamp_to_timeval(stamp(), NULL);
}

ABORTS(timestamp_to_string, "t != NULL")
{
    timestamp_to_string(NULL, buf, sizeof buf);
}

ABORTS(timestamp_to_string, "t->version == TIMESTAMP_VERSION")
{
    timestamp_to_string(&dead_stamp, buf, sizeof buf);
}

ABORTS(timestamp_to_string, "buffer != NULL")
{
    timestamp_to_string(stamp(), NULL, sizeof buf);
}

ABORTS(timestamp_to_string, "bufsize > 17")
{
    timestamp_to_string(stamp(), buf, 17);
}

ABORTS(timestamp_to_string, "time_struct != NULL")
{
    local_time_is_unknown = true;
    timestamp_to_string(stamp(), buf, sizeof buf);
}

ABORTS(timestamp_to_string, "rc > 0")
{
    nothing_can_be_formatted = true;
    timestamp_to_string(stamp(), buf, sizeof buf);
}

ABORTS(timestamp_copy, "t != NULL")
{
    timestamp_copy(NULL, stamp());
}

ABORTS(timestamp_copy, "t->version == TIMESTAMP_VERSION")
{
    timestamp_copy(&dead_stamp, NULL);
}

ABORTS(timestamp_is_null, "t != NULL")
{
    timestamp_is_null(NULL);
}

ABORTS(timestamp_is_null, "t->version == TIMESTAMP_VERSION")
{
    timestamp_is_null(&dead_stamp);
}

ABORTS(timestamp_increment, "t != NULL")
{
    timestamp_increment(NULL, 1);
}

ABORTS(timestamp_increment, "t->version == TIMESTAMP_VERSION")
{
    timestamp_increment(&dead_stamp, 1);
}

ABORTS(binary_serializer_write_timestamp, "timestamp != NULL")
{
    binary_serializer_write_timestamp(NULL, any_writer());
}

ABORTS(binary_serializer_write_timestamp, "timestamp->version == 1")
{
    binary_serializer_write_timestamp(&dead_stamp, any_writer());
}

ABORTS(binary_serializer_read_timestamp, "timestamp != NULL")
{
    binary_serializer_read_timestamp(NULL, empty_reader());
}

ABORTS(binary_serializer_read_timestamp, "timestamp->version == 1")
{
    binary_serializer_read_timestamp(&dead_stamp, empty_reader());
}

FAILS(timestamp_create_current, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(timestamp_create_current(),
                                       timestamp_destroy);
    });
}

FAILS(timestamp_create_null, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(timestamp_create_null(),
                                       timestamp_destroy);
    });
}

FAILS(timestamp_create_from_timeval, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(
            timestamp_create_from_timeval(&some_time), timestamp_destroy);
    });
}

FAILS(timestamp_create_from_string, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(
            timestamp_create_from_string("20070101:00:00:00"),
            timestamp_destroy);
    });
}

FAILS(timestamp_create_from_string, -11)
{
    return contract::last_error_of(timestamp_create_from_string("today"));
}

FAILS(timestamp_init_from_string, -11)
{
    struct timestamp t;
    return timestamp_init_from_string(&t, "yesterday");
}

FAILS(timestamp_init_from_string, -11)
{
    struct timestamp t;
    return timestamp_init_from_string(&t, "20070101-00:00:00");
}

FAILS(timestamp_init_from_string, -11)
{
    struct timestamp t;
    return timestamp_init_from_string(&t, "20071301:00:00:00");
}

FAILS(timestamp_init_from_string, -11)
{
    struct timestamp t;
    return timestamp_init_from_string(&t, "20070100:00:00:00");
}

FAILS(timestamp_init_from_string, -11)
{
    struct timestamp t;
    return timestamp_init_from_string(&t, "20070101:24:00:00");
}

FAILS(timestamp_init_from_string, -11)
{
    struct timestamp t;
    return timestamp_init_from_string(&t, "18991231:23:59:59");
}

FAILS(timestamp_init_from_string, -11)
{
    struct timestamp t;
    return timestamp_init_from_string(&t, "21070101:00:00:00");
}

FAILS(timestamp_copy, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(timestamp_copy(stamp(), NULL),
                                       timestamp_destroy);
    });
}

static int write_stamp(struct writer *writer)
{
    return binary_serializer_write_timestamp(stamp(), writer);
}

static int read_stamp(struct reader *reader)
{
    struct timestamp t;
    timestamp_init_null(&t);
    return binary_serializer_read_timestamp(&t, reader);
}

FAILS(binary_serializer_write_timestamp, -41)
{
    return contract::on_a_full_disk(write_stamp);
}

FAILS(binary_serializer_write_timestamp, -42)
{
    return contract::without_a_compressor(write_stamp);
}

FAILS(binary_serializer_read_timestamp, -6)
{
    return contract::from("\1\0\0\0\1\0\0\0\1"s, read_stamp);
}

FAILS(binary_serializer_read_timestamp, -12)
{
    return contract::from("\2\0\0\0\1\0\0\0\0"s, read_stamp);
}

FAILS(binary_serializer_read_timestamp, -41)
{
    return contract::from_a_damaged_file(read_stamp);
}

FAILS(binary_serializer_read_timestamp, -48)
{
    return contract::from("", read_stamp);
}

FAILS(binary_serializer_read_timestamp, -48)
{
    return contract::from("\1\0\0\0\1\0\0\0"s, read_stamp);
}

// --- timestamp_array ---

ABORTS(timestamp_array_init, "array != NULL")
{
    timestamp_array_init(NULL, null_pointers<struct timestamp>(1), 1);
}

ABORTS(timestamp_array_init, "timestamps != NULL")
{
    struct timestamp_array array;
    timestamp_array_init(&array, NULL, 1);
}

ABORTS(timestamp_array_init, "timestamps != NULL")
{
    timestamp_array_create(NULL, 1);
}

ABORTS(timestamp_array_init, "ntimestamps > 0")
{
    struct timestamp_array array;
    timestamp_array_init(&array, null_pointers<struct timestamp>(1), 0);
}

ABORTS(timestamp_array_init, "ntimestamps > 0")
{
    timestamp_array_create(null_pointers<struct timestamp>(1), 0);
}

ABORTS(timestamp_array_init_empty, "array != NULL")
{
    timestamp_array_init_empty(NULL, 1);
}

ABORTS(timestamp_array_init_empty, "ntimestamps > 0")
{
    struct timestamp_array array;
    timestamp_array_init_empty(&array, 0);
}

ABORTS(timestamp_array_init_empty, "ntimestamps > 0")
{
    timestamp_array_create_empty(0);
}

ABORTS(timestamp_array_init_null, "array != NULL")
{
    timestamp_array_init_null(NULL);
}

ABORTS(timestamp_array_init_dummy, "array != NULL")
{
    timestamp_array_init_dummy(NULL, stamp(), 1);
}

ABORTS(timestamp_array_init_dummy, "start != NULL")
{
    struct timestamp_array array;
    timestamp_array_init_dummy(&array, NULL, 1);
}

ABORTS(timestamp_array_init_dummy, "start != NULL")
{
    timestamp_array_create_dummy(NULL, 1);
}

ABORTS(timestamp_array_init_dummy, "ntimestamps > 0")
{
    struct timestamp_array array;
    timestamp_array_init_dummy(&array, stamp(), 0);
}

ABORTS(timestamp_array_init_dummy, "ntimestamps > 0")
{
    timestamp_array_create_dummy(stamp(), 0);
}

ABORTS(timestamp_copy, "t->version == TIMESTAMP_VERSION")
{
    timestamp_array_create_dummy(&dead_stamp, 1);
}

ABORTS(timestamp_array_destruct, "array != NULL")
{
    timestamp_array_destruct(NULL);
}

ABORTS(timestamp_array_destruct, "array->version == TIMESTAMP_ARRAY_VERSION")
{
    timestamp_array_destruct(&dead_stamps);
}

ABORTS(timestamp_array_destruct, "array->version == TIMESTAMP_ARRAY_VERSION")
{
    struct timestamp_array *array = &dead_stamps;
    timestamp_array_destroy(&array);
}

ABORTS(timestamp_array_destruct, "*array->ref_count > 0")
{
    struct timestamp_array *const array = two_stamps();
    *array->ref_count = 0;
    timestamp_array_destruct(array);
}

ABORTS(timestamp_array_destruct, "array->timestamps != NULL")
{
    struct timestamp_array *const array = two_stamps();
    array->timestamps = NULL;
    timestamp_array_destruct(array);
}

ABORTS(timestamp_array_destroy, "array != NULL")
{
    timestamp_array_destroy(NULL);
}

ABORTS(timestamp_array_destroy, "*array != NULL")
{
    struct timestamp_array *none = NULL;
    timestamp_array_destroy(&none);
}

ABORTS(timestamp_array_copy, "array != NULL")
{
    timestamp_array_copy(NULL);
}

ABORTS(timestamp_array_copy, "array->version == TIMESTAMP_ARRAY_VERSION")
{
    timestamp_array_copy(&dead_stamps);
}

ABORTS(timestamp_array_copy, "*array->ref_count > 0")
{
    struct timestamp_array *const array = two_stamps();
    *array->ref_count = 0;
    timestamp_array_copy(array);
}

ABORTS(timestamp_array_is_equal, "s1 != NULL")
{
    timestamp_array_is_equal(NULL, two_stamps());
}

ABORTS(timestamp_array_is_equal, "s1->version == TIMESTAMP_ARRAY_VERSION")
{
    timestamp_array_is_equal(&dead_stamps, two_stamps());
}

ABORTS(timestamp_array_is_equal, "s2 != NULL")
{
    timestamp_array_is_equal(two_stamps(), NULL);
}

ABORTS(timestamp_array_is_equal, "s2->version == TIMESTAMP_ARRAY_VERSION")
{
    timestamp_array_is_equal(two_stamps(), &dead_stamps);
}

ABORTS(timestamp_array_is_equal, "s1->ntimestamps == s2->ntimestamps")
{
    struct timestamp_array *const array = two_stamps();
    struct timestamp_array *const copy = timestamp_array_copy(array);
    copy->ntimestamps = 1;
    timestamp_array_is_equal(array, copy);
}

ABORTS(timestamp_array_is_equal, "s1->ref_count == s2->ref_count")
{
    struct timestamp_array *const array = two_stamps();
    struct timestamp_array *const copy = timestamp_array_copy(array);
    copy->ref_count = NULL;
    timestamp_array_is_equal(array, copy);
}

ABORTS(timestamp_array_is_equal, "s1->timestamps[i] != NULL")
{
    timestamp_array_is_equal(a_stamp_and_a_gap(), two_stamps());
}

ABORTS(timestamp_array_is_equal, "s2->timestamps[i] != NULL")
{
    timestamp_array_is_equal(two_stamps(), a_stamp_and_a_gap());
}

ABORTS(timestamp_array_get, "array != NULL")
{
    timestamp_array_get(NULL, 0);
}

ABORTS(timestamp_array_get, "array->version == TIMESTAMP_ARRAY_VERSION")
{
    timestamp_array_get(&dead_stamps, 0);
}

ABORTS(timestamp_array_get, "i >= 0")
{
    timestamp_array_get(two_stamps(), -1);
}

ABORTS(timestamp_array_get, "i < array->ntimestamps")
{
    timestamp_array_get(two_stamps(), 2);
}

ABORTS(timestamp_array_set, "array != NULL")
{
    timestamp_array_set(NULL, 0, stamp());
}

ABORTS(timestamp_array_set, "array->version == TIMESTAMP_ARRAY_VERSION")
{
    timestamp_array_set(&dead_stamps, 0, stamp());
}

ABORTS(timestamp_array_set, "t != NULL")
{
    timestamp_array_set(two_stamps(), 0, NULL);
}

ABORTS(timestamp_array_set, "t->version == TIMESTAMP_VERSION")
{
    timestamp_array_set(two_stamps(), 0, &dead_stamp);
}

ABORTS(timestamp_array_set, "i >= 0")
{
    timestamp_array_set(two_stamps(), -1, stamp());
}

ABORTS(timestamp_array_set, "i < array->ntimestamps")
{
    timestamp_array_set(two_stamps(), 2, stamp());
}

ABORTS(timestamp_array_get_timestamps, "array != NULL")
{
    timestamp_array_get_timestamps(NULL);
}

ABORTS(timestamp_array_get_timestamps,
       "array->version == TIMESTAMP_ARRAY_VERSION")
{
    timestamp_array_get_timestamps(&dead_stamps);
}

ABORTS(timestamp_array_get_size, "array != NULL")
{
    timestamp_array_get_size(NULL);
}

ABORTS(timestamp_array_get_size, "array->version == TIMESTAMP_ARRAY_VERSION")
{
    timestamp_array_get_size(&dead_stamps);
}

ABORTS(binary_serializer_write_timestamp_array, "array != NULL")
{
    binary_serializer_write_timestamp_array(NULL, any_writer());
}

ABORTS(binary_serializer_write_timestamp_array, "array->version == 1")
{
    binary_serializer_write_timestamp_array(&dead_stamps, any_writer());
}

ABORTS(binary_serializer_write_timestamp_array, "array->timestamps != NULL")
{
    binary_serializer_write_timestamp_array(timestamp_array_create_null(),
                                            any_writer());
}

ABORTS(binary_serializer_write_timestamp_array, "array->ntimestamps > 0")
{
    struct timestamp_array *const array = two_stamps();
    array->ntimestamps = 0;
    binary_serializer_write_timestamp_array(array, any_writer());
}

ABORTS(binary_serializer_write_timestamp_array, "array->timestamps[i] != NULL")
{
    binary_serializer_write_timestamp_array(a_stamp_and_a_gap(), any_writer());
}

ABORTS(binary_serializer_read_timestamp_array, "array != NULL")
{
    binary_serializer_read_timestamp_array(NULL, empty_reader());
}

ABORTS(binary_serializer_read_timestamp_array, "array->version == 1")
{
    binary_serializer_read_timestamp_array(&dead_stamps, empty_reader());
}

FAILS(timestamp_array_init, -22)
{
    return contract::with_failing_allocation(0, [] {
        struct timestamp_array array;
        struct timestamp *items[1] = {};
        return timestamp_array_init(&array, items, 1);
    });
}

FAILS(timestamp_array_create, -22)
{
    struct timestamp **const items = null_pointers<struct timestamp>(1);
    return contract::with_each_allocation_failing([=] {
        return contract::last_error_of(timestamp_array_create(items, 1),
                                       timestamp_array_destroy);
    });
}

FAILS(timestamp_array_init_empty, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::result_of_init(
            [](struct timestamp_array *array) {
                return timestamp_array_init_empty(array, 2);
            },
            timestamp_array_destruct);
    });
}

FAILS(timestamp_array_create_empty, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(timestamp_array_create_empty(2),
                                       timestamp_array_destroy);
    });
}

FAILS(timestamp_array_create_null, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(timestamp_array_create_null(),
                                       timestamp_array_destroy);
    });
}

FAILS(timestamp_array_init_dummy, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::result_of_init(
            [](struct timestamp_array *array) {
                return timestamp_array_init_dummy(array, stamp(), 2);
            },
            timestamp_array_destruct);
    });
}

FAILS(timestamp_array_create_dummy, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(timestamp_array_create_dummy(stamp(), 2),
                                       timestamp_array_destroy);
    });
}

FAILS(timestamp_array_copy, -22)
{
    struct timestamp_array *array = two_stamps();
    const int result = contract::with_each_allocation_failing([=] {
        return contract::last_error_of(timestamp_array_copy(array),
                                       timestamp_array_destroy);
    });
    timestamp_array_destroy(&array);
    return result;
}

static int write_two_stamps(struct writer *writer)
{
    struct timestamp_array *array = two_stamps();
    const int result = binary_serializer_write_timestamp_array(array, writer);
    timestamp_array_destroy(&array);
    return result;
}

static int read_stamps(struct reader *reader)
{
    struct timestamp_array array;
    timestamp_array_init_null(&array);
    const int result = binary_serializer_read_timestamp_array(&array, reader);
    timestamp_array_destruct(&array);
    return result;
}

FAILS(binary_serializer_write_timestamp_array, -41)
{
    return contract::on_a_full_disk(write_two_stamps);
}

FAILS(binary_serializer_write_timestamp_array, -42)
{
    return contract::without_a_compressor(write_two_stamps);
}

FAILS(binary_serializer_write_timestamp_array, -49)
{
    struct timestamp_array *array = timestamp_array_create_empty(10001);
    test::memory_writer out;
    const int result =
        binary_serializer_write_timestamp_array(array, out.get());
    timestamp_array_destroy(&array);
    return result;
}

FAILS(binary_serializer_read_timestamp_array, -6)
{
    return contract::from("\1\0\0\0\1\1\0\0\0\1\0\0\0\1"s, read_stamps);
}

FAILS(binary_serializer_read_timestamp_array, -12)
{
    return contract::from("\2", read_stamps);
}

FAILS(binary_serializer_read_timestamp_array, -12)
{
    return contract::from("\1\0\0\0\1\2"s, read_stamps);
}

FAILS(binary_serializer_read_timestamp_array, -22)
{
    const std::string stored = contract::written(write_two_stamps);
    return contract::with_each_allocation_failing(
        [&] { return contract::from(stored, read_stamps); });
}

FAILS(binary_serializer_read_timestamp_array, -41)
{
    return contract::from_a_damaged_file(read_stamps);
}

FAILS(binary_serializer_read_timestamp_array, -48)
{
    return contract::from("\1", read_stamps);
}

FAILS(binary_serializer_read_timestamp_array, -48)
{
    return contract::from("\1\0\0\0\1"s, read_stamps);
}

FAILS(binary_serializer_read_timestamp_array, -49)
{
    return contract::from("\1\0\0\0\0"s, read_stamps);
}

FAILS(binary_serializer_read_timestamp_array, -49)
{
    return contract::from("\1\0\0\x27\x11"s, read_stamps);
}
