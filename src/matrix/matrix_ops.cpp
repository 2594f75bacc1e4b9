// matrix_ops.cpp: arithmetic and column statistics.
//
// Every sum starts at 0.0 and adds in ascending order, one rounding an
// addition, so that results are the same bits on every machine.
#include "matrix_ops.h"

#include <algorithm>
#include <cmath>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "matrix/elements.hpp"
#include "matrix/kinds.hpp"
#include "matrix_compare.h"

using owned_matrix = vela::owned<matrix_destroy>;

// --- element by element ---

// A new matrix like `m` of function(a(i,j)).
template <class Function>
static struct matrix *map(const struct matrix *m, Function function)
{
    owned_matrix result(vela::create_whole_like(m));
    if (!result) return nullptr;
    vela::with_elements(
        [&](auto from, auto to) {
            for (uint32_t i = 0; i < m->nrows; ++i)
                for (uint32_t j = 0; j < m->ncols; ++j)
                    to.set(i, j, function(from.get(i, j)));
        },
        m, result.get());
    return result.release();
}

struct matrix *matrix_scalar_multiply(const struct matrix *m, matrix_value s)
{
    KOR_ASSERT(m != NULL);
    return map(m, [s](matrix_value a) { return a * s; });
}

struct matrix *matrix_scalar_divide(const struct matrix *m, matrix_value s)
{
    KOR_ASSERT(m != NULL);
    if (matrix_value_is_equal(s, 0.0))
        return vela::fail(KOR_ERR_DIVISION_BY_ZERO);
    return map(m, [s](matrix_value a) { return a / s; });
}

void matrix_accum(struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    KOR_ASSERT(matrix_is_equal_dimensions(m1, m2));
    vela::with_elements(
        [&](auto sum, auto b) {
            for (uint32_t i = 0; i < m1->nrows; ++i)
                for (uint32_t j = 0; j < m1->ncols; ++j)
                    sum.set(i, j, sum.get(i, j) + b.get(i, j));
        },
        m1, m2);
}

struct matrix *matrix_add(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    KOR_ASSERT(matrix_is_equal_dimensions(m1, m2));
    struct matrix *const sum = matrix_copy(m1);
    if (sum != nullptr) matrix_accum(sum, m2);
    return sum;
}

struct matrix *matrix_subtract(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    KOR_ASSERT(matrix_is_equal_dimensions(m1, m2) > 0);
    owned_matrix result(vela::create_whole_like(m1));
    if (!result) return nullptr;
    vela::with_elements(
        [&](auto difference, auto a, auto b) {
            for (uint32_t i = 0; i < m1->nrows; ++i)
                for (uint32_t j = 0; j < m1->ncols; ++j)
                    difference.set(i, j, a.get(i, j) - b.get(i, j));
        },
        result.get(), m1, m2);
    return result.release();
}

struct matrix *matrix_elemental_square(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    return map(m, [](matrix_value a) { return a * a; });
}

static bool has_negative_element(const struct matrix *m)
{
    return vela::with_elements(
        [m](auto a) {
            for (uint32_t i = 0; i < m->nrows; ++i)
                for (uint32_t j = 0; j < m->ncols; ++j)
                    if (a.get(i, j) < 0) return true;
            return false;
        },
        m);
}

struct matrix *matrix_elemental_sqrt(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    owned_matrix roots(map(m, [](matrix_value a) { return std::sqrt(a); }));
    if (!roots) return nullptr;
    if (has_negative_element(m)) return vela::fail(KOR_ERR_NEGATIVE_ROOT);
    return roots.release();
}

struct matrix *matrix_elemental_exp(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    return map(m, [](matrix_value a) { return std::exp(a); });
}

struct matrix *matrix_elemental_abs(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    return map(m, [](matrix_value a) { return std::fabs(a); });
}

void matrix_clear(struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    const uint32_t nrows = matrix_get_number_rows(m);
    const uint32_t ncols = matrix_get_number_columns(m);
    vela::with_elements(
        [=](auto a) {
            for (uint32_t i = 0; i < nrows; ++i)
                for (uint32_t j = 0; j < ncols; ++j) a.set(i, j, 0.0);
        },
        m);
}

matrix_value matrix_accum_element(struct matrix *m, uint32_t i, uint32_t j,
                                  matrix_value v)
{
    KOR_ASSERT(m != NULL);
    const matrix_value sum = v + matrix_get(m, i, j);
    matrix_set(m, i, j, sum);
    return sum;
}

// --- product ---

// Adds a * b to the rows of `product`.  Each element still gathers its terms
// in ascending order, while all rows are walked along.
template <class Left, class Right>
static void accumulate_product(Left a, Right b, uint32_t ninner,
                               struct matrix *product)
{
    for (uint32_t i = 0; i < product->nrows; ++i) {
        matrix_value *const row = product->values[i];
        for (uint32_t k = 0; k < ninner; ++k) {
            const matrix_value factor = a.get(i, k);
            for (uint32_t j = 0; j < product->ncols; ++j)
                row[j] += factor * b.get(k, j);
        }
    }
}

struct matrix *matrix_multiply(const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    KOR_ASSERT(matrix_get_number_columns(m1) == matrix_get_number_rows(m2));
    struct matrix *const product = matrix_create(matrix_get_number_rows(m1),
                                                 matrix_get_number_columns(m2));
    if (product == nullptr) return nullptr;
    // One by one: a view on one side does not slow the other.
    vela::with_elements(
        [=](auto a) {
            vela::with_elements(
                [=](auto b) { accumulate_product(a, b, m1->ncols, product); },
                m2);
        },
        m1);
    return product;
}

// --- column statistics ---

struct matrix *matrix_column_sum(const struct matrix *m1)
{
    KOR_ASSERT(m1 != NULL);
    struct matrix *const result =
        matrix_create(1, matrix_get_number_columns(m1));
    if (result == nullptr) return nullptr;
    matrix_value *const sums = result->values[0];
    vela::with_elements(
        [&](auto a) {
            for (uint32_t i = 0; i < m1->nrows; ++i)
                for (uint32_t j = 0; j < m1->ncols; ++j) sums[j] += a.get(i, j);
        },
        m1);
    return result;
}

struct matrix *matrix_column_mean(const struct matrix *m1)
{
    KOR_ASSERT(m1 != NULL);
    struct matrix *const means = matrix_column_sum(m1);
    if (means == nullptr) return nullptr;
    for (uint32_t j = 0; j < means->ncols; ++j)
        means->values[0][j] /= m1->nrows;
    return means;
}

// One pass over the rows: the mean of each column so far and the sum of the
// squared differences from it.
template <class Elements>
static void update_spread(Elements a, const struct matrix *m,
                          matrix_value *mean, matrix_value *squares)
{
    matrix_value count = 0.0;
    for (uint32_t i = 0; i < m->nrows; ++i) {
        count += 1.0;
        for (uint32_t j = 0; j < m->ncols; ++j) {
            const matrix_value x = a.get(i, j);
            const matrix_value delta = x - mean[j];
            mean[j] += delta / count;
            squares[j] += delta * (x - mean[j]);
        }
    }
}

struct matrix *matrix_column_std_dev(const struct matrix *m1)
{
    KOR_ASSERT(m1 != NULL);
    const uint32_t ncols = matrix_get_number_columns(m1);
    owned_matrix result(matrix_create(1, ncols));
    if (!result) return nullptr;
    const owned_matrix means(matrix_create(1, ncols));
    if (!means) return nullptr;
    matrix_value *const squares = result->values[0];
    vela::with_elements(
        [&](auto a) { update_spread(a, m1, means->values[0], squares); }, m1);
    for (uint32_t j = 0; j < ncols; ++j)
        squares[j] = std::sqrt(squares[j] / m1->nrows);
    return result.release();
}

// --- distances ---

// A new nrows x 1 matrix: for each row the sum over its columns of
// difference(i, j) squared.
template <class Difference>
static struct matrix *sum_squares(uint32_t nrows, uint32_t ncols,
                                  Difference difference)
{
    struct matrix *const result = matrix_create(nrows, 1);
    if (result == nullptr) return nullptr;
    for (uint32_t i = 0; i < nrows; ++i) {
        matrix_value sum = 0.0;
        for (uint32_t j = 0; j < ncols; ++j) {
            const matrix_value d = difference(i, j);
            sum += d * d;
        }
        result->values[i][0] = sum;
    }
    return result;
}

// Takes the square root of each element of a column, if there is one.
static struct matrix *take_roots(struct matrix *column)
{
    if (column == nullptr) return nullptr;
    for (uint32_t i = 0; i < column->nrows; ++i)
        column->values[i][0] = std::sqrt(column->values[i][0]);
    return column;
}

