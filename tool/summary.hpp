// summary.hpp: what a whole playback comes to.
#ifndef KOR_TOOL_SUMMARY_HPP
#define KOR_TOOL_SUMMARY_HPP

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "playback.hpp"

namespace tool {

struct time_span {
    int64_t first;
    int64_t last;
};

// A place in a file that holds no readable record.
struct damaged_place {
    std::string filename;
    uint64_t offset;
    uint64_t length;  // 0: the whole file is missing
};

struct file_summary {
    std::string filename;
    uint32_t kind = 0;
    uint32_t capacity = 0;
    uint64_t size = 0;
    bool missing = false;
    uint64_t samples = 0;
    uint64_t intervals = 0;
    uint64_t events = 0;
    uint64_t damaged_places = 0;
    uint64_t damaged_bytes = 0;
    std::optional<time_span> span;  // of its samples or intervals
};

// A stretch of time in which samples are missing, or a clock that ran back.
struct time_step {
    int64_t from;
    int64_t to;
};

struct summary {
    kor_playback_info info = {};
    bool lost_state = false;
    std::vector<file_summary> files;
    std::map<std::string, uint64_t> readings;       // valid ones, by sensor
    uint64_t events_by_type[event_types + 1] = {};  // 0: of any other type
    uint64_t counted_events = 0;  // of the former, known by number only
    int64_t period = 0;           // the usual step between samples; 0: none
    std::vector<damaged_place> damage;
    uint64_t ndamage = 0;
    std::vector<time_step> gaps;  // the longest, in order of time
    uint64_t clock_steps_back = 0;

    bool is_whole() const { return !lost_state && ndamage == 0; }
};

// Reads the playback to its end.
summary summarise(playback &source);

}  // namespace tool

#endif
