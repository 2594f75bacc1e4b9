// selection.hpp: the part of a recording that is asked for.
#ifndef KOR_TOOL_SELECTION_HPP
#define KOR_TOOL_SELECTION_HPP

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "playback.hpp"
#include "times.hpp"

namespace tool {

// The options as they are given.
struct zone_options {
    bool utc = false;
    bool local = false;
};
struct selection_options {
    std::string since;
    std::string until;
    std::vector<std::string> sensors;
    zone_options zone;
};

class selection {
public:
    // Throws a failure of wrong usage for a time that cannot be read.
    explicit selection(const selection_options &o);

    zone times() const { return zone_; }

    // Whether the item lies in the span.  Intervals that overlap it do.
    bool holds(const kor_playback_item &item) const;

    // Takes note of the sensors in force.
    void use_sensors(const kor_playback_item &item);
    // The columns that are asked for.
    const std::vector<uint32_t> &columns() const { return columns_; }

private:
    zone zone_;
    int64_t since_ = std::numeric_limits<int64_t>::min();
    int64_t until_ = std::numeric_limits<int64_t>::max();
    std::vector<std::string> globs_;
    std::vector<uint32_t> columns_;
};

}  // namespace tool

#endif
