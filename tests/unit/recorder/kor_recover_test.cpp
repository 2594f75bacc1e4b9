#include "kor_recover.h"

#include <sys/stat.h>

#include "unit/recorder/recovery_support.hpp"

namespace {

using namespace test;

class KorRecover : public InScratchFolder {};

const struct kor_recovery_file *entry_of(const report_holder &report,
                                         const std::string &name)
{
    for (uint32_t i = 0; report && i < report->nfiles; ++i)
        if (report->files[i].filename == name) return &report->files[i];
    return nullptr;
}

std::vector<std::string> records_in_files()
{
    return record_strings(without_padding(records_of(play())));
}

TEST_F(KorRecover, ChangesNothingThatIsInOrder)
{
    for (int n = 0; n <= 30; ++n) {
        SCOPED_TRACE(n);
        const folder files = recorder_folder(n);
        report_holder report;
        EXPECT_EQ(recover_and_report(&report), KOR_RECOVER_UNCHANGED);
        EXPECT_EQ(read_folder(), files);
        EXPECT_EQ(report->state_file_rebuilt, 0u);
        EXPECT_EQ(report->nfiles, files.size() - 1);
        for (uint32_t i = 0; i < report->nfiles; ++i)
            EXPECT_EQ(report->files[i].action, KOR_RECOVERY_KEPT);
    }
}

TEST_F(KorRecover, ReportsTheRecorderAndItsFiles)
{
    folder files = recorder_folder(15);
    files["rec.5.cbuf.z"] += "torn";
    files.erase("rec.state");
    restore(files);
    report_holder report;
    ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(report->state, KOR_ZCF_STATE_HCC);
    EXPECT_EQ(report->num_cb_samples, 4u);
    EXPECT_EQ(report->num_hb_intervals, 2u);
    EXPECT_EQ(report->next_file_number, 6u);
    EXPECT_EQ(report->state_file_rebuilt, 1u);
    ASSERT_EQ(report->nfiles, 3u);
    EXPECT_STREQ(report->files[0].filename, "rec.4.hbuf.z");
    EXPECT_EQ(report->files[0].records_kept, 4u);
    EXPECT_EQ(report->files[1].action, KOR_RECOVERY_KEPT);
    EXPECT_EQ(report->files[2].action, KOR_RECOVERY_CUT);
    EXPECT_EQ(report->files[2].bytes_cut, 4u);
    EXPECT_EQ(report->files[2].records_kept, 4u);  // 12, 13, its event, 14
}

TEST_F(KorRecover, FillsUpAClosedBufferThatIsTooShort)
{
    folder files = recorder_folder(15);
    const std::vector<std::string> before = record_strings(records_of(play()));
    std::string &closed = files["rec.3.cbuf.z"];
    closed.resize(closed.size() - 1);  // the last record: sample 11
    restore(files);
    report_holder report;
    ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
    const auto *entry = entry_of(report, "rec.3.cbuf.z");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->action, KOR_RECOVERY_PADDED);
    EXPECT_EQ(entry->records_padded, 1u);
    EXPECT_EQ(entry->records_kept, 4u);
    EXPECT_GT(entry->bytes_cut, 0u);
    // The sample that stands in has the time of the last and no readings.
    const std::vector<played> in_file = records_of(play("rec.3.cbuf.z"));
    EXPECT_TRUE(is_padding(in_file.back()));
    EXPECT_EQ(in_file.back().start, at(100).tv.tv_sec);
    EXPECT_EQ(in_file.back().names.size(), 3u);
    expect_recorder_goes_on(15);
}

TEST_F(KorRecover, FillsUpAHistoryThatIsTooShort)
{
    folder files = recorder_folder(15);
    std::string &history = files["rec.4.hbuf.z"];
    history.resize(history.size() - 1);
    restore(files);
    report_holder report;
    ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
    const auto *entry = entry_of(report, "rec.4.hbuf.z");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->action, KOR_RECOVERY_PADDED);
    EXPECT_EQ(entry->records_kept, 3u);
    EXPECT_EQ(entry->records_padded, 1u);
    const std::vector<played> in_file = records_of(play("rec.4.hbuf.z"));
    ASSERT_EQ(in_file.size(), 4u);
    EXPECT_TRUE(is_padding(in_file[3]));
    EXPECT_EQ(in_file[3].start, in_file[2].end);
    EXPECT_EQ(in_file[3].end, in_file[2].end);
    expect_recorder_goes_on(15);
}

