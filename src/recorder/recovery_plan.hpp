// recovery_plan.hpp: all that a recovery will do, settled before it begins.
#ifndef KOR_RECORDER_RECOVERY_PLAN_HPP
#define KOR_RECORDER_RECOVERY_PLAN_HPP

#include <cstdint>

#include "recorder/live_set.hpp"
#include "recorder/repair.hpp"

namespace vela {

// A file that is not live.
struct leftover {
    const recorder_file *file;
    bool is_removed;      // or else set aside
    bool is_uncommitted;  // a history that was never part of the recorder
};

struct recovery_plan {
    recorder_findings findings;
    live_set live;
    file_repair repairs[max_live_files];
    growable<leftover> leftovers;  // in the order in which they are dealt with
    uint32_t next_file_number = 0;
    memory_writer state;  // the state file as it must be
    bool is_state_wrong = false;

    bool changes_anything() const noexcept;
};

// Changes nothing.  `resumes`: the recorder is to go on under this name.
// Returns 0 or a negative code of kor_recover.
int plan_recovery(const char *filename, uint32_t num_cb_samples,
                  uint32_t num_hb_intervals, bool resumes,
                  recovery_plan *plan) noexcept;

// Does it.  It can be killed at any point and planned and done again.
int carry_out(const recovery_plan &plan) noexcept;

// Sets a file aside under the first free name of NAME.orphan, NAME.orphan.2
// and so on.
int set_aside(const char *path) noexcept;

}  // namespace vela

#endif
