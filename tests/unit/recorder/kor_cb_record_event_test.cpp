#include "kor_cb_record_event.h"

#include "record_support.hpp"

namespace {

using test::at;
using test::bytes;
using test::memory_reader;
using test::memory_writer;

using event_holder =
    test::holder<struct kor_cb_record_event, kor_cb_record_event_destroy>;

constexpr size_t text_at = 1 + 4 + 9;

event_holder event_of(uint32_t type, int32_t seconds, const char *text)
{
    const struct timestamp t = at(seconds);
    return event_holder(kor_cb_record_event_create(type, &t, text));
}

event_holder empty_event()
{
    return event_holder(kor_cb_record_event_create_null());
}

const std::string fan_fail = bytes(
    "01 00 00 00 02 01 45 98 4f 02 00 00 00 00 00 00"
    "00 08 66 61 6e 20 66 61 69 6c");

int read(struct kor_cb_record_event *rec, const std::string &stored)
{
    memory_reader in(stored);
    return binary_serializer_read_kor_cb_record_event(rec, in.get());
}

void expect_untouched(const struct kor_cb_record_event &rec)
{
    EXPECT_EQ(rec.version, KOR_CB_RECORD_EVENT_VERSION);
    EXPECT_EQ(rec.type, 0u);
    EXPECT_TRUE(timestamp_is_null(&rec.t));
    EXPECT_EQ(rec.text, nullptr);
}

TEST(KorCbRecordEvent, CopiesWhatItIsMadeOf)
{
    struct timestamp t = at(7);
    char text[] = "door open";
    const event_holder rec(kor_cb_record_event_create(5, &t, text));
    t = at(8);
    text[0] = '\0';
    EXPECT_EQ(rec->version, KOR_CB_RECORD_EVENT_VERSION);
    EXPECT_EQ(kor_cb_record_event_get_type(rec.get()), 5u);
    const struct timestamp expected = at(7);
    EXPECT_TRUE(timestamp_is_equal(kor_cb_record_event_get_timestamp(rec.get()),
                                   &expected));
    EXPECT_STREQ(rec->text, "door open");
}

TEST(KorCbRecordEvent, NullEventIsEmpty)
{
    struct kor_cb_record_event rec;
    EXPECT_EQ(kor_cb_record_event_init_null(&rec), KOR_OK);
    expect_untouched(rec);
    kor_cb_record_event_destruct(&rec);
}

TEST(KorCbRecordEvent, DestructClearsEverything)
{
    struct kor_cb_record_event rec;
    const struct timestamp t = at(0);
    ASSERT_EQ(kor_cb_record_event_init(&rec, 1, &t, "x"), KOR_OK);
    kor_cb_record_event_destruct(&rec);
    EXPECT_EQ(rec.version, 0);
    EXPECT_EQ(rec.type, 0u);
    EXPECT_EQ(rec.t.version, 0);
    EXPECT_EQ(rec.text, nullptr);
}

TEST(KorCbRecordEvent, DestroyClearsThePointer)
{
    struct kor_cb_record_event *rec = kor_cb_record_event_create_null();
    kor_cb_record_event_destroy(&rec);
    EXPECT_EQ(rec, nullptr);
}

TEST(KorCbRecordEvent, IsStoredInTheseBytes)
{
    const event_holder rec = event_of(2, 1, "fan fail");
    EXPECT_EQ(test::stored_by([&](struct writer *out) {
                  return binary_serializer_write_kor_cb_record_event(rec.get(),
                                                                     out);
              }),
              fan_fail);
}

TEST(KorCbRecordEvent, ReadsBackEqual)
{
    const event_holder rec = event_of(2, 1, "fan fail");
    const event_holder stored = empty_event();
    EXPECT_EQ(read(stored.get(), fan_fail), static_cast<int>(fan_fail.size()));
    EXPECT_TRUE(kor_cb_record_event_is_equal(stored.get(), rec.get()));
}

TEST(KorCbRecordEvent, ReadsOverAnEventAndReplacesIt)
{
    const event_holder rec = event_of(4, 3, "a longer text than the other");
    EXPECT_EQ(read(rec.get(), fan_fail), static_cast<int>(fan_fail.size()));
    EXPECT_STREQ(rec->text, "fan fail");
    EXPECT_EQ(rec->type, 2u);
}

// A type beyond 5, the largest included, is the caller's own affair.
TEST(KorCbRecordEvent, KeepsAnyType)
{
    const event_holder rec = event_of(UINT32_MAX, 0, "x");
    const std::string stored = test::stored_by([&](struct writer *out) {
        return binary_serializer_write_kor_cb_record_event(rec.get(), out);
    });
    const event_holder copy = empty_event();
    ASSERT_GT(read(copy.get(), stored), 0);
    EXPECT_EQ(copy->type, UINT32_MAX);
}

TEST(KorCbRecordEvent, EqualityLooksAtTypeTimeAndText)
{
    const event_holder rec = event_of(2, 1, "fan fail");
    const auto is_equal = [&](const event_holder &other) {
        return kor_cb_record_event_is_equal(rec.get(), other.get());
    };
    EXPECT_EQ(is_equal(event_of(2, 1, "fan fail")), 1);
    EXPECT_EQ(is_equal(event_of(3, 1, "fan fail")), 0);
    EXPECT_EQ(is_equal(event_of(2, 2, "fan fail")), 0);
    EXPECT_EQ(is_equal(event_of(2, 1, "fan fails")), 0);
    EXPECT_EQ(is_equal(event_of(2, 1, "Fan fail")), 0);
}

TEST(KorCbRecordEvent, TextOf10000CharactersIsTheLongest)
{
    const std::string longest(10000, 'x');
    const event_holder rec = event_of(1, 0, longest.c_str());
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_kor_cb_record_event(rec.get(), out.get()),
              static_cast<int>(text_at + 4 + longest.size()));
    const event_holder stored = empty_event();
    EXPECT_GT(read(stored.get(), out.bytes()), 0);
    EXPECT_EQ(stored->text, longest);
}

