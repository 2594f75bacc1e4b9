#include "timestamp.h"

#include <cerrno>
#include <cstddef>
#include <limits>

#include "model_support.hpp"

using test::in_zone;
using test::memory_reader;
using test::memory_writer;

static_assert(sizeof(timestamp) == 12);
static_assert(offsetof(timestamp, tv) == 4);
static_assert(offsetof(timestamp, tv.tv_usec) == 8);

namespace {

constexpr int32_t new_year_2007 = 1167609600;
constexpr int32_t hour = 3600;
constexpr int32_t day = 24 * hour;

timestamp at(int32_t seconds)
{
    struct timeval tv = {};
    tv.tv_sec = seconds;
    timestamp t;
    timestamp_init_from_timeval(&t, &tv);
    return t;
}

timestamp with_microseconds(int32_t seconds)
{
    timestamp t = at(seconds);
    t.tv.tv_usec = 1;
    return t;
}

void expect_is(const timestamp &t, int32_t seconds)
{
    EXPECT_EQ(t.version, TIMESTAMP_VERSION);
    EXPECT_EQ(t.tv.tv_sec, seconds);
    EXPECT_EQ(t.tv.tv_usec, 0);
}

// --- from text ---

struct parsed_row {
    const char *name;
    const char *text;
    int32_t seconds;
};

class ParsedTimestamp : public testing::TestWithParam<parsed_row> {};

TEST_P(ParsedTimestamp, IsThatSecond)
{
    const in_zone utc("UTC0");
    timestamp t;
    ASSERT_EQ(timestamp_init_from_string(&t, GetParam().text), KOR_OK);
    expect_is(t, GetParam().seconds);
}

constexpr parsed_row parsed_rows[] = {
    {"NewYear", "20070101:00:00:00", new_year_2007},
    {"LastSecondOfADay", "20070101:23:59:59", new_year_2007 + day - 1},
    {"LeapSecond", "20070101:00:00:60", new_year_2007 + 60},
    {"Month00IsDecemberBefore", "20070001:00:00:00", new_year_2007 - 31 * day},
    {"Day31OfAShortMonth", "20070231:00:00:00",
     new_year_2007 + (31 + 28 + 2) * day},
    {"OneSecondBeforeTheEpoch", "19691231:23:59:59", -1},
    {"LongBeforeTheEpoch", "19011215:00:00:00", -2147385600},
    {"LastOf32Bits", "20380119:03:14:07", std::numeric_limits<int32_t>::max()},
    {"ColonCountsAsTen", "2007010::00:00:00", new_year_2007 + 9 * day},
    {"SlashCountsAsMinusOne", "20070101:0/:00:00", new_year_2007 - hour},
    {"BlankMinute", "20070101:00: 0:00", new_year_2007 - 160 * 60},
};

INSTANTIATE_TEST_SUITE_P(Table, ParsedTimestamp, testing::ValuesIn(parsed_rows),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });

struct refused_row {
    const char *name;
    const char *text;
};

class RefusedTimestamp : public testing::TestWithParam<refused_row> {};

TEST_P(RefusedTimestamp, IsBadAndLeavesTheTargetAlone)
{
    const in_zone utc("UTC0");
    timestamp t = at(5);
    EXPECT_EQ(timestamp_init_from_string(&t, GetParam().text),
              KOR_ERR_BAD_TIMESTAMP);
    expect_is(t, 5);
    vela_set_last_error(KOR_OK);
    EXPECT_EQ(timestamp_create_from_string(GetParam().text), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_BAD_TIMESTAMP);
}

