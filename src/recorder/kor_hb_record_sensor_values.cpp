// kor_hb_record_sensor_values.cpp: the summary of one interval.
//
// Version 1 is an older stored form without the events.  A record read from
// such a stream keeps version 1 in memory until it is copied.
#include "kor_hb_record_sensor_values.h"

#include <cstdlib>

#include "binary_serializer_common.h"
#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "io/codec.hpp"
#include "recorder/copy_target.hpp"
#include "recorder/stored_forms.hpp"

static constexpr uint8_t current_version = KOR_HB_RECORD_SENSOR_VALUES_VERSION;
static constexpr uint8_t version_without_events = 1;

static int write_version(const uint8_t *version, struct writer *writer)
{
    vela::encoder archive(writer);
    archive.bytes(version, sizeof *version);
    return archive.result();
}

static int read_version(uint8_t *version, struct reader *reader)
{
    uint8_t stored = 0;
    const int nread =
        binary_serializer_read_bytes(&stored, sizeof stored, reader);
    if (nread < 1) return nread;
    if (stored < version_without_events || stored > current_version)
        return KOR_ERR_WRONG_VERSION;
    *version = stored;
    return nread;
}

static int write_hvalues(const struct kor_hb_record_sensor_values *rec,
                         struct writer *writer)
{
    vela::encoder archive(writer);
    archive.u32(rec->n_sensors);
    for (uint32_t i = 0; i < rec->n_sensors; ++i)
        archive.object(rec->hvalues[i], vela::hist_value_form);
    return archive.result();
}

static void drop_hvalues(struct kor_hb_record_sensor_values *rec)
{
    for (uint32_t i = 0; i < rec->n_sensors; ++i)
        hist_value_destruct(&rec->hvalues[i]);
    free(rec->hvalues);
    rec->hvalues = nullptr;
    rec->n_sensors = 0;
}

static struct hist_value *create_hvalues(uint32_t count)
{
    return static_cast<struct hist_value *>(
        calloc(count, sizeof(struct hist_value)));
}

// Gives the record `count` values, reusing the array it has.
static int prepare_hvalues(struct kor_hb_record_sensor_values *rec,
                           uint32_t count)
{
    if (rec->hvalues != nullptr && rec->n_sensors == count) return KOR_OK;
    if (rec->hvalues != nullptr) drop_hvalues(rec);
    rec->hvalues = create_hvalues(count);
    if (rec->hvalues == nullptr) return KOR_ERR_NO_MEMORY;
    rec->n_sensors = count;
    for (uint32_t i = 0; i < count; ++i) hist_value_init(&rec->hvalues[i]);
    return KOR_OK;
}

// Part of the interface: after a failure n_sensors is the number of values
// that were read whole.
static int read_hvalues(struct kor_hb_record_sensor_values *rec,
                        struct reader *reader)
{
    uint32_t count = 0;
    vela::decoder archive(reader);
    archive.u32(count);
    archive.check(count >= 1 && count <= vela::max_serialized_count,
                  KOR_ERR_INVALID_DATA);
    if (!archive.ok()) return archive.result();
    const int prepared = prepare_hvalues(rec, count);
    if (prepared < 0) return prepared;
    for (uint32_t i = 0; i < count; ++i) {
        archive.object(rec->hvalues[i], vela::hist_value_form);
        if (archive.ok()) continue;
        rec->n_sensors = i;
        break;
    }
    return archive.result();
}

static int read_events(struct kor_hb_record_events *events,
                       struct reader *reader)
{
    kor_hb_record_events_init_null(events);
    return binary_serializer_read_kor_hb_record_events(events, reader);
}

static constexpr vela::serializer<uint8_t> version_form = {
    .write = write_version,
    .read = read_version,
};
static constexpr vela::serializer<struct kor_hb_record_sensor_values>
    hvalues_form = {.write = write_hvalues, .read = read_hvalues};
static constexpr vela::serializer<struct kor_hb_record_events> events_form = {
    .write = binary_serializer_write_kor_hb_record_events,
    .read = read_events,
};

static constexpr auto values_form = [](auto &archive, auto &rec) {
    archive.object(rec.version, version_form);
    archive.object(rec.start, vela::timestamp_form);
    archive.object(rec.end, vela::timestamp_form);
    archive.object(rec, hvalues_form);
    if (rec.version != version_without_events)
        archive.object(rec.events, events_form);
};

static bool is_known_version(uint8_t version)
{
    return version == version_without_events || version == current_version;
}

int kor_hb_record_sensor_values_init(struct kor_hb_record_sensor_values *rec,
                                     const struct timestamp *start,
                                     const struct timestamp *end,
                                     struct hist_value_list *list,
                                     const struct kor_hb_record_events *events)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(start != NULL);
    KOR_ASSERT(end != NULL);
    KOR_ASSERT(list != NULL);
    rec->version = current_version;
    timestamp_copy(start, &rec->start);
    timestamp_copy(end, &rec->end);
    rec->n_sensors = hist_value_list_get_size(list);
    KOR_ASSERT(rec->n_sensors > 0);
    if (events != nullptr)
        kor_hb_record_events_copy(events, &rec->events);
    else
        kor_hb_record_events_init_null(&rec->events);
    rec->hvalues = hist_value_list_get_hist_value_copies(list);
    if (rec->hvalues != nullptr) return KOR_OK;
    kor_hb_record_events_destruct(&rec->events);
    timestamp_destruct(&rec->start);
    timestamp_destruct(&rec->end);
    return vela_get_last_error();
}

struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_create(
    const struct timestamp *start, const struct timestamp *end,
    struct hist_value_list *list, const struct kor_hb_record_events *events)
{
    return vela::create<struct kor_hb_record_sensor_values>([=](auto *rec) {
        return kor_hb_record_sensor_values_init(rec, start, end, list, events);
    });
}

int kor_hb_record_sensor_values_init_null(
    struct kor_hb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    rec->version = current_version;
    timestamp_init_null(&rec->start);
    timestamp_init_null(&rec->end);
    rec->hvalues = nullptr;
    rec->n_sensors = 0;
    kor_hb_record_events_init_null(&rec->events);
    return KOR_OK;
}

struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_create_null(
    void)
{
    return vela::create<struct kor_hb_record_sensor_values>(
        kor_hb_record_sensor_values_init_null);
}

void kor_hb_record_sensor_values_destruct(
    struct kor_hb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(is_known_version(rec->version));
    rec->version = 0;
    timestamp_destruct(&rec->start);
    timestamp_destruct(&rec->end);
    drop_hvalues(rec);
    kor_hb_record_events_destruct(&rec->events);
}

void kor_hb_record_sensor_values_destroy(
    struct kor_hb_record_sensor_values **rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(*rec != NULL);
    vela::destroy(rec, kor_hb_record_sensor_values_destruct);
}

struct hist_value *kor_hb_record_sensor_values_get_hist_values(
    const struct kor_hb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(is_known_version(rec->version));
    return rec->hvalues;
}

uint32_t kor_hb_record_sensor_values_get_number_hist_values(
    const struct kor_hb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(is_known_version(rec->version));
    return rec->n_sensors;
}

struct timestamp *kor_hb_record_sensor_values_get_start_timestamp(
    struct kor_hb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(is_known_version(rec->version));
    return &rec->start;
}

struct timestamp *kor_hb_record_sensor_values_get_end_timestamp(
    struct kor_hb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(is_known_version(rec->version));
    return &rec->end;
}

struct kor_hb_record_events *kor_hb_record_sensor_values_get_events(
    struct kor_hb_record_sensor_values *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(is_known_version(rec->version));
    return &rec->events;
}

int kor_hb_record_sensor_values_is_equal(
    const struct kor_hb_record_sensor_values *rec1,
    const struct kor_hb_record_sensor_values *rec2)
{
    KOR_ASSERT(rec1 != NULL);
    KOR_ASSERT(is_known_version(rec1->version));
    KOR_ASSERT(rec1->hvalues != NULL);
    KOR_ASSERT(rec1->n_sensors > 0);
    KOR_ASSERT(rec2 != NULL);
    KOR_ASSERT(is_known_version(rec2->version));
    KOR_ASSERT(rec2->hvalues != NULL);
    KOR_ASSERT(rec2->n_sensors > 0);
    if (rec1->n_sensors != rec2->n_sensors ||
        !timestamp_is_equal(&rec1->start, &rec2->start) ||
        !timestamp_is_equal(&rec1->end, &rec2->end) ||
        !kor_hb_record_events_is_equal(&rec1->events, &rec2->events))
        return 0;
    for (uint32_t i = 0; i < rec1->n_sensors; ++i)
        if (!hist_value_is_equal(&rec1->hvalues[i], &rec2->hvalues[i]))
            return 0;
    return 1;
}

// Part of the interface: the source becomes a record of the current version,
// and the events are not copied.  A new copy has no events.
struct kor_hb_record_sensor_values *kor_hb_record_sensor_values_copy(
    struct kor_hb_record_sensor_values *rec,
    struct kor_hb_record_sensor_values *dest)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(is_known_version(rec->version));
    rec->version = current_version;
    KOR_ASSERT(rec->hvalues != NULL);
    KOR_ASSERT(rec->n_sensors > 0);
    vela::copy_target target(dest);
    struct kor_hb_record_sensor_values *const copy = target.get();
    struct hist_value *const hvalues =
        copy != nullptr ? create_hvalues(rec->n_sensors) : nullptr;
    if (hvalues == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    for (uint32_t i = 0; i < rec->n_sensors; ++i)
        hist_value_copy(&rec->hvalues[i], &hvalues[i]);
    copy->version = current_version;
    timestamp_copy(&rec->start, &copy->start);
    timestamp_copy(&rec->end, &copy->end);
    copy->hvalues = hvalues;
    copy->n_sensors = rec->n_sensors;
    if (target.is_new()) kor_hb_record_events_init_null(&copy->events);
    return target.release();
}

int binary_serializer_write_kor_hb_record_sensor_values(
    const struct kor_hb_record_sensor_values *rec, struct writer *writer)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 2);
    KOR_ASSERT(rec->hvalues != NULL);
    KOR_ASSERT(rec->n_sensors > 0);
    KOR_ASSERT(writer != NULL);
    if (rec->n_sensors > vela::max_serialized_count) return KOR_ERR_TOO_LONG;
    return vela::encode(*rec, writer, values_form);
}

int binary_serializer_read_kor_hb_record_sensor_values(
    struct kor_hb_record_sensor_values *rec, struct reader *reader)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(is_known_version(rec->version));
    KOR_ASSERT(reader != NULL);
    const int nread = vela::decode(*rec, reader, values_form);
    if (nread > 0 && rec->version == version_without_events)
        kor_hb_record_events_init_null(&rec->events);
    return nread;
}
