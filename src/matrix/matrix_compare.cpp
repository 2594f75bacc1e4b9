// matrix_compare.cpp: comparisons that must hold for every element.
#include "matrix_compare.h"

#include "common/contract.hpp"
#include "matrix/elements.hpp"

// Whether `holds` is true of every pair of elements.
template <class Relation>
static int every_pair(const struct matrix *m1, const struct matrix *m2,
                      Relation holds)
{
    if (!matrix_is_equal_dimensions(m1, m2)) return 0;
    return vela::with_elements(
        [&](auto a, auto b) {
            for (uint32_t i = 0; i < m1->nrows; ++i)
                for (uint32_t j = 0; j < m1->ncols; ++j)
                    if (!holds(a.get(i, j), b.get(i, j))) return 0;
            return 1;
        },
        m1, m2);
}

// Whether `holds` is true of every element and `s`.
template <class Relation>
static int every_element(const struct matrix *m, matrix_value s, Relation holds)
{
    const uint32_t nrows = matrix_get_number_rows(m);
    const uint32_t ncols = matrix_get_number_columns(m);
    return vela::with_elements(
        [&](auto a) {
            for (uint32_t i = 0; i < nrows; ++i)
                for (uint32_t j = 0; j < ncols; ++j)
                    if (!holds(a.get(i, j), s)) return 0;
            return 1;
        },
        m);
}

int matrix_is_equal_dimensions(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    return matrix_get_number_rows(m1) == matrix_get_number_rows(m2) &&
           matrix_get_number_columns(m1) == matrix_get_number_columns(m2);
}

int matrix_is_equal(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    // Equal numbers are always equal within the tolerance, and quicker to see.
    return every_pair(m1, m2, [](matrix_value a, matrix_value b) {
        return a == b || matrix_value_is_equal(a, b) != 0;
    });
}

int matrix_is_less(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    return every_pair(m1, m2,
                      [](matrix_value a, matrix_value b) { return a < b; });
}

int matrix_is_less_equal(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    return every_pair(m1, m2,
                      [](matrix_value a, matrix_value b) { return a <= b; });
}

int matrix_is_greater(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    return every_pair(m1, m2,
                      [](matrix_value a, matrix_value b) { return a > b; });
}

int matrix_is_greater_equal(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    return every_pair(m1, m2,
                      [](matrix_value a, matrix_value b) { return a >= b; });
}

// Part of the interface: exact, where matrix_is_equal is tolerant.
int matrix_is_equal_scalar(const struct matrix *m, matrix_value s)
{
    KOR_ASSERT(m != NULL);
    return every_element(m, s,
                         [](matrix_value a, matrix_value b) { return a == b; });
}

int matrix_is_less_scalar(const struct matrix *m, matrix_value s)
{
    KOR_ASSERT(m != NULL);
    return every_element(m, s,
                         [](matrix_value a, matrix_value b) { return a < b; });
}

int matrix_is_less_equal_scalar(const struct matrix *m, matrix_value s)
{
    KOR_ASSERT(m != NULL);
    return every_element(m, s,
                         [](matrix_value a, matrix_value b) { return a <= b; });
}

int matrix_is_greater_scalar(const struct matrix *m, matrix_value s)
{
    KOR_ASSERT(m != NULL);
    return every_element(m, s,
                         [](matrix_value a, matrix_value b) { return a > b; });
}

int matrix_is_greater_equal_scalar(const struct matrix *m, matrix_value s)
{
    KOR_ASSERT(m != NULL);
    return every_element(m, s,
                         [](matrix_value a, matrix_value b) { return a >= b; });
}
