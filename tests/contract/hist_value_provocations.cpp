// What interval summaries and lists of them promise.
#include "contract/model_fixtures.hpp"
#include "contract/streams.hpp"
#include "model/hist_value_columns.hpp"

using contract::a_sensor_and_a_gap;
using contract::any_writer;
using contract::empty_reader;
using contract::temp;
using contract::two_sensors;

namespace {

// Dead, as destruction leaves them.
struct hist_value dead_value = {};
struct sensor_array dead_sensors = {};

struct hist_value *value()
{
    static struct hist_value hv;
    hist_value_init(&hv);
    return &hv;
}

struct hist_value_list *empty_list()
{
    static struct hist_value_list list;
    hist_value_list_init(&list);
    return &list;
}

}  // namespace

// --- hist_value ---

ABORTS(hist_value_init, "hv != NULL")
{
    hist_value_init(NULL);
}

ABORTS(hist_value_destruct, "hv != NULL")
{
    hist_value_destruct(NULL);
}

ABORTS(hist_value_destruct, "hv->version == HIST_VALUE_VERSION")
{
    hist_value_destruct(&dead_value);
}

ABORTS(hist_value_destruct, "hv->version == HIST_VALUE_VERSION")
{
    struct hist_value *hv = &dead_value;
    hist_value_destroy(&hv);
}

ABORTS(hist_value_destroy, "hv != NULL")
{
    hist_value_destroy(NULL);
}

ABORTS(hist_value_destroy, "*hv != NULL")
{
    struct hist_value *none = NULL;
    hist_value_destroy(&none);
}

ABORTS(hist_value_is_equal, "hv1 != NULL")
{
    hist_value_is_equal(NULL, value());
}

ABORTS(hist_value_is_equal, "hv1->version == HIST_VALUE_VERSION")
{
    hist_value_is_equal(&dead_value, value());
}

ABORTS(hist_value_is_equal, "hv2 != NULL")
{
    hist_value_is_equal(value(), NULL);
}

ABORTS(hist_value_is_equal, "hv2->version == HIST_VALUE_VERSION")
{
    hist_value_is_equal(value(), &dead_value);
}

ABORTS(hist_value_merge_with, "hv1 != NULL")
{
    hist_value_merge_with(NULL, value());
}

ABORTS(hist_value_merge_with, "hv1->version == HIST_VALUE_VERSION")
{
    hist_value_merge_with(&dead_value, value());
}

ABORTS(hist_value_merge_with, "hv2 != NULL")
{
    hist_value_merge_with(value(), NULL);
}

ABORTS(hist_value_merge_with, "hv2->version == HIST_VALUE_VERSION")
{
    hist_value_merge_with(value(), &dead_value);
}

// The fourth power of a finite reading is infinite here.
ABORTS(float_compare, "fabs(c) <= EPSILON")
{
    struct hist_value hv1;
    hist_value_init(&hv1);
    hist_value_update(&hv1, 6e9f);
    struct hist_value hv2 = hv1;
    hist_value_is_equal(&hv1, &hv2);
}

ABORTS(hist_value_copy, "hv != NULL")
{
    hist_value_copy(NULL, NULL);
}

ABORTS(hist_value_copy, "hv->version == HIST_VALUE_VERSION")
{
    hist_value_copy(&dead_value, NULL);
}

ABORTS(hist_value_update, "hv != NULL")
{
    hist_value_update(NULL, 1);
}

ABORTS(hist_value_update, "hv->version == HIST_VALUE_VERSION")
{
    hist_value_update(&dead_value, 1);
}

ABORTS(binary_serializer_write_hist_value, "hv != NULL")
{
    binary_serializer_write_hist_value(NULL, any_writer());
}

ABORTS(binary_serializer_write_hist_value, "hv->version == 1")
{
    binary_serializer_write_hist_value(&dead_value, any_writer());
}

ABORTS(binary_serializer_read_hist_value, "hv != NULL")
{
    binary_serializer_read_hist_value(NULL, empty_reader());
}

ABORTS(binary_serializer_read_hist_value, "hv->version == 1")
{
    binary_serializer_read_hist_value(&dead_value, empty_reader());
}

FAILS(hist_value_create, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(hist_value_create(), hist_value_destroy);
    });
}

FAILS(hist_value_copy, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(hist_value_copy(value(), NULL),
                                       hist_value_destroy);
    });
}

static int write_value(struct writer *writer)
{
    return binary_serializer_write_hist_value(value(), writer);
}

static int read_value(struct reader *reader)
{
    return binary_serializer_read_hist_value(value(), reader);
}

FAILS(binary_serializer_write_hist_value, -41)
{
    return contract::on_a_full_disk(write_value);
}

FAILS(binary_serializer_write_hist_value, -42)
{
    return contract::without_a_compressor(write_value);
}

