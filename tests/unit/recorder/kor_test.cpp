#include "kor.h"

#include <sys/stat.h>

#include <filesystem>

#include "buffer_support.hpp"
#include "support/abort_rows.hpp"

namespace {

using test::bytes;
using test::list_folder;
using test::memory_reader;
using test::memory_writer;
using test::read_file;
using test::sample;
using test::stored_count;
using test::with;
using test::write_file;
using testing::ElementsAre;

using kor_holder = test::holder<struct kor, kor_close>;

class Kor : public test::InScratchFolder {};

kor_holder create(const char *filename = "rec", uint32_t samples = 4,
                  uint32_t intervals = 2)
{
    return kor_holder(kor_create(filename, samples, intervals));
}
kor_holder open(const char *filename = "rec")
{
    return kor_holder(kor_open(filename));
}
int write(const kor_holder &kor, int i)
{
    return kor_write_telemetry_vector(kor.get(), sample(i).get());
}
void fill(const kor_holder &kor, int from, int to)
{
    for (int i = from; i < to; ++i) ASSERT_EQ(write(kor, i), KOR_OK) << i;
}

int32_t size_of_open(const kor_holder &kor)
{
    switch (kor->state) {
        case KOR_ZCF_STATE_C00:
            return kor->c00->cbuf->size;
        case KOR_ZCF_STATE_CC0:
            return kor->cc0->cbuf1->size;
        case KOR_ZCF_STATE_CCC:
            return kor->ccc->cbuf2->size;
        default:
            return kor->hcc->cbuf2->size;
    }
}

// State files after kor_create("rec", 4, 2) and 0, 4, 8 and 12 samples.
const std::string state_c00 = bytes(
    "01 00 00 00 03 72 65 63 00 00 00 09 72 65 63 2e"
    "73 74 61 74 65 00 00 00 01 00 00 00 04 00 00 00"
    "02 00 00 00 02 00 00 00 02 01 00 00 00 0c 72 65"
    "63 2e 31 2e 63 62 75 66 2e 7a");
const std::string state_cc0 = bytes(
    "01 00 00 00 03 72 65 63 00 00 00 09 72 65 63 2e"
    "73 74 61 74 65 00 00 00 02 00 00 00 04 00 00 00"
    "02 00 00 00 02 00 00 00 03 01 00 00 00 0c 72 65"
    "63 2e 31 2e 63 62 75 66 2e 7a 00 00 00 0c 72 65"
    "63 2e 32 2e 63 62 75 66 2e 7a");
const std::string state_ccc = bytes(
    "01 00 00 00 03 72 65 63 00 00 00 09 72 65 63 2e"
    "73 74 61 74 65 00 00 00 03 00 00 00 04 00 00 00"
    "02 00 00 00 02 00 00 00 04 01 00 00 00 0c 72 65"
    "63 2e 31 2e 63 62 75 66 2e 7a 00 00 00 0c 72 65"
    "63 2e 32 2e 63 62 75 66 2e 7a 00 00 00 0c 72 65"
    "63 2e 33 2e 63 62 75 66 2e 7a");
const std::string state_hcc = bytes(
    "01 00 00 00 03 72 65 63 00 00 00 09 72 65 63 2e"
    "73 74 61 74 65 00 00 00 04 00 00 00 04 00 00 00"
    "02 00 00 00 02 00 00 00 06 01 00 00 00 0c 72 65"
    "63 2e 34 2e 68 62 75 66 2e 7a 00 00 00 0c 72 65"
    "63 2e 33 2e 63 62 75 66 2e 7a 00 00 00 0c 72 65"
    "63 2e 35 2e 63 62 75 66 2e 7a");

// Where the fields of these begin.
constexpr size_t state_at = 1 + 7 + 13;
constexpr size_t samples_at = state_at + 4;
constexpr size_t intervals_at = samples_at + 4;
constexpr size_t per_interval_at = intervals_at + 4;
constexpr size_t object_at = per_interval_at + 8;

// --- creating ---

TEST_F(Kor, StartsWithOneBufferAndAStateFile)
{
    const kor_holder kor = create();
    ASSERT_NE(kor, nullptr);
    EXPECT_EQ(kor->version, KOR_VERSION);
    EXPECT_STREQ(kor->filename, "rec");
    EXPECT_STREQ(kor->state_filename, "rec.state");
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_C00);
    EXPECT_EQ(kor->num_cb_samples, 4u);
    EXPECT_EQ(kor->num_hb_intervals, 2u);
    EXPECT_EQ(kor->num_samples_per_interval, 2u);
    EXPECT_EQ(kor->next_file_number, 2u);
    EXPECT_EQ(kor->c00->cbuf->max_data_records, 4);
    EXPECT_EQ(kor_get_restore_result(kor.get()), 0);
    EXPECT_THAT(list_folder(), ElementsAre("rec.1.cbuf.z", "rec.state"));
    EXPECT_EQ(read_file("rec.state"), state_c00);
}

