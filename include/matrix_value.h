/*
 * matrix_value.h: the element of a matrix: a double.
 */
#ifndef LIBKOR_MATRIX_VALUE_H
#define LIBKOR_MATRIX_VALUE_H

#include "kor_export.h"

KOR_BEGIN_DECLS

typedef double matrix_value;

/* The largest and the most negative finite double. */
matrix_value matrix_value_max(void);
matrix_value matrix_value_min(void);

/* double_compare and double_is_equal: within an absolute 1e-6. */
int matrix_value_compare(matrix_value a, matrix_value b);
int matrix_value_is_equal(matrix_value a, matrix_value b);

/* The number at the start of a text; 0 if there is none. */
matrix_value matrix_value_from_string(const char *str);

/* 2.2e-16: a pivot must be larger to count. */
matrix_value matrix_value_unit_roundoff(void);

KOR_END_DECLS

#endif
