// What the records of the current and the history buffer promise.
#include "contract/recorder_fixtures.hpp"

using namespace std::string_literals;

namespace {

using contract::creating;
using contract::dead;
using contract::empty_list;
using contract::from;
using contract::from_a_damaged_file;
using contract::list;
using contract::nothing;
using contract::sample;
using contract::stamp;
using contract::two_rows;
using contract::with_each_allocation_failing;
using test::stored_count;
using test::with;

using event_record = struct kor_cb_record_event;
using names_record = struct kor_cb_record_sensor_names;
using values_record = struct kor_cb_record_sensor_values;
using counts_record = struct kor_hb_record_events;
using interval_record = struct kor_hb_record_sensor_values;
using cb_record = struct kor_cb_record;
using hb_record = struct kor_hb_record;

// --- events ---

event_record *event()
{
    return contract::event();
}
event_record *event_without_text()
{
    static event_record *const made = kor_cb_record_event_create_null();
    return made;
}

// --- names ---

names_record *names()
{
    static names_record *const made =
        kor_cb_record_sensor_names_create(sample());
    return made;
}
names_record *names_without_sensors()
{
    static names_record *const made = kor_cb_record_sensor_names_create_null();
    return made;
}
names_record *too_long_names()
{
    static names_record *const made =
        kor_cb_record_sensor_names_create(contract::vector_of_too_long_name());
    return made;
}

// --- values ---

values_record *values()
{
    static values_record *const made =
        kor_cb_record_sensor_values_create(sample());
    return made;
}
// Neither an array of its own nor a vector.
values_record *values_of_nothing()
{
    static values_record *const made =
        kor_cb_record_sensor_values_create_null();
    return made;
}
values_record *values_of_both()
{
    static float readings[2];
    static values_record made = *values();
    made.values = readings;
    return &made;
}
values_record *values_without_count()
{
    static values_record made = *values();
    made.n_sensors = 0;
    return &made;
}
values_record *too_many_values()
{
    static values_record made = *values();
    made.n_sensors = contract::too_many;
    return &made;
}

// --- counts and intervals ---

counts_record *counts()
{
    static counts_record *const made = kor_hb_record_events_create_null();
    return made;
}

interval_record *interval()
{
    static interval_record *const made =
        kor_hb_record_sensor_values_create(stamp(), stamp(), list(), NULL);
    return made;
}
interval_record *interval_without_values()
{
    static interval_record *const made =
        kor_hb_record_sensor_values_create_null();
    return made;
}
interval_record *interval_without_count()
{
    static interval_record made = *interval();
    made.n_sensors = 0;
    return &made;
}
interval_record *too_many_hist_values()
{
    static interval_record made = *interval();
    made.n_sensors = contract::too_many;
    return &made;
}

// --- tagged records ---

template <class Record>
Record *record_of(uint32_t type, void *payload, uint32_t owns_data = 0)
{
    static Record made;
    made.type = type;
    made.data = payload;
    made.owns_data = owns_data;
    return &made;
}
cb_record *record()
{
    return record_of<cb_record>(KOR_CB_RECORD_EVENT, event());
}
hb_record *history_record()
{
    return record_of<hb_record>(KOR_HB_RECORD_SENSOR_NAMES, names());
}
constexpr uint32_t no_type = 9;

// --- stored forms ---

constexpr auto read_event =
    contract::read_new<event_record, kor_cb_record_event_init_null,
                       kor_cb_record_event_destruct,
                       binary_serializer_read_kor_cb_record_event>;
constexpr auto read_names =
    contract::read_new<names_record, kor_cb_record_sensor_names_init_null,
                       kor_cb_record_sensor_names_destruct,
                       binary_serializer_read_kor_cb_record_sensor_names>;
constexpr auto read_history_names =
    contract::read_new<names_record, kor_hb_record_sensor_names_init_null,
                       kor_hb_record_sensor_names_destruct,
                       binary_serializer_read_kor_hb_record_sensor_names>;
constexpr auto read_values =
    contract::read_new<values_record, kor_cb_record_sensor_values_init_null,
                       kor_cb_record_sensor_values_destruct,
                       binary_serializer_read_kor_cb_record_sensor_values>;
constexpr auto read_counts =
    contract::read_new<counts_record, kor_hb_record_events_init_null,
                       kor_hb_record_events_destruct,
                       binary_serializer_read_kor_hb_record_events>;
constexpr auto read_interval =
    contract::read_new<interval_record, kor_hb_record_sensor_values_init_null,
                       kor_hb_record_sensor_values_destruct,
                       binary_serializer_read_kor_hb_record_sensor_values>;
constexpr auto read_record =
    contract::read_new<cb_record, kor_cb_record_init_null,
                       kor_cb_record_destruct,
                       binary_serializer_read_kor_cb_record>;
constexpr auto read_history_record =
    contract::read_new<hb_record, kor_hb_record_init_null,
                       kor_hb_record_destruct,
                       binary_serializer_read_kor_hb_record>;

// Payloads follow the type of their record.
constexpr size_t type_size = 4;
const std::string stored_event = test::stored_event.substr(type_size);
const std::string stored_names = test::stored_names.substr(type_size);
const std::string stored_values = test::stored_sample_0.substr(type_size);
std::string stored_interval()
{
    return contract::written(contract::storing(
        binary_serializer_write_kor_hb_record_sensor_values, interval()));
}

// Where their lengths and counts begin.
constexpr size_t stamp_size = 9;
constexpr size_t text_at = 1 + 4 + stamp_size;
constexpr size_t names_count_at = 1 + stamp_size + 1;
constexpr size_t first_name_at = names_count_at + 4 + 1;
constexpr size_t values_count_at = 1 + stamp_size;
constexpr size_t hist_values_count_at = 1 + 2 * stamp_size;

const std::string too_many_names =
    with(stored_names, names_count_at, stored_count(contract::too_many));

// What `read` gives when memory ends.
template <class Read>
int without_memory(const std::string &stored, Read read)
{
    return with_each_allocation_failing([&] { return from(stored, read); });
}

}  // namespace

