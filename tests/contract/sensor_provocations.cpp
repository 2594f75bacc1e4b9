// What sensors, the registry and arrays of sensors promise.
#include <cmath>

#include "contract/model_fixtures.hpp"
#include "contract/streams.hpp"

using namespace std::string_literals;
using contract::a_sensor_and_a_gap;
using contract::any_writer;
using contract::empty_reader;
using contract::names;
using contract::null_pointers;
using contract::temp;
using contract::two_sensors;

namespace {

char buf[32];
const char *const name_and_null[] = {"Temp", NULL};

// Dead, as destruction leaves them.
struct sensor dead_sensor = {};
struct sensor_array dead_sensors = {};

struct sensors_node *node_of(const struct sensor *canonical)
{
    constexpr uint32_t nbuckets = 32;
    struct sensors_node *node =
        _sensors.buckets[canonical->hash_code % nbuckets];
    while (node->sensor != canonical) node = node->next;
    return node;
}

// Its canonical sensor is not in the registry.
struct sensor *stray_handle()
{
    static struct sensor handle, stranger;
    sensor_init_null(&handle);
    handle.canonical = &stranger;
    return &handle;
}

}  // namespace

// --- sensor ---

ABORTS(sensor_create, "name != NULL")
{
    sensor_create(NULL);
}

ABORTS(sensor_create, "name != NULL")
{
    sensor_create_array(name_and_null, 2);
}

ABORTS(sensor_init, "s != NULL")
{
    sensor_init(NULL, "Temp");
}

ABORTS(sensor_init, "name != NULL")
{
    struct sensor s;
    sensor_init(&s, NULL);
}

ABORTS(sensor_init_null, "s != NULL")
{
    sensor_init_null(NULL);
}

ABORTS(sensor_copy, "s != NULL")
{
    sensor_copy(NULL, NULL);
}

ABORTS(sensor_copy, "s->version == SENSOR_VERSION")
{
    sensor_copy(&dead_sensor, NULL);
}

ABORTS(sensor_copy, "s->canonical != NULL")
{
    sensor_copy(sensor_create_null(), NULL);
}

ABORTS(sensor_destruct, "sensor != NULL")
{
    sensor_destruct(NULL);
}

ABORTS(sensor_destruct, "sensor->version == SENSOR_VERSION")
{
    sensor_destruct(&dead_sensor);
}

ABORTS(sensor_destruct, "sensor->version == SENSOR_VERSION")
{
    struct sensor *sensor = &dead_sensor;
    sensor_destroy(&sensor);
}

ABORTS(sensor_destruct, "sensor->hash_code == 0")
{
    struct sensor *const sensor = sensor_create_null();
    sensor->hash_code = 1;
    sensor_destruct(sensor);
}

ABORTS(sensor_destruct, "sensor->name == NULL")
{
    struct sensor *const sensor = sensor_create_null();
    sensor->name = buf;
    sensor_destruct(sensor);
}

ABORTS(sensor_destroy, "sensor != NULL")
{
    sensor_destroy(NULL);
}

ABORTS(sensor_destroy, "*sensor != NULL")
{
    struct sensor *none = NULL;
    sensor_destroy(&none);
}

ABORTS(sensor_create_array, "names != NULL")
{
    sensor_create_array(NULL, 1);
}

ABORTS(sensor_create_array, "nsensors > 0")
{
    sensor_create_array(names, 0);
}

ABORTS(sensor_is_equal, "s1 != NULL")
{
    sensor_is_equal(NULL, temp());
}

ABORTS(sensor_is_equal, "s1->version == SENSOR_VERSION")
{
    sensor_is_equal(&dead_sensor, temp());
}

ABORTS(sensor_is_equal, "s2 != NULL")
{
    sensor_is_equal(temp(), NULL);
}

ABORTS(sensor_is_equal, "s2->version == SENSOR_VERSION")
{
    sensor_is_equal(temp(), &dead_sensor);
}

ABORTS(sensor_get_name, "s != NULL")
{
    sensor_get_name(NULL, buf, sizeof buf);
}

ABORTS(sensor_get_name, "s->version == SENSOR_VERSION")
{
    sensor_get_name(&dead_sensor, buf, sizeof buf);
}

