// narrow.hpp: double to float, the same bits on every machine.
#ifndef KOR_COMMON_NARROW_HPP
#define KOR_COMMON_NARROW_HPP

#include <bit>
#include <cstdint>

namespace vela {

// Rounds to the nearest float.  A NaN keeps its sign and the upper 22 bits of
// its payload and comes out quiet: left to the machine, some keep them and
// some replace every NaN with one of their own.
inline float narrow(double value) noexcept
{
    if (value == value) return static_cast<float>(value);
    constexpr uint32_t sign_bit = 0x80000000;
    constexpr uint32_t quiet_nan = 0x7FC00000;
    constexpr uint32_t payload = 0x003FFFFF;
    constexpr int dropped_payload_bits = 29;  // 52 fraction bits become 23
    const auto bits = std::bit_cast<uint64_t>(value);
    return std::bit_cast<float>(
        (static_cast<uint32_t>(bits >> 32) & sign_bit) | quiet_nan |
        (static_cast<uint32_t>(bits >> dropped_payload_bits) & payload));
}

}  // namespace vela

#endif
