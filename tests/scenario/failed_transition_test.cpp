// Transitions that fail, what they leave behind, and the next try.
#include <sys/stat.h>

#include <filesystem>

#include "recorder_support.hpp"

namespace {

namespace fs = std::filesystem;

using test::bytes;
using test::create_recorder;
using test::fill;
using test::inflate_file;
using test::kor_holder;
using test::list_folder;
using test::open_recorder;
using test::read_file;
using test::stored_count;
using test::write_file;
using test::write_sample;
using testing::ElementsAre;

// --- a file that cannot be created ---

struct blocked_case {
    const char *name;
    int nsamples;         // before the transition
    const char *blocked;  // a folder stands in the way of this file
    uint32_t state;       // what the recorder says after the failure
};
void PrintTo(const blocked_case &row, std::ostream *os)
{
    *os << row.name;
}

class BlockedTransition : public test::InScratchFolder,
                          public testing::WithParamInterface<blocked_case> {
protected:
    // A recorder that has just failed to leave its state.
    kor_holder fail()
    {
        kor_holder kor = create_recorder();
        fill(kor, 0, GetParam().nsamples);
        mkdir(GetParam().blocked, 0777);
        before_ = content_but_blocked();
        number_ = kor->next_file_number;
        EXPECT_EQ(write_sample(kor, GetParam().nsamples), KOR_ERR_CANNOT_OPEN);
        return kor;
    }
    static std::map<std::string, std::string> content_but_blocked()
    {
        std::map<std::string, std::string> content;
        for (const std::string &name : list_folder())
            if (name.ends_with(".z") && name != GetParam().blocked)
                content[name] = inflate_file(name);
        return content;
    }
    // What was there is there still.
    void expect_nothing_lost()
    {
        const auto after = content_but_blocked();
        for (const auto &[name, content] : before_) {
            ASSERT_TRUE(after.contains(name)) << name;
            EXPECT_EQ(after.at(name), content) << name;
        }
    }
    std::map<std::string, std::string> before_;
    uint32_t number_ = 0;
};

TEST_P(BlockedTransition, LeavesTheFullBufferInPlaceAndIsTriedAgain)
{
    const kor_holder kor = fail();
    EXPECT_EQ(kor->state, GetParam().state);
    EXPECT_GT(kor->next_file_number, number_);
    expect_nothing_lost();
    const uint32_t burnt = kor->next_file_number;
    fill(kor, GetParam().nsamples, 30);
    EXPECT_GT(kor->next_file_number, burnt);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_HCC);
}

TEST_P(BlockedTransition, StillTakesEvents)
{
    const kor_holder kor = fail();
    EXPECT_EQ(kor_write_event(kor.get(), test::fan_fail().get()), KOR_OK);
    int nchanged = 0;
    for (const auto &[name, content] : before_) {
        const std::string after = inflate_file(name);
        if (after == content) continue;
        EXPECT_EQ(after, content + test::stored_event) << name;
        ++nchanged;
    }
    EXPECT_EQ(nchanged, 1);
}

TEST_P(BlockedTransition, CanBeClosedAndReopened)
{
    kor_holder kor = fail();
    kor.reset();
    kor = open_recorder();
    ASSERT_GT(kor_get_restore_result(kor.get()), 0);
    fs::remove(GetParam().blocked);
    fill(kor, GetParam().nsamples, 30);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_HCC);
}

TEST_P(BlockedTransition, SavesTheStateThatIsInForce)
{
    const kor_holder kor = fail();
    test::memory_writer out;
    EXPECT_GT(binary_serializer_write_kor(kor.get(), out.get()), 0);
    const std::string saved = read_file("rec.state");
    const size_t number_at = 1 + 7 + 13 + 16;
    EXPECT_EQ(test::with(out.bytes(), number_at, saved.substr(number_at, 4)),
              saved);
    EXPECT_EQ(kor_sync(kor.get()), KOR_OK);
}