ABORTS(sensor_get_name, "buf != NULL")
{
    sensor_get_name(temp(), NULL, sizeof buf);
}

ABORTS(sensor_get_name, "s->canonical != NULL")
{
    sensor_get_name(sensor_create_null(), buf, sizeof buf);
}

ABORTS(sensor_to_string, "s != NULL")
{
    sensor_to_string(NULL, buf, sizeof buf);
}

ABORTS(sensor_to_string, "s->version == SENSOR_VERSION")
{
    sensor_to_string(&dead_sensor, buf, sizeof buf);
}

ABORTS(sensor_to_string, "buf != NULL")
{
    sensor_to_string(temp(), NULL, sizeof buf);
}

ABORTS(sensor_to_string, "s->canonical != NULL")
{
    sensor_to_string(sensor_create_null(), buf, sizeof buf);
}

ABORTS(sensor_get_hash_code, "s != NULL")
{
    sensor_get_hash_code(NULL);
}

ABORTS(sensor_get_hash_code, "s->version == SENSOR_VERSION")
{
    sensor_get_hash_code(&dead_sensor);
}

ABORTS(sensor_get_hash_code, "s->canonical != NULL")
{
    sensor_get_hash_code(sensor_create_null());
}

ABORTS(binary_serializer_write_sensor, "sensor != NULL")
{
    binary_serializer_write_sensor(NULL, any_writer());
}

ABORTS(binary_serializer_write_sensor, "sensor->version == 1")
{
    binary_serializer_write_sensor(&dead_sensor, any_writer());
}

ABORTS(binary_serializer_write_sensor, "sensor->canonical != NULL")
{
    binary_serializer_write_sensor(sensor_create_null(), any_writer());
}

ABORTS(binary_serializer_write_sensor, "sensor->name != NULL")
{
    struct sensor *const sensor = temp();
    sensor->name = NULL;
    binary_serializer_write_sensor(sensor, any_writer());
}

ABORTS(binary_serializer_read_sensor, "sensor != NULL")
{
    binary_serializer_read_sensor(NULL, empty_reader());
}

FAILS(sensor_create, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(sensor_create("Temp"), sensor_destroy);
    });
}

FAILS(sensor_init, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::result_of_init(
            [](struct sensor *s) { return sensor_init(s, "Temp"); },
            sensor_destruct);
    });
}

FAILS(sensor_create_null, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(sensor_create_null(), sensor_destroy);
    });
}

FAILS(sensor_create_array, -22)
{
    return contract::with_each_allocation_failing([] {
        struct sensor **const sensors = sensor_create_array(names, 2);
        if (sensors == nullptr) return vela_get_last_error();
        sensor_destroy(&sensors[0]);
        sensor_destroy(&sensors[1]);
        std::free(sensors);
        return 1;
    });
}

static int write_sensor(const char *name, struct writer *writer)
{
    struct sensor *sensor = sensor_create(name);
    const int result = binary_serializer_write_sensor(sensor, writer);
    sensor_destroy(&sensor);
    return result;
}

static int write_temp(struct writer *writer)
{
    return write_sensor("Temp", writer);
}

static int read_sensor(struct reader *reader)
{
    struct sensor *sensor = nullptr;
    const int result = binary_serializer_read_sensor(&sensor, reader);
    if (sensor != nullptr) sensor_destroy(&sensor);
    return result;
}

FAILS(binary_serializer_write_sensor, -41)
{
    return contract::on_a_full_disk(write_temp);
}

FAILS(binary_serializer_write_sensor, -42)
{
    return contract::without_a_compressor(write_temp);
}

FAILS(binary_serializer_write_sensor, -49)
{
    const std::string long_name(10001, 'x');
    test::memory_writer out;
    return write_sensor(long_name.c_str(), out.get());
}

FAILS(binary_serializer_read_sensor, -6)
{
    return contract::from("\1\0\0\0\0"s, read_sensor);
}

FAILS(binary_serializer_read_sensor, -6)
{
    return contract::from("\1\0\0\0\2a\0"s, read_sensor);
}