TEST_F(Kor, NullRecorderIsEmpty)
{
    const kor_holder kor(kor_create_null());
    EXPECT_EQ(kor->version, KOR_VERSION);
    EXPECT_EQ(kor->filename, nullptr);
    EXPECT_EQ(kor->state_filename, nullptr);
    EXPECT_EQ(kor->state, 0u);
    EXPECT_EQ(kor->c00, nullptr);
    EXPECT_EQ(kor->next_file_number, 0u);
    EXPECT_EQ(kor_sync(kor.get()), KOR_OK);
}

TEST_F(Kor, CannotBeCreatedInAMissingFolder)
{
    EXPECT_EQ(create("missing/rec"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

TEST_F(Kor, AFailedFirstSaveLeavesTheBufferFile)
{
    mkdir("rec.state", 0777);
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
    EXPECT_THAT(list_folder(), ElementsAre("rec.1.cbuf.z", "rec.state"));
    EXPECT_EQ(test::inflate_file("rec.1.cbuf.z"), test::current_header(4));
}

TEST_F(Kor, AFullDiskDuringTheFirstSaveIsReported)
{
    {
        const test::file_size_limit full_disk(20);
        EXPECT_EQ(create(), nullptr);
    }
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INFLATE);
}

TEST_F(Kor, EveryAllocationFailureWhileCreatingIsClean)
{
    test::expect_every_allocation_failure_is_clean([] {
        struct kor *kor = kor_create("rec", 4, 2);
        if (kor == nullptr) return vela_get_last_error();
        kor_close(&kor);
        return static_cast<int>(KOR_OK);
    });
}

TEST_F(Kor, TracesItsCreation)
{
    test::traces().clear();
    const kor_holder kor = create("rec", 8, 2);
    const auto &lines = test::traces();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, "kor_create: file='rec', samples=8, intervals=2");
    EXPECT_EQ(lines[0].level, 150);
    EXPECT_EQ(lines[0].a, -1);
    EXPECT_EQ(lines[0].b, 39);
    EXPECT_EQ(lines[1].text,
              "kor_current_buffer_create: file='rec.1.cbuf.z', "
              "max_data_records=8");
}

// A base name of `size` characters for files in the current folder.
std::string long_base(const std::string &name, size_t size)
{
    return "./" + std::string(size - 2 - name.size(), '/') + name;
}

// A name that is too long is cut, and then that of the next file is the same.
TEST_F(Kor, ANameInUseIsNeverCreatedAnew)
{
    const kor_holder kor = create(long_base("recorder", 1024).c_str(), 2, 2);
    ASSERT_NE(kor, nullptr);
    EXPECT_THAT(list_folder(), ElementsAre("recorde", "recorder.state"));
    fill(kor, 0, 2);
    const std::string full = read_file("recorde");
    EXPECT_EQ(write(kor, 2), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(write(kor, 2), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(read_file("recorde"), full);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_C00);
}

// Files 110 and 111 are the same when only two digits are left of a number.
TEST_F(Kor, TheNewHistoryIsNeverReplacedByTheNewBuffer)
{
    const kor_holder kor = create(long_base("r", 1020).c_str(), 2, 2);
    ASSERT_NE(kor, nullptr);
    for (const uint32_t state : {KOR_ZCF_STATE_CCC, KOR_ZCF_STATE_HCC}) {
        SCOPED_TRACE(state);
        for (int i = 0; kor->state != state || size_of_open(kor) < 2; ++i)
            ASSERT_EQ(write(kor, i), KOR_OK);
        const auto before = list_folder();
        const uint32_t number = kor->next_file_number;
        kor->next_file_number = 110;
        EXPECT_EQ(write(kor, 6), KOR_ERR_CANNOT_OPEN);
        EXPECT_EQ(kor->state, state);
        EXPECT_NE(test::inflate_file("r.11"), test::hist_header(4));
        EXPECT_EQ(test::inflate_file("r.11").substr(0, 9),
                  test::hist_header(4));
        unlink("r.11");
        EXPECT_EQ(list_folder(), before);
        kor->next_file_number = number;
    }
}

// --- the state file ---

TEST_F(Kor, StateFileFollowsEveryTransition)
{
    const kor_holder kor = create();
    fill(kor, 0, 4);
    EXPECT_EQ(read_file("rec.state"), state_c00);
    fill(kor, 4, 5);
    EXPECT_EQ(read_file("rec.state"), state_cc0);
    fill(kor, 5, 9);
    EXPECT_EQ(read_file("rec.state"), state_ccc);
    fill(kor, 9, 13);
    EXPECT_EQ(read_file("rec.state"), state_hcc);
}

TEST_F(Kor, SerializesWhatTheStateFileHolds)
{
    const kor_holder kor = create();
    EXPECT_EQ(test::stored_by([&kor](struct writer *out) {
                  return binary_serializer_write_kor(kor.get(), out);
              }),
              state_c00);
}

// Up to the state object every failure comes through; there a name that
// cannot be written counts as written.
TEST_F(Kor, AFailedWriteComesThroughExceptThatOfAName)
{
    const kor_holder kor = create();
    for (int calls = 0;; ++calls) {
        memory_writer out;
        out.fail_after(calls, KOR_ERR_DEFLATE);
        const int result = binary_serializer_write_kor(kor.get(), out.get());
        if (out.bytes().size() <= object_at) {
            EXPECT_EQ(result, KOR_ERR_DEFLATE);
            continue;
        }
        if (out.bytes() == state_c00) {
            EXPECT_EQ(result, static_cast<int>(state_c00.size()));
            break;
        }
        EXPECT_EQ(result, static_cast<int>(object_at));
    }
}

// --- opening ---

TEST_F(Kor, ContinuesAfterClose)
{
    {
        const kor_holder kor = create();
        fill(kor, 0, 3);
    }
    const kor_holder kor = open();
    ASSERT_NE(kor, nullptr);
    EXPECT_EQ(kor_get_restore_result(kor.get()),
              static_cast<int>(state_c00.size()));
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_C00);
    EXPECT_EQ(kor->next_file_number, 2u);
    EXPECT_EQ(kor->c00->cbuf->size, 3);
    EXPECT_EQ(write(kor, 3), KOR_OK);
    EXPECT_EQ(write(kor, 4), KOR_OK);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_CC0);
}

