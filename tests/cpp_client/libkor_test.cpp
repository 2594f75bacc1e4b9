#include "libkor.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr std::time_t start = 1167609600;

// A test that runs in a folder of its own.
class InScratchFolder : public testing::Test {
protected:
    InScratchFolder()
    {
        std::string name =
            std::filesystem::temp_directory_path() / "libkor-client-XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
        std::filesystem::current_path(folder_);
    }
    ~InScratchFolder() override
    {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder_);
    }

private:
    std::filesystem::path folder_;
};

libkor::telemetry_vector two_sensors()
{
    return *libkor::telemetry_vector::create({"CPU0 Temp", "FAN0 SPEED"});
}

// Writes samples `from` to `to` - 1, a second apart, with their number as the
// first reading.
void write_samples(libkor::recorder &recorder, int from, int to)
{
    libkor::telemetry_vector vector = two_sensors();
    for (int i = from; i < to; ++i) {
        vector.set(0, i);
        vector.set(1, 1000.0 + i);
        ASSERT_EQ(recorder.write(vector, start + i).code(), KOR_OK);
    }
}

// The same to a recorder that is made anew and closed again.
void record_anew(int from, int to)
{
    auto recorder = libkor::recorder::create("flight", 4, 2);
    ASSERT_TRUE(recorder);
    write_samples(*recorder, from, to);
}

// The items from where the playback stands to its end, a string each.
std::vector<std::string> strings_of(libkor::playback &playback)
{
    std::vector<std::string> strings;
    for (const libkor::item &item : playback) {
        std::string text = std::to_string(libkor::seconds(item.start) - start);
        if (item.kind == KOR_PLAYBACK_SENSORS)
            text = "names " + std::to_string(item.n_sensors);
        if (item.kind == KOR_PLAYBACK_INTERVAL)
            text += " of " + std::to_string(item.hvalues[0].count);
        if (item.kind == KOR_PLAYBACK_SAMPLE)
            text += " = " + std::to_string(static_cast<int>(item.values[0]));
        if (item.kind == KOR_PLAYBACK_EVENT)
            text += std::string(" ") + item.text;
        if (item.kind == KOR_PLAYBACK_DAMAGE) text = "damage";
        strings.push_back(text);
    }
    EXPECT_EQ(playback.error().code(), KOR_OK);
    return strings;
}

std::vector<std::string> strings_of(const char *name)
{
    auto playback = libkor::playback::open(name);
    EXPECT_TRUE(playback);
    return strings_of(*playback);
}

using strings = std::vector<std::string>;

TEST(Error, IsTrueForAFailure)
{
    EXPECT_FALSE(libkor::error());
    EXPECT_FALSE(libkor::error(KOR_OK));
    const libkor::error error(KOR_ERR_NO_MEMORY);
    EXPECT_TRUE(error);
    EXPECT_EQ(error.code(), -22);
    EXPECT_STREQ(error.message(), "out of memory");
}

