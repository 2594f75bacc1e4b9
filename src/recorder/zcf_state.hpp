// zcf_state.hpp: the body of the four storage states.
//
// A storage state is a version, the names of its closed files and one open
// current buffer.  C00, CC0, CCC and HCC differ in how many names there are
// and what the fields are called, so each is one instantiation.
#ifndef KOR_RECORDER_ZCF_STATE_HPP
#define KOR_RECORDER_ZCF_STATE_HPP

#include <cstdlib>
#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "io/codec.hpp"
#include "kor_current_buffer.h"
#include "kor_zcf_state_c00.h"
#include "kor_zcf_state_cc0.h"
#include "kor_zcf_state_ccc.h"
#include "kor_zcf_state_hcc.h"

namespace vela {

template <class State, uint8_t Version, auto Open, auto... Names>
struct zcf_state {
    static State *create_null() noexcept
    {
        auto *const state = static_cast<State *>(std::calloc(1, sizeof(State)));
        if (state == nullptr) return fail(KOR_ERR_NO_MEMORY);
        state->version = Version;
        return state;
    }

    static void destroy(State **state) noexcept
    {
        State &s = **state;
        s.version = 0;
        (std::free(s.*Names), ...);
        if (s.*Open != nullptr) kor_current_buffer_close(&(s.*Open));
        std::free(*state);
        *state = nullptr;
    }

    // `open` names the buffer to create; `closed` are the other names, in
    // field order.
    template <class... Closed>
    static State *create(uint32_t capacity, const char *open,
                         Closed... closed) noexcept
    {
        static_assert(sizeof...(Closed) == sizeof...(Names));
        owned<&zcf_state::destroy> state(create_null());
        if (!state) return nullptr;
        const bool copied =
            (((state.get()->*Names = strdup(closed)) != nullptr) && ...);
        if (!copied) return fail(KOR_ERR_NO_MEMORY);
        state.get()->*Open =
            kor_current_buffer_create(open, static_cast<int32_t>(capacity));
        if (state.get()->*Open != nullptr) return state.release();
        KOR_ASSERT(vela_get_last_error() < 0);
        return nullptr;
    }

    // Whether `filename` is one of the state's files.
    static bool has_file(const State &state, const char *filename) noexcept
    {
        return (is_name(state.*Names, filename) || ...) ||
               is_name(kor_current_buffer_get_filename(state.*Open), filename);
    }

    // Part of the interface: the version is written as long as its own value.
    static int write(const State &state, struct writer *writer) noexcept
    {
        encoder version(writer);
        version.bytes(&state.version, state.version);
        if (!version.ok()) return version.result();

        const char *const filename =
            kor_current_buffer_get_filename(state.*Open);
        KOR_ASSERT(filename != NULL);
        encoder names(writer);
        (names.string(state.*Names), ...);
        names.string(filename);
        // Part of the interface: a name that cannot be written reports 0.
        return names.ok() ? version.result() + names.result() : 0;
    }

    // On failure the state keeps what was read, for its owner to destroy.
    static int read(State &state, struct reader *reader) noexcept
    {
        decoder archive(reader);
        archive.version(state.version, Version);
        (archive.string(state.*Names), ...);
        char *open = nullptr;
        archive.string(open);
        const heap<char> open_name(open);
        if (!archive.ok()) return archive.result();
        state.*Open = kor_current_buffer_open_for_append(open_name.get());
        return state.*Open != nullptr ? archive.result()
                                      : vela_get_last_error();
    }

private:
    static bool is_name(const char *name, const char *filename) noexcept
    {
        return std::strcmp(name, filename) == 0;
    }
};

using c00_state = zcf_state<kor_zcf_state_c00, KOR_ZCF_STATE_C00_VERSION,
                            &kor_zcf_state_c00::cbuf>;
using cc0_state =
    zcf_state<kor_zcf_state_cc0, KOR_ZCF_STATE_CC0_VERSION,
              &kor_zcf_state_cc0::cbuf1, &kor_zcf_state_cc0::cbuf0_filename>;
using ccc_state =
    zcf_state<kor_zcf_state_ccc, KOR_ZCF_STATE_CCC_VERSION,
              &kor_zcf_state_ccc::cbuf2, &kor_zcf_state_ccc::cbuf0_filename,
              &kor_zcf_state_ccc::cbuf1_filename>;
using hcc_state =
    zcf_state<kor_zcf_state_hcc, KOR_ZCF_STATE_HCC_VERSION,
              &kor_zcf_state_hcc::cbuf2, &kor_zcf_state_hcc::hbuf_filename,
              &kor_zcf_state_hcc::cbuf1_filename>;

}  // namespace vela

#endif
