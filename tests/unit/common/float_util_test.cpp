#include "float_util.h"

#include <bit>
#include <cmath>
#include <limits>

#include "support/abort_rows.hpp"

namespace {

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float nan_value = std::numeric_limits<float>::quiet_NaN();

struct comparison {
    const char *name;
    float a, b;
    int result;
};
void PrintTo(const comparison &row, std::ostream *os)
{
    *os << row.a << " and " << row.b;
}

class FloatComparison : public testing::TestWithParam<comparison> {};

constexpr comparison comparisons[] = {
    {"Equal", 1.0f, 1.0f, 0},
    {"WithinTolerance", 1.0f, 1.0000005f, 0},
    {"ExactlyTheTolerance", 0.0f, 1e-6f, 0},
    {"ExactlyTheToleranceBelow", 0.0f, -1e-6f, 0},
    {"BeyondTolerance", 1.0f, 1.000002f, -1},
    {"BeyondToleranceAbove", 1.000002f, 1.0f, 1},
    {"ZerosOfBothSigns", 0.0f, -0.0f, 0},
    {"TwoNans", nan_value, nan_value, 0},
    {"NanBelowNumber", nan_value, 5, -1},
    {"NumberAboveNan", 5, nan_value, 1},
    {"NanBelowMinusInfinity", nan_value, -inf, -1},
    {"InfinityAboveNumber", inf, 1, 1},
    {"NumberBelowInfinity", 1, inf, -1},
    {"InfinityAboveMinusInfinity", inf, -inf, 1},
};

}  // namespace

TEST_P(FloatComparison, Gives)
{
    const comparison &row = GetParam();
    EXPECT_EQ(float_compare(row.a, row.b), row.result);
    EXPECT_EQ(float_is_equal(row.a, row.b), row.result == 0 ? 1 : 0);
}
INSTANTIATE_TEST_SUITE_P(Table, FloatComparison, testing::ValuesIn(comparisons),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(FloatUtil, EpsilonIsAMillionth)
{
    EXPECT_EQ(std::bit_cast<uint32_t>(float_epsilon()), 0x358637BDu);
}

class FloatInfinitiesDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(FloatInfinitiesDeathTest,
               test::abort_row{"TwoInfinities", "fabs(c) <= EPSILON",
                               [] {
                                   float_compare(inf, inf);
                               }},
               test::abort_row{"TwoMinusInfinities", "fabs(c) <= EPSILON", [] {
                                   float_is_equal(-inf, -inf);
                               }});