TEST_F(Kor, CloseLeavesTheStateFileAlone)
{
    kor_holder kor = create();
    write_file("rec.state", "x");
    kor.reset();
    EXPECT_EQ(read_file("rec.state"), "x");
}

TEST_F(Kor, TheNamesComeFromTheFile)
{
    create().reset();
    write_file("other.state", read_file("rec.state"));
    const kor_holder kor = open("other");
    ASSERT_NE(kor, nullptr);
    EXPECT_STREQ(kor->filename, "rec");
    EXPECT_STREQ(kor->state_filename, "rec.state");
}

TEST_F(Kor, AMissingStateFileCannotBeOpened)
{
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

TEST_F(Kor, AnEmptyStateFileIsATruncation)
{
    write_file("rec.state", "");
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_TRUNCATED);
}

// A recorder that could be restored only in part comes back all the same, says
// so, and can be closed.
struct partial_case {
    const char *name;
    std::string state_file;
    int restored;
};
void PrintTo(const partial_case &row, std::ostream *os)
{
    *os << row.name;
}
class KorPartlyRestored : public test::InScratchFolder,
                          public testing::WithParamInterface<partial_case> {};

TEST_P(KorPartlyRestored, IsHandedOutAndCanBeClosed)
{
    create().reset();
    write_file("rec.state", GetParam().state_file);
    const test::allocation_count blocks;
    {
        const kor_holder kor = open();
        ASSERT_NE(kor, nullptr);
        EXPECT_EQ(kor_get_restore_result(kor.get()), GetParam().restored);
    }
    EXPECT_EQ(blocks.live(), 0);
}

std::string patched(size_t at, uint32_t value)
{
    return with(state_c00, at, stored_count(value));
}

