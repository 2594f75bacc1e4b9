#include "matrix_value.h"

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>

#include "matrix_support.hpp"

TEST(MatrixValue, LimitsAreThoseOfFiniteDoubles)
{
    EXPECT_EQ(matrix_value_max(), DBL_MAX);
    EXPECT_EQ(matrix_value_min(), -DBL_MAX);
}

TEST(MatrixValue, ComparesWithinAMillionth)
{
    EXPECT_EQ(matrix_value_compare(1.0, 1.0000005), 0);
    EXPECT_EQ(matrix_value_compare(1.0, 1.000002), -1);
    EXPECT_EQ(matrix_value_compare(1.000002, 1.0), 1);
    EXPECT_EQ(matrix_value_compare(NAN, 5.0), -1);
    EXPECT_EQ(matrix_value_is_equal(NAN, NAN), 1);
    EXPECT_EQ(matrix_value_is_equal(1.0, 1.0000005), 1);
    EXPECT_EQ(matrix_value_is_equal(1.0, 1.000002), 0);
}

TEST(MatrixValue, TextThatIsNoNumberIsZero)
{
    EXPECT_EQ(matrix_value_from_string("-12.5"), -12.5);
    EXPECT_EQ(matrix_value_from_string("0.1"), 0.1);
    EXPECT_EQ(matrix_value_from_string("volts"), 0.0);
    EXPECT_TRUE(std::isnan(matrix_value_from_string("nan")));
}

TEST(MatrixValue, UnitRoundoffHasItsExactBits)
{
    EXPECT_EQ(std::bit_cast<uint64_t>(matrix_value_unit_roundoff()),
              0x3CAFB49140A1644Fu);
}

TEST(MatrixValueDeathTest, NullTextAborts)
{
    test::expect_aborts({{"matrix_value_from_string", "str != NULL", [] {
                              matrix_value_from_string(NULL);
                          }}});
}
