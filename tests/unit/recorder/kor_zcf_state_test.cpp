// The four storage states, which differ only in the names they keep.
#include <filesystem>

#include "buffer_support.hpp"
#include "kor_zcf_state_c00.h"
#include "kor_zcf_state_cc0.h"
#include "kor_zcf_state_ccc.h"
#include "kor_zcf_state_hcc.h"
#include "support/abort_rows.hpp"

namespace {

using test::bytes;
using test::memory_reader;
using test::memory_writer;
using test::sample;
using testing::ElementsAre;

struct c00 {
    using state = struct kor_zcf_state_c00;
    static constexpr auto create_null = kor_zcf_state_c00_create_null;
    static constexpr auto destroy = kor_zcf_state_c00_destroy;
    static constexpr auto write_vector =
        kor_zcf_state_c00_write_telemetry_vector;
    static constexpr auto write_event = kor_zcf_state_c00_write_event;
    static constexpr auto write = binary_serializer_write_kor_zcf_state_c00;
    static constexpr auto read = binary_serializer_read_kor_zcf_state_c00;
    static state *create(uint32_t n)
    {
        return kor_zcf_state_c00_create("open", n);
    }
    static struct kor_current_buffer *open(const state *s) { return s->cbuf; }
    static std::vector<std::string> names(const state *s)
    {
        return {kor_zcf_state_c00_get_filename(s)};
    }
    static std::vector<const char *> fields(const state *) { return {}; }
};

struct cc0 {
    using state = struct kor_zcf_state_cc0;
    static constexpr auto create_null = kor_zcf_state_cc0_create_null;
    static constexpr auto destroy = kor_zcf_state_cc0_destroy;
    static constexpr auto write_vector =
        kor_zcf_state_cc0_write_telemetry_vector;
    static constexpr auto write_event = kor_zcf_state_cc0_write_event;
    static constexpr auto write = binary_serializer_write_kor_zcf_state_cc0;
    static constexpr auto read = binary_serializer_read_kor_zcf_state_cc0;
    static state *create(uint32_t n)
    {
        return kor_zcf_state_cc0_create("first", "open", n);
    }
    static struct kor_current_buffer *open(const state *s) { return s->cbuf1; }
    static std::vector<std::string> names(const state *s)
    {
        return {kor_zcf_state_cc0_get_cbuf0_filename(s),
                kor_zcf_state_cc0_get_cbuf1_filename(s)};
    }
    static std::vector<const char *> fields(const state *s)
    {
        return {s->cbuf0_filename};
    }
};

struct ccc {
    using state = struct kor_zcf_state_ccc;
    static constexpr auto create_null = kor_zcf_state_ccc_create_null;
    static constexpr auto destroy = kor_zcf_state_ccc_destroy;
    static constexpr auto write_vector =
        kor_zcf_state_ccc_write_telemetry_vector;
    static constexpr auto write_event = kor_zcf_state_ccc_write_event;
    static constexpr auto write = binary_serializer_write_kor_zcf_state_ccc;
    static constexpr auto read = binary_serializer_read_kor_zcf_state_ccc;
    static state *create(uint32_t n)
    {
        return kor_zcf_state_ccc_create("first", "second", "open", n);
    }
    static struct kor_current_buffer *open(const state *s) { return s->cbuf2; }
    static std::vector<std::string> names(const state *s)
    {
        return {kor_zcf_state_ccc_get_cbuf0_filename(s),
                kor_zcf_state_ccc_get_cbuf1_filename(s),
                kor_zcf_state_ccc_get_cbuf2_filename(s)};
    }
    static std::vector<const char *> fields(const state *s)
    {
        return {s->cbuf0_filename, s->cbuf1_filename};
    }
};

struct hcc {
    using state = struct kor_zcf_state_hcc;
    static constexpr auto create_null = kor_zcf_state_hcc_create_null;
    static constexpr auto destroy = kor_zcf_state_hcc_destroy;
    static constexpr auto write_vector =
        kor_zcf_state_hcc_write_telemetry_vector;
    static constexpr auto write_event = kor_zcf_state_hcc_write_event;
    static constexpr auto write = binary_serializer_write_kor_zcf_state_hcc;
    static constexpr auto read = binary_serializer_read_kor_zcf_state_hcc;
    static state *create(uint32_t n)
    {
        return kor_zcf_state_hcc_create("first", "second", "open", n);
    }
    static struct kor_current_buffer *open(const state *s) { return s->cbuf2; }
    static std::vector<std::string> names(const state *s)
    {
        return {kor_zcf_state_hcc_get_hbuf_filename(s),
                kor_zcf_state_hcc_get_cbuf1_filename(s),
                kor_zcf_state_hcc_get_cbuf2_filename(s)};
    }
    static std::vector<const char *> fields(const state *s)
    {
        return {s->hbuf_filename, s->cbuf1_filename};
    }
};

template <class State>
class KorZcfState : public test::InScratchFolder {
protected:
    using state_type = typename State::state;
    using state_holder = test::holder<state_type, State::destroy>;