FAILS(binary_serializer_read_hist_value, -12)
{
    return contract::from("\2", read_value);
}

FAILS(binary_serializer_read_hist_value, -41)
{
    return contract::from_a_damaged_file(read_value);
}

FAILS(binary_serializer_read_hist_value, -48)
{
    return contract::from("\1", read_value);
}

FAILS(binary_serializer_read_hist_value, -48)
{
    return contract::from("\1" + std::string(35, 'x'), read_value);
}

// --- hist_value_list ---

ABORTS(hist_value_list_init, "list != NULL")
{
    hist_value_list_init(NULL);
}

ABORTS(hist_value_list_destruct, "list != NULL")
{
    hist_value_list_destruct(NULL);
}

ABORTS(hist_value_list_destroy, "list != NULL")
{
    hist_value_list_destroy(NULL);
}

ABORTS(hist_value_list_destroy, "*list != NULL")
{
    struct hist_value_list *none = NULL;
    hist_value_list_destroy(&none);
}

ABORTS(hist_value_list_add_if_not_present, "list != NULL")
{
    hist_value_list_add_if_not_present(NULL, temp());
}

ABORTS(hist_value_list_add_if_not_present, "sensor != NULL")
{
    hist_value_list_add_if_not_present(empty_list(), NULL);
}

ABORTS(hist_value_list_is_empty, "list != NULL")
{
    hist_value_list_is_empty(NULL);
}

ABORTS(hist_value_list_get_size, "list != NULL")
{
    hist_value_list_get_size(NULL);
}

ABORTS(hist_value_list_get_sensor_copies, "list != NULL")
{
    hist_value_list_get_sensor_copies(NULL);
}

ABORTS(hist_value_list_get_hist_value_copies, "list != NULL")
{
    hist_value_list_get_hist_value_copies(NULL);
}

ABORTS(hist_value_list_clear, "list != NULL")
{
    hist_value_list_clear(NULL);
}

ABORTS(hist_value_list_are_sensors_equal, "list != NULL")
{
    hist_value_list_are_sensors_equal(NULL, two_sensors());
}

ABORTS(hist_value_list_are_sensors_equal, "s_array != NULL")
{
    hist_value_list_are_sensors_equal(empty_list(), NULL);
}

ABORTS(hist_value_list_are_sensors_equal,
       "s_array->version == SENSOR_ARRAY_VERSION")
{
    hist_value_list_are_sensors_equal(empty_list(), &dead_sensors);
}

ABORTS(hist_value_list_clear, "list->seq != 0")
{
    struct hist_value_list *const list = empty_list();
    for (int i = 0; i < 65536; ++i) hist_value_list_clear(list);
}

FAILS(hist_value_list_create, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(hist_value_list_create(),
                                       hist_value_list_destroy);
    });
}

// Makes `attempt` with a list of one sensor, without memory.
template <class Attempt>
static int with_a_list_of_one(Attempt attempt)
{
    struct sensor *sensor = temp();
    struct hist_value_list list;
    hist_value_list_init(&list);
    hist_value_list_add_if_not_present(&list, sensor);
    const int result =
        contract::with_each_allocation_failing([&] { return attempt(&list); });
    hist_value_list_destruct(&list);
    sensor_destroy(&sensor);
    return result;
}

FAILS(hist_value_list_add_if_not_present, -22)
{
    struct sensor *other = sensor_create("Speed");
    const int result = with_a_list_of_one([=](auto *list) {
        return contract::last_error_of(
            hist_value_list_add_if_not_present(list, other));
    });
    sensor_destroy(&other);
    return result;
}

FAILS(hist_value_list_get_sensor_copies, -22)
{
    return with_a_list_of_one([](const auto *list) {
        return contract::last_error_of(hist_value_list_get_sensor_copies(list),
                                       sensor_array_destroy);
    });
}

FAILS(hist_value_list_get_hist_value_copies, -22)
{
    return with_a_list_of_one([](const auto *list) {
        struct hist_value *const copies =
            hist_value_list_get_hist_value_copies(list);
        const int result = contract::last_error_of(copies);
        std::free(copies);
        return result;
    });
}

// --- hist_value_columns ---

ABORTS(bind, "list_ == NULL || list_ == &list")
{
    vela::hist_columns columns;
    struct hist_value_list other;
    hist_value_list_init(&other);
    columns.bind(*empty_list(), *two_sensors());
    columns.bind(other, *two_sensors());
}

ABORTS(bind, "sensors.sensors[i] != NULL")
{
    vela::hist_columns columns;
    columns.bind(*empty_list(), *a_sensor_and_a_gap());
}

ABORTS(claim, "i < ncolumns_")
{
    vela::hist_columns columns;
    columns.bind(*empty_list(), *two_sensors());
    columns.claim(2);
}
