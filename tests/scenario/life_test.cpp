// The life of a recorder: its files, its restarts, and what it keeps.
#include <sys/resource.h>

#include <algorithm>
#include <cmath>

#include "kor_recover.h"
#include "recorder_support.hpp"
#include "support/file_calls.hpp"

namespace {

using test::at;
using test::bytes;
using test::content_of_folder;
using test::create_recorder;
using test::fill;
using test::inflate_file;
using test::kor_holder;
using test::list_folder;
using test::open_recorder;
using test::write_sample;
using testing::ElementsAre;

class LifeOfARecorder : public test::InScratchFolder {};

using files = std::vector<std::string>;

// The files of a recorder of four samples a buffer that has taken `nsamples`.
files files_after(int nsamples)
{
    const int nfull = nsamples == 0 ? 0 : (nsamples - 1) / 4;
    if (nfull == 0) return {"rec.1.cbuf.z", "rec.state"};
    if (nfull == 1) return {"rec.1.cbuf.z", "rec.2.cbuf.z", "rec.state"};
    if (nfull == 2)
        return {"rec.1.cbuf.z", "rec.2.cbuf.z", "rec.3.cbuf.z", "rec.state"};
    // From here on each rotation makes a history buffer and a current buffer.
    const int rotation = nfull - 3;
    const auto name = [](int number, const char *kind) {
        return "rec." + std::to_string(number) + kind;
    };
    files expected = {name(rotation == 0 ? 3 : 2 * rotation + 3, ".cbuf.z"),
                      name(2 * rotation + 4, ".hbuf.z"),
                      name(2 * rotation + 5, ".cbuf.z"), "rec.state"};
    std::sort(expected.begin(), expected.end());
    return expected;
}

TEST_F(LifeOfARecorder, KeepsExactlyTheFilesOfItsState)
{
    const kor_holder kor = create_recorder();
    EXPECT_EQ(list_folder(), files_after(0));
    for (int i = 0; i < 60; ++i) {
        ASSERT_EQ(write_sample(kor, i), KOR_OK);
        EXPECT_EQ(list_folder(), files_after(i + 1)) << "sample " << i;
    }
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_HCC);
}

TEST_F(LifeOfARecorder, TheDocumentedRotationsComeAtTheDocumentedSamples)
{
    const kor_holder kor = create_recorder();
    fill(kor, 0, 4);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_C00);
    fill(kor, 4, 5);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_CC0);
    EXPECT_THAT(list_folder(),
                ElementsAre("rec.1.cbuf.z", "rec.2.cbuf.z", "rec.state"));
    fill(kor, 5, 9);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_CCC);
    EXPECT_THAT(list_folder(), ElementsAre("rec.1.cbuf.z", "rec.2.cbuf.z",
                                           "rec.3.cbuf.z", "rec.state"));
    fill(kor, 9, 13);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_HCC);
    EXPECT_THAT(list_folder(), ElementsAre("rec.3.cbuf.z", "rec.4.hbuf.z",
                                           "rec.5.cbuf.z", "rec.state"));
    fill(kor, 13, 17);
    EXPECT_THAT(list_folder(), ElementsAre("rec.5.cbuf.z", "rec.6.hbuf.z",
                                           "rec.7.cbuf.z", "rec.state"));
    EXPECT_EQ(kor->next_file_number, 8u);
}

// --- what the history holds ---

const std::string hist_names = bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 02 01 00 00 00 0a 44 49 53 4b 30 20 52 45"
    "41 44 01 00 00 00 09 43 50 55 30 20 54 65 6d 70");
const std::string hist_first = bytes(
    "00 00 00 02 02 01 45 98 4f 01 00 00 00 00 01 45"
    "98 4f 02 00 00 00 00 00 00 00 02 01 00 00 00 01"
    "44 96 00 00 44 96 00 00 44 96 00 00 44 96 00 00"
    "44 96 00 00 49 af c8 00 4e cd fe 60 53 f1 66 18"
    "01 00 00 00 02 42 36 00 00 42 39 00 00 42 36 00"
    "00 42 39 00 00 42 b7 80 00 45 83 8a 80 48 3c 9a"
    "01 4b 07 37 54 01 00 00 00 00 00 00 00 00 00 00"
    "00 00 00 00 00 00 00 00 00 00");
