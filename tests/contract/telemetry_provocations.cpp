// What views and telemetry matrices promise, and the stored form of all kinds.
#include "contract/matrix_fixtures.hpp"
#include "contract/streams.hpp"

using contract::any_writer;
using contract::beyond;
using contract::bodiless;
using contract::both;
using contract::changed;
using contract::columnless;
using contract::dead;
using contract::empty_body;
using contract::empty_reader;
using contract::first;
using contract::names;
using contract::plain;
using contract::rowless;
using contract::stamp;
using contract::telemetry;
using contract::transposed;
using contract::two_sensors;
using contract::two_stamps;
using contract::typeless;
using contract::valueless;
using contract::vector;

using namespace std::string_literals;

namespace {

struct matrix *no_matrix = NULL;

void **pointer_to(void *inner)
{
    static void *pointer;
    pointer = inner;
    return &pointer;
}

// Calls an operation of a matrix on its own body.
template <class Slot, class... Args>
auto on_body(struct matrix *m, Slot slot, Args... args)
{
    return (m->*slot)(m->matrix, args...);
}

struct matrix *view_of_nothing(uint8_t version)
{
    struct matrix *const m = bodiless(MATRIX_TYPE_TRANSPOSED);
    m->matrix = empty_body<struct transposed_matrix_body>(version);
    return m;
}

struct matrix *telemetry_of_nothing(uint8_t version)
{
    struct matrix *const m = bodiless(MATRIX_TYPE_TELEMETRY);
    m->matrix = empty_body<struct telemetry_matrix_body>(version);
    return m;
}

struct telemetry_matrix_body *body_of(struct matrix *m)
{
    return static_cast<struct telemetry_matrix_body *>(m->matrix);
}

struct matrix *without_sensors()
{
    return changed(telemetry(), [](auto *m) { body_of(m)->sensors = NULL; });
}

struct matrix *without_timestamps()
{
    return changed(telemetry(), [](auto *m) { body_of(m)->timestamps = NULL; });
}

// With arrays that are there, but have no elements.
struct matrix *without_elements()
{
    return changed(telemetry(), [](auto *m) {
        body_of(m)->sensors = sensor_array_create_null();
        body_of(m)->timestamps = timestamp_array_create_null();
    });
}

// One in which the second sensor and the second time stamp are missing.
struct matrix *with_gaps()
{
    return changed(telemetry(), [](auto *m) {
        body_of(m)->sensors->sensors[1] = NULL;
        body_of(m)->timestamps->timestamps[1] = NULL;
    });
}

struct matrix *vector_of_one()
{
    return telemetry_matrix_create_vector(
        plain(1, 1), sensor_array_create_from_names(names, 1), stamp());
}

// The parts of a telemetry matrix of so many rows.
struct parts {
    explicit parts(uint32_t nrows)
        : values(plain(nrows, 2)),
          timestamps(timestamp_array_create_dummy(stamp(), nrows))
    {
    }
    parts(const parts &) = delete;
    parts &operator=(const parts &) = delete;
    ~parts()
    {
        matrix_destroy(&values);
        sensor_array_destroy(&sensors);
        timestamp_array_destroy(&timestamps);
    }
    // The code of a matrix that was not made.  One that was gives its parts
    // back.
    int failure_of(struct matrix *made) const
    {
        if (made == nullptr) return vela_get_last_error();
        auto *const body = body_of(made);
        telemetry_matrix_detach_original_matrix(made);
        if (body->sensors == sensors) body->sensors = nullptr;
        if (body->timestamps == timestamps) body->timestamps = nullptr;
        matrix_destroy(&made);
        return 1;
    }

    struct matrix *values;
    struct sensor_array *sensors = two_sensors();
    struct timestamp_array *timestamps;
};

}  // namespace

// --- the operations of both kinds ---

#define BODY_ROWS(kind, KIND, name, slot, ...)                      \
    ABORTS_BY(_##kind##_matrix_##name, "tmatrix != NULL",           \
              kind()->slot(NULL __VA_OPT__(, ) __VA_ARGS__));       \
    ABORTS_BY(_##kind##_matrix_##name,                              \
              "tmatrix->version == " #KIND "_MATRIX_VERSION",       \
              kind()->slot(empty_body<struct kind##_matrix_body>(0) \
                               __VA_OPT__(, ) __VA_ARGS__));        \
    ABORTS_BY(_##kind##_matrix_##name, "tmatrix->matrix != NULL",   \
              kind()->slot(empty_body<struct kind##_matrix_body>(1) \
                               __VA_OPT__(, ) __VA_ARGS__))
