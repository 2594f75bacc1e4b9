// selection.cpp: the part of a recording that is asked for.
#include "selection.hpp"

#include <fmt/format.h>
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

void add_zone_options(CLI::App &verb, bool &utc, bool &local)
{
    CLI::Option *in_utc = verb.add_flag("--utc", utc, "Times in UTC");
    verb.add_flag("--local", local, "Times in local time (default)")
        ->excludes(in_utc);
}

void add_selection_options(CLI::App &verb, selection_options &o)
{
    verb.add_option("-S,--since", o.since, "Nothing older than this time");
    verb.add_option("-E,--until", o.until, "Nothing newer than this time");
    verb.add_option("--sensor", o.sensors,
                    "Only sensors whose names match the pattern")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    add_zone_options(verb, o.utc, o.local);
}

selection::selection(const selection_options &o)
    : zone_(o.utc ? zone::utc : zone::local), globs_(o.sensors)
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
