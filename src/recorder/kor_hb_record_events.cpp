// kor_hb_record_events.cpp: how many events of each type an interval saw.
#include "kor_hb_record_events.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "io/codec.hpp"
#include "recorder/copy_target.hpp"

static int write_second_counter(const uint32_t *counter, struct writer *writer)
{
    vela::encoder archive(writer);
    archive.u32(*counter);
    return archive.result();
}

// Part of the interface: a stream that ends before the second counter is
// taken for a bug, before any other for a truncation.
static int read_second_counter(uint32_t *counter, struct reader *reader)
{
    vela::decoder archive(reader);
    archive.u32(*counter);
    const int nread = archive.result();
    KOR_ASSERT(nread != 0);
    return nread;
}

static constexpr vela::serializer<uint32_t> second_counter_form = {
    .write = write_second_counter,
    .read = read_second_counter,
};

static constexpr auto events_form = [](auto &archive, auto &rec) {
    archive.version(rec.version, KOR_HB_RECORD_EVENTS_VERSION);
    archive.u32(rec.n_type1);
    archive.object(rec.n_type4, second_counter_form);
    archive.fields(rec.n_type2, rec.n_type3, rec.n_type5);
};

int kor_hb_record_events_init_null(struct kor_hb_record_events *rec)
{
    KOR_ASSERT(rec != NULL);
    *rec = {};
    rec->version = KOR_HB_RECORD_EVENTS_VERSION;
    return KOR_OK;
}

struct kor_hb_record_events *kor_hb_record_events_create_null(void)
{
    return vela::create<struct kor_hb_record_events>(
        kor_hb_record_events_init_null);
}

void kor_hb_record_events_destruct(struct kor_hb_record_events *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_HB_RECORD_EVENTS_VERSION);
    *rec = {};
}

void kor_hb_record_events_destroy(struct kor_hb_record_events **rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(*rec != NULL);
    vela::destroy(rec, kor_hb_record_events_destruct);
}

struct kor_hb_record_events *kor_hb_record_events_copy(
    const struct kor_hb_record_events *rec, struct kor_hb_record_events *dest)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == KOR_HB_RECORD_EVENTS_VERSION);
    vela::copy_target target(dest);
    if (target.get() == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    *target.get() = *rec;
    return target.release();
}

int kor_hb_record_events_is_equal(const struct kor_hb_record_events *rec1,
                                  const struct kor_hb_record_events *rec2)
{
    KOR_ASSERT(rec1 != NULL);
    KOR_ASSERT(rec1->version == KOR_HB_RECORD_EVENTS_VERSION);
    KOR_ASSERT(rec2 != NULL);
    KOR_ASSERT(rec2->version == KOR_HB_RECORD_EVENTS_VERSION);
    return rec1->n_type1 == rec2->n_type1 && rec1->n_type4 == rec2->n_type4 &&
           rec1->n_type2 == rec2->n_type2 && rec1->n_type3 == rec2->n_type3 &&
           rec1->n_type5 == rec2->n_type5;
}

void kor_hb_record_events_merge_with(struct kor_hb_record_events *rec1,
                                     const struct kor_hb_record_events *rec2)
{
    KOR_ASSERT(rec1 != NULL);
    KOR_ASSERT(rec1->version == KOR_HB_RECORD_EVENTS_VERSION);
    KOR_ASSERT(rec2 != NULL);
    KOR_ASSERT(rec2->version == KOR_HB_RECORD_EVENTS_VERSION);
    rec1->n_type1 += rec2->n_type1;
    rec1->n_type4 += rec2->n_type4;
    rec1->n_type2 += rec2->n_type2;
    rec1->n_type3 += rec2->n_type3;
    rec1->n_type5 += rec2->n_type5;
}

int binary_serializer_write_kor_hb_record_events(
    const struct kor_hb_record_events *rec, struct writer *writer)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 1);
    KOR_ASSERT(writer != NULL);
    return vela::encode(*rec, writer, events_form);
}

// Reads into a record of its own, so that a failure leaves `rec` as it was.
int binary_serializer_read_kor_hb_record_events(
    struct kor_hb_record_events *rec, struct reader *reader)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->version == 1);
    KOR_ASSERT(reader != NULL);
    struct kor_hb_record_events stored;
    kor_hb_record_events_init_null(&stored);
    const int nread = vela::decode(stored, reader, events_form);
    if (nread > 0) *rec = stored;
    return nread;
}