    static state_holder create(uint32_t n)
    {
        return state_holder(State::create(n));
    }
    static state_holder create_null()
    {
        return state_holder(State::create_null());
    }
    static int write_sample(const state_holder &state, int i)
    {
        return State::write_vector(state.get(), sample(i).get());
    }
    static int write_event(const state_holder &state)
    {
        return State::write_event(state.get(), test::fan_fail().get());
    }
    // The version, then each name behind its length.
    static std::string expected_form()
    {
        const std::vector<std::string> all = {"first", "second"};
        const size_t nclosed = State::fields(create_null().get()).size();
        std::string form = bytes("01");
        for (size_t i = 0; i < nclosed; ++i)
            form += test::stored_count(static_cast<uint32_t>(all[i].size())) +
                    all[i];
        return form + bytes("00 00 00 04") + "open";
    }
    static std::string form_of(const state_holder &state)
    {
        return test::stored_by([&state](struct writer *out) {
            return State::write(state.get(), out);
        });
    }
    static int read(const state_holder &state, const std::string &form)
    {
        memory_reader in(form);
        return State::read(state.get(), in.get());
    }
};

using all_states = testing::Types<c00, cc0, ccc, hcc>;
TYPED_TEST_SUITE(KorZcfState, all_states);

TYPED_TEST(KorZcfState, StartsWithAnEmptyOpenBuffer)
{
    const auto state = this->create(4);
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(state->version, 1);
    std::vector<std::string> expected = {"first", "second"};
    expected.resize(TypeParam::fields(state.get()).size());
    expected.push_back("open");
    EXPECT_EQ(TypeParam::names(state.get()), expected);
    EXPECT_EQ(TypeParam::open(state.get())->max_data_records, 4);
    EXPECT_EQ(TypeParam::open(state.get())->size, 0);
    EXPECT_THAT(test::list_folder(), ElementsAre("open"));
}

TYPED_TEST(KorZcfState, NullStateHasNothingButAVersion)
{
    const auto state = this->create_null();
    EXPECT_EQ(state->version, 1);
    EXPECT_EQ(TypeParam::open(state.get()), nullptr);
    for (const char *name : TypeParam::fields(state.get()))
        EXPECT_EQ(name, nullptr);
}

TYPED_TEST(KorZcfState, ForwardsToTheOpenBufferUntilItIsFull)
{
    const auto state = this->create(2);
    EXPECT_EQ(this->write_sample(state, 0), KOR_OK);
    EXPECT_EQ(this->write_event(state), KOR_OK);
    EXPECT_EQ(this->write_sample(state, 1), KOR_OK);
    const std::string full = test::read_file("open");
    EXPECT_EQ(this->write_sample(state, 2), KOR_ERR_FULL);
    EXPECT_EQ(test::read_file("open"), full);
    EXPECT_EQ(this->write_event(state), KOR_OK);
    EXPECT_THAT(test::inflate_streams("open"),
                ElementsAre(test::current_header(2) + test::stored_names +
                                test::stored_sample_0,
                            test::stored_event, test::stored_sample_1,
                            test::stored_event));
}

TYPED_TEST(KorZcfState, StoresItsVersionAndNames)
{
    const auto state = this->create(4);
    EXPECT_EQ(this->form_of(state), this->expected_form());
}

TYPED_TEST(KorZcfState, ReopensWhatItStored)
{
    std::string form;
    {
        const auto state = this->create(4);
        for (int i = 0; i < 3; ++i) this->write_sample(state, i);
        form = this->form_of(state);
    }
    const auto back = this->create_null();
    EXPECT_EQ(this->read(back, form), static_cast<int>(form.size()));
    EXPECT_EQ(TypeParam::open(back.get())->size, 3);
    EXPECT_EQ(this->form_of(back), form);
    EXPECT_EQ(this->write_sample(back, 3), KOR_OK);
    EXPECT_EQ(this->write_sample(back, 4), KOR_ERR_FULL);
}

TYPED_TEST(KorZcfState, AMissingOpenFileLeavesTheNamesRead)
{
    const auto back = this->create_null();
    EXPECT_EQ(this->read(back, this->expected_form()), KOR_ERR_CANNOT_OPEN);
    for (const char *name : TypeParam::fields(back.get()))
        EXPECT_NE(name, nullptr);
    EXPECT_EQ(TypeParam::open(back.get()), nullptr);
}

TYPED_TEST(KorZcfState, CodesOfTheOpenFileComeThrough)
{
    const auto back = this->create_null();
    test::write_streams("open", {test::current_header(4) + test::stored_event});
    EXPECT_EQ(this->read(back, this->expected_form()), KOR_ERR_UNKNOWN_KIND);
}

TYPED_TEST(KorZcfState, AnotherVersionIsRefusedBeforeAnyName)
{
    const auto back = this->create_null();
    memory_reader in(test::with(this->expected_form(), 0, bytes("02")));
    EXPECT_EQ(TypeParam::read(back.get(), in.get()), KOR_ERR_WRONG_VERSION);
    EXPECT_EQ(in.position(), 1u);
}

TYPED_TEST(KorZcfState, EveryCutIsRefused)
{
    this->create(4).reset();
    test::cuts codes = {.when_empty = 0};
    const std::string form = this->expected_form();
    for (size_t at = 1; at < form.size();) {
        codes.string_starts.push_back(at);
        codes.aborting.push_back(at + 4);
        at += 4 + static_cast<unsigned char>(form[at + 3]);
    }
    test::expect_every_cut_is_refused(form, codes, [](struct reader *in) {
        typename TypeParam::state *state = TypeParam::create_null();
        const int nread = TypeParam::read(state, in);
        TypeParam::destroy(&state);
        return nread;
    });
}

TYPED_TEST(KorZcfState, AFailedVersionByteComesThrough)
{
    const auto state = this->create(4);
    memory_writer out;
    out.fail_after(0, KOR_ERR_INFLATE);
    EXPECT_EQ(TypeParam::write(state.get(), out.get()), KOR_ERR_INFLATE);
}

// A failure that is not reported: it is part of the interface.
TYPED_TEST(KorZcfState, ANameThatCannotBeWrittenGivesZero)
{
    const auto state = this->create(4);
    const size_t nnames = TypeParam::names(state.get()).size();
    int calls = 1;
    for (;; ++calls) {
        memory_writer out;
        out.fail_after(calls, KOR_ERR_INFLATE);
        const int result = TypeParam::write(state.get(), out.get());
        if (result != 0) {
            EXPECT_EQ(out.bytes(), this->expected_form());
            break;
        }
    }
    EXPECT_GT(calls, static_cast<int>(nnames));
}

TYPED_TEST(KorZcfState, AFolderThatIsMissingCannotBeWrittenTo)
{
    std::filesystem::remove_all(std::filesystem::current_path());
    EXPECT_EQ(TypeParam::create(4), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

TYPED_TEST(KorZcfState, EveryAllocationFailureWhileCreatingIsClean)
{
    test::expect_every_allocation_failure_is_clean([] {
        typename TypeParam::state *state = TypeParam::create(4);
        if (state == nullptr) return vela_get_last_error();
        TypeParam::destroy(&state);
        return static_cast<int>(KOR_OK);
    });
}

TYPED_TEST(KorZcfState, EveryAllocationFailureWhileReadingIsClean)
{
    {
        const auto state = this->create(4);
        this->write_sample(state, 0);
    }
    const std::string form = this->expected_form();
    test::expect_every_allocation_failure_is_clean([&form] {
        typename TypeParam::state *state = TypeParam::create_null();
        if (state == nullptr) return vela_get_last_error();
        memory_reader in(form);
        const int nread = TypeParam::read(state, in.get());
        TypeParam::destroy(&state);
        EXPECT_EQ(state, nullptr);
        return nread > 0 ? static_cast<int>(KOR_OK) : nread;
    });
}

TYPED_TEST(KorZcfState, DestroyClosesTheOpenFile)
{
    const int before = test::open_descriptors();
    auto *state = TypeParam::create(4);
    EXPECT_EQ(test::open_descriptors(), before + 1);
    TypeParam::destroy(&state);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(test::open_descriptors(), before);
}

// --- aborts ---

template <class State>
class KorZcfStateDeathTest : public KorZcfState<State> {
};
TYPED_TEST_SUITE(KorZcfStateDeathTest, all_states);

// The name of the version constant and of the open buffer's field.
std::string version_of(c00)
{
    return "KOR_ZCF_STATE_C00_VERSION";
}
std::string version_of(cc0)
{
    return "KOR_ZCF_STATE_CC0_VERSION";
}
std::string version_of(ccc)
{
    return "KOR_ZCF_STATE_CCC_VERSION";
}
std::string version_of(hcc)
{
    return "KOR_ZCF_STATE_HCC_VERSION";
}
std::string field_of(c00)
{
    return "state->cbuf != NULL";
}
std::string field_of(cc0)
{
    return "state->cbuf1 != NULL";
}
template <class State>
std::string field_of(State)
{
    return "state->cbuf2 != NULL";
}

#define EXPECT_ABORTS_ON(statement, expression)                               \
    EXPECT_DEATH(statement, testing::HasSubstr("Assertion `" + (expression) + \
                                               "' failed"))

TYPED_TEST(KorZcfStateDeathTest, OnNullArguments)
{
    const auto state = this->create(4);
    auto *const s = state.get();
    typename TypeParam::state *none = nullptr;
    memory_writer out;
    memory_reader in("");
    const test::vector_holder vector = sample(0);
    const test::event_holder event = test::fan_fail();
    EXPECT_ABORTS(TypeParam::destroy(nullptr), "state != NULL");
    EXPECT_ABORTS(TypeParam::destroy(&none), "*state != NULL");
    EXPECT_ABORTS(TypeParam::write_vector(none, vector.get()), "state != NULL");
    EXPECT_ABORTS(TypeParam::write_vector(s, nullptr), "vector != NULL");
    EXPECT_ABORTS(TypeParam::write_event(none, event.get()), "state != NULL");
    EXPECT_ABORTS(TypeParam::write_event(s, nullptr), "event != NULL");
    EXPECT_ABORTS(TypeParam::write(none, out.get()), "state != NULL");
    EXPECT_ABORTS(TypeParam::write(s, nullptr), "writer != NULL");
    EXPECT_ABORTS(TypeParam::read(none, in.get()), "state != NULL");
    EXPECT_ABORTS(TypeParam::read(s, nullptr), "reader != NULL");
    EXPECT_ABORTS(TypeParam::names(none), "state != NULL");
    EXPECT_ABORTS(TypeParam::create(0), "num_cb_samples > 0");
}

TYPED_TEST(KorZcfStateDeathTest, OnAWrongVersion)
{
    const auto state = this->create(4);
    auto *s = state.get();
    s->version = 2;
    memory_writer out;
    memory_reader in("");
    const std::string version = version_of(TypeParam());
    const std::string equal = "state->version == " + version;
    const test::vector_holder vector = sample(0);
    const test::event_holder event = test::fan_fail();
    EXPECT_ABORTS_ON(TypeParam::destroy(&s), "(*state)->version == " + version);
    EXPECT_ABORTS_ON(TypeParam::write_vector(s, vector.get()), equal);
    EXPECT_ABORTS_ON(TypeParam::write_event(s, event.get()), equal);
    EXPECT_ABORTS_ON(TypeParam::names(s), equal);
    EXPECT_ABORTS(TypeParam::write(s, out.get()), "state->version == 1");
    EXPECT_ABORTS(TypeParam::read(s, in.get()), "state->version == 1");
    s->version = 1;
}

TYPED_TEST(KorZcfStateDeathTest, OnAMissingOpenBuffer)
{
    const auto state = this->create_null();
    const test::vector_holder vector = sample(0);
    const test::event_holder event = test::fan_fail();
    const std::string field = field_of(TypeParam());
    EXPECT_ABORTS_ON(TypeParam::write_vector(state.get(), vector.get()), field);
    EXPECT_ABORTS_ON(TypeParam::write_event(state.get(), event.get()), field);
}

class KorZcfStateNamesDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(
    KorZcfStateNamesDeathTest,
    {"C00WithoutName", "filename != NULL",
     [] {
         kor_zcf_state_c00_create(nullptr, 4);
     }},
    {"CC0WithoutFirst", "cbuf0_filename != NULL",
     [] {
         kor_zcf_state_cc0_create(nullptr, "b", 4);
     }},
    {"CC0WithoutSecond", "cbuf1_filename != NULL",
     [] {
         kor_zcf_state_cc0_create("a", nullptr, 4);
     }},
    {"CCCWithoutFirst", "cbuf0_filename != NULL",
     [] {
         kor_zcf_state_ccc_create(nullptr, "b", "c", 4);
     }},
    {"CCCWithoutSecond", "cbuf1_filename != NULL",
     [] {
         kor_zcf_state_ccc_create("a", nullptr, "c", 4);
     }},
    {"CCCWithoutThird", "cbuf2_filename != NULL",
     [] {
         kor_zcf_state_ccc_create("a", "b", nullptr, 4);
     }},
    {"HCCWithoutHistory", "hbuf_filename != NULL",
     [] {
         kor_zcf_state_hcc_create(nullptr, "b", "c", 4);
     }},
    {"HCCWithoutSecond", "cbuf1_filename != NULL",
     [] {
         kor_zcf_state_hcc_create("a", nullptr, "c", 4);
     }},
    {"HCCWithoutThird", "cbuf2_filename != NULL",
     [] {
         kor_zcf_state_hcc_create("a", "b", nullptr, 4);
     }},
    {"C00NullName", "state->cbuf != NULL",
     [] {
         kor_zcf_state_c00_get_filename(kor_zcf_state_c00_create_null());
     }},
    {"CC0NullFirst", "state->cbuf0_filename != NULL",
     [] {
         kor_zcf_state_cc0_get_cbuf0_filename(kor_zcf_state_cc0_create_null());
     }},
    {"CC0NullSecond", "state->cbuf1 != NULL",
     [] {
         kor_zcf_state_cc0_get_cbuf1_filename(kor_zcf_state_cc0_create_null());
     }},
    {"CCCNullFirst", "state->cbuf0_filename != NULL",
     [] {
         kor_zcf_state_ccc_get_cbuf0_filename(kor_zcf_state_ccc_create_null());
     }},
    {"CCCNullSecond", "state->cbuf1_filename != NULL",
     [] {
         kor_zcf_state_ccc_get_cbuf1_filename(kor_zcf_state_ccc_create_null());
     }},
    {"CCCNullThird", "state->cbuf2 != NULL",
     [] {
         kor_zcf_state_ccc_get_cbuf2_filename(kor_zcf_state_ccc_create_null());
     }},
    {"HCCNullHistory", "state->hbuf_filename != NULL",
     [] {
         kor_zcf_state_hcc_get_hbuf_filename(kor_zcf_state_hcc_create_null());
     }},
    {"HCCNullSecond", "state->cbuf1_filename != NULL",
     [] {
         kor_zcf_state_hcc_get_cbuf1_filename(kor_zcf_state_hcc_create_null());
     }},
    {"HCCNullThird", "state->cbuf2 != NULL", [] {
         kor_zcf_state_hcc_get_cbuf2_filename(kor_zcf_state_hcc_create_null());
     }});

}  // namespace
