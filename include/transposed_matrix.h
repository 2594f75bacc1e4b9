/*
 * transposed_matrix.h: a view of a matrix with rows and columns swapped.
 *
 * Reads and writes go through to the matrix viewed, until direct access makes
 * the view a regular matrix of its own (matrix_enable_direct_access).
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

/*
 * Make a view.
 *
 * orig_m, matrix  taken over, but the caller's on failure
 * Returns         0, or the view; KOR_ERR_NO_MEMORY (-22), or null with it as
 *                 the last error.  After a failed init m must not be destructed
 */
int transposed_matrix_init(struct matrix *m, struct matrix *orig_m);
struct matrix *transposed_matrix_create(struct matrix *matrix);

/* Leaves the matrix viewed to the caller, who must keep it while m lives. */
void transposed_matrix_detach_original_matrix(struct matrix *m);

KOR_END_DECLS

#endif