INSTANTIATE_TEST_SUITE_P(
    Table, KorPartlyRestored,
    testing::Values(
        partial_case{"VersionTwo", with(state_c00, 0, bytes("02")),
                     KOR_ERR_WRONG_VERSION},
        partial_case{"EmptyName", with(state_c00, 1, stored_count(0)),
                     KOR_ERR_INVALID_DATA},
        partial_case{"CutBeforeAName", state_c00.substr(0, 1),
                     KOR_ERR_END_OF_STREAM},
        partial_case{"CutInAName", state_c00.substr(0, 10), KOR_ERR_TRUNCATED},
        partial_case{"CutBeforeState", state_c00.substr(0, state_at),
                     KOR_ERR_TRUNCATED},
        partial_case{"CutInSamples", state_c00.substr(0, samples_at + 2),
                     KOR_ERR_TRUNCATED},
        partial_case{"StateZero", patched(state_at, 0), KOR_ERR_INVALID_DATA},
        partial_case{"StateFive", patched(state_at, 5), KOR_ERR_INVALID_DATA},
        partial_case{"NoSamples", patched(samples_at, 0), KOR_ERR_INVALID_DATA},
        partial_case{"OddSamples", patched(samples_at, 5),
                     KOR_ERR_INVALID_DATA},
        partial_case{"NoIntervals", patched(intervals_at, 0),
                     KOR_ERR_INVALID_DATA},
        partial_case{"IntervalsThatDoNotDivide", patched(intervals_at, 3),
                     KOR_ERR_INVALID_DATA},
        partial_case{"WrongQuotient", patched(per_interval_at, 3),
                     KOR_ERR_INVALID_DATA},
        partial_case{"StateFiveCutBehindSamples",
                     patched(state_at, 5).substr(0, intervals_at),
                     KOR_ERR_TRUNCATED},
        partial_case{"CutBeforeObject", state_c00.substr(0, object_at),
                     KOR_ERR_TRUNCATED},
        partial_case{"ObjectOfVersionTwo",
                     with(state_c00, object_at, bytes("02")),
                     KOR_ERR_WRONG_VERSION},
        partial_case{"CutInObject", state_c00.substr(0, object_at + 8),
                     KOR_ERR_TRUNCATED},
        partial_case{"MissingBuffer", with(state_cc0, 58 + 8, "9"),
                     KOR_ERR_CANNOT_OPEN},
        partial_case{"MissingBufferInCcc", state_ccc, KOR_ERR_CANNOT_OPEN},
        partial_case{"MissingBufferInHcc", state_hcc, KOR_ERR_CANNOT_OPEN}),
    [](const auto &row) { return std::string(row.param.name); });

// kor_create would refuse three intervals; a state file may hold them.
TEST_F(Kor, AnOddNumberOfIntervalsIsAcceptedFromTheFile)
{
    create("rec", 6, 2).reset();
    std::string state = patched(samples_at, 6);
    state = with(state, intervals_at, stored_count(3));
    state = with(state, per_interval_at, stored_count(2));
    write_file("rec.state", state);
    const kor_holder kor = open();
    ASSERT_NE(kor, nullptr);
    EXPECT_GT(kor_get_restore_result(kor.get()), 0);
    EXPECT_EQ(kor->num_hb_intervals, 3u);
    fill(kor, 0, 19);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_HCC);
}

TEST_F(Kor, WhatFollowsTheStateIsIgnored)
{
    create().reset();
    write_file("rec.state", state_c00 + "and an older, longer state");
    const kor_holder kor = open();
    EXPECT_GT(kor_get_restore_result(kor.get()), 0);
    fill(kor, 0, 5);
    EXPECT_EQ(read_file("rec.state"), state_cc0);
}

TEST_F(Kor, EveryAllocationFailureWhileOpeningIsClean)
{
    {
        const kor_holder kor = create();
        fill(kor, 0, 9);
    }
    for (int failing = 0;; ++failing) {
        SCOPED_TRACE("allocation " + std::to_string(failing) + " fails");
        const test::allocation_count blocks;
        bool reached = false;
        // The state object's own allocation is asserted.
        const int result = test::in_child([failing, &reached] {
            const test::failing_allocation fault(failing);
            struct kor *kor = kor_open("rec");
            reached = fault.reached();
            if (!reached) return static_cast<int>(KOR_OK);
            if (kor == nullptr) return vela_get_last_error();
            const int restored = kor_get_restore_result(kor);
            kor_close(&kor);
            return restored;
        });
        if (result == KOR_OK) {
            EXPECT_GT(failing, 10);
            break;
        }
        EXPECT_TRUE(result == KOR_ERR_NO_MEMORY || result == test::aborted)
            << result;
    }
}

// --- writing ---

