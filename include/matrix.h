/*
 * matrix.h: a dense matrix of doubles: regular, transposed or telemetry.
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

int _matrix_init(struct matrix *m, uint32_t type, uint32_t nrows,
                 uint32_t ncols);
void _matrix_destruct(struct matrix *m);
void _matrix_copy_metadata(const struct matrix *from, struct matrix *to);
int matrix_init(struct matrix *m, uint32_t nrows, uint32_t ncols);
struct matrix *matrix_create(uint32_t nrows, uint32_t ncols);
struct matrix *matrix_create_with_dimensions(uint32_t nrows, uint32_t ncols);
int matrix_init_null(struct matrix *m);
struct matrix *matrix_create_null(void);
struct matrix *matrix_create_identity(uint32_t n);
struct matrix *matrix_create_ones(uint32_t m, uint32_t n);
struct matrix *matrix_create_like(const struct matrix *m);
struct matrix *matrix_create_like_binary_operands(const struct matrix *m1,
                                                  const struct matrix *m2);
struct matrix *matrix_copy(const struct matrix *m);
void matrix_destruct(struct matrix *m);
void matrix_destroy(struct matrix **m);
matrix_value matrix_get(const struct matrix *m, uint32_t i, uint32_t j);
void matrix_set(struct matrix *m, uint32_t i, uint32_t j, matrix_value value);
uint32_t matrix_get_number_rows(const struct matrix *m);
uint32_t matrix_get_number_columns(const struct matrix *m);
uint32_t matrix_get_type(const struct matrix *m);
matrix_value **matrix_enable_direct_access(struct matrix *m);
int matrix_resize(struct matrix *matrix, uint32_t nrows, uint32_t ncols);
matrix_value matrix_norm_F(const struct matrix *m);
matrix_value matrix_norm_inf(const struct matrix *m);
struct matrix *matrix_inverse(const struct matrix *m);
matrix_value matrix_condition_number_inf(const struct matrix *m);

KOR_END_DECLS

#endif