const std::string hist_second = bytes(
    "00 00 00 02 02 01 45 98 4f 03 00 00 00 00 01 45"
    "98 4f 04 00 00 00 00 00 00 00 02 01 00 00 00 02"
    "44 9c 50 00 44 a2 98 00 44 a2 98 00 44 9c 50 00"
    "45 1f 74 00 4a 46 b6 53 4f 77 bb b6 54 9a 7b c4"
    "01 00 00 00 02 42 37 00 00 42 3c 00 00 42 3c 00"
    "00 42 37 00 00 42 b9 80 00 45 86 70 80 48 42 e7"
    "27 4b 0d 4e 30 01 00 00 00 00 00 00 00 00 00 00"
    "00 01 00 00 00 00 00 00 00 00");
const std::string hist_merged = bytes(
    "00 00 00 02 02 01 45 98 4f 01 00 00 00 00 01 45"
    "98 4f 04 00 00 00 00 00 00 00 02 01 00 00 00 03"
    "44 96 00 00 44 a2 98 00 44 96 00 00 44 9c 50 00"
    "45 6a 74 00 4a 8f 4d 2a 4f af 5d 73 54 d6 d5 4a"
    "01 00 00 00 04 42 36 00 00 42 3c 00 00 42 36 00"
    "00 42 37 00 00 43 38 80 00 46 04 fd 80 48 bf c0"
    "94 4b 8a 42 c2 01 00 00 00 00 00 00 00 00 00 00"
    "00 01 00 00 00 00 00 00 00 00");

TEST_F(LifeOfARecorder, FoldsAndMergesToTheLastBit)
{
    const kor_holder kor = create_recorder();
    fill(kor, 0, 2);
    ASSERT_EQ(kor_write_event(kor.get(), test::fan_fail().get()), KOR_OK);
    EXPECT_EQ(inflate_file("rec.1.cbuf.z"),
              test::current_header(4) + test::stored_names +
                  test::stored_sample_0 + test::stored_sample_1 +
                  test::stored_event);
    fill(kor, 2, 13);
    const std::string start =
        test::hist_header(4) + hist_names + hist_first + hist_second;
    const std::string history = inflate_file("rec.4.hbuf.z");
    EXPECT_EQ(history.substr(0, start.size()), start);
    EXPECT_EQ(history.size(), start.size() + 2 * hist_first.size());

    fill(kor, 13, 17);
    const std::string merged = test::hist_header(4) + hist_names + hist_merged;
    EXPECT_EQ(inflate_file("rec.6.hbuf.z").substr(0, merged.size()), merged);
}

// --- restarts ---

// A life with changing sensors, invalid readings and events of every type.
void live_through(const kor_holder &kor, int step)
{
    const std::vector<std::vector<std::string>> sets = {
        {"CPU0 Temp", "DISK0 READ"},
        {"DISK0 READ", "CPU0 Temp"},
        {"FAN", "CPU0 Temp", "VOLT"},
        {"X"}};
    const auto &names = sets[static_cast<size_t>(step / 3) % sets.size()];
    std::vector<double> readings;
    for (size_t i = 0; i < names.size(); ++i)
        readings.push_back((step + static_cast<int>(i)) % 5 == 0
                               ? static_cast<double>(_vela_invalid_sensor_value)
                               : step * 1.25 + static_cast<double>(i));
    ASSERT_EQ(kor_write_telemetry_vector(
                  kor.get(), test::vector_of(names, at(step), readings).get()),
              KOR_OK);
    if (step % 2 == 0) return;
    const test::event_holder event =
        test::event_of(1 + static_cast<uint32_t>(step) % 5, step,
                       "event " + std::to_string(step));
    ASSERT_EQ(kor_write_event(kor.get(), event.get()), KOR_OK);
}

std::map<std::string, std::string> folder_after_life(
    int nsteps, const std::function<bool(int)> &restarts_before)
{
    const test::scratch_folder folder;
    kor_holder kor = create_recorder();
    for (int step = 0; step < nsteps; ++step) {
        if (restarts_before(step)) {
            kor.reset();
            kor = open_recorder();
            EXPECT_GT(kor_get_restore_result(kor.get()), 0);
        }
        live_through(kor, step);
    }
    kor.reset();
    return content_of_folder();
}

TEST_F(LifeOfARecorder, ARestartAnywhereChangesNothing)
{
    constexpr int nsteps = 26;
    const auto undisturbed =
        folder_after_life(nsteps, [](int) { return false; });
    ASSERT_EQ(undisturbed.size(), 4u);
    for (int restart = 0; restart < nsteps; ++restart)
        EXPECT_EQ(folder_after_life(nsteps,
                                    [=](int step) { return step == restart; }),
                  undisturbed)
            << "restart before step " << restart;
    EXPECT_EQ(folder_after_life(nsteps, [](int) { return true; }), undisturbed);
}

