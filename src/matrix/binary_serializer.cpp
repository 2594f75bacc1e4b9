// binary_serializer.cpp: the stored form of matrices.
//
//     matrix      version (1), type (u32), then by type
//       regular     version (1), nrows (u32), ncols (u32), the values (f64)
//       transposed  body version (1), the matrix viewed
//       telemetry   body version (1), the values as a matrix, the sensor
//                   array, the timestamp array
//     optional    0, or 1 and a matrix
#include "binary_serializer.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "io/codec.hpp"
#include "matrix/kinds.hpp"
#include "telemetry_matrix.h"
#include "transposed_matrix.h"

// Matrices inside matrices are read to this depth, so that damaged data cannot
// exhaust the stack.
static constexpr unsigned max_nesting = 1000;

static constexpr vela::serializer<struct sensor_array> sensor_array_form = {
    binary_serializer_write_sensor_array, binary_serializer_read_sensor_array};
static constexpr vela::serializer<struct timestamp_array> timestamp_array_form =
    {binary_serializer_write_timestamp_array,
     binary_serializer_read_timestamp_array};
static constexpr vela::serializer<struct matrix> matrix_form = {
    binary_serializer_write_matrix, binary_serializer_read_matrix};

static size_t count_values(const struct matrix *m)
{
    return static_cast<size_t>(m->nrows) * m->ncols;
}

// --- writing ---

static void _binary_serializer_write_regular_matrix(const struct matrix *m,
                                                    vela::encoder &archive)
{
    KOR_ASSERT(m->version == 1);
    KOR_ASSERT(m->values != NULL);
    // Part of the interface: the version stands twice, and a matrix too large
    // is refused after six bytes.
    archive.version(m->version, MATRIX_VERSION);
    archive.check(m->nrows <= vela::max_serialized_count &&
                      m->ncols <= vela::max_serialized_count,
                  KOR_ERR_TOO_LONG);
    archive.fields(m->nrows, m->ncols);
    archive.f64s(m->values[0], count_values(m));
}

static void _binary_serializer_write_transposed_matrix(
    const struct transposed_matrix_body *m, vela::encoder &archive)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == 1);
    KOR_ASSERT(m->matrix != NULL);
    archive.version(m->version, TRANSPOSED_MATRIX_VERSION);
    archive.object(*m->matrix, matrix_form);
}

static void _binary_serializer_write_telemetry_matrix(
    const struct telemetry_matrix_body *m, vela::encoder &archive)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == 1);
    KOR_ASSERT(m->sensors != NULL);
    KOR_ASSERT(m->timestamps != NULL);
    archive.version(m->version, TELEMETRY_MATRIX_VERSION);
    archive.object(*m->matrix, matrix_form);
    archive.object(*m->sensors, sensor_array_form);
    archive.object(*m->timestamps, timestamp_array_form);
}

int binary_serializer_write_matrix(const struct matrix *m,
                                   struct writer *writer)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == 1);
    KOR_ASSERT(m->type > 0);
    KOR_ASSERT(writer != NULL);
    vela::encoder archive(writer);
    archive.version(m->version, MATRIX_VERSION);
    archive.u32(m->type);
    if (!archive.ok()) return archive.result();
    switch (m->type) {
        case MATRIX_TYPE_REGULAR:
            _binary_serializer_write_regular_matrix(m, archive);
            break;
        case MATRIX_TYPE_TRANSPOSED:
            _binary_serializer_write_transposed_matrix(
                static_cast<struct transposed_matrix_body *>(m->matrix),
                archive);
            break;
        case MATRIX_TYPE_TELEMETRY:
            _binary_serializer_write_telemetry_matrix(
                static_cast<struct telemetry_matrix_body *>(m->matrix),
                archive);
            break;
        default:
            KOR_ASSERT(0);
    }
    return archive.result();
}

int binary_serializer_write_optional_matrix(const struct matrix *m,
                                            struct writer *writer)
{
    KOR_ASSERT(writer != NULL);
    const uint8_t present = m != nullptr;
    const int result = writer_write_bytes(writer, &present, sizeof present);
    if (result < 0 || m == nullptr) return result;
    const int nwritten = binary_serializer_write_matrix(m, writer);
    return nwritten < 0 ? nwritten : 1 + nwritten;
}

// --- reading ---

namespace {
// A matrix to be filled, and how many others it lies in.
struct nested_matrix {
    struct matrix *m;
    unsigned depth;
};
}  // namespace

static void read_body(const nested_matrix &target, vela::decoder &archive);

// Reads the version and stores the type; false when the reading has ended.
static bool read_header(struct matrix *m, vela::decoder &archive)
{
    uint32_t type = 0;
    archive.version(m->version, MATRIX_VERSION);
    archive.u32(type);
    if (archive.ok()) m->type = type;
    return archive.ok();
}

static int read_nested_matrix(nested_matrix *target, struct reader *reader)
{
    vela::decoder archive(reader);
    if (read_header(target->m, archive)) read_body(*target, archive);
    return archive.result();
}

static constexpr vela::serializer<nested_matrix> nested_form = {
    nullptr, read_nested_matrix};