TEST_F(KorRecover, FoldsAShortHistoryAgainWhileItsSourcesAreThere)
{
    for (const int full : {12, 16}) {
        folder before = recorder_folder(full);
        const folder after = recorder_folder(full + 2);
        folder files = before;
        for (const auto &[name, content] : after) files[name] = content;
        const std::string name = full == 12 ? "rec.4.hbuf.z" : "rec.6.hbuf.z";
        files[name].resize(files[name].size() - 1);
        restore(files);
        report_holder report;
        ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
        EXPECT_EQ(entry_of(report, name)->action, KOR_RECOVERY_REWRITTEN);
        const folder recovered = read_folder();
        EXPECT_EQ(recovered.size(), after.size());
        for (const auto &[live, content] : after)
            EXPECT_EQ(recovered.at(live), content) << live;
    }
}

TEST_F(KorRecover, PutsAnEmptyBufferWhereTheOneBesideTheHistoryIsLost)
{
    for (const bool has_state : {true, false}) {
        folder files = recorder_folder(15);
        files.erase("rec.3.cbuf.z");
        if (!has_state) files.erase("rec.state");
        restore(files);
        report_holder report;
        ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
        EXPECT_EQ(report->state, KOR_ZCF_STATE_HCC);
        const auto *entry = entry_of(report, "rec.3.cbuf.z");
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->action, KOR_RECOVERY_CREATED);
        EXPECT_EQ(entry->records_padded, 4u);
        expect_recovered();
        expect_recorder_goes_on(15);
    }
}

TEST_F(KorRecover, GoesOnWithTheBuffersWhenTheHistoryIsLost)
{
    folder files = recorder_folder(15);
    files["rec.4.hbuf.z"] = "nothing of it is left";
    restore(files);
    report_holder report;
    ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(report->state, KOR_ZCF_STATE_CC0);
    expect_recorder_goes_on(15);
}

TEST_F(KorRecover, NamesWhatIsMissing)
{
    struct row {
        int samples;
        const char *missing;
        uint32_t state_after;
    };
    for (const auto &[samples, missing, state_after] :
         {row{6, "rec.1.cbuf.z", KOR_ZCF_STATE_C00},
          row{10, "rec.2.cbuf.z", KOR_ZCF_STATE_CC0},
          row{15, "rec.4.hbuf.z", KOR_ZCF_STATE_CC0}}) {
        SCOPED_TRACE(missing);
        folder files = recorder_folder(samples);
        files.erase(missing);
        restore(files);
        report_holder report;
        ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
        EXPECT_EQ(report->state, state_after);
        const auto *entry = entry_of(report, missing);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->action, KOR_RECOVERY_MISSING);
        EXPECT_EQ(entry->records_kept, 0u);
        expect_recovered();
    }
}