// --- events ---

ABORTS_WITH(kor_cb_record_event_init, "rec != NULL", NULL, 1, stamp(), "x");
ABORTS_WITH(kor_cb_record_event_init, "type > 0", dead<event_record>(), 0,
            stamp(), "x");
ABORTS_WITH(kor_cb_record_event_init, "t != NULL", dead<event_record>(), 1,
            NULL, "x");
ABORTS_WITH(kor_cb_record_event_init, "text != NULL", dead<event_record>(), 1,
            stamp(), NULL);
ABORTS_BY(kor_cb_record_event_init, "type > 0",
          kor_cb_record_event_create(0, stamp(), "x"));
ABORTS_BY(kor_cb_record_event_init, "t != NULL",
          kor_cb_record_event_create(1, NULL, "x"));
ABORTS_BY(kor_cb_record_event_init, "text != NULL",
          kor_cb_record_event_create(1, stamp(), NULL));
ABORTS_WITH(kor_cb_record_event_init_null, "rec != NULL", NULL);

ABORTS_WITH(kor_cb_record_event_destruct, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_event_destruct,
            "rec->version == KOR_CB_RECORD_EVENT_VERSION",
            dead<event_record>());
ABORTS_WITH(kor_cb_record_event_destroy, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_event_destroy, "*rec != NULL",
            nothing<event_record>());

ABORTS_WITH(kor_cb_record_event_is_equal, "rec1 != NULL", NULL, event());
ABORTS_WITH(kor_cb_record_event_is_equal,
            "rec1->version == KOR_CB_RECORD_EVENT_VERSION",
            dead<event_record>(), event());
ABORTS_WITH(kor_cb_record_event_is_equal, "rec1->text != NULL",
            event_without_text(), event());
ABORTS_WITH(kor_cb_record_event_is_equal, "rec2 != NULL", event(), NULL);
ABORTS_WITH(kor_cb_record_event_is_equal,
            "rec2->version == KOR_CB_RECORD_EVENT_VERSION", event(),
            dead<event_record>());
ABORTS_WITH(kor_cb_record_event_is_equal, "rec2->text != NULL", event(),
            event_without_text());

ABORTS_WITH(kor_cb_record_event_get_type, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_event_get_type,
            "rec->version == KOR_CB_RECORD_EVENT_VERSION",
            dead<event_record>());
ABORTS_WITH(kor_cb_record_event_get_timestamp, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_event_get_timestamp,
            "rec->version == KOR_CB_RECORD_EVENT_VERSION",
            dead<event_record>());

ABORTS_WITH(binary_serializer_write_kor_cb_record_event, "rec != NULL", NULL,
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_event, "rec->version == 1",
            dead<event_record>(), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_event, "rec->text != NULL",
            event_without_text(), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_event, "writer != NULL",
            event(), NULL);
ABORTS_WITH(binary_serializer_read_kor_cb_record_event, "rec != NULL", NULL,
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_cb_record_event, "rec->version == 1",
            dead<event_record>(), contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_cb_record_event, "reader != NULL",
            event_without_text(), NULL);

FAILS_BY(kor_cb_record_event_init, -22, with_each_allocation_failing([] {
             return contract::result_of_init<event_record>(
                 [](auto *rec) {
                     return kor_cb_record_event_init(rec, 1, stamp(), "x");
                 },
                 kor_cb_record_event_destruct);
         }));
FAILS_BY(kor_cb_record_event_create, -22,
         with_each_allocation_failing(creating(kor_cb_record_event_create,
                                               kor_cb_record_event_destroy, 1u,
                                               stamp(), "x")));
FAILS_BY(kor_cb_record_event_create_null, -22,
         with_each_allocation_failing(creating(kor_cb_record_event_create_null,
                                               kor_cb_record_event_destroy)));
FAILS_TO_STORE(binary_serializer_write_kor_cb_record_event, event());
FAILS_BY(binary_serializer_write_kor_cb_record_event, -49,
         binary_serializer_write_kor_cb_record_event(contract::too_long_event(),
                                                     contract::any_writer()));
FAILS_BY(binary_serializer_read_kor_cb_record_event, -6,
         from(with(stored_event, text_at, stored_count(0)), read_event));
FAILS_BY(binary_serializer_read_kor_cb_record_event, -12,
         from("\2", read_event));
FAILS_BY(binary_serializer_read_kor_cb_record_event, -22,
         without_memory(stored_event, read_event));
FAILS_BY(binary_serializer_read_kor_cb_record_event, -41,
         from_a_damaged_file(read_event));
FAILS_BY(binary_serializer_read_kor_cb_record_event, -43,
         from(stored_event.substr(0, text_at), read_event));
FAILS_BY(binary_serializer_read_kor_cb_record_event, -48,
         from("\1", read_event));

// --- sensor names ---

ABORTS_WITH(kor_cb_record_sensor_names_init, "rec != NULL", NULL, sample());
ABORTS_WITH(kor_cb_record_sensor_names_init, "vector != NULL",
            dead<names_record>(), NULL);