TEST_F(LifeOfARecorder, ReopensInEveryState)
{
    create_recorder().reset();
    const std::vector<std::pair<int, uint32_t>> steps = {
        {3, KOR_ZCF_STATE_C00},  {4, KOR_ZCF_STATE_C00},
        {5, KOR_ZCF_STATE_CC0},  {8, KOR_ZCF_STATE_CC0},
        {9, KOR_ZCF_STATE_CCC},  {12, KOR_ZCF_STATE_CCC},
        {13, KOR_ZCF_STATE_HCC}, {16, KOR_ZCF_STATE_HCC},
        {17, KOR_ZCF_STATE_HCC}, {30, KOR_ZCF_STATE_HCC}};
    int written = 0;
    for (const auto &[nsamples, state] : steps) {
        const kor_holder kor = open_recorder();
        ASSERT_NE(kor, nullptr);
        ASSERT_GT(kor_get_restore_result(kor.get()), 0);
        fill(kor, written, nsamples);
        EXPECT_EQ(kor->state, state);
        EXPECT_EQ(list_folder(), files_after(nsamples));
        written = nsamples;
    }
}

// A buffer that nothing was written to is reopened as well.
TEST_F(LifeOfARecorder, ReopensBeforeTheFirstSample)
{
    create_recorder().reset();
    const kor_holder kor = open_recorder();
    ASSERT_GT(kor_get_restore_result(kor.get()), 0);
    fill(kor, 0, 20);
    EXPECT_EQ(list_folder(), files_after(20));
}

// --- nothing is lost ---

// Valid readings of each sensor, in the history and in the open buffers.
std::map<std::string, uint32_t> readings_kept()
{
    std::map<std::string, uint32_t> counts;
    for (const std::string &name : list_folder()) {
        if (!name.ends_with(".hbuf.z")) continue;
        const test::hist_holder hbuf(
            kor_hist_buffer_open_for_read_write(name.c_str()));
        struct kor_hb_record rec;
        kor_hb_record_init_null(&rec);
        while (kor_hist_buffer_read_record(hbuf.get(), &rec) == KOR_OK) {
            if (rec.type != KOR_HB_RECORD_SENSOR_VALUES) continue;
            const auto names =
                test::names_of(kor_hb_record_sensor_names_get_sensors(
                    kor_hist_buffer_get_sensor_working_set(hbuf.get())));
            for (uint32_t i = 0; i < rec.values->n_sensors; ++i)
                counts[names[i]] += rec.values->hvalues[i].count;
        }
        kor_hb_record_destruct(&rec);
    }
    for (const std::string &name : list_folder()) {
        if (!name.ends_with(".cbuf.z")) continue;
        const test::current_holder cbuf(
            kor_current_buffer_open_for_read_write(name.c_str()));
        struct kor_cb_record rec;
        kor_cb_record_init_null(&rec);
        while (kor_current_buffer_read_record(cbuf.get(), &rec) == KOR_OK) {
            if (rec.type != KOR_CB_RECORD_SENSOR_VALUES) continue;
            const auto names =
                test::names_of(kor_cb_record_sensor_names_get_sensors(
                    kor_current_buffer_get_sensor_working_set(cbuf.get())));
            for (uint32_t i = 0; i < rec.values->n_sensors; ++i)
                if (!std::isnan(rec.values->values[i])) ++counts[names[i]];
        }
        kor_cb_record_destruct(&rec);
    }
    return counts;
}

TEST_F(LifeOfARecorder, EveryReadingIsKeptOrSummarised)
{
    kor_holder kor = create_recorder(8, 4);
    std::map<std::string, uint32_t> expected;
    for (int i = 0; i < 100; ++i) {
        const bool is_wide = i / 5 % 2 == 0;
        std::vector<std::string> names = {"a", "b"};
        if (is_wide) names.push_back("c");
        std::vector<double> readings;
        for (size_t column = 0; column < names.size(); ++column) {
            const bool is_valid = (i + static_cast<int>(column)) % 7 != 0;
            readings.push_back(
                is_valid ? i : static_cast<double>(_vela_invalid_sensor_value));
            if (is_valid) ++expected[names[column]];
        }
        ASSERT_EQ(kor_write_telemetry_vector(
                      kor.get(), test::vector_of(names, at(i), readings).get()),
                  KOR_OK);
    }
    kor.reset();
    EXPECT_EQ(readings_kept(), expected);
}

// --- traces ---

