// Every point at which a recorder, or its recovery, can die: no vector is lost
// and none is there twice.
#include "unit/recorder/recovery_support.hpp"
#include "unit/recorder/stopping_disk.hpp"

namespace {

using namespace test;

// Which vectors the live files hold, in playing order: those of an interval by
// its span, as vectors are ten seconds apart.
std::vector<int> vectors_held()
{
    std::vector<int> held;
    for (const played &p : records_of(play())) {
        if (p.kind == KOR_PLAYBACK_EVENT || is_padding(p)) continue;
        for (int t = p.start; t <= p.end; t += 10)
            held.push_back((t - at(0).tv.tv_sec) / 10);
    }
    return held;
}

std::vector<int> first_vectors(int n)
{
    std::vector<int> all;
    for (int i = 0; i < n; ++i) all.push_back(i);
    return all;
}

// What lies on the disk at one moment, and how many vectors had been written.
struct moment {
    std::string name;
    folder files;
    int nvectors;
};

folder with(folder files, const std::string &name, const std::string &content)
{
    files[name] = content;
    return files;
}
folder without(folder files, const std::string &name)
{
    files.erase(name);
    return files;
}

// Everything before a transition and everything after it, together.
folder both(folder before, const folder &after)
{
    for (const auto &[name, content] : after) before[name] = content;
    return before;
}

// The streams of a file as they lie in it.
std::vector<std::string> streams_of(const std::string &path)
{
    std::vector<std::string> streams;
    const std::string content = read_file(path);
    uint64_t end = 0;
    for (const played &p : play(path)) {
        if (p.offset + p.length <= end) continue;
        streams.push_back(content.substr(static_cast<size_t>(p.offset),
                                         static_cast<size_t>(p.length)));
        end = p.offset + p.length;
    }
    return streams;
}

class CrashedRecorder : public InScratchFolder {
protected:
    // The moments of a transition: `full` vectors fill the open buffer, and
    // the next one makes the new files.
    struct transition {
        int full;
        folder before;
        folder after;
        std::string opened;   // the new current buffer
        std::string history;  // the new history, or nothing
        std::vector<std::string> folded;
    };

    transition transition_at(int full)
    {
        transition t = {
            full, recorder_folder(full), recorder_folder(full + 1), {}, {}, {}};
        for (const auto &[name, content] : t.after) {
            if (t.before.contains(name)) continue;
            (name.ends_with(".hbuf.z") ? t.history : t.opened) = name;
        }
        for (const auto &[name, content] : t.before)
            if (!t.after.contains(name)) t.folded.push_back(name);
        return t;
    }

    void add(const std::string &name, const folder &files, int nvectors)
    {
        moments_.push_back({name, files, nvectors});
    }

    // Any state of the state file between two versions of it: empty, old,
    // new, a part of the new one, the new one over the old one.
    void add_with_every_state(const std::string &name, const folder &files,
                              const transition &t)
    {
        const std::string &old_state = t.before.at("rec.state");
        const std::string &new_state = t.after.at("rec.state");
        add(name + ", old state", with(files, "rec.state", old_state), t.full);
        add(name + ", new state", with(files, "rec.state", new_state), t.full);
        add(name + ", no state", without(files, "rec.state"), t.full);
        for (size_t n = 0; n < new_state.size(); ++n) {
            const std::string part = new_state.substr(0, n);
            const std::string at = " of " + std::to_string(n) + " bytes";
            add(name + ", state" + at, with(files, "rec.state", part), t.full);
            if (n >= old_state.size()) continue;
            add(name + ", mixed state" + at,
                with(files, "rec.state", part + old_state.substr(n)), t.full);
        }
    }

    // Behind the full buffers, step by step, up to the first vector.
    void add_transition(int full)
    {
        const transition t = transition_at(full);
        restore(t.after);
        const std::string vector = streams_of(t.opened).front();
        folder files = with(t.before, t.opened, "");
        add("the new buffer is there", files, full);
        if (!t.history.empty()) {
            add_folding(t);
            files[t.history] = t.after.at(t.history);
        }
        add_with_every_state("nothing is removed", files, t);
        files["rec.state"] = t.after.at("rec.state");
        add_removals(t, files, vector);
        for (const std::string &name : t.folded) files.erase(name);
        for (size_t n = 0; n < vector.size(); ++n)
            add("vector cut to " + std::to_string(n),
                with(files, t.opened, vector.substr(0, n)), full);
        add("the vector is there", with(files, t.opened, vector), full + 1);
    }

    // The history grows interval by interval.
    void add_folding(const transition &t)
    {
        std::string content;
        add("empty history", with(t.before, t.history, content), t.full);
        for (const std::string &stream : streams_of(t.history)) {
            for (const size_t n : {size_t{2}, stream.size() / 2})
                add("torn history",
                    with(t.before, t.history, content + stream.substr(0, n)),
                    t.full);
            content += stream;
            add("history of " + std::to_string(content.size()),
                with(t.before, t.history, content), t.full);
        }
    }

