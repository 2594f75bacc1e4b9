/*
 * matrix_compare.h: element-wise comparison.
 *
 * All return 1 if the relation holds of every element, else 0; matrices of
 * different sizes are not related.  Any kinds may be compared.  A NaN makes
 * every ordering false.
 */
#ifndef LIBKOR_MATRIX_COMPARE_H
#define LIBKOR_MATRIX_COMPARE_H

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

/* Whether both have the same number of rows and of columns. */
int matrix_is_equal_dimensions(const struct matrix *m1,
                               const struct matrix *m2);

/* Within an absolute 1e-6; a NaN equals a NaN. */
int matrix_is_equal(const struct matrix *m1, const struct matrix *m2);

/* Exact: every element of m1 compared with that of m2. */
int matrix_is_less(const struct matrix *m1, const struct matrix *m2);
int matrix_is_less_equal(const struct matrix *m1, const struct matrix *m2);
int matrix_is_greater(const struct matrix *m1, const struct matrix *m2);
int matrix_is_greater_equal(const struct matrix *m1, const struct matrix *m2);

/* Exact: every element of m compared with s. */
int matrix_is_equal_scalar(const struct matrix *m, matrix_value s);
int matrix_is_less_scalar(const struct matrix *m, matrix_value s);
int matrix_is_less_equal_scalar(const struct matrix *m, matrix_value s);
int matrix_is_greater_scalar(const struct matrix *m, matrix_value s);
int matrix_is_greater_equal_scalar(const struct matrix *m, matrix_value s);

KOR_END_DECLS

#endif
