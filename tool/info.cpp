// info.cpp: kor info: what a recorder or a buffer file holds.
#include <fmt/core.h>

#include <nlohmann/json.hpp>

#include "kor_buffer.h"
#include "messages.hpp"
#include "output.hpp"
#include "playback.hpp"
#include "selection.hpp"
#include "summary.hpp"
#include "verbs.hpp"

namespace tool {

namespace {

using json = nlohmann::ordered_json;

json to_json(const file_summary &f, zone z)
{
    json j = {{"filename", f.filename}, {"kind", kind_name(f.kind)},
              {"size", f.size},         {"capacity", f.capacity},
              {"samples", f.samples},   {"intervals", f.intervals},
              {"events", f.events},     {"missing", f.missing}};
    j["damaged_places"] = f.damaged_places;
    j["damaged_bytes"] = f.damaged_bytes;
    j["first"] = f.span ? json(to_text(f.span->first, z)) : json();
    j["last"] = f.span ? json(to_text(f.span->last, z)) : json();
    return j;
}

json recorder_json(const summary &s)
{
    return {{"state_file_intact", !s.lost_state},
            {"state", state_name(s.info.state)},
            {"samples_per_buffer", s.info.num_cb_samples},
            {"intervals_per_buffer", s.info.num_hb_intervals},
            {"next_file_number", s.info.next_file_number}};
}

json events_json(const summary &s)
{
    json j = json::object();
    for (uint32_t type = 1; type <= event_types; type++) {
        j[std::to_string(type)] = s.events_by_type[type];
    }
    j["other"] = s.events_by_type[0];
    j["counted_in_intervals"] = s.counted_events;
    return j;
}

json to_json(const info_options &o, const summary &s, zone z)
{
    json j = {{"name", o.name}};
    j["recorder"] = s.info.is_recorder ? recorder_json(s) : json();
    j["files"] = json::array();
    for (const file_summary &f : s.files) j["files"].push_back(to_json(f, z));
    j["sensors"] = json::array();
    for (const auto &[name, readings] : s.readings) {
        j["sensors"].push_back({{"name", name}, {"readings", readings}});
    }
    j["events"] = events_json(s);
    j["period"] = s.period;
    j["clock_steps_back"] = s.clock_steps_back;
    j["gaps"] = json::array();
    for (const time_step &g : s.gaps) {
        j["gaps"].push_back(
            {{"from", to_text(g.from, z)}, {"to", to_text(g.to, z)}});
    }
    j["damage"] = json::array();
    for (const damaged_place &d : s.damage) {
        j["damage"].push_back({{"filename", d.filename},
                               {"offset", d.offset},
                               {"length", d.length}});
    }
    return j;
}

void print_files(output &out, const summary &s, zone z)
{
    out.write("files:\n");
    for (const file_summary &f : s.files) {
        std::string line = fmt::format(
            "  {}: {}", printable(f.filename),
            f.missing ? "missing" : fmt::format("{} bytes", f.size));
        if (f.kind == KOR_BUFFER_TYPE_CURRENT) {
            line += fmt::format(", {} of {} samples", f.samples, f.capacity);
        } else if (f.kind == KOR_BUFFER_TYPE_HIST) {
            line +=
                fmt::format(", {} of {} intervals", f.intervals, f.capacity);
        }
        if (f.events > 0) line += fmt::format(", {} events", f.events);
        if (f.span) {
            line += fmt::format(", {} to {}", to_text(f.span->first, z),
                                to_text(f.span->last, z));
        }
        out.write(line + '\n');
    }
}

void print_events(output &out, const summary &s)
{
    out.write("events:");
    uint64_t total = 0;
    for (uint32_t type = 0; type <= event_types; type++) {
        const uint64_t n = s.events_by_type[type];
        total += n;
        const std::string name = type ? std::to_string(type) : "unknown";
        if (n > 0) out.write(fmt::format(" {} of type {},", n, name));
    }
    out.write(total == 0 ? " none\n"
                         : fmt::format(" {} in all, {} of them by number "
                                       "only\n",
                                       total, s.counted_events));
}

void print_gaps(output &out, const summary &s, zone z)
{
    if (s.period > 0) {
        out.write(fmt::format("period: {}\n", to_duration(s.period)));
    }
    for (const time_step &g : s.gaps) {
        out.write(fmt::format("gap: {} to {}, {}\n", to_text(g.from, z),
                              to_text(g.to, z), to_duration(g.to - g.from)));
    }
    if (s.clock_steps_back > 0) {
        out.write(
            fmt::format("the clock ran back {} times\n", s.clock_steps_back));
    }
}

void print_text(output &out, const info_options &o, const summary &s, zone z)
{
    out.write(printable(o.name) + "\n");
    if (s.info.is_recorder) {
        out.write(fmt::format("state: {}{}\n", state_name(s.info.state),
                              s.lost_state ? ", the state file is missing or "
                                             "damaged"
                                           : ""));
        out.write(fmt::format(
            "parameters: {} samples a buffer, summarised into {} intervals\n",
            s.info.num_cb_samples, s.info.num_hb_intervals));
    }
    print_files(out, s, z);
    out.write(fmt::format("sensors: {}\n", s.readings.size()));
    for (const auto &[name, readings] : s.readings) {
        out.write(
            fmt::format("  {}: {} readings\n", printable(name), readings));
    }
    print_events(out, s);
    print_gaps(out, s, z);
    for (const damaged_place &d : s.damage) {
        if (d.length == 0) continue;  // listed as missing
        out.write(fmt::format("damage: {}:{}: {} bytes\n",
                              printable(d.filename), d.offset, d.length));
    }
}

}  // namespace

exit_status run_info(const info_options &o)
{
    playback source(o.name);
    const summary s = summarise(source);
    const zone z = o.zone.utc ? zone::utc : zone::local;
    output out("");
    if (o.as_json) {
        constexpr int indent = 2;
        out.write(to_json(o, s, z).dump(indent, ' ', false,
                                        json::error_handler_t::replace) +
                  '\n');
    } else {
        print_text(out, o, s, z);
    }
    out.finish();
    return s.is_whole() ? exit_status::done : exit_status::incomplete;
}

}  // namespace tool