struct matrix *matrix_euclidean_length(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    const uint32_t nrows = matrix_get_number_rows(m);
    const uint32_t ncols = matrix_get_number_columns(m);
    return take_roots(vela::with_elements(
        [=](auto a) {
            return sum_squares(nrows, ncols, [a](uint32_t i, uint32_t j) {
                return a.get(i, j);
            });
        },
        m));
}

struct matrix *matrix_euclidean_distance(const struct matrix *m1,
                                         const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    const uint32_t rows1 = matrix_get_number_rows(m1);
    const uint32_t cols1 = matrix_get_number_columns(m1);
    KOR_ASSERT(rows1 == matrix_get_number_rows(m2));
    KOR_ASSERT(cols1 == matrix_get_number_columns(m2));
    return take_roots(vela::with_elements(
        [=](auto a, auto b) {
            return sum_squares(rows1, cols1, [a, b](uint32_t i, uint32_t j) {
                return a.get(i, j) - b.get(i, j);
            });
        },
        m1, m2));
}

struct matrix *matrix_euclidean_distance_sq_with_row_vector(
    const struct matrix *m1, const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    const uint32_t nrows = matrix_get_number_rows(m1);
    const uint32_t ncols = matrix_get_number_columns(m1);
    KOR_ASSERT(matrix_get_number_rows(m2) == 1);
    KOR_ASSERT(ncols == matrix_get_number_columns(m2));
    return vela::with_elements(
        [=](auto a, auto vector) {
            return sum_squares(nrows, ncols, [=](uint32_t i, uint32_t j) {
                return a.get(i, j) - vector.get(0, j);
            });
        },
        m1, m2);
}

// --- Gaussian normalisation ---

// A copy of `m` with row pointers, or null.
static owned_matrix create_direct_copy(const struct matrix *m)
{
    owned_matrix copy(matrix_copy(m));
    if (copy && matrix_enable_direct_access(copy.get()) == nullptr)
        copy.reset();
    return copy;
}

// A copy of `m1` of formula(a(i,j), mean(0,j), deviation(0,j)).  A deviation
// of zero, within the tolerance, counts as one: a constant column is only
// shifted.
template <class Formula>
static struct matrix *rescale(const struct matrix *m1,
                              const struct matrix *mean,
                              const struct matrix *deviation, Formula formula)
{
    owned_matrix result = create_direct_copy(m1);
    if (!result) return nullptr;
    const owned_matrix sigmas = create_direct_copy(deviation);
    if (!sigmas) return nullptr;
    matrix_value *const sigma = sigmas->values[0];
    for (uint32_t j = 0; j < m1->ncols; ++j)
        if (matrix_value_is_equal(sigma[j], 0.0)) sigma[j] = 1.0;

    vela::with_elements(
        [&](auto scaled, auto mu) {
            for (uint32_t i = 0; i < m1->nrows; ++i)
                for (uint32_t j = 0; j < m1->ncols; ++j)
                    scaled.set(
                        i, j,
                        formula(scaled.get(i, j), mu.get(0, j), sigma[j]));
        },
        result.get(), mean);
    return result.release();
}

struct matrix *matrix_gaussian_normalize(const struct matrix *m1,
                                         const struct matrix *mean,
                                         const struct matrix *std)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(mean != NULL);
    KOR_ASSERT(std != NULL);
    const uint32_t cols = matrix_get_number_columns(m1);
    KOR_ASSERT(matrix_get_number_rows(mean) == 1);
    KOR_ASSERT(matrix_get_number_columns(mean) == cols);
    KOR_ASSERT(matrix_is_equal_dimensions(mean, std));
    return rescale(m1, mean, std,
                   [](matrix_value x, matrix_value mu, matrix_value sigma) {
                       return (x - mu) / sigma;
                   });
}

struct matrix *matrix_gaussian_denormalize(const struct matrix *m1,
                                           const struct matrix *mean,
                                           const struct matrix *std)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(mean != NULL);
    KOR_ASSERT(std != NULL);
    const uint32_t cols = matrix_get_number_columns(m1);
    KOR_ASSERT(matrix_get_number_rows(mean) == 1);
    KOR_ASSERT(matrix_get_number_columns(mean) == cols);
    KOR_ASSERT(matrix_is_equal_dimensions(mean, std));
    return rescale(m1, mean, std,
                   [](matrix_value x, matrix_value mu, matrix_value sigma) {
                       return sigma * x + mu;
                   });
}
