// sensor_array: the sensors of a matrix's columns.
#include "sensor_array.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "model/sensor_internal.hpp"
#include "model/shared_array.hpp"

namespace {

int write_element(struct sensor *const *sensor, struct writer *out)
{
    return binary_serializer_write_sensor(*sensor, out);
}

struct sensor_layout {
    using array = struct sensor_array;
    using element = struct sensor;
    static constexpr auto count = &array::nsensors;
    static constexpr auto elements = &array::sensors;
    static constexpr uint8_t version = SENSOR_ARRAY_VERSION;
    static constexpr auto destroy = sensor_destroy;
    static bool counts_references(const element &sensor)
    {
        return _sensor_is_canonical(&sensor);
    }
    static constexpr vela::serializer<element *> element_form{
        write_element, binary_serializer_read_sensor};
};
using sensors_of = vela::shared_array<sensor_layout>;

}  // namespace

int sensor_array_init(struct sensor_array *array, struct sensor **sensors,
                      uint32_t nsensors)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(sensors != NULL);
    KOR_ASSERT(nsensors > 0);
    return sensors_of::adopt(*array, sensors, nsensors);
}

struct sensor_array *sensor_array_create(struct sensor **sensors,
                                         uint32_t nsensors)
{
    return vela::create<struct sensor_array>([=](auto *array) {
        return sensor_array_init(array, sensors, nsensors);
    });
}

int sensor_array_init_empty(struct sensor_array *array, uint32_t nsensors)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(nsensors > 0);
    return sensors_of::adopt_empty(*array, nsensors);
}

struct sensor_array *sensor_array_create_empty(uint32_t nsensors)
{
    return vela::create<struct sensor_array>(
        [=](auto *array) { return sensor_array_init_empty(array, nsensors); });
}

int sensor_array_init_null(struct sensor_array *array)
{
    KOR_ASSERT(array != NULL);
    sensors_of::make_null(*array);
    return KOR_OK;
}

struct sensor_array *sensor_array_create_null(void)
{
    return vela::create<struct sensor_array>(sensor_array_init_null);
}

int sensor_array_init_from_names(struct sensor_array *array,
                                 const char *const *names, uint32_t nsensors)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(names != NULL);
    const int result = sensor_array_init_empty(array, nsensors);
    if (result < 0) return result;
    for (uint32_t i = 0; i < nsensors; ++i) {
        KOR_ASSERT(names[i] != NULL);
        array->sensors[i] = sensor_create(names[i]);
        if (array->sensors[i] == nullptr) {
            KOR_ASSERT(vela_get_last_error() < 0);
            return vela_get_last_error();
        }
    }
    return KOR_OK;
}

struct sensor_array *sensor_array_create_from_names(const char *const *names,
                                                    uint32_t nsensors)
{
    return vela::create<struct sensor_array>([=](auto *array) {
        const int result = sensor_array_init_from_names(array, names, nsensors);
        if (result < 0) sensor_array_destruct(array);
        return result;
    });
}

void sensor_array_destruct(struct sensor_array *array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == SENSOR_ARRAY_VERSION);
    if (array->ref_count != nullptr) {
        KOR_ASSERT(*array->ref_count > 0);
        KOR_ASSERT(array->sensors != NULL);
    }
    sensors_of::release(*array);
}

void sensor_array_destroy(struct sensor_array **array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(*array != NULL);
    KOR_ASSERT((*array)->version == SENSOR_ARRAY_VERSION);
    vela::destroy(array, sensor_array_destruct);
}

struct sensor_array *sensor_array_copy(const struct sensor_array *array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == SENSOR_ARRAY_VERSION);
    if (array->ref_count != nullptr) KOR_ASSERT(*array->ref_count > 0);
    return vela::create<struct sensor_array>([array](auto *copy) {
        sensors_of::share(*array, *copy);
        return KOR_OK;
    });
}

int sensor_array_is_equal(const struct sensor_array *s1,
                          const struct sensor_array *s2)
{
    KOR_ASSERT(s1 != NULL);
    KOR_ASSERT(s1->version == SENSOR_ARRAY_VERSION);
    KOR_ASSERT(s2 != NULL);
    KOR_ASSERT(s2->version == SENSOR_ARRAY_VERSION);
    if (s1->sensors == s2->sensors) {
        KOR_ASSERT(s1->nsensors == s2->nsensors);
        KOR_ASSERT(s1->ref_count == s2->ref_count);
        return 1;
    }
    if (s1->nsensors != s2->nsensors) return 0;
    if (s1->sensors == nullptr || s2->sensors == nullptr) return 0;
    for (uint32_t i = 0; i < s1->nsensors; ++i) {
        KOR_ASSERT(s1->sensors[i] != NULL);
        KOR_ASSERT(s2->sensors[i] != NULL);
        // Most elements are the canonical sensor itself: no call for those.
        if (s1->sensors[i] == s2->sensors[i]) continue;
        if (!sensor_is_equal(s1->sensors[i], s2->sensors[i])) return 0;
    }
    return 1;
}

struct sensor *sensor_array_get(const struct sensor_array *array, int i)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == SENSOR_ARRAY_VERSION);
    KOR_ASSERT(i >= 0);
    KOR_ASSERT(i < array->nsensors);
    return array->sensors[i];
}

struct sensor *sensor_array_set(struct sensor_array *array, int i,
                                struct sensor *s)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == SENSOR_ARRAY_VERSION);
    KOR_ASSERT(i >= 0);
    KOR_ASSERT(i < array->nsensors);
    return sensors_of::replace(*array, i, s);
}

struct sensor **sensor_array_get_sensors(const struct sensor_array *array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == SENSOR_ARRAY_VERSION);
    return array->sensors;
}

uint32_t sensor_array_get_size(const struct sensor_array *array)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == SENSOR_ARRAY_VERSION);
    return array->nsensors;
}

int binary_serializer_write_sensor_array(const struct sensor_array *array,
                                         struct writer *writer)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == 1);
    KOR_ASSERT(array->sensors != NULL);
    KOR_ASSERT(array->nsensors > 0);
    if (array->nsensors > vela::max_serialized_count) return KOR_ERR_TOO_LONG;
    for (uint32_t i = 0; i < array->nsensors; ++i)
        KOR_ASSERT(array->sensors[i] != NULL);
    return sensors_of::write(*array, writer);
}

int binary_serializer_read_sensor_array(struct sensor_array *array,
                                        struct reader *reader)
{
    KOR_ASSERT(array != NULL);
    KOR_ASSERT(array->version == 1);
    return sensors_of::read(*array, reader);
}
