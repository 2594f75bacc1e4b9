// selection.cpp: the part of a recording that is asked for.
#include "selection.hpp"

#include <fmt/core.h>
#include <fnmatch.h>

#include <algorithm>
#include <ctime>

#include "exit_status.hpp"
#include "messages.hpp"

namespace tool {

namespace {

int64_t to_time(const std::string &text, zone z)
{
    const auto time = time_from_text(text, z, std::time(nullptr));
    if (time) return *time;
    throw failure(fmt::format("not a time: {}; give RFC 3339, seconds since "
                              "the epoch, or a distance back like -1h",
                              in_quotes(text)),
                  exit_status::wrong_usage);
}

}  // namespace

selection::selection(const selection_options &o)
    : zone_(o.zone.utc ? zone::utc : zone::local), globs_(o.sensors)
{
    if (!o.since.empty()) since_ = to_time(o.since, zone_);
    if (!o.until.empty()) until_ = to_time(o.until, zone_);
}

bool selection::holds(const kor_playback_item &item) const
{
    return item.end.tv.tv_sec >= since_ && item.start.tv.tv_sec <= until_;
}

void selection::use_sensors(const kor_playback_item &item)
{
    columns_.clear();
    for (uint32_t i = 0; i < item.n_sensors; i++) {
        const auto matches = [&](const std::string &glob) {
            return fnmatch(glob.c_str(), item.names[i], 0) == 0;
        };
        if (globs_.empty() ||
            std::any_of(globs_.begin(), globs_.end(), matches)) {
            columns_.push_back(i);
        }
    }
}

}  // namespace tool