TEST(KorCbRecordEvent, LongerTextIsRefusedBehindTheFieldsBeforeIt)
{
    const event_holder rec = event_of(1, 0, std::string(10001, 'x').c_str());
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_kor_cb_record_event(rec.get(), out.get()),
              KOR_ERR_TOO_LONG);
    EXPECT_EQ(out.bytes(), bytes("01 00 00 00 01 01 45 98 4f 01 00 00 00 00"));
}

// Part of the interface: what can be written empty cannot be read back.
TEST(KorCbRecordEvent, EmptyTextIsWrittenButNotRead)
{
    const event_holder rec = event_of(1, 0, "");
    memory_writer out;
    ASSERT_GT(binary_serializer_write_kor_cb_record_event(rec.get(), out.get()),
              0);
    const event_holder stored = empty_event();
    EXPECT_EQ(read(stored.get(), out.bytes()), KOR_ERR_INVALID_DATA);
}

TEST(KorCbRecordEvent, EveryCutIsRefused)
{
    test::expect_every_cut_is_refused(
        fan_fail,
        {.when_empty = 0,
         .string_starts = {text_at},
         .aborting = {text_at + 4}},
        [](struct reader *in) {
            const event_holder rec = empty_event();
            const int nread =
                binary_serializer_read_kor_cb_record_event(rec.get(), in);
            if (nread <= 0) expect_untouched(*rec);
            return nread;
        });
}

class DamagedEvent : public testing::TestWithParam<test::damage> {};

TEST_P(DamagedEvent, IsRefusedAndLeavesTheRecordAsItWas)
{
    const event_holder rec = empty_event();
    EXPECT_EQ(
        read(rec.get(), test::with(fan_fail, GetParam().at, GetParam().bytes)),
        GetParam().code);
    expect_untouched(*rec);
}