TEST_F(LifeOfARecorder, TracesWhatHappensToItsFiles)
{
    const kor_holder kor = create_recorder();
    fill(kor, 0, 12);
    const auto size_of = [](const char *name) {
        return std::to_string(test::read_file(name).size());
    };
    test::traces().clear();
    fill(kor, 12, 13);
    const std::string first_size = size_of("rec.4.hbuf.z");
    fill(kor, 13, 17);
    const std::string second_size = size_of("rec.6.hbuf.z");
    std::vector<std::string> texts;
    std::map<std::string, int> ids;
    for (const test::trace_line &line : test::traces()) {
        EXPECT_EQ(line.a, -1);
        EXPECT_EQ(line.b, 39);
        if (line.level == 90) continue;
        EXPECT_EQ(line.level, 150);
        texts.push_back(line.text);
    }
    const std::string write = "kor_current_buffer_write_telemetry_vector: ";
    EXPECT_THAT(
        texts,
        ElementsAre(
            write + "filename='rec.3.cbuf.z' is full. size=4",
            "kor_hist_buffer_create: file='rec.4.hbuf.z', max_data_records=4",
            "_kor_ccc_to_hcc: file='rec.4.hbuf.z', adding 'rec.1.cbuf.z'",
            "_kor_ccc_to_hcc: file='rec.4.hbuf.z', adding 'rec.2.cbuf.z'",
            "kor_hist_buffer_close: file='rec.4.hbuf.z', size=" + first_size +
                ", max_data_records=4",
            "kor_current_buffer_create: file='rec.5.cbuf.z', "
            "max_data_records=4",
            "rec.1.cbuf.z", "rec.2.cbuf.z",
            write + "filename='rec.5.cbuf.z' is full. size=4",
            "kor_hist_buffer_create: file='rec.6.hbuf.z', max_data_records=4",
            "_kor_hcc_to_hcc: file='rec.6.hbuf.z', adding 'rec.4.hbuf.z'",
            "kor_hist_buffer_close: file='rec.4.hbuf.z', size=" + first_size +
                ", max_data_records=4",
            "_kor_hcc_to_hcc: file='rec.6.hbuf.z', adding 'rec.3.cbuf.z'",
            "kor_hist_buffer_close: file='rec.6.hbuf.z', size=" + second_size +
                ", max_data_records=4",
            "kor_current_buffer_create: file='rec.7.cbuf.z', "
            "max_data_records=4",
            "rec.4.hbuf.z", "rec.3.cbuf.z"));
}

TEST_F(LifeOfARecorder, EachPlaceThatTracesHasANumberOfItsOwn)
{
    test::traces().clear();
    {
        const kor_holder kor = create_recorder();
        fill(kor, 0, 17);
    }
    // Create, current create, write, full, history create and close, and four
    // each for adding and removing.
    std::map<int, int> by_number;
    for (const test::trace_line &line : test::traces())
        ++by_number[line.message_id];
    EXPECT_EQ(by_number.size(), 14u);
}

// --- power cuts ---

TEST_F(LifeOfARecorder, NothingIsRemovedBeforeItsReplacementIsOnTheDisk)
{
    const std::string folder =
        folder_.path().substr(folder_.path().find_last_of('/') + 1);
    const kor_holder kor = create_recorder();
    fill(kor, 0, 12);
    test::file_calls().clear();
    fill(kor, 12, 13);
    EXPECT_THAT(test::file_calls(),
                ElementsAre("sync rec.4.hbuf.z", "sync rec.3.cbuf.z",
                            "sync rec.state", "sync " + folder,
                            "unlink rec.1.cbuf.z", "unlink rec.2.cbuf.z"));
    fill(kor, 13, 16);
    test::file_calls().clear();
    fill(kor, 16, 17);
    EXPECT_THAT(test::file_calls(),
                ElementsAre("sync rec.6.hbuf.z", "sync rec.5.cbuf.z",
                            "sync rec.state", "sync " + folder,
                            "unlink rec.4.hbuf.z", "unlink rec.3.cbuf.z"));
}

TEST_F(LifeOfARecorder, AFullBufferIsOnTheDiskBeforeTheNextIsUsed)
{
    const std::string folder =
        folder_.path().substr(folder_.path().find_last_of('/') + 1);
    const kor_holder kor = create_recorder();
    fill(kor, 0, 4);
    test::file_calls().clear();
    fill(kor, 4, 5);
    EXPECT_THAT(
        test::file_calls(),
        ElementsAre("sync rec.1.cbuf.z", "sync " + folder, "sync rec.state"));
    fill(kor, 5, 8);
    test::file_calls().clear();
    fill(kor, 8, 9);
    EXPECT_THAT(
        test::file_calls(),
        ElementsAre("sync rec.2.cbuf.z", "sync " + folder, "sync rec.state"));
}