// A new matrix read from inside another, or null.
static vela::owned<matrix_destroy> read_inner(unsigned depth,
                                              vela::decoder &archive)
{
    archive.check(depth <= max_nesting, KOR_ERR_INVALID_DATA);
    if (!archive.ok()) return nullptr;
    vela::owned<matrix_destroy> inner(matrix_create_null());
    if (!inner) {
        KOR_ASSERT(vela_get_last_error() < 0);
        archive.check(false, vela_get_last_error());
        return nullptr;
    }
    nested_matrix target = {inner.get(), depth};
    archive.object(target, nested_form);
    if (!archive.ok()) inner.reset();
    return inner;
}

// A failed init leaves no version behind; what is read into must stay an
// object that its owner can destroy.
static void check_init(int result, struct matrix *m, vela::decoder &archive)
{
    if (result < 0) matrix_init_null(m);
    archive.check(result == KOR_OK, result);
}

static void _binary_serializer_read_regular_matrix(struct matrix *m,
                                                   vela::decoder &archive)
{
    KOR_ASSERT(m->version == 1);
    uint32_t nrows = 0;
    uint32_t ncols = 0;
    archive.version(m->version, MATRIX_VERSION);
    archive.fields(nrows, ncols);
    archive.check(nrows >= 1 && nrows <= vela::max_serialized_count,
                  KOR_ERR_INVALID_DATA);
    archive.check(ncols >= 1 && ncols <= vela::max_serialized_count,
                  KOR_ERR_INVALID_DATA);
    if (!archive.ok()) return;
    check_init(matrix_init(m, nrows, ncols), m, archive);
    if (archive.ok()) archive.f64s(m->values[0], count_values(m));
}

static void _binary_serializer_read_transposed_matrix(
    const nested_matrix &target, vela::decoder &archive)
{
    archive.version(TRANSPOSED_MATRIX_VERSION, TRANSPOSED_MATRIX_VERSION);
    vela::owned<matrix_destroy> viewed = read_inner(target.depth + 1, archive);
    if (!viewed) return;
    check_init(transposed_matrix_init(target.m, viewed.get()), target.m,
               archive);
    if (archive.ok()) viewed.release();
}

// A new label array read with `form`, or null.
template <auto Destroy, class Array>
static vela::owned<Destroy> read_labels(Array *null_array,
                                        const vela::serializer<Array> &form,
                                        vela::decoder &archive)
{
    vela::owned<Destroy> labels(null_array);
    if (!labels) {
        KOR_ASSERT(vela_get_last_error() < 0);
        archive.check(false, vela_get_last_error());
        return labels;
    }
    archive.object(*labels, form);
    if (!archive.ok()) labels.reset();
    return labels;
}

static void _binary_serializer_read_telemetry_matrix(
    const nested_matrix &target, vela::decoder &archive)
{
    archive.version(TELEMETRY_MATRIX_VERSION, TELEMETRY_MATRIX_VERSION);
    auto values = read_inner(target.depth + 1, archive);
    if (!values) return;
    auto sensors = read_labels<sensor_array_destroy>(
        sensor_array_create_null(), sensor_array_form, archive);
    if (!sensors) return;
    auto timestamps = read_labels<timestamp_array_destroy>(
        timestamp_array_create_null(), timestamp_array_form, archive);
    if (!timestamps) return;
    check_init(vela::init_telemetry(target.m, values.get(), sensors.get(),
                                    timestamps.get()),
               target.m, archive);
    if (!archive.ok()) return;
    values.release();
    sensors.release();
    timestamps.release();
}

static void read_body(const nested_matrix &target, vela::decoder &archive)
{
    switch (target.m->type) {
        case MATRIX_TYPE_REGULAR:
            _binary_serializer_read_regular_matrix(target.m, archive);
            break;
        case MATRIX_TYPE_TRANSPOSED:
            _binary_serializer_read_transposed_matrix(target, archive);
            break;
        case MATRIX_TYPE_TELEMETRY:
            _binary_serializer_read_telemetry_matrix(target, archive);
            break;
        default:
            archive.check(false, KOR_ERR_INVALID_DATA);
    }
}

int binary_serializer_read_matrix(struct matrix *m, struct reader *reader)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == 1);
    KOR_ASSERT(reader != NULL);
    vela::decoder archive(reader);
    if (!read_header(m, archive)) return archive.result();
    KOR_ASSERT(m->matrix == NULL);
    read_body({m, 0}, archive);
    return archive.result();
}

int binary_serializer_read_optional_matrix(struct matrix **m,
                                           struct reader *reader)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(*m == NULL);
    KOR_ASSERT(reader != NULL);
    uint8_t present = 0;
    const int result =
        binary_serializer_read_bytes(&present, sizeof present, reader);
    if (result <= 0) return result;
    if (present > 1) return KOR_ERR_INVALID_DATA;
    if (present == 0) return result;

    vela::owned<matrix_destroy> matrix(matrix_create_null());
    if (!matrix) return vela_get_last_error();
    const int nread = binary_serializer_read_matrix(matrix.get(), reader);
    if (nread == 0) return KOR_ERR_TRUNCATED;
    if (nread < 0) return nread;
    *m = matrix.release();
    return 1 + nread;
}