TEST_F(KorRecover, RefusesFilesThatCannotBeOneRecorders)
{
    // More samples than the capacity in the open buffer.
    std::string crowded = deflate_stream(current_header(4) + stored_names);
    for (int i = 0; i < 5; ++i) crowded += deflate_stream(stored_sample_0);
    write_file("rec.1.cbuf.z", crowded);
    EXPECT_EQ(recover(), KOR_ERR_INVALID_DATA);
    // More than three buffers without a history.
    folder files = recorder_folder(11);
    files["rec.7.cbuf.z"] = files["rec.3.cbuf.z"];
    files.erase("rec.state");
    restore(files);
    report_holder report;
    EXPECT_EQ(recover_and_report(&report), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(report, nullptr);
    EXPECT_EQ(read_folder(), files);
}

TEST_F(KorRecover, GoesOnBehindAStateThatWasNotSavedWhateverNumbersWereUsedUp)
{
    struct row {
        int samples;  // until the state that was saved
        const char *newer;
        const char *newer_after;  // attempts that failed took numbers
        const char *history;
        const char *history_after;
    };
    for (const row &r :
         {row{4, "rec.2.cbuf.z", "rec.9.cbuf.z", nullptr, nullptr},
          row{8, "rec.3.cbuf.z", "rec.9.cbuf.z", nullptr, nullptr},
          row{16, "rec.7.cbuf.z", "rec.9.cbuf.z", "rec.6.hbuf.z",
              "rec.8.hbuf.z"}}) {
        SCOPED_TRACE(r.samples);
        folder after = recorder_folder(r.samples + 1);
        folder files = recorder_folder(r.samples);
        files[r.newer_after] = after[r.newer];
        if (r.history != nullptr) files[r.history_after] = after[r.history];
        restore(files);
        ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
        EXPECT_TRUE(file_exists(r.newer_after));
        expect_recovered();
        expect_recorder_goes_on(r.samples + 1);
    }
}

TEST_F(KorRecover, GoesOnBehindAStateThatWasNotSavedThoughTheClockSteppedBack)
{
    const std::string names =
        deflate_stream(current_header(4) +
                       with(stored_names_at(0), 6, std::string(1, '\x44')));
    const std::string sample =
        deflate_stream(with(stored_sample_0, 6, std::string(1, '\x44')));
    struct row {
        int samples;  // until the state that was saved
        const char *newer;
        uint32_t state_after;
    };
    for (const row &r : {row{4, "rec.2.cbuf.z", KOR_ZCF_STATE_CC0},
                         row{8, "rec.3.cbuf.z", KOR_ZCF_STATE_CCC}}) {
        SCOPED_TRACE(r.samples);
        folder files = recorder_folder(r.samples);
        const size_t before = records_of(play()).size();
        files[r.newer] = names + sample;
        restore(files);
        EXPECT_EQ(records_of(play()).size(), before + 1);
        report_holder report;
        ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
        EXPECT_EQ(report->state, r.state_after);
        EXPECT_EQ(read_file(r.newer), files[r.newer]);
        expect_recovered();
        expect_recorder_goes_on(r.samples + 1);
    }
}

TEST_F(KorRecover,
       FoldsAgainBehindAStateThatWasNotSavedThoughTheClockSteppedBack)
{
    const folder after = recorder_folder(13);
    folder files = recorder_folder(12);
    files["rec.4.hbuf.z"] = after.at("rec.4.hbuf.z");
    files["rec.4.hbuf.z"].resize(files["rec.4.hbuf.z"].size() - 9);
    write_streams(
        "rec.5.cbuf.z",
        {current_header(4) + with(stored_names, 6, std::string(1, '\x44')) +
         with(stored_sample_0, 6, std::string(1, '\x44'))});
    files["rec.5.cbuf.z"] = read_file("rec.5.cbuf.z");
    restore(files);
    report_holder report;
    ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(report->state, KOR_ZCF_STATE_HCC);
    EXPECT_EQ(read_file("rec.5.cbuf.z"), files["rec.5.cbuf.z"]);
    // Four intervals; four samples with an event; the one of the other time.
    EXPECT_EQ(records_of(play()).size(), 4u + 5u + 1u);
    expect_recovered();
    expect_recorder_goes_on(13);
}

TEST_F(KorRecover, TakesTheFilesWhereTheStateNamesOnlyOneThatIsGone)
{
    // As a state of long ago; the numbers of the files are those of now.
    const folder now = recorder_folder(23);
    const size_t records = records_of(play()).size();
    for (const int samples : {3, 7}) {
        SCOPED_TRACE(samples);
        folder files = now;
        files["rec.state"] = recorder_folder(samples)["rec.state"];
        restore(files);
        const std::vector<played> items = play();
        EXPECT_EQ(records_of(items).size(), records);
        const std::vector<played> lost = damage_of(items);
        ASSERT_EQ(lost.size(), samples == 3 ? 1u : 2u);
        EXPECT_EQ(lost[0].file, "rec.1.cbuf.z");
        EXPECT_EQ(lost[0].length, 0u);
        report_holder report;
        ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
        EXPECT_EQ(report->state, KOR_ZCF_STATE_HCC);
        EXPECT_EQ(read_folder(), now);
        expect_recorder_goes_on(23);
    }
}

// --- leftovers ---

TEST_F(KorRecover, SetsAsideRecordsThatBelongNowhere)
{
    // What an older recorder of the same name left: earlier times.
    folder older = recorder_folder(11);
    folder files;
    {
        for (const std::string &name : list_folder())
            std::filesystem::remove(name);
        const kor_holder kor(kor_create("rec", 4, 2));
        record(kor.get(), 100, 103);
    }
    files = read_folder();
    files["rec.2.cbuf.z"] = older["rec.2.cbuf.z"];
    files["rec.3.cbuf.z"] = older["rec.3.cbuf.z"];
    restore(files);
    report_holder report;
    ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(report->state, KOR_ZCF_STATE_C00);
    EXPECT_EQ(report->next_file_number, 4u);
    EXPECT_EQ(entry_of(report, "rec.2.cbuf.z")->action, KOR_RECOVERY_ORPHANED);
    EXPECT_EQ(read_file("rec.2.cbuf.z.orphan"), older["rec.2.cbuf.z"]);
    EXPECT_EQ(read_file("rec.3.cbuf.z.orphan"), older["rec.3.cbuf.z"]);
    EXPECT_FALSE(file_exists("rec.2.cbuf.z"));
    expect_recovered();
}

TEST_F(KorRecover, SetsAsideFilesOfOtherParameters)
{
    {
        const kor_holder kor(kor_create("rec", 8, 4));
        record(kor.get(), 0, 12);
    }
    const std::string other = read_file("rec.2.cbuf.z");
    folder files = recorder_folder(3);
    files["rec.2.cbuf.z"] = other;
    restore(files);
    report_holder report;
    ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(report->num_cb_samples, 4u);
    EXPECT_EQ(read_file("rec.2.cbuf.z.orphan"), other);
}

TEST_F(KorRecover, NeverOverwritesWhatWasSetAsideBefore)
{
    folder older = recorder_folder(7);
    folder files = recorder_folder(3);
    files["rec.2.cbuf.z"] = older["rec.2.cbuf.z"];
    files["rec.2.cbuf.z"].pop_back();
    files["rec.2.cbuf.z.orphan"] = "first";
    files["rec.2.cbuf.z.orphan.2"] = "second";
    restore(files);
    ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(read_file("rec.2.cbuf.z.orphan"), "first");
    EXPECT_EQ(read_file("rec.2.cbuf.z.orphan.2"), "second");
    EXPECT_EQ(read_file("rec.2.cbuf.z.orphan.3"), files["rec.2.cbuf.z"]);
}

TEST_F(KorRecover, RemovesOnlyWhatIsProvenFolded)
{
    folder before = recorder_folder(12);
    folder files = recorder_folder(14);
    files["rec.1.cbuf.z"] = before["rec.1.cbuf.z"];
    // As the other source, but one reading is another.
    std::string content;
    restore(before);
    for (const std::string &stream : inflate_streams("rec.2.cbuf.z"))
        content += deflate_stream(stream.size() == 26 && stream.back() == 0
                                      ? with(stream, 25, std::string(1, '\1'))
                                      : stream);
    ASSERT_NE(content, before["rec.2.cbuf.z"]);
    files["rec.2.cbuf.z"] = content;
    restore(files);
    report_holder report;
    ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(entry_of(report, "rec.1.cbuf.z")->action, KOR_RECOVERY_REMOVED);
    EXPECT_EQ(entry_of(report, "rec.2.cbuf.z")->action, KOR_RECOVERY_ORPHANED);
    EXPECT_FALSE(file_exists("rec.1.cbuf.z"));
    EXPECT_EQ(read_file("rec.2.cbuf.z.orphan"), content);
}

TEST_F(KorRecover, LeavesFilesOfOtherNamesAlone)
{
    folder files = recorder_folder(15);
    for (const char *name :
         {"rec", "rec2.1.cbuf.z", "rec.01.cbuf.z", "rec.0.cbuf.z",
          "rec.4294967296.cbuf.z", "rec.-1.cbuf.z", "rec.1.cbuf.zz",
          "rec.1.cbuf", "xrec.1.cbuf.z", "rec.cbuf.z", "other.kor-tmp",
          "rec.9.cbuf.z.kor-tmp.old"})
        files[name] = "not mine";
    files["rec.state"].pop_back();
    restore(files);
    ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
    std::erase_if(files, [](const auto &f) { return f.second != "not mine"; });
    for (const auto &[name, content] : files)
        EXPECT_EQ(read_file(name), content) << name;
}

TEST_F(KorRecover, RemovesTheTemporariesOfAnEarlierRecovery)
{
    folder files = recorder_folder(15);
    folder littered = files;
    littered["rec.state.kor-tmp"] = "half";
    littered["rec.5.cbuf.z.kor-tmp"] = "half";
    restore(littered);
    EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(read_folder(), files);
}

// --- what stands in the way ---

TEST_F(KorRecover, LeavesWhatIsNoFileWhereItIs)
{
    folder files = recorder_folder(15);
    restore(files);
    std::filesystem::create_directory("rec.9.cbuf.z");
    ASSERT_EQ(mkfifo("rec.10.cbuf.z", 0666), 0);
    std::filesystem::create_symlink("rec.11.cbuf.z", "rec.11.cbuf.z");
    std::filesystem::create_symlink("nowhere", "rec.12.cbuf.z");
    EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED);  // the next number is above
    EXPECT_EQ(recover(), KOR_RECOVER_UNCHANGED);
    const kor_holder kor(kor_resume("rec", 4, 2));
    ASSERT_NE(kor, nullptr);
    record(kor.get(), 15, 30);
    EXPECT_TRUE(std::filesystem::is_directory("rec.9.cbuf.z"));
    EXPECT_TRUE(std::filesystem::is_fifo("rec.10.cbuf.z"));
    EXPECT_TRUE(std::filesystem::is_symlink("rec.11.cbuf.z"));
    EXPECT_TRUE(std::filesystem::is_symlink("rec.12.cbuf.z"));
}

