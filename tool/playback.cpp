// playback.cpp: what a recorder or a buffer file holds, as recorded.
#include "playback.hpp"

#include <fmt/core.h>

#include "error.h"
#include "exit_status.hpp"
#include "kor.h"
#include "kor_buffer.h"
#include "messages.hpp"
#include "recorder_files.hpp"

namespace tool {

playback::playback(const std::string &name)
    : name_(name),
      playback_(name.empty() ? nullptr : kor_playback_open(name.c_str()))
{
    if (playback_) return;
    if (name.empty()) throw failure("the name of a recorder cannot be empty");
    const int code = vela_get_last_error();
    const auto refusal = find_refusal(name, file_use::reading);
    const bool is_none = code == KOR_ERR_CANNOT_OPEN && !refusal;
    throw failure(
        fmt::format("{}: {}", printable(name),
                    is_none ? "no recorder and no buffer file"
                            : explain_failure(name, code, file_use::reading)));
}

bool playback::next(kor_playback_item &item)
{
    const int rc = kor_playback_next(playback_.get(), &item);
    if (rc < 0) {
        throw failure(fmt::format("{}: {}", printable(name_), describe(rc)));
    }
    return rc > 0;
}

kor_playback_info playback::info() const
{
    kor_playback_info info = {};
    kor_playback_get_info(playback_.get(), &info);
    return info;
}

std::vector<kor_playback_file> playback::files() const
{
    std::vector<kor_playback_file> all(info().nfiles);
    for (uint32_t i = 0; i < all.size(); i++) {
        kor_playback_get_file(playback_.get(), i, &all[i]);
    }
    return all;
}

bool playback::has_lost_state() const
{
    const kor_playback_info about = info();
    return about.is_recorder && !about.state_intact;
}

void report_lost_state(const playback &recorder)
{
    complain(
        fmt::format("{}.state: missing or damaged; the files are taken "
                    "as they are found",
                    printable(recorder.name())));
}

void report_damage(const kor_playback_item &item)
{
    if (item.length == 0) {
        complain(fmt::format("{}: missing", printable(item.filename)));
        return;
    }
    complain_at(
        item.filename, item.offset,
        fmt::format("{} bytes that hold no readable record", item.length));
}

std::string_view state_name(uint32_t state)
{
    switch (state) {
        case KOR_ZCF_STATE_C00:
            return "C00";
        case KOR_ZCF_STATE_CC0:
            return "CC0";
        case KOR_ZCF_STATE_CCC:
            return "CCC";
        case KOR_ZCF_STATE_HCC:
            return "HCC";
        default:
            return "unknown";
    }
}

std::string_view kind_name(uint32_t buffer_kind)
{
    switch (buffer_kind) {
        case KOR_BUFFER_TYPE_CURRENT:
            return "current";
        case KOR_BUFFER_TYPE_HIST:
            return "history";
        default:
            return "unknown";
    }
}

uint32_t events_of_type(const kor_hb_record_events &events, uint32_t type)
{
    const uint32_t by_type[event_types] = {events.n_type1, events.n_type2,
                                           events.n_type3, events.n_type4,
                                           events.n_type5};
    return by_type[type - 1];
}

}  // namespace tool