ABORTS_WITH(kor_cb_record_sensor_names_init,
            "matrix_get_number_rows(vector) == 1", dead<names_record>(),
            two_rows());
ABORTS_BY(kor_cb_record_sensor_names_init, "vector != NULL",
          kor_cb_record_sensor_names_create(NULL));
ABORTS_BY(kor_cb_record_sensor_names_init,
          "matrix_get_number_rows(vector) == 1",
          kor_cb_record_sensor_names_create(two_rows()));
ABORTS_WITH(kor_cb_record_sensor_names_init_null, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_names_destruct, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_names_destruct, "rec->version > 0",
            dead<names_record>());
ABORTS_WITH(kor_cb_record_sensor_names_destroy, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_names_destroy, "*rec != NULL",
            nothing<names_record>());
ABORTS_WITH(kor_cb_record_sensor_names_copy, "rec != NULL", NULL, NULL);
ABORTS_WITH(kor_cb_record_sensor_names_copy, "rec->version > 0",
            dead<names_record>(), NULL);
ABORTS_WITH(kor_cb_record_sensor_names_copy, "rec->sensors != NULL",
            names_without_sensors(), NULL);

ABORTS_WITH(kor_cb_record_sensor_names_is_equal, "rec1 != NULL", NULL, names());
ABORTS_WITH(kor_cb_record_sensor_names_is_equal, "rec1->version > 0",
            dead<names_record>(), names());
ABORTS_WITH(kor_cb_record_sensor_names_is_equal, "rec2 != NULL", names(), NULL);
ABORTS_WITH(kor_cb_record_sensor_names_is_equal, "rec2->version > 0", names(),
            dead<names_record>());
ABORTS_WITH(kor_cb_record_sensor_names_are_sensors_equal, "rec1 != NULL", NULL,
            names());
ABORTS_WITH(kor_cb_record_sensor_names_are_sensors_equal, "rec1->version > 0",
            dead<names_record>(), names());
ABORTS_WITH(kor_cb_record_sensor_names_are_sensors_equal, "rec2 != NULL",
            names(), NULL);
ABORTS_WITH(kor_cb_record_sensor_names_are_sensors_equal, "rec2->version > 0",
            names(), dead<names_record>());

ABORTS_WITH(kor_cb_record_sensor_names_get_number_sensors, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_names_get_number_sensors, "rec->version > 0",
            dead<names_record>());
ABORTS_WITH(kor_cb_record_sensor_names_get_sensors, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_names_get_sensors, "rec->version > 0",
            dead<names_record>());
ABORTS_WITH(kor_cb_record_sensor_names_get_timestamp, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_names_get_timestamp, "rec->version > 0",
            dead<names_record>());

ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_names, "rec != NULL",
            NULL, contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_names,
            "rec->version == 1", dead<names_record>(), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_names,
            "rec->sensors != NULL", names_without_sensors(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_names,
            "writer != NULL", names(), NULL);
ABORTS_WITH(binary_serializer_read_kor_cb_record_sensor_names, "rec != NULL",
            NULL, contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_cb_record_sensor_names,
            "rec->version == 1", dead<names_record>(),
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_cb_record_sensor_names, "reader != NULL",
            names_without_sensors(), NULL);

FAILS_BY(kor_cb_record_sensor_names_init, -22,
         with_each_allocation_failing([v = sample()] {
             return contract::result_of_init<names_record>(
                 [v](auto *rec) {
                     return kor_cb_record_sensor_names_init(rec, v);
                 },
                 kor_cb_record_sensor_names_destruct);
         }));
FAILS_BY(kor_cb_record_sensor_names_create, -22,
         with_each_allocation_failing(
             creating(kor_cb_record_sensor_names_create,
                      kor_cb_record_sensor_names_destroy, sample())));
FAILS_BY(kor_cb_record_sensor_names_create_null, -22,
         with_each_allocation_failing(
             creating(kor_cb_record_sensor_names_create_null,
                      kor_cb_record_sensor_names_destroy)));
FAILS_BY(kor_cb_record_sensor_names_copy, -22,
         with_each_allocation_failing(
             creating(kor_cb_record_sensor_names_copy,
                      kor_cb_record_sensor_names_destroy, names(), nullptr)));
FAILS_TO_STORE(binary_serializer_write_kor_cb_record_sensor_names, names());
FAILS_BY(binary_serializer_write_kor_cb_record_sensor_names, -49,
         binary_serializer_write_kor_cb_record_sensor_names(
             too_long_names(), contract::any_writer()));

// The same for both kinds of buffer.
#define FAILS_TO_READ_NAMES(function, read)                                   \
    FAILS_BY(function, -6,                                                    \
             from(with(stored_names, first_name_at, stored_count(0)), read)); \
    FAILS_BY(function, -12, from("\2", read));                                \
    FAILS_BY(function, -22, without_memory(stored_names, read));              \
    FAILS_BY(function, -41, from_a_damaged_file(read));                       \
    FAILS_BY(function, -43,                                                   \
             from(stored_names.substr(0, first_name_at), read));              \
    FAILS_BY(function, -48, from("\1", read));                                \
    FAILS_BY(function, -49, from(too_many_names, read))

FAILS_TO_READ_NAMES(binary_serializer_read_kor_cb_record_sensor_names,
                    read_names);

// --- sensor values ---

