// What a crash or a full disk leaves behind, and what buffers make of it.
#include "buffer_support.hpp"

namespace {

using test::at;
using test::current_header;
using test::current_holder;
using test::inflate_file;
using test::inflate_streams;
using test::read_file;
using test::sample;
using test::stored_event;
using test::stored_names;
using test::stored_names_at;
using test::stored_sample_0;
using test::stored_sample_1;
using test::write_file;
using testing::ElementsAre;

class BufferFaults : public test::InScratchFolder {};

using action = std::function<int(struct kor_current_buffer *)>;

action write_vector(std::function<test::vector_holder()> make)
{
    return [make](struct kor_current_buffer *cbuf) {
        return kor_current_buffer_write_telemetry_vector(cbuf, make().get());
    };
}
action write_event(const std::string &text)
{
    return [text](struct kor_current_buffer *cbuf) {
        return kor_current_buffer_write_event(cbuf,
                                              test::event_of(3, 7, text).get());
    };
}
// Readings that do not compress: a record takes several writes.
test::vector_holder noisy_vector(uint32_t n, int32_t seconds)
{
    std::vector<std::string> names;
    std::vector<double> readings;
    uint32_t state = 12345;
    for (uint32_t i = 0; i < n; ++i) {
        state = state * 1664525u + 1013904223u;
        names.push_back("S" + std::to_string(state));
        readings.push_back(state / 7.0);
    }
    return test::vector_of(names, at(seconds), readings);
}

// Small and wide records, changing sensors, an event in between.
const std::vector<action> actions = {
    write_vector([] { return sample(0); }),
    write_vector([] { return sample(1); }),
    write_event("door open"),
    write_vector([] { return noisy_vector(300, 3); }),
    write_vector([] { return noisy_vector(300, 4); }),
    write_event(std::string(3000, 'x')),
    write_vector([] { return sample(2); }),
};

// Makes "reference", a file after only these actions were taken.
void make_reference(const std::vector<action> &taken)
{
    const current_holder cbuf(kor_current_buffer_create("reference", 8));
    for (const action &act : taken) EXPECT_EQ(act(cbuf.get()), KOR_OK);
}
// What that file holds.
std::string content_after(const std::vector<action> &taken)
{
    make_reference(taken);
    return inflate_file("reference");
}
// Whether "c" says what it would if only these actions had been taken.  A
// failed vector may have made the names come again.
bool is_as_after(const std::vector<action> &taken)
{
    make_reference(taken);
    return test::meaning_of("c") == test::meaning_of("reference");
}
// Where each stream ends in a file of these actions.
std::vector<size_t> stream_ends(const std::vector<action> &taken)
{
    const current_holder cbuf(kor_current_buffer_create("ends", 8));
    std::vector<size_t> ends = {0};
    for (const action &act : taken) {
        EXPECT_EQ(act(cbuf.get()), KOR_OK);
        ends.push_back(read_file("ends").size());
    }
    return ends;
}

// --- a full disk ---

struct outcome {
    std::vector<action> accepted;
    int refused = 0;
};
// Takes every action while the file may not grow beyond `limit`.
outcome act_within(size_t limit, struct kor_current_buffer *cbuf)
{
    const test::file_size_limit full_disk(limit);
    outcome result;
    for (const action &act : actions) {
        const int32_t size = cbuf->size;
        const int code = act(cbuf);
        if (code == KOR_OK) {
            result.accepted.push_back(act);
        } else {
            ++result.refused;
            EXPECT_EQ(code, KOR_ERR_INFLATE);
            EXPECT_EQ(cbuf->size, size);
        }
    }
    return result;
}

TEST_F(BufferFaults, AFullDiskAtAnyByteLosesOnlyWhatWasRefused)
{
    make_reference(actions);
    const size_t whole = read_file("reference").size();
    ASSERT_GT(whole, 4096u);
    for (size_t limit = 0; limit < whole; limit += limit < 200 ? 1 : 113) {
        SCOPED_TRACE("no byte behind " + std::to_string(limit));
        current_holder cbuf(kor_current_buffer_create("c", 8));
        outcome result = act_within(limit, cbuf.get());
        EXPECT_GT(result.refused, 0);
        EXPECT_LE(read_file("c").size(), limit);
        inflate_streams("c");  // nothing but whole streams
        // There is room again.
        for (const size_t i : {size_t{1}, size_t{0}, size_t{2}}) {
            EXPECT_EQ(actions[i](cbuf.get()), KOR_OK);
            result.accepted.push_back(actions[i]);
        }
        cbuf.reset();
        ASSERT_TRUE(is_as_after(result.accepted));
    }
}

TEST_F(BufferFaults, AFullDiskWhileReopenedLosesOnlyWhatWasRefused)
{
    make_reference({actions[0], actions[3]});
    const std::string file = read_file("reference");
    for (size_t more = 0; more < 200; more += 3) {
        SCOPED_TRACE("room for " + std::to_string(more) + " bytes");
        write_file("c", file);
        current_holder cbuf(kor_current_buffer_open_for_append("c"));
        ASSERT_NE(cbuf, nullptr);
        outcome result = act_within(file.size() + more, cbuf.get());
        EXPECT_EQ(actions[1](cbuf.get()), KOR_OK);
        cbuf.reset();
        result.accepted.insert(result.accepted.begin(),
                               {actions[0], actions[3]});
        result.accepted.push_back(actions[1]);
        ASSERT_TRUE(is_as_after(result.accepted));
    }
}

TEST_F(BufferFaults, TheHeaderSurvivesAFullDiskAtClose)
{
    current_holder cbuf(kor_current_buffer_create("c", 8));
    EXPECT_EQ(act_within(20, cbuf.get()).accepted.size(), 0u);
    EXPECT_EQ(read_file("c"), "");
    cbuf.reset();
    EXPECT_THAT(inflate_streams("c"), ElementsAre(current_header(8)));

    cbuf.reset(kor_current_buffer_create("d", 8));
    {
        const test::file_size_limit full_disk(5);
        cbuf.reset();
    }
    EXPECT_EQ(read_file("d"), "");
}

TEST_F(BufferFaults, NamesThatDidNotReachTheFileAreWrittenAgain)
{
    const current_holder cbuf(kor_current_buffer_create("c", 8));
    const test::vector_holder second = sample(1);
    {
        const test::file_size_limit full_disk(10);
        EXPECT_EQ(kor_current_buffer_write_telemetry_vector(cbuf.get(),
                                                            sample(0).get()),
                  KOR_ERR_INFLATE);
        EXPECT_NE(kor_current_buffer_get_sensor_working_set(cbuf.get()),
                  nullptr);
    }
    EXPECT_EQ(
        kor_current_buffer_write_telemetry_vector(cbuf.get(), second.get()),
        KOR_OK);
    EXPECT_THAT(
        inflate_streams("c"),
        ElementsAre(current_header(8) + stored_names_at(1) + stored_sample_1));
}

TEST_F(BufferFaults, AHistoryBufferToleratesAFullDiskToo)
{
    const test::list_holder list(hist_value_list_create());
    const test::vector_holder vector = noisy_vector(100, 0);
    const auto *sensors = telemetry_matrix_get_sensors(vector.get());
    for (int i = 0; i < 100; ++i)
        hist_value_update(hist_value_list_add_if_not_present(
                              list.get(), sensor_array_get(sensors, i)),
                          static_cast<float>(i));
    const struct timestamp t = at(0);
    const auto write = [&](const test::hist_holder &hbuf) {
        return kor_hist_buffer_write_interval(hbuf.get(), &t, &t, list.get(),
                                              nullptr);
    };
    {
        const test::hist_holder hbuf(kor_hist_buffer_create("reference", 2));
        ASSERT_EQ(write(hbuf), KOR_OK);
        ASSERT_EQ(write(hbuf), KOR_OK);
    }
    const size_t whole = read_file("reference").size();
    for (size_t limit = 0; limit < whole; limit += 31) {
        SCOPED_TRACE("no byte behind " + std::to_string(limit));
        test::hist_holder hbuf(kor_hist_buffer_create("h", 2));
        uint32_t accepted = 0;
        {
            const test::file_size_limit full_disk(limit);
            for (int i = 0; i < 2; ++i) {
                const int code = write(hbuf);
                EXPECT_TRUE(code == KOR_OK || code == KOR_ERR_INFLATE) << code;
                if (code == KOR_OK) ++accepted;
            }
        }
        EXPECT_EQ(hbuf->size, accepted);
        while (accepted < 2) {
            ASSERT_EQ(write(hbuf), KOR_OK);
            ++accepted;
        }
        hbuf.reset();
        ASSERT_EQ(inflate_file("h"), inflate_file("reference"));
    }
}

TEST_F(BufferFaults, AFileThatCannotBeCutTakesNothingMore)
{
    const current_holder cbuf(kor_current_buffer_create("/dev/full", 8));
    ASSERT_NE(cbuf, nullptr);
    for (const action &act : actions)
        EXPECT_EQ(act(cbuf.get()), KOR_ERR_INFLATE);
    EXPECT_EQ(cbuf->size, 0);
}

// --- a torn tail ---

constexpr int refused = -1;

// Reopens "c" and adds sample 5.  Returns 0, `refused` or test::aborted.
int append_in_child()
{
    return test::in_child([] {
        current_holder cbuf(kor_current_buffer_open_for_append("c"));
        if (!cbuf) return refused;
        return kor_current_buffer_write_telemetry_vector(
                   cbuf.get(), sample(5).get()) == KOR_OK
                   ? 0
                   : -2;
    });
}

TEST_F(BufferFaults, NothingIsEverAppendedBehindATornTail)
{
    const std::vector<action> taken = {
        actions[0], actions[1], actions[2],
        write_vector([] { return test::vector_of({"other"}, at(4), {1}); })};
    make_reference(taken);
    const std::string whole = read_file("reference");
    const std::vector<size_t> ends = stream_ends(taken);
    size_t nwhole = 0;
    int torn_but_opened = 0;
    for (size_t cut = 1; cut <= whole.size(); ++cut) {
        SCOPED_TRACE("cut after " + std::to_string(cut) + " bytes");
        if (nwhole + 1 < ends.size() && cut >= ends[nwhole + 1]) ++nwhole;
        write_file("c", whole.substr(0, cut));
        const int result = append_in_child();
        if (result == refused || result == test::aborted) {
            EXPECT_NE(cut, ends[nwhole]) << "a whole file was refused";
            EXPECT_EQ(read_file("c"), whole.substr(0, cut));
            continue;
        }
        ASSERT_EQ(result, 0);
        if (cut != ends[nwhole]) ++torn_but_opened;
        std::vector<action> kept = taken;
        kept.resize(nwhole);
        kept.push_back(write_vector([] { return sample(5); }));
        EXPECT_EQ(inflate_file("c"), content_after(kept));
    }
    // Cuts that yield no byte of the last stream, or lack only its end.
    EXPECT_GT(torn_but_opened, 10);
}

TEST_F(BufferFaults, WhatATornTailHeldIsNotCounted)
{
    make_reference({actions[0], actions[1], write_vector([] {
                        return test::vector_of({"other"}, at(2), {1});
                    })});
    const std::string whole = read_file("reference");
    // Only the check sum of the last stream is cut: its records can be read.
    write_file("c", whole.substr(0, whole.size() - 1));
    const current_holder cbuf(kor_current_buffer_open_for_append("c"));
    ASSERT_NE(cbuf, nullptr);
    EXPECT_EQ(cbuf->size, 2);
    EXPECT_THAT(
        test::names_of(kor_cb_record_sensor_names_get_sensors(cbuf->names)),
        testing::ElementsAreArray(test::two_sensors));
    struct kor_cb_record rec;
    kor_cb_record_init_null(&rec);
    EXPECT_EQ(kor_current_buffer_read_record(cbuf.get(), &rec),
              KOR_ERR_END_OF_STREAM);
    kor_cb_record_destruct(&rec);
    // The file itself is left alone until something is written.
    EXPECT_EQ(read_file("c").size(), whole.size() - 1);
}

TEST_F(BufferFaults, ATornTailOfAWideRecordIsCutOff)
{
    const std::vector<size_t> ends =
        stream_ends({actions[0], actions[3], actions[4]});
    const std::string whole = read_file("ends");
    // The first write of a record that takes several is two bytes long.
    write_file("c", whole.substr(0, ends[2] + 2));
    ASSERT_EQ(append_in_child(), 0);
    EXPECT_EQ(inflate_file("c"),
              content_after({actions[0], actions[3],
                             write_vector([] { return sample(5); })}));
}

TEST_F(BufferFaults, AnEventIsNotAppendedBehindATornTailEither)
{
    make_reference({actions[0], actions[1]});
    const std::string whole = read_file("reference");
    write_file("c", whole.substr(0, whole.size() - 3));
    current_holder cbuf(kor_current_buffer_open_for_append("c"));
    ASSERT_NE(cbuf, nullptr);
    EXPECT_EQ(
        kor_current_buffer_write_event(cbuf.get(), test::fan_fail().get()),
        KOR_OK);
    cbuf.reset();
    EXPECT_EQ(inflate_file("c"), current_header(8) + stored_names +
                                     stored_sample_0 + stored_event);
}

// A buffer opened in its middle is taken to its last whole stream as well.
TEST_F(BufferFaults, AWriteInTheMiddleCutsATornTail)
{
    make_reference({actions[0], actions[1], actions[2]});
    const std::string whole = read_file("reference");
    write_file("c", whole.substr(0, whole.size() - 3));
    current_holder cbuf(kor_current_buffer_open_for_read_write("c"));
    ASSERT_NE(cbuf, nullptr);
    EXPECT_EQ(
        kor_current_buffer_write_telemetry_vector(cbuf.get(), sample(1).get()),
        KOR_OK);
    EXPECT_EQ(cbuf->size, 3);
    cbuf.reset();
    EXPECT_EQ(inflate_file("c"), current_header(8) + stored_names +
                                     stored_sample_0 + stored_sample_1 +
                                     stored_sample_1);
}

TEST_F(BufferFaults, AFileWithoutAWholeStreamStartsAgain)
{
    make_reference({actions[0]});
    const std::string whole = read_file("reference");
    write_file("c", whole.substr(0, whole.size() - 1));
    current_holder cbuf(kor_current_buffer_open_for_append("c"));
    ASSERT_NE(cbuf, nullptr);
    EXPECT_EQ(cbuf->size, 0);
    EXPECT_EQ(cbuf->names, nullptr);
    EXPECT_EQ(
        kor_current_buffer_write_telemetry_vector(cbuf.get(), sample(0).get()),
        KOR_OK);
    cbuf.reset();
    EXPECT_THAT(
        inflate_streams("c"),
        ElementsAre(current_header(8) + stored_names + stored_sample_0));
}

}  // namespace