    // With an empty new buffer, and with a vector in it.
    void add_removals(const transition &t, folder files,
                      const std::string &vector)
    {
        for (const std::string &name : t.folded) {
            files.erase(name);
            add(name + " is removed", files, t.full);
            add(name + " is removed, a vector written",
                with(files, t.opened, vector), t.full + 1);
            add(name + " is removed, the state lost",
                without(files, "rec.state"), t.full);
        }
    }

    void expect_all_vectors_once(const moment &m)
    {
        EXPECT_EQ(vectors_held(), first_vectors(m.nvectors));
        ASSERT_GE(recover(), 0);
        EXPECT_EQ(vectors_held(), first_vectors(m.nvectors));
        expect_recovered();
        for (const std::string &name : list_folder())
            EXPECT_EQ(name.find(".orphan"), std::string::npos) << name;
        expect_recorder_goes_on(m.nvectors);
        EXPECT_EQ(vectors_held(), first_vectors(m.nvectors + 18));
    }

    std::vector<moment> moments_;
};

// C00 to CC0, CC0 to CCC, CCC to HCC, HCC to HCC twice.
const std::vector<int> transitions = {4, 8, 12, 16, 20};

TEST_F(CrashedRecorder, LosesNothingAtAnyPointOfATransition)
{
    for (const int full : transitions) add_transition(full);
    for (size_t i = 0; i < moments_.size(); i += stride) {
        const moment &m = moments_[i];
        SCOPED_TRACE(std::to_string(m.nvectors) + " vectors, " + m.name);
        restore(m.files);
        expect_all_vectors_once(m);
        if (HasFailure()) return;
    }
}

// The state could not be saved and the recorder went on: everything newer than
// the state file is on the disk, and nothing was removed.
TEST_F(CrashedRecorder, TakesWhatWasWrittenAfterAFailedSave)
{
    for (const int full : transitions) {
        const transition t = transition_at(full);
        for (int more = 1; more <= 4; ++more) {
            SCOPED_TRACE(std::to_string(full) + " + " + std::to_string(more));
            folder files = both(t.before, recorder_folder(full + more));
            for (const bool is_torn : {false, true}) {
                files["rec.state"] = is_torn ? "" : t.before.at("rec.state");
                restore(files);
                expect_all_vectors_once({"", files, full + more});
            }
            if (HasFailure()) return;
        }
    }
}

// Two saves failed one after the other.
TEST_F(CrashedRecorder, TakesWhatWasWrittenAfterTwoFailedSaves)
{
    for (const int full : {4, 8, 12, 16}) {
        SCOPED_TRACE(full);
        folder files = recorder_folder(full);
        const std::string state = files["rec.state"];
        files = both(files, recorder_folder(full + 4));
        files = both(files, recorder_folder(full + 6));
        files["rec.state"] = state;
        restore(files);
        expect_all_vectors_once({"", files, full + 6});
    }
}

// A save failed, the next one succeeded and removed its own sources: what the
// first one would have removed looks like the sources of the history.
TEST_F(CrashedRecorder, DoesNotTakeOlderRemainsForTheSourcesOfAHistory)
{
    for (const int full : {12, 16}) {
        const folder older = recorder_folder(full);
        folder files = recorder_folder(full + 9);
        for (const auto &[name, content] : older)
            if (name != "rec.state") files.insert({name, content});
        for (auto &[name, content] : files)
            if (name == (full == 12 ? "rec.9.cbuf.z" : "rec.11.cbuf.z"))
                content.clear();
        files.erase(full == 12 ? "rec.3.cbuf.z" : "rec.5.cbuf.z");
        for (const bool has_state : {true, false}) {
            if (!has_state) files.erase("rec.state");
            restore(files);
            EXPECT_EQ(vectors_held(), first_vectors(full + 8));
            ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
            EXPECT_EQ(vectors_held(), first_vectors(full + 8));
            expect_recovered();
            expect_recorder_goes_on(full + 8);
        }
    }
}

// Attempts that failed left histories and numbers behind.
TEST_F(CrashedRecorder, RemovesWhatFailedAttemptsLeft)
{
    for (const int full : {12, 16, 20}) {
        const transition t = transition_at(full);
        restore(t.after);
        const std::vector<std::string> streams = streams_of(t.history);
        const std::string header =
            deflate_stream(hist_header(2 * intervals_per_buffer));
        folder files = t.before;
        files["rec.30.hbuf.z"] = header;
        files["rec.31.hbuf.z"] = streams[0] + streams[1];
        files["rec.32.hbuf.z"] = "";
        files["rec.33.cbuf.z"] = "";
        // Complete, though the attempt was reported as failed.
        files["rec.34.hbuf.z"] = t.after.at(t.history);
        files["rec.36.hbuf.z"] = streams[0];
        for (const bool has_state : {true, false}) {
            if (!has_state) files.erase("rec.state");
            restore(files);
            expect_all_vectors_once({"", files, full});
        }
    }
}

// --- the beginning ---

TEST_F(CrashedRecorder, IsNothingBeforeItsFirstRecord)
{
    EXPECT_EQ(kor_recover("rec"), KOR_ERR_END_OF_STREAM);
    write_file("rec.1.cbuf.z", "");
    EXPECT_EQ(kor_recover("rec"), KOR_ERR_END_OF_STREAM);
    write_file("rec.state", "");
    EXPECT_EQ(kor_recover("rec"), KOR_ERR_END_OF_STREAM);
    EXPECT_EQ(list_folder(),
              (std::vector<std::string>{"rec.1.cbuf.z", "rec.state"}));
}

TEST_F(CrashedRecorder, GetsItsHeaderWhenItDiedBeforeItsFirstVector)
{
    folder files = recorder_folder(0);
    EXPECT_EQ(kor_recover("rec"), KOR_RECOVER_UNCHANGED);
    files["rec.1.cbuf.z"] = "";
    restore(files);
    EXPECT_EQ(kor_recover("rec"), KOR_RECOVER_REPAIRED);
    EXPECT_EQ(inflate_file("rec.1.cbuf.z"), current_header(4));
    expect_recovered();
    expect_recorder_goes_on(0);
}

TEST_F(CrashedRecorder, NeedsItsParametersFromTheCallerBeforeThereIsAHistory)
{
    for (const int n : {3, 7, 11}) {
        folder files = recorder_folder(n);
        files.erase("rec.state");
        restore(files);
        EXPECT_EQ(kor_recover("rec"), KOR_ERR_INVALID_DATA);
        EXPECT_EQ(read_folder(), files);
        EXPECT_EQ(kor_recover_with("rec", 4, 3), KOR_ERR_INVALID_DATA);
        EXPECT_EQ(kor_recover_with("rec", 4, 2), KOR_RECOVER_REPAIRED);
    }
    folder files = recorder_folder(15);
    files.erase("rec.state");
    restore(files);
    EXPECT_EQ(kor_recover("rec"), KOR_RECOVER_REPAIRED);
}

// --- dying in recovery ---

// Damage that asks for every kind of step.
std::vector<folder> damaged_folders()
{
    std::vector<folder> all;
    for (const int n : vectors_of_states) {
        folder files = recorder_folder(n);
        for (auto &[name, content] : files) {
            if (name == "rec.state") continue;
            content[content.size() / 2] ^= 0x10;
            content += "torn";
        }
        files["rec.state"].pop_back();
        files["rec.50.hbuf.z"] = "";
        files["rec.51.cbuf.z"] = "";
        all.push_back(files);
    }
    // A transition whose sources are still there.
    for (const int full : {12, 16}) {
        folder files = both(recorder_folder(full), recorder_folder(full + 1));
        files["rec.state"].clear();
        all.push_back(files);
        std::string &history =
            full == 12 ? files["rec.4.hbuf.z"] : files["rec.6.hbuf.z"];
        history[history.size() / 2] ^= 0x10;
        all.push_back(files);
    }
    return all;
}

TEST_F(CrashedRecorder, CanDieAnywhereInItsRecoveryAndBeRecoveredAgain)
{
    int row = 0;
    for (const folder &files : damaged_folders()) {
        restore(files);
        ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
        const std::vector<std::string> expected =
            record_strings(records_of(play()));
        const std::string state = read_file("rec.state");
        for (const stop how :
             {stop::before, stop::torn, stop::after, stop::failing}) {
            for (int n = 0;; ++n) {
                SCOPED_TRACE("row " + std::to_string(row) + " call " +
                             std::to_string(n));
                restore(files);
                int result;
                bool was_reached;
                {
                    const stopping_disk disk(n, how);
                    result = recover();
                    was_reached = disk.reached();
                }
                if (!was_reached) break;
                EXPECT_TRUE(result == KOR_ERR_CANNOT_OPEN ||
                            result == KOR_ERR_INFLATE || how == stop::after ||
                            result == KOR_RECOVER_REPAIRED);
                ASSERT_GE(recover(), 0);
                EXPECT_EQ(record_strings(records_of(play())), expected);
                EXPECT_EQ(read_file("rec.state"), state);
                expect_recovered();
                if (HasFailure()) return;
            }
        }
        ++row;
    }
}

TEST_F(CrashedRecorder, SurvivesEveryAllocationFailureInItsRecovery)
{
    for (const folder &files : damaged_folders()) {
        restore(files);
        ASSERT_EQ(recover(), KOR_RECOVER_REPAIRED);
        const std::vector<std::string> expected =
            record_strings(records_of(play()));
        expect_every_allocation_failure_is_clean([&] {
            report_holder report;
            const int result = recover_and_report(&report);
            return result > 0 ? KOR_OK : result;
        });
        restore(files);
        for (int n = 0;; ++n) {
            restore(files);
            bool was_reached;
            {
                const failing_allocation failing(n);
                recover();
                was_reached = failing.reached();
            }
            if (!was_reached) break;
            ASSERT_GE(recover(), 0);
            EXPECT_EQ(record_strings(records_of(play())), expected) << n;
        }
    }
}

}  // namespace