ABORTS_WITH(kor_cb_record_sensor_values_init, "rec != NULL", NULL, sample());
ABORTS_WITH(kor_cb_record_sensor_values_init, "vector != NULL",
            dead<values_record>(), NULL);
ABORTS_WITH(kor_cb_record_sensor_values_init,
            "matrix_get_number_rows(vector) == 1", dead<values_record>(),
            two_rows());
ABORTS_BY(kor_cb_record_sensor_values_init, "vector != NULL",
          kor_cb_record_sensor_values_create(NULL));
ABORTS_BY(kor_cb_record_sensor_values_init,
          "matrix_get_number_rows(vector) == 1",
          kor_cb_record_sensor_values_create(two_rows()));
ABORTS_WITH(kor_cb_record_sensor_values_init_null, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_values_destruct, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_values_destruct,
            "rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION",
            dead<values_record>());
ABORTS_WITH(kor_cb_record_sensor_values_destruct, "rec->vector == NULL",
            values_of_both());
ABORTS_WITH(kor_cb_record_sensor_values_destroy, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_values_destroy, "*rec != NULL",
            nothing<values_record>());

ABORTS_WITH(kor_cb_record_sensor_values_is_equal, "rec1 != NULL", NULL,
            values());
ABORTS_WITH(kor_cb_record_sensor_values_is_equal,
            "rec1->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION",
            dead<values_record>(), values());
ABORTS_WITH(kor_cb_record_sensor_values_is_equal,
            "(rec1->values == NULL) ^ (rec1->vector == NULL)",
            values_of_nothing(), values());
ABORTS_WITH(kor_cb_record_sensor_values_is_equal, "rec1->n_sensors > 0",
            values_without_count(), values());
ABORTS_WITH(kor_cb_record_sensor_values_is_equal, "rec2 != NULL", values(),
            NULL);
ABORTS_WITH(kor_cb_record_sensor_values_is_equal,
            "rec2->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION", values(),
            dead<values_record>());
ABORTS_WITH(kor_cb_record_sensor_values_is_equal,
            "(rec2->values == NULL) ^ (rec2->vector == NULL)", values(),
            values_of_both());
ABORTS_WITH(kor_cb_record_sensor_values_is_equal, "rec2->n_sensors > 0",
            values(), values_without_count());

ABORTS_WITH(kor_cb_record_sensor_values_get_number_values, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_values_get_number_values,
            "rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION",
            dead<values_record>());
ABORTS_WITH(kor_cb_record_sensor_values_get_number_values, "rec->n_sensors > 0",
            values_without_count());
ABORTS_WITH(kor_cb_record_sensor_values_get_values, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_values_get_values,
            "rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION",
            dead<values_record>());
ABORTS_WITH(kor_cb_record_sensor_values_get_values,
            "(rec->values == NULL) ^ (rec->vector == NULL)", values_of_both());
ABORTS_WITH(kor_cb_record_sensor_values_get_values, "rec->n_sensors > 0",
            values_without_count());
ABORTS_WITH(kor_cb_record_sensor_values_get_timestamp, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_sensor_values_get_timestamp,
            "rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION",
            dead<values_record>());

ABORTS(row_of, "rec.vector->values != NULL")
{
    values_record *const rec = values();
    rec->vector->values = NULL;
    kor_cb_record_sensor_values_get_values(rec);
}

ABORTS(row_of, "rec.n_sensors <= matrix_get_number_columns(rec.vector)")
{
    values_record *const rec = values();
    ++rec->n_sensors;
    binary_serializer_write_kor_cb_record_sensor_values(rec,
                                                        contract::any_writer());
}

ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_values, "rec != NULL",
            NULL, contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_values,
            "rec->version == 1", dead<values_record>(), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_values,
            "(rec->values == NULL) ^ (rec->vector == NULL)",
            values_of_nothing(), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_values,
            "rec->n_sensors > 0", values_without_count(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record_sensor_values,
            "writer != NULL", values(), NULL);
ABORTS_WITH(binary_serializer_read_kor_cb_record_sensor_values, "rec != NULL",
            NULL, contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_cb_record_sensor_values,
            "rec->version == 1", dead<values_record>(),
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_cb_record_sensor_values,
            "reader != NULL", values_of_nothing(), NULL);

FAILS_BY(kor_cb_record_sensor_values_create, -22,
         with_each_allocation_failing(
             creating(kor_cb_record_sensor_values_create,
                      kor_cb_record_sensor_values_destroy, sample())));
FAILS_BY(kor_cb_record_sensor_values_create_null, -22,
         with_each_allocation_failing(
             creating(kor_cb_record_sensor_values_create_null,
                      kor_cb_record_sensor_values_destroy)));

FAILS(kor_cb_record_sensor_values_get_values, -22)
{
    values_record *const rec = values();
    return contract::with_failing_allocation(0, [=] {
        return contract::last_error_of(
            kor_cb_record_sensor_values_get_values(rec));
    });
}

FAILS_TO_STORE(binary_serializer_write_kor_cb_record_sensor_values, values());
FAILS_BY(binary_serializer_write_kor_cb_record_sensor_values, -49,
         binary_serializer_write_kor_cb_record_sensor_values(
             too_many_values(), contract::any_writer()));
FAILS_BY(binary_serializer_read_kor_cb_record_sensor_values, -6,
         from(with(stored_values, values_count_at, stored_count(0)),
              read_values));
FAILS_BY(binary_serializer_read_kor_cb_record_sensor_values, -6,
         from(with(stored_values, values_count_at,
                   stored_count(contract::too_many)),
              read_values));
