/*
 * matrix_ops.h: arithmetic and column statistics.
 *
 * Operands of every kind are accepted, borrowed and left as they are; only
 * matrix_accum, matrix_clear and matrix_accum_element change theirs.  New
 * matrices are the caller's.  "Like m" means of the kind of m, a telemetry
 * matrix with its sensors and time stamps; other results are regular.
 *
 * Functions that return a matrix return null with KOR_ERR_NO_MEMORY (-22) as
 * the last error when there is no memory.  Sizes that do not fit are asserted.
 * Sums start at 0.0 and add in ascending order.
 */
#ifndef LIBKOR_MATRIX_OPS_H
#define LIBKOR_MATRIX_OPS_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

/* Like m: a * s. */
struct matrix *matrix_scalar_multiply(const struct matrix *m, matrix_value s);

/*
 * Like m: a / s.
 *
 * Returns  the matrix; null with KOR_ERR_DIVISION_BY_ZERO (-10) as the last
 *          error for an s of at most 1e-6 in size
 */
struct matrix *matrix_scalar_divide(const struct matrix *m, matrix_value s);

/* Adds m2, of the same size, to m1 in place. */
void matrix_accum(struct matrix *m1, const struct matrix *m2);

/* Like m1: m1 + m2 and m1 - m2, of the same size. */
struct matrix *matrix_add(const struct matrix *m1, const struct matrix *m2);
struct matrix *matrix_subtract(const struct matrix *m1,
                               const struct matrix *m2);

/* The product, rows of m1 x columns of m2; regular. */
struct matrix *matrix_multiply(const struct matrix *m1,
                               const struct matrix *m2);

/* Like m: a * a. */
struct matrix *matrix_elemental_square(const struct matrix *m);

/*
 * Like m: the square roots.
 *
 * Returns  the matrix; null with KOR_ERR_NEGATIVE_ROOT (-50) as the last error
 *          for any element below 0.  -0.0 and NaN stay as they are
 */
struct matrix *matrix_elemental_sqrt(const struct matrix *m);

/* Like m: e to the power of a. */
struct matrix *matrix_elemental_exp(const struct matrix *m);

/* Like m: a without its sign bit. */
struct matrix *matrix_elemental_abs(const struct matrix *m);

/* Sets every element to 0.0. */
void matrix_clear(struct matrix *m);

/* Adds v to one element and returns the sum. */
matrix_value matrix_accum_element(struct matrix *m, uint32_t i, uint32_t j,
                                  matrix_value v);

/*
 * 1 x ncols, regular: the sum, the mean and the standard deviation of each
 * column.  The deviation is that of the population (divisor nrows), by the
 * running update of Welford, "Note on a method for calculating corrected sums
 * of squares and products", Technometrics 4 (1962).
 */
struct matrix *matrix_column_sum(const struct matrix *m1);
struct matrix *matrix_column_mean(const struct matrix *m1);
struct matrix *matrix_column_std_dev(const struct matrix *m1);

/* nrows x 1, regular: the Euclidean length of each row. */
struct matrix *matrix_euclidean_length(const struct matrix *m);

/* nrows x 1, regular: the distance of each row of m1 from that of m2. */
struct matrix *matrix_euclidean_distance(const struct matrix *m1,
                                         const struct matrix *m2);

/*
 * nrows x 1, regular: the square of the distance of each row of m1 from m2.
 *
 * m2  1 x columns of m1
 */
struct matrix *matrix_euclidean_distance_sq_with_row_vector(
    const struct matrix *m1, const struct matrix *m2);

/*
 * Scale each column j: (a - mean(0,j)) / std(0,j), and std(0,j) * a +
 * mean(0,j). A deviation of at most 1e-6 in size counts as 1: the column is
 * only shifted.
 *
 * mean, std  1 x columns of m1
 * Returns    a copy of m1, but regular where m1 is transposed
 */
struct matrix *matrix_gaussian_normalize(const struct matrix *m1,
                                         const struct matrix *mean,
                                         const struct matrix *std);
struct matrix *matrix_gaussian_denormalize(const struct matrix *m1,
                                           const struct matrix *mean,
                                           const struct matrix *std);

KOR_END_DECLS

#endif