constexpr blocked_case blocked_cases[] = {
    {"C00ToCC0", 4, "rec.2.cbuf.z", KOR_ZCF_STATE_CC0},
    {"CC0ToCCC", 8, "rec.3.cbuf.z", KOR_ZCF_STATE_CCC},
    {"CCCToHCCAtTheHistory", 12, "rec.4.hbuf.z", KOR_ZCF_STATE_CCC},
    {"CCCToHCCAtTheBuffer", 12, "rec.5.cbuf.z", KOR_ZCF_STATE_HCC},
    {"HCCToHCCAtTheHistory", 16, "rec.6.hbuf.z", KOR_ZCF_STATE_HCC},
    {"HCCToHCCAtTheBuffer", 16, "rec.7.cbuf.z", KOR_ZCF_STATE_HCC},
};
INSTANTIATE_TEST_SUITE_P(Table, BlockedTransition,
                         testing::ValuesIn(blocked_cases), [](const auto &row) {
                             return std::string(row.param.name);
                         });

// --- a closed file that is missing or damaged ---

class FailedFold : public test::InScratchFolder {
protected:
    // A recorder whose open buffer is full.
    static kor_holder full_after(int nsamples)
    {
        kor_holder kor = create_recorder();
        fill(kor, 0, nsamples);
        return kor;
    }
};

TEST_F(FailedFold, AMissingBufferIsReportedUntilItIsBack)
{
    for (const char *missing : {"rec.1.cbuf.z", "rec.2.cbuf.z"}) {
        const test::scratch_folder folder;
        const kor_holder kor = full_after(12);
        fs::rename(missing, "away");
        EXPECT_EQ(write_sample(kor, 12), KOR_ERR_CANNOT_OPEN);
        EXPECT_EQ(write_sample(kor, 12), KOR_ERR_CANNOT_OPEN);
        EXPECT_EQ(kor->state, KOR_ZCF_STATE_CCC);
        EXPECT_EQ(kor->next_file_number, 6u);
        EXPECT_TRUE(test::file_exists("rec.4.hbuf.z"));
        EXPECT_TRUE(test::file_exists("rec.5.hbuf.z"));
        fs::rename("away", missing);
        fill(kor, 12, 20);
        EXPECT_THAT(list_folder(),
                    ElementsAre("rec.4.hbuf.z", "rec.5.hbuf.z", "rec.7.cbuf.z",
                                "rec.8.hbuf.z", "rec.9.cbuf.z", "rec.state"));
    }
}

TEST_F(FailedFold, AMissingHistoryIsReportedUntilItIsBack)
{
    const kor_holder kor = full_after(16);
    fs::rename("rec.4.hbuf.z", "away");
    EXPECT_EQ(write_sample(kor, 16), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_HCC);
    fs::rename("away", "rec.4.hbuf.z");
    fill(kor, 16, 17);
    EXPECT_THAT(list_folder(),
                ElementsAre("rec.5.cbuf.z", "rec.6.hbuf.z", "rec.7.hbuf.z",
                            "rec.8.cbuf.z", "rec.state"));
}

TEST_F(FailedFold, ADamagedBufferIsReported)
{
    const kor_holder kor = full_after(16);
    std::string damaged = read_file("rec.3.cbuf.z");
    damaged[damaged.size() - 10] = static_cast<char>(~damaged[0]);
    write_file("rec.3.cbuf.z", damaged);
    EXPECT_LT(write_sample(kor, 16), 0);
    EXPECT_TRUE(test::file_exists("rec.4.hbuf.z"));
    EXPECT_TRUE(test::file_exists("rec.3.cbuf.z"));
}

TEST_F(FailedFold, AHistoryThatIsNotFullIsReported)
{
    const kor_holder kor = full_after(16);
    const std::string history = inflate_file("rec.4.hbuf.z");
    test::write_streams("rec.4.hbuf.z",
                        {history.substr(0, history.size() - 122)});
    EXPECT_EQ(write_sample(kor, 16), KOR_ERR_INCOMPLETE);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_HCC);
}

TEST_F(FailedFold, AFullDiskIsReportedAndTheFoldIsDoneLater)
{
    std::string undisturbed;
    {
        const test::scratch_folder folder;
        const kor_holder kor = full_after(12);
        fill(kor, 12, 13);
        undisturbed = inflate_file("rec.4.hbuf.z");
    }
    for (size_t limit = 0; limit < 150; limit += 10) {
        const test::scratch_folder folder;
        const kor_holder kor = full_after(12);
        {
            const test::file_size_limit full_disk(limit);
            EXPECT_EQ(write_sample(kor, 12), KOR_ERR_INFLATE);
        }
        EXPECT_EQ(kor->state, KOR_ZCF_STATE_CCC);
        fill(kor, 12, 13);
        EXPECT_EQ(inflate_file("rec.5.hbuf.z"), undisturbed);
    }
}

