// recovery.cpp: what recovery did, or would do.
#include "recovery.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <span>

namespace tool {

recovery recover(const std::string &base, uint32_t samples, uint32_t intervals,
                 recovery_mode mode)
{
    const uint32_t flags =
        mode == recovery_mode::dry_run ? KOR_RECOVER_DRY_RUN : 0;
    kor_recovery_report *report = nullptr;
    const int code =
        kor_recover_report(base.c_str(), samples, intervals, flags, &report);
    return {code, recovery_report(report)};
}

std::string_view action_name(uint32_t action)
{
    switch (action) {
        case KOR_RECOVERY_KEPT:
            return "kept";
        case KOR_RECOVERY_CUT:
            return "cut";
        case KOR_RECOVERY_REWRITTEN:
            return "rewritten";
        case KOR_RECOVERY_PADDED:
            return "padded";
        case KOR_RECOVERY_CREATED:
            return "created";
        case KOR_RECOVERY_REMOVED:
            return "removed";
        case KOR_RECOVERY_ORPHANED:
            return "orphaned";
        case KOR_RECOVERY_MISSING:
            return "missing";
        default:
            return "unknown";
    }
}

std::string describe(const kor_recovery_file &file)
{
    std::string text(action_name(file.action));
    text += fmt::format(", {} records", file.records_kept);
    if (file.bytes_cut > 0) {
        text += fmt::format(", {} bytes of an incomplete tail cut off",
                            file.bytes_cut);
    }
    if (file.gaps > 0) {
        text += fmt::format(", {} damaged places of {} bytes left out",
                            file.gaps, file.bytes_damaged);
    }
    if (file.records_padded > 0) {
        text += fmt::format(", {} empty records added", file.records_padded);
    }
    return text;
}

bool has_losses(const kor_recovery_report &report)
{
    const std::span files(report.files, report.nfiles);
    return std::any_of(files.begin(), files.end(), [](const auto &f) {
        return f.bytes_cut > 0 || f.gaps > 0 || f.records_padded > 0 ||
               f.action == KOR_RECOVERY_MISSING;
    });
}

}  // namespace tool
