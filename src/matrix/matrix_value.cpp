// matrix_value.cpp: the element of a matrix, a double.
#include "matrix_value.h"

#include <cstdlib>

#include "common/contract.hpp"
#include "double_util.h"

// The rank and singularity tests of the decomposition are built on it.
static constexpr matrix_value unit_roundoff = 2.2e-16;

matrix_value matrix_value_max(void)
{
    return double_max();
}

matrix_value matrix_value_min(void)
{
    return double_min();
}

int matrix_value_compare(matrix_value a, matrix_value b)
{
    return double_compare(a, b);
}

int matrix_value_is_equal(matrix_value a, matrix_value b)
{
    return double_is_equal(a, b);
}

matrix_value matrix_value_from_string(const char *str)
{
    KOR_ASSERT(str != NULL);
    return std::atof(str);
}

matrix_value matrix_value_unit_roundoff(void)
{
    return unit_roundoff;
}
