// zcf_state.hpp: the body of the four storage states.
//
// A storage state is a version, the names of its closed files and one open
// current buffer.  C00, CC0, CCC and HCC differ in how many names there are
// and what the fields are called, so each is one instantiation:
//
//     using hcc = vela::zcf_state<kor_zcf_state_hcc, 1,
//                                &kor_zcf_state_hcc::cbuf2,
//                                &kor_zcf_state_hcc::hbuf_filename,
//                                &kor_zcf_state_hcc::cbuf1_filename>;
#ifndef KOR_RECORDER_ZCF_STATE_HPP
#define KOR_RECORDER_ZCF_STATE_HPP

#include <cstdlib>
#include <cstring>

#include "io/codec.hpp"
#include "error.h"
#include "common/lifecycle.hpp"

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
        state.get()->*Open = kor_current_buffer_create(open, capacity);
        return state.get()->*Open != nullptr ? state.release() : nullptr;
    }

    static int write(const State &state, struct writer *out) noexcept
    {
        encoder version(out);
        version.bytes(&state.version, state.version);
        if (!version.ok()) return version.result();

        encoder names(out);
        (names.string(state.*Names), ...);
        names.string(kor_current_buffer_get_filename(state.*Open));
        // Part of the interface: a name that cannot be written reports 0.
        return names.ok() ? version.result() + names.result() : 0;
    }

    static int read(State &state, struct reader *in) noexcept
    {
        decoder archive(in);
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
};

}  // namespace vela

#endif
