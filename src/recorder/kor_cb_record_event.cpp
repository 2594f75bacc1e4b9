// kor_cb_record_event.cpp: a typed text event with a time stamp.
#include "kor_cb_record_event.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "io/codec.hpp"
#include "recorder/stored_forms.hpp"

static constexpr auto event_form = [](auto &archive, auto &rec) {
    archive.version(rec.version, KOR_CB_RECORD_EVENT_VERSION);
    archive.u32(rec.type);
    archive.object(rec.t, vela::timestamp_form);
    archive.string(rec.text);
};

int kor_cb_record_event_init(struct kor_cb_record_event *rec, uint32_t type,
                             const struct timestamp *t, const char *text)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(type > 0);
    KOR_ASSERT(t != NULL);
    KOR_ASSERT(text != NULL);
    rec->version = KOR_CB_RECORD_EVENT_VERSION;
    rec->type = type;
    timestamp_copy(t, &rec->t);
    rec->text = strdup(text);
    if (rec->text != nullptr) return KOR_OK;
    timestamp_destruct(&rec->t);
    return KOR_ERR_NO_MEMORY;
}

struct kor_cb_record_event *kor_cb_record_event_create(
    uint32_t type, const struct timestamp *t, const char *text)
{
    return vela::create<struct kor_cb_record_event>([=](auto *rec) {
        return kor_cb_record_event_init(rec, type, t, text);
    });
}

int kor_cb_record_event_init_null(struct kor_cb_record_event *rec)
{
    KOR_ASSERT(rec != NULL);
    rec->version = KOR_CB_RECORD_EVENT_VERSION;
    rec->type = 0;
    timestamp_init_null(&rec->t);
    rec->text = nullptr;
    return KOR_OK;
}

struct kor_cb_record_event *kor_cb_record_event_create_null(void)
{
    return vela::create<struct kor_cb_record_event>(
        kor_cb_record_event_init_null);
}

void kor_cb_record_event_destruct(struct kor_cb_record_event *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_CB_RECORD_EVENT_VERSION);
    rec->version = 0;
    rec->type = 0;
    timestamp_destruct(&rec->t);
    free(rec->text);
    rec->text = nullptr;
}

void kor_cb_record_event_destroy(struct kor_cb_record_event **rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(*rec != NULL);
    vela::destroy(rec, kor_cb_record_event_destruct);
}

int kor_cb_record_event_is_equal(const struct kor_cb_record_event *rec1,
                                 const struct kor_cb_record_event *rec2)
{
    KOR_ASSERT(rec1 != NULL);
    KOR_ASSERT(rec1->version == KOR_CB_RECORD_EVENT_VERSION);
    KOR_ASSERT(rec1->text != NULL);
    KOR_ASSERT(rec2 != NULL);
    KOR_ASSERT(rec2->version == KOR_CB_RECORD_EVENT_VERSION);
    KOR_ASSERT(rec2->text != NULL);
    return rec1->type == rec2->type && timestamp_is_equal(&rec1->t, &rec2->t) &&
           strcmp(rec1->text, rec2->text) == 0;
}

uint32_t kor_cb_record_event_get_type(const struct kor_cb_record_event *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_CB_RECORD_EVENT_VERSION);
    return rec->type;
}

struct timestamp *kor_cb_record_event_get_timestamp(
    struct kor_cb_record_event *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_CB_RECORD_EVENT_VERSION);
    return &rec->t;
}

int binary_serializer_write_kor_cb_record_event(
    const struct kor_cb_record_event *rec, struct writer *writer)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 1);
    KOR_ASSERT(rec->text != NULL);
    KOR_ASSERT(writer != NULL);
    return vela::encode(*rec, writer, event_form);
}

// Reads into a record of its own, so that a failure leaves `rec` as it was.
int binary_serializer_read_kor_cb_record_event(struct kor_cb_record_event *rec,
                                               struct reader *reader)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 1);
    KOR_ASSERT(reader != NULL);
    struct kor_cb_record_event stored;
    kor_cb_record_event_init_null(&stored);
    const int nread = vela::decode(stored, reader, event_form);
    if (nread > 0) std::swap(*rec, stored);
    kor_cb_record_event_destruct(&stored);
    return nread;
}