FAILS(binary_serializer_read_sensor, -12)
{
    return contract::from("\2", read_sensor);
}

FAILS(binary_serializer_read_sensor, -22)
{
    const std::string stored = contract::written(write_temp);
    return contract::with_each_allocation_failing(
        [&] { return contract::from(stored, read_sensor); });
}

FAILS(binary_serializer_read_sensor, -41)
{
    return contract::from_a_damaged_file(read_sensor);
}

FAILS(binary_serializer_read_sensor, -43)
{
    return contract::from("\1", read_sensor);
}

FAILS(binary_serializer_read_sensor, -48)
{
    return contract::from("\1\0\0"s, read_sensor);
}

FAILS(binary_serializer_read_sensor, -48)
{
    return contract::from("\1\0\0\0\4Te"s, read_sensor);
}

// --- sensors ---

ABORTS(sensors_get_sensor, "name != NULL")
{
    sensors_get_sensor(NULL);
}

ABORTS(sensors_get_sensor, "node->sensor != NULL")
{
    node_of(temp())->sensor = NULL;
    sensors_get_sensor("Temp");
}

ABORTS(sensors_get_sensor, "node->nrefs > 0")
{
    node_of(temp())->nrefs = 0;
    sensors_get_sensor("Temp");
}

ABORTS(sensors_destroy_sensor, "sensor != NULL")
{
    sensors_destroy_sensor(NULL);
}

ABORTS(sensors_destroy_sensor, "sensor->canonical != NULL")
{
    sensors_destroy_sensor(sensor_create_null());
}

ABORTS(sensors_destroy_sensor, "_sensors.buckets != NULL")
{
    sensors_destroy_sensor(stray_handle());
}

ABORTS(sensors_destroy_sensor, "node != NULL")
{
    temp();
    sensors_destroy_sensor(stray_handle());
}

ABORTS(sensors_destroy_sensor, "node->nrefs > 0")
{
    struct sensor *const sensor = temp();
    node_of(sensor)->nrefs = 0;
    sensors_destroy_sensor(sensor);
}

ABORTS(_sensors_increment_ref_count, "sensor != NULL")
{
    _sensors_increment_ref_count(NULL);
}

ABORTS(_sensors_increment_ref_count, "sensor->canonical != NULL")
{
    _sensors_increment_ref_count(sensor_create_null());
}

ABORTS(_sensors_increment_ref_count, "_sensors.buckets != NULL")
{
    _sensors_increment_ref_count(stray_handle());
}

ABORTS(_sensors_increment_ref_count, "node != NULL")
{
    temp();
    _sensors_increment_ref_count(stray_handle());
}

ABORTS(_sensors_increment_ref_count, "node->nrefs > 0")
{
    struct sensor *const sensor = temp();
    node_of(sensor)->nrefs = 0;
    _sensors_increment_ref_count(sensor);
}

ABORTS(sensors_destroy_sensor, "_sensors.nsensors > 0")
{
    struct sensor *const sensor = temp();
    _sensors.nsensors = 0;
    sensors_destroy_sensor(sensor);
}

ABORTS(sensors_destroy_sensor, "_sensor_is_canonical(sensor)")
{
    struct sensor handle;
    sensor_init(&handle, "Temp");
    handle.canonical->canonical = &handle;
    sensors_destroy_sensor(&handle);
}

FAILS(sensors_get_sensor, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(sensors_get_sensor("Temp"),
                                       sensor_destroy);
    });
}

FAILS(sensors_create, -22)
{
    return contract::with_each_allocation_failing([] {
        void *const block = sensors_create(3);
        const int result = contract::last_error_of(block);
        std::free(block);
        return result;
    });
}

// --- sensor_array ---

ABORTS(sensor_array_init, "array != NULL")
{
    sensor_array_init(NULL, null_pointers<struct sensor>(1), 1);
}

ABORTS(sensor_array_init, "sensors != NULL")
{
    struct sensor_array array;
    sensor_array_init(&array, NULL, 1);
}

ABORTS(sensor_array_init, "sensors != NULL")
{
    sensor_array_create(NULL, 1);
}