constexpr refused_row refused_rows[] = {
    {"Empty", ""},
    {"NoColonAtPosition8", "2007010100:00:00"},
    {"NoColonAtPosition8Of17", "20070101000:00:00"},
    {"SixteenCharacters", "20070101:00:00:0"},
    {"EighteenCharacters", "20070101:00:00:000"},
    {"NoColonAtPosition11", "20070101:00.00:00"},
    {"NoColonAtPosition14", "20070101:00:00.00"},
    {"YearBefore1900", "18991231:23:59:59"},
    {"Month13", "20071301:00:00:00"},
    {"Day00", "20070100:00:00:00"},
    {"Day32", "20070132:00:00:00"},
    {"Hour24", "20070101:24:00:00"},
    {"Minute60", "20070101:00:60:00"},
    {"Second61", "20070101:00:00:61"},
    {"Before32Bits", "19000101:00:00:00"},
    {"After32Bits", "20380119:03:14:08"},
    {"FarAfter32Bits", "21070101:00:00:00"},
    {"HighBytesAreLargeDigits", "20070101:\xE4\xE4:00:00"},
};

INSTANTIATE_TEST_SUITE_P(Table, RefusedTimestamp,
                         testing::ValuesIn(refused_rows), [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(Timestamp, IsParsedInTheProcessZone)
{
    const in_zone central_europe("CET-1CEST,M3.5.0,M10.5.0/3");
    timestamp t;
    ASSERT_EQ(timestamp_init_from_string(&t, "20070101:01:00:00"), KOR_OK);
    expect_is(t, new_year_2007);
    ASSERT_EQ(timestamp_init_from_string(&t, "20070701:12:00:00"), KOR_OK);
    expect_is(t, 1183284000);
}

// Loading a zone that has no file leaves errno set by a call that succeeded.
TEST(Timestamp, BeforeTheEpochParsesWhateverErrnoWas)
{
    for (const char *const zone : {"UTC0", "Nowhere/Nothing"}) {
        const in_zone scope("CET-1");
        setenv("TZ", zone, 1);
        errno = ENOENT;
        timestamp t;
        EXPECT_EQ(timestamp_init_from_string(&t, "19690101:00:00:00"), KOR_OK);
        expect_is(t, -365 * day);
    }
}

// --- to text ---

TEST(Timestamp, FormatsAs17CharactersAndANul)
{
    const in_zone utc("UTC0");
    const timestamp t = at(new_year_2007);
    char buffer[20];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(timestamp_to_string(&t, buffer, 18), buffer);
    EXPECT_EQ(std::string(buffer, 20),
              std::string("20070101:00:00:00\0##", 20));
}

TEST(Timestamp, TextSurvivesARoundTripInEveryZone)
{
    for (const char *const zone :
         {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0"}) {
        const in_zone scope(zone);
        for (const int32_t seconds :
             {0, new_year_2007, 1183284000, 2147483647, -86400}) {
            const timestamp t = at(seconds);
            char text[18];
            timestamp_to_string(&t, text, sizeof text);
            timestamp back;
            ASSERT_EQ(timestamp_init_from_string(&back, text), KOR_OK) << text;
            expect_is(back, seconds);
        }
    }
}

// --- from and to other forms ---

TEST(Timestamp, CurrentIsNowInWholeSeconds)
{
    const auto before = static_cast<int32_t>(std::time(nullptr));
    timestamp *t = timestamp_create_current();
    const auto after = static_cast<int32_t>(std::time(nullptr));
    ASSERT_NE(t, nullptr);
    EXPECT_GE(t->tv.tv_sec, before);
    EXPECT_LE(t->tv.tv_sec, after);
    EXPECT_EQ(t->tv.tv_usec, 0);
    timestamp_destroy(&t);
    EXPECT_EQ(t, nullptr);
}

TEST(Timestamp, NullIsZeroAndKnownAsNull)
{
    timestamp *t = timestamp_create_null();
    ASSERT_NE(t, nullptr);
    expect_is(*t, 0);
    EXPECT_EQ(timestamp_is_null(t), 1);
    t->tv.tv_usec = 1;
    EXPECT_EQ(timestamp_is_null(t), 0);
    timestamp_destroy(&t);
    const timestamp later = at(1);
    EXPECT_EQ(timestamp_is_null(&later), 0);
}

TEST(Timestamp, FromTimevalDropsMicroseconds)
{
    struct timeval tv = {};
    tv.tv_sec = new_year_2007;
    tv.tv_usec = 500000;
    timestamp *t = timestamp_create_from_timeval(&tv);
    ASSERT_NE(t, nullptr);
    expect_is(*t, new_year_2007);
    const timestamp whole = at(new_year_2007);
    EXPECT_EQ(timestamp_is_equal(t, &whole), 1);
    timestamp_destroy(&t);
}

TEST(Timestamp, ToTimevalCopiesBothFields)
{
    const timestamp t = with_microseconds(-7);
    struct timeval tv = {};
    EXPECT_EQ(timestamp_to_timeval(&t, &tv), &tv);
    EXPECT_EQ(tv.tv_sec, -7);
    EXPECT_EQ(tv.tv_usec, 1);
}

TEST(Timestamp, FromStringIsCreated)
{
    const in_zone utc("UTC0");
    timestamp *t = timestamp_create_from_string("20070101:00:00:00");
    ASSERT_NE(t, nullptr);
    expect_is(*t, new_year_2007);
    timestamp_destroy(&t);
}

TEST(Timestamp, DestructZeroesEverything)
{
    timestamp t = with_microseconds(9);
    timestamp_destruct(&t);
    EXPECT_EQ(t.version, 0);
    EXPECT_EQ(t.tv.tv_sec, 0);
    EXPECT_EQ(t.tv.tv_usec, 0);
}

TEST(Timestamp, ComparesAsSignedSeconds)
{
    const timestamp before_epoch = at(-1), epoch = at(0), later = at(1);
    EXPECT_EQ(timestamp_compare(&before_epoch, &epoch), -1);
    EXPECT_EQ(timestamp_compare(&later, &epoch), 1);
    EXPECT_EQ(timestamp_compare(&later, &later), 0);
    EXPECT_EQ(timestamp_is_equal(&later, &epoch), 0);
    EXPECT_EQ(timestamp_is_equal(&epoch, &epoch), 1);
}

TEST(Timestamp, CopiesIntoUninitialisedOrNewStorage)
{
    const timestamp t = at(new_year_2007);
    timestamp storage;
    std::memset(&storage, 0xEE, sizeof storage);
    EXPECT_EQ(timestamp_copy(&t, &storage), &storage);
    expect_is(storage, new_year_2007);
    timestamp *made = timestamp_copy(&t, nullptr);
    ASSERT_NE(made, nullptr);
    expect_is(*made, new_year_2007);
    timestamp_destroy(&made);
}

TEST(Timestamp, IncrementRunsOverWithoutACheck)
{
    timestamp t = at(new_year_2007);
    timestamp_increment(&t, 0);
    expect_is(t, new_year_2007);
    timestamp_increment(&t, 1);
    expect_is(t, new_year_2007 + 1);
    t = at(std::numeric_limits<int32_t>::max());
    timestamp_increment(&t, 1);
    expect_is(t, std::numeric_limits<int32_t>::min());
    t = at(5);
    timestamp_increment(&t, 0xFFFFFFFF);
    expect_is(t, 4);
}

TEST(Timestamp, FailedAllocationsAreOutOfMemory)
{
    static const timestamp source = at(3);
    static struct timeval tv = {};
    struct timestamp *(*const creators[])() = {
        timestamp_create_current,
        timestamp_create_null,
        [] { return timestamp_create_from_timeval(&tv); },
        [] { return timestamp_create_from_string("20070101:00:00:00"); },
        [] { return timestamp_copy(&source, nullptr); },
    };
    for (const auto create : creators)
        test::expect_every_allocation_failure_is_clean([&] {
            timestamp *t = create();
            if (t == nullptr) return vela_get_last_error();
            timestamp_destroy(&t);
            return int{KOR_OK};
        });
}

// --- stored form ---

TEST(Timestamp, IsStoredInNineBytes)
{
    memory_writer out;
    const timestamp t = at(0x4597A800);
    EXPECT_EQ(binary_serializer_write_timestamp(&t, out.get()), 9);
    EXPECT_EQ(out.bytes(), test::bytes("01 4597A800 00000000"));
}

TEST(Timestamp, NegativeSecondsAreStoredAsTheirBits)
{
    memory_writer out;
    const timestamp t = at(-2);
    EXPECT_EQ(binary_serializer_write_timestamp(&t, out.get()), 9);
    EXPECT_EQ(out.bytes(), test::bytes("01 FFFFFFFE 00000000"));
    memory_reader in(out.bytes());
    timestamp back = at(0);
    EXPECT_EQ(binary_serializer_read_timestamp(&back, in.get()), 9);
    expect_is(back, -2);
}

TEST(Timestamp, EveryCutIsTruncatedEvenTheFirst)
{
    test::expect_every_cut_is_refused(
        test::bytes("01 4597A800 00000000"), {.when_empty = KOR_ERR_TRUNCATED},
        [](struct reader *in) {
            timestamp t = at(0);
            return binary_serializer_read_timestamp(&t, in);
        });
}

TEST(Timestamp, AnotherStoredVersionIsRefused)
{
    memory_reader in(test::bytes("02"));  // -12 even with nothing behind it
    timestamp t = at(0);
    EXPECT_EQ(binary_serializer_read_timestamp(&t, in.get()),
              KOR_ERR_WRONG_VERSION);
    expect_is(t, 0);
}

TEST(Timestamp, StoredMicrosecondsAreInvalidAfterTheSecondsWereTaken)
{
    memory_reader in(test::bytes("01 4597A800 00000001"));
    timestamp t = at(0);
    EXPECT_EQ(binary_serializer_read_timestamp(&t, in.get()),
              KOR_ERR_INVALID_DATA);
    expect_is(t, 0x4597A800);
}

TEST(Timestamp, PassesStreamErrorsUp)
{
    for (int calls = 0; calls < 3; ++calls) {
        memory_writer out;
        out.fail_after(calls, KOR_ERR_INFLATE);
        const timestamp t = at(1);
        EXPECT_EQ(binary_serializer_write_timestamp(&t, out.get()),
                  KOR_ERR_INFLATE);
        EXPECT_EQ(out.calls(), calls + 1) << "nothing follows a failure";
        memory_reader in(test::bytes("01 4597A800 00000000"));
        in.fail_after(calls, KOR_ERR_INFLATE);
        timestamp back = at(0);
        EXPECT_EQ(binary_serializer_read_timestamp(&back, in.get()),
                  KOR_ERR_INFLATE);
    }
}

// --- broken preconditions ---

class TimestampDeathTest : public testing::Test {
protected:
    timestamp good_ = at(1);
    timestamp dead_ = {};
    timestamp *none_ = nullptr;
    struct timeval tv_ = {};
    char text_[32] = {};
};

TEST_F(TimestampDeathTest, InitsNeedStorageAndSource)
{
    EXPECT_ABORTS_IN("timestamp_init_current", timestamp_init_current(none_),
                     "t != NULL");
    EXPECT_ABORTS_IN("timestamp_init_null", timestamp_init_null(none_),
                     "t != NULL");
    EXPECT_ABORTS_IN("timestamp_init_from_timeval",
                     timestamp_init_from_timeval(none_, &tv_), "t != NULL");
    EXPECT_ABORTS_IN("timestamp_init_from_timeval",
                     timestamp_init_from_timeval(&good_, nullptr),
                     "tv != NULL");
    EXPECT_ABORTS_IN("timestamp_init_from_string",
                     timestamp_init_from_string(none_, "x"), "t != NULL");
    EXPECT_ABORTS_IN("timestamp_init_from_string",
                     timestamp_init_from_string(&good_, nullptr),
                     "str != NULL");
    EXPECT_ABORTS(timestamp_create_from_timeval(nullptr), "tv != NULL");
    EXPECT_ABORTS(timestamp_create_from_string(nullptr), "str != NULL");
}

TEST_F(TimestampDeathTest, DestructionNeedsALiveOne)
{
    EXPECT_ABORTS_IN("timestamp_destruct", timestamp_destruct(none_),
                     "t != NULL");
    EXPECT_ABORTS_IN("timestamp_destruct", timestamp_destruct(&dead_),
                     "t->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS_IN("timestamp_destroy", timestamp_destroy(&none_),
                     "*t != NULL");
    EXPECT_ABORTS_IN("timestamp_destroy", timestamp_destroy(nullptr),
                     "t != NULL");
}

TEST_F(TimestampDeathTest, ComparisonNeedsTwoLiveOnesInWholeSeconds)
{
    const timestamp micro = with_microseconds(1);
    EXPECT_ABORTS_IN("timestamp_compare", timestamp_compare(none_, &good_),
                     "t1 != NULL");
    EXPECT_ABORTS_IN("timestamp_compare", timestamp_compare(&good_, none_),
                     "t2 != NULL");
    EXPECT_ABORTS_IN("timestamp_compare", timestamp_compare(&dead_, &good_),
                     "t1->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS_IN("timestamp_compare", timestamp_compare(&good_, &dead_),
                     "t2->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS_IN("timestamp_compare", timestamp_compare(&micro, &good_),
                     "t1->tv.tv_usec == 0");
    EXPECT_ABORTS_IN("timestamp_compare", timestamp_compare(&good_, &micro),
                     "t2->tv.tv_usec == 0");
    EXPECT_ABORTS_IN("timestamp_is_equal", timestamp_is_equal(none_, &good_),
                     "t1 != NULL");
    EXPECT_ABORTS_IN("timestamp_is_equal", timestamp_is_equal(&good_, none_),
                     "t2 != NULL");
    EXPECT_ABORTS_IN("timestamp_is_equal", timestamp_is_equal(&dead_, &good_),
                     "t1->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS_IN("timestamp_is_equal", timestamp_is_equal(&good_, &dead_),
                     "t2->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS(timestamp_is_equal(&good_, &micro), "t2->tv.tv_usec == 0");
}

TEST_F(TimestampDeathTest, ConversionNeedsALiveOneAndRoom)
{
    EXPECT_ABORTS(timestamp_to_timeval(none_, &tv_), "t != NULL");
    EXPECT_ABORTS(timestamp_to_timeval(&dead_, &tv_),
                  "t->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS(timestamp_to_timeval(&good_, nullptr), "tv != NULL");
    EXPECT_ABORTS(timestamp_to_string(none_, text_, 18), "t != NULL");
    EXPECT_ABORTS(timestamp_to_string(&dead_, text_, 18),
                  "t->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS(timestamp_to_string(&good_, nullptr, 18), "buffer != NULL");
    EXPECT_ABORTS(timestamp_to_string(&good_, text_, 17), "bufsize > 17");
}

TEST_F(TimestampDeathTest, OtherOperationsNeedALiveOne)
{
    EXPECT_ABORTS(timestamp_copy(none_, nullptr), "t != NULL");
    EXPECT_ABORTS(timestamp_copy(&dead_, nullptr),
                  "t->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS(timestamp_is_null(none_), "t != NULL");
    EXPECT_ABORTS(timestamp_is_null(&dead_), "t->version == TIMESTAMP_VERSION");
    EXPECT_ABORTS(timestamp_increment(none_, 1), "t != NULL");
    EXPECT_ABORTS(timestamp_increment(&dead_, 1),
                  "t->version == TIMESTAMP_VERSION");
}

TEST_F(TimestampDeathTest, SerializersNeedALiveOneAndAStream)
{
    memory_writer out;
    memory_reader in("");
    EXPECT_ABORTS(binary_serializer_write_timestamp(none_, out.get()),
                  "timestamp != NULL");
    EXPECT_ABORTS(binary_serializer_write_timestamp(&dead_, out.get()),
                  "timestamp->version == 1");
    EXPECT_ABORTS(binary_serializer_write_timestamp(&good_, nullptr),
                  "writer != NULL");
    EXPECT_ABORTS(binary_serializer_read_timestamp(none_, in.get()),
                  "timestamp != NULL");
    EXPECT_ABORTS(binary_serializer_read_timestamp(&dead_, in.get()),
                  "timestamp->version == 1");
    EXPECT_ABORTS(binary_serializer_read_timestamp(&good_, nullptr),
                  "reader != NULL");
}

}  // namespace