const test::damage damages[] = {
    {"Version0", 0, bytes("00"), KOR_ERR_WRONG_VERSION},
    {"Version2", 0, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"TimestampVersion", 5, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"Microseconds", 10, bytes("00 00 00 01"), KOR_ERR_INVALID_DATA},
    {"TextLength0", text_at, bytes("00 00 00 00"), KOR_ERR_INVALID_DATA},
    {"TextLength10001", text_at, bytes("00 00 27 11"), KOR_ERR_INVALID_DATA},
    {"TextWithNul", text_at + 6, bytes("00"), KOR_ERR_INVALID_DATA},
    {"TextCutShort", text_at, bytes("00 00 00 09"), KOR_ERR_TRUNCATED},
};
INSTANTIATE_TEST_SUITE_P(Table, DamagedEvent, testing::ValuesIn(damages),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(KorCbRecordEvent, FailuresOfTheReaderComeThrough)
{
    test::expect_reader_failures_come_through(fan_fail, [](struct reader *in) {
        const event_holder rec = empty_event();
        return binary_serializer_read_kor_cb_record_event(rec.get(), in);
    });
}

TEST(KorCbRecordEvent, FailuresOfTheWriterComeThrough)
{
    const event_holder rec = event_of(2, 1, "fan fail");
    test::expect_writer_failures_come_through(
        fan_fail, [&](struct writer *out) {
            return binary_serializer_write_kor_cb_record_event(rec.get(), out);
        });
}

TEST(KorCbRecordEvent, AllocationFailuresAreClean)
{
    test::expect_every_allocation_failure_is_clean([] {
        const struct timestamp t = at(0);
        struct kor_cb_record_event *rec =
            kor_cb_record_event_create(1, &t, "x");
        if (rec == nullptr) return vela_get_last_error();
        kor_cb_record_event_destroy(&rec);
        return static_cast<int>(KOR_OK);
    });
    test::expect_every_allocation_failure_is_clean([] {
        struct kor_cb_record_event *rec = kor_cb_record_event_create_null();
        if (rec == nullptr) return vela_get_last_error();
        kor_cb_record_event_destroy(&rec);
        return static_cast<int>(KOR_OK);
    });
    test::expect_every_allocation_failure_is_clean([&] {
        struct kor_cb_record_event stored;
        kor_cb_record_event_init_null(&stored);
        memory_reader in(fan_fail);
        const int nread =
            binary_serializer_read_kor_cb_record_event(&stored, in.get());
        kor_cb_record_event_destruct(&stored);
        return nread < 0 ? nread : static_cast<int>(KOR_OK);
    });
}

TEST(KorCbRecordEvent, InitWithoutMemoryReleasesTheTimestamp)
{
    const struct timestamp t = at(0);
    struct kor_cb_record_event rec;
    const test::failing_allocation failing(0);
    EXPECT_EQ(kor_cb_record_event_init(&rec, 1, &t, "x"), KOR_ERR_NO_MEMORY);
    EXPECT_EQ(rec.t.version, 0);
}

TEST(KorCbRecordEventDeathTest, MakingAsksForItsArguments)
{
    struct kor_cb_record_event rec;
    const struct timestamp t = at(0);
    EXPECT_ABORTS(kor_cb_record_event_init(nullptr, 1, &t, "x"), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_event_init(&rec, 0, &t, "x"), "type > 0");
    EXPECT_ABORTS(kor_cb_record_event_init(&rec, 1, nullptr, "x"), "t != NULL");
    EXPECT_ABORTS(kor_cb_record_event_init(&rec, 1, &t, nullptr),
                  "text != NULL");
    EXPECT_ABORTS(kor_cb_record_event_create(0, &t, "x"), "type > 0");
    EXPECT_ABORTS(kor_cb_record_event_init_null(nullptr), "rec != NULL");
}

TEST(KorCbRecordEventDeathTest, EveryEntryAsksForALiveRecord)
{
    struct kor_cb_record_event rec = {};
    EXPECT_ABORTS(kor_cb_record_event_destruct(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_event_destruct(&rec),
                  "rec->version == KOR_CB_RECORD_EVENT_VERSION");
    EXPECT_ABORTS(kor_cb_record_event_get_type(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_event_get_type(&rec),
                  "rec->version == KOR_CB_RECORD_EVENT_VERSION");
    EXPECT_ABORTS(kor_cb_record_event_get_timestamp(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_event_get_timestamp(&rec),
                  "rec->version == KOR_CB_RECORD_EVENT_VERSION");
    struct kor_cb_record_event *none = nullptr;
    EXPECT_ABORTS(kor_cb_record_event_destroy(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_event_destroy(&none), "*rec != NULL");
}

TEST(KorCbRecordEventDeathTest, EqualityAsksForBothTexts)
{
    const event_holder rec = event_of(1, 0, "x");
    const event_holder none = empty_event();
    struct kor_cb_record_event dead = {};
    EXPECT_ABORTS(kor_cb_record_event_is_equal(nullptr, rec.get()),
                  "rec1 != NULL");
    EXPECT_ABORTS(kor_cb_record_event_is_equal(rec.get(), nullptr),
                  "rec2 != NULL");
    EXPECT_ABORTS(kor_cb_record_event_is_equal(&dead, rec.get()),
                  "rec1->version == KOR_CB_RECORD_EVENT_VERSION");
    EXPECT_ABORTS(kor_cb_record_event_is_equal(rec.get(), &dead),
                  "rec2->version == KOR_CB_RECORD_EVENT_VERSION");
    EXPECT_ABORTS(kor_cb_record_event_is_equal(none.get(), rec.get()),
                  "rec1->text != NULL");
    EXPECT_ABORTS(kor_cb_record_event_is_equal(rec.get(), none.get()),
                  "rec2->text != NULL");
}

TEST(KorCbRecordEventDeathTest, SerializersAskForRecordAndStream)
{
    memory_writer out;
    memory_reader in(fan_fail);
    const event_holder rec = event_of(1, 0, "x");
    const event_holder none = empty_event();
    struct kor_cb_record_event dead = {};
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_event(nullptr, out.get()),
        "rec != NULL");
    EXPECT_ABORTS(binary_serializer_write_kor_cb_record_event(&dead, out.get()),
                  "rec->version == 1");
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_event(none.get(), out.get()),
        "rec->text != NULL");
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_event(rec.get(), nullptr),
        "writer != NULL");
    EXPECT_ABORTS(binary_serializer_read_kor_cb_record_event(nullptr, in.get()),
                  "rec != NULL");
    EXPECT_ABORTS(binary_serializer_read_kor_cb_record_event(&dead, in.get()),
                  "rec->version == 1");
    EXPECT_ABORTS(
        binary_serializer_read_kor_cb_record_event(none.get(), nullptr),
        "reader != NULL");
}

// A stream that ends between a string's length and its characters is taken
// for a bug.
TEST(KorCbRecordEventDeathTest, TextCutRightBehindItsLengthAborts)
{
    const event_holder rec = empty_event();
    EXPECT_ABORTS(read(rec.get(), fan_fail.substr(0, text_at + 4)),
                  "nread != 0");
}

}  // namespace
