// kor_cb_record_sensor_names.cpp: the column header of a current buffer.
//
// A names record holds a snapshot of the sensors that shares nothing with the
// array it was made from.  Were the elements shared, a later sensor_array_set
// on the vector would rename the columns of what is already stored.
#include "kor_cb_record_sensor_names.h"

#include <utility>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "io/codec.hpp"
#include "recorder/copy_target.hpp"
#include "recorder/stored_forms.hpp"
#include "telemetry_matrix.h"

// Null with the last error set on failure.  Empty slots stay empty.
static struct sensor_array *take_snapshot(const struct sensor_array *sensors)
{
    const uint32_t count = sensor_array_get_size(sensors);
    if (count == 0) return sensor_array_create_null();
    vela::owned<sensor_array_destroy> snapshot(
        sensor_array_create_empty(count));
    if (!snapshot) return nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        const struct sensor *const sensor = sensors->sensors[i];
        if (sensor == nullptr) continue;
        snapshot->sensors[i] = sensor_copy(sensor, nullptr);
        if (snapshot->sensors[i] == nullptr) return nullptr;
    }
    return snapshot.release();
}

static int write_columns(struct sensor_array *const *sensors,
                         struct writer *writer)
{
    return binary_serializer_write_sensor_array(*sensors, writer);
}

static int read_columns(struct sensor_array **sensors, struct reader *reader)
{
    vela::owned<sensor_array_destroy> stored(sensor_array_create_null());
    if (!stored) return vela_get_last_error();
    const int nread = binary_serializer_read_sensor_array(stored.get(), reader);
    if (nread > 0) *sensors = stored.release();
    return nread;
}

static constexpr vela::serializer<struct sensor_array *> columns_form = {
    .write = write_columns,
    .read = read_columns,
};

static constexpr auto names_form = [](auto &archive, auto &rec) {
    vela::names_form(archive, rec.version, rec.timestamp, rec.sensors,
                     columns_form);
};

int kor_cb_record_sensor_names_init(struct kor_cb_record_sensor_names *rec,
                                    struct matrix *vector)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(vector != NULL);
    KOR_ASSERT(matrix_get_number_rows(vector) == 1);
    KOR_ASSERT(telemetry_matrix_get_timestamps(vector) != NULL);
    KOR_ASSERT(telemetry_matrix_get_sensors(vector) != NULL);
    rec->version = KOR_CB_RECORD_SENSOR_NAMES_VERSION;
    timestamp_copy(
        timestamp_array_get(telemetry_matrix_get_timestamps(vector), 0),
        &rec->timestamp);
    rec->sensors = take_snapshot(telemetry_matrix_get_sensors(vector));
    if (rec->sensors != nullptr) return KOR_OK;
    timestamp_destruct(&rec->timestamp);
    return vela_get_last_error();
}

struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_create(
    struct matrix *vector)
{
    return vela::create<struct kor_cb_record_sensor_names>([=](auto *rec) {
        return kor_cb_record_sensor_names_init(rec, vector);
    });
}

int kor_cb_record_sensor_names_init_null(struct kor_cb_record_sensor_names *rec)
{
    KOR_ASSERT(rec != NULL);
    rec->version = KOR_CB_RECORD_SENSOR_NAMES_VERSION;
    timestamp_init_null(&rec->timestamp);
    rec->sensors = nullptr;
    return KOR_OK;
}

struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_create_null(void)
{
    return vela::create<struct kor_cb_record_sensor_names>(
        kor_cb_record_sensor_names_init_null);
}

void kor_cb_record_sensor_names_destruct(struct kor_cb_record_sensor_names *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version > 0);
    if (rec->sensors != nullptr) sensor_array_destroy(&rec->sensors);
    rec->version = 0;
    timestamp_destruct(&rec->timestamp);
}

void kor_cb_record_sensor_names_destroy(struct kor_cb_record_sensor_names **rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(*rec != NULL);
    vela::destroy(rec, kor_cb_record_sensor_names_destruct);
}

struct kor_cb_record_sensor_names *kor_cb_record_sensor_names_copy(
    const struct kor_cb_record_sensor_names *rec,
    struct kor_cb_record_sensor_names *dest)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version > 0);
    KOR_ASSERT(rec->sensors != NULL);
    vela::copy_target target(dest);
    struct kor_cb_record_sensor_names *const copy = target.get();
    if (copy == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    copy->version = rec->version;
    timestamp_copy(&rec->timestamp, &copy->timestamp);
    copy->sensors = take_snapshot(rec->sensors);
    return copy->sensors != nullptr ? target.release() : nullptr;
}

int kor_cb_record_sensor_names_is_equal(
    const struct kor_cb_record_sensor_names *rec1,
    const struct kor_cb_record_sensor_names *rec2)
{
    KOR_ASSERT(rec1 != NULL);
    KOR_ASSERT(rec1->version > 0);
    KOR_ASSERT(rec2 != NULL);
    KOR_ASSERT(rec2->version > 0);
    return timestamp_is_equal(&rec1->timestamp, &rec2->timestamp) &&
           kor_cb_record_sensor_names_are_sensors_equal(rec1, rec2);
}

int kor_cb_record_sensor_names_are_sensors_equal(
    const struct kor_cb_record_sensor_names *rec1,
    const struct kor_cb_record_sensor_names *rec2)
{
    KOR_ASSERT(rec1 != NULL);
    KOR_ASSERT(rec1->version > 0);
    KOR_ASSERT(rec2 != NULL);
    KOR_ASSERT(rec2->version > 0);
    return sensor_array_is_equal(rec1->sensors, rec2->sensors);
}

uint32_t kor_cb_record_sensor_names_get_number_sensors(
    const struct kor_cb_record_sensor_names *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version > 0);
    return sensor_array_get_size(rec->sensors);
}

struct sensor_array *kor_cb_record_sensor_names_get_sensors(
    const struct kor_cb_record_sensor_names *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version > 0);
    return rec->sensors;
}

struct timestamp *kor_cb_record_sensor_names_get_timestamp(
    struct kor_cb_record_sensor_names *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version > 0);
    return &rec->timestamp;
}

int binary_serializer_write_kor_cb_record_sensor_names(
    const struct kor_cb_record_sensor_names *rec, struct writer *writer)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 1);
    KOR_ASSERT(rec->sensors != NULL);
    KOR_ASSERT(writer != NULL);
    return vela::encode(*rec, writer, names_form);
}

// Reads into a record of its own, so that a failure leaves `rec` as it was.
int binary_serializer_read_kor_cb_record_sensor_names(
    struct kor_cb_record_sensor_names *rec, struct reader *reader)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 1);
    KOR_ASSERT(reader != NULL);
    struct kor_cb_record_sensor_names stored;
    kor_cb_record_sensor_names_init_null(&stored);
    const int nread = vela::decode(stored, reader, names_form);
    if (nread > 0) std::swap(*rec, stored);
    kor_cb_record_sensor_names_destruct(&stored);
    return nread;
}
