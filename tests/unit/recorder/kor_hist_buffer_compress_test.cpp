#include "kor_hist_buffer_compress.h"

#include "fold_support.hpp"

namespace {

using test::bytes;
using test::create_hist;
using test::hist_header;
using test::hist_holder;
using test::interval_maker;
using test::intervals_of;
using test::write_streams;
using testing::ElementsAre;

// Names DISK0 READ and CPU0 Temp, two intervals under them, and what the two
// merge to.
const std::string stored_names = bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 02 01 00 00 00 0a 44 49 53 4b 30 20 52 45"
    "41 44 01 00 00 00 09 43 50 55 30 20 54 65 6d 70");
const std::string stored_interval_0 = bytes(
    "00 00 00 02 02 01 45 98 4f 01 00 00 00 00 01 45"
    "98 4f 02 00 00 00 00 00 00 00 02 01 00 00 00 01"
    "44 96 00 00 44 96 00 00 44 96 00 00 44 96 00 00"
    "44 96 00 00 49 af c8 00 4e cd fe 60 53 f1 66 18"
    "01 00 00 00 02 42 36 00 00 42 39 00 00 42 36 00"
    "00 42 39 00 00 42 b7 80 00 45 83 8a 80 48 3c 9a"
    "01 4b 07 37 54 01 00 00 00 00 00 00 00 00 00 00"
    "00 00 00 00 00 00 00 00 00 00");
const std::string stored_interval_1 = bytes(
    "00 00 00 02 02 01 45 98 4f 03 00 00 00 00 01 45"
    "98 4f 04 00 00 00 00 00 00 00 02 01 00 00 00 02"
    "44 9c 50 00 44 a2 98 00 44 a2 98 00 44 9c 50 00"
    "45 1f 74 00 4a 46 b6 53 4f 77 bb b6 54 9a 7b c4"
    "01 00 00 00 02 42 37 00 00 42 3c 00 00 42 3c 00"
    "00 42 37 00 00 42 b9 80 00 45 86 70 80 48 42 e7"
    "27 4b 0d 4e 30 01 00 00 00 00 00 00 00 00 00 00"
    "00 01 00 00 00 00 00 00 00 00");
const std::string stored_merged = bytes(
    "00 00 00 02 02 01 45 98 4f 01 00 00 00 00 01 45"
    "98 4f 04 00 00 00 00 00 00 00 02 01 00 00 00 03"
    "44 96 00 00 44 a2 98 00 44 96 00 00 44 9c 50 00"
    "45 6a 74 00 4a 8f 4d 2a 4f af 5d 73 54 d6 d5 4a"
    "01 00 00 00 04 42 36 00 00 42 3c 00 00 42 36 00"
    "00 42 37 00 00 43 38 80 00 46 04 fd 80 48 bf c0"
    "94 4b 8a 42 c2 01 00 00 00 00 00 00 00 00 00 00"
    "00 01 00 00 00 00 00 00 00 00");

// Another names record, of one sensor.
const std::string other_names = bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 01 01 00 00 00 01 78");

// A file "in" of `n` intervals of sensor a, the i-th of the one reading i.
void record_intervals(uint32_t capacity, int n)
{
    const hist_holder hbuf = create_hist("in", capacity);
    interval_maker interval;
    for (int i = 0; i < n; ++i) {
        interval.add("a", {static_cast<float>(i)});
        interval.write(hbuf, 10 * i, 10 * i + 9);
    }
}

// Merges "in" into a new history buffer "out".
int merge(uint32_t capacity, uint32_t *size = nullptr)
{
    const hist_holder hbuf = create_hist("out", capacity);
    const int result = kor_hist_buffer_compress("in", hbuf.get());
    if (size != nullptr) *size = hbuf->size;
    return result;
}

class KorHistBufferCompress : public test::InScratchFolder {};

