// Matrices as lines of text: a header when the sensors change, then one line
// for each row.
#include "vorn_serializer.h"

#include <cstdio>
#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "telemetry_matrix.h"
#include "text/three_decimals.hpp"
#include "text/vorn_line.hpp"
#include "timestamp_array.h"

namespace {
constexpr uint32_t timestamp_length = 17;
// A longer name is cut: its first 255 characters are written.
constexpr size_t name_size = 256;
constexpr size_t generic_name_size = 32;
// When a matrix without time stamps begins; local time.
constexpr const char *generic_start = "20070101:00:00:00";
}  // namespace

// Builds a header that begins with `t`; returns its length.
static uint32_t _vorn_serializer_format_header(const struct timestamp *t,
                                               struct sensor **sensors,
                                               uint32_t nsensors,
                                               vela::vorn_line &line)
{
    timestamp_to_string(t, line, sizeof(line));
    uint32_t nbytes = timestamp_length;
    for (uint32_t i = 0; i < nsensors; ++i) {
        char field[1 + name_size] = ",";
        sensor_get_name(sensors[i], field + 1, name_size - 1);
        const uint32_t start = nbytes;
        nbytes += static_cast<uint32_t>(std::strlen(field));
        KOR_ASSERT(nbytes <= sizeof(line));
        std::memcpy(line + start, field, nbytes - start);
    }
    ++nbytes;
    KOR_ASSERT(nbytes <= sizeof(line));
    line[nbytes - 1] = '\n';
    return nbytes;
}

// Builds the line of one row, stamped `t`; returns its length.
static uint32_t _vorn_serializer_format_row(const struct timestamp *t,
                                            const struct matrix *m,
                                            uint32_t row, vela::vorn_line &line)
{
    timestamp_to_string(t, line, sizeof(line));
    uint32_t nbytes = timestamp_length;
    const uint32_t ncols = matrix_get_number_columns(m);
    const vela::three_decimals decimals;
    for (uint32_t i = 0; i < ncols; ++i) {
        char field[1 + vela::three_decimals_size];
        field[0] = ',';
        const char *const end =
            decimals.write(field + 1, matrix_get(m, row, i));
        const uint32_t start = nbytes;
        nbytes += static_cast<uint32_t>(end - field);
        KOR_ASSERT(nbytes <= sizeof(line));
        std::memcpy(line + start, field, nbytes - start);
    }
    ++nbytes;
    KOR_ASSERT(nbytes <= sizeof(line));
    line[nbytes - 1] = '\n';
    return nbytes;
}

static int _vorn_serializer_write_telemetry_matrix(
    const struct telemetry_matrix_body *m, struct writer *writer)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version > 0);
    KOR_ASSERT(m->sensors != NULL);
    KOR_ASSERT(m->timestamps != NULL);
    KOR_ASSERT(m->matrix != NULL);
    KOR_ASSERT(writer->type == WRITER_TYPE_VORN);
    struct sensor **const sensors = sensor_array_get_sensors(m->sensors);
    KOR_ASSERT(sensors != NULL);
    struct timestamp **const timestamps =
        timestamp_array_get_timestamps(m->timestamps);
    KOR_ASSERT(timestamps != NULL);

    const int changed = vorn_writer_have_sensors_changed(writer, m->sensors);
    if (changed < 0) return changed;
    auto &line = static_cast<vela::vorn_writer_state *>(writer->writer)->line;
    uint32_t nbytes = 0;
    if (changed)
        nbytes = _vorn_serializer_format_header(
            timestamps[0], sensors, sensor_array_get_size(m->sensors), line);
    // Part of the interface: an empty header is written too, as 0 bytes.
    int result = writer_write_bytes(writer, line, nbytes);
    if (result < 0) return result;

    // Unsigned, since the text of a huge matrix can pass what an int counts.
    auto total = static_cast<uint32_t>(result);
    const uint32_t nrows = matrix_get_number_rows(m->matrix);
    for (uint32_t i = 0; i < nrows; ++i) {
        nbytes = _vorn_serializer_format_row(timestamps[i], m->matrix, i, line);
        result = writer_write_bytes(writer, line, nbytes);
        if (result < 0) return result;
        total += static_cast<uint32_t>(result);
    }
    return static_cast<int>(total);
}

// "::SENSOR0", "::SENSOR1" and so on, or null with the last error set.
static struct sensor_array *_vorn_serializer_generic_sensors(uint32_t nsensors)
{
    vela::owned<sensor_array_destroy> array(
        sensor_array_create_empty(nsensors));
    if (!array) return nullptr;
    for (uint32_t i = 0; i < nsensors; ++i) {
        const int index = static_cast<int>(i);
        char name[generic_name_size];
        std::snprintf(name, sizeof name, "::SENSOR%d", index);
        struct sensor *const sensor =
            sensor_array_set(array.get(), index, sensor_create(name));
        if (sensor == nullptr) return nullptr;
    }
    return array.release();
}

// One second a row, or null with the last error set.
static struct timestamp_array *_vorn_serializer_generic_timestamps(
    uint32_t ntimestamps)
{
    const vela::owned<timestamp_destroy> start(
        timestamp_create_from_string(generic_start));
    if (!start) return nullptr;
    return timestamp_array_create_dummy(start.get(), ntimestamps);
}

// Writes a matrix that names no sensors under generic names and times.
static int _vorn_serializer_write_plain_matrix(struct matrix *m,
                                               struct writer *writer)
{
    vela::owned<matrix_destroy> wrapper;
    vela::owned<sensor_array_destroy> sensors(
        _vorn_serializer_generic_sensors(matrix_get_number_columns(m)));
    vela::owned<timestamp_array_destroy> timestamps;
    if (sensors)
        timestamps.reset(
            _vorn_serializer_generic_timestamps(matrix_get_number_rows(m)));
    if (timestamps)
        wrapper.reset(
            telemetry_matrix_create(m, sensors.get(), timestamps.get()));
    if (!wrapper) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return vela_get_last_error();
    }
    // The wrapper has taken over all three; the matrix is given back.
    sensors.release();
    timestamps.release();
    telemetry_matrix_detach_original_matrix(wrapper.get());
    return vorn_serializer_write_matrix(wrapper.get(), writer);
}

int vorn_serializer_write_matrix(struct matrix *m, struct writer *writer)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->type > 0);
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(m->type <= MATRIX_TYPE_TELEMETRY);
    if (m->type != MATRIX_TYPE_TELEMETRY)
        return _vorn_serializer_write_plain_matrix(m, writer);
    const auto *const body =
        static_cast<const struct telemetry_matrix_body *>(m->matrix);
    return _vorn_serializer_write_telemetry_matrix(body, writer);
}
