// telemetry_text.cpp: text telemetry and event lines, every line checked.
#include "telemetry_text.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "messages.hpp"
#include "sensor_value.h"
#include "times.hpp"

namespace tool {

namespace {

constexpr size_t stamp_length = 17;
constexpr size_t first_letter = stamp_length + 1;
constexpr uint64_t most_reports = 100;
constexpr auto npos = std::string_view::npos;

// The vocabulary of the format: one of these makes a line a header.
constexpr std::string_view words[] = {
    "SSC",  "ssc",  "SB",   "sb",   "Temp",  "temp",  "PS",     "ps",
    "VDC",  "vdc",  "N0",   "n0",   "CORE",  "core",  "CPU",    "cpu",
    "DISK", "disk", "READ", "read", "WRITE", "write", "IDLE",   "idle",
    "V_",   "v_",   "T_",   "t_",   "POWER", "power", "PACKET", "packet"};

bool is_number_like(char c)
{
    return c >= ',' && c <= ':';
}

// Behind the time stamp and the numbers a line begins with.
size_t first_other(std::string_view line)
{
    const auto found =
        std::find_if_not(line.begin(), line.end(), is_number_like);
    return found == line.end() ? npos
                               : static_cast<size_t>(found - line.begin());
}

bool has_word(std::string_view text)
{
    return std::any_of(std::begin(words), std::end(words),
                       [&](auto word) { return text.find(word) != npos; });
}

// A carriage return before the newline belongs to the line ending.
std::string_view without_return(std::string_view line)
{
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

std::optional<unsigned> control_character(std::string_view text)
{
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7F) return byte;
    }
    return std::nullopt;
}

// What no kind of line may hold.
defect check_bytes(const line_source &source, std::string_view line)
{
    if (source.is_too_long()) return "line too long";
    if (line.empty()) return "empty line";
    const auto control = control_character(line);
    if (!control) return {};
    return fmt::format("not text: a byte with the value {}", *control);
}

// Takes the next field off the line.
std::string_view next_field(std::string_view &rest)
{
    const size_t comma = std::min(rest.find(','), rest.size());
    const std::string_view field = rest.substr(0, comma);
    rest.remove_prefix(std::min(comma + 1, rest.size()));
    return field;
}

size_t count_fields(std::string_view line)
{
    return 1 + static_cast<size_t>(std::count(line.begin(), line.end(), ','));
}

bool is_stamp_like(std::string_view field)
{
    if (field.size() != stamp_length) return false;
    for (size_t i = 0; i < stamp_length; i++) {
        const bool colon = i == 8 || i == 11 || i == 14;
        const bool digit = field[i] >= '0' && field[i] <= '9';
        if (colon ? field[i] != ':' : !digit) return false;
    }
    return true;
}

// A header whose time stamp is damaged is still no line of data.
bool is_meant_as_header(std::string_view line)
{
    if (is_header(line)) return true;
    return line.find(',') == stamp_length &&
           has_word(line.substr(stamp_length));
}

struct number {
    float value;
    defect what;
};

// field is followed by a comma or the end of its line, where strtod stops.
number to_number(std::string_view field)
{
    if (field.empty()) return {0, "no value"};
    const std::string text(field);
    char *end = nullptr;
    const double wide = std::strtod(text.c_str(), &end);
    const bool whole = end == text.c_str() + text.size();
    const bool hexadecimal = text.find_first_of("xX") != std::string::npos;
    if (!whole || hexadecimal) {
        return {0, fmt::format("not a number: {}", in_quotes(field))};
    }
    if (std::isnan(wide)) return {_vela_invalid_sensor_value, {}};
    const bool infinite = text.find_first_of("iI") != std::string::npos;
    const auto value = static_cast<float>(wide);
    if (std::isinf(value) && !infinite) {
        return {0,
                fmt::format("beyond single precision: {}", in_quotes(field))};
    }
    return {value, {}};
}

defect check_name(std::string_view name, size_t column)
{
    if (name.empty()) return fmt::format("no name for sensor {}", column);
    if (name.size() > longest_name) {
        return fmt::format("name of sensor {} longer than {} characters",
                           column, longest_name);
    }
    return {};
}

}  // namespace

bool is_header(std::string_view line)
{
    const size_t p = first_other(line);
    if (p == npos || p < first_letter) return false;
    return has_word(line.substr(p)) || line.substr(p - 2).find("::") != npos;
}

bool is_recognised_name(std::string_view name)
{
    return has_word(name);
}

