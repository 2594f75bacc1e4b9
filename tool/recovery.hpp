// recovery.hpp: what recovery did, or would do.
#ifndef KOR_TOOL_RECOVERY_HPP
#define KOR_TOOL_RECOVERY_HPP

#include <cstdint>
#include <string>
#include <string_view>

#include "kor_recover.h"
#include "owned.hpp"

namespace tool {

using recovery_report = owned<kor_recovery_report_destroy>;

enum class recovery_mode { repair, dry_run };

struct recovery {
    int code;                // KOR_RECOVER_* or a negative code
    recovery_report report;  // null for a negative code
};

// Zero parameters: not known.
recovery recover(const std::string &base, uint32_t samples, uint32_t intervals,
                 recovery_mode mode);

std::string_view action_name(uint32_t action);

// "cut: 17 bytes of an incomplete tail"; empty for a file that is kept.
std::string describe(const kor_recovery_file &file);

// Whether anything that was recorded, or meant to be, is gone.
bool has_losses(const kor_recovery_report &report);

}  // namespace tool

#endif