FAILS_BY(binary_serializer_read_kor_cb_record_sensor_values, -12,
         from("\2", read_values));
FAILS_BY(binary_serializer_read_kor_cb_record_sensor_values, -22,
         without_memory(stored_values, read_values));
FAILS_BY(binary_serializer_read_kor_cb_record_sensor_values, -41,
         from_a_damaged_file(read_values));
FAILS_BY(binary_serializer_read_kor_cb_record_sensor_values, -48,
         from("\1", read_values));

// --- any record of a current buffer ---

ABORTS_WITH(kor_cb_record_init_null, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_init_sensor_names, "rec != NULL", NULL, names());
ABORTS_WITH(kor_cb_record_init_sensor_names, "names != NULL", dead<cb_record>(),
            NULL);
ABORTS_WITH(kor_cb_record_init_sensor_values, "rec != NULL", NULL, values());
ABORTS_WITH(kor_cb_record_init_sensor_values, "values != NULL",
            dead<cb_record>(), NULL);
ABORTS_WITH(kor_cb_record_init_event, "rec != NULL", NULL, event());
ABORTS_WITH(kor_cb_record_init_event, "event != NULL", dead<cb_record>(), NULL);
ABORTS_WITH(kor_cb_record_destruct, "rec != NULL", NULL);
ABORTS_BY(discard_payload, "kind != NULL",
          kor_cb_record_destruct(record_of<cb_record>(no_type, event(), 1)));
ABORTS_WITH(kor_cb_record_detach, "rec != NULL", NULL);
ABORTS_WITH(kor_cb_record_detach, "rec->type > 0", dead<cb_record>());
ABORTS_WITH(kor_cb_record_detach, "rec->data != NULL",
            record_of<cb_record>(KOR_CB_RECORD_EVENT, NULL));

ABORTS_WITH(binary_serializer_write_kor_cb_record, "rec != NULL", NULL,
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record,
            "rec->type == KOR_CB_RECORD_SENSOR_NAMES || "
            "rec->type == KOR_CB_RECORD_SENSOR_VALUES || "
            "rec->type == KOR_CB_RECORD_EVENT",
            record_of<cb_record>(no_type, event()), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record, "rec->data != NULL",
            record_of<cb_record>(KOR_CB_RECORD_EVENT, NULL),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_cb_record, "writer != NULL", record(),
            NULL);
ABORTS_WITH(binary_serializer_read_kor_cb_record, "rec != NULL", NULL,
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_cb_record, "reader != NULL",
            dead<cb_record>(), NULL);

FAILS_TO_STORE(binary_serializer_write_kor_cb_record, record());
FAILS_BY(binary_serializer_write_kor_cb_record, -49,
         binary_serializer_write_kor_cb_record(
             record_of<cb_record>(KOR_CB_RECORD_EVENT,
                                  contract::too_long_event()),
             contract::any_writer()));
FAILS_BY(binary_serializer_write_kor_cb_record, -49,
         binary_serializer_write_kor_cb_record(
             record_of<cb_record>(KOR_CB_RECORD_SENSOR_VALUES,
                                  too_many_values()),
             contract::any_writer()));

// The names are read alike in both kinds of buffer.
#define FAILS_TO_READ_RECORD(function, read)                                  \
    FAILS_BY(function, -6, from(contract::unknown_record, read));             \
    FAILS_BY(function, -12, from(contract::newer_names, read));               \
    FAILS_BY(function, -22, without_memory(test::stored_names, read));        \
    FAILS_BY(function, -41, from_a_damaged_file(read));                       \
    FAILS_BY(                                                                 \
        function, -43,                                                        \
        from(test::stored_names.substr(0, type_size + first_name_at), read)); \
    FAILS_BY(function, -48, from(contract::cut_names, read));                 \
    FAILS_BY(function, -48,                                                   \
             from(test::stored_names.substr(0, type_size), read));            \
    FAILS_BY(function, -49, from(contract::too_many_names, read))

FAILS_TO_READ_RECORD(binary_serializer_read_kor_cb_record, read_record);

// --- counts of events ---

ABORTS_WITH(kor_hb_record_events_init_null, "rec != NULL", NULL);
ABORTS_WITH(kor_hb_record_events_destruct, "rec != NULL", NULL);
ABORTS_WITH(kor_hb_record_events_destruct,
            "rec->version == KOR_HB_RECORD_EVENTS_VERSION",
            dead<counts_record>());
ABORTS_WITH(kor_hb_record_events_destroy, "rec != NULL", NULL);
ABORTS_WITH(kor_hb_record_events_destroy, "*rec != NULL",
            nothing<counts_record>());
ABORTS_WITH(kor_hb_record_events_copy, "rec != NULL", NULL, NULL);
ABORTS_WITH(kor_hb_record_events_copy,
            "rec->version == KOR_HB_RECORD_EVENTS_VERSION",
            dead<counts_record>(), NULL);
ABORTS_WITH(kor_hb_record_events_is_equal, "rec1 != NULL", NULL, counts());
ABORTS_WITH(kor_hb_record_events_is_equal,
            "rec1->version == KOR_HB_RECORD_EVENTS_VERSION",
            dead<counts_record>(), counts());
ABORTS_WITH(kor_hb_record_events_is_equal, "rec2 != NULL", counts(), NULL);
ABORTS_WITH(kor_hb_record_events_is_equal,
            "rec2->version == KOR_HB_RECORD_EVENTS_VERSION", counts(),
            dead<counts_record>());
