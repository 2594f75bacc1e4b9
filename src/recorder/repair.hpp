// repair.hpp: making one live file whole.
#ifndef KOR_RECORDER_REPAIR_HPP
#define KOR_RECORDER_REPAIR_HPP

#include <cstdint>

#include "recorder/live_set.hpp"

namespace vela {

// What a live file needs, in this order.
struct file_repair {
    bool fold_again = false;  // made anew from its sources
    bool create = false;      // made anew, empty
    bool rewrite = false;     // copied without its damaged parts
    bool cut = false;         // torn tail
    uint32_t padding = 0;     // empty values to add at its end

    bool is_needed() const noexcept
    {
        return fold_again || create || rewrite || cut || padding > 0;
    }
};

// Changes nothing.  Returns 0 or a negative code.
int plan_repair(const recorder_findings &findings, const live_set &live,
                uint32_t i, file_repair *repair) noexcept;

// Every change is one step that leaves a sound file behind.
int apply_repair(const recorder_findings &findings, const live_set &live,
                 uint32_t i, const file_repair &repair) noexcept;

}  // namespace vela

#endif