TEST_F(KorRecover, SetsAsideWhatTakesThePlaceOfTheStateFile)
{
    const folder files = recorder_folder(15);
    for (const char *const place : {"rec.state", "rec.state.kor-tmp"}) {
        folder others = files;
        others.erase("rec.state");
        restore(others);
        std::filesystem::create_directory(place);
        EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED) << place;
        EXPECT_EQ(read_file("rec.state"), files.at("rec.state"));
        EXPECT_TRUE(
            std::filesystem::is_directory(std::string(place) + ".orphan"));
    }
}

TEST_F(KorRecover, LitterDoesNotUseUpTheNumbers)
{
    folder files = recorder_folder(15);
    files["rec.2147483647.cbuf.z.old"] = "";
    restore(files);
    EXPECT_EQ(recover(), KOR_RECOVER_UNCHANGED);
    // A number behind which nothing can be recorded.
    files["rec.2147483647.cbuf.z"] = files.at("rec.5.cbuf.z");
    files.erase("rec.5.cbuf.z");
    restore(files);
    EXPECT_EQ(recover(), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(read_folder(), files);
}

TEST_F(KorRecover, WritesAStateThatItReads)
{
    folder files = recorder_folder(14);
    files["rec.5.hbuf.z"] = files.at("rec.4.hbuf.z");
    files.erase("rec.4.hbuf.z");
    restore(files);
    EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(recover(), KOR_RECOVER_UNCHANGED);
    report_holder report;
    EXPECT_EQ(recover_and_report(&report), KOR_RECOVER_UNCHANGED);
    EXPECT_EQ(report->state_file_rebuilt, 0u);
    // No recorder gives a buffer the number of the history before it.
    EXPECT_EQ(read_file("rec.5.cbuf.z.orphan"), files.at("rec.5.cbuf.z"));
}

TEST_F(KorRecover, ALongSpellingInTheStateFileIsNotKept)
{
    folder files = recorder_folder(3);
    const std::string base = std::string(1200, '/') + "rec";
    std::string &state = files["rec.state"];
    const std::string stored = stored_count(3) + "rec";
    state.replace(state.find(stored), stored.size(),
                  stored_count(static_cast<uint32_t>(base.size())) + base);
    restore(files);
    EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(read_folder(), recorder_folder(3));
}

// No recorder writes such names; a merge would abort on them.
TEST_F(KorRecover, LeavesNoNamesThatNoMergeTakes)
{
    const std::string first = stored_count(9) + "CPU0 Temp";
    const folder files = recorder_folder(15);
    restore(files);
    const std::vector<std::string> streams = inflate_streams("rec.4.hbuf.z");
    std::vector<std::string> twice = streams;
    twice[0].replace(twice[0].find(first), first.size(),
                     stored_count(10) + "DISK0 READ");
    std::vector<std::string> in_a_row = streams;
    in_a_row[1] = streams[0].substr(9, 48) + streams[1];
    for (const auto &history : {twice, in_a_row}) {
        restore(files);
        write_streams("rec.4.hbuf.z", history);
        const kor_holder kor(kor_resume("rec", 4, 2));
        ASSERT_NE(kor, nullptr);
        record(kor.get(), 15, 40);
    }
}

// A closed file of which only names are left is filled up like any other.
TEST_F(KorRecover, FillsUpAFileOfNamesAlone)
{
    const std::string first = stored_count(9) + "CPU0 Temp";
    const std::string second = stored_count(10) + "DISK0 READ";
    std::string unfit = stored_names;
    unfit.replace(unfit.find(first), first.size(), second);
    const folder files = recorder_folder(15);
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"rec.3.cbuf.z", current_header(4) + stored_names},
        {"rec.3.cbuf.z", stored_names},
        {"rec.4.hbuf.z", hist_header(4) + stored_names + stored_names},
        {"rec.4.hbuf.z", hist_header(4) + unfit},
        {"rec.4.hbuf.z", unfit},
    };
    for (const auto &[name, content] : rows) {
        restore(files);
        write_streams(name, {content});
        EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED);
        EXPECT_EQ(recover(), KOR_RECOVER_UNCHANGED);
        const kor_holder kor(kor_resume("rec", 4, 2));
        ASSERT_NE(kor, nullptr);
        record(kor.get(), 15, 40);
    }
}