TEST_F(KorHistBufferCompress, StoresTheseBytes)
{
    write_streams("in", {hist_header(2) + stored_names + stored_interval_0,
                         stored_interval_1});
    EXPECT_EQ(merge(4), KOR_OK);
    EXPECT_EQ(test::inflate_file("out"),
              hist_header(4) + stored_names + stored_merged);
}

TEST_F(KorHistBufferCompress, FourIntervalsBecomeTwo)
{
    record_intervals(4, 4);
    EXPECT_EQ(merge(2), KOR_OK);
    const auto intervals = intervals_of("out");
    ASSERT_EQ(intervals.size(), 2u);
    EXPECT_EQ(intervals[0].start, 0);
    EXPECT_EQ(intervals[0].end, 19);
    EXPECT_EQ(intervals[0].of("a").count, 2u);
    EXPECT_EQ(intervals[0].of("a").first, 0.0f);
    EXPECT_EQ(intervals[0].of("a").last, 1.0f);
    EXPECT_EQ(intervals[1].start, 20);
    EXPECT_EQ(intervals[1].end, 39);
    EXPECT_EQ(intervals[1].of("a").count, 2u);
    EXPECT_EQ(intervals[1].of("a").first, 2.0f);
    EXPECT_EQ(intervals[1].of("a").sum, 5.0f);
}

TEST_F(KorHistBufferCompress, InputThatIsNotFullIsIncomplete)
{
    record_intervals(4, 3);
    uint32_t size = 0;
    EXPECT_EQ(merge(2, &size), KOR_ERR_INCOMPLETE);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(intervals_of("out")[0].of("a").last, 1.0f);

    record_intervals(4, 2);
    EXPECT_EQ(merge(2, &size), KOR_ERR_INCOMPLETE);
    EXPECT_EQ(size, 1u);

    write_streams("in", {hist_header(4) + stored_names});
    EXPECT_EQ(merge(2, &size), KOR_ERR_INCOMPLETE);
    EXPECT_EQ(size, 0u);
}

TEST_F(KorHistBufferCompress, LeavesTheInputAsItIs)
{
    record_intervals(4, 4);
    const std::string before = test::read_file("in");
    EXPECT_EQ(merge(2), KOR_OK);
    EXPECT_EQ(test::read_file("in"), before);
}

// --- what does not fit ---

