#include "common/narrow.hpp"

#include <limits>

#include "support/support.hpp"

namespace {

struct narrowing {
    const char *name;
    uint64_t wide;
    uint32_t narrow;
};
void PrintTo(const narrowing &row, std::ostream *os)
{
    *os << std::hex << row.wide;
}

class Narrowing : public testing::TestWithParam<narrowing> {};

constexpr narrowing narrowings[] = {
    {"One", 0x3FF0000000000000, 0x3F800000},
    {"MinusZero", 0x8000000000000000, 0x80000000},
    {"TieGoesToEven", 0x3FF0000010000000, 0x3F800000},
    {"AboveTheTieGoesUp", 0x3FF0000010000001, 0x3F800001},
    {"TooLargeIsInfinity", 0x480784CE7E1CEAE5, 0x7F800000},
    {"TooSmallIsZero", 0x3570000000000000, 0x00000000},
    {"Denormal", 0x36A0000000000000, 0x00000001},
    {"Infinity", 0x7FF0000000000000, 0x7F800000},
    {"MinusInfinity", 0xFFF0000000000000, 0xFF800000},
    {"InvalidReading", 0x7FFFFFFFE0000000, 0x7FFFFFFF},
    {"PlainNan", 0x7FF8000000000000, 0x7FC00000},
    {"NegativeNan", 0xFFF8000000000000, 0xFFC00000},
    {"PayloadOfNan", 0x7FF8000020000000, 0x7FC00001},
    {"LowPayloadIsDropped", 0x7FF800001FFFFFFF, 0x7FC00000},
    {"SignallingNanComesOutQuiet", 0x7FF0000000000001, 0x7FC00000},
    {"SignallingNanKeepsItsPayload", 0xFFF4000020000000, 0xFFE00001},
};

}  // namespace

TEST_P(Narrowing, GivesTheseBits)
{
    const narrowing &row = GetParam();
    const float result = vela::narrow(std::bit_cast<double>(row.wide));
    EXPECT_EQ(std::bit_cast<uint32_t>(result), row.narrow);
}
INSTANTIATE_TEST_SUITE_P(Table, Narrowing, testing::ValuesIn(narrowings),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });
