#include "double_util.h"

#include <bit>
#include <cmath>
#include <limits>

#include "support/support.hpp"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double largest = std::numeric_limits<double>::max();

struct comparison {
    const char *name;
    double a, b;
    int result;
};
void PrintTo(const comparison &row, std::ostream *os)
{
    *os << row.a << " and " << row.b;
}

class DoubleComparison : public testing::TestWithParam<comparison> {};

constexpr comparison comparisons[] = {
    {"Equal", 1.0, 1.0, 0},
    {"WithinTolerance", 1.0, 1.0000005, 0},
    {"ExactlyTheTolerance", 0.0, 1e-6, 0},
    {"ExactlyTheToleranceBelow", 0.0, -1e-6, 0},
    {"BeyondTolerance", 1.0, 1.000002, -1},
    {"BeyondToleranceAbove", 1.000002, 1.0, 1},
    {"AbsoluteNotRelative", 1e12, 1e12 + 1, -1},
    {"TinyNumbersAreEqual", 1e-300, -1e-300, 0},
    {"ZerosOfBothSigns", 0.0, -0.0, 0},
    {"TwoNans", nan_value, nan_value, 0},
    {"NanBelowNumber", nan_value, 5, -1},
    {"NumberAboveNan", 5, nan_value, 1},
    {"NanBelowMinusInfinity", nan_value, -inf, -1},
    {"MinusInfinityAboveNan", -inf, nan_value, 1},
    {"TwoInfinities", inf, inf, 0},
    {"TwoMinusInfinities", -inf, -inf, 0},
    {"InfinityAboveNumber", inf, 1, 1},
    {"NumberBelowInfinity", 1, inf, -1},
    {"InfinityAboveLargest", inf, largest, 1},
    {"MinusInfinityBelowLowest", -inf, -largest, -1},
    {"InfinityAboveMinusInfinity", inf, -inf, 1},
    {"MinusInfinityBelowInfinity", -inf, inf, -1},
    {"OverflowingDifference", largest, -largest, 1},
};

}  // namespace

TEST_P(DoubleComparison, Gives)
{
    const comparison &row = GetParam();
    EXPECT_EQ(double_compare(row.a, row.b), row.result);
    EXPECT_EQ(double_is_equal(row.a, row.b), row.result == 0 ? 1 : 0);
}
INSTANTIATE_TEST_SUITE_P(Table, DoubleComparison,
                         testing::ValuesIn(comparisons), [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(DoubleUtil, EpsilonIsAMillionth)
{
    EXPECT_EQ(std::bit_cast<uint64_t>(double_epsilon()), 0x3EB0C6F7A0B5ED8Du);
}

TEST(DoubleUtil, MinIsTheMostNegativeNotTheSmallest)
{
    EXPECT_EQ(double_min(), -largest);
    EXPECT_LT(double_min(), 0);
    EXPECT_EQ(double_max(), largest);
}
