// Damage of every kind to every byte of small recorders: what the damage did
// not touch comes back, and the recorder goes on.
#include "unit/recorder/recovery_support.hpp"

namespace {

using namespace test;

// A stretch of a file that was destroyed.
struct wound {
    std::string file;
    uint64_t from;
    uint64_t to;

    bool touches(const played &p) const
    {
        return p.file == file && p.offset < to && p.offset + p.length > from;
    }
};

// Whether a byte of the state file of "rec" is the file counter's: behind the
// version, two names and four numbers.
bool is_in_counter(size_t at)
{
    constexpr size_t counter = 1 + (4 + 3) + (4 + 9) + 4 * 4;
    return at >= counter && at < counter + 4;
}

class DamagedRecorder : public InScratchFolder,
                        public testing::WithParamInterface<int> {
protected:
    // In every third case; all of them lead to the same few states.
    void expect_it_goes_on()
    {
        if (cases_++ % 3 == 0) expect_recorder_goes_on(GetParam());
    }

    void SetUp() override
    {
        intact_ = recorder_folder(GetParam());
        records_ = records_of(play());
    }

    std::vector<std::string> untouched_by(const wound &w) const
    {
        std::vector<played> left = records_;
        std::erase_if(left, [&](const played &p) { return w.touches(p); });
        return record_strings(left);
    }

    // Playback reads around the damage, recovery keeps what it reads, the
    // report names the file, a second recovery finds nothing to do, and the
    // recorder goes on.
    void expect_untouched_come_back(const wound &w)
    {
        const std::vector<std::string> expected = untouched_by(w);
        EXPECT_EQ(record_strings(records_of(play())), expected);
        report_holder report;
        const int result = recover_and_report(&report);
        ASSERT_GE(result, 0);
        EXPECT_EQ(record_strings(without_padding(records_of(play()))),
                  expected);
        if (expected.size() < records_.size()) expect_loss_named(*report, w);
        expect_recovered();
        expect_it_goes_on();
    }

    static void expect_loss_named(const kor_recovery_report &report,
                                  const wound &w)
    {
        for (uint32_t i = 0; i < report.nfiles; ++i) {
            const struct kor_recovery_file &file = report.files[i];
            if (file.filename != w.file) continue;
            EXPECT_NE(file.action, KOR_RECOVERY_KEPT);
            EXPECT_GT(file.bytes_cut + file.bytes_damaged, 0u);
            return;
        }
        ADD_FAILURE() << w.file << " is not in the report";
    }

    std::vector<std::string> buffer_files() const
    {
        std::vector<std::string> names;
        for (const auto &[name, content] : intact_)
            if (name != "rec.state") names.push_back(name);
        return names;
    }

    folder intact_;
    std::vector<played> records_;
    int cases_ = 0;
};

TEST_P(DamagedRecorder, LosesOnlyWhatAFlippedByteTouches)
{
    for (const std::string &name : buffer_files()) {
        const size_t size = intact_[name].size();
        for (size_t at = 0; at < size; at += stride) {
            SCOPED_TRACE(name + " at " + std::to_string(at));
            folder damaged = intact_;
            damaged[name][at] = static_cast<char>(~damaged[name][at]);
            restore(damaged);
            expect_untouched_come_back({name, at, at + 1});
            if (HasFailure()) return;
        }
    }
}

TEST_P(DamagedRecorder, LosesOnlyWhatATruncationCuts)
{
    for (const std::string &name : buffer_files()) {
        const size_t size = intact_[name].size();
        for (size_t at = 0; at < size; at += stride) {
            SCOPED_TRACE(name + " cut to " + std::to_string(at));
            folder damaged = intact_;
            damaged[name].resize(at);
            restore(damaged);
            const std::vector<std::string> expected =
                untouched_by({name, at, size});
            ASSERT_GE(recover(), 0);
            EXPECT_EQ(record_strings(without_padding(records_of(play()))),
                      expected);
            expect_recovered();
            expect_it_goes_on();
            if (HasFailure()) return;
        }
    }
}

TEST_P(DamagedRecorder, LosesOnlyWhatAZeroedStretchCovers)
{
    constexpr size_t stretch = 64;
    for (const std::string &name : buffer_files()) {
        const size_t size = intact_[name].size();
        for (size_t at = 0; at < size; at += stretch / 2 * stride) {
            SCOPED_TRACE(name + " zeroed at " + std::to_string(at));
            folder damaged = intact_;
            const size_t end = std::min(size, at + stretch);
            std::fill(damaged[name].begin() + static_cast<ptrdiff_t>(at),
                      damaged[name].begin() + static_cast<ptrdiff_t>(end),
                      '\0');
            restore(damaged);
            expect_untouched_come_back({name, at, end});
            if (HasFailure()) return;
        }
    }
}

TEST_P(DamagedRecorder, LosesOnlyTheRecordsOfAMissingFile)
{
    for (const std::string &name : buffer_files()) {
        SCOPED_TRACE(name + " is missing");
        folder damaged = intact_;
        damaged.erase(name);
        restore(damaged);
        const std::vector<std::string> expected =
            untouched_by({name, 0, intact_[name].size()});
        ASSERT_GE(recover(), 0);
        EXPECT_EQ(record_strings(without_padding(records_of(play()))),
                  expected);
        expect_recovered();
        expect_it_goes_on();
    }
}

TEST_P(DamagedRecorder, LosesNothingWithItsStateFile)
{
    const std::string state = intact_["rec.state"];
    const std::vector<std::string> expected = record_strings(records_);
    for (size_t at = 0; at < state.size(); at += stride) {
        std::vector<std::string> versions = {state.substr(0, at)};
        for (int bit = 0; bit < 8; ++bit) {
            versions.push_back(state);
            versions.back()[at] =
                static_cast<char>(versions.back()[at] ^ (1 << bit));
        }
        for (const std::string &version : versions) {
            SCOPED_TRACE(testing::PrintToString(version));
            folder damaged = intact_;
            damaged["rec.state"] = version;
            restore(damaged);
            EXPECT_EQ(record_strings(records_of(play())), expected);
            // A counter that is only too high does no harm.
            const bool is_harmless = recover() == KOR_RECOVER_UNCHANGED;
            EXPECT_TRUE(!is_harmless || is_in_counter(at));
            EXPECT_EQ(record_strings(records_of(play())), expected);
            expect_recovered();
            expect_it_goes_on();
            if (HasFailure()) return;
        }
    }
}

TEST_P(DamagedRecorder, LosesNothingWhenTheStateFileIsGone)
{
    folder damaged = intact_;
    damaged.erase("rec.state");
    restore(damaged);
    ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(read_folder(), intact_);
}

// Two things at once: the state file is gone and a byte is flipped.
TEST_P(DamagedRecorder, LosesOnlyWhatIsTouchedWithoutAStateFile)
{
    for (const std::string &name : buffer_files()) {
        const size_t size = intact_[name].size();
        for (size_t at = 0; at < size; at += 7 * stride) {
            SCOPED_TRACE(name + " at " + std::to_string(at));
            folder damaged = intact_;
            damaged.erase("rec.state");
            damaged[name][at] = static_cast<char>(~damaged[name][at]);
            restore(damaged);
            expect_untouched_come_back({name, at, at + 1});
            if (HasFailure()) return;
        }
    }
}

TEST_P(DamagedRecorder, IsNotTouchedByADryRun)
{
    for (const std::string &name : buffer_files()) {
        folder damaged = intact_;
        damaged[name][damaged[name].size() / 2] ^= 1;
        damaged[name] += "torn";
        damaged["rec.9.hbuf.z"] = "litter";
        damaged["rec.3.cbuf.z.kor-tmp"] = "litter";
        restore(damaged);
        report_holder planned;
        EXPECT_EQ(recover_and_report(&planned, KOR_RECOVER_DRY_RUN),
                  KOR_RECOVER_REPAIRED);
        EXPECT_EQ(read_folder(), damaged);
        report_holder done;
        EXPECT_EQ(recover_and_report(&done), KOR_RECOVER_REPAIRED);
        ASSERT_EQ(planned->nfiles, done->nfiles);
        for (uint32_t i = 0; i < done->nfiles; ++i) {
            EXPECT_STREQ(planned->files[i].filename, done->files[i].filename);
            EXPECT_EQ(planned->files[i].action, done->files[i].action);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(InEveryState, DamagedRecorder,
                         testing::ValuesIn(vectors_of_states),
                         [](const auto &row) {
                             return "Of" + std::to_string(row.param);
                         });

}  // namespace
