// state_file.hpp: a recorder's state file, read without trusting a byte of it.
#ifndef KOR_RECORDER_STATE_FILE_HPP
#define KOR_RECORDER_STATE_FILE_HPP

#include <cstdint>

#include "common/lifecycle.hpp"
#include "io/memory_writer.hpp"
#include "recorder/recorder_files.hpp"
#include "recorder/scanned_record.hpp"

namespace vela {

inline constexpr uint32_t max_live_files = 3;

// How many live files a state has: the open buffer is the last of them.
uint32_t number_of_files(uint32_t state) noexcept;
// The kind of the i-th of them.
uint32_t kind_of_slot(uint32_t state, uint32_t i) noexcept;

// Fields that did not come through are zero.
struct stored_state {
    bool present = false;   // there is such a file
    bool complete = false;  // all fields came through and make sense
    heap<char> filename;
    uint32_t state = 0;
    uint32_t num_cb_samples = 0;
    uint32_t num_hb_intervals = 0;
    uint32_t next_file_number = 0;
    buffer_id files[max_live_files];  // when complete

    uint32_t nfiles() const noexcept { return number_of_files(state); }
    const buffer_id &open_file() const noexcept { return files[nfiles() - 1]; }
    bool names(const buffer_id &id) const noexcept;
};

// The content of the state file, and what it means.
struct read_state {
    stored_bytes bytes;
    stored_state state;
};

// Whether these can be the parameters of a recorder.
bool are_parameters(uint32_t num_cb_samples,
                    uint32_t num_hb_intervals) noexcept;

// Returns 0 whatever the file holds, or a negative code when it is there and
// cannot be read.
int read_state_file(const base_name &base, read_state *read) noexcept;

// The bytes of a state file.  `spelling` is the base name to use in them.
struct state_content {
    const char *spelling;
    uint32_t state;
    uint32_t num_cb_samples;
    uint32_t num_hb_intervals;
    uint32_t next_file_number;
    const buffer_id *files;
};
int compose_state(const state_content &content, memory_writer *state) noexcept;

}  // namespace vela

#endif