ABORTS_WITH(kor_hb_record_events_merge_with, "rec1 != NULL", NULL, counts());
ABORTS_WITH(kor_hb_record_events_merge_with,
            "rec1->version == KOR_HB_RECORD_EVENTS_VERSION",
            dead<counts_record>(), counts());
ABORTS_WITH(kor_hb_record_events_merge_with, "rec2 != NULL", counts(), NULL);
ABORTS_WITH(kor_hb_record_events_merge_with,
            "rec2->version == KOR_HB_RECORD_EVENTS_VERSION", counts(),
            dead<counts_record>());

ABORTS_WITH(binary_serializer_write_kor_hb_record_events, "rec != NULL", NULL,
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record_events, "rec->version == 1",
            dead<counts_record>(), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record_events, "writer != NULL",
            counts(), NULL);
ABORTS_WITH(binary_serializer_read_kor_hb_record_events, "rec != NULL", NULL,
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_hb_record_events, "rec->version == 1",
            dead<counts_record>(), contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_hb_record_events, "reader != NULL",
            counts(), NULL);
ABORTS_BY(read_second_counter, "nread != 0",
          from("\1" + stored_count(7), read_counts));

FAILS_BY(kor_hb_record_events_create_null, -22,
         with_each_allocation_failing(creating(kor_hb_record_events_create_null,
                                               kor_hb_record_events_destroy)));
FAILS_BY(kor_hb_record_events_copy, -22,
         with_each_allocation_failing(creating(kor_hb_record_events_copy,
                                               kor_hb_record_events_destroy,
                                               counts(), nullptr)));
FAILS_TO_STORE(binary_serializer_write_kor_hb_record_events, counts());
FAILS_BY(binary_serializer_read_kor_hb_record_events, -12,
         from("\2", read_counts));
FAILS_BY(binary_serializer_read_kor_hb_record_events, -41,
         from_a_damaged_file(read_counts));
FAILS_BY(binary_serializer_read_kor_hb_record_events, -48,
         from("\1", read_counts));
FAILS_BY(binary_serializer_read_kor_hb_record_events, -48,
         from("\1" + stored_count(7) + stored_count(8), read_counts));

// --- the names of a history ---

ABORTS_WITH(kor_hb_record_sensor_names_init, "rec != NULL", NULL, stamp(),
            list());
ABORTS_WITH(kor_hb_record_sensor_names_init, "t != NULL", dead<names_record>(),
            NULL, list());
ABORTS_WITH(kor_hb_record_sensor_names_init, "list != NULL",
            dead<names_record>(), stamp(), NULL);
ABORTS_BY(kor_hb_record_sensor_names_init, "t != NULL",
          kor_hb_record_sensor_names_create(NULL, list()));
ABORTS_BY(kor_hb_record_sensor_names_init, "list != NULL",
          kor_hb_record_sensor_names_create(stamp(), NULL));

// The rest is passed on, assertions and all.
ABORTS_BY(kor_cb_record_sensor_names_init_null, "rec != NULL",
          kor_hb_record_sensor_names_init_null(NULL));
ABORTS_BY(kor_cb_record_sensor_names_destruct, "rec->version > 0",
          kor_hb_record_sensor_names_destruct(dead<names_record>()));
ABORTS_BY(kor_cb_record_sensor_names_destroy, "*rec != NULL",
          kor_hb_record_sensor_names_destroy(nothing<names_record>()));
ABORTS_BY(kor_cb_record_sensor_names_copy, "rec->sensors != NULL",
          kor_hb_record_sensor_names_copy(names_without_sensors(), NULL));
ABORTS_BY(kor_cb_record_sensor_names_is_equal, "rec2->version > 0",
          kor_hb_record_sensor_names_is_equal(names(), dead<names_record>()));
ABORTS_BY(kor_cb_record_sensor_names_are_sensors_equal, "rec2->version > 0",
          kor_hb_record_sensor_names_are_sensors_equal(names(),
                                                       dead<names_record>()));
ABORTS_BY(kor_cb_record_sensor_names_get_number_sensors, "rec->version > 0",
          kor_hb_record_sensor_names_get_number_sensors(dead<names_record>()));
ABORTS_BY(kor_cb_record_sensor_names_get_sensors, "rec->version > 0",
          kor_hb_record_sensor_names_get_sensors(dead<names_record>()));
ABORTS_BY(kor_cb_record_sensor_names_get_timestamp, "rec->version > 0",
          kor_hb_record_sensor_names_get_timestamp(dead<names_record>()));
ABORTS_BY(binary_serializer_write_kor_cb_record_sensor_names,
          "rec->sensors != NULL",
          binary_serializer_write_kor_hb_record_sensor_names(
              names_without_sensors(), contract::any_writer()));
ABORTS_BY(binary_serializer_read_kor_cb_record_sensor_names,
          "rec->version == 1",
          binary_serializer_read_kor_hb_record_sensor_names(
              dead<names_record>(), contract::empty_reader()));

FAILS_BY(kor_hb_record_sensor_names_init, -6,
         kor_hb_record_sensor_names_init(dead<names_record>(), stamp(),
                                         empty_list()));
FAILS_BY(kor_hb_record_sensor_names_init, -22,
         with_each_allocation_failing([l = list()] {
             return contract::result_of_init<names_record>(
                 [l](auto *rec) {
                     return kor_hb_record_sensor_names_init(rec, stamp(), l);
                 },
                 kor_hb_record_sensor_names_destruct);
         }));
