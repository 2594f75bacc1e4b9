// telemetry_matrix.cpp: values with sensors as columns, time stamps as rows.
//
// The body owns its sensors and time stamps always, and its values unless they
// were detached.  The outer matrix shares the row pointers of the values, so
// the values must not be resized or destroyed behind its back.
//
// Copies share their sensors and time stamps with the source; only the values
// are copied.  A time stamp stored by matrix_set_rows shows in every copy.
#include "telemetry_matrix.h"

#include <algorithm>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "matrix/kinds.hpp"
#include "matrix_compare.h"
#include "matrix_slices.h"

using body = struct telemetry_matrix_body;

namespace {

using owned_values = vela::owned<matrix_destroy>;
using owned_sensors = vela::owned<sensor_array_destroy>;
using owned_timestamps = vela::owned<timestamp_array_destroy>;

// The two arrays that label a telemetry matrix, under common names.
struct sensor_labels {
    using owned = owned_sensors;
    static constexpr auto create_empty = sensor_array_create_empty;
    static constexpr auto get = sensor_array_get;
    static constexpr auto set = sensor_array_set;
    static struct sensor *copy(const struct sensor *s)
    {
        return sensor_copy(s, nullptr);
    }
};
struct timestamp_labels {
    using owned = owned_timestamps;
    static constexpr auto create_empty = timestamp_array_create_empty;
    static constexpr auto get = timestamp_array_get;
    static constexpr auto set = timestamp_array_set;
    static struct timestamp *copy(const struct timestamp *t)
    {
        return timestamp_copy(t, nullptr);
    }
};

// Stores a copy of label `from` of `source` as label `to` of `target`.
template <class Labels, class Array>
int copy_label(const Array *source, uint32_t from, Array *target, uint32_t to)
{
    auto *const copy =
        Labels::copy(Labels::get(source, static_cast<int>(from)));
    if (copy == nullptr) return vela_get_last_error();
    Labels::set(target, static_cast<int>(to), copy);
    return KOR_OK;
}

// The labels of `source` at the given indices, or null.
template <class Labels, class Array>
typename Labels::owned select_labels(const Array *source,
                                     const uint32_t *indices, uint32_t nindices)
{
    typename Labels::owned selected(Labels::create_empty(nindices));
    for (uint32_t k = 0; selected && k < nindices; ++k)
        if (copy_label<Labels>(source, indices[k], selected.get(), k) < 0)
            selected.reset();
    return selected;
}

// `count` labels: the first ones of `source`, which has `old_count`, and
// empty ones behind them; or null.
template <class Labels, class Array>
typename Labels::owned resize_labels(const Array *source, uint32_t old_count,
                                     uint32_t count)
{
    const uint32_t kept = std::min(old_count, count);
    typename Labels::owned resized(Labels::create_empty(count));
    for (uint32_t k = 0; resized && k < kept; ++k)
        if (copy_label<Labels>(source, k, resized.get(), k) < 0)
            resized.reset();
    return resized;
}

}  // namespace

