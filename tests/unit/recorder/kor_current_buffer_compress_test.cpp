#include "kor_current_buffer_compress.h"

#include "fold_support.hpp"

namespace {

using test::at;
using test::bytes;
using test::create_current;
using test::create_hist;
using test::current_header;
using test::event_of;
using test::hist_header;
using test::hist_holder;
using test::intervals_of;
using test::put;
using test::stored_names;
using test::stored_sample_0;
using test::stored_sample_1;
using test::vector_of;
using test::write_streams;
using testing::ElementsAre;

const double no_reading = _vela_invalid_sensor_value;

// What two intervals of two samples each fold to.
const std::string stored_hist_names = bytes(
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

// A current buffer "c" of `n` samples of sensor a, the i-th reading i.
void record_samples(int32_t capacity, int n)
{
    const auto cbuf = create_current("c", capacity);
    for (int i = 0; i < n; ++i)
        put(cbuf, vector_of({"a"}, at(i), {static_cast<double>(i)}));
}

// Folds "c" into a new history buffer "h"; `then` looks at it before it is
// closed.
int fold(uint32_t hist_capacity, uint32_t samples_per_hb_interval,
         uint32_t *size = nullptr)
{
    const hist_holder hbuf = create_hist("h", hist_capacity);
    const int result =
        kor_current_buffer_compress("c", hbuf.get(), samples_per_hb_interval);
    if (size != nullptr) *size = hbuf->size;
    return result;
}

class KorCurrentBufferCompress : public test::InScratchFolder {};

TEST_F(KorCurrentBufferCompress, StoresTheseBytes)
{
    {
        const auto cbuf = create_current("c", 4);
        put(cbuf, test::sample(0));
        put(cbuf, test::sample(1));
        put(cbuf, test::fan_fail());
        put(cbuf, test::sample(2));
        put(cbuf, test::sample(3));
    }
    EXPECT_EQ(fold(4, 2), KOR_OK);
    EXPECT_EQ(test::inflate_file("h"), hist_header(4) + stored_hist_names +
                                           stored_interval_0 +
                                           stored_interval_1);
}

TEST_F(KorCurrentBufferCompress, EightSamplesInIntervalsOfFourMakeTwo)
{
    record_samples(8, 8);
    EXPECT_EQ(fold(2, 4), KOR_OK);
    const auto intervals = intervals_of("h");
    ASSERT_EQ(intervals.size(), 2u);
    EXPECT_EQ(intervals[0].start, 0);
    EXPECT_EQ(intervals[0].end, 3);
    EXPECT_EQ(intervals[0].of("a").count, 4u);
    EXPECT_EQ(intervals[0].of("a").sum, 0.0f + 1 + 2 + 3);
    EXPECT_EQ(intervals[1].start, 4);
    EXPECT_EQ(intervals[1].end, 7);
    EXPECT_EQ(intervals[1].of("a").first, 4.0f);
    EXPECT_EQ(intervals[1].of("a").last, 7.0f);
}

TEST_F(KorCurrentBufferCompress, SingleSampleIntervals)
{
    record_samples(2, 2);
    EXPECT_EQ(fold(2, 1), KOR_OK);
    const auto intervals = intervals_of("h");
    ASSERT_EQ(intervals.size(), 2u);
    EXPECT_EQ(intervals[1].start, 1);
    EXPECT_EQ(intervals[1].end, 1);
}

TEST_F(KorCurrentBufferCompress, WhatIsLeftAtTheEndMakesAShorterInterval)
{
    record_samples(8, 5);
    EXPECT_EQ(fold(2, 4), KOR_OK);
    const auto intervals = intervals_of("h");
    ASSERT_EQ(intervals.size(), 2u);
    EXPECT_EQ(intervals[1].start, 4);
    EXPECT_EQ(intervals[1].end, 4);
    EXPECT_EQ(intervals[1].of("a").count, 1u);
}

TEST_F(KorCurrentBufferCompress, EmptyBufferWritesNothing)
{
    record_samples(8, 0);
    uint32_t size = 0;
    EXPECT_EQ(fold(2, 4, &size), KOR_OK);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(test::inflate_file("h"), hist_header(2));
}

TEST_F(KorCurrentBufferCompress, LeavesTheFileAsItIs)
{
    record_samples(4, 4);
    const std::string before = test::read_file("c");
    EXPECT_EQ(fold(2, 2), KOR_OK);
    EXPECT_EQ(test::read_file("c"), before);
}

// --- what does not fit ---

TEST_F(KorCurrentBufferCompress, CapacityMustBeAMultipleOfTheInterval)
{
    record_samples(6, 6);
    EXPECT_EQ(fold(4, 4), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(test::inflate_file("h"), hist_header(4));
}

TEST_F(KorCurrentBufferCompress, NeedsRoomForAFullBufferHoweverFewItsSamples)
{
    record_samples(8, 1);
    EXPECT_EQ(fold(2, 2), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(test::inflate_file("h"), hist_header(2));
    EXPECT_EQ(fold(4, 2), KOR_OK);
}

// Part of the interface: the code of an overfull history buffer counts as a
// large number of empty intervals.
TEST_F(KorCurrentBufferCompress, OverfullHistoryPassesForAnEmptyOne)
{
    record_samples(4, 4);
    const hist_holder hbuf = create_hist("h", 2);
    hbuf->size = 3;
    EXPECT_EQ(kor_hist_buffer_get_number_empty_intervals(hbuf.get()),
              KOR_ERR_INVALID_DATA);
    EXPECT_EQ(kor_current_buffer_compress("c", hbuf.get(), 2), KOR_OK);
    EXPECT_EQ(hbuf->size, 5u);
}

TEST_F(KorCurrentBufferCompress, FilesThatCannotBeOpenedGiveTheirCodes)
{
    EXPECT_EQ(fold(4, 2), KOR_ERR_CANNOT_OPEN);
    create_hist("c", 4);
    EXPECT_EQ(fold(4, 2), KOR_ERR_OTHER_KIND);
    write_streams("c", {current_header(4) + test::stored_event});
    EXPECT_EQ(fold(4, 2), KOR_ERR_UNKNOWN_KIND);
    test::write_file("c", "not a stream");
    EXPECT_EQ(fold(4, 2), KOR_ERR_INFLATE);
}

// --- events ---

TEST_F(KorCurrentBufferCompress, EventsCountForTheSampleThatFollows)
{
    {
        const auto cbuf = create_current("c", 8);
        for (int i = 0; i < 8; ++i) {
            if (i == 4) put(cbuf, event_of(2, i, "between 4 and 5"));
            put(cbuf, vector_of({"a"}, at(i), {1.0}));
        }
        put(cbuf, event_of(2, 8, "behind the last"));
    }
    EXPECT_EQ(fold(2, 4), KOR_OK);
    const auto intervals = intervals_of("h");
    ASSERT_EQ(intervals.size(), 2u);
    EXPECT_EQ(intervals[0].events.n_type2, 0u);
    EXPECT_EQ(intervals[1].events.n_type2, 1u);
}

// The interval in progress holds a sample, so it is written.
TEST_F(KorCurrentBufferCompress, EventsBehindAnUnfinishedIntervalCount)
{
    {
        const auto cbuf = create_current("c", 4);
        put(cbuf, vector_of({"a"}, at(0), {1.0}));
        put(cbuf, event_of(3, 1, "late"));
    }
    EXPECT_EQ(fold(2, 2), KOR_OK);
    EXPECT_EQ(intervals_of("h")[0].events.n_type3, 1u);
}

TEST_F(KorCurrentBufferCompress, EventsCountByType)
{
    {
        const auto cbuf = create_current("c", 2);
        put(cbuf, vector_of({"a"}, at(0), {1.0}));
        for (uint32_t type = 1; type <= 5; ++type)
            for (uint32_t n = 0; n < type; ++n)
                put(cbuf, event_of(type, 0, "x"));
        put(cbuf, vector_of({"a"}, at(1), {1.0}));
    }
    EXPECT_EQ(fold(2, 2), KOR_OK);
    EXPECT_THAT(test::counts_of(intervals_of("h")[0].events),
                ElementsAre(1, 2, 3, 4, 5));
}

// --- sensors ---

TEST_F(KorCurrentBufferCompress, NamesChangeInsideAnIntervalCoversBothSets)
{
    {
        const auto cbuf = create_current("c", 4);
        put(cbuf, vector_of({"a", "b"}, at(0), {1.0, 10.0}));
        put(cbuf, vector_of({"b", "c"}, at(1), {20.0, 100.0}));
        put(cbuf, vector_of({"c"}, at(2), {200.0}));
        put(cbuf, vector_of({"c"}, at(3), {300.0}));
    }
    EXPECT_EQ(fold(2, 2), KOR_OK);
    const auto intervals = intervals_of("h");
    ASSERT_EQ(intervals.size(), 2u);
    EXPECT_THAT(intervals[0].names, ElementsAre("a", "b", "c"));
    EXPECT_EQ(intervals[0].of("a").count, 1u);
    EXPECT_EQ(intervals[0].of("b").count, 2u);
    EXPECT_EQ(intervals[0].of("b").sum, 30.0f);
    EXPECT_EQ(intervals[0].of("c").count, 1u);
    EXPECT_THAT(intervals[1].names, ElementsAre("c"));
    EXPECT_EQ(intervals[1].of("c").sum, 500.0f);
}

TEST_F(KorCurrentBufferCompress, SampleWithoutAReadingStillCountsAndMovesTheEnd)
{
    {
        const auto cbuf = create_current("c", 2);
        put(cbuf, vector_of({"a"}, at(0), {1.0}));
        put(cbuf, vector_of({"a"}, at(9), {no_reading}));
    }
    EXPECT_EQ(fold(2, 2), KOR_OK);
    const auto intervals = intervals_of("h");
    ASSERT_EQ(intervals.size(), 1u);
    EXPECT_EQ(intervals[0].end, 9);
    EXPECT_EQ(intervals[0].of("a").count, 1u);
    EXPECT_EQ(intervals[0].of("a").last, 1.0f);
}

TEST_F(KorCurrentBufferCompress, SensorThatNeverHasAReadingIsListedEmpty)
{
    {
        const auto cbuf = create_current("c", 2);
        put(cbuf, vector_of({"a", "b"}, at(0), {1.0, no_reading}));
        put(cbuf, vector_of({"a", "b"}, at(1), {1.0, no_reading}));
    }
    EXPECT_EQ(fold(2, 2), KOR_OK);
    EXPECT_EQ(intervals_of("h")[0].of("b").count, 0u);
}

TEST_F(KorCurrentBufferCompress, SensorInTwoColumnsGathersBoth)
{
    {
        const auto cbuf = create_current("c", 2);
        put(cbuf, vector_of({"a", "b", "a"}, at(0), {1.0, 2.0, 3.0}));
        put(cbuf, vector_of({"a", "b", "a"}, at(1), {4.0, 5.0, 6.0}));
    }
    EXPECT_EQ(fold(2, 2), KOR_OK);
    const auto intervals = intervals_of("h");
    EXPECT_THAT(intervals[0].names, ElementsAre("a", "b"));
    EXPECT_EQ(intervals[0].of("a").count, 4u);
    EXPECT_EQ(intervals[0].of("a").last, 6.0f);
}

// Each sample is storable by itself; the interval of both is not.
TEST_F(KorCurrentBufferCompress, MoreThan10000SensorsInAnIntervalAreTooMany)
{
    {
        const auto cbuf = create_current("c", 2);
        put(cbuf, test::wide_vector(10000, at(0)));
        put(cbuf, vector_of({"one more"}, at(1), {1.0}));
    }
    EXPECT_EQ(fold(2, 1), KOR_OK);
    EXPECT_EQ(fold(2, 2), KOR_ERR_TOO_LONG);
    EXPECT_EQ(test::inflate_file("h"), hist_header(2));
}

// Sensors in many chains, some of them shared; names that come and go.
TEST_F(KorCurrentBufferCompress, FoldsAsByLookingUpEverySensorEachTime)
{
    constexpr int capacity = 60;
    constexpr int per_interval = 5;
    test::dice dice;
    test::interval_maker expected;
    const hist_holder by_hand = create_hist("by hand", 24);
    {
        const auto cbuf = create_current("c", capacity);
        std::vector<std::string> names;
        for (int i = 0; i < capacity; ++i) {
            if (i % 7 == 0) names = dice.names();
            std::vector<double> readings;
            for (const std::string &name : names) {
                const double reading =
                    dice.below(10) == 0 ? no_reading : dice.reading();
                readings.push_back(reading);
                expected.add(name, {static_cast<float>(reading)});
            }
            put(cbuf, vector_of(names, at(i), readings));
            if (i % per_interval == per_interval - 1)
                expected.write(by_hand, i + 1 - per_interval, i);
        }
    }
    EXPECT_EQ(fold(24, per_interval), KOR_OK);
    EXPECT_EQ(test::inflate_file("h"), test::inflate_file("by hand"));
}

// --- damaged files ---

struct damaged_file {
    const char *name;
    std::string records;
    int code;
    uint32_t nintervals;  // written all the same
};

class DamagedCurrentBuffer : public test::InScratchFolder,
                             public testing::WithParamInterface<damaged_file> {
};

// Folded in intervals of two.  What was gathered before is kept.
TEST_P(DamagedCurrentBuffer, GivesTheCodeAndKeepsWhatWasGathered)
{
    write_streams("c",
                  {current_header(4) + stored_names + stored_sample_0 +
                   stored_sample_1 + stored_sample_0 + GetParam().records});
    uint32_t size = 0;
    EXPECT_EQ(fold(4, 2, &size), GetParam().code);
    EXPECT_EQ(size, GetParam().nintervals);
    EXPECT_EQ(intervals_of("h")[1].of("CPU0 Temp").count, 1u);
}

const damaged_file damaged_files[] = {
    {"UnknownType", bytes("00 00 00 09"), KOR_ERR_INVALID_DATA, 2},
    {"CutType", bytes("00 00"), KOR_ERR_TRUNCATED, 2},
    {"CutReadings", stored_sample_0.substr(0, 20), KOR_ERR_TRUNCATED, 2},
    {"OtherVersion", test::with(stored_sample_0, 4, bytes("02")),
     KOR_ERR_WRONG_VERSION, 2},
    // Part of the interface: this cut looks like the end of the file.
    {"CutBeforeAText", test::stored_event.substr(0, 18), KOR_OK, 2},
};
INSTANTIATE_TEST_SUITE_P(Table, DamagedCurrentBuffer,
                         testing::ValuesIn(damaged_files), [](const auto &row) {
                             return std::string(row.param.name);
                         });

// One reading where the names say two; its time still moves the end.
TEST_F(KorCurrentBufferCompress, SampleOfAnotherWidthEndsTheFold)
{
    const std::string narrow =
        test::with(stored_sample_1.substr(0, 22), 14, test::stored_count(1));
    write_streams("c", {current_header(4) + stored_names + stored_sample_0 +
                        narrow + stored_sample_0});
    EXPECT_EQ(fold(2, 2), KOR_ERR_INVALID_DATA);
    const auto intervals = intervals_of("h");
    ASSERT_EQ(intervals.size(), 1u);
    EXPECT_EQ(intervals[0].end, 1);
    EXPECT_EQ(intervals[0].of("CPU0 Temp").count, 1u);
}

// Nothing was gathered, and an interval without sensors is not written.
TEST_F(KorCurrentBufferCompress, FirstSampleOfAnotherWidthWritesNothing)
{
    const std::string narrow =
        test::with(stored_sample_1.substr(0, 22), 14, test::stored_count(1));
    write_streams("c", {current_header(4) + stored_names + narrow});
    uint32_t size = 0;
    EXPECT_EQ(fold(2, 2, &size), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(test::inflate_file("h"), hist_header(2));
}

TEST_F(KorCurrentBufferCompress, MoreSamplesThanTheCapacityAreRefused)
{
    write_streams("c", {current_header(2) + stored_names + stored_sample_0 +
                        stored_sample_1 + stored_sample_0 + stored_sample_1});
    uint32_t size = 0;
    EXPECT_EQ(fold(4, 2, &size), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(size, 2u);
}

// --- failing writes ---

// The lent writer stands in for a disk; after `calls` writes it is full.
TEST_F(KorCurrentBufferCompress, FailedWritesComeThrough)
{
    record_samples(4, 4);
    int failures = 0;
    for (int calls = 0;; ++calls) {
        SCOPED_TRACE(calls);
        test::memory_writer disk;
        disk.fail_after(calls, KOR_ERR_INFLATE);
        const hist_holder hbuf = create_hist("h", 2);
        writer_destroy(&hbuf->writer);
        hbuf->writer = test::lend(disk.get());
        const int result = kor_current_buffer_compress("c", hbuf.get(), 2);
        if (result == KOR_OK) break;
        EXPECT_EQ(result, KOR_ERR_INFLATE);
        EXPECT_LT(hbuf->size, 2u);
        ++failures;
    }
    EXPECT_GT(failures, 10);
}

// Part of the interface: the interval in progress is tried once more.
TEST_F(KorCurrentBufferCompress, IntervalWhoseWriteFailedIsTriedAgainAtTheEnd)
{
    record_samples(2, 2);
    test::memory_writer disk;
    disk.fail_after(0, KOR_ERR_INFLATE);
    const hist_holder hbuf = create_hist("h", 2);
    writer_destroy(&hbuf->writer);
    hbuf->writer = test::lend(disk.get());
    EXPECT_EQ(kor_current_buffer_compress("c", hbuf.get(), 2), KOR_ERR_INFLATE);
    EXPECT_EQ(disk.calls(), 2);
}

TEST_F(KorCurrentBufferCompress, AllocationFailuresAreSurvived)
{
    {
        const auto cbuf = create_current("c", 4);
        put(cbuf, vector_of({"a", "b"}, at(0), {1.0, 10.0}));
        put(cbuf, test::fan_fail());
        put(cbuf, vector_of({"b", "c"}, at(1), {20.0, 100.0}));
        put(cbuf, vector_of({"c"}, at(2), {200.0}));
    }
    EXPECT_EQ(fold(2, 2), KOR_OK);
    const std::string expected = test::inflate_file("h");
    test::expect_allocation_failures_are_survived([&] {
        struct kor_hist_buffer *hbuf = kor_hist_buffer_create("h", 2);
        if (hbuf == nullptr) return vela_get_last_error();
        const int result = kor_current_buffer_compress("c", hbuf, 2);
        kor_hist_buffer_close(&hbuf);
        if (result == KOR_OK) {
            EXPECT_EQ(test::inflate_file("h"), expected);
        }
        return static_cast<int>(result);
    });
}

// --- assertions ---

class KorCurrentBufferCompressDeathTest : public test::InScratchFolder {};

TEST_F(KorCurrentBufferCompressDeathTest, AsksForItsArguments)
{
    record_samples(2, 2);
    const hist_holder hbuf = create_hist("h", 2);
    EXPECT_ABORTS(kor_current_buffer_compress(nullptr, hbuf.get(), 2),
                  "cbuf_filename != NULL");
    EXPECT_ABORTS(kor_current_buffer_compress("c", nullptr, 2), "hbuf != NULL");
    EXPECT_ABORTS(kor_current_buffer_compress("c", hbuf.get(), 0),
                  "samples_per_hb_interval > 0");
}

TEST_F(KorCurrentBufferCompressDeathTest, OtherEventTypesAreNotProvidedFor)
{
    {
        const auto cbuf = create_current("c", 2);
        put(cbuf, vector_of({"a"}, at(0), {1.0}));
        put(cbuf, event_of(6, 0, "x"));
    }
    EXPECT_ABORTS(fold(2, 2), "counter != NULL");
    write_streams("c",
                  {current_header(2) + stored_names +
                   test::with(test::stored_event, 5, test::stored_count(0))});
    EXPECT_ABORTS(fold(2, 2), "counter != NULL");
}

TEST_F(KorCurrentBufferCompressDeathTest, NullTimesAreNotProvidedFor)
{
    {
        const auto cbuf = create_current("c", 2);
        put(cbuf, vector_of({"a"}, at(-test::first_second), {1.0}));
        put(cbuf, vector_of({"a"}, at(1), {1.0}));
    }
    EXPECT_ABORTS_IN("_kor_write_current_interval", fold(2, 2),
                     "!timestamp_is_null(&state->start)");
    {
        const auto cbuf = create_current("c", 2);
        put(cbuf, vector_of({"a"}, at(1), {1.0}));
        put(cbuf, vector_of({"a"}, at(-test::first_second), {1.0}));
    }
    EXPECT_ABORTS_IN("_kor_write_current_interval", fold(2, 2),
                     "!timestamp_is_null(&state->end)");
}

}  // namespace