// --- a state that cannot be saved ---

class FailedSave : public test::InScratchFolder {
protected:
    // A folder stands in the way of the state file.
    static void block()
    {
        fs::rename("rec.state", "away");
        mkdir("rec.state", 0777);
    }
    static void unblock()
    {
        fs::remove("rec.state");
        fs::rename("away", "rec.state");
    }
};

TEST_F(FailedSave, IsReportedAndTheNewBufferIsUsedFromThenOn)
{
    const std::vector<std::pair<int, uint32_t>> transitions = {
        {4, KOR_ZCF_STATE_CC0},
        {8, KOR_ZCF_STATE_CCC},
        {16, KOR_ZCF_STATE_HCC},
        {20, KOR_ZCF_STATE_HCC}};
    for (const auto &[nsamples, state] : transitions) {
        const test::scratch_folder folder;
        kor_holder kor = create_recorder();
        fill(kor, 0, nsamples);
        const auto before = list_folder();
        block();
        EXPECT_EQ(write_sample(kor, nsamples), KOR_ERR_CANNOT_OPEN);
        EXPECT_EQ(kor->state, state);
        for (const std::string &name : before)
            EXPECT_TRUE(test::file_exists(name)) << name;
        unblock();
        // The vector that met the failure was not stored.
        fill(kor, nsamples, nsamples + 5);
        kor.reset();
        kor = open_recorder();
        EXPECT_GT(kor_get_restore_result(kor.get()), 0);
    }
}

TEST_F(FailedSave, AnEventMayBeWhatTheNewBufferBeginsWith)
{
    for (const int nsamples : {4, 8, 16, 20}) {
        const test::scratch_folder folder;
        const kor_holder kor = create_recorder();
        fill(kor, 0, nsamples);
        block();
        EXPECT_EQ(write_sample(kor, nsamples), KOR_ERR_CANNOT_OPEN);
        EXPECT_EQ(kor_write_event(kor.get(), test::fan_fail().get()), KOR_OK);
        unblock();
        const std::string newest =
            "rec." + std::to_string(kor->next_file_number - 1) + ".cbuf.z";
        const std::string content = inflate_file(newest);
        EXPECT_TRUE(content.ends_with(test::stored_event));
        EXPECT_EQ(content.size(), test::current_header(4).size() +
                                      test::stored_names.size() +
                                      test::stored_event.size());
        // It can be folded like any other.
        fill(kor, nsamples, nsamples + 20);
    }
}

TEST_F(FailedSave, AFullDiskLeavesTheOldState)
{
    const kor_holder kor = create_recorder();
    fill(kor, 0, 4);
    const std::string old_state = read_file("rec.state");
    {
        const test::file_size_limit full_disk(0);
        EXPECT_EQ(write_sample(kor, 4), KOR_ERR_INFLATE);
    }
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_CC0);
    EXPECT_EQ(read_file("rec.state"), old_state);
}

using FailedSaveDeathTest = FailedSave;

// The one failed save that ends the process.
TEST_F(FailedSaveDeathTest, OnTheWayToTheFirstHistoryAborts)
{
    const kor_holder kor = create_recorder();
    fill(kor, 0, 12);
    block();
    EXPECT_ABORTS_IN("kor_hist_buffer_close", write_sample(kor, 12),
                     "*hbuf != NULL");
}

// --- names that were cut ---

// A state file may hold names longer than a recorder can: what they are cut to
// may be another file.
TEST_F(FailedFold, ANameThatWasCutIsNeverRemoved)
{
    full_after(12).reset();
    const std::string name = "." + std::string(1010, '/') + "rec.1.cbuf.z";
    ASSERT_EQ(name.size(), 1023u);
    const std::string state = read_file("rec.state");
    const std::string short_name = stored_count(12) + "rec.1.cbuf.z";
    const size_t name_at = state.find(short_name);
    write_file("rec.state", state.substr(0, name_at) + stored_count(1024) +
                                name + "X" +
                                state.substr(name_at + short_name.size()));
    const kor_holder kor = open_recorder();
    ASSERT_GT(kor_get_restore_result(kor.get()), 0);
    fill(kor, 12, 13);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_HCC);
    EXPECT_TRUE(test::file_exists("rec.1.cbuf.z"));
    EXPECT_FALSE(test::file_exists("rec.2.cbuf.z"));
}

}  // namespace
