// Text telemetry, line by line: a header names the sensors, every other line
// fills the vector with one reading for each of them.
#include "vorn_reader.h"

#include <cstdlib>
#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "sensor_value.h"
#include "telemetry_matrix.h"
#include "timestamp.h"

namespace {

// What fgets may fill; a longer line is read as several.
constexpr int line_size = 65536;
constexpr const char *separators = ",\n\r";

// A reader and, behind it in one block, the line that `priv` points at.  The
// extra byte ends a header that has no line end.
struct reader_block {
    struct vorn_reader reader;
    char line[line_size + 1];
};

// One of these in a line makes it a header.  Part of the interface: the list
// is fixed, and only these two cases of each word count.
constexpr const char *header_words[] = {
    "SSC",  "ssc",  "SB",   "sb",   "Temp",  "temp",  "PS",     "ps",
    "VDC",  "vdc",  "N0",   "n0",   "CORE",  "core",  "CPU",    "cpu",
    "DISK", "disk", "READ", "read", "WRITE", "write", "IDLE",   "idle",
    "V_",   "v_",   "T_",   "t_",   "POWER", "power", "PACKET", "packet"};

}  // namespace

// The next line, ended by two NULs, or null at the end or on a read error.
static char *_vorn_reader_read_line(struct vorn_reader *vorn)
{
    char *const line = static_cast<char *>(vorn->priv);
    if (std::fgets(line, line_size, vorn->fp) == nullptr) return nullptr;
    line[std::strlen(line) + 1] = '\0';
    return line;
}

static bool _vorn_reader_is_numeric(char c)
{
    return c >= ',' && c <= ':';
}

static bool _vorn_reader_is_header(const char *line)
{
    KOR_ASSERT(line != NULL);
    const char *p = line;
    while (_vorn_reader_is_numeric(*p)) ++p;
    if (*p == '\n' || *p == '\0') return false;
    // Names begin behind the 17 characters of a time stamp and its comma.
    KOR_ASSERT(p >= line + 18);
    for (const char *word : header_words)
        if (std::strstr(p, word) != nullptr) return true;
    // Generic names begin with two colons, which count as numeric.
    return std::strstr(p - 2, "::") != nullptr;
}

// Ends each field with a NUL and counts them.
static uint32_t _vorn_reader_split(char *line)
{
    uint32_t nfields = 0;
    char *rest = nullptr;
    for (char *text = line; strtok_r(text, separators, &rest) != nullptr;
         text = nullptr)
        ++nfields;
    return nfields;
}

// Makes a new vector, without values or time, for the sensors of a header.
static int _vorn_reader_init_vector(struct vorn_reader *vorn, char *line)
{
    KOR_ASSERT(vorn != NULL);
    KOR_ASSERT(line != NULL);
    const uint32_t nfields = _vorn_reader_split(line);
    if (nfields == 0) return KOR_ERR_INVALID_DATA;
    const uint32_t nsensors = nfields - 1;
    vela::owned<matrix_destroy> matrix(matrix_create(1, nsensors));
    if (!matrix) return vela_get_last_error();
    vela::owned<sensor_array_destroy> sensors(
        sensor_array_create_empty(nsensors));
    if (!sensors) return vela_get_last_error();

    char *p = line + std::strlen(line) + 1;
    for (uint32_t i = 0; i < nsensors; ++i) {
        // The splitting leaves the second of two separators standing: the
        // field between them is empty.
        if (std::strchr(separators, *p) != nullptr) *p = '\0';
        KOR_ASSERT(*p != '\0');
        struct sensor *const sensor = sensor_create(p);
        if (sensor == nullptr) return vela_get_last_error();
        sensor_array_set(sensors.get(), static_cast<int>(i), sensor);
        p += std::strlen(p) + 1;
    }
    KOR_ASSERT(*p == '\0');

    if (vorn->vector != nullptr) matrix_destroy(&vorn->vector);
    struct timestamp none;
    timestamp_init_null(&none);
    vorn->vector =
        telemetry_matrix_create_vector(matrix.get(), sensors.get(), &none);
    if (vorn->vector == nullptr) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return vela_get_last_error();
    }
    matrix.release();
    sensors.release();
    return KOR_OK;
}

