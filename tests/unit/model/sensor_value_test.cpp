#include "sensor_value.h"

#include <cmath>
#include <limits>

#include "model_support.hpp"

using test::bits_of;
using test::float_of;

namespace {

constexpr float nan_value = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

TEST(SensorValue, InvalidHasTheDocumentedBits)
{
    EXPECT_EQ(bits_of(_vela_invalid_sensor_value), 0x7FFFFFFFu);
    EXPECT_EQ(sensor_value_is_valid(_vela_invalid_sensor_value), 0);
}

TEST(SensorValue, AnyNanIsInvalidAndNothingElse)
{
    EXPECT_EQ(sensor_value_is_valid(nan_value), 0);
    EXPECT_EQ(sensor_value_is_valid(-nan_value), 0);
    EXPECT_EQ(sensor_value_is_valid(0.0f), 1);
    EXPECT_EQ(sensor_value_is_valid(infinity), 1);
    EXPECT_EQ(sensor_value_is_valid(float_of(1)), 1);
}

TEST(SensorValue, ComparesWithinOneMillionth)
{
    EXPECT_EQ(sensor_value_compare(1.0f, 1.0000005f), 0);
    EXPECT_EQ(sensor_value_compare(1.0f, 1.00001f), -1);
    EXPECT_EQ(sensor_value_compare(1.00001f, 1.0f), 1);
    EXPECT_EQ(sensor_value_is_equal(1.0f, 1.0000005f), 1);
    EXPECT_EQ(sensor_value_is_equal(1.0f, 2.0f), 0);
}

TEST(SensorValue, NanOrdersBelowEverythingAndEqualsNan)
{
    EXPECT_EQ(sensor_value_compare(nan_value, nan_value), 0);
    EXPECT_EQ(sensor_value_compare(nan_value, 5.0f), -1);
    EXPECT_EQ(sensor_value_compare(5.0f, nan_value), 1);
    EXPECT_EQ(sensor_value_is_equal(_vela_invalid_sensor_value, nan_value), 1);
}

TEST(SensorValue, FromStringTakesWhatItCan)
{
    EXPECT_EQ(sensor_value_from_string("1.5"), 1.5f);
    EXPECT_EQ(sensor_value_from_string(" -2e3xyz"), -2000.0f);
    EXPECT_EQ(sensor_value_from_string("none"), 0.0f);
    EXPECT_EQ(sensor_value_from_string(""), 0.0f);
    EXPECT_EQ(sensor_value_from_string("1e39"), infinity);
    EXPECT_TRUE(std::isnan(sensor_value_from_string("nan")));
}

// A little above the middle of two floats, but not in a double: rounding twice
// goes down where rounding once would go up.
TEST(SensorValue, FromStringRoundsToDoubleFirst)
{
    const char *const text = "1.000000059604644775390626";
    EXPECT_EQ(sensor_value_from_string(text), 1.0f);
    EXPECT_NE(std::strtof(text, nullptr), 1.0f);
}

TEST(SensorValue, WidensExactly)
{
    EXPECT_EQ(sensor_value_to_double(0.1f), 0.100000001490116119384765625);
    EXPECT_TRUE(std::isnan(sensor_value_to_double(nan_value)));
}

TEST(SensorValueDeathTest, FromStringNeedsAString)
{
    EXPECT_ABORTS(sensor_value_from_string(nullptr), "str != NULL");
}

// Part of the interface: infinities cannot be compared.
TEST(SensorValueDeathTest, EqualInfinitiesAbort)
{
    EXPECT_ABORTS(sensor_value_compare(infinity, infinity),
                  "fabs(c) <= EPSILON");
    EXPECT_ABORTS(sensor_value_is_equal(-infinity, -infinity),
                  "fabs(c) <= EPSILON");
}

}  // namespace
