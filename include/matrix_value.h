/*
 * matrix_value.h: the element of a matrix: a double.
 */
#ifndef LIBKOR_MATRIX_VALUE_H
#define LIBKOR_MATRIX_VALUE_H

#include "kor_export.h"

KOR_BEGIN_DECLS

typedef double matrix_value;

matrix_value matrix_value_max(void);
matrix_value matrix_value_min(void);
int matrix_value_compare(matrix_value a, matrix_value b);
int matrix_value_is_equal(matrix_value a, matrix_value b);
matrix_value matrix_value_from_string(const char *str);
matrix_value matrix_value_unit_roundoff(void);

KOR_END_DECLS

#endif