// Stores the readings of a data line; what is left of the line is in `rest`.
static int _vorn_reader_set_values(struct vorn_reader *vorn, char *rest,
                                   uint32_t nsensors, uint32_t *nvalues)
{
    *nvalues = 0;
    while (const char *field = strtok_r(nullptr, separators, &rest)) {
        if (*nvalues == nsensors) return KOR_ERR_INVALID_DATA;
        const sensor_value value = sensor_value_from_string(field);
        matrix_set(vorn->vector, 0, *nvalues, sensor_value_to_double(value));
        ++*nvalues;
    }
    return KOR_OK;
}

static int _vorn_reader_set_timestamp(struct vorn_reader *vorn,
                                      const char *field)
{
    struct timestamp t;
    const int result = timestamp_init_from_string(&t, field);
    if (result < 0) return result;
    return telemetry_matrix_update_vector_timestamp(vorn->vector, &t);
}

struct vorn_reader *vorn_reader_open(const char *filename)
{
    KOR_ASSERT(filename != NULL);
    FILE *const fp = std::fopen(filename, "r");
    if (fp == nullptr) return vela::fail(KOR_ERR_CANNOT_OPEN);
    struct vorn_reader *const vorn = vorn_reader_open_from_fp(fp);
    if (vorn == nullptr) {
        std::fclose(fp);
        KOR_ASSERT(vela_get_last_error() < 0);
        return nullptr;
    }
    vorn->close_fp = 1;
    return vorn;
}

struct vorn_reader *vorn_reader_open_from_fp(FILE *fp)
{
    KOR_ASSERT(fp != NULL);
    vela::heap<reader_block> block(
        static_cast<reader_block *>(std::malloc(sizeof(reader_block))));
    if (!block) return vela::fail(KOR_ERR_NO_MEMORY);
    struct vorn_reader *const vorn = &block->reader;
    *vorn = {.fp = fp, .close_fp = 0, .vector = nullptr, .priv = block->line};

    char *const line = _vorn_reader_read_line(vorn);
    if (line == nullptr) return vela::fail(KOR_ERR_INCOMPLETE);
    if (!_vorn_reader_is_header(line)) return vela::fail(KOR_ERR_INVALID_DATA);
    const int result = _vorn_reader_init_vector(vorn, line);
    if (result < 0) return vela::fail(result);
    return &block.release()->reader;
}

struct matrix *vorn_reader_get_next_telemetry_vector(struct vorn_reader *vorn)
{
    KOR_ASSERT(vorn != NULL);
    KOR_ASSERT(vorn->fp != NULL);
    char *line = nullptr;
    while ((line = _vorn_reader_read_line(vorn)) != nullptr) {
        KOR_ASSERT(vorn->vector != NULL);
        if (!_vorn_reader_is_header(line)) break;
        matrix_destroy(&vorn->vector);
        const int result = _vorn_reader_init_vector(vorn, line);
        if (result < 0) return vela::fail(result);
    }
    if (line == nullptr) {
        KOR_ASSERT(feof(vorn->fp));
        return nullptr;
    }

    char *rest = nullptr;
    const char *const time = strtok_r(line, separators, &rest);
    if (time == nullptr) return vela::fail(KOR_ERR_INVALID_DATA);
    int result = _vorn_reader_set_timestamp(vorn, time);
    if (result < 0) return vela::fail(result);
    const uint32_t nsensors = vorn_reader_get_number_sensors(vorn);
    uint32_t nvalues = 0;
    result = _vorn_reader_set_values(vorn, rest, nsensors, &nvalues);
    if (result < 0) return vela::fail(result);
    // Part of the interface: too few values abort, too many are an error.
    KOR_ASSERT(nvalues == nsensors);
    return vorn->vector;
}

uint32_t vorn_reader_get_number_sensors(struct vorn_reader *vorn)
{
    KOR_ASSERT(vorn != NULL);
    KOR_ASSERT(vorn->vector != NULL);
    return telemetry_matrix_get_number_sensors(vorn->vector);
}

struct sensor_array *vorn_reader_get_sensors(struct vorn_reader *vorn)
{
    KOR_ASSERT(vorn != NULL);
    KOR_ASSERT(vorn->vector != NULL);
    return telemetry_matrix_get_sensors(vorn->vector);
}

void vorn_reader_close(struct vorn_reader **vorn)
{
    KOR_ASSERT(vorn != NULL);
    KOR_ASSERT(*vorn != NULL);
    if ((*vorn)->close_fp) std::fclose((*vorn)->fp);
    // There is none after a header that could not be followed.
    if ((*vorn)->vector != nullptr) matrix_destroy(&(*vorn)->vector);
    std::free(*vorn);
    *vorn = nullptr;
}
