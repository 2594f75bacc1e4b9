// byte_order.hpp: every multi-byte value in a file is big-endian.
#ifndef KOR_IO_BYTE_ORDER_HPP
#define KOR_IO_BYTE_ORDER_HPP

#include <bit>
#include <cstdint>

namespace vela {

// To big-endian or back, whatever the host.
inline constexpr uint32_t big_endian(uint32_t value) noexcept
{
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap32(value);
    else
        return value;
}

inline constexpr uint64_t big_endian(uint64_t value) noexcept
{
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap64(value);
    else
        return value;
}

}  // namespace vela

#endif