FAILS_BY(kor_hb_record_sensor_names_create, -6,
         contract::last_error_of(
             kor_hb_record_sensor_names_create(stamp(), empty_list())));
FAILS_BY(kor_hb_record_sensor_names_create, -22,
         with_each_allocation_failing(
             creating(kor_hb_record_sensor_names_create,
                      kor_hb_record_sensor_names_destroy, stamp(), list())));
FAILS_BY(kor_hb_record_sensor_names_create_null, -22,
         with_each_allocation_failing(
             creating(kor_hb_record_sensor_names_create_null,
                      kor_hb_record_sensor_names_destroy)));
FAILS_BY(kor_hb_record_sensor_names_copy, -22,
         with_each_allocation_failing(
             creating(kor_hb_record_sensor_names_copy,
                      kor_hb_record_sensor_names_destroy, names(), nullptr)));
FAILS_TO_STORE(binary_serializer_write_kor_hb_record_sensor_names, names());
FAILS_BY(binary_serializer_write_kor_hb_record_sensor_names, -49,
         binary_serializer_write_kor_hb_record_sensor_names(
             too_long_names(), contract::any_writer()));
FAILS_TO_READ_NAMES(binary_serializer_read_kor_hb_record_sensor_names,
                    read_history_names);

// --- intervals ---

ABORTS_WITH(kor_hb_record_sensor_values_init, "rec != NULL", NULL, stamp(),
            stamp(), list(), NULL);
ABORTS_WITH(kor_hb_record_sensor_values_init, "start != NULL",
            dead<interval_record>(), NULL, stamp(), list(), NULL);
ABORTS_WITH(kor_hb_record_sensor_values_init, "end != NULL",
            dead<interval_record>(), stamp(), NULL, list(), NULL);
ABORTS_WITH(kor_hb_record_sensor_values_init, "list != NULL",
            dead<interval_record>(), stamp(), stamp(), NULL, NULL);
ABORTS_WITH(kor_hb_record_sensor_values_init, "rec->n_sensors > 0",
            dead<interval_record>(), stamp(), stamp(), empty_list(), NULL);
ABORTS_BY(kor_hb_record_sensor_values_init, "start != NULL",
          kor_hb_record_sensor_values_create(NULL, stamp(), list(), NULL));
ABORTS_BY(kor_hb_record_sensor_values_init, "end != NULL",
          kor_hb_record_sensor_values_create(stamp(), NULL, list(), NULL));
ABORTS_BY(kor_hb_record_sensor_values_init, "list != NULL",
          kor_hb_record_sensor_values_create(stamp(), stamp(), NULL, NULL));
ABORTS_BY(kor_hb_record_sensor_values_init, "rec->n_sensors > 0",
          kor_hb_record_sensor_values_create(stamp(), stamp(), empty_list(),
                                             NULL));
ABORTS_WITH(kor_hb_record_sensor_values_init_null, "rec != NULL", NULL);
ABORTS_WITH(kor_hb_record_sensor_values_destroy, "rec != NULL", NULL);
ABORTS_WITH(kor_hb_record_sensor_values_destroy, "*rec != NULL",
            nothing<interval_record>());

// What each function asks for that takes nothing but a live record.
#define ASKS_FOR_A_LIVE_INTERVAL(function)                  \
    ABORTS_WITH(function, "rec != NULL", NULL);             \
    ABORTS_WITH(function, "is_known_version(rec->version)", \
                dead<interval_record>())

ASKS_FOR_A_LIVE_INTERVAL(kor_hb_record_sensor_values_destruct);
ASKS_FOR_A_LIVE_INTERVAL(kor_hb_record_sensor_values_get_hist_values);
ASKS_FOR_A_LIVE_INTERVAL(kor_hb_record_sensor_values_get_number_hist_values);
ASKS_FOR_A_LIVE_INTERVAL(kor_hb_record_sensor_values_get_start_timestamp);
ASKS_FOR_A_LIVE_INTERVAL(kor_hb_record_sensor_values_get_end_timestamp);
ASKS_FOR_A_LIVE_INTERVAL(kor_hb_record_sensor_values_get_events);

ABORTS_WITH(kor_hb_record_sensor_values_is_equal, "rec1 != NULL", NULL,
            interval());
ABORTS_WITH(kor_hb_record_sensor_values_is_equal,
            "is_known_version(rec1->version)", dead<interval_record>(),
            interval());
ABORTS_WITH(kor_hb_record_sensor_values_is_equal, "rec1->hvalues != NULL",
            interval_without_values(), interval());
ABORTS_WITH(kor_hb_record_sensor_values_is_equal, "rec1->n_sensors > 0",
            interval_without_count(), interval());
ABORTS_WITH(kor_hb_record_sensor_values_is_equal, "rec2 != NULL", interval(),
            NULL);
ABORTS_WITH(kor_hb_record_sensor_values_is_equal,
            "is_known_version(rec2->version)", interval(),
            dead<interval_record>());
ABORTS_WITH(kor_hb_record_sensor_values_is_equal, "rec2->hvalues != NULL",
            interval(), interval_without_values());
ABORTS_WITH(kor_hb_record_sensor_values_is_equal, "rec2->n_sensors > 0",
            interval(), interval_without_count());

ABORTS_WITH(kor_hb_record_sensor_values_copy, "rec != NULL", NULL, NULL);
ABORTS_WITH(kor_hb_record_sensor_values_copy, "is_known_version(rec->version)",
            dead<interval_record>(), NULL);
ABORTS_WITH(kor_hb_record_sensor_values_copy, "rec->hvalues != NULL",
            interval_without_values(), NULL);