#define SLOT_ROWS(...)                              \
    BODY_ROWS(transposed, TRANSPOSED, __VA_ARGS__); \
    BODY_ROWS(telemetry, TELEMETRY, __VA_ARGS__)
SLOT_ROWS(get, fn_get, 0, 0);
SLOT_ROWS(set, fn_set, 0, 0, 1);
SLOT_ROWS(create_like, fn_create_like);
SLOT_ROWS(get_columns, fn_get_col_slice, first, 1);
SLOT_ROWS(get_rows, fn_get_row_slice, first, 1);
SLOT_ROWS(copy, fn_copy);
SLOT_ROWS(resize, fn_resize, 3, 3);
SLOT_ROWS(set_rows, fn_set_rows, plain(), both);
SLOT_ROWS(set_columns, fn_set_columns, plain(), both);

#define DESTROY_ROWS(kind, KIND)                              \
    ABORTS_BY(_##kind##_matrix_destroy, "tmatrix != NULL",    \
              kind()->fn_destroy(pointer_to(NULL)));          \
    ABORTS_BY(_##kind##_matrix_destroy,                       \
              "tmatrix->version == " #KIND "_MATRIX_VERSION", \
              kind()->fn_destroy(                             \
                  pointer_to(empty_body<struct kind##_matrix_body>(0))))
DESTROY_ROWS(transposed, TRANSPOSED);
DESTROY_ROWS(telemetry, TELEMETRY);

#define INDEX_ROWS(kind, name, slot)                        \
    ABORTS_BY(_##kind##_matrix_##name, "indices != NULL",   \
              on_body(kind(), &matrix::slot, nullptr, 1u)); \
    ABORTS_BY(_##kind##_matrix_##name, "nindices > 0",      \
              on_body(kind(), &matrix::slot, first, 0u))
INDEX_ROWS(transposed, get_columns, fn_get_col_slice);
INDEX_ROWS(transposed, get_rows, fn_get_row_slice);
INDEX_ROWS(telemetry, get_columns, fn_get_col_slice);
INDEX_ROWS(telemetry, get_rows, fn_get_row_slice);

// --- transposed_matrix ---

ABORTS_WITH(transposed_matrix_init, "m != NULL", NULL, plain());
ABORTS_WITH(transposed_matrix_init, "orig_m != NULL", dead(), NULL);
ABORTS_WITH(transposed_matrix_create, "matrix != NULL", NULL);
ABORTS_WITH(transposed_matrix_create, "matrix->nrows > 0", rowless());
ABORTS_WITH(transposed_matrix_create, "matrix->ncols > 0", columnless());
ABORTS_WITH(transposed_matrix_detach_original_matrix, "m != NULL", NULL);
ABORTS_WITH(transposed_matrix_detach_original_matrix,
            "m->type == MATRIX_TYPE_TRANSPOSED", plain());
ABORTS_WITH(transposed_matrix_detach_original_matrix, "m->matrix != NULL",
            bodiless(MATRIX_TYPE_TRANSPOSED));

ABORTS_BY(_transposed_matrix_resize,
          "matrix_get_number_rows(tmatrix->matrix) != ncols || "
          "matrix_get_number_columns(tmatrix->matrix) != nrows",
          on_body(transposed(), &matrix::fn_resize, 2u, 2u));

// The rows that a view would show as columns are the second allocation.
ABORTS(_transposed_matrix_get_columns, "slices != NULL")
{
    struct matrix *const m = transposed();
    const test::failing_allocation failing(1);
    matrix_get_columns(m, first, 1);
}

// What making a view of a matrix that stays the caller's gives.
FAILS(transposed_matrix_create, -22)
{
    struct matrix *viewed = plain();
    const int result = contract::with_each_allocation_failing([=] {
        struct matrix *view = transposed_matrix_create(viewed);
        if (view != nullptr) transposed_matrix_detach_original_matrix(view);
        return contract::last_error_of(view, matrix_destroy);
    });
    matrix_destroy(&viewed);
    return result;
}

FAILS(transposed_matrix_init, -22)
{
    struct matrix *viewed = plain();
    const int result = contract::with_failing_allocation(0, [=] {
        struct matrix m;
        return transposed_matrix_init(&m, viewed);
    });
    matrix_destroy(&viewed);
    return result;
}

// --- telemetry_matrix: the operations ---

ABORTS_BY(_telemetry_matrix_get_columns, "tmatrix->sensors != NULL",
          matrix_get_columns(without_sensors(), first, 1));
ABORTS_BY(_telemetry_matrix_get_columns, "tmatrix->timestamps != NULL",
          matrix_get_columns(without_timestamps(), first, 1));
ABORTS_BY(_telemetry_matrix_get_columns, "sensors != NULL",
          matrix_get_columns(without_elements(), first, 1));
ABORTS_BY(_telemetry_matrix_get_columns,
          "indices[i] < matrix_get_number_columns(tmatrix->matrix)",
          matrix_get_columns(telemetry(), beyond, 1));
ABORTS_BY(_telemetry_matrix_get_rows, "tmatrix->sensors != NULL",
          matrix_get_rows(without_sensors(), first, 1));
ABORTS_BY(_telemetry_matrix_get_rows, "tmatrix->timestamps != NULL",
          matrix_get_rows(without_timestamps(), first, 1));
ABORTS_BY(_telemetry_matrix_get_rows, "timestamps != NULL",
          matrix_get_rows(without_elements(), first, 1));
ABORTS_BY(_telemetry_matrix_get_rows,
          "indices[i] < matrix_get_number_rows(tmatrix->matrix)",
          matrix_get_rows(telemetry(), beyond, 1));

ABORTS_BY(_telemetry_matrix_resize, "nrows > 0",
          on_body(telemetry(), &matrix::fn_resize, 0u, 1u));
ABORTS_BY(_telemetry_matrix_resize, "ncols > 0",
          on_body(telemetry(), &matrix::fn_resize, 1u, 0u));
ABORTS_BY(_telemetry_matrix_resize,
          "matrix_get_number_rows(tmatrix->matrix) != nrows || "
          "matrix_get_number_columns(tmatrix->matrix) != ncols",
          on_body(telemetry(), &matrix::fn_resize, 2u, 2u));
ABORTS_BY(_telemetry_matrix_resize, "s != NULL",
          matrix_resize(with_gaps(), 2, 3));
ABORTS_BY(_telemetry_matrix_resize, "t != NULL",
          matrix_resize(with_gaps(), 3, 2));

ABORTS_BY(_telemetry_matrix_set_rows, "vals != NULL",
          on_body(telemetry(), &matrix::fn_set_rows, nullptr, both));
ABORTS_BY(_telemetry_matrix_set_rows, "row_indices != NULL",
          on_body(telemetry(), &matrix::fn_set_rows, vector(), nullptr));
ABORTS_BY(_telemetry_matrix_set_rows,
          "j < matrix_get_number_rows(tmatrix->matrix)",
          on_body(telemetry(), &matrix::fn_set_rows, vector(), beyond));
ABORTS_BY(_telemetry_matrix_set_rows,
          "matrix_get_number_columns(tmatrix->matrix) == "
          "matrix_get_number_columns(vals)",
          on_body(telemetry(), &matrix::fn_set_rows, vector_of_one(), both));
ABORTS_BY(_telemetry_matrix_set_columns, "vals != NULL",
          on_body(telemetry(), &matrix::fn_set_columns, nullptr, both));
ABORTS_BY(_telemetry_matrix_set_columns, "col_indices != NULL",
          on_body(telemetry(), &matrix::fn_set_columns, vector(), nullptr));
ABORTS_BY(_telemetry_matrix_set_columns,
          "j < matrix_get_number_columns(tmatrix->matrix)",
          on_body(telemetry(), &matrix::fn_set_columns, vector(), beyond));
ABORTS_BY(_telemetry_matrix_set_columns,
          "matrix_get_number_rows(tmatrix->matrix) == "
          "matrix_get_number_rows(vals)",
          on_body(telemetry(), &matrix::fn_set_columns, vector(), both));

// --- telemetry_matrix: life cycle ---

ABORTS_WITH(telemetry_matrix_init, "m != NULL", NULL, plain(), two_sensors(),
            two_stamps());
ABORTS_WITH(telemetry_matrix_init, "matrix != NULL", dead(), NULL,
            two_sensors(), two_stamps());
ABORTS_WITH(telemetry_matrix_init, "sensors != NULL", dead(), plain(), NULL,
            two_stamps());
ABORTS_WITH(telemetry_matrix_init, "timestamps != NULL", dead(), plain(),
            two_sensors(), NULL);
ABORTS_WITH(telemetry_matrix_create, "m != NULL", NULL, two_sensors(),
            two_stamps());
ABORTS_WITH(telemetry_matrix_create, "sensors != NULL", plain(), NULL,
            two_stamps());
ABORTS_WITH(telemetry_matrix_create, "timestamps != NULL", plain(),
            two_sensors(), NULL);
ABORTS_BY(_telemetry_matrix_create_body,
          "matrix_get_number_columns(m) == sensor_array_get_size(sensors)",
          telemetry_matrix_create(plain(2, 3), two_sensors(), two_stamps()));
ABORTS_BY(_telemetry_matrix_create_body,
          "matrix_get_number_rows(m) == timestamp_array_get_size(timestamps)",
          telemetry_matrix_create(plain(3, 2), two_sensors(), two_stamps()));

ABORTS_WITH(telemetry_matrix_init_vector, "m != NULL", NULL, plain(1, 2),
            two_sensors(), stamp());
ABORTS_WITH(telemetry_matrix_init_vector, "vector != NULL", dead(), NULL,
            two_sensors(), stamp());
ABORTS_WITH(telemetry_matrix_init_vector, "matrix_get_number_rows(vector) == 1",
            dead(), plain(), two_sensors(), stamp());
ABORTS_WITH(telemetry_matrix_init_vector, "sensors != NULL", dead(),
            plain(1, 2), NULL, stamp());
ABORTS_WITH(telemetry_matrix_init_vector, "timestamp != NULL", dead(),
            plain(1, 2), two_sensors(), NULL);
ABORTS_WITH(telemetry_matrix_create_vector, "vector != NULL", NULL,
            two_sensors(), stamp());
ABORTS_WITH(telemetry_matrix_create_vector,
            "matrix_get_number_rows(vector) == 1", plain(), two_sensors(),
            stamp());
ABORTS_WITH(telemetry_matrix_create_vector, "sensors != NULL", plain(1, 2),
            NULL, stamp());
ABORTS_WITH(telemetry_matrix_create_vector, "timestamp != NULL", plain(1, 2),
            two_sensors(), NULL);

ABORTS_WITH(telemetry_matrix_clone_with_values, "m != NULL", NULL, plain());
ABORTS_WITH(telemetry_matrix_clone_with_values,
            "m->type == MATRIX_TYPE_TELEMETRY", plain(), plain());
ABORTS_WITH(telemetry_matrix_clone_with_values, "vals != NULL", telemetry(),
            NULL);
ABORTS_WITH(telemetry_matrix_clone_with_values,
            "matrix_is_equal_dimensions(m, vals)", telemetry(), plain(2, 3));

FAILS(telemetry_matrix_init, -22)
{
    const parts given(2);
    auto *const m =
        static_cast<struct matrix *>(std::malloc(sizeof(struct matrix)));
    return contract::with_failing_allocation(0, [&] {
        return telemetry_matrix_init(m, given.values, given.sensors,
                                     given.timestamps);
    });
}

FAILS(telemetry_matrix_create, -22)
{
    const parts given(2);
    return contract::with_each_allocation_failing([&] {
        return given.failure_of(telemetry_matrix_create(
            given.values, given.sensors, given.timestamps));
    });
}

FAILS(telemetry_matrix_init_vector, -22)
{
    const parts given(1);
    struct matrix m;
    return contract::with_failing_allocation(0, [&] {
        return telemetry_matrix_init_vector(&m, given.values, given.sensors,
                                            stamp());
    });
}

FAILS(telemetry_matrix_create_vector, -22)
{
    const parts given(1);
    return contract::with_each_allocation_failing([&] {
        return given.failure_of(telemetry_matrix_create_vector(
            given.values, given.sensors, stamp()));
    });
}

FAILS(telemetry_matrix_clone_with_values, -22)
{
    const parts given(2);
    struct matrix *m = telemetry();
    const int result = contract::with_each_allocation_failing([&] {
        return given.failure_of(
            telemetry_matrix_clone_with_values(m, given.values));
    });
    matrix_destroy(&m);
    return result;
}

// --- telemetry_matrix: access ---

#define GETTER_ROWS(function, type_expression, field)                   \
    ABORTS_BY(function, "m != NULL", function(NULL));                   \
    ABORTS_BY(function, type_expression " == MATRIX_TYPE_TELEMETRY",    \
              function(plain()));                                       \
    ABORTS_BY(function, "tmatrix != NULL",                              \
              function(bodiless(MATRIX_TYPE_TELEMETRY)));               \
    ABORTS_BY(function, "tmatrix->version == TELEMETRY_MATRIX_VERSION", \
              function(telemetry_of_nothing(0)));                       \
    ABORTS_BY(function, "tmatrix->" #field " != NULL",                  \
              function(telemetry_of_nothing(1)))
GETTER_ROWS(telemetry_matrix_get_number_sensors, "m->type", matrix);
GETTER_ROWS(telemetry_matrix_get_number_timestamps, "m->type", matrix);
GETTER_ROWS(telemetry_matrix_get_sensors, "m->type", sensors);
GETTER_ROWS(telemetry_matrix_get_timestamps, "m->type", timestamps);
GETTER_ROWS(telemetry_matrix_detach_original_matrix, "matrix_get_type(m)",
            matrix);

ABORTS_WITH(telemetry_matrix_update_vector_timestamp, "m != NULL", NULL,
            stamp());
ABORTS_WITH(telemetry_matrix_update_vector_timestamp, "m->version > 0", dead(),
            stamp());
ABORTS_WITH(telemetry_matrix_update_vector_timestamp,
            "matrix_get_type(m) == MATRIX_TYPE_TELEMETRY", plain(1, 2),
            stamp());
ABORTS_WITH(telemetry_matrix_update_vector_timestamp,
            "matrix_get_number_rows(m) == 1", telemetry(), stamp());
ABORTS_WITH(telemetry_matrix_update_vector_timestamp, "tmatrix != NULL",
            changed(vector(), [](auto *m) { m->matrix = NULL; }), stamp());
ABORTS_WITH(telemetry_matrix_update_vector_timestamp,
            "tmatrix->timestamps != NULL",
            changed(vector(), [](auto *m) { body_of(m)->timestamps = NULL; }),
            stamp());
ABORTS_BY(timestamp_copy, "t != NULL",
          telemetry_matrix_update_vector_timestamp(vector(), NULL));

FAILS(telemetry_matrix_update_vector_timestamp, -22)
{
    struct matrix *m = vector();
    const int result = contract::with_each_allocation_failing(
        [=] { return telemetry_matrix_update_vector_timestamp(m, stamp()); });
    matrix_destroy(&m);
    return result;
}

ABORTS_WITH(telemetry_matrix_is_equal, "m1 != NULL", NULL, telemetry());
ABORTS_WITH(telemetry_matrix_is_equal,
            "matrix_get_type(m1) == MATRIX_TYPE_TELEMETRY", plain(),
            telemetry());
ABORTS_WITH(telemetry_matrix_is_equal, "m2 != NULL", telemetry(), NULL);
ABORTS_WITH(telemetry_matrix_is_equal,
            "matrix_get_type(m2) == MATRIX_TYPE_TELEMETRY", telemetry(),
            plain());
ABORTS_WITH(telemetry_matrix_is_equal, "sensors1 != NULL", without_sensors(),
            telemetry());
ABORTS_WITH(telemetry_matrix_is_equal, "sensors2 != NULL", telemetry(),
            without_sensors());
ABORTS_WITH(telemetry_matrix_is_equal, "timestamps1 != NULL",
            without_timestamps(), telemetry());
ABORTS_WITH(telemetry_matrix_is_equal, "timestamps2 != NULL", telemetry(),
            without_timestamps());

// --- binary_serializer: writing ---

static int write_matrix(struct matrix *m)
{
    return binary_serializer_write_matrix(m, any_writer());
}

ABORTS_BY(binary_serializer_write_matrix, "m != NULL", write_matrix(NULL));
ABORTS_BY(binary_serializer_write_matrix, "m->version == 1",
          write_matrix(dead()));
ABORTS_BY(binary_serializer_write_matrix, "m->type > 0",
          write_matrix(typeless()));
ABORTS_WITH(binary_serializer_write_matrix, "writer != NULL", plain(), NULL);
ABORTS_BY(binary_serializer_write_matrix, "0",
          write_matrix(bodiless(contract::unknown_type)));
ABORTS_BY(_binary_serializer_write_regular_matrix, "m->values != NULL",
          write_matrix(valueless()));
ABORTS_BY(_binary_serializer_write_transposed_matrix, "m != NULL",
          write_matrix(bodiless(MATRIX_TYPE_TRANSPOSED)));
ABORTS_BY(_binary_serializer_write_transposed_matrix, "m->version == 1",
          write_matrix(view_of_nothing(0)));
ABORTS_BY(_binary_serializer_write_transposed_matrix, "m->matrix != NULL",
          write_matrix(view_of_nothing(1)));
ABORTS_BY(_binary_serializer_write_telemetry_matrix, "m != NULL",
          write_matrix(bodiless(MATRIX_TYPE_TELEMETRY)));
ABORTS_BY(_binary_serializer_write_telemetry_matrix, "m->version == 1",
          write_matrix(telemetry_of_nothing(0)));
ABORTS_BY(_binary_serializer_write_telemetry_matrix, "m->sensors != NULL",
          write_matrix(without_sensors()));
ABORTS_BY(_binary_serializer_write_telemetry_matrix, "m->timestamps != NULL",
          write_matrix(without_timestamps()));
ABORTS_WITH(binary_serializer_write_optional_matrix, "writer != NULL", NULL,
            NULL);

// What either function gives for a matrix, which is destroyed.
using writing_function = int (*)(const struct matrix *, struct writer *);
template <writing_function Write>
static int write_and_destroy(struct matrix *m, struct writer *writer)
{
    const int result = Write(m, writer);
    matrix_destroy(&m);
    return result;
}
template <writing_function Write>
static int write_telemetry(struct writer *writer)
{
    return write_and_destroy<Write>(telemetry(), writer);
}

#define WRITE_ROWS(function)                                              \
    FAILS_BY(function, -41,                                               \
             contract::on_a_full_disk(write_telemetry<function>));        \
    FAILS_BY(function, -42,                                               \
             contract::without_a_compressor(write_telemetry<function>));  \
    FAILS_BY(function, -49,                                               \
             write_and_destroy<function>(plain(10001, 1), any_writer())); \
    FAILS_BY(function, -49,                                               \
             write_and_destroy<function>(plain(1, 10001), any_writer()))
WRITE_ROWS(binary_serializer_write_matrix);
WRITE_ROWS(binary_serializer_write_optional_matrix);

FAILS(binary_serializer_write_optional_matrix, -41)
{
    return contract::on_a_full_disk([](struct writer *disk) {
        return binary_serializer_write_optional_matrix(NULL, disk);
    });
}

// --- binary_serializer: reading ---

ABORTS_WITH(binary_serializer_read_matrix, "m != NULL", NULL, empty_reader());
ABORTS_WITH(binary_serializer_read_matrix, "m->version == 1", dead(),
            empty_reader());
ABORTS_WITH(binary_serializer_read_matrix, "reader != NULL",
            matrix_create_null(), NULL);
ABORTS_WITH(binary_serializer_read_optional_matrix, "m != NULL", NULL,
            empty_reader());
ABORTS_WITH(binary_serializer_read_optional_matrix, "reader != NULL",
            &no_matrix, NULL);

ABORTS(binary_serializer_read_optional_matrix, "*m == NULL")
{
    struct matrix *m = plain();
    binary_serializer_read_optional_matrix(&m, empty_reader());
}

ABORTS(binary_serializer_read_matrix, "m->matrix == NULL")
{
    contract::from("\1\0\0\0\1"s, [](struct reader *reader) {
        return binary_serializer_read_matrix(telemetry(), reader);
    });
}

// Stored parts: how each kind begins, and a whole matrix of one element.
static const std::string regular = "\1\0\0\0\1"s;
static const std::string of_a_view = "\1\0\0\0\2\1"s;
static const std::string of_telemetry = "\1\0\0\0\3\1"s;
static const std::string one_element =
    regular + "\1\0\0\0\1\0\0\0\1"s + std::string(8, '\0');
static const std::string labels_of_one = of_telemetry + one_element;

// Two sensors for one column.
ABORTS(_telemetry_matrix_create_body,
       "matrix_get_number_columns(m) == sensor_array_get_size(sensors)")
{
    const std::string sensor = "\1\0\0\0\1x"s;
    const std::string sensors = "\1\0\0\0\2"s + sensor + sensor;
    const std::string times = "\1\0\0\0\1\1"s + std::string(8, '\0');
    contract::from(labels_of_one + sensors + times, [](struct reader *reader) {
        return binary_serializer_read_matrix(matrix_create_null(), reader);
    });
}

static int read_matrix(struct reader *reader)
{
    struct matrix *m = matrix_create_null();
    if (m == nullptr) return KOR_ERR_NO_MEMORY;
    const int result = binary_serializer_read_matrix(m, reader);
    matrix_destroy(&m);
    return result;
}

static int read_optional_matrix(struct reader *reader)
{
    struct matrix *m = NULL;
    const int result = binary_serializer_read_optional_matrix(&m, reader);
    if (m != NULL) matrix_destroy(&m);
    return result;
}

// Both functions give the same code for the same bytes.
#define READ_ROWS(code, ...)                               \
    FAILS_BY(binary_serializer_read_matrix, code,          \
             contract::from(__VA_ARGS__, read_matrix));    \
    FAILS_BY(binary_serializer_read_optional_matrix, code, \
             contract::from("\1" + (__VA_ARGS__), read_optional_matrix))

READ_ROWS(-6, "\1\0\0\0\0"s);
READ_ROWS(-6, "\1\0\0\0\4"s);
READ_ROWS(-6, regular + "\1\0\0\0\0\0\0\0\1"s);
READ_ROWS(-6, regular + "\1\0\0\0\1\0\0\0\0"s);
READ_ROWS(-6, regular + "\1\0\0\x27\x11\0\0\0\1"s);
READ_ROWS(-6, regular + "\1\0\0\0\1\0\0\x27\x11"s);
READ_ROWS(-6, of_a_view + "\1\0\0\0\4"s);
READ_ROWS(-12, "\2"s);
READ_ROWS(-12, regular + "\2"s);
READ_ROWS(-12, "\1\0\0\0\2\2"s);
READ_ROWS(-12, "\1\0\0\0\3\2"s);
READ_ROWS(-12, labels_of_one + "\2"s);
READ_ROWS(-43, labels_of_one + "\1\0\0\0\1\1"s);
READ_ROWS(-48, "\1"s);
READ_ROWS(-48, regular);
READ_ROWS(-48, regular + "\1\0\0\0\1"s);
READ_ROWS(-48, one_element.substr(0, one_element.size() - 8));
READ_ROWS(-48, of_a_view);
READ_ROWS(-48, of_telemetry);
READ_ROWS(-48, labels_of_one);
READ_ROWS(-49, labels_of_one + "\1\0\0\0\0"s);
FAILS_BY(binary_serializer_read_optional_matrix, -6,
         contract::from("\2", read_optional_matrix));
FAILS_BY(binary_serializer_read_optional_matrix, -48,
         contract::from("\1", read_optional_matrix));

// More matrices inside each other than the stack is trusted with.
FAILS(binary_serializer_read_matrix, -6)
{
    std::string stored;
    for (int i = 0; i < 2000; ++i) stored += of_a_view;
    return contract::from(stored + one_element, read_matrix);
}

// What reading gives for all that a telemetry matrix needs.
static int starved(int (*reading)(struct reader *),
                   int (*writing)(struct writer *))
{
    const std::string stored = contract::written(writing);
    return contract::with_each_allocation_failing(
        [&] { return contract::from(stored, reading); });
}

FAILS_BY(binary_serializer_read_matrix, -22,
         starved(read_matrix, write_telemetry<binary_serializer_write_matrix>));
FAILS_BY(binary_serializer_read_optional_matrix, -22,
         starved(read_optional_matrix,
                 write_telemetry<binary_serializer_write_optional_matrix>));
FAILS_BY(binary_serializer_read_matrix, -41,
         contract::from_a_damaged_file(read_matrix));
FAILS_BY(binary_serializer_read_optional_matrix, -41,
         contract::from_a_damaged_file(read_optional_matrix));
