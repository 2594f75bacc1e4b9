#include "recorder/fold_proof.hpp"

#include "unit/recorder/recovery_support.hpp"

namespace {

using namespace test;

class FoldProof : public InScratchFolder {
protected:
    // A history and what the recorder made it of, all in the current folder:
    // 4 of 1 and 2, or 6 of 4 and 3.
    void make_files(int full)
    {
        folder files = recorder_folder(full);
        for (const auto &[name, content] : recorder_folder(full + 1))
            files[name] = content;
        restore(files);
    }

    static int prove(const char *history, uint32_t first, uint32_t count,
                     const char *source, const char *second = nullptr,
                     bool partly = false)
    {
        return vela::prove_folded({.history = history,
                                   .first = first,
                                   .count = count,
                                   .sources = {source, second},
                                   .samples_per_interval = 2,
                                   .partly = partly});
    }
};

TEST_F(FoldProof, HoldsForWhatTheRecorderFolded)
{
    make_files(12);
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 2, "rec.1.cbuf.z"), 1);
    EXPECT_EQ(prove("rec.4.hbuf.z", 2, 2, "rec.2.cbuf.z"), 1);
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 4, "rec.1.cbuf.z", "rec.2.cbuf.z"), 1);
    make_files(16);
    EXPECT_EQ(prove("rec.6.hbuf.z", 0, 2, "rec.4.hbuf.z"), 1);
    EXPECT_EQ(prove("rec.6.hbuf.z", 2, 2, "rec.3.cbuf.z"), 1);
    EXPECT_EQ(prove("rec.6.hbuf.z", 0, 4, "rec.4.hbuf.z", "rec.3.cbuf.z"), 1);
}

TEST_F(FoldProof, DoesNotHoldForOtherPlacesOrParts)
{
    make_files(12);
    EXPECT_EQ(prove("rec.4.hbuf.z", 2, 2, "rec.1.cbuf.z"), 0);
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 2, "rec.2.cbuf.z"), 0);
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 2, "rec.3.cbuf.z"), 0);
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 4, "rec.1.cbuf.z"), 0);
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 1, "rec.1.cbuf.z"), 0);
    EXPECT_EQ(prove("rec.4.hbuf.z", 3, 2, "rec.1.cbuf.z"), 0);
    EXPECT_EQ(prove("rec.4.hbuf.z", 9, 0, "rec.1.cbuf.z"), 0);
}

TEST_F(FoldProof, HoldsForTheFrontOfWhatSourcesGive)
{
    make_files(12);
    for (uint32_t n = 0; n <= 4; ++n)
        EXPECT_EQ(
            prove("rec.4.hbuf.z", 0, n, "rec.1.cbuf.z", "rec.2.cbuf.z", true),
            1);
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 3, "rec.2.cbuf.z", "rec.1.cbuf.z", true),
              0);
}

// Every reading is the first or the last of its interval here, and so is every
// time: any change of one is seen.
TEST_F(FoldProof, SeesEveryChangedByteOfASample)
{
    make_files(12);
    constexpr size_t sample_size = 26;
    constexpr size_t time = 6;
    constexpr size_t readings = 18;
    const std::vector<std::string> streams = inflate_streams("rec.1.cbuf.z");
    int samples = 0;
    for (size_t k = 0; k < streams.size(); ++k) {
        if (streams[k][3] == 3) continue;  // an event
        const size_t start = streams[k].size() - sample_size;
        const bool has_missing_reading = ++samples == 4;
        for (size_t at = time; at < sample_size; ++at) {
            if (at >= time + 4 && at < readings) continue;
            if (has_missing_reading && at >= readings + 4) continue;
            std::vector<std::string> changed = streams;
            changed[k][start + at] =
                static_cast<char>(changed[k][start + at] ^ 1);
            write_streams("rec.7.cbuf.z", changed);
            EXPECT_EQ(prove("rec.4.hbuf.z", 0, 2, "rec.7.cbuf.z"), 0)
                << k << " " << at;
        }
    }
    EXPECT_EQ(samples, 4);
}

TEST_F(FoldProof, IsNotAboutFilesThatTheRecorderCouldNotFold)
{
    make_files(12);
    const std::string head = current_header(4) + stored_names;
    // Values before names, of another width, and an event of no known type.
    write_streams("rec.7.cbuf.z", {current_header(4) + stored_sample_0});
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 1, "rec.7.cbuf.z"), 0);
    write_streams("rec.7.cbuf.z", {head + with(stored_sample_0.substr(0, 22),
                                               14, stored_count(1))});
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 1, "rec.7.cbuf.z"), 0);
    write_streams(
        "rec.7.cbuf.z",
        {head + with(stored_event, 5, stored_count(9)), stored_sample_0});
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 1, "rec.7.cbuf.z"), 0);
    write_file("rec.7.cbuf.z", "");
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 1, "rec.7.cbuf.z"), 0);
    EXPECT_EQ(prove("rec.4.hbuf.z", 0, 1, "rec.8.cbuf.z"), KOR_ERR_CANNOT_OPEN);
}

TEST_F(FoldProof, ReportsEveryAllocationFailure)
{
    make_files(16);
    expect_every_allocation_failure_is_clean([] {
        const int proven =
            prove("rec.6.hbuf.z", 0, 4, "rec.4.hbuf.z", "rec.3.cbuf.z");
        return proven == 1 ? KOR_OK : proven;
    });
}

}  // namespace
