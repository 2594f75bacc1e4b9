// kor_cb_record_sensor_values.cpp: one sample: a time stamp and its readings.
//
// The readings lie either in an array of the record's own or in row 0 of a
// vector that somebody else owns, never in both.
#include "kor_cb_record_sensor_values.h"

#include <algorithm>
#include <cstdlib>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "common/narrow.hpp"
#include "error.h"
#include "io/codec.hpp"
#include "matrix_compare.h"
#include "recorder/stored_forms.hpp"
#include "sensor_value.h"
#include "telemetry_matrix.h"

// Readings narrowed at a time on their way to a writer.
static constexpr uint32_t readings_per_block =
    vela::codec_block_size / sizeof(float);

// The vector's row of readings.  A telemetry matrix always has direct access.
static const matrix_value *row_of(const struct kor_cb_record_sensor_values &rec)
{
    KOR_ASSERT(rec.vector->values != NULL);
    KOR_ASSERT(rec.n_sensors <= matrix_get_number_columns(rec.vector));
    return rec.vector->values[0];
}

static void narrow_readings(const matrix_value *row, uint32_t count,
                            float *readings)
{
    for (uint32_t i = 0; i < count; ++i) readings[i] = vela::narrow(row[i]);
}

static void write_vector(const struct kor_cb_record_sensor_values &rec,
                         vela::encoder &archive)
{
    const matrix_value *const row = row_of(rec);
    for (uint32_t first = 0; first < rec.n_sensors && archive.ok();
         first += readings_per_block) {
        float block[readings_per_block];
        const uint32_t count =
            std::min(readings_per_block, rec.n_sensors - first);
        narrow_readings(row + first, count, block);
        archive.f32s(block, count);
    }
}

static int write_readings(const struct kor_cb_record_sensor_values *rec,
                          struct writer *writer)
{
    vela::encoder archive(writer);
    archive.u32(rec->n_sensors);
    if (rec->values != nullptr)
        archive.f32s(rec->values, rec->n_sensors);
    else
        write_vector(*rec, archive);
    return archive.result();
}

// Gives the record an array of `count` readings, reusing the one it has.
static int prepare_values(struct kor_cb_record_sensor_values *rec,
                          uint32_t count)
{
    if (rec->values != nullptr && rec->n_sensors == count) return KOR_OK;
    vela::heap<float> previous(rec->values);
    rec->values = nullptr;
    if (previous) rec->n_sensors = 0;
    vela::heap<float> values(
        static_cast<float *>(calloc(count, sizeof(float))));
    if (!values) return KOR_ERR_NO_MEMORY;
    rec->values = values.release();
    rec->n_sensors = count;
    return KOR_OK;
}

static int read_readings(struct kor_cb_record_sensor_values *rec,
                         struct reader *reader)
{
    uint32_t count = 0;
    vela::decoder archive(reader);
    archive.u32(count);
    archive.check(count >= 1 && count <= vela::max_serialized_count,
                  KOR_ERR_INVALID_DATA);
    if (!archive.ok()) return archive.result();
    const int prepared = prepare_values(rec, count);
    if (prepared < 0) return prepared;
    rec->vector = nullptr;
    archive.f32s(rec->values, count);
    return archive.result();
}

static constexpr vela::serializer<struct kor_cb_record_sensor_values>
    readings_form = {.write = write_readings, .read = read_readings};

static constexpr auto values_form = [](auto &archive, auto &rec) {
    archive.version(rec.version, KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    archive.object(rec.timestamp, vela::timestamp_form);
    archive.object(rec, readings_form);
};

void kor_cb_record_sensor_values_init(struct kor_cb_record_sensor_values *rec,
                                      struct matrix *vector)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(vector != NULL);
    KOR_ASSERT(matrix_get_number_rows(vector) == 1);
    KOR_ASSERT(telemetry_matrix_get_timestamps(vector) != NULL);
    KOR_ASSERT(telemetry_matrix_get_sensors(vector) != NULL);
    rec->version = KOR_CB_RECORD_SENSOR_VALUES_VERSION;
    timestamp_copy(
        timestamp_array_get(telemetry_matrix_get_timestamps(vector), 0),
        &rec->timestamp);
    rec->n_sensors = telemetry_matrix_get_number_sensors(vector);
    KOR_ASSERT(rec->n_sensors > 0);
    rec->vector = vector;
    rec->values = nullptr;
}

struct kor_cb_record_sensor_values *kor_cb_record_sensor_values_create(
    struct matrix *vector)
{
    return vela::create<struct kor_cb_record_sensor_values>([=](auto *rec) {
        kor_cb_record_sensor_values_init(rec, vector);
        return KOR_OK;
    });
}

