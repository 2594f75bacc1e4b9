// kor_hb_record.cpp: any record of a history buffer.
#include "kor_hb_record.h"

#include "common/contract.hpp"
#include "error.h"
#include "recorder/tagged_record.hpp"

namespace {

struct names_payload {
    using object = kor_hb_record_sensor_names;
    static constexpr uint32_t type = KOR_HB_RECORD_SENSOR_NAMES;
    static constexpr bool recycled = false;
    static constexpr auto create_null = kor_hb_record_sensor_names_create_null;
    static constexpr auto init_null = kor_hb_record_sensor_names_init_null;
    static constexpr auto destruct = kor_hb_record_sensor_names_destruct;
    static constexpr auto destroy = kor_hb_record_sensor_names_destroy;
    static constexpr auto write =
        binary_serializer_write_kor_hb_record_sensor_names;
    static constexpr auto read =
        binary_serializer_read_kor_hb_record_sensor_names;
};

struct values_payload {
    using object = struct kor_hb_record_sensor_values;
    static constexpr uint32_t type = KOR_HB_RECORD_SENSOR_VALUES;
    static constexpr bool recycled = true;
    static constexpr auto create_null = kor_hb_record_sensor_values_create_null;
    static constexpr auto init_null = kor_hb_record_sensor_values_init_null;
    static constexpr auto destruct = kor_hb_record_sensor_values_destruct;
    static constexpr auto destroy = kor_hb_record_sensor_values_destroy;
    static constexpr auto write =
        binary_serializer_write_kor_hb_record_sensor_values;
    static constexpr auto read =
        binary_serializer_read_kor_hb_record_sensor_values;
};

constexpr vela::payload_kind payloads[] = {
    vela::payload_of<names_payload>(),
    vela::payload_of<values_payload>(),
};

}  // namespace

int kor_hb_record_init_null(struct kor_hb_record *rec)
{
    KOR_ASSERT(rec != NULL);
    vela::empty_record(*rec);
    return KOR_OK;
}

int kor_hb_record_init_sensor_names(struct kor_hb_record *rec,
                                    kor_hb_record_sensor_names *names)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(names != NULL);
    vela::borrow_payload(*rec, KOR_HB_RECORD_SENSOR_NAMES, names);
    return KOR_OK;
}

int kor_hb_record_init_sensor_values(struct kor_hb_record *rec,
                                     struct kor_hb_record_sensor_values *values)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(values != NULL);
    vela::borrow_payload(*rec, KOR_HB_RECORD_SENSOR_VALUES, values);
    return KOR_OK;
}

void kor_hb_record_destruct(struct kor_hb_record *rec)
{
    KOR_ASSERT(rec != NULL);
    vela::discard_payload(*rec, payloads);
}

void kor_hb_record_detach(struct kor_hb_record *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->type > 0);
    KOR_ASSERT(rec->data != NULL);
    rec->owns_data = 0;
}

int binary_serializer_write_kor_hb_record(const struct kor_hb_record *rec,
                                          struct writer *writer)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->type == KOR_HB_RECORD_SENSOR_NAMES ||
               rec->type == KOR_HB_RECORD_SENSOR_VALUES);
    KOR_ASSERT(rec->data != NULL);
    KOR_ASSERT(writer != NULL);
    return vela::write_tagged(*rec, payloads, writer);
}

int binary_serializer_read_kor_hb_record(struct kor_hb_record *rec,
                                         struct reader *reader)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(reader != NULL);
    return vela::read_tagged(*rec, payloads, reader);
}
