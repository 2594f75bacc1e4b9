#include "kor_recover.h"
#include "support/support.hpp"
#include "unit/recorder/recovery_support.hpp"

namespace {

using namespace test;

class KorResume : public InScratchFolder {};

kor_holder resume(uint32_t num_cb_samples = samples_per_buffer,
                  uint32_t num_hb_intervals = intervals_per_buffer)
{
    return kor_holder(kor_resume("rec", num_cb_samples, num_hb_intervals));
}

TEST_F(KorResume, CreatesARecorderWhereThereIsNone)
{
    const kor_holder kor = resume();
    ASSERT_NE(kor, nullptr);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_C00);
    EXPECT_EQ(kor->num_cb_samples, 4u);
    EXPECT_EQ(kor->num_hb_intervals, 2u);
    EXPECT_EQ(list_folder(),
              (std::vector<std::string>{"rec.1.cbuf.z", "rec.state"}));
}

TEST_F(KorResume, ContinuesAfterEveryVectorAsIfItHadNotStopped)
{
    for (int i = 0; i < 40; ++i) {
        const kor_holder kor = resume();
        ASSERT_NE(kor, nullptr) << i;
        record(kor.get(), i, i + 1);
    }
    const folder resumed = read_folder();
    const folder in_one_go = recorder_folder(40);
    for (const auto &[name, content] : in_one_go) {
        ASSERT_TRUE(resumed.contains(name)) << name;
        EXPECT_EQ(resumed.at(name), content) << name;
    }
    EXPECT_EQ(resumed.size(), in_one_go.size());
}

TEST_F(KorResume, KeepsTheParametersOfTheRecorderItFinds)
{
    for (const int n : vectors_of_states) {
        restore(recorder_folder(n));
        const kor_holder kor = resume(100, 10);
        ASSERT_NE(kor, nullptr);
        EXPECT_EQ(kor->num_cb_samples, 4u);
        EXPECT_EQ(kor->num_hb_intervals, 2u);
    }
}

TEST_F(KorResume, AnAbsoluteNameOutlastsAChangeOfFolder)
{
    restore(recorder_folder(30));
    const auto in_one_go = record_strings(records_of(play()));
    restore(recorder_folder(7));
    std::filesystem::create_directory("elsewhere");
    const auto here = std::filesystem::current_path();
    {
        const kor_holder kor(kor_resume((here / "rec").c_str(), 4, 2));
        ASSERT_NE(kor, nullptr);
        std::filesystem::current_path("elsewhere");
        record(kor.get(), 7, 30);
    }
    EXPECT_TRUE(std::filesystem::is_empty("."));
    std::filesystem::current_path(here);
    EXPECT_EQ(record_strings(records_of(play())), in_one_go);
    // A relative name goes on with the absolute one.
    const folder files = read_folder();
    resume().reset();
    EXPECT_EQ(read_folder(), files);
}

TEST_F(KorResume, UsesItsParametersWhereTheFilesTellNone)
{
    folder files = recorder_folder(7);
    files.erase("rec.state");
    restore(files);
    const kor_holder kor = resume();
    ASSERT_NE(kor, nullptr);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_CC0);
    record(kor.get(), 7, 30);
}

TEST_F(KorResume, SetsAsideWhatIsUnreadableBeforeItCreates)
{
    write_file("rec.1.cbuf.z", "not a buffer");
    write_file("rec.3.hbuf.z", "nor this");
    write_file("rec.state", "torn");
    {
        const kor_holder kor = resume();
        ASSERT_NE(kor, nullptr);
        record(kor.get(), 0, 3);
    }
    EXPECT_EQ(read_file("rec.1.cbuf.z.orphan"), "not a buffer");
    EXPECT_EQ(read_file("rec.3.hbuf.z.orphan"), "nor this");
    EXPECT_EQ(records_of(play()).size(), 4u);
}

