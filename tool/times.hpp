// times.hpp: times as people write and read them.
#ifndef KOR_TOOL_TIMES_HPP
#define KOR_TOOL_TIMES_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

enum class zone { local, utc };

// RFC 3339: "2007-01-01T00:00:00Z", "2007-01-01T01:00:00+01:00".
std::string to_text(int64_t time, zone z);

// RFC 3339 with or without zone, date alone, "now", seconds since the epoch,
// or a distance back from now: "-90", "-90s", "-15m", "-1h", "-2d", "-1w".
std::optional<int64_t> time_from_text(std::string_view text, zone z,
                                      int64_t now);

// The time stamp of text telemetry, "20070101:00:00:00", in local time.
// Nothing for the time 0, which means that there is no time stamp.
std::optional<int32_t> stamp_from_text(std::string_view text);
std::string to_stamp(int32_t time);

// "3 h 20 min", for a length of time in seconds.
std::string to_duration(int64_t seconds);

}  // namespace tool

#endif
