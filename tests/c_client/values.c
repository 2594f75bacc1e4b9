/*
 * values.c: errors, memory, numbers, time stamps, sensors, histogram values.
 */
#include <float.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "check.h"
#include "debug.h"
#include "double_util.h"
#include "error.h"
#include "float_util.h"
#include "hist_value.h"
#include "hist_value_list.h"
#include "matrix_value.h"
#include "sensor.h"
#include "sensor_value.h"
#include "sensors.h"
#include "timestamp_array.h"
#include "vela_memory.h"

/* 20070101:00:00:00 in UTC. */
enum { NEW_YEAR = 1167609600 };

static void errors(void)
{
    vela_set_last_error(KOR_ERR_FULL);
    CHECK(vela_get_last_error() == -2);
    vela_set_last_error(KOR_OK);
    CHECK(vela_get_last_error() == 0);
#define CHECK_MEANING(name, value, meaning) \
    CHECK(name == (value));                 \
    CHECK(strcmp(vela_strerror(name), meaning) == 0);
    KOR_ERROR_LIST(CHECK_MEANING)
#undef CHECK_MEANING
    CHECK(vela_strerror(-12345) != NULL);
}

static void memory(void)
{
    unsigned char *zeros = _vela_calloc(4, 8);
    unsigned char sum = 0;
    for (int i = 0; i < 32; ++i) sum |= zeros[i];
    CHECK(sum == 0);
    _vela_free(zeros);

    char *block = _vela_malloc(4);
    memcpy(block, "abc", 4);
    char *copy = _vela_strdup(block);
    char *heaped = vela_heapify(block, 4);
    CHECK(copy != block && strcmp(copy, "abc") == 0);
    CHECK(heaped != block && memcmp(heaped, "abc", 4) == 0);
    _vela_free(heaped);
    _vela_free(copy);
    _vela_free(block);
}

static void seeds(void)
{
    _vela_srand(7, "values.c", 1);
    _vela_srand_clock("values.c", 2);
    FILE *log = fopen("srand.log", "r");
    CHECK(log != NULL);
    if (log != NULL) fclose(log);
}

static void numbers(void)
{
    CHECK(double_compare(1.0, 1.0 + double_epsilon() / 2) == 0);
    CHECK(double_compare(1.0, 2.0) == -1 && double_compare(2.0, 1.0) == 1);
    CHECK(double_compare((double)NAN, 0.0) == -1);
    CHECK(double_is_equal(double_max(), DBL_MAX));
    CHECK(double_min() < 0);
    CHECK(float_compare(1.0f, 1.0f + float_epsilon() / 2) == 0);
    CHECK(float_is_equal(1.0f, 2.0f) == 0);

    CHECK(!sensor_value_is_valid(_vela_invalid_sensor_value));
    CHECK(sensor_value_is_valid(sensor_value_from_string("1.5")));
    CHECK(sensor_value_is_equal(sensor_value_from_string("1.5"), 1.5f));
    CHECK(sensor_value_compare(1.5f, 2.5f) == -1);
    CHECK(double_is_equal(sensor_value_to_double(1.5f), 1.5));

    CHECK(matrix_value_is_equal(matrix_value_from_string("2.5e3 rpm"), 2500));
    CHECK(matrix_value_compare(matrix_value_min(), matrix_value_max()) == -1);
    CHECK(matrix_value_unit_roundoff() < double_epsilon());
}

static void time_stamps(void)
{
    char text[18];
    timestamp t;
    CHECK(timestamp_init_from_string(&t, "20070101:00:00:00") == 0);
    CHECK(t.tv.tv_sec == NEW_YEAR);
    timestamp_increment(&t, 61);
    timestamp_to_string(&t, text, sizeof text);
    CHECK(strcmp(text, "20070101:00:01:01") == 0);
    CHECK(timestamp_create_from_string("no time") == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_BAD_TIMESTAMP);

    struct timeval tv = {NEW_YEAR, 999999};
    timestamp *made = timestamp_create_from_timeval(&tv);
    CHECK(timestamp_compare(made, &t) == -1 && !timestamp_is_equal(made, &t));
    CHECK(timestamp_to_timeval(made, &tv) == &tv);
    CHECK(tv.tv_sec == NEW_YEAR && tv.tv_usec == 0);
    CHECK(timestamp_copy(made, &t) == &t && timestamp_is_equal(made, &t));
    timestamp_destroy(&made);
    CHECK(made == NULL);

    timestamp *now = timestamp_create_current();
    CHECK(timestamp_compare(now, &t) == 1 && !timestamp_is_null(now));
    timestamp_destroy(&now);
    timestamp_destruct(&t);
}

