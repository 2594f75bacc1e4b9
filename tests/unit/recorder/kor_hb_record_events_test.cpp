#include "kor_hb_record_events.h"

#include "record_support.hpp"

namespace {

using test::bytes;
using test::memory_reader;
using test::memory_writer;

struct kor_hb_record_events counting(uint32_t type1, uint32_t type2,
                                     uint32_t type3, uint32_t type4,
                                     uint32_t type5)
{
    struct kor_hb_record_events rec;
    kor_hb_record_events_init_null(&rec);
    rec.n_type1 = type1;
    rec.n_type2 = type2;
    rec.n_type3 = type3;
    rec.n_type4 = type4;
    rec.n_type5 = type5;
    return rec;
}

// The counters stand in the order 1, 4, 2, 3, 5.
const std::string one_to_five = bytes(
    "01 00 00 00 01 00 00 00 04 00 00 00 02 00 00 00"
    "03 00 00 00 05");
constexpr size_t second_counter_at = 1 + 4;

int read(struct kor_hb_record_events *rec, const std::string &stored)
{
    memory_reader in(stored);
    return binary_serializer_read_kor_hb_record_events(rec, in.get());
}

TEST(KorHbRecordEvents, NullSummaryCountsNothing)
{
    struct kor_hb_record_events rec;
    EXPECT_EQ(kor_hb_record_events_init_null(&rec), KOR_OK);
    EXPECT_EQ(rec.version, KOR_HB_RECORD_EVENTS_VERSION);
    const struct kor_hb_record_events none = counting(0, 0, 0, 0, 0);
    EXPECT_TRUE(kor_hb_record_events_is_equal(&rec, &none));
}

TEST(KorHbRecordEvents, DestructClearsEverything)
{
    struct kor_hb_record_events rec = counting(1, 2, 3, 4, 5);
    kor_hb_record_events_destruct(&rec);
    EXPECT_EQ(rec.version, 0);
    EXPECT_EQ(rec.n_type1 + rec.n_type2 + rec.n_type3 + rec.n_type4, 0u);
    EXPECT_EQ(rec.n_type5, 0u);
}

TEST(KorHbRecordEvents, DestroyClearsThePointer)
{
    struct kor_hb_record_events *rec = kor_hb_record_events_create_null();
    kor_hb_record_events_destroy(&rec);
    EXPECT_EQ(rec, nullptr);
}

TEST(KorHbRecordEvents, CopiesIntoNewAndGivenStorage)
{
    const struct kor_hb_record_events rec = counting(1, 2, 3, 4, 5);
    struct kor_hb_record_events *copy =
        kor_hb_record_events_copy(&rec, nullptr);
    EXPECT_TRUE(kor_hb_record_events_is_equal(&rec, copy));
    kor_hb_record_events_destroy(&copy);
    struct kor_hb_record_events dest = {};
    EXPECT_EQ(kor_hb_record_events_copy(&rec, &dest), &dest);
    EXPECT_TRUE(kor_hb_record_events_is_equal(&rec, &dest));
}

TEST(KorHbRecordEvents, EqualityLooksAtEveryCounter)
{
    const struct kor_hb_record_events rec = counting(1, 2, 3, 4, 5);
    const auto is_equal = [&](const struct kor_hb_record_events &other) {
        return kor_hb_record_events_is_equal(&rec, &other);
    };
    EXPECT_EQ(is_equal(counting(1, 2, 3, 4, 5)), 1);
    EXPECT_EQ(is_equal(counting(0, 2, 3, 4, 5)), 0);
    EXPECT_EQ(is_equal(counting(1, 0, 3, 4, 5)), 0);
    EXPECT_EQ(is_equal(counting(1, 2, 0, 4, 5)), 0);
    EXPECT_EQ(is_equal(counting(1, 2, 3, 0, 5)), 0);
    EXPECT_EQ(is_equal(counting(1, 2, 3, 4, 0)), 0);
}

TEST(KorHbRecordEvents, MergingAddsCounterByCounter)
{
    struct kor_hb_record_events rec = counting(1, 2, 3, 4, 5);
    const struct kor_hb_record_events other = counting(10, 20, 30, 40, 50);
    kor_hb_record_events_merge_with(&rec, &other);
    const struct kor_hb_record_events expected = counting(11, 22, 33, 44, 55);
    EXPECT_TRUE(kor_hb_record_events_is_equal(&rec, &expected));
}

TEST(KorHbRecordEvents, MergingWrapsAround)
{
    struct kor_hb_record_events rec = counting(UINT32_MAX, 0, 0, 0, 0);
    const struct kor_hb_record_events other = counting(2, 0, 0, 0, 0);
    kor_hb_record_events_merge_with(&rec, &other);
    EXPECT_EQ(rec.n_type1, 1u);
}

TEST(KorHbRecordEvents, IsStoredInTheseBytes)
{
    const struct kor_hb_record_events rec = counting(1, 2, 3, 4, 5);
    EXPECT_EQ(test::stored_by([&](struct writer *out) {
                  return binary_serializer_write_kor_hb_record_events(&rec,
                                                                      out);
              }),
              one_to_five);
}

TEST(KorHbRecordEvents, ReadsBackEqual)
{
    struct kor_hb_record_events rec = counting(0, 0, 0, 0, 0);
    EXPECT_EQ(read(&rec, one_to_five), 21);
    const struct kor_hb_record_events expected = counting(1, 2, 3, 4, 5);
    EXPECT_TRUE(kor_hb_record_events_is_equal(&rec, &expected));
}

TEST(KorHbRecordEvents, EveryCutIsRefusedAndLeavesTheRecordAsItWas)
{
    test::expect_every_cut_is_refused(
        one_to_five, {.when_empty = 0, .aborting = {second_counter_at}},
        [](struct reader *in) {
            struct kor_hb_record_events rec = counting(6, 7, 8, 9, 10);
            const struct kor_hb_record_events before = rec;
            const int nread =
                binary_serializer_read_kor_hb_record_events(&rec, in);
            EXPECT_EQ(kor_hb_record_events_is_equal(&rec, &before), nread <= 0);
            return nread;
        });
}

TEST(KorHbRecordEvents, OtherVersionsAreRefused)
{
    struct kor_hb_record_events rec = counting(0, 0, 0, 0, 0);
    EXPECT_EQ(read(&rec, test::with(one_to_five, 0, bytes("00"))),
              KOR_ERR_WRONG_VERSION);
    EXPECT_EQ(read(&rec, test::with(one_to_five, 0, bytes("02"))),
              KOR_ERR_WRONG_VERSION);
}

TEST(KorHbRecordEvents, FailuresOfTheStreamsComeThrough)
{
    struct kor_hb_record_events rec = counting(1, 2, 3, 4, 5);
    test::expect_writer_failures_come_through(
        one_to_five, [&](struct writer *out) {
            return binary_serializer_write_kor_hb_record_events(&rec, out);
        });
    test::expect_reader_failures_come_through(
        one_to_five, [&](struct reader *in) {
            return binary_serializer_read_kor_hb_record_events(&rec, in);
        });
}

TEST(KorHbRecordEvents, AllocationFailuresAreClean)
{
    const auto destroyed = [](struct kor_hb_record_events *rec) {
        if (rec == nullptr) return vela_get_last_error();
        kor_hb_record_events_destroy(&rec);
        return static_cast<int>(KOR_OK);
    };
    test::expect_every_allocation_failure_is_clean(
        [&] { return destroyed(kor_hb_record_events_create_null()); });
    const struct kor_hb_record_events rec = counting(1, 2, 3, 4, 5);
    test::expect_every_allocation_failure_is_clean(
        [&] { return destroyed(kor_hb_record_events_copy(&rec, nullptr)); });
}

TEST(KorHbRecordEventsDeathTest, EveryEntryAsksForALiveRecord)
{
    struct kor_hb_record_events dead = {};
    struct kor_hb_record_events rec = counting(0, 0, 0, 0, 0);
    EXPECT_ABORTS(kor_hb_record_events_init_null(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_events_destruct(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_events_destruct(&dead),
                  "rec->version == KOR_HB_RECORD_EVENTS_VERSION");
    struct kor_hb_record_events *none = nullptr;
    EXPECT_ABORTS(kor_hb_record_events_destroy(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_events_destroy(&none), "*rec != NULL");
    EXPECT_ABORTS(kor_hb_record_events_copy(nullptr, &rec), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_events_copy(&dead, &rec),
                  "rec->version == KOR_HB_RECORD_EVENTS_VERSION");
    EXPECT_ABORTS(kor_hb_record_events_is_equal(nullptr, &rec), "rec1 != NULL");
    EXPECT_ABORTS(kor_hb_record_events_is_equal(&rec, nullptr), "rec2 != NULL");
    EXPECT_ABORTS(kor_hb_record_events_is_equal(&dead, &rec),
                  "rec1->version == KOR_HB_RECORD_EVENTS_VERSION");
    EXPECT_ABORTS(kor_hb_record_events_is_equal(&rec, &dead),
                  "rec2->version == KOR_HB_RECORD_EVENTS_VERSION");
    EXPECT_ABORTS(kor_hb_record_events_merge_with(nullptr, &rec),
                  "rec1 != NULL");
    EXPECT_ABORTS(kor_hb_record_events_merge_with(&rec, nullptr),
                  "rec2 != NULL");
    EXPECT_ABORTS(kor_hb_record_events_merge_with(&dead, &rec),
                  "rec1->version == KOR_HB_RECORD_EVENTS_VERSION");
    EXPECT_ABORTS(kor_hb_record_events_merge_with(&rec, &dead),
                  "rec2->version == KOR_HB_RECORD_EVENTS_VERSION");
}

TEST(KorHbRecordEventsDeathTest, SerializersAskForRecordAndStream)
{
    memory_writer out;
    memory_reader in(one_to_five);
    struct kor_hb_record_events dead = {};
    struct kor_hb_record_events rec = counting(0, 0, 0, 0, 0);
    EXPECT_ABORTS(
        binary_serializer_write_kor_hb_record_events(nullptr, out.get()),
        "rec != NULL");
    EXPECT_ABORTS(
        binary_serializer_write_kor_hb_record_events(&dead, out.get()),
        "rec->version == 1");
    EXPECT_ABORTS(binary_serializer_write_kor_hb_record_events(&rec, nullptr),
                  "writer != NULL");
    EXPECT_ABORTS(
        binary_serializer_read_kor_hb_record_events(nullptr, in.get()),
        "rec != NULL");
    EXPECT_ABORTS(binary_serializer_read_kor_hb_record_events(&dead, in.get()),
                  "rec->version == 1");
    EXPECT_ABORTS(binary_serializer_read_kor_hb_record_events(&rec, nullptr),
                  "reader != NULL");
}

// Before any other counter the end of the stream is a truncation.
TEST(KorHbRecordEventsDeathTest, EndBehindTheFirstCounterAborts)
{
    struct kor_hb_record_events rec = counting(0, 0, 0, 0, 0);
    EXPECT_ABORTS(read(&rec, one_to_five.substr(0, second_counter_at)),
                  "nread != 0");
}

}  // namespace
