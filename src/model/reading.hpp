// reading.hpp: how a double becomes a reading.
#ifndef KOR_MODEL_READING_HPP
#define KOR_MODEL_READING_HPP

#include <bit>
#include <cstdint>

#include "sensor_value.h"

namespace vela {

// The nearest float.  A NaN keeps its sign and as much of its payload as fits,
// and is quiet: processors differ in what their conversion leaves of one, and
// files must not.
inline sensor_value reading_of(double value) noexcept
{
    if (value == value) return static_cast<sensor_value>(value);
    const auto bits = std::bit_cast<uint64_t>(value);
    const auto sign = static_cast<uint32_t>(bits >> 32) & 0x80000000u;
    const auto payload = static_cast<uint32_t>(bits >> 29) & 0x003FFFFFu;
    return std::bit_cast<sensor_value>(sign | 0x7FC00000u | payload);
}

}  // namespace vela

#endif