// A body over three parts, which stay the caller's when it fails.
static body *_telemetry_matrix_create_body(struct matrix *m,
                                           struct sensor_array *sensors,
                                           struct timestamp_array *timestamps)
{
    KOR_ASSERT(matrix_get_number_columns(m) == sensor_array_get_size(sensors));
    KOR_ASSERT(matrix_get_number_rows(m) ==
               timestamp_array_get_size(timestamps));
    auto *const tmatrix = static_cast<body *>(std::malloc(sizeof(body)));
    if (tmatrix == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    tmatrix->version = TELEMETRY_MATRIX_VERSION;
    tmatrix->matrix = m;
    tmatrix->sensors = sensors;
    tmatrix->timestamps = timestamps;
    tmatrix->owns_matrix = 1;
    return tmatrix;
}

// A body that takes over three parts just made, or null when one has failed.
static body *_telemetry_matrix_wrap(owned_values values, owned_sensors sensors,
                                    owned_timestamps timestamps)
{
    if (!values || !sensors || !timestamps) return nullptr;
    body *const tmatrix = _telemetry_matrix_create_body(
        values.get(), sensors.get(), timestamps.get());
    if (tmatrix == nullptr) return nullptr;
    values.release();
    sensors.release();
    timestamps.release();
    return tmatrix;
}

// The same with copies of the labels of `tmatrix`.
static body *_telemetry_matrix_wrap_like(const body *tmatrix,
                                         struct matrix *made)
{
    owned_values values(made);
    if (!values) return nullptr;
    owned_sensors sensors(sensor_array_copy(tmatrix->sensors));
    owned_timestamps timestamps(timestamp_array_copy(tmatrix->timestamps));
    return _telemetry_matrix_wrap(std::move(values), std::move(sensors),
                                  std::move(timestamps));
}

// --- operations ---

static void _telemetry_matrix_destroy(void **inner)
{
    auto *const tmatrix = static_cast<body *>(*inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    if (tmatrix->sensors != nullptr) sensor_array_destroy(&tmatrix->sensors);
    if (tmatrix->timestamps != nullptr)
        timestamp_array_destroy(&tmatrix->timestamps);
    if (tmatrix->matrix != nullptr && tmatrix->owns_matrix != 0)
        matrix_destroy(&tmatrix->matrix);
    std::free(tmatrix);
    *inner = nullptr;
}

static matrix_value _telemetry_matrix_get(void *inner, uint32_t i, uint32_t j)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return matrix_get(tmatrix->matrix, i, j);
}

static void _telemetry_matrix_set(void *inner, uint32_t i, uint32_t j,
                                  matrix_value value)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    matrix_set(tmatrix->matrix, i, j, value);
}

static void *_telemetry_matrix_create_like(void *inner)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return _telemetry_matrix_wrap_like(
        tmatrix, vela::create_whole_like(tmatrix->matrix));
}

static void *_telemetry_matrix_get_columns(void *inner, const uint32_t *indices,
                                           uint32_t nindices)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    KOR_ASSERT(indices != NULL);
    KOR_ASSERT(nindices > 0);
    KOR_ASSERT(tmatrix->sensors != NULL);
    KOR_ASSERT(tmatrix->timestamps != NULL);
    const auto *const sensors = sensor_array_get_sensors(tmatrix->sensors);
    KOR_ASSERT(sensors != NULL);
    for (uint32_t i = 0; i < nindices; ++i)
        KOR_ASSERT(indices[i] < matrix_get_number_columns(tmatrix->matrix));

    owned_values values(matrix_get_columns(tmatrix->matrix, indices, nindices));
    if (!values) return nullptr;
    owned_sensors slice =
        select_labels<sensor_labels>(tmatrix->sensors, indices, nindices);
    if (!slice) return nullptr;
    const auto *const sensor_slice = sensor_array_get_sensors(slice.get());
    KOR_ASSERT(sensor_slice != NULL);
    owned_timestamps timestamps(timestamp_array_copy(tmatrix->timestamps));
    return _telemetry_matrix_wrap(std::move(values), std::move(slice),
                                  std::move(timestamps));
}

static void *_telemetry_matrix_get_rows(void *inner, const uint32_t *indices,
                                        uint32_t nindices)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    KOR_ASSERT(indices != NULL);
    KOR_ASSERT(nindices > 0);
    KOR_ASSERT(tmatrix->sensors != NULL);
    KOR_ASSERT(tmatrix->timestamps != NULL);
    const auto *const timestamps =
        timestamp_array_get_timestamps(tmatrix->timestamps);
    KOR_ASSERT(timestamps != NULL);
    for (uint32_t i = 0; i < nindices; ++i)
        KOR_ASSERT(indices[i] < matrix_get_number_rows(tmatrix->matrix));

    owned_values values(matrix_get_rows(tmatrix->matrix, indices, nindices));
    if (!values) return nullptr;
    owned_timestamps slice =
        select_labels<timestamp_labels>(tmatrix->timestamps, indices, nindices);
    if (!slice) return nullptr;
    const auto *const timestamp_slice =
        timestamp_array_get_timestamps(slice.get());
    KOR_ASSERT(timestamp_slice != NULL);
    owned_sensors sensors(sensor_array_copy(tmatrix->sensors));
    return _telemetry_matrix_wrap(std::move(values), std::move(sensors),
                                  std::move(slice));
}

static void *_telemetry_matrix_copy(void *inner)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return _telemetry_matrix_wrap_like(tmatrix, matrix_copy(tmatrix->matrix));
}