TEST_F(Kor, EventsNeverCauseARotation)
{
    const kor_holder kor = create();
    fill(kor, 0, 4);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(kor_write_event(kor.get(), test::fan_fail().get()), KOR_OK);
    EXPECT_EQ(kor->state, KOR_ZCF_STATE_C00);
    EXPECT_EQ(kor->c00->cbuf->size, 4);
}

TEST_F(Kor, SyncsInEveryState)
{
    const kor_holder kor = create("./rec");
    for (int i = 0; i < 18; ++i) {
        EXPECT_EQ(kor_sync(kor.get()), KOR_OK);
        fill(kor, i, i + 1);
    }
    EXPECT_EQ(kor_sync(kor.get()), KOR_OK);
}

TEST_F(Kor, EveryAllocationFailureInATransitionIsReported)
{
    constexpr int not_reached = -97;
    const std::vector<int> befores = {4, 8, 12, 16};
    for (const int before : befores) {
        for (int failing = 0;; ++failing) {
            SCOPED_TRACE("after " + std::to_string(before) +
                         " samples allocation " + std::to_string(failing));
            kor_holder kor = create();
            fill(kor, 0, before);
            // A failed save aborts in the transition from CCC.
            const int result = test::in_child([&kor, before, failing] {
                const test::vector_holder next = sample(before);
                int written;
                bool reached;
                {
                    const test::failing_allocation fault(failing);
                    written = kor_write_telemetry_vector(kor.get(), next.get());
                    reached = fault.reached();
                }
                if (!reached) return written == KOR_OK ? not_reached : -98;
                if (written != KOR_ERR_NO_MEMORY && written != KOR_OK)
                    return written - 100;
                // Whatever was lost, the recorder goes on.
                for (int i = before; i < before + 6; ++i)
                    if (kor_write_telemetry_vector(kor.get(),
                                                   sample(i).get()) != KOR_OK)
                        return -99;
                return written;
            });
            if (result == not_reached) break;
            const bool may_abort = before == 12;
            EXPECT_TRUE(result == KOR_ERR_NO_MEMORY || result == KOR_OK ||
                        (may_abort && result == test::aborted))
                << result;
            if (HasFailure() || failing > 400) FAIL();
        }
    }
}

// --- aborts ---

struct kor *live()
{
    static struct kor kor;
    kor = {};
    kor.version = KOR_VERSION;
    return &kor;
}
struct kor *dead()
{
    live()->version = 0;
    static struct kor kor;
    kor = {};
    return &kor;
}
struct kor *in_state(uint32_t state)
{
    struct kor *const kor = live();
    kor->state = state;
    return kor;
}
void write_vector(struct kor *kor)
{
    kor_write_telemetry_vector(kor, sample(0).get());
}
void write_event(struct kor *kor)
{
    kor_write_event(kor, test::fan_fail().get());
}
void close(struct kor *kor)
{
    kor_close(&kor);
}
struct reader *source()
{
    static memory_reader in("");
    return in.get();
}
struct writer *sink()
{
    static memory_writer out;
    return out.get();
}

constexpr char version_text[] = "kor->version == KOR_VERSION";
constexpr char state_text[] = "is_storage_state(state)";

class KorDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(KorDeathTest,
               {"CreateOfNull", "filename != NULL",
                [] {
                    kor_create(nullptr, 4, 2);
                }},
               {"CreateOfEmptyName", "filename[0] != 0",
                [] {
                    kor_create("", 4, 2);
                }},
               {"CreateWithoutSamples", "num_cb_samples > 0",
                [] {
                    kor_create("rec", 0, 2);
                }},
               {"CreateWithoutIntervals", "num_hb_intervals > 0",
                [] {
                    kor_create("rec", 4, 0);
                }},
               {"CreateSixByFour", "num_cb_samples % num_hb_intervals == 0",
                [] {
                    kor_create("rec", 6, 4);
                }},
               {"CreateThreeByThree", "num_cb_samples % 2 == 0",
                [] {
                    kor_create("rec", 3, 3);
                }},
               {"CreateSixByThree", "num_hb_intervals % 2 == 0",
                [] {
                    kor_create("rec", 6, 3);
                }},
               {"OpenNull", "filename != NULL",
                [] {
                    kor_open(nullptr);
                }},
               {"OpenEmptyName", "filename[0] != 0",
                [] {
                    kor_open("");
                }},
               {"CloseNull", "kor != NULL",
                [] {
                    kor_close(nullptr);
                }},
               {"CloseOfNull", "(*kor) != NULL",
                [] {
                    close(nullptr);
                }},
               {"CloseDead", "(*kor)->version == KOR_VERSION",
                [] {
                    close(dead());
                }},
               {"CloseC00WithoutObject", "(*kor)->c00 != NULL",
                [] {
                    close(in_state(KOR_ZCF_STATE_C00));
                }},
               {"CloseCC0WithoutObject", "(*kor)->cc0 != NULL",
                [] {
                    close(in_state(KOR_ZCF_STATE_CC0));
                }},
               {"CloseCCCWithoutObject", "(*kor)->ccc != NULL",
                [] {
                    close(in_state(KOR_ZCF_STATE_CCC));
                }},
               {"CloseHCCWithoutObject", "(*kor)->hcc != NULL",
                [] {
                    close(in_state(KOR_ZCF_STATE_HCC));
                }},
               {"CloseUnknownState",
                "closing.state == 0 || is_storage_state(closing.state)",
                [] {
                    close(in_state(5));
                }},
               {"WriteVectorToNull", "kor != NULL",
                [] {
                    write_vector(nullptr);
                }},
               {"WriteVectorToDead", version_text,
                [] {
                    write_vector(dead());
                }},
               {"WriteNullVector", "vector != NULL",
                [] {
                    kor_write_telemetry_vector(live(), nullptr);
                }},
               {"WriteVectorToC00WithoutObject", "kor->c00 != NULL",
                [] {
                    write_vector(in_state(KOR_ZCF_STATE_C00));
                }},
               {"WriteVectorToCC0WithoutObject", "kor->cc0 != NULL",
                [] {
                    write_vector(in_state(KOR_ZCF_STATE_CC0));
                }},
               {"WriteVectorToCCCWithoutObject", "kor->ccc != NULL",
                [] {
                    write_vector(in_state(KOR_ZCF_STATE_CCC));
                }},
               {"WriteVectorToHCCWithoutObject", "kor->hcc != NULL",
                [] {
                    write_vector(in_state(KOR_ZCF_STATE_HCC));
                }},
               {"WriteVectorWithoutState", state_text,
                [] {
                    write_vector(live());
                }},
               {"WriteVectorInUnknownState", state_text,
                [] {
                    write_vector(in_state(5));
                }},
               {"WriteEventToNull", "kor != NULL",
                [] {
                    write_event(nullptr);
                }},
               {"WriteEventToDead", version_text,
                [] {
                    write_event(dead());
                }},
               {"WriteNullEvent", "event != NULL",
                [] {
                    kor_write_event(live(), nullptr);
                }},
               {"WriteEventWithoutState", state_text,
                [] {
                    write_event(live());
                }},
               {"WriteEventInUnknownState", state_text,
                [] {
                    write_event(in_state(5));
                }},
               {"StoreNull", "kor != NULL",
                [] {
                    binary_serializer_write_kor(nullptr, sink());
                }},
               {"StoreDead", version_text,
                [] {
                    binary_serializer_write_kor(dead(), sink());
                }},
               {"StoreToNull", "writer != NULL",
                [] {
                    binary_serializer_write_kor(live(), nullptr);
                }},
               {"RestoreNull", "kor != NULL",
                [] {
                    binary_serializer_read_kor(nullptr, source());
                }},
               {"RestoreDead", "kor->version == 1",
                [] {
                    binary_serializer_read_kor(dead(), source());
                }},
               {"RestoreFromNull", "reader != NULL",
                [] {
                    binary_serializer_read_kor(live(), nullptr);
                }},
               {"SyncNull", "kor != NULL",
                [] {
                    kor_sync(nullptr);
                }},
               {"SyncDead", version_text,
                [] {
                    kor_sync(dead());
                }},
               {"RestoreResultOfNull", "kor != NULL",
                [] {
                    kor_get_restore_result(nullptr);
                }},
               {"RestoreResultOfDead", version_text, [] {
                    kor_get_restore_result(dead());
                }});

// Writing to what could be restored only in part is a mistake.
TEST(KorPartlyRestoredDeathTest, AbortsWhenWrittenTo)
{
    const test::scratch_folder folder;
    create().reset();
    std::filesystem::remove("rec.1.cbuf.z");
    const kor_holder kor = open();
    ASSERT_NE(kor, nullptr);
    EXPECT_EQ(kor_get_restore_result(kor.get()), KOR_ERR_CANNOT_OPEN);
    EXPECT_ABORTS(write_vector(kor.get()), "state->cbuf != NULL");
    EXPECT_EQ(kor_sync(kor.get()), KOR_OK);
}

}  // namespace
