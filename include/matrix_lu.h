/*
 * matrix_lu.h: LU decomposition with full pivoting.
 */
#ifndef LIBKOR_MATRIX_LU_H
#define LIBKOR_MATRIX_LU_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

KOR_STRUCT(matrix_lu);
struct matrix_lu {
    struct matrix *matrix; /* U on and above the diagonal, L below it */
    struct matrix *lower;  /* made by the first matrix_lu_get_lower */
    struct matrix *upper;  /* made by the first matrix_lu_get_upper */
    struct matrix *p;      /* n x 1: the row swapped into row k at step k */
    struct matrix *q;      /* n x 1: the column swapped into column k */
    uint32_t rank;         /* 1 .. n */
    matrix_value det;      /* product of the pivots, without their sign */
};

struct matrix_lu *matrix_lu_create(const struct matrix *m);
void matrix_lu_destroy(struct matrix_lu **m);
uint32_t matrix_lu_get_rank(const struct matrix_lu *m);
matrix_value matrix_lu_get_det(const struct matrix_lu *m);
struct matrix *matrix_lu_get_lower(struct matrix_lu *m);
struct matrix *matrix_lu_get_upper(struct matrix_lu *m);
struct matrix *matrix_lu_solve_for(const struct matrix *m,
                                   const struct matrix *b);

KOR_END_DECLS

#endif