// Both new label arrays are made before anything changes, and the values come
// last: a failure leaves the matrix as it was.
static int _telemetry_matrix_resize(void *inner, uint32_t nrows, uint32_t ncols)
{
    auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    KOR_ASSERT(nrows > 0);
    KOR_ASSERT(ncols > 0);
    KOR_ASSERT(matrix_get_number_rows(tmatrix->matrix) != nrows ||
               matrix_get_number_columns(tmatrix->matrix) != ncols);
    const uint32_t nsensors = sensor_array_get_size(tmatrix->sensors);
    const uint32_t ntimestamps = timestamp_array_get_size(tmatrix->timestamps);
    owned_sensors sensors;
    owned_timestamps timestamps;
    if (nsensors != ncols) {
        for (uint32_t i = 0; i < std::min(nsensors, ncols); ++i) {
            const struct sensor *const s =
                sensor_array_get(tmatrix->sensors, static_cast<int>(i));
            KOR_ASSERT(s != NULL);
        }
        sensors =
            resize_labels<sensor_labels>(tmatrix->sensors, nsensors, ncols);
        if (!sensors) return vela_get_last_error();
    }
    if (ntimestamps != nrows) {
        for (uint32_t i = 0; i < std::min(ntimestamps, nrows); ++i) {
            const struct timestamp *const t =
                timestamp_array_get(tmatrix->timestamps, static_cast<int>(i));
            KOR_ASSERT(t != NULL);
        }
        timestamps = resize_labels<timestamp_labels>(tmatrix->timestamps,
                                                     ntimestamps, nrows);
        if (!timestamps) return vela_get_last_error();
    }

    const int result = matrix_resize(tmatrix->matrix, nrows, ncols);
    if (result < 0) return result;
    if (sensors) {
        sensor_array_destroy(&tmatrix->sensors);
        tmatrix->sensors = sensors.release();
    }
    if (timestamps) {
        timestamp_array_destroy(&tmatrix->timestamps);
        tmatrix->timestamps = timestamps.release();
    }
    return KOR_OK;
}

static int _telemetry_matrix_set_rows(void *inner, const struct matrix *vals,
                                      const uint32_t *row_indices)
{
    auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    KOR_ASSERT(vals != NULL);
    KOR_ASSERT(row_indices != NULL);
    if (matrix_get_type(vals) != MATRIX_TYPE_TELEMETRY) return KOR_OK;

    const struct timestamp_array *const timestamps =
        telemetry_matrix_get_timestamps(vals);
    for (uint32_t r = 0; r < matrix_get_number_rows(vals); ++r) {
        const uint32_t j = row_indices[r];
        KOR_ASSERT(j < matrix_get_number_rows(tmatrix->matrix));
        const int result =
            copy_label<timestamp_labels>(timestamps, r, tmatrix->timestamps, j);
        if (result < 0) return result;
    }
    KOR_ASSERT(matrix_get_number_columns(tmatrix->matrix) ==
               matrix_get_number_columns(vals));
    struct sensor_array *const copy =
        sensor_array_copy(telemetry_matrix_get_sensors(vals));
    if (copy == nullptr) return vela_get_last_error();
    sensor_array_destroy(&tmatrix->sensors);
    tmatrix->sensors = copy;
    return KOR_OK;
}

static int _telemetry_matrix_set_columns(void *inner, const struct matrix *vals,
                                         const uint32_t *col_indices)
{
    auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    KOR_ASSERT(vals != NULL);
    KOR_ASSERT(col_indices != NULL);
    if (matrix_get_type(vals) != MATRIX_TYPE_TELEMETRY) return KOR_OK;

    const struct sensor_array *const sensors =
        telemetry_matrix_get_sensors(vals);
    for (uint32_t c = 0; c < matrix_get_number_columns(vals); ++c) {
        const uint32_t j = col_indices[c];
        KOR_ASSERT(j < matrix_get_number_columns(tmatrix->matrix));
        const int result =
            copy_label<sensor_labels>(sensors, c, tmatrix->sensors, j);
        if (result < 0) return result;
    }
    KOR_ASSERT(matrix_get_number_rows(tmatrix->matrix) ==
               matrix_get_number_rows(vals));
    struct timestamp_array *const copy =
        timestamp_array_copy(telemetry_matrix_get_timestamps(vals));
    // Part of the interface: the old array is looked at, not the copy.  A
    // failed copy leaves no time stamps and goes unreported.
    if (tmatrix->timestamps != nullptr)
        timestamp_array_destroy(&tmatrix->timestamps);
    tmatrix->timestamps = copy;
    return KOR_OK;
}

// A telemetry matrix without a size and a body: the source of the operations.
static constexpr struct matrix telemetry_prototype = {
    .version = MATRIX_VERSION,
    .type = MATRIX_TYPE_TELEMETRY,
    .values = nullptr,
    .nrows = 0,
    .ncols = 0,
    .matrix = nullptr,
    .fn_destroy = _telemetry_matrix_destroy,
    .fn_get = _telemetry_matrix_get,
    .fn_set = _telemetry_matrix_set,
    .fn_create_like = _telemetry_matrix_create_like,
    .fn_get_col_slice = _telemetry_matrix_get_columns,
    .fn_get_row_slice = _telemetry_matrix_get_rows,
    .fn_copy = _telemetry_matrix_copy,
    .fn_resize = _telemetry_matrix_resize,
    .fn_set_rows = _telemetry_matrix_set_rows,
    .fn_set_columns = _telemetry_matrix_set_columns,
};

// --- life cycle ---

int vela::init_telemetry(struct matrix *m, struct matrix *values,
                         struct sensor_array *sensors,
                         struct timestamp_array *timestamps) noexcept
{
    _matrix_init(m, MATRIX_TYPE_TELEMETRY, matrix_get_number_rows(values),
                 matrix_get_number_columns(values));
    vela::copy_operations(telemetry_prototype, m);
    m->matrix = nullptr;
    vela::heap<body> tmatrix(
        _telemetry_matrix_create_body(values, sensors, timestamps));
    if (!tmatrix) return vela_get_last_error();
    m->matrix = tmatrix.get();
    if (matrix_enable_direct_access(m) == nullptr) {
        m->matrix = nullptr;
        return vela_get_last_error();
    }
    tmatrix.release();
    return KOR_OK;
}

int telemetry_matrix_init(struct matrix *m, struct matrix *matrix,
                          struct sensor_array *sensors,
                          struct timestamp_array *timestamps)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(matrix != NULL);
    KOR_ASSERT(sensors != NULL);
    KOR_ASSERT(timestamps != NULL);
    const int result = vela::init_telemetry(m, matrix, sensors, timestamps);
    // Part of the interface: a failure releases the caller's object.
    if (result < 0) matrix_destroy(&m);
    return result;
}

struct matrix *telemetry_matrix_create(struct matrix *m,
                                       struct sensor_array *sensors,
                                       struct timestamp_array *timestamps)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(sensors != NULL);
    KOR_ASSERT(timestamps != NULL);
    return vela::create<struct matrix>([=](struct matrix *created) {
        return vela::init_telemetry(created, m, sensors, timestamps);
    });
}

// An array of one time stamp, or null.
static owned_timestamps _telemetry_matrix_create_timestamps(
    const struct timestamp *timestamp)
{
    owned_timestamps array(timestamp_array_create_empty(1));
    if (!array) return array;
    const auto *const timestamps = timestamp_array_get_timestamps(array.get());
    KOR_ASSERT(timestamps != NULL);
    struct timestamp *const copy = timestamp_copy(timestamp, nullptr);
    if (copy == nullptr)
        array.reset();
    else
        timestamp_array_set(array.get(), 0, copy);
    return array;
}

int telemetry_matrix_init_vector(struct matrix *m, struct matrix *vector,
                                 struct sensor_array *sensors,
                                 const struct timestamp *timestamp)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(vector != NULL);
    KOR_ASSERT(matrix_get_number_rows(vector) == 1);
    KOR_ASSERT(sensors != NULL);
    KOR_ASSERT(timestamp != NULL);
    owned_timestamps array = _telemetry_matrix_create_timestamps(timestamp);
    if (!array) return vela_get_last_error();
    const int result = telemetry_matrix_init(m, vector, sensors, array.get());
    if (result == KOR_OK) array.release();
    return result;
}

