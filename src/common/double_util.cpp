#include "double_util.h"

#include <float.h>
#include <math.h>

#include "common/contract.hpp"

static constexpr double EPSILON = 1e-6;

double double_epsilon(void)
{
    return EPSILON;
}

// Part of the interface: the most negative double, not the smallest positive.
double double_min(void)
{
    return -DBL_MAX;
}

double double_max(void)
{
    return DBL_MAX;
}

int double_compare(double a, double b)
{
    KOR_ASSERT(!isnan(HUGE_VAL));
    if (isnan(a)) return isnan(b) ? 0 : -1;
    if (isnan(b)) return 1;
    if (a > DBL_MAX && b > DBL_MAX) return 0;
    if (a < -DBL_MAX && b < -DBL_MAX) return 0;
    const double c = a - b;
    if (c > EPSILON) return 1;
    if (c < -EPSILON) return -1;
    KOR_ASSERT(fabs(c) <= EPSILON);
    return 0;
}

int double_is_equal(double a, double b)
{
    return double_compare(a, b) == 0;
}