ABORTS(sensor_array_init, "nsensors > 0")
{
    struct sensor_array array;
    sensor_array_init(&array, null_pointers<struct sensor>(1), 0);
}

ABORTS(sensor_array_init, "nsensors > 0")
{
    sensor_array_create(null_pointers<struct sensor>(1), 0);
}

ABORTS(sensor_array_init_empty, "array != NULL")
{
    sensor_array_init_empty(NULL, 1);
}

ABORTS(sensor_array_init_empty, "nsensors > 0")
{
    struct sensor_array array;
    sensor_array_init_empty(&array, 0);
}

ABORTS(sensor_array_init_empty, "nsensors > 0")
{
    sensor_array_create_empty(0);
}

ABORTS(sensor_array_init_null, "array != NULL")
{
    sensor_array_init_null(NULL);
}

ABORTS(sensor_array_init_from_names, "array != NULL")
{
    sensor_array_init_from_names(NULL, names, 2);
}

ABORTS(sensor_array_init_from_names, "names != NULL")
{
    struct sensor_array array;
    sensor_array_init_from_names(&array, NULL, 2);
}

ABORTS(sensor_array_init_from_names, "names != NULL")
{
    sensor_array_create_from_names(NULL, 2);
}

ABORTS(sensor_array_init_from_names, "names[i] != NULL")
{
    sensor_array_create_from_names(name_and_null, 2);
}

ABORTS(sensor_array_init_empty, "nsensors > 0")
{
    sensor_array_create_from_names(names, 0);
}

ABORTS(sensor_array_destruct, "array != NULL")
{
    sensor_array_destruct(NULL);
}

ABORTS(sensor_array_destruct, "array->version == SENSOR_ARRAY_VERSION")
{
    sensor_array_destruct(&dead_sensors);
}

ABORTS(sensor_array_destruct, "*array->ref_count > 0")
{
    struct sensor_array *const array = two_sensors();
    *array->ref_count = 0;
    sensor_array_destruct(array);
}

ABORTS(sensor_array_destruct, "array->sensors != NULL")
{
    struct sensor_array *const array = two_sensors();
    array->sensors = NULL;
    sensor_array_destruct(array);
}

ABORTS(sensor_array_destroy, "array != NULL")
{
    sensor_array_destroy(NULL);
}

ABORTS(sensor_array_destroy, "*array != NULL")
{
    struct sensor_array *none = NULL;
    sensor_array_destroy(&none);
}

ABORTS(sensor_array_destroy, "(*array)->version == SENSOR_ARRAY_VERSION")
{
    struct sensor_array *array = &dead_sensors;
    sensor_array_destroy(&array);
}

ABORTS(sensor_array_copy, "array != NULL")
{
    sensor_array_copy(NULL);
}

ABORTS(sensor_array_copy, "array->version == SENSOR_ARRAY_VERSION")
{
    sensor_array_copy(&dead_sensors);
}

ABORTS(sensor_array_copy, "*array->ref_count > 0")
{
    struct sensor_array *const array = two_sensors();
    *array->ref_count = 0;
    sensor_array_copy(array);
}

ABORTS(sensor_array_is_equal, "s1 != NULL")
{
    sensor_array_is_equal(NULL, two_sensors());
}

ABORTS(sensor_array_is_equal, "s1->version == SENSOR_ARRAY_VERSION")
{
    sensor_array_is_equal(&dead_sensors, two_sensors());
}

ABORTS(sensor_array_is_equal, "s2 != NULL")
{
    sensor_array_is_equal(two_sensors(), NULL);
}

ABORTS(sensor_array_is_equal, "s2->version == SENSOR_ARRAY_VERSION")
{
    sensor_array_is_equal(two_sensors(), &dead_sensors);
}

ABORTS(sensor_array_is_equal, "s1->nsensors == s2->nsensors")
{
    struct sensor_array *const array = two_sensors();
    struct sensor_array *const copy = sensor_array_copy(array);
    copy->nsensors = 1;
    sensor_array_is_equal(array, copy);
}

ABORTS(sensor_array_is_equal, "s1->ref_count == s2->ref_count")
{
    struct sensor_array *const array = two_sensors();
    struct sensor_array *const copy = sensor_array_copy(array);
    copy->ref_count = NULL;
    sensor_array_is_equal(array, copy);
}

