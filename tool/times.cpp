// times.cpp: times as people write and read them.
#include "times.hpp"

#include <fmt/core.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <limits>

namespace tool {

namespace {

constexpr int64_t minute = 60;
constexpr int64_t hour = 60 * minute;
constexpr int64_t day = 24 * hour;
constexpr int64_t week = 7 * day;
constexpr int first_year = 1900;
constexpr size_t stamp_length = 17;

// Takes a text apart from the left.
class scanner {
public:
    explicit scanner(std::string_view text) : rest_(text) {}

    bool at_end() const { return rest_.empty(); }
    bool good() const { return good_; }

    // Exactly ndigits digits within the bounds.
    int digits(size_t ndigits, int lowest, int highest)
    {
        int value = 0;
        const bool enough = rest_.size() >= ndigits;
        for (size_t i = 0; enough && i < ndigits; i++) {
            if (rest_[i] < '0' || rest_[i] > '9') good_ = false;
            value = 10 * value + (rest_[i] - '0');
        }
        if (!enough || value < lowest || value > highest) good_ = false;
        rest_.remove_prefix(enough ? ndigits : rest_.size());
        return value;
    }

    // One of the characters, or 0 with nothing taken.
    char one_of(std::string_view characters)
    {
        if (at_end() || characters.find(rest_[0]) == std::string_view::npos) {
            return 0;
        }
        const char found = rest_[0];
        rest_.remove_prefix(1);
        return found;
    }

    void expect(char c)
    {
        if (!one_of(std::string_view(&c, 1))) good_ = false;
    }

    void skip_digits()
    {
        while (one_of("0123456789")) continue;
    }

private:
    std::string_view rest_;
    bool good_ = true;
};

void scan_clock(scanner &in, std::tm &parts)
{
    parts.tm_hour = in.digits(2, 0, 23);
    in.expect(':');
    parts.tm_min = in.digits(2, 0, 59);
    in.expect(':');
    parts.tm_sec = in.digits(2, 0, 60);
}

// Seconds east of Greenwich; nothing where the text names no zone.
std::optional<int64_t> scan_offset(scanner &in)
{
    if (in.one_of("Zz")) return 0;
    const char sign = in.one_of("+-");
    if (!sign) return std::nullopt;
    int64_t offset = in.digits(2, 0, 23) * hour;
    in.expect(':');
    offset += in.digits(2, 0, 59) * minute;
    return sign == '-' ? -offset : offset;
}

int days_in(int year, int month)
{
    static constexpr int days[] = {31, 28, 31, 30, 31, 30,
                                   31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 1 && leap ? 29 : days[month];
}

// The C library carries over what a month or the time type does not hold;
// here it is refused.
std::optional<int64_t> to_seconds(std::tm parts, bool utc)
{
    const bool month_known = parts.tm_mon >= 0 && parts.tm_mon <= 11;
    if (!month_known) return std::nullopt;
    const int year = parts.tm_year + first_year;
    if (parts.tm_mday > days_in(year, parts.tm_mon)) return std::nullopt;
    parts.tm_isdst = -1;
    errno = 0;
    const std::time_t t = utc ? timegm(&parts) : std::mktime(&parts);
    if (t == -1 && errno != 0) return std::nullopt;
    return t;
}

std::optional<int64_t> from_rfc3339(std::string_view text, zone z)
{
    scanner in(text);
    std::tm parts = {};
    parts.tm_year = in.digits(4, first_year, 9999) - first_year;
    in.expect('-');
    parts.tm_mon = in.digits(2, 1, 12) - 1;
    in.expect('-');
    parts.tm_mday = in.digits(2, 1, 31);
    if (in.one_of("Tt ")) {
        scan_clock(in, parts);
        if (in.one_of(".")) in.skip_digits();
    }
    const auto offset = scan_offset(in);
    if (!in.good() || !in.at_end()) return std::nullopt;
    const bool utc = offset || z == zone::utc;
    const auto seconds = to_seconds(parts, utc);
    if (!seconds) return std::nullopt;
    return *seconds - offset.value_or(0);
}

std::optional<int64_t> from_number(std::string_view text, int64_t now)
{
    int64_t value = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc()) return std::nullopt;
    const std::string_view unit(rest, static_cast<size_t>(end - rest));
    const bool back = text[0] == '-';
    if (!back) return unit.empty() ? std::optional(value) : std::nullopt;
    static constexpr struct {
        std::string_view name;
        int64_t seconds;
    } units[] = {{"", 1},     {"s", 1},   {"m", minute}, {"min", minute},
                 {"h", hour}, {"d", day}, {"w", week}};
    for (const auto &u : units) {
        if (unit != u.name) continue;
        if (value < -(std::numeric_limits<int32_t>::max() / u.seconds)) break;
        return now + value * u.seconds;
    }
    return std::nullopt;
}

}  // namespace

std::string to_text(int64_t time, zone z)
{
    const std::time_t t = static_cast<std::time_t>(time);
    std::tm parts = {};
    if (!(z == zone::utc ? gmtime_r(&t, &parts) : localtime_r(&t, &parts))) {
        return fmt::format("{}", time);
    }
    std::array<char, 64> text;
    const size_t n =
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::string result(text.data(), n);
    const long minutes = parts.tm_gmtoff / minute;
    if (z == zone::utc) return result + "Z";
    return result + fmt::format("{}{:02}:{:02}", minutes < 0 ? '-' : '+',
                                std::labs(minutes) / 60,
                                std::labs(minutes) % 60);
}

std::optional<int64_t> time_from_text(std::string_view text, zone z,
                                      int64_t now)
{
    if (text.empty()) return std::nullopt;
    if (text == "now") return now;
    if (const auto time = from_rfc3339(text, z)) return time;
    return from_number(text, now);
}

std::optional<int32_t> stamp_from_text(std::string_view text)
{
    if (text.size() != stamp_length) return std::nullopt;
    scanner in(text);
    std::tm parts = {};
    parts.tm_year = in.digits(4, first_year, 9999) - first_year;
    parts.tm_mon = in.digits(2, 1, 12) - 1;
    parts.tm_mday = in.digits(2, 1, 31);
    in.expect(':');
    scan_clock(in, parts);
    if (!in.good()) return std::nullopt;
    const auto t = to_seconds(parts, false);
    const bool fits = t && *t >= std::numeric_limits<int32_t>::min() &&
                      *t <= std::numeric_limits<int32_t>::max() && *t != 0;
    return fits ? std::optional(static_cast<int32_t>(*t)) : std::nullopt;
}

std::string to_stamp(int32_t time)
{
    const std::time_t t = time;
    std::tm parts = {};
    localtime_r(&t, &parts);
    std::array<char, 64> text;
    const size_t n =
        std::strftime(text.data(), text.size(), "%Y%m%d:%H:%M:%S", &parts);
    return std::string(text.data(), n);
}

std::string to_duration(int64_t seconds)
{
    if (seconds < 0) return "-" + to_duration(-seconds);
    if (seconds < minute) return fmt::format("{} s", seconds);
    if (seconds < hour) {
        return fmt::format("{} min {} s", seconds / minute, seconds % minute);
    }
    if (seconds < day) {
        return fmt::format("{} h {} min", seconds / hour,
                           seconds % hour / minute);
    }
    return fmt::format("{} d {} h", seconds / day, seconds % day / hour);
}

}  // namespace tool