ABORTS_WITH(kor_hb_record_sensor_values_copy, "rec->n_sensors > 0",
            interval_without_count(), NULL);

ABORTS_WITH(binary_serializer_write_kor_hb_record_sensor_values, "rec != NULL",
            NULL, contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record_sensor_values,
            "rec->version == 2", dead<interval_record>(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record_sensor_values,
            "rec->hvalues != NULL", interval_without_values(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record_sensor_values,
            "rec->n_sensors > 0", interval_without_count(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record_sensor_values,
            "writer != NULL", interval(), NULL);
ABORTS_WITH(binary_serializer_read_kor_hb_record_sensor_values, "rec != NULL",
            NULL, contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_hb_record_sensor_values,
            "is_known_version(rec->version)", dead<interval_record>(),
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_hb_record_sensor_values,
            "reader != NULL", interval_without_values(), NULL);

FAILS_BY(kor_hb_record_sensor_values_init, -22,
         with_each_allocation_failing([l = list()] {
             return contract::result_of_init<interval_record>(
                 [l](auto *rec) {
                     return kor_hb_record_sensor_values_init(rec, stamp(),
                                                             stamp(), l, NULL);
                 },
                 kor_hb_record_sensor_values_destruct);
         }));
FAILS_BY(
    kor_hb_record_sensor_values_create, -22,
    with_each_allocation_failing(creating(kor_hb_record_sensor_values_create,
                                          kor_hb_record_sensor_values_destroy,
                                          stamp(), stamp(), list(), nullptr)));
FAILS_BY(kor_hb_record_sensor_values_create_null, -22,
         with_each_allocation_failing(
             creating(kor_hb_record_sensor_values_create_null,
                      kor_hb_record_sensor_values_destroy)));
FAILS_BY(kor_hb_record_sensor_values_copy, -22,
         with_each_allocation_failing(creating(
             kor_hb_record_sensor_values_copy,
             kor_hb_record_sensor_values_destroy, interval(), nullptr)));
FAILS_TO_STORE(binary_serializer_write_kor_hb_record_sensor_values, interval());
FAILS_BY(binary_serializer_write_kor_hb_record_sensor_values, -49,
         binary_serializer_write_kor_hb_record_sensor_values(
             too_many_hist_values(), contract::any_writer()));
FAILS_BY(binary_serializer_read_kor_hb_record_sensor_values, -6,
         from(with(stored_interval(), hist_values_count_at, stored_count(0)),
              read_interval));
FAILS_BY(binary_serializer_read_kor_hb_record_sensor_values, -6,
         from(with(stored_interval(), hist_values_count_at,
                   stored_count(contract::too_many)),
              read_interval));
FAILS_BY(binary_serializer_read_kor_hb_record_sensor_values, -12,
         from("\3", read_interval));
FAILS_BY(binary_serializer_read_kor_hb_record_sensor_values, -22,
         without_memory(stored_interval(), read_interval));
FAILS_BY(binary_serializer_read_kor_hb_record_sensor_values, -41,
         from_a_damaged_file(read_interval));
FAILS_BY(binary_serializer_read_kor_hb_record_sensor_values, -48,
         from("\2", read_interval));

// --- any record of a history buffer ---

ABORTS_WITH(kor_hb_record_init_null, "rec != NULL", NULL);
ABORTS_WITH(kor_hb_record_init_sensor_names, "rec != NULL", NULL, names());
ABORTS_WITH(kor_hb_record_init_sensor_names, "names != NULL", dead<hb_record>(),
            NULL);
ABORTS_WITH(kor_hb_record_init_sensor_values, "rec != NULL", NULL, interval());
ABORTS_WITH(kor_hb_record_init_sensor_values, "values != NULL",
            dead<hb_record>(), NULL);
ABORTS_WITH(kor_hb_record_destruct, "rec != NULL", NULL);
ABORTS_BY(discard_payload, "kind != NULL",
          kor_hb_record_destruct(record_of<hb_record>(no_type, names(), 1)));
ABORTS_WITH(kor_hb_record_detach, "rec != NULL", NULL);
ABORTS_WITH(kor_hb_record_detach, "rec->type > 0", dead<hb_record>());
ABORTS_WITH(kor_hb_record_detach, "rec->data != NULL",
            record_of<hb_record>(KOR_HB_RECORD_SENSOR_NAMES, NULL));

ABORTS_WITH(binary_serializer_write_kor_hb_record, "rec != NULL", NULL,
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record,
            "rec->type == KOR_HB_RECORD_SENSOR_NAMES || "
            "rec->type == KOR_HB_RECORD_SENSOR_VALUES",
            record_of<hb_record>(no_type, names()), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record, "rec->data != NULL",
            record_of<hb_record>(KOR_HB_RECORD_SENSOR_NAMES, NULL),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hb_record, "writer != NULL",
            history_record(), NULL);
ABORTS_WITH(binary_serializer_read_kor_hb_record, "rec != NULL", NULL,
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_hb_record, "reader != NULL",
            dead<hb_record>(), NULL);

FAILS_TO_STORE(binary_serializer_write_kor_hb_record, history_record());
FAILS_BY(binary_serializer_write_kor_hb_record, -49,
         binary_serializer_write_kor_hb_record(
             record_of<hb_record>(KOR_HB_RECORD_SENSOR_VALUES,
                                  too_many_hist_values()),
             contract::any_writer()));
FAILS_TO_READ_RECORD(binary_serializer_read_kor_hb_record, read_history_record);