ABORTS(sensor_array_is_equal, "s1->sensors[i] != NULL")
{
    sensor_array_is_equal(a_sensor_and_a_gap(), two_sensors());
}

ABORTS(sensor_array_is_equal, "s2->sensors[i] != NULL")
{
    sensor_array_is_equal(two_sensors(), a_sensor_and_a_gap());
}

ABORTS(sensor_array_get, "array != NULL")
{
    sensor_array_get(NULL, 0);
}

ABORTS(sensor_array_get, "array->version == SENSOR_ARRAY_VERSION")
{
    sensor_array_get(&dead_sensors, 0);
}

ABORTS(sensor_array_get, "i >= 0")
{
    sensor_array_get(two_sensors(), -1);
}

ABORTS(sensor_array_get, "i < array->nsensors")
{
    sensor_array_get(two_sensors(), 2);
}

ABORTS(sensor_array_set, "array != NULL")
{
    sensor_array_set(NULL, 0, temp());
}

ABORTS(sensor_array_set, "array->version == SENSOR_ARRAY_VERSION")
{
    sensor_array_set(&dead_sensors, 0, temp());
}

ABORTS(sensor_array_set, "i >= 0")
{
    sensor_array_set(two_sensors(), -1, temp());
}

ABORTS(sensor_array_set, "i < array->nsensors")
{
    sensor_array_set(two_sensors(), 2, temp());
}

ABORTS(sensor_array_get_sensors, "array != NULL")
{
    sensor_array_get_sensors(NULL);
}

ABORTS(sensor_array_get_sensors, "array->version == SENSOR_ARRAY_VERSION")
{
    sensor_array_get_sensors(&dead_sensors);
}

ABORTS(sensor_array_get_size, "array != NULL")
{
    sensor_array_get_size(NULL);
}

ABORTS(sensor_array_get_size, "array->version == SENSOR_ARRAY_VERSION")
{
    sensor_array_get_size(&dead_sensors);
}

ABORTS(binary_serializer_write_sensor_array, "array != NULL")
{
    binary_serializer_write_sensor_array(NULL, any_writer());
}

ABORTS(binary_serializer_write_sensor_array, "array->version == 1")
{
    binary_serializer_write_sensor_array(&dead_sensors, any_writer());
}

ABORTS(binary_serializer_write_sensor_array, "array->sensors != NULL")
{
    binary_serializer_write_sensor_array(sensor_array_create_null(),
                                         any_writer());
}

ABORTS(binary_serializer_write_sensor_array, "array->nsensors > 0")
{
    struct sensor_array *const array = two_sensors();
    array->nsensors = 0;
    binary_serializer_write_sensor_array(array, any_writer());
}

ABORTS(binary_serializer_write_sensor_array, "array->sensors[i] != NULL")
{
    binary_serializer_write_sensor_array(a_sensor_and_a_gap(), any_writer());
}

ABORTS(binary_serializer_read_sensor_array, "array != NULL")
{
    binary_serializer_read_sensor_array(NULL, empty_reader());
}

ABORTS(binary_serializer_read_sensor_array, "array->version == 1")
{
    binary_serializer_read_sensor_array(&dead_sensors, empty_reader());
}

FAILS(sensor_array_init, -22)
{
    return contract::with_failing_allocation(0, [] {
        struct sensor_array array;
        struct sensor *items[1] = {};
        return sensor_array_init(&array, items, 1);
    });
}

FAILS(sensor_array_create, -22)
{
    struct sensor **const items = null_pointers<struct sensor>(1);
    return contract::with_each_allocation_failing([=] {
        return contract::last_error_of(sensor_array_create(items, 1),
                                       sensor_array_destroy);
    });
}

FAILS(sensor_array_init_empty, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::result_of_init(
            [](struct sensor_array *array) {
                return sensor_array_init_empty(array, 2);
            },
            sensor_array_destruct);
    });
}

FAILS(sensor_array_create_empty, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(sensor_array_create_empty(2),
                                       sensor_array_destroy);
    });
}

