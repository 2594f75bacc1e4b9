// kor_hb_record_sensor_names.cpp: the column header of a history buffer.
//
// It is the column header of a current buffer under another name; only the
// way it is made differs.
#include "kor_hb_record_sensor_names.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"

int kor_hb_record_sensor_names_init(kor_hb_record_sensor_names *rec,
                                    const struct timestamp *t,
                                    struct hist_value_list *list)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(list != NULL);
    kor_cb_record_sensor_names_init_null(rec);
    timestamp_copy(t, &rec->timestamp);
    rec->sensors = hist_value_list_get_sensor_copies(list);
    if (rec->sensors != nullptr) return KOR_OK;
    timestamp_destruct(&rec->timestamp);
    // An empty list sets no error of its own, and names no columns.
    const int error = vela_get_last_error();
    return error < 0 ? error : KOR_ERR_INVALID_DATA;
}

kor_hb_record_sensor_names *kor_hb_record_sensor_names_create(
    const struct timestamp *t, struct hist_value_list *list)
{
    return vela::create<kor_hb_record_sensor_names>([=](auto *rec) {
        return kor_hb_record_sensor_names_init(rec, t, list);
    });
}

int kor_hb_record_sensor_names_init_null(kor_hb_record_sensor_names *rec)
{
    return kor_cb_record_sensor_names_init_null(rec);
}

kor_hb_record_sensor_names *kor_hb_record_sensor_names_create_null(void)
{
    return kor_cb_record_sensor_names_create_null();
}

void kor_hb_record_sensor_names_destruct(kor_hb_record_sensor_names *rec)
{
    kor_cb_record_sensor_names_destruct(rec);
}

void kor_hb_record_sensor_names_destroy(kor_hb_record_sensor_names **rec)
{
    kor_cb_record_sensor_names_destroy(rec);
}

kor_hb_record_sensor_names *kor_hb_record_sensor_names_copy(
    const kor_hb_record_sensor_names *rec, kor_hb_record_sensor_names *dest)
{
    return kor_cb_record_sensor_names_copy(rec, dest);
}

int kor_hb_record_sensor_names_is_equal(const kor_hb_record_sensor_names *rec1,
                                        const kor_hb_record_sensor_names *rec2)
{
    return kor_cb_record_sensor_names_is_equal(rec1, rec2);
}

int kor_hb_record_sensor_names_are_sensors_equal(
    const kor_hb_record_sensor_names *rec1,
    const kor_hb_record_sensor_names *rec2)
{
    return kor_cb_record_sensor_names_are_sensors_equal(rec1, rec2);
}

uint32_t kor_hb_record_sensor_names_get_number_sensors(
    const kor_hb_record_sensor_names *rec)
{
    return kor_cb_record_sensor_names_get_number_sensors(rec);
}

struct sensor_array *kor_hb_record_sensor_names_get_sensors(
    const kor_hb_record_sensor_names *rec)
{
    return kor_cb_record_sensor_names_get_sensors(rec);
}

struct timestamp *kor_hb_record_sensor_names_get_timestamp(
    kor_hb_record_sensor_names *rec)
{
    return kor_cb_record_sensor_names_get_timestamp(rec);
}

int binary_serializer_write_kor_hb_record_sensor_names(
    const kor_hb_record_sensor_names *rec, struct writer *writer)
{
    return binary_serializer_write_kor_cb_record_sensor_names(rec, writer);
}

int binary_serializer_read_kor_hb_record_sensor_names(
    kor_hb_record_sensor_names *rec, struct reader *reader)
{
    return binary_serializer_read_kor_cb_record_sensor_names(rec, reader);
}