TEST_F(KorResume, ReturnsNullWhereTheFilesCannotBeOneRecorders)
{
    folder files = recorder_folder(11);
    files["rec.6.cbuf.z"] = files["rec.1.cbuf.z"];
    files.erase("rec.state");
    restore(files);
    EXPECT_EQ(resume(), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(read_folder(), files);
    EXPECT_EQ(kor_resume("no/such/folder/rec", 4, 2), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

// Opening the recovered files asserts some of its allocations; those before it
// are recovery's.
TEST_F(KorResume, IsCleanAfterEveryAllocationFailureInItsRecovery)
{
    folder files = recorder_folder(15);
    files["rec.5.cbuf.z"] += "torn";
    restore(files);
    int allocations;
    {
        const allocation_count count;
        ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
        allocations = count.total();
    }
    for (int n = 0; n < allocations; ++n) {
        restore(files);
        {
            const failing_allocation failing(n);
            EXPECT_EQ(resume(), nullptr);
            EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
        }
        const kor_holder kor = resume();
        ASSERT_NE(kor, nullptr);
        record(kor.get(), 15, 25);
    }
}

// --- whatever a disk can hold ---

class dice {
public:
    explicit dice(uint32_t seed) : state_(seed) {}
    size_t below(size_t n)
    {
        state_ = state_ * 1664525u + 1013904223u;
        return n == 0 ? 0 : (state_ >> 8) % n;
    }

private:
    uint32_t state_;
};

std::string &any_file(folder &files, dice &d)
{
    auto it = files.begin();
    std::advance(it, static_cast<std::ptrdiff_t>(d.below(files.size())));
    return it->second;
}

void damage_file(std::string &content, dice &d)
{
    const size_t at = d.below(content.size());
    switch (d.below(5)) {
        case 0:
            content.resize(at);
            break;
        case 1:
            for (size_t i = at; i < std::min(content.size(), at + 40); ++i)
                content[i] = static_cast<char>(d.below(256));
            break;
        case 2:
            content.insert(at, std::string(d.below(30), '\x78'));
            break;
        case 3:
            content.erase(at, d.below(50));
            break;
        default:
            if (!content.empty())
                content[at] = static_cast<char>(content[at] ^ 1 << d.below(8));
    }
}

// Copies, swaps, renames, removes or damages something.
void shake(folder &files, dice &d)
{
    const std::string names[] = {
        "rec." + std::to_string(d.below(12)) + ".cbuf.z",
        "rec." + std::to_string(d.below(12)) + ".hbuf.z",
        "rec.state",
        "rec.4294967295.cbuf.z",
        "rec.007.cbuf.z",
        "rec.state.kor-tmp",
        "rec.2.cbuf.z.orphan"};
    switch (d.below(6)) {
        case 0:
            files[names[d.below(7)]] = any_file(files, d);
            break;
        case 1:
            std::swap(any_file(files, d), any_file(files, d));
            break;
        case 2:
            if (files.size() > 1)
                files.erase(std::next(
                    files.begin(),
                    static_cast<std::ptrdiff_t>(d.below(files.size()))));
            break;
        default:
            damage_file(any_file(files, d), d);
    }
}

// What the records of all buffer files are, wherever they lie.
std::multiset<std::string> all_records()
{
    std::multiset<std::string> all;
    for (const std::string &name : list_folder()) {
        if (name.find("buf.z") == std::string::npos) continue;
        for (const played &p : records_of(play(name))) all.insert(p.record());
    }
    return all;
}

TEST_F(KorResume, NeverAbortsAndNeverLosesARecordWhateverTheDiskHolds)
{
    std::vector<folder> seeds;
    for (const int n : {3, 7, 12, 13, 15, 17, 23})
        seeds.push_back(recorder_folder(n));
    // A transition that was not finished.
    folder unfinished = seeds[2];
    for (const auto &[name, content] : seeds[3]) unfinished[name] = content;
    seeds.push_back(unfinished);
    dice d(20070101);
    constexpr int rounds = 2000 / static_cast<int>(stride);
    int resumed = 0;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        folder files = seeds[d.below(seeds.size())];
        for (size_t i = 1 + d.below(4); i > 0; --i) shake(files, d);
        restore(files);
        const std::multiset<std::string> before = all_records();
        std::multiset<std::string> folded;
        {
            report_holder report;
            if (recover_and_report(&report, KOR_RECOVER_DRY_RUN) >= 0)
                for (uint32_t i = 0; i < report->nfiles; ++i) {
                    if (report->files[i].action != KOR_RECOVERY_REMOVED)
                        continue;
                    for (const played &p :
                         records_of(play(report->files[i].filename)))
                        folded.insert(p.record());
                }
        }
        EXPECT_EQ(read_folder(), files);
        const bool is_resumed = resume() != nullptr;
        EXPECT_TRUE(is_resumed || vela_get_last_error() < 0);
        resumed += is_resumed;
        const std::multiset<std::string> after = all_records();
        for (const std::string &r : before)
            EXPECT_GE(after.count(r) + folded.count(r), before.count(r)) << r;
        // A new recorder does not count what was set aside before.
        EXPECT_TRUE(!is_resumed || kor_recover("rec") >= 0);
        if (is_resumed) expect_recovered();
        if (HasFailure()) return;
    }
    EXPECT_GT(resumed, rounds / 2);
}

TEST(KorResumeDeathTest, AssertsItsPreconditions)
{
    EXPECT_ABORTS(kor_resume(nullptr, 4, 2), "filename != NULL");
    EXPECT_ABORTS(kor_resume("", 4, 2), "filename[0] != 0");
    EXPECT_ABORTS(kor_resume("rec", 0, 2), "num_cb_samples > 0");
    EXPECT_ABORTS(kor_resume("rec", 4, 0), "num_hb_intervals > 0");
    EXPECT_ABORTS(kor_resume("rec", 6, 4),
                  "num_cb_samples % num_hb_intervals == 0");
    EXPECT_ABORTS(kor_resume("rec", 3, 3), "num_cb_samples % 2 == 0");
    EXPECT_ABORTS(kor_resume("rec", 6, 3), "num_hb_intervals % 2 == 0");
}

}  // namespace