FAILS(sensor_array_create_null, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(sensor_array_create_null(),
                                       sensor_array_destroy);
    });
}

// A failure leaves a partly filled array.
FAILS(sensor_array_init_from_names, -22)
{
    return contract::with_each_allocation_failing([] {
        struct sensor_array array;
        const int result = sensor_array_init_from_names(&array, names, 2);
        sensor_array_destruct(&array);
        return result;
    });
}

FAILS(sensor_array_create_from_names, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(sensor_array_create_from_names(names, 2),
                                       sensor_array_destroy);
    });
}

FAILS(sensor_array_copy, -22)
{
    struct sensor_array *array = two_sensors();
    const int result = contract::with_each_allocation_failing([=] {
        return contract::last_error_of(sensor_array_copy(array),
                                       sensor_array_destroy);
    });
    sensor_array_destroy(&array);
    return result;
}

static int write_two_sensors(struct writer *writer)
{
    struct sensor_array *array = two_sensors();
    const int result = binary_serializer_write_sensor_array(array, writer);
    sensor_array_destroy(&array);
    return result;
}

static int read_sensors(struct reader *reader)
{
    struct sensor_array array;
    sensor_array_init_null(&array);
    const int result = binary_serializer_read_sensor_array(&array, reader);
    sensor_array_destruct(&array);
    return result;
}

FAILS(binary_serializer_write_sensor_array, -41)
{
    return contract::on_a_full_disk(write_two_sensors);
}

FAILS(binary_serializer_write_sensor_array, -42)
{
    return contract::without_a_compressor(write_two_sensors);
}

FAILS(binary_serializer_write_sensor_array, -49)
{
    struct sensor_array *array = sensor_array_create_empty(10001);
    test::memory_writer out;
    const int result = binary_serializer_write_sensor_array(array, out.get());
    sensor_array_destroy(&array);
    return result;
}

FAILS(binary_serializer_write_sensor_array, -49)
{
    const std::string long_name(10001, 'x');
    const char *const one_name[] = {long_name.c_str()};
    struct sensor_array *array = sensor_array_create_from_names(one_name, 1);
    test::memory_writer out;
    const int result = binary_serializer_write_sensor_array(array, out.get());
    sensor_array_destroy(&array);
    return result;
}

FAILS(binary_serializer_read_sensor_array, -6)
{
    return contract::from("\1\0\0\0\1\1\0\0\0\0"s, read_sensors);
}

FAILS(binary_serializer_read_sensor_array, -12)
{
    return contract::from("\2", read_sensors);
}

FAILS(binary_serializer_read_sensor_array, -12)
{
    return contract::from("\1\0\0\0\1\2"s, read_sensors);
}

FAILS(binary_serializer_read_sensor_array, -22)
{
    const std::string stored = contract::written(write_two_sensors);
    return contract::with_each_allocation_failing(
        [&] { return contract::from(stored, read_sensors); });
}

FAILS(binary_serializer_read_sensor_array, -41)
{
    return contract::from_a_damaged_file(read_sensors);
}

FAILS(binary_serializer_read_sensor_array, -43)
{
    return contract::from("\1\0\0\0\1\1"s, read_sensors);
}

FAILS(binary_serializer_read_sensor_array, -48)
{
    return contract::from("\1", read_sensors);
}

FAILS(binary_serializer_read_sensor_array, -48)
{
    return contract::from("\1\0\0\0\1"s, read_sensors);
}

FAILS(binary_serializer_read_sensor_array, -49)
{
    return contract::from("\1\0\0\0\0"s, read_sensors);
}

FAILS(binary_serializer_read_sensor_array, -49)
{
    return contract::from("\1\0\0\x27\x11"s, read_sensors);
}

// --- sensor_value ---

ABORTS(sensor_value_from_string, "str != NULL")
{
    sensor_value_from_string(NULL);
}

ABORTS(float_compare, "fabs(c) <= EPSILON")
{
    sensor_value_compare(HUGE_VALF, HUGE_VALF);
}

ABORTS(float_compare, "fabs(c) <= EPSILON")
{
    sensor_value_is_equal(HUGE_VALF, HUGE_VALF);
}
