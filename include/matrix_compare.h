/*
 * matrix_compare.h: element-wise comparison.
 */
#ifndef LIBKOR_MATRIX_COMPARE_H
#define LIBKOR_MATRIX_COMPARE_H

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

int matrix_is_equal_dimensions(const struct matrix *m1,
                               const struct matrix *m2);
int matrix_is_equal(const struct matrix *m1, const struct matrix *m2);
int matrix_is_less(const struct matrix *m1, const struct matrix *m2);
int matrix_is_less_equal(const struct matrix *m1, const struct matrix *m2);
int matrix_is_greater(const struct matrix *m1, const struct matrix *m2);
int matrix_is_greater_equal(const struct matrix *m1, const struct matrix *m2);
int matrix_is_equal_scalar(const struct matrix *m, matrix_value s);
int matrix_is_less_scalar(const struct matrix *m, matrix_value s);
int matrix_is_less_equal_scalar(const struct matrix *m, matrix_value s);
int matrix_is_greater_scalar(const struct matrix *m, matrix_value s);
int matrix_is_greater_equal_scalar(const struct matrix *m, matrix_value s);

KOR_END_DECLS

#endif