static void time_stamp_arrays(void)
{
    const timestamp start = time_of(NEW_YEAR);
    timestamp_array *array = timestamp_array_create_dummy(&start, 3);
    timestamp_array *copy = timestamp_array_copy(array);
    CHECK(timestamp_array_get_size(copy) == 3);
    CHECK(timestamp_array_get(copy, 2)->tv.tv_sec == NEW_YEAR + 2);
    timestamp_array_set(copy, 0, timestamp_create_null());
    CHECK(timestamp_is_null(timestamp_array_get(array, 0)));
    CHECK(timestamp_array_is_equal(array, copy));
    CHECK(timestamp_array_get_timestamps(array) ==
          timestamp_array_get_timestamps(copy));
    timestamp_array_destroy(&array);
    CHECK(timestamp_array_get(copy, 1)->tv.tv_sec == NEW_YEAR + 1);
    timestamp_array_destroy(&copy);
}

static void interned_sensors(void)
{
    const uint32_t before = _sensors.nsensors;
    sensor *a = sensor_create("AB");
    sensor *b = sensors_get_sensor("AB");
    char name[8];
    CHECK(a == b && _sensors.nsensors == before + 1);
    CHECK(sensor_get_hash_code(a) == 'A' + 'B');
    CHECK(strcmp(sensor_to_string(a, name, sizeof name), "AB") == 0);

    sensor handle;
    CHECK(sensor_init(&handle, "AB") == 0 && sensor_is_equal(&handle, a));
    CHECK(sensor_copy(&handle, NULL) == a);
    sensors_destroy_sensor(a);
    sensor_destruct(&handle);
    sensor_destroy(&b);
    sensor_destroy(&a);
    CHECK(_sensors.nsensors == before);

    sensor **table = sensors_create(3);
    CHECK(table[0] == NULL && table[2] == NULL);
    free(table);
}

static void sensor_arrays(void)
{
    sensor_array *array = two_sensors();
    sensor_array *copy = sensor_array_copy(array);
    sensor_array *other = sensor_array_create_empty(2);
    char name[16];
    CHECK(sensor_array_get_size(copy) == 2);
    sensor_get_name(sensor_array_get(copy, 1), name, sizeof name);
    CHECK(strcmp(name, "FAN0 SPEED") == 0);
    sensor_array_set(other, 0, sensor_create("CPU0 Temp"));
    sensor_array_set(other, 1, sensor_create("FAN1 SPEED"));
    CHECK(sensor_array_is_equal(array, copy));
    CHECK(!sensor_array_is_equal(array, other));
    CHECK(sensor_array_get_sensors(array) == sensor_array_get_sensors(copy));
    sensor_array_destroy(&other);
    sensor_array_destroy(&copy);
    sensor_array_destroy(&array);
    CHECK(array == NULL);
}

static void histogram_values(void)
{
    hist_value *hv = hist_value_create();
    for (int i = 1; i <= 3; ++i) hist_value_update(hv, (sensor_value)i);
    hist_value_update(hv, _vela_invalid_sensor_value);
    CHECK(hv->count == 3);
    CHECK(sensor_value_is_equal(hv->min, 1) &&
          sensor_value_is_equal(hv->max, 3));
    CHECK(sensor_value_is_equal(hv->first, 1));
    CHECK(sensor_value_is_equal(hv->last, 3));
    CHECK(sensor_value_is_equal(hv->sum, 6));
    CHECK(sensor_value_is_equal(hv->sum2, 14));
    CHECK(sensor_value_is_equal(hv->sum3, 36));
    CHECK(sensor_value_is_equal(hv->sum4, 98));
    hist_value *twice = hist_value_copy(hv, NULL);
    CHECK(hist_value_is_equal(hv, twice));
    hist_value_merge_with(twice, hv);
    CHECK(twice->count == 6 && sensor_value_is_equal(twice->sum, 12));
    CHECK(!hist_value_is_equal(hv, twice));
    hist_value_destroy(&twice);
    hist_value_destroy(&hv);
}

static void histogram_lists(void)
{
    hist_value_list *list = hist_value_list_create();
    sensor_array *columns = two_sensors();
    CHECK(hist_value_list_is_empty(list));
    for (int i = 0; i < 2; ++i)
        hist_value_update(hist_value_list_add_if_not_present(
                              list, sensor_array_get(columns, i)),
                          (sensor_value)i);
    CHECK(hist_value_list_get_size(list) == 2);
    sensor_array *held = hist_value_list_get_sensor_copies(list);
    hist_value *values = hist_value_list_get_hist_value_copies(list);
    CHECK(hist_value_list_are_sensors_equal(list, held));
    CHECK(values[0].count == 1 && values[1].count == 1);
    hist_value_list_clear(list);
    CHECK(hist_value_list_is_empty(list));
    CHECK(hist_value_list_get_sensor_copies(list) == NULL);
    free(values);
    sensor_array_destroy(&held);
    sensor_array_destroy(&columns);
    hist_value_list_destroy(&list);
}

void check_values(void)
{
    errors();
    memory();
    seeds();
    numbers();
    time_stamps();
    time_stamp_arrays();
    interned_sensors();
    sensor_arrays();
    histogram_values();
    histogram_lists();
}
