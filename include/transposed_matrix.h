/*
 * transposed_matrix.h: a view of a matrix with rows and columns swapped.
 */
#ifndef LIBKOR_TRANSPOSED_MATRIX_H
#define LIBKOR_TRANSPOSED_MATRIX_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

#define TRANSPOSED_MATRIX_VERSION 1

KOR_STRUCT(transposed_matrix_body);
struct transposed_matrix_body {
    uint8_t version;       /* TRANSPOSED_MATRIX_VERSION */
    struct matrix *matrix; /* the matrix viewed */
    uint32_t owns_matrix;  /* 1: matrix is destroyed with it */
};

int transposed_matrix_init(struct matrix *m, struct matrix *orig_m);
struct matrix *transposed_matrix_create(struct matrix *matrix);
void transposed_matrix_detach_original_matrix(struct matrix *m);

KOR_END_DECLS

#endif
