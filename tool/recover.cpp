// recover.cpp: kor recover: repairs a recorder after a crash or damage.
#include <fmt/core.h>

#include <nlohmann/json.hpp>

#include "error.h"
#include "messages.hpp"
#include "output.hpp"
#include "playback.hpp"
#include "recorder_files.hpp"
#include "recording.hpp"
#include "recovery.hpp"
#include "verbs.hpp"

namespace tool {

namespace {

using json = nlohmann::ordered_json;

json to_json(const kor_recovery_file &f)
{
    return {{"filename", f.filename},
            {"action", action_name(f.action)},
            {"records_kept", f.records_kept},
            {"records_padded", f.records_padded},
            {"gaps", f.gaps},
            {"bytes_cut", f.bytes_cut},
            {"bytes_damaged", f.bytes_damaged}};
}

json to_json(const recover_options &o, const recovery &r)
{
    json j = {{"name", o.base},
              {"dry_run", o.dry_run},
              {"repaired", r.code == KOR_RECOVER_REPAIRED},
              {"losses", has_losses(*r.report)},
              {"state", state_name(r.report->state)},
              {"samples_per_buffer", r.report->num_cb_samples},
              {"intervals_per_buffer", r.report->num_hb_intervals},
              {"next_file_number", r.report->next_file_number},
              {"state_file_rebuilt", r.report->state_file_rebuilt != 0}};
    j["files"] = json::array();
    for (uint32_t i = 0; i < r.report->nfiles; i++) {
        j["files"].push_back(to_json(r.report->files[i]));
    }
    return j;
}

void print_text(output &out, const recover_options &o, const recovery &r)
{
    const char *nothing = o.dry_run ? "nothing to repair" : "nothing repaired";
    const char *repaired = o.dry_run ? "would be repaired" : "repaired";
    out.write(fmt::format("{}: {}, state {}\n", printable(o.base),
                          r.code == KOR_RECOVER_REPAIRED ? repaired : nothing,
                          state_name(r.report->state)));
    if (r.report->state_file_rebuilt) {
        out.write(fmt::format("  {}.state: rebuilt\n", printable(o.base)));
    }
    for (uint32_t i = 0; i < r.report->nfiles; i++) {
        const kor_recovery_file &f = r.report->files[i];
        out.write(
            fmt::format("  {}: {}\n", printable(f.filename), describe(f)));
    }
}

exit_status explain(const recover_options &o, int code)
{
    if (code == KOR_ERR_END_OF_STREAM) {
        complain(fmt::format("{}: nothing was recorded", printable(o.base)));
        return exit_status::nothing;
    }
    const file_use use = o.dry_run ? file_use::reading : file_use::writing;
    std::string text = fmt::format("{}: {}", printable(o.base),
                                   explain_failure(o.base, code, use));
    if (code == KOR_ERR_INVALID_DATA) {
        text += o.parameters.samples == 0
                    ? "; the parameters may be lost: give --samples and "
                      "--intervals"
                    : "; these cannot be the files of one recorder";
    }
    complain(text);
    return exit_status::failed;
}

}  // namespace

exit_status run_recover(const recover_options &o)
{
    check_base_name(o.base);
    const bool some = o.parameters.samples > 0 || o.parameters.intervals > 0;
    if (some) check_parameters(o.parameters);
    const recovery r =
        recover(o.base, o.parameters.samples, o.parameters.intervals,
                o.dry_run ? recovery_mode::dry_run : recovery_mode::repair);
    if (!r.report) return explain(o, r.code);
    output out("");
    if (o.as_json) {
        constexpr int indent = 2;
        out.write(to_json(o, r).dump(indent, ' ', false,
                                     json::error_handler_t::replace) +
                  '\n');
    } else {
        print_text(out, o, r);
    }
    out.finish();
    return has_losses(*r.report) ? exit_status::incomplete : exit_status::done;
}

}  // namespace tool