void skipped_lines::add(const line_source &source, const defect &what)
{
    count_++;
    if (reported_ > most_reports) return;
    complain_at(source.name(), source.number(), what);
    if (reported_++ == most_reports) {
        note("more lines are skipped without a report of each");
    }
}

telemetry_text::telemetry_text(const std::string &path, skipped_lines &skipped)
    : source_(path), skipped_(skipped)
{
}

bool telemetry_text::next()
{
    while (source_.next()) {
        const std::string_view line = source_.text();
        if (is_meant_as_header(line)) {
            const defect what = take_header(line);
            if (!what.empty()) lose_names(what);
            continue;
        }
        const defect what = take_sample(without_return(line));
        if (what.empty()) return true;
        // One report for all the lines that have lost their header.
        if (!has_names_ && names_lost_) {
            skipped_.add_silently();
        } else {
            skipped_.add(source_, what);
            names_lost_ = !has_names_;
        }
    }
    return false;
}

// The lines that follow belong to sensors unknown.
void telemetry_text::lose_names(const defect &what)
{
    skipped_.add(source_, what + "; no sample is taken up to the next header");
    has_names_ = false;
    names_lost_ = true;
}

defect telemetry_text::take_header(std::string_view line)
{
    if (line.ends_with('\r')) return "header ends in a carriage return";
    if (defect what = check_bytes(source_, line); !what.empty()) return what;
    std::string_view rest = line;
    const std::string_view stamp = next_field(rest);
    if (!is_stamp_like(stamp)) {
        return fmt::format("header with a malformed time stamp: {}",
                           in_quotes(stamp));
    }
    const size_t nsensors = count_fields(line) - 1;
    if (nsensors > most_sensors) {
        return fmt::format("header with {} sensors; {} are the most", nsensors,
                           most_sensors);
    }
    std::vector<std::string> names;
    for (size_t i = 1; i <= nsensors; i++) {
        names.emplace_back(next_field(rest));
        defect what = check_name(names.back(), i);
        if (!what.empty()) return what;
    }
    has_names_ = true;
    names_lost_ = false;
    if (names == names_) return {};
    names_ = std::move(names);
    headers_++;
    return {};
}

defect telemetry_text::take_sample(std::string_view line)
{
    if (defect what = check_bytes(source_, line); !what.empty()) return what;
    if (first_other(line) < first_letter) {
        return "letters where a time stamp should be";
    }
    if (!has_names_) return "no header before this line";
    std::string_view rest = line;
    const std::string_view stamp = next_field(rest);
    const auto time = stamp_from_text(stamp);
    if (!time) return fmt::format("bad time stamp: {}", in_quotes(stamp));
    const size_t nvalues = count_fields(line) - 1;
    if (nvalues != names_.size()) {
        return fmt::format("too {} values: {}, for {} sensors",
                           nvalues < names_.size() ? "few" : "many", nvalues,
                           names_.size());
    }
    values_.clear();
    for (size_t i = 1; i <= nvalues; i++) {
        number n = to_number(next_field(rest));
        if (!n.what.empty()) return fmt::format("value {}: {}", i, n.what);
        values_.push_back(n.value);
    }
    time_ = *time;
    return {};
}

event_text::event_text(const std::string &path, skipped_lines &skipped)
    : source_(path), skipped_(skipped)
{
    next();
}

void event_text::next()
{
    pending_ = false;
    while (!pending_ && source_.next()) {
        const defect what = take(without_return(source_.text()));
        if (what.empty()) {
            pending_ = true;
        } else {
            skipped_.add(source_, what);
        }
    }
}

defect event_text::take(std::string_view line)
{
    if (defect what = check_bytes(source_, line); !what.empty()) return what;
    std::string_view rest = line;
    const std::string_view stamp = next_field(rest);
    const auto time = stamp_from_text(stamp);
    if (!time) return fmt::format("bad time stamp: {}", in_quotes(stamp));
    const std::string_view type = next_field(rest);
    if (type.size() != 1 || type[0] < '1' || type[0] > '5') {
        return fmt::format("not an event type from 1 to 5: {}",
                           in_quotes(type));
    }
    if (rest.empty()) return "event without a text";
    if (rest.size() > longest_event) {
        return fmt::format("event text longer than {} bytes", longest_event);
    }
    time_ = *time;
    type_ = static_cast<uint32_t>(type[0] - '0');
    text_ = rest;
    return {};
}

}  // namespace tool