TEST_F(KorRecover, GivesWhatItWritesToTheOwnerOfTheRecorder)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
    constexpr uid_t nobody = 65534;
    folder files = recorder_folder(15);
    files.erase("rec.state");
    files["rec.3.cbuf.z"].insert(20, "damage");
    restore(files);
    ASSERT_EQ(chown(".", nobody, nobody), 0);
    for (const auto &[name, content] : files)
        ASSERT_EQ(chown(name.c_str(), nobody, nobody), 0);
    EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED);
    for (const std::string &name : list_folder()) {
        struct stat status = {};
        ASSERT_EQ(stat(name.c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, nobody) << name;
        EXPECT_EQ(status.st_gid, nobody) << name;
    }
}

// --- the state file leads nowhere else ---

TEST_F(KorRecover, TouchesNoFileThatADamagedStateFileNames)
{
    std::filesystem::create_directory("elsewhere");
    folder files = recorder_folder(3);
    std::filesystem::create_directory("elsewhere");
    const std::string secret = read_file("rec.1.cbuf.z") + "torn";
    for (const std::string name : {"elsewhere/x.1.cbuf.z", "elsewhere/passwd",
                                   "elsewhere/rec.1.cbuf.z"}) {
        restore(files);
        std::filesystem::create_directory("elsewhere");
        write_file(name, secret);
        std::string state = files["rec.state"];
        state.resize(state.size() - 16);
        write_file(
            "rec.state",
            state + stored_count(static_cast<uint32_t>(name.size())) + name);
        EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED) << name;
        EXPECT_EQ(read_file(name), secret);
        EXPECT_EQ(list_folder("elsewhere").size(), 1u);
        EXPECT_EQ(read_file("rec.state"), files["rec.state"]);
    }
}

