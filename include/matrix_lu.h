/*
 * matrix_lu.h: LU decomposition with full pivoting.
 *
 * Step k exchanges the largest element of the remaining block, the first in
 * row-major order, into (k, k) and eliminates below it (Golub and Van Loan,
 * "Matrix Computations", complete pivoting).  A pivot must be larger than
 * matrix_value_unit_roundoff to count.
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

/*
 * Decomposes a square matrix of any kind.
 *
 * m        borrowed, not changed
 * Returns  the decomposition, released with matrix_lu_destroy; null with
 *          KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct matrix_lu *matrix_lu_create(const struct matrix *m);

/* Releases all five matrices and clears the caller's pointer. */
void matrix_lu_destroy(struct matrix_lu **m);

/* The number of pivots that count, but 1 for a matrix without any. */
uint32_t matrix_lu_get_rank(const struct matrix_lu *m);

/* The product of the pivots; the determinant but for its sign. */
matrix_value matrix_lu_get_det(const struct matrix_lu *m);

/*
 * L with the row exchanges undone and U with the column exchanges undone: their
 * product is the matrix decomposed.
 *
 * Returns  a matrix lent until the decomposition is destroyed, the same one
 *          every time; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct matrix *matrix_lu_get_lower(struct matrix_lu *m);
struct matrix *matrix_lu_get_upper(struct matrix_lu *m);

/*
 * Solves m * x = b for the first column of b.
 *
 * m        n x n
 * b        n rows; further columns come back permuted, not solved
 * Returns  a copy of b that holds x; null for a singular m, the last error
 *          untouched, or without memory (-22)
 */
struct matrix *matrix_lu_solve_for(const struct matrix *m,
                                   const struct matrix *b);

KOR_END_DECLS

#endif