TEST(Result, HoldsAValueOrAnError)
{
    libkor::result<std::string> value(std::string("made"));
    EXPECT_TRUE(value);
    EXPECT_EQ(value.error().code(), KOR_OK);
    EXPECT_EQ(*value, "made");
    EXPECT_EQ(value->size(), 4u);
    const libkor::result<std::string> failed(
        libkor::error{KOR_ERR_CANNOT_OPEN});
    EXPECT_FALSE(failed);
    EXPECT_EQ(failed.error().code(), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(failed->size(), 0u);
}

TEST(Result, GivesItsValueAwayWhenItIsATemporary)
{
    using temporary = decltype(*std::declval<libkor::result<std::string>>());
    static_assert(std::is_same_v<temporary, std::string>);
    const std::string &kept = *libkor::result<std::string>(std::string("kept"));
    EXPECT_EQ(kept, "kept");
}

TEST(Handles, MoveButDoNotCopy)
{
    using libkor::playback;
    using libkor::recorder;
    using libkor::telemetry_vector;
    static_assert(!std::is_copy_constructible_v<recorder>);
    static_assert(!std::is_copy_constructible_v<playback>);
    static_assert(!std::is_copy_constructible_v<telemetry_vector>);
    static_assert(std::is_nothrow_move_constructible_v<recorder>);
    static_assert(std::is_nothrow_move_assignable_v<playback>);
    telemetry_vector first = two_sensors();
    const matrix *const held = first.get();
    const telemetry_vector second = std::move(first);
    EXPECT_EQ(second.get(), held);
    EXPECT_EQ(first.get(), nullptr);
}

TEST(TelemetryVector, HoldsAReadingForEachSensor)
{
    libkor::telemetry_vector vector = two_sensors();
    ASSERT_EQ(vector.size(), 2u);
    EXPECT_EQ(vector.get(0), 0.0);
    vector.set(0, 45.5);
    vector.set(1, 1200);
    EXPECT_EQ(vector.get(0), 45.5);
    EXPECT_EQ(vector.get(1), 1200.0);
    vector.set_missing(1);
    EXPECT_TRUE(std::isnan(vector.get(1)));
    EXPECT_EQ(sensor_array_get_size(telemetry_matrix_get_sensors(vector.get())),
              2u);
}

TEST(TelemetryVector, NeedsSensorsWithNames)
{
    const auto none = libkor::telemetry_vector::create({});
    EXPECT_EQ(none.error().code(), KOR_ERR_INVALID_DATA);
    const auto nameless = libkor::telemetry_vector::create({"FAN0", nullptr});
    EXPECT_EQ(nameless.error().code(), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(nameless->get(), nullptr);
    const auto empty = libkor::telemetry_vector::create({"FAN0", ""});
    EXPECT_EQ(empty.error().code(), KOR_ERR_INVALID_DATA);
}

TEST(TelemetryVector, TakesWhatCanBeRecorded)
{
    constexpr std::size_t most = 10000;
    const std::string longest(most, 'n');
    const std::string too_long(most + 1, 'n');
    EXPECT_TRUE(libkor::telemetry_vector::create({longest.c_str()}));
    const auto long_name = libkor::telemetry_vector::create({too_long.c_str()});
    EXPECT_EQ(long_name.error().code(), KOR_ERR_TOO_LONG);
    const std::vector<const char *> names(most + 1, "n");
    const auto sized = [&](std::uint32_t count) {
        return libkor::telemetry_vector::create(names.data(), count);
    };
    EXPECT_TRUE(sized(most));
    EXPECT_EQ(sized(most + 1).error().code(), KOR_ERR_TOO_LONG);
}

// Where time is 32 bits wide no time beyond can even be expressed.
template <class Time>
void check_wide_times(libkor::telemetry_vector &vector)
{
    if constexpr (sizeof(Time) > sizeof(std::int32_t)) {
        const Time latest = std::numeric_limits<std::int32_t>::max();
        const Time earliest = std::numeric_limits<std::int32_t>::min();
        EXPECT_EQ(vector.stamp(latest).code(), KOR_OK);
        EXPECT_EQ(vector.stamp(latest + 1).code(), KOR_ERR_BAD_TIMESTAMP);
        EXPECT_EQ(vector.stamp(earliest - 1).code(), KOR_ERR_BAD_TIMESTAMP);
        EXPECT_EQ(vector.time(), latest);
    }
}

TEST(TelemetryVector, KeepsItsTimeWhenAnotherCannotBeStored)
{
    libkor::telemetry_vector vector = two_sensors();
    EXPECT_EQ(vector.time(), 0);
    ASSERT_EQ(vector.stamp(start).code(), KOR_OK);
    EXPECT_EQ(vector.stamp(0).code(), KOR_ERR_BAD_TIMESTAMP);
    EXPECT_EQ(vector.time(), start);
    check_wide_times<std::time_t>(vector);
    EXPECT_EQ(vector.stamp(-1).code(), KOR_OK);
    EXPECT_EQ(vector.time(), -1);
}

// While it lives no file can grow.
class full_disk {
public:
    full_disk()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        struct rlimit none = before_;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
    }
    full_disk(const full_disk &) = delete;
    full_disk &operator=(const full_disk &) = delete;
    ~full_disk() { setrlimit(RLIMIT_FSIZE, &before_); }

private:
    struct rlimit before_;
};

class Recorder : public InScratchFolder {};

TEST_F(Recorder, TakesNoEventWhenItWasMovedFrom)
{
    auto recorder = libkor::recorder::create("flight", 4, 2);
    ASSERT_TRUE(recorder);
    write_samples(*recorder, 0, 1);
    libkor::recorder second = std::move(*recorder);
    EXPECT_EQ(recorder->get(), nullptr);
    EXPECT_EQ(recorder->write_event(1, start, "x").code(), KOR_ERR_INCOMPLETE);
    EXPECT_EQ(second.write_event(1, start, "x").code(), KOR_OK);
}

TEST_F(Recorder, RefusesParametersThatNoRecorderCanHave)
{
    struct row {
        const char *name;
        std::uint32_t samples, intervals;
    };
    const row rows[] = {{nullptr, 4, 2},          {"", 4, 2},
                        {"flight", 0, 2},         {"flight", 4, 0},
                        {"flight", 3, 1},         {"flight", 6, 3},
                        {"flight", 6, 4},         {"flight", 0x80000000, 2},
                        {"flight", 131072, 65536}};
    for (const row &r : rows) {
        const auto resumed =
            libkor::recorder::resume(r.name, r.samples, r.intervals);
        EXPECT_EQ(resumed.error().code(), KOR_ERR_INVALID_DATA);
        const auto created =
            libkor::recorder::create(r.name, r.samples, r.intervals);
        EXPECT_EQ(created.error().code(), KOR_ERR_INVALID_DATA);
        EXPECT_EQ(created->get(), nullptr);
    }
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(Recorder, TakesAsManyIntervalsAsCanBeFolded)
{
    EXPECT_TRUE(libkor::recorder::create("flight", 131068, 65534));
}

TEST_F(Recorder, DoesNotGoOnWithMoreIntervalsThanCanBeFolded)
{
    {
        struct kor *made = kor_create("flight", 140000, 70000);
        libkor::telemetry_vector vector = two_sensors();
        EXPECT_EQ(vector.stamp(start).code(), KOR_OK);
        EXPECT_EQ(kor_write_telemetry_vector(made, vector.get()), KOR_OK);
        kor_close(&made);
    }
    const auto resumed = libkor::recorder::resume("flight", 4, 2);
    EXPECT_EQ(resumed.error().code(), KOR_ERR_INVALID_DATA);
}

TEST_F(Recorder, TellsWhyItCannotBeMade)
{
    const auto created = libkor::recorder::create("missing/flight", 4, 2);
    EXPECT_EQ(created.error().code(), KOR_ERR_CANNOT_OPEN);
    const auto resumed = libkor::recorder::resume("missing/flight", 4, 2);
    EXPECT_EQ(resumed.error().code(), KOR_ERR_CANNOT_OPEN);
}

TEST_F(Recorder, IsClosedWithItsHandleAndGoesOnWhenResumed)
{
    {
        auto recorder = libkor::recorder::resume("flight", 4, 2);
        ASSERT_TRUE(recorder);
        write_samples(*recorder, 0, 3);
        EXPECT_EQ(recorder->sync().code(), KOR_OK);
    }
    {
        // It keeps the parameters that it was created with.
        auto recorder = libkor::recorder::resume("flight", 100, 10);
        ASSERT_TRUE(recorder);
        EXPECT_EQ(recorder->get()->num_cb_samples, 4u);
        write_samples(*recorder, 3, 5);
    }
    EXPECT_EQ(strings_of("flight"), (strings{"names 2", "0 = 0", "1 = 1",
                                             "2 = 2", "3 = 3", "4 = 4"}));
}

TEST_F(Recorder, BeginsAnewWhenCreated)
{
    record_anew(0, 3);
    record_anew(7, 8);
    EXPECT_EQ(strings_of("flight"), (strings{"names 2", "7 = 7"}));
}

TEST_F(Recorder, RefusesAVectorWithoutATime)
{
    auto recorder = libkor::recorder::create("flight", 4, 2);
    ASSERT_TRUE(recorder);
    libkor::telemetry_vector vector = two_sensors();
    EXPECT_EQ(recorder->write(vector).code(), KOR_ERR_BAD_TIMESTAMP);
    EXPECT_EQ(recorder->write(vector, 0).code(), KOR_ERR_BAD_TIMESTAMP);
    ASSERT_EQ(vector.stamp(start).code(), KOR_OK);
    EXPECT_EQ(recorder->write(vector).code(), KOR_OK);
    EXPECT_EQ(strings_of("flight"), (strings{"names 2", "0 = 0"}));
}

TEST_F(Recorder, RecordsEventsThatCanBeFoldedOnly)
{
    auto recorder = libkor::recorder::create("flight", 4, 2);
    ASSERT_TRUE(recorder);
    EXPECT_EQ(recorder->write_event(1, start, "too early").code(),
              KOR_ERR_INCOMPLETE);
    write_samples(*recorder, 0, 1);
    EXPECT_EQ(recorder->write_event(0, start, "x").code(),
              KOR_ERR_INVALID_DATA);
    EXPECT_EQ(recorder->write_event(6, start, "x").code(),
              KOR_ERR_INVALID_DATA);
    EXPECT_EQ(recorder->write_event(1, start, "").code(), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(recorder->write_event(1, start, nullptr).code(),
              KOR_ERR_INVALID_DATA);
    EXPECT_EQ(recorder->write_event(1, 0, "x").code(), KOR_ERR_BAD_TIMESTAMP);
    EXPECT_EQ(recorder->write_event(5, start + 1, "door opened").code(),
              KOR_OK);
    EXPECT_EQ(strings_of("flight"),
              (strings{"names 2", "0 = 0", "1 door opened"}));
}

TEST_F(Recorder, TakesNoEventBehindAWriteThatFailed)
{
    auto recorder = libkor::recorder::create("flight", 4, 2);
    ASSERT_TRUE(recorder);
    write_samples(*recorder, 0, 1);
    libkor::telemetry_vector vector = two_sensors();
    libkor::error failed;
    {
        const full_disk full;
        failed = recorder->write(vector, start + 1);
    }
    EXPECT_EQ(failed.code(), KOR_ERR_INFLATE);
    EXPECT_EQ(recorder->write_event(1, start + 1, "x").code(),
              KOR_ERR_INCOMPLETE);
    write_samples(*recorder, 2, 3);
    EXPECT_EQ(recorder->write_event(1, start + 2, "x").code(), KOR_OK);
}

class Playback : public InScratchFolder {};

TEST_F(Playback, GivesHistorySamplesAndEventsInOrder)
{
    {
        auto recorder = libkor::recorder::create("flight", 4, 2);
        ASSERT_TRUE(recorder);
        write_samples(*recorder, 0, 13);
        ASSERT_EQ(recorder->write_event(2, start + 13, "landed").code(),
                  KOR_OK);
    }
    EXPECT_EQ(strings_of("flight"),
              (strings{"names 2", "0 of 2", "2 of 2", "4 of 2", "6 of 2",
                       "names 2", "8 = 8", "9 = 9", "10 = 10", "11 = 11",
                       "12 = 12", "13 landed"}));
}

TEST_F(Playback, GivesMissingReadingsAsSuch)
{
    {
        auto recorder = libkor::recorder::create("flight", 4, 2);
        libkor::telemetry_vector vector = two_sensors();
        vector.set(0, 45.5);
        vector.set_missing(1);
        ASSERT_EQ(recorder->write(vector, start).code(), KOR_OK);
    }
    int nsamples = 0;
    auto playback = libkor::playback::open("flight");
    ASSERT_TRUE(playback);
    for (const libkor::item &item : *playback) {
        if (item.kind != KOR_PLAYBACK_SAMPLE) continue;
        ++nsamples;
        EXPECT_EQ(item.values[0], 45.5f);
        EXPECT_FALSE(sensor_value_is_valid(item.values[1]));
        EXPECT_STREQ(item.names[1], "FAN0 SPEED");
    }
    EXPECT_EQ(nsamples, 1);
}

TEST_F(Playback, GoesOnWithWhatWasRecordedSince)
{
    auto recorder = libkor::recorder::create("flight", 4, 2);
    ASSERT_TRUE(recorder);
    write_samples(*recorder, 0, 1);
    auto playback = libkor::playback::open("flight");
    ASSERT_TRUE(playback);
    EXPECT_EQ(strings_of(*playback), (strings{"names 2", "0 = 0"}));
    EXPECT_EQ(strings_of(*playback), strings{});
    write_samples(*recorder, 1, 3);
    EXPECT_EQ(strings_of(*playback), (strings{"1 = 1", "2 = 2"}));
}

TEST_F(Playback, TellsTheParameters)
{
    record_anew(0, 5);
    const auto playback = libkor::playback::open("flight");
    ASSERT_TRUE(playback);
    const struct kor_playback_info info = playback->info();
    EXPECT_EQ(info.num_cb_samples, 4u);
    EXPECT_EQ(info.num_hb_intervals, 2u);
    EXPECT_EQ(info.state, KOR_ZCF_STATE_CC0);
    EXPECT_EQ(info.nfiles, 2u);
}

TEST_F(Playback, TellsWhyItCannotBeOpened)
{
    auto playback = libkor::playback::open("flight");
    EXPECT_FALSE(playback);
    EXPECT_EQ(playback.error().code(), KOR_ERR_CANNOT_OPEN);
    EXPECT_STREQ(playback.error().message(), "file could not be opened");
    EXPECT_EQ(libkor::playback::open(nullptr).error().code(),
              KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(libkor::playback::open("").error().code(), KOR_ERR_CANNOT_OPEN);
    // What holds nothing has no items.
    EXPECT_EQ(strings_of(*playback), strings{});
    EXPECT_EQ(playback->info().nfiles, 0u);
}

TEST_F(Playback, ReportsDamageAsAnItem)
{
    record_anew(0, 2);
    const auto whole = std::filesystem::file_size("flight.1.cbuf.z");
    std::filesystem::resize_file("flight.1.cbuf.z", whole - 3);
    EXPECT_EQ(strings_of("flight"), (strings{"names 2", "0 = 0", "damage"}));
}

TEST(PlaybackIterator, IsAnInputIterator)
{
    using iterator = libkor::playback::iterator;
    using traits = std::iterator_traits<iterator>;
    static_assert(
        std::is_same_v<traits::iterator_category, std::input_iterator_tag>);
    static_assert(std::is_same_v<traits::reference, const libkor::item &>);
    EXPECT_TRUE(iterator() == iterator());
    EXPECT_FALSE(iterator() != iterator());
}

}  // namespace
