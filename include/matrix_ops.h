/*
 * matrix_ops.h: arithmetic and column statistics.
 */
#ifndef LIBKOR_MATRIX_OPS_H
#define LIBKOR_MATRIX_OPS_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

struct matrix *matrix_scalar_multiply(const struct matrix *m, matrix_value s);
struct matrix *matrix_scalar_divide(const struct matrix *m, matrix_value s);
void matrix_accum(struct matrix *m1, const struct matrix *m2);
struct matrix *matrix_add(const struct matrix *m1, const struct matrix *m2);
struct matrix *matrix_subtract(const struct matrix *m1,
                               const struct matrix *m2);
struct matrix *matrix_multiply(const struct matrix *m1,
                               const struct matrix *m2);
struct matrix *matrix_elemental_square(const struct matrix *m);
struct matrix *matrix_elemental_sqrt(const struct matrix *m);
struct matrix *matrix_elemental_exp(const struct matrix *m);
struct matrix *matrix_elemental_abs(const struct matrix *m);
void matrix_clear(struct matrix *m);
matrix_value matrix_accum_element(struct matrix *m, uint32_t i, uint32_t j,
                                  matrix_value v);
struct matrix *matrix_column_sum(const struct matrix *m1);
struct matrix *matrix_column_mean(const struct matrix *m1);
struct matrix *matrix_column_std_dev(const struct matrix *m1);
struct matrix *matrix_euclidean_length(const struct matrix *m);
struct matrix *matrix_euclidean_distance(const struct matrix *m1,
                                         const struct matrix *m2);
struct matrix *matrix_euclidean_distance_sq_with_row_vector(
    const struct matrix *m1, const struct matrix *m2);
struct matrix *matrix_gaussian_normalize(const struct matrix *m1,
                                         const struct matrix *mean,
                                         const struct matrix *std);
struct matrix *matrix_gaussian_denormalize(const struct matrix *m1,
                                           const struct matrix *mean,
                                           const struct matrix *std);

KOR_END_DECLS

#endif