class UnsyncedFile : public test::InScratchFolder,
                     public testing::WithParamInterface<const char *> {};

TEST_P(UnsyncedFile, KeepsWhatItWouldReplace)
{
    const kor_holder kor = create_recorder();
    fill(kor, 0, 12);
    const std::string part =
        std::string(GetParam()) == "folder"
            ? folder_.path().substr(folder_.path().find_last_of('/') + 1)
            : GetParam();
    {
        const test::failing_sync fault(part);
        fill(kor, 12, 13);
        EXPECT_TRUE(test::file_exists("rec.1.cbuf.z"));
        EXPECT_TRUE(test::file_exists("rec.2.cbuf.z"));
        fill(kor, 13, 17);
        EXPECT_TRUE(test::file_exists("rec.4.hbuf.z"));
        EXPECT_TRUE(test::file_exists("rec.3.cbuf.z"));
    }
    fill(kor, 17, 21);
    EXPECT_FALSE(test::file_exists("rec.6.hbuf.z"));
    EXPECT_FALSE(test::file_exists("rec.5.cbuf.z"));
}

INSTANTIATE_TEST_SUITE_P(Table, UnsyncedFile,
                         testing::Values("hbuf", "state", "folder"),
                         [](const auto &row) {
                             return std::string(row.param);
                         });

// What a failed sync has left is removed by recovery only behind a good one.
TEST_F(LifeOfARecorder, RecoveryRemovesFoldedFilesBehindASync)
{
    {
        const kor_holder kor = create_recorder();
        fill(kor, 0, 12);
        const test::failing_sync fault("hbuf");
        fill(kor, 12, 13);
    }
    {
        const test::failing_sync fault("hbuf");
        EXPECT_EQ(kor_recover("rec"), KOR_ERR_INFLATE);
        EXPECT_TRUE(test::file_exists("rec.1.cbuf.z"));
        EXPECT_TRUE(test::file_exists("rec.2.cbuf.z"));
    }
    test::file_calls().clear();
    EXPECT_EQ(kor_recover("rec"), KOR_RECOVER_REPAIRED);
    const auto &calls = test::file_calls();
    const auto history = std::ranges::find(calls, "sync rec.4.hbuf.z");
    const auto state = std::ranges::find(calls, "sync rec.state");
    const auto removal = std::ranges::find(calls, "unlink rec.1.cbuf.z");
    ASSERT_NE(removal, calls.end());
    EXPECT_LT(history, removal);
    EXPECT_LT(state, removal);
}

TEST_F(LifeOfARecorder, SyncFailsWhereTheFolderCannotBeOpened)
{
    const kor_holder kor = create_recorder();
    fill(kor, 0, 1);
    struct rlimit old = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old), 0);
    const struct rlimit none = {0, old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(kor_sync(kor.get()), KOR_ERR_INFLATE);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &old), 0);
    EXPECT_EQ(kor_sync(kor.get()), KOR_OK);
}

TEST_F(LifeOfARecorder, SyncBringsTheOpenBufferAndItsNameToTheDisk)
{
    const std::string folder =
        folder_.path().substr(folder_.path().find_last_of('/') + 1);
    const kor_holder kor(kor_create((folder_.path() + "/rec").c_str(), 4, 2));
    fill(kor, 0, 5);
    test::file_calls().clear();
    EXPECT_EQ(kor_sync(kor.get()), KOR_OK);
    EXPECT_THAT(test::file_calls(),
                ElementsAre("sync rec.2.cbuf.z", "sync " + folder));
    {
        const test::failing_sync fault("cbuf");
        EXPECT_EQ(kor_sync(kor.get()), KOR_ERR_INFLATE);
    }
    {
        const test::failing_sync fault(folder);
        EXPECT_EQ(kor_sync(kor.get()), KOR_ERR_INFLATE);
    }
}

TEST_F(LifeOfARecorder, SyncTellsOnceThatAFullBufferWasNotSynced)
{
    const kor_holder kor = create_recorder();
    fill(kor, 0, 4);
    {
        const test::failing_sync fault("rec.1.cbuf");
        fill(kor, 4, 5);
    }
    EXPECT_EQ(kor_sync(kor.get()), KOR_ERR_INFLATE);
    EXPECT_EQ(kor_sync(kor.get()), KOR_OK);
}

}  // namespace