int kor_cb_record_sensor_values_init_null(
    struct kor_cb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    rec->version = KOR_CB_RECORD_SENSOR_VALUES_VERSION;
    timestamp_init_null(&rec->timestamp);
    rec->values = nullptr;
    rec->n_sensors = 0;
    rec->vector = nullptr;
    return KOR_OK;
}

struct kor_cb_record_sensor_values *kor_cb_record_sensor_values_create_null(
    void)
{
    return vela::create<struct kor_cb_record_sensor_values>(
        kor_cb_record_sensor_values_init_null);
}

void kor_cb_record_sensor_values_destruct(
    struct kor_cb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    rec->version = 0;
    timestamp_destruct(&rec->timestamp);
    rec->n_sensors = 0;
    if (rec->values != nullptr) {
        KOR_ASSERT(rec->vector == NULL);
        free(rec->values);
    }
    rec->values = nullptr;
    rec->vector = nullptr;
}

void kor_cb_record_sensor_values_destroy(
    struct kor_cb_record_sensor_values **rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(*rec != NULL);
    vela::destroy(rec, kor_cb_record_sensor_values_destruct);
}

// The i-th reading, wherever the record holds it.
static float reading_of(const struct kor_cb_record_sensor_values &rec,
                        uint32_t i)
{
    return rec.values != nullptr ? rec.values[i]
                                 : vela::narrow(matrix_get(rec.vector, 0, i));
}

static bool are_readings_equal(const struct kor_cb_record_sensor_values &rec1,
                               const struct kor_cb_record_sensor_values &rec2)
{
    for (uint32_t i = 0; i < rec1.n_sensors; ++i)
        if (sensor_value_compare(reading_of(rec1, i), reading_of(rec2, i)) != 0)
            return false;
    return true;
}

int kor_cb_record_sensor_values_is_equal(
    struct kor_cb_record_sensor_values *rec1,
    struct kor_cb_record_sensor_values *rec2)
{
    KOR_ASSERT(rec1 != NULL);
    KOR_ASSERT(rec1->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    KOR_ASSERT((rec1->values == NULL) ^ (rec1->vector == NULL));
    KOR_ASSERT(rec1->n_sensors > 0);
    KOR_ASSERT(rec2 != NULL);
    KOR_ASSERT(rec2->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    KOR_ASSERT((rec2->values == NULL) ^ (rec2->vector == NULL));
    KOR_ASSERT(rec2->n_sensors > 0);
    if (!timestamp_is_equal(&rec1->timestamp, &rec2->timestamp)) return 0;
    if (rec1->n_sensors != rec2->n_sensors) return 0;
    if (rec1->vector != nullptr && rec2->vector != nullptr)
        return matrix_is_equal(rec1->vector, rec2->vector);
    return are_readings_equal(*rec1, *rec2);
}

uint32_t kor_cb_record_sensor_values_get_number_values(
    const struct kor_cb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    KOR_ASSERT(rec->n_sensors > 0);
    return rec->n_sensors;
}

float *kor_cb_record_sensor_values_get_values(
    struct kor_cb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    KOR_ASSERT((rec->values == NULL) ^ (rec->vector == NULL));
    KOR_ASSERT(rec->n_sensors > 0);
    if (rec->values != nullptr) return rec->values;
    vela::heap<float> values(
        static_cast<float *>(calloc(rec->n_sensors, sizeof(float))));
    if (!values) return vela::fail(KOR_ERR_NO_MEMORY);
    narrow_readings(row_of(*rec), rec->n_sensors, values.get());
    rec->vector = nullptr;
    rec->values = values.release();
    return rec->values;
}

struct timestamp *kor_cb_record_sensor_values_get_timestamp(
    struct kor_cb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    return &rec->timestamp;
}

int binary_serializer_write_kor_cb_record_sensor_values(
    const struct kor_cb_record_sensor_values *rec, struct writer *writer)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 1);
    KOR_ASSERT((rec->values == NULL) ^ (rec->vector == NULL));
    KOR_ASSERT(rec->n_sensors > 0);
    KOR_ASSERT(writer != NULL);
    if (rec->n_sensors > vela::max_serialized_count) return KOR_ERR_TOO_LONG;
    return vela::encode(*rec, writer, values_form);
}

int binary_serializer_read_kor_cb_record_sensor_values(
    struct kor_cb_record_sensor_values *rec, struct reader *reader)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 1);
    KOR_ASSERT(reader != NULL);
    return vela::decode(*rec, reader, values_form);
}