TEST_F(KorHistBufferCompress, NeedsRoomForHalfTheInput)
{
    record_intervals(6, 6);
    EXPECT_EQ(merge(2), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(test::inflate_file("out"), hist_header(2));
    EXPECT_EQ(merge(4), KOR_OK);
}

TEST_F(KorHistBufferCompress, OverfullOutputIsRefused)
{
    record_intervals(4, 4);
    const hist_holder hbuf = create_hist("out", 2);
    hbuf->size = 3;
    EXPECT_EQ(kor_hist_buffer_compress("in", hbuf.get()), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(hbuf->size, 3u);
}

TEST_F(KorHistBufferCompress, FilesThatCannotBeOpenedGiveTheirCodes)
{
    EXPECT_EQ(merge(2), KOR_ERR_CANNOT_OPEN);
    test::create_current("in", 4);
    EXPECT_EQ(merge(2), KOR_ERR_OTHER_KIND);
    write_streams("in", {hist_header(3) + stored_names});
    EXPECT_EQ(merge(2), KOR_ERR_INFLATE);
    write_streams("in", {hist_header(2) + stored_interval_0});
    EXPECT_EQ(merge(2), KOR_ERR_UNKNOWN_KIND);
}

// --- sensors and events ---

TEST_F(KorHistBufferCompress, NamesChangeInsideAPairCoversBothSets)
{
    {
        const hist_holder hbuf = create_hist("in", 4);
        interval_maker interval;
        interval.add("a", {1});
        interval.add("b", {10});
        interval.write(hbuf, 0, 1);
        interval.add("b", {20});
        interval.add("c", {100});
        interval.write(hbuf, 2, 3);
        interval.add("c", {200});
        interval.write(hbuf, 4, 5);
        interval.add("c", {300});
        interval.write(hbuf, 6, 7);
    }
    EXPECT_EQ(merge(2), KOR_OK);
    const auto intervals = intervals_of("out");
    ASSERT_EQ(intervals.size(), 2u);
    EXPECT_THAT(intervals[0].names, ElementsAre("a", "b", "c"));
    EXPECT_EQ(intervals[0].of("a").count, 1u);
    EXPECT_EQ(intervals[0].of("b").first, 10.0f);
    EXPECT_EQ(intervals[0].of("b").last, 20.0f);
    EXPECT_EQ(intervals[0].of("c").count, 1u);
    EXPECT_THAT(intervals[1].names, ElementsAre("c"));
    EXPECT_EQ(intervals[1].of("c").sum, 500.0f);
}

TEST_F(KorHistBufferCompress, NamesChangeBetweenPairsStartsTheNextWithTheNewSet)
{
    {
        const hist_holder hbuf = create_hist("in", 4);
        interval_maker interval;
        for (const char *name : {"a", "a", "b", "b"}) {
            interval.add(name, {1});
            interval.write(hbuf, 0, 1);
        }
    }
    EXPECT_EQ(merge(2), KOR_OK);
    const auto intervals = intervals_of("out");
    ASSERT_EQ(intervals.size(), 2u);
    EXPECT_THAT(intervals[0].names, ElementsAre("a"));
    EXPECT_THAT(intervals[1].names, ElementsAre("b"));
    EXPECT_EQ(intervals[1].of("b").count, 2u);
}

TEST_F(KorHistBufferCompress, MoreThan10000SensorsInAPairAreTooMany)
{
    {
        const hist_holder hbuf = create_hist("in", 2);
        interval_maker interval;
        for (int i = 0; i < 10000; ++i)
            interval.add("S" + std::to_string(i), {1});
        interval.write(hbuf, 0, 1);
        interval.add("one more", {1});
        interval.write(hbuf, 2, 3);
    }
    EXPECT_EQ(merge(2), KOR_ERR_TOO_LONG);
    EXPECT_EQ(test::inflate_file("out"), hist_header(2));
}

// The last of several names records in front of a pair governs it.
TEST_F(KorHistBufferCompress, RepeatedNamesBeforeAPairAreHarmless)
{
    write_streams("in", {hist_header(2) + other_names + other_names +
                         stored_names + stored_interval_0 + stored_interval_1});
    EXPECT_EQ(merge(4), KOR_OK);
    EXPECT_EQ(test::inflate_file("out"),
              hist_header(4) + stored_names + stored_merged);
}

TEST_F(KorHistBufferCompress, EmptySummariesTakeTheOther)
{
    {
        const hist_holder hbuf = create_hist("in", 2);
        interval_maker interval;
        interval.add("a", {});
        interval.add("b", {2});
        interval.write(hbuf, 0, 1);
        interval.add("a", {1});
        interval.add("b", {});
        interval.write(hbuf, 2, 3);
    }
    EXPECT_EQ(merge(2), KOR_OK);
    const auto intervals = intervals_of("out");
    EXPECT_EQ(intervals[0].of("a").min, 1.0f);
    EXPECT_EQ(intervals[0].of("b").last, 2.0f);
}

TEST_F(KorHistBufferCompress, EventsAddUpByType)
{
    {
        const hist_holder hbuf = create_hist("in", 2);
        interval_maker interval;
        for (uint32_t i = 0; i < 2; ++i) {
            interval.add("a", {1});
            interval.events.n_type1 = 1 + 10 * i;
            interval.events.n_type2 = 2 + 20 * i;
            interval.events.n_type3 = 3 + 30 * i;
            interval.events.n_type4 = 4 + 40 * i;
            interval.events.n_type5 = 5 + 50 * i;
            interval.write(hbuf, 1, 2);
        }
    }
    EXPECT_EQ(merge(2), KOR_OK);
    EXPECT_THAT(test::counts_of(intervals_of("out")[0].events),
                ElementsAre(12, 24, 36, 48, 60));
}

// Intervals of the older form, which has no events.
TEST_F(KorHistBufferCompress, MergesIntervalsOfTheOlderForm)
{
    const auto older = [](const std::string &stored) {
        return test::with(stored.substr(0, stored.size() - 21), 4, bytes("01"));
    };
    write_streams("in", {hist_header(2) + stored_names +
                         older(stored_interval_0) + older(stored_interval_1)});
    EXPECT_EQ(merge(2), KOR_OK);
    const std::string no_events = test::with(
        stored_merged, stored_merged.size() - 12, test::stored_count(0));
    EXPECT_EQ(test::inflate_file("out"),
              hist_header(2) + stored_names + no_events);
}

TEST_F(KorHistBufferCompress, MergesAsByLookingUpEverySensorEachTime)
{
    constexpr uint32_t capacity = 40;
    test::dice dice;
    interval_maker merged;
    {
        const hist_holder hbuf = create_hist("in", capacity);
        const hist_holder by_hand = create_hist("by hand", capacity);
        interval_maker interval;
        std::vector<std::string> names;
        for (uint32_t i = 0; i < capacity; ++i) {
            if (i % 5 == 0) names = dice.names();
            for (const std::string &name : names)
                interval.add(name, {dice.reading()});
            const int32_t start = static_cast<int32_t>(10 * i);
            interval.write(hbuf, start, start + 9);
        }
        for (const test::interval &stored : intervals_of("in")) {
            const int32_t i = stored.start / 10;
            for (size_t k = 0; k < stored.names.size(); ++k)
                hist_value_merge_with(merged.value_of(stored.names[k]),
                                      &stored.values[k]);
            if (i % 2 == 1)
                merged.write(by_hand, stored.start - 10, stored.end);
        }
    }
    EXPECT_EQ(merge(capacity), KOR_OK);
    EXPECT_EQ(test::inflate_file("out"), test::inflate_file("by hand"));
}

// --- damaged files ---

struct damaged_file {
    const char *name;
    std::string records;
    int code;
};

class DamagedHistBuffer : public test::InScratchFolder,
                          public testing::WithParamInterface<damaged_file> {};

// The pair before the damage is kept; one that is not whole is dropped.
TEST_P(DamagedHistBuffer, GivesTheCodeAndKeepsWholePairs)
{
    write_streams("in", {hist_header(4) + stored_names + stored_interval_0 +
                         stored_interval_1 + GetParam().records});
    uint32_t size = 0;
    EXPECT_EQ(merge(2, &size), GetParam().code);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(test::inflate_file("out"),
              hist_header(2) + stored_names + stored_merged);
}

const damaged_file damaged_files[] = {
    {"UnknownTypeFirst", bytes("00 00 00 03"), KOR_ERR_INVALID_DATA},
    {"UnknownTypeSecond", stored_interval_0 + bytes("00 00 00 03"),
     KOR_ERR_INVALID_DATA},
    {"CutFirst", stored_interval_0.substr(0, 60), KOR_ERR_TRUNCATED},
    {"CutSecond", stored_interval_0 + stored_interval_1.substr(0, 60),
     KOR_ERR_TRUNCATED},
    {"CutNamesFirst", stored_names.substr(0, 19), KOR_ERR_TRUNCATED},
    {"CutNamesSecond", stored_interval_0 + stored_names.substr(0, 19),
     KOR_ERR_TRUNCATED},
    {"OtherVersion", test::with(stored_interval_0, 4, bytes("03")),
     KOR_ERR_WRONG_VERSION},
    {"FewerNamesThanValuesFirst",
     other_names + stored_interval_0 + stored_interval_1, KOR_ERR_INVALID_DATA},
    {"FewerNamesThanValuesSecond",
     stored_interval_0 + other_names + stored_interval_1, KOR_ERR_INVALID_DATA},
    {"DamageBehindNamesInside",
     stored_interval_0 + other_names + bytes("00 00 00 03"),
     KOR_ERR_INVALID_DATA},
    {"EndBehindNamesInside", stored_interval_0 + other_names,
     KOR_ERR_INCOMPLETE},
};
INSTANTIATE_TEST_SUITE_P(Table, DamagedHistBuffer,
                         testing::ValuesIn(damaged_files), [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST_F(KorHistBufferCompress, MoreIntervalsThanTheCapacityAreRefused)
{
    write_streams("in",
                  {hist_header(2) + stored_names + stored_interval_0 +
                   stored_interval_1 + stored_interval_0 + stored_interval_1});
    uint32_t size = 0;
    EXPECT_EQ(merge(2, &size), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(size, 1u);
}

// --- failing writes and allocations ---

TEST_F(KorHistBufferCompress, FailedWritesComeThrough)
{
    record_intervals(4, 4);
    int failures = 0;
    for (int calls = 0;; ++calls) {
        SCOPED_TRACE(calls);
        test::memory_writer disk;
        disk.fail_after(calls, KOR_ERR_INFLATE);
        const hist_holder hbuf = create_hist("out", 2);
        writer_destroy(&hbuf->writer);
        hbuf->writer = test::lend(disk.get());
        const int result = kor_hist_buffer_compress("in", hbuf.get());
        if (result == KOR_OK) break;
        EXPECT_EQ(result, KOR_ERR_INFLATE);
        EXPECT_LT(hbuf->size, 2u);
        ++failures;
    }
    EXPECT_GT(failures, 10);
}

TEST_F(KorHistBufferCompress, AllocationFailuresAreSurvived)
{
    {
        const hist_holder hbuf = create_hist("in", 4);
        interval_maker interval;
        for (const char *name : {"a", "b", "c", "d"}) {
            interval.add(name, {1});
            interval.write(hbuf, 1, 2);
        }
    }
    EXPECT_EQ(merge(2), KOR_OK);
    const std::string expected = test::inflate_file("out");
    test::expect_allocation_failures_are_survived([&] {
        struct kor_hist_buffer *hbuf = kor_hist_buffer_create("out", 2);
        if (hbuf == nullptr) return vela_get_last_error();
        const int result = kor_hist_buffer_compress("in", hbuf);
        kor_hist_buffer_close(&hbuf);
        if (result == KOR_OK) {
            EXPECT_EQ(test::inflate_file("out"), expected);
        }
        return static_cast<int>(result);
    });
}

// --- assertions ---

class KorHistBufferCompressDeathTest : public test::InScratchFolder {};

TEST_F(KorHistBufferCompressDeathTest, AsksForItsArguments)
{
    const hist_holder hbuf = create_hist("out", 2);
    EXPECT_ABORTS(kor_hist_buffer_compress(nullptr, hbuf.get()),
                  "hbuf_in_filename != NULL");
    EXPECT_ABORTS(kor_hist_buffer_compress("in", nullptr), "hbuf_out != NULL");
}

TEST_F(KorHistBufferCompressDeathTest, InputWithoutNamesIsNotProvidedFor)
{
    create_hist("in", 2);
    EXPECT_ABORTS(merge(2), "*names1 != NULL");
}

TEST_F(KorHistBufferCompressDeathTest, SecondNamesInsideAPairAreNotProvidedFor)
{
    write_streams("in", {hist_header(2) + stored_names + stored_interval_0 +
                         stored_names + stored_names + stored_interval_1});
    EXPECT_ABORTS(merge(2), "*names1 == state->hbuf_in->hb_rec_sensors_last");
}

TEST_F(KorHistBufferCompressDeathTest, SensorInTwoColumnsIsNotProvidedFor)
{
    const std::string twice = bytes(
        "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
        "00 00 02 01 00 00 00 01 78 01 00 00 00 01 78");
    write_streams(
        "in", {hist_header(2) + twice + stored_interval_0 + stored_interval_1});
    EXPECT_ABORTS(merge(2), "hvalue->count == 0");
}

}  // namespace
