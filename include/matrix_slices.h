/*
 * matrix_slices.h: rows, columns and blocks of a matrix.
 */
#ifndef LIBKOR_MATRIX_SLICES_H
#define LIBKOR_MATRIX_SLICES_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

struct matrix *matrix_get_columns(const struct matrix *m,
                                  const uint32_t *col_indices,
                                  uint32_t nindices);
struct matrix *matrix_get_rows(const struct matrix *m,
                               const uint32_t *row_indices, uint32_t nindices);
int matrix_set_columns(struct matrix *m, const struct matrix *vals,
                       const uint32_t *col_indices);
int matrix_set_rows(struct matrix *m, const struct matrix *vals,
                    const uint32_t *row_indices);
struct matrix *matrix_get_submatrix(const struct matrix *m, uint32_t start_row,
                                    uint32_t nrows, uint32_t start_col,
                                    uint32_t ncols);
void matrix_set_submatrix(struct matrix *m, const struct matrix *vals,
                          uint32_t start_row, uint32_t nrows,
                          uint32_t start_col, uint32_t ncols,
                          uint32_t v_start_row, uint32_t v_start_col);

KOR_END_DECLS

#endif
