#include "kor_playback.h"

#include "unit/recorder/recovery_support.hpp"

namespace {

using namespace test;

class KorPlayback : public InScratchFolder {};

// What a recorder of `n` vectors must give of its current buffers, from the
// `from`-th vector on.
std::vector<std::string> expected_tail(int from, int n)
{
    std::vector<std::string> expected;
    for (int i = from; i < n; ++i) {
        expected.push_back(sample_of(i));
        if (has_event(i)) expected.push_back(event_string_of(i));
    }
    return expected;
}

// How many vectors are in history after so many.
int vectors_in_history(int n)
{
    const int in_current = (n - 1) % 4 + 1 + 4;
    return n > 12 ? n - in_current : 0;
}

TEST_F(KorPlayback, GivesEverySampleAndEventOfTheCurrentBuffersInOrder)
{
    for (int n = 1; n <= 30; ++n) {
        SCOPED_TRACE(n);
        recorder_folder(n);
        std::vector<played> records = records_of(play());
        std::erase_if(records, [](const played &p) {
            return p.kind == KOR_PLAYBACK_INTERVAL;
        });
        EXPECT_EQ(record_strings(records),
                  expected_tail(vectors_in_history(n), n));
    }
}

TEST_F(KorPlayback, GivesTheHistoryBeforeTheSamples)
{
    recorder_folder(15);
    const std::vector<played> records = records_of(play());
    ASSERT_GE(records.size(), 5u);
    for (size_t i = 0; i < 4; ++i) {
        const auto seconds = static_cast<int32_t>(20 * i);
        EXPECT_EQ(records[i].kind, KOR_PLAYBACK_INTERVAL);
        EXPECT_EQ(records[i].start, at(seconds).tv.tv_sec);
        EXPECT_EQ(records[i].end, at(seconds + 10).tv.tv_sec);
    }
    EXPECT_EQ(records[4].kind, KOR_PLAYBACK_SAMPLE);
}

TEST_F(KorPlayback, GivesTheSummariesOfAnInterval)
{
    recorder_folder(13);
    const playback_holder playback(kor_playback_open("rec"));
    struct kor_playback_item item;
    ASSERT_EQ(kor_playback_next(playback.get(), &item), 1);
    ASSERT_EQ(item.kind, KOR_PLAYBACK_SENSORS);
    ASSERT_EQ(kor_playback_next(playback.get(), &item), 1);
    ASSERT_EQ(item.kind, KOR_PLAYBACK_INTERVAL);
    ASSERT_EQ(item.n_sensors, 2u);
    EXPECT_STREQ(item.names[0], "DISK0 READ");
    EXPECT_EQ(item.hvalues[0].count, 2u);
    EXPECT_EQ(item.hvalues[0].min, 1000.0f);
    EXPECT_EQ(item.hvalues[0].max, 1003.0f);
    EXPECT_STREQ(item.names[1], "CPU0 Temp");
    EXPECT_EQ(item.hvalues[1].sum, 81.0f);
    // The event after the second vector belongs to the second interval.
    EXPECT_EQ(item.event_counts.n_type2, 0u);
    ASSERT_EQ(kor_playback_next(playback.get(), &item), 1);
    EXPECT_EQ(item.event_counts.n_type2, 1u);
}

TEST_F(KorPlayback, TellsTheSensorsWhenTheyChange)
{
    recorder_folder(11);
    std::vector<std::vector<std::string>> sets;
    for (const played &p : play()) {
        if (p.kind == KOR_PLAYBACK_SENSORS) sets.push_back(p.names);
        if (p.kind != KOR_PLAYBACK_SAMPLE) continue;
        EXPECT_EQ(p.names, sets.back());
    }
    const std::vector<std::string> with_fan = {"CPU0 Temp", "DISK0 READ",
                                               "FAN0"};
    EXPECT_EQ(sets,
              (std::vector<std::vector<std::string>>{two_sensors, with_fan}));
}

TEST_F(KorPlayback, TellsTheParametersAndTheFiles)
{
    recorder_folder(15);
    const playback_holder playback(kor_playback_open("rec"));
    struct kor_playback_info info;
    EXPECT_EQ(kor_playback_get_info(playback.get(), &info), 0);
    EXPECT_EQ(info.is_recorder, 1u);
    EXPECT_EQ(info.state_intact, 1u);
    EXPECT_EQ(info.state, KOR_ZCF_STATE_HCC);
    EXPECT_EQ(info.num_cb_samples, 4u);
    EXPECT_EQ(info.num_hb_intervals, 2u);
    EXPECT_EQ(info.next_file_number, 6u);
    ASSERT_EQ(info.nfiles, 3u);
    struct kor_playback_file file;
    EXPECT_EQ(kor_playback_get_file(playback.get(), 0, &file), 0);
    EXPECT_STREQ(file.filename, "rec.4.hbuf.z");
    EXPECT_EQ(file.kind, KOR_BUFFER_TYPE_HIST);
    EXPECT_EQ(file.capacity, 4u);
    EXPECT_EQ(file.size, read_file("rec.4.hbuf.z").size());
    EXPECT_EQ(file.missing, 0u);
    EXPECT_EQ(kor_playback_get_file(playback.get(), 2, &file), 0);
    EXPECT_STREQ(file.filename, "rec.5.cbuf.z");
    EXPECT_EQ(file.kind, KOR_BUFFER_TYPE_CURRENT);
    EXPECT_EQ(kor_playback_get_file(playback.get(), 3, &file),
              KOR_ERR_INVALID_DATA);
    EXPECT_EQ(file.filename, nullptr);
}

TEST_F(KorPlayback, PlaysOneBufferFileOfAnyName)
{
    recorder_folder(15);
    const std::vector<played> all = records_of(play());
    std::vector<std::string> of_file;
    for (const played &p : all)
        if (p.file == "rec.3.cbuf.z") of_file.push_back(p.record());
    EXPECT_EQ(record_strings(records_of(play("rec.3.cbuf.z"))), of_file);
    std::filesystem::rename("rec.3.cbuf.z", "saved");
    EXPECT_EQ(record_strings(records_of(play("saved"))), of_file);
    const playback_holder playback(kor_playback_open("saved"));
    struct kor_playback_info info;
    kor_playback_get_info(playback.get(), &info);
    EXPECT_EQ(info.is_recorder, 0u);
    EXPECT_EQ(info.nfiles, 1u);
}

TEST_F(KorPlayback, RefusesWhatIsNotThere)
{
    EXPECT_EQ(kor_playback_open("rec"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(kor_playback_open("no/such/folder/rec"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(kor_playback_open(""), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
    std::filesystem::create_directory("folder");
    EXPECT_EQ(kor_playback_open("folder"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

TEST_F(KorPlayback, GivesNothingOfAnEmptyFile)
{
    write_file("empty", "");
    EXPECT_TRUE(play("empty").empty());
    write_file("header", deflate_stream(current_header(4)));
    EXPECT_TRUE(play("header").empty());
}

TEST_F(KorPlayback, NeedsNoStateFile)
{
    for (const int n : vectors_of_states) {
        SCOPED_TRACE(n);
        recorder_folder(n);
        const std::vector<std::string> before = record_strings(play());
        std::filesystem::remove("rec.state");
        EXPECT_EQ(record_strings(play()), before);
    }
}

TEST_F(KorPlayback, ReadsWithoutWritePermissionAndChangesNothing)
{
    folder files = recorder_folder(15);
    files["rec.state"] = "torn";
    files["rec.5.cbuf.z"] += "torn";
    restore(files);
    for (const auto &[name, content] : files)
        std::filesystem::permissions(name, std::filesystem::perms(0444));
    std::filesystem::permissions(".", std::filesystem::perms(0555));
    EXPECT_FALSE(records_of(play()).empty());
    std::filesystem::permissions(".", std::filesystem::perms(0755));
    EXPECT_EQ(read_folder(), files);
}

TEST_F(KorPlayback, ReportsATornTailOnceAndReadsItWhenItIsComplete)
{
    recorder_folder(3);
    const std::string whole = read_file("rec.1.cbuf.z");
    const std::vector<played> all = records_of(play());
    const uint64_t last = all.back().offset;
    write_file("rec.1.cbuf.z", whole.substr(0, static_cast<size_t>(last) + 5));
    const playback_holder playback(kor_playback_open("rec"));
    std::vector<played> items = rest_of(playback.get());
    ASSERT_EQ(items.back().kind, KOR_PLAYBACK_DAMAGE);
    EXPECT_EQ(items.back().offset, last);
    EXPECT_EQ(items.back().length, 5u);
    EXPECT_EQ(records_of(items).size(), all.size() - 1);
    EXPECT_TRUE(rest_of(playback.get()).empty());
    write_file("rec.1.cbuf.z", whole);
    items = rest_of(playback.get());
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].record(), all.back().record());
}

TEST_F(KorPlayback, FollowsARecorderThroughItsRotations)
{
    for (int ahead = 1; ahead <= 8; ++ahead) {
        SCOPED_TRACE(ahead);
        std::filesystem::remove_all("rec.state");
        for (const std::string &name : list_folder())
            std::filesystem::remove(name);
        const kor_holder kor(kor_create("rec", 4, 2));
        record(kor.get(), 0, 1);
        const playback_holder playback(kor_playback_open("rec"));
        std::vector<std::string> seen =
            record_strings(records_of(rest_of(playback.get())));
        for (int i = 1; i + ahead <= 60; i += ahead) {
            record(kor.get(), i, i + ahead);
            for (const std::string &s :
                 record_strings(records_of(rest_of(playback.get()))))
                seen.push_back(s);
        }
        // Up to two buffers behind, nothing is lost and nothing doubled.
        const int n = 1 + 59 / ahead * ahead;
        EXPECT_EQ(seen, expected_tail(0, n));
    }
}

TEST_F(KorPlayback, GivesIntervalsForSamplesThatItFellTooFarBehindFor)
{
    const kor_holder kor(kor_create("rec", 4, 2));
    record(kor.get(), 0, 14);
    const playback_holder playback(kor_playback_open("rec"));
    rest_of(playback.get());
    record(kor.get(), 14, 40);
    int32_t last = at(130).tv.tv_sec;
    const std::vector<played> records = records_of(rest_of(playback.get()));
    EXPECT_EQ(records.front().kind, KOR_PLAYBACK_SAMPLE);  // 14 and 15
    int intervals = 0;
    for (const played &p : records) {
        intervals += p.kind == KOR_PLAYBACK_INTERVAL;
        if (p.kind == KOR_PLAYBACK_EVENT) continue;
        EXPECT_GT(p.start, last);
        last = std::max(last, p.end);
    }
    EXPECT_GT(intervals, 0);
    EXPECT_EQ(records.back().record(), sample_of(39));
}

TEST_F(KorPlayback, ReadsOnInFilesThatAreRemovedMeanwhile)
{
    const kor_holder kor(kor_create("rec", 4, 2));
    record(kor.get(), 0, 15);
    const std::vector<std::string> expected =
        record_strings(records_of(play()));
    const playback_holder playback(kor_playback_open("rec"));
    record(kor.get(), 15, 22);
    std::vector<std::string> seen =
        record_strings(records_of(rest_of(playback.get())));
    ASSERT_GE(seen.size(), expected.size());
    const std::vector<std::string> tail(
        seen.begin() + static_cast<std::ptrdiff_t>(expected.size()),
        seen.end());
    seen.resize(expected.size());
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(tail, expected_tail(15, 22));
}

TEST_F(KorPlayback, ReportsAMissingFileAsDamage)
{
    recorder_folder(15);
    const std::vector<played> before = records_of(play());
    std::filesystem::remove("rec.5.cbuf.z");
    const std::vector<played> items = play();
    const std::vector<played> damage = damage_of(items);
    ASSERT_EQ(damage.size(), 1u);
    EXPECT_EQ(damage[0].file, "rec.5.cbuf.z");
    EXPECT_EQ(damage[0].length, 0u);
    const playback_holder playback(kor_playback_open("rec"));
    struct kor_playback_file file;
    ASSERT_EQ(kor_playback_get_file(playback.get(), 2, &file), 0);
    EXPECT_EQ(file.missing, 1u);
    EXPECT_EQ(file.size, 0u);
}

TEST_F(KorPlayback, ReportsAMissingHistoryThoughRecoveryGoesOnWithoutIt)
{
    recorder_folder(15);
    std::filesystem::remove("rec.4.hbuf.z");
    const std::vector<played> items = play();
    const std::vector<played> damage = damage_of(items);
    ASSERT_EQ(damage.size(), 1u);
    EXPECT_EQ(damage[0].file, "rec.4.hbuf.z");
    EXPECT_EQ(damage[0].length, 0u);
    EXPECT_EQ(items.back().file, "rec.5.cbuf.z");
}

TEST_F(KorPlayback, ReportsAFileWithoutAnyReadableRecordWithoutAStateFile)
{
    for (const int n : vectors_of_states) {
        SCOPED_TRACE(n);
        folder whole = recorder_folder(n);
        whole.erase("rec.state");
        for (const auto &[name, content] : whole) {
            SCOPED_TRACE(name);
            folder files = whole;
            files[name] = std::string(content.size(), '\0');
            restore(files);
            const std::vector<played> damage = damage_of(play());
            ASSERT_EQ(damage.size(), 1u);
            EXPECT_EQ(damage[0].file, name);
            EXPECT_EQ(damage[0].offset, 0u);
            EXPECT_EQ(damage[0].length, content.size());
        }
    }
}

TEST_F(KorPlayback, ReportsNoFoldThatWasNeverFinished)
{
    folder files = recorder_folder(11);
    files.erase("rec.state");
    files["rec.4.hbuf.z"] = std::string(200, '\0');
    restore(files);
    EXPECT_TRUE(damage_of(play()).empty());
}

TEST_F(KorPlayback, NamesReadingsWhoseNamesAreLost)
{
    // Of its own file, or else of the next, or else by number.
    const std::string lost =
        deflate_stream(current_header(4) + stored_names + stored_sample_0);
    const std::string broken = lost.substr(0, lost.size() - 3) + "xyz";
    const std::string sample = deflate_stream(stored_sample_1);
    write_file("a.cbuf.z", broken + sample);
    std::vector<played> items = play("a.cbuf.z");
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].kind, KOR_PLAYBACK_DAMAGE);
    EXPECT_EQ(items[0].length, broken.size());
    EXPECT_EQ(items[1].kind, KOR_PLAYBACK_SENSORS);
    EXPECT_EQ(items[2].names,
              (std::vector<std::string>{"sensor 1", "sensor 2"}));
    write_file("a.cbuf.z",
               broken + sample + deflate_stream(stored_names_at(7)) + sample);
    items = play("a.cbuf.z");
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(items[2].names, two_sensors);
}

TEST_F(KorPlayback, SurvivesEveryAllocationFailure)
{
    recorder_folder(15);
    expect_every_allocation_failure_is_clean([] {
        const playback_holder playback(kor_playback_open("rec"));
        if (!playback) return vela_get_last_error();
        struct kor_playback_item item;
        int result;
        while ((result = kor_playback_next(playback.get(), &item)) == 1) {
        }
        return result;
    });
    std::filesystem::remove("rec.state");
    expect_every_allocation_failure_is_clean([] {
        const playback_holder playback(kor_playback_open("rec"));
        return playback ? KOR_OK : vela_get_last_error();
    });
}

TEST_F(KorPlayback, NeedsTheSameMemoryForALongFile)
{
    const auto allocations_for = [](int n) {
        std::string content =
            deflate_stream(current_header(100000) + stored_names);
        const std::string sample = deflate_stream(stored_sample_0);
        for (int i = 0; i < n; ++i) content += sample;
        write_file("long", content);
        const playback_holder playback(kor_playback_open("long"));
        struct kor_playback_item item;
        kor_playback_next(playback.get(), &item);
        kor_playback_next(playback.get(), &item);
        const allocation_count count;
        int samples = 1;
        while (kor_playback_next(playback.get(), &item) == 1) ++samples;
        EXPECT_EQ(samples, n);
        return count.total();
    };
    EXPECT_EQ(allocations_for(10), allocations_for(5000));
}

TEST(KorPlaybackDeathTest, AssertsItsPreconditions)
{
    struct kor_playback *none = nullptr;
    struct kor_playback_item item;
    EXPECT_ABORTS(kor_playback_open(nullptr), "name != NULL");
    EXPECT_ABORTS(kor_playback_next(nullptr, &item), "playback != NULL");
    EXPECT_ABORTS(kor_playback_close(nullptr), "playback != NULL");
    EXPECT_ABORTS(kor_playback_close(&none), "*playback != NULL");
}

}  // namespace