struct matrix *telemetry_matrix_create_vector(struct matrix *vector,
                                              struct sensor_array *sensors,
                                              const struct timestamp *timestamp)
{
    KOR_ASSERT(vector != NULL);
    KOR_ASSERT(matrix_get_number_rows(vector) == 1);
    KOR_ASSERT(sensors != NULL);
    KOR_ASSERT(timestamp != NULL);
    owned_timestamps array = _telemetry_matrix_create_timestamps(timestamp);
    if (!array) return nullptr;
    struct matrix *const created =
        telemetry_matrix_create(vector, sensors, array.get());
    if (created != nullptr) array.release();
    return created;
}

struct matrix *telemetry_matrix_clone_with_values(const struct matrix *m,
                                                  struct matrix *vals)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->type == MATRIX_TYPE_TELEMETRY);
    KOR_ASSERT(vals != NULL);
    KOR_ASSERT(matrix_is_equal_dimensions(m, vals));
    owned_sensors sensors(sensor_array_copy(telemetry_matrix_get_sensors(m)));
    if (!sensors) return nullptr;
    owned_timestamps timestamps(
        timestamp_array_copy(telemetry_matrix_get_timestamps(m)));
    if (!timestamps) return nullptr;
    struct matrix *const clone =
        telemetry_matrix_create(vals, sensors.get(), timestamps.get());
    if (clone == nullptr) return nullptr;
    sensors.release();
    timestamps.release();
    return clone;
}

void telemetry_matrix_detach_original_matrix(struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(matrix_get_type(m) == MATRIX_TYPE_TELEMETRY);
    auto *const tmatrix = static_cast<body *>(m->matrix);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    tmatrix->owns_matrix = 0;
}

int telemetry_matrix_update_vector_timestamp(struct matrix *m,
                                             const struct timestamp *timestamp)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version > 0);
    KOR_ASSERT(matrix_get_type(m) == MATRIX_TYPE_TELEMETRY);
    KOR_ASSERT(matrix_get_number_rows(m) == 1);
    auto *const tmatrix = static_cast<body *>(m->matrix);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->timestamps != NULL);
    owned_timestamps array = _telemetry_matrix_create_timestamps(timestamp);
    if (!array) return vela_get_last_error();
    timestamp_array_destroy(&tmatrix->timestamps);
    tmatrix->timestamps = array.release();
    return KOR_OK;
}

// --- access ---

uint32_t telemetry_matrix_get_number_sensors(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->type == MATRIX_TYPE_TELEMETRY);
    const auto *const tmatrix = static_cast<body *>(m->matrix);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return matrix_get_number_columns(tmatrix->matrix);
}

uint32_t telemetry_matrix_get_number_timestamps(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->type == MATRIX_TYPE_TELEMETRY);
    const auto *const tmatrix = static_cast<body *>(m->matrix);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return matrix_get_number_rows(tmatrix->matrix);
}

struct sensor_array *telemetry_matrix_get_sensors(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->type == MATRIX_TYPE_TELEMETRY);
    const auto *const tmatrix = static_cast<body *>(m->matrix);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->sensors != NULL);
    return tmatrix->sensors;
}

struct timestamp_array *telemetry_matrix_get_timestamps(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->type == MATRIX_TYPE_TELEMETRY);
    const auto *const tmatrix = static_cast<body *>(m->matrix);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TELEMETRY_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->timestamps != NULL);
    return tmatrix->timestamps;
}

int telemetry_matrix_is_equal(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(matrix_get_type(m1) == MATRIX_TYPE_TELEMETRY);
    KOR_ASSERT(m2 != NULL);
    KOR_ASSERT(matrix_get_type(m2) == MATRIX_TYPE_TELEMETRY);
    const auto *const sensors1 = static_cast<body *>(m1->matrix)->sensors;
    const auto *const sensors2 = static_cast<body *>(m2->matrix)->sensors;
    const auto *const timestamps1 = static_cast<body *>(m1->matrix)->timestamps;
    const auto *const timestamps2 = static_cast<body *>(m2->matrix)->timestamps;
    KOR_ASSERT(sensors1 != NULL);
    KOR_ASSERT(sensors2 != NULL);
    KOR_ASSERT(timestamps1 != NULL);
    KOR_ASSERT(timestamps2 != NULL);
    return matrix_is_equal(m1, m2) &&
           sensor_array_is_equal(sensors1, sensors2) &&
           timestamp_array_is_equal(timestamps1, timestamps2);
}
