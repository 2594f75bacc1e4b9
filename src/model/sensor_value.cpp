// sensor_value: one reading, a float, with NaN for none.
#include "sensor_value.h"

#include <bit>
#include <cmath>
#include <cstdlib>

#include "common/contract.hpp"
#include "common/narrow.hpp"
#include "float_util.h"

constinit const sensor_value _vela_invalid_sensor_value =
    std::bit_cast<sensor_value>(0x7FFFFFFFu);

int sensor_value_compare(sensor_value a, sensor_value b)
{
    return float_compare(a, b);
}

int sensor_value_is_equal(sensor_value a, sensor_value b)
{
    return float_is_equal(a, b);
}

int sensor_value_is_valid(sensor_value v)
{
    return !std::isnan(v);
}

sensor_value sensor_value_from_string(const char *str)
{
    KOR_ASSERT(str != NULL);
    return vela::narrow(std::atof(str));
}

double sensor_value_to_double(sensor_value v)
{
    return v;
}
