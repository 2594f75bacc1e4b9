#include "float_util.h"

#include <math.h>

#include "common/contract.hpp"

static constexpr float EPSILON = 1e-6f;

float float_epsilon(void)
{
    return EPSILON;
}

// Part of the interface: unlike doubles, two equal infinities are no pair that
// can be compared; their difference is not a number and breaks the assertion.
int float_compare(float a, float b)
{
    if (isnan(a)) return isnan(b) ? 0 : -1;
    if (isnan(b)) return 1;
    const float c = a - b;
    if (c > EPSILON) return 1;
    if (c < -EPSILON) return -1;
    KOR_ASSERT(fabs(c) <= EPSILON);
    return 0;
}

int float_is_equal(float a, float b)
{
    return float_compare(a, b) == 0;
}
