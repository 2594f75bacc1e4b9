// playback.hpp: what a recorder or a buffer file holds, as recorded.
#ifndef KOR_TOOL_PLAYBACK_HPP
#define KOR_TOOL_PLAYBACK_HPP

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kor_playback.h"
#include "owned.hpp"

namespace tool {

class playback {
public:
    // A base name or a buffer file.  Throws a failure when there is nothing
    // to open.
    explicit playback(const std::string &name);

    // The next item; false at the end.
    bool next(kor_playback_item &item);

    kor_playback_info info() const;
    std::vector<kor_playback_file> files() const;
    const std::string &name() const { return name_; }

    // Whether a recorder's files had to be found without its state file.
    bool has_lost_state() const;

private:
    std::string name_;
    owned<kor_playback_close> playback_;
};

// What was lost, on standard error.
void report_lost_state(const playback &recorder);
void report_damage(const kor_playback_item &item);

// Names for codes: "HCC", "current buffer".
std::string_view state_name(uint32_t state);
std::string_view kind_name(uint32_t buffer_kind);

// Events of an interval by their type, from 1 on.
constexpr uint32_t event_types = 5;
uint32_t events_of_type(const kor_hb_record_events &events, uint32_t type);

}  // namespace tool

#endif
