// state_form.hpp: what a state file holds in front of the file names.
#ifndef KOR_RECORDER_STATE_FORM_HPP
#define KOR_RECORDER_STATE_FORM_HPP

#include <cstdint>

#include "kor.h"

namespace vela {

// `head` has the fields of a recorder, or is one.  `check` is told, field by
// field, whether they make sense.  Whether num_hb_intervals is even is not
// asked, unlike in kor_create; that is part of the interface.
inline constexpr auto state_head_form = [](auto &archive, auto &head,
                                           auto &state, auto check) {
    archive.version(head.version, KOR_VERSION);
    archive.string(head.filename);
    archive.string(head.state_filename);
    archive.u32(state);
    archive.u32(head.num_cb_samples);
    const uint32_t samples = head.num_cb_samples;
    check(samples != 0 && samples % 2 == 0);
    archive.u32(head.num_hb_intervals);
    const uint32_t intervals = head.num_hb_intervals;
    check(intervals != 0 && samples % intervals == 0);
    archive.u32(head.num_samples_per_interval);
    check(intervals != 0 &&
          head.num_samples_per_interval == samples / intervals);
    archive.u32(head.next_file_number);
};

// The fields themselves; `Text` is a char pointer.
template <class Text>
struct state_head {
    uint8_t version = KOR_VERSION;
    Text filename = nullptr;
    Text state_filename = nullptr;
    uint32_t num_cb_samples = 0;
    uint32_t num_hb_intervals = 0;
    uint32_t num_samples_per_interval = 0;
    uint32_t next_file_number = 0;
};

}  // namespace vela

#endif