TEST_F(KorRecover, KeepsTheSpellingOfTheBaseNameThatLeadsToTheSameFiles)
{
    const folder files = recorder_folder(15);
    const std::string absolute =
        (std::filesystem::current_path() / "rec").string();
    EXPECT_EQ(kor_recover(absolute.c_str()), KOR_RECOVER_UNCHANGED);
    EXPECT_EQ(read_folder(), files);
    // From another folder the stored names lead nowhere.
    std::filesystem::create_directory("below");
    std::filesystem::current_path("below");
    EXPECT_EQ(kor_recover("../rec"), KOR_RECOVER_REPAIRED);
    const kor_holder kor(kor_open("../rec"));
    ASSERT_NE(kor, nullptr);
    EXPECT_GT(kor_get_restore_result(kor.get()), 0);
    std::filesystem::current_path("..");
}

// --- files that the recorder could never fold ---

TEST_F(KorRecover, PutsNamesInFrontOfAnEventThatCameFirst)
{
    {
        const kor_holder kor(kor_create("rec", 4, 2));
        ASSERT_EQ(kor_write_event(kor.get(), recorded_event(1).get()), 0);
        record(kor.get(), 0, 2);
    }
    const std::vector<std::string> before = record_strings(records_of(play()));
    ASSERT_EQ(before.size(), 4u);
    EXPECT_EQ(recover(), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(records_in_files(), before);
    expect_recovered();
    expect_recorder_goes_on(2);
}

TEST_F(KorRecover, NamesValuesOfAnotherWidthBehindALostNamesRecord)
{
    const std::string three = bytes(
        "00 00 00 02 01 01 45 98 4f 03 00 00 00 00 00 00 00 03"
        "42 39 00 00 42 39 00 00 42 39 00 00");
    write_streams("rec.1.cbuf.z",
                  {current_header(4) + stored_names + stored_sample_0, three,
                   stored_sample_1});
    const std::vector<std::string> before = record_strings(records_of(play()));
    ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(records_in_files(), before);
    const std::vector<played> after = records_of(play());
    ASSERT_EQ(after.size(), 3u);
    EXPECT_EQ(after[1].names,
              (std::vector<std::string>{"sensor 1", "sensor 2", "sensor 3"}));
    EXPECT_EQ(after[2].names, two_sensors);
    expect_recovered();
    expect_recorder_goes_on(3);
}

TEST_F(KorRecover, NamesAHistoryWhoseNamesAreLostAfterTheBuffers)
{
    // Vectors 0..7 of this recorder have two sensors throughout.
    folder files;
    {
        const kor_holder kor(kor_create("rec", 4, 2));
        for (int i = 0; i < 15; ++i) {
            const vector_holder v =
                vector_of(two_sensors, at(10 * i), {1.0 * i, 2.0 * i});
            ASSERT_EQ(kor_write_telemetry_vector(kor.get(), v.get()), 0);
        }
    }
    const std::vector<played> before = records_of(play());
    files = read_folder();
    files["rec.4.hbuf.z"][20] ^= 0x20;
    restore(files);
    ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
    const std::vector<played> after = records_of(play());
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(after[0].record(), before[1].record());
    EXPECT_EQ(after[0].names, before[1].names);
    EXPECT_EQ(after[0].names,
              (std::vector<std::string>{"DISK0 READ", "CPU0 Temp"}));
}

TEST_F(KorRecover, LeavesOutRecordsWhoseChecksumWasNotWritten)
{
    // A stream that was cut in its checksum, and written on behind.
    const std::string first =
        deflate_stream(current_header(4) + stored_names + stored_sample_0);
    const std::string cut = deflate_stream(stored_event);
    const std::string last = deflate_stream(stored_sample_1);
    for (size_t missing = 1; missing <= 4; ++missing) {
        SCOPED_TRACE(missing);
        const size_t left = cut.size() - missing;
        write_file("rec.1.cbuf.z", first + cut.substr(0, left) + last);
        std::filesystem::remove("rec.state");
        ASSERT_EQ(records_of(play()).size(), 2u);
        ASSERT_EQ(damage_of(play()).size(), 1u);
        report_holder report;
        ASSERT_EQ(recover_and_report(&report), KOR_RECOVER_REPAIRED);
        const auto *entry = entry_of(report, "rec.1.cbuf.z");
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->bytes_damaged, left);
        EXPECT_EQ(inflate_file("rec.1.cbuf.z"),
                  current_header(4) + stored_names + stored_sample_0 +
                      stored_sample_1);
        expect_recovered();
    }
}

TEST_F(KorRecover, ReturnsTheCodeOfWhatItCannotDo)
{
    EXPECT_EQ(kor_recover("no/such/folder/rec"), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(kor_recover("rec"), KOR_ERR_END_OF_STREAM);
    EXPECT_EQ(kor_recover(std::string(2000, 'x').c_str()), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(kor_recover("folder/"), KOR_ERR_CANNOT_OPEN);
    recorder_folder(3);
    std::filesystem::remove("rec.1.cbuf.z");
    std::filesystem::create_directory("rec.1.cbuf.z");
    EXPECT_EQ(kor_recover("rec"), KOR_ERR_CANNOT_OPEN);
}

TEST(KorRecoverDeathTest, AssertsItsPreconditions)
{
    struct kor_recovery_report *none = nullptr;
    EXPECT_ABORTS(kor_recover(nullptr), "filename != NULL");
    EXPECT_ABORTS(kor_recover(""), "filename[0] != 0");
    EXPECT_ABORTS(kor_recover_with(nullptr, 4, 2), "filename != NULL");
    EXPECT_ABORTS(kor_recovery_report_destroy(nullptr), "report != NULL");
    EXPECT_ABORTS(kor_recovery_report_destroy(&none), "*report != NULL");
}

}  // namespace
