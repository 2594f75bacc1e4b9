// three_decimals.hpp: what printf's "%.3lf" writes, at a fraction of its cost.
//
// A double is a whole number of 53 bits times a power of two, so a thousand
// times it still fits 64 bits, and rounding it is exact.  Where that does not
// hold, or where the program has chosen another decimal point or rounding,
// printf itself is asked.
#ifndef KOR_TEXT_THREE_DECIMALS_HPP
#define KOR_TEXT_THREE_DECIMALS_HPP

#include <bit>
#include <cfenv>
#include <cfloat>
#include <charconv>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace vela {

// A sign, the digits of DBL_MAX, ".000" and the NUL of printf.
inline constexpr size_t three_decimals_size = 1 + (DBL_MAX_10_EXP + 1) + 4 + 1;

class three_decimals {
public:
    // Asks once for the point and the rounding that are in force.
    three_decimals() noexcept
        : is_usual_(std::fegetround() == FE_TONEAREST &&
                    std::strcmp(std::localeconv()->decimal_point, ".") == 0)
    {
    }

    // Writes a number without a NUL; returns what is behind it.
    char *write(char *to, double value) const noexcept
    {
        const auto bits = std::bit_cast<uint64_t>(value);
        const auto exponent =
            static_cast<uint32_t>(bits >> mantissa_bits) & exponent_mask;
        if (!is_usual_ || exponent > exponent_of_units)
            return to + std::snprintf(to, three_decimals_size, "%.3lf", value);
        if (bits >> 63 != 0) *to++ = '-';
        return write_thousandths(to, thousandths_of(bits, exponent));
    }

private:
    static constexpr int mantissa_bits = DBL_MANT_DIG - 1;
    static constexpr uint32_t exponent_mask = 0x7FF;
    // With this one the mantissa counts units; with a larger one, more.
    static constexpr uint32_t exponent_of_units =
        DBL_MAX_EXP - 1 + mantissa_bits;

    // To the nearest, and to an even number from the middle.
    static uint64_t thousandths_of(uint64_t bits, uint32_t exponent) noexcept
    {
        constexpr uint64_t implied_bit = uint64_t{1} << mantissa_bits;
        uint64_t mantissa = bits & (implied_bit - 1);
        if (exponent == 0)
            exponent = 1;  // too small for the implied bit
        else
            mantissa |= implied_bit;
        const uint64_t product = mantissa * 1000;
        const uint32_t shift = exponent_of_units - exponent;
        if (shift == 0) return product;
        if (shift > 63) return 0;
        const uint64_t below = product & ((uint64_t{1} << shift) - 1);
        const uint64_t middle = uint64_t{1} << (shift - 1);
        const uint64_t result = product >> shift;
        const bool is_up =
            below > middle || (below == middle && result % 2 != 0);
        return is_up ? result + 1 : result;
    }

    static char *write_thousandths(char *to, uint64_t thousandths) noexcept
    {
        constexpr size_t digits = 20;
        to = std::to_chars(to, to + digits, thousandths / 1000).ptr;
        const auto rest = static_cast<uint32_t>(thousandths % 1000);
        *to++ = '.';
        *to++ = static_cast<char>('0' + rest / 100);
        *to++ = static_cast<char>('0' + rest / 10 % 10);
        *to++ = static_cast<char>('0' + rest % 10);
        return to;
    }

    bool is_usual_;
};

}  // namespace vela

#endif
