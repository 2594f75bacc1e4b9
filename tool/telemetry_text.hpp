// telemetry_text.hpp: text telemetry and event lines, every line checked.
//
// The library's own reader trusts the producer of a text and aborts on some
// malformed lines.  Here such lines are reported, skipped and counted.
#ifndef KOR_TOOL_TELEMETRY_TEXT_HPP
#define KOR_TOOL_TELEMETRY_TEXT_HPP

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "line_source.hpp"

namespace tool {

// Limits of the format and of the recorder.
constexpr size_t most_sensors = 10000;
constexpr size_t longest_name = 255;
constexpr size_t longest_event = 10000;

// Whether the words of text telemetry stand in the line behind its leading
// numbers, so that a reader takes it for a header.
bool is_header(std::string_view line);

// Whether a header with this name in it is sure to be taken for one.
bool is_recognised_name(std::string_view name);

// What is wrong with a line, or an empty text.
using defect = std::string;

// Lines that could not be used: reported, as long as they are not too many.
class skipped_lines {
public:
    void add(const line_source &source, const defect &what);
    // Counts a line that is lost for a reason reported before.
    void add_silently() { count_++; }
    uint64_t count() const { return count_; }

private:
    uint64_t count_ = 0;
    uint64_t reported_ = 0;
};

// Reads the samples of a text telemetry file.
class telemetry_text {
public:
    telemetry_text(const std::string &path, skipped_lines &skipped);

    // The next sample; false at the end.
    bool next();
    int32_t time() const { return time_; }
    const std::vector<float> &values() const { return values_; }
    const std::vector<std::string> &names() const { return names_; }
    // Grows with every header: the names may have changed.
    uint64_t headers() const { return headers_; }
    uint64_t lines() const { return source_.number(); }

private:
    defect take_header(std::string_view line);
    defect take_sample(std::string_view line);
    void lose_names(const defect &what);

    line_source source_;
    skipped_lines &skipped_;
    std::vector<std::string> names_;
    bool has_names_ = false;
    bool names_lost_ = false;
    uint64_t headers_ = 0;
    int32_t time_ = 0;
    std::vector<float> values_;
};

// Reads event lines: TIMESTAMP,TYPE,TEXT.
class event_text {
public:
    event_text(const std::string &path, skipped_lines &skipped);

    // Whether an event is at hand; next() goes on to the one after it.
    bool pending() const { return pending_; }
    void next();
    int32_t time() const { return time_; }
    uint32_t type() const { return type_; }
    const std::string &text() const { return text_; }

private:
    defect take(std::string_view line);

    line_source source_;
    skipped_lines &skipped_;
    bool pending_ = false;
    int32_t time_ = 0;
    uint32_t type_ = 0;
    std::string text_;
};

}  // namespace tool

#endif
