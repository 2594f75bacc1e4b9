// live_set.hpp: which files make up a recorder.
//
// The state file decides where it and the files agree.  Where it is torn,
// missing or behind, the files tell by themselves what had been completed:
//
//  - A new current buffer takes a record only after the fold before it is
//    complete, so records above a history prove the history.
//  - The sources of a fold are removed only after the new state was saved, so
//    a source that is gone proves the history, too.
//  - If neither holds, all sources are there, and going back to them loses
//    nothing.
//
// Numbers only grow, so the highest buffer with records below a history is the
// full one that was not folded into it.
#ifndef KOR_RECORDER_LIVE_SET_HPP
#define KOR_RECORDER_LIVE_SET_HPP

#include <cstdint>

#include "recorder/recorder_files.hpp"
#include "recorder/state_file.hpp"

namespace vela {

// All that is known before anything is decided.
struct recorder_findings {
    base_name base;
    read_state stored;
    folder_listing listing;
    uint32_t num_cb_samples = 0;  // 0: not known
    uint32_t num_hb_intervals = 0;
};

struct live_file {
    buffer_id id;
    const recorder_file *found;  // null: there is no such file
};

struct live_set {
    uint32_t state = 0;
    live_file files[max_live_files] = {};
    // The history has lost intervals, and these two can be folded again.
    bool fold_again = false;
    const recorder_file *sources[2] = {};

    uint32_t nfiles() const noexcept { return number_of_files(state); }
    bool holds(const buffer_id &id) const noexcept;
};

// Reads the state file, lists and scans the files, and settles the parameters:
// those on the disk, or else the given ones.
int find_recorder(const char *filename, uint32_t num_cb_samples,
                  uint32_t num_hb_intervals,
                  recorder_findings *findings) noexcept;

// Returns 0, KOR_ERR_END_OF_STREAM when nothing was recorded,
// KOR_ERR_INVALID_DATA when it cannot be decided, or another negative code.
int choose_live_set(const recorder_findings &findings, live_set *live) noexcept;

// Whether the header of a file, as far as it is known, agrees with the
// parameters and with the file's name.
bool fits(const recorder_findings &findings,
          const recorder_file &file) noexcept;

}  // namespace vela

#endif
