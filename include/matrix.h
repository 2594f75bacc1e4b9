/*
 * matrix.h: a dense matrix of doubles: regular, transposed or telemetry.
 *
 * A regular matrix owns its values.  A transposed matrix is a view of another
 * one (transposed_matrix.h); a telemetry matrix labels columns with sensors and
 * rows with time stamps (telemetry_matrix.h).  All kinds share the functions
 * below.
 *
 * Every function asserts that its pointers are not null and that the version is
 * MATRIX_VERSION.  Functions that return a new matrix give it to the caller,
 * who releases it with matrix_destroy, or return null with the last error set:
 * KOR_ERR_NO_MEMORY (-22) unless they say otherwise.  Operands are borrowed;
 * const ones keep their kind and values.  Memory comes from malloc and calloc.
 */
#ifndef LIBKOR_MATRIX_H
#define LIBKOR_MATRIX_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix_value.h"

KOR_BEGIN_DECLS

#define MATRIX_VERSION 1
#define MATRIX_TYPE_REGULAR 1
#define MATRIX_TYPE_TRANSPOSED 2
#define MATRIX_TYPE_TELEMETRY 3

KOR_STRUCT(matrix);
struct matrix {
    uint8_t version;       /* MATRIX_VERSION; 0 after destruction */
    uint32_t type;         /* MATRIX_TYPE_*; 0 in a null matrix */
    matrix_value **values; /* row pointers; null without direct access */
    uint32_t nrows;        /* > 0 once initialised */
    uint32_t ncols;        /* > 0 once initialised */
    void *matrix;          /* inner object; null in a regular matrix */
    /* The operations of the kind; null in a regular matrix. */
    void (*fn_destroy)(void **inner);
    matrix_value (*fn_get)(void *inner, uint32_t i, uint32_t j);
    void (*fn_set)(void *inner, uint32_t i, uint32_t j, matrix_value value);
    void *(*fn_create_like)(void *inner);
    void *(*fn_get_col_slice)(void *inner, const uint32_t *indices,
                              uint32_t nindices);
    void *(*fn_get_row_slice)(void *inner, const uint32_t *indices,
                              uint32_t nindices);
    void *(*fn_copy)(void *inner);
    int (*fn_resize)(void *inner, uint32_t nrows, uint32_t ncols);
    int (*fn_set_rows)(void *inner, const struct matrix *vals,
                       const uint32_t *row_indices);
    int (*fn_set_columns)(void *inner, const struct matrix *vals,
                          const uint32_t *col_indices);
};

/*
 * Fills the head of a matrix of any kind and touches neither the inner object
 * nor the operations.
 *
 * Returns  0
 */
int _matrix_init(struct matrix *m, uint32_t type, uint32_t nrows,
                 uint32_t ncols);

/* Clears version, type and size; releases nothing. */
void _matrix_destruct(struct matrix *m);

/*
 * Gives `to` the operations of `from`, and row pointers if `from` has them.
 * Without memory for those, `to` stays without.
 */
void _matrix_copy_metadata(const struct matrix *from, struct matrix *to);

/*
 * Make a regular matrix of zeros.
 *
 * nrows, ncols  > 0
 * Returns       0; KOR_ERR_NO_MEMORY (-22), also as the last error, after which
 *               m holds nothing and must not be destructed
 */
int matrix_init(struct matrix *m, uint32_t nrows, uint32_t ncols);

/* The same on the heap; the second is another name of the first. */
struct matrix *matrix_create(uint32_t nrows, uint32_t ncols);
struct matrix *matrix_create_with_dimensions(uint32_t nrows, uint32_t ncols);

/*
 * Make the empty matrix that binary_serializer_read_matrix fills.  Its type is
 * 0, and it may not be asked its size.
 *
 * Returns  0, or the matrix
 */
int matrix_init_null(struct matrix *m);
struct matrix *matrix_create_null(void);

/* A regular n x n matrix with ones on the diagonal. */
struct matrix *matrix_create_identity(uint32_t n);

/* A regular m x n matrix of ones. */
struct matrix *matrix_create_ones(uint32_t m, uint32_t n);

/*
 * A matrix of zeros of the kind and size of m, with its sensors and time stamps
 * if it is telemetry.
 *
 * Returns  the matrix, or null.  A failed inner object is stored unchecked:
 *          a view then comes back without one, a telemetry matrix aborts
 */
struct matrix *matrix_create_like(const struct matrix *m);

/* The same as m1; asserts that both have the same size. */
struct matrix *matrix_create_like_binary_operands(const struct matrix *m1,
                                                  const struct matrix *m2);

/*
 * A copy of the same kind with values of its own.  Sensors and time stamps are
 * shared with m.
 */
struct matrix *matrix_copy(const struct matrix *m);

/*
 * Releases what the matrix holds, including the inner object; destroy also
 * frees it and clears the caller's pointer.
 */
void matrix_destruct(struct matrix *m);
void matrix_destroy(struct matrix **m);

/*
 * One element.  With row pointers the indices are asserted to lie inside;
 * without, that is the business of the inner object.
 */
matrix_value matrix_get(const struct matrix *m, uint32_t i, uint32_t j);
void matrix_set(struct matrix *m, uint32_t i, uint32_t j, matrix_value value);

/* The size, which must not be 0. */
uint32_t matrix_get_number_rows(const struct matrix *m);
uint32_t matrix_get_number_columns(const struct matrix *m);

/* MATRIX_TYPE_*, or 0 for a null matrix. */
uint32_t matrix_get_type(const struct matrix *m);

/*
 * Gives the matrix row pointers, which it keeps.  A transposed matrix becomes
 * a regular one for good, and what it views is destroyed if owned.
 *
 * Returns  the row pointers, borrowed: element (i, j) is at [i][j]; null with
 *          KOR_ERR_NO_MEMORY (-22) as the last error, nothing changed
 */
matrix_value **matrix_enable_direct_access(struct matrix *m);

/*
 * Changes the size.  The top left stays, new elements are 0, new sensors and
 * time stamps are null.
 *
 * nrows, ncols  > 0
 * Returns       0; KOR_ERR_NO_MEMORY (-22), nothing changed
 */
int matrix_resize(struct matrix *matrix, uint32_t nrows, uint32_t ncols);

/* The Frobenius norm.  Asserts that the sum of squares is a number. */
matrix_value matrix_norm_F(const struct matrix *m);

/* The largest sum of absolute values of a row; rows with a NaN do not count. */
matrix_value matrix_norm_inf(const struct matrix *m);

/*
 * The inverse, from an LU decomposition with full pivoting.
 *
 * m        n x n; of rank n by the threshold matrix_value_unit_roundoff.  A
 *          1 x 1 zero is divided by
 * Returns  a regular matrix; null for a singular m, the last error untouched,
 *          or without memory (-22)
 */
struct matrix *matrix_inverse(const struct matrix *m);

/*
 * The condition number: the infinity norms of m and its inverse multiplied.
 *
 * Returns  the number; -1.0 where matrix_inverse gives null
 */
matrix_value matrix_condition_number_inf(const struct matrix *m);

KOR_END_DECLS

#endif
