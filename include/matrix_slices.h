/*
 * matrix_slices.h: rows, columns and blocks of a matrix.
 *
 * Indices count from 0, may repeat and come in any order; one beyond the matrix
 * aborts.  Operands of every kind are accepted and borrowed.  Functions that
 * return a matrix give it to the caller, or return null with KOR_ERR_NO_MEMORY
 * (-22) as the last error.
 */
#ifndef LIBKOR_MATRIX_SLICES_H
#define LIBKOR_MATRIX_SLICES_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

/*
 * Some columns or rows as a new matrix of the same kind; of a telemetry matrix
 * with the sensors or time stamps that belong to them.
 *
 * nindices  > 0
 * Returns   the matrix; null without memory, but a transposed matrix whose
 *           columns cannot be copied aborts
 */
struct matrix *matrix_get_columns(const struct matrix *m,
                                  const uint32_t *col_indices,
                                  uint32_t nindices);
struct matrix *matrix_get_rows(const struct matrix *m,
                               const uint32_t *row_indices, uint32_t nindices);

/*
 * Store column k of vals as column col_indices[k], or row k as row
 * row_indices[k].  If both are telemetry, m also takes the sensor of each
 * column and all time stamps, or the time stamp of each row and all sensors.
 * Single sensors and time stamps show in copies of m too.
 *
 * vals     as many rows (or columns) as m
 * Returns  0; KOR_ERR_NO_MEMORY (-22), the values already stored.  Columns
 *          whose time stamps find no memory give 0 and leave m without any
 */
int matrix_set_columns(struct matrix *m, const struct matrix *vals,
                       const uint32_t *col_indices);
int matrix_set_rows(struct matrix *m, const struct matrix *vals,
                    const uint32_t *row_indices);

/* A block as a new regular matrix; the block must lie inside. */
struct matrix *matrix_get_submatrix(const struct matrix *m, uint32_t start_row,
                                    uint32_t nrows, uint32_t start_col,
                                    uint32_t ncols);

/*
 * Copies the nrows x ncols block of vals at (v_start_row, v_start_col) to
 * (start_row, start_col) of m, element by element in ascending order; both must
 * lie inside.
 */
void matrix_set_submatrix(struct matrix *m, const struct matrix *vals,
                          uint32_t start_row, uint32_t nrows,
                          uint32_t start_col, uint32_t ncols,
                          uint32_t v_start_row, uint32_t v_start_col);

KOR_END_DECLS

#endif
