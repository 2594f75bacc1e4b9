// sound.cpp: the figures of an interval that single-precision sums can carry.
#include "sound.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

namespace tool {

std::optional<estimate> mean_of(const hist_value &hv)
{
    if (hv.count == 0 || !std::isfinite(hv.sum)) return std::nullopt;
    // Adding n floats one by one is off by at most (n - 1) u sum(|x|), with
    // the unit roundoff u = 2^-24.  Merging sums keeps below that bound.
    constexpr double roundoff = 0x1p-24;
    const double n = hv.count;
    const double largest = std::max(std::fabs(hv.min), std::fabs(hv.max));
    const double mean = static_cast<double>(hv.sum) / n;
    // A mean lies between the extremes, which are exact.
    const double lowest = std::min(hv.min, hv.max);
    const double highest = std::max(hv.min, hv.max);
    const double error = (n - 1) * roundoff * largest;
    return estimate{std::clamp(mean, lowest, highest),
                    std::min(error, highest - lowest)};
}

std::string to_text(float reading)
{
    if (std::isnan(reading)) return "n/a";
    return fmt::format("{}", reading);
}

std::string to_text(const estimate &e)
{
    constexpr int most_digits = 7;  // a float has no more
    if (e.value == 0) return "0";
    const double magnitude = std::floor(std::log10(std::fabs(e.value)));
    double digits = most_digits;
    if (e.error > 0) digits = magnitude - std::floor(std::log10(e.error));
    const int shown = static_cast<int>(
        std::clamp(digits, 1.0, static_cast<double>(most_digits)));
    return fmt::format("{:.{}g}", e.value, shown);
}

}  // namespace tool
