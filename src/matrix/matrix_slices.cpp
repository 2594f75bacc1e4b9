// matrix_slices.cpp: rows, columns and blocks of a matrix.
//
// Blocks are copied element by element in ascending order: where source and
// target overlap, that order shows.
#include "matrix_slices.h"

#include <algorithm>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "matrix/elements.hpp"
#include "matrix/kinds.hpp"

// A matrix of the kind of `m` around the inner object that `make_inner` gives,
// or null when either has failed.
template <class MakeInner>
static struct matrix *create_slice(const struct matrix *m, uint32_t nrows,
                                   uint32_t ncols, MakeInner make_inner)
{
    vela::heap<struct matrix> slice(
        static_cast<struct matrix *>(std::malloc(sizeof(struct matrix))));
    if (!slice) return vela::fail(KOR_ERR_NO_MEMORY);
    void *const inner = make_inner();
    if (inner == nullptr) return nullptr;
    _matrix_init(slice.get(), m->type, nrows, ncols);
    slice->matrix = inner;
    _matrix_copy_metadata(m, slice.get());
    return slice.release();
}

struct matrix *matrix_get_columns(const struct matrix *m,
                                  const uint32_t *col_indices,
                                  uint32_t nindices)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    KOR_ASSERT(m->nrows > 0);
    KOR_ASSERT(m->ncols > 0);
    KOR_ASSERT(col_indices != NULL);
    KOR_ASSERT(nindices > 0);
    if (m->type != MATRIX_TYPE_REGULAR) {
        KOR_ASSERT(m->matrix != NULL);
        KOR_ASSERT(m->fn_get_col_slice != NULL);
        struct matrix *const slice = create_slice(m, m->nrows, nindices, [=] {
            return m->fn_get_col_slice(m->matrix, col_indices, nindices);
        });
        if (slice == nullptr) KOR_ASSERT(vela_get_last_error() < 0);
        return slice;
    }

    for (uint32_t k = 0; k < nindices; ++k) {
        const uint32_t j = col_indices[k];
        KOR_ASSERT(j < m->ncols);
    }
    struct matrix *const slice = matrix_create(m->nrows, nindices);
    if (slice == nullptr) return nullptr;
    for (uint32_t i = 0; i < m->nrows; ++i)
        for (uint32_t k = 0; k < nindices; ++k)
            slice->values[i][k] = m->values[i][col_indices[k]];
    return slice;
}

struct matrix *matrix_get_rows(const struct matrix *m,
                               const uint32_t *row_indices, uint32_t nindices)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    KOR_ASSERT(m->nrows > 0);
    KOR_ASSERT(m->ncols > 0);
    KOR_ASSERT(row_indices != NULL);
    KOR_ASSERT(nindices > 0);
    if (m->type != MATRIX_TYPE_REGULAR) {
        KOR_ASSERT(m->matrix != NULL);
        KOR_ASSERT(m->fn_get_row_slice != NULL);
        struct matrix *const slice = create_slice(m, nindices, m->ncols, [=] {
            return m->fn_get_row_slice(m->matrix, row_indices, nindices);
        });
        if (slice == nullptr) KOR_ASSERT(vela_get_last_error() < 0);
        return slice;
    }

    for (uint32_t k = 0; k < nindices; ++k) {
        const uint32_t i = row_indices[k];
        KOR_ASSERT(i < m->nrows);
    }
    struct matrix *const slice = matrix_create(nindices, m->ncols);
    if (slice == nullptr) return nullptr;
    for (uint32_t k = 0; k < nindices; ++k)
        std::copy_n(m->values[row_indices[k]], m->ncols, slice->values[k]);
    return slice;
}

int matrix_set_columns(struct matrix *m, const struct matrix *vals,
                       const uint32_t *col_indices)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    KOR_ASSERT(m->nrows > 0);
    KOR_ASSERT(m->ncols > 0);
    KOR_ASSERT(vals != NULL);
    KOR_ASSERT(m->nrows == vals->nrows);
    KOR_ASSERT(col_indices != NULL);
    for (uint32_t k = 0; k < vals->ncols; ++k) {
        const uint32_t j = col_indices[k];
        KOR_ASSERT(j < m->ncols);
    }
    vela::with_elements(
        [&](auto to, auto from) {
            for (uint32_t i = 0; i < vals->nrows; ++i)
                for (uint32_t k = 0; k < vals->ncols; ++k)
                    to.set(i, col_indices[k], from.get(i, k));
        },
        m, vals);
    if (m->type == MATRIX_TYPE_REGULAR) return KOR_OK;
    KOR_ASSERT(m->fn_set_columns != NULL);
    KOR_ASSERT(m->matrix != NULL);
    return m->fn_set_columns(m->matrix, vals, col_indices);
}

int matrix_set_rows(struct matrix *m, const struct matrix *vals,
                    const uint32_t *row_indices)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    KOR_ASSERT(m->nrows > 0);
    KOR_ASSERT(m->ncols > 0);
    KOR_ASSERT(vals != NULL);
    KOR_ASSERT(m->ncols == vals->ncols);
    KOR_ASSERT(row_indices != NULL);
    for (uint32_t k = 0; k < vals->nrows; ++k) {
        const uint32_t i = row_indices[k];
        KOR_ASSERT(i < m->nrows);
    }
    vela::with_elements(
        [&](auto to, auto from) {
            for (uint32_t k = 0; k < vals->nrows; ++k)
                for (uint32_t j = 0; j < vals->ncols; ++j)
                    to.set(row_indices[k], j, from.get(k, j));
        },
        m, vals);
    if (m->type == MATRIX_TYPE_REGULAR) return KOR_OK;
    KOR_ASSERT(m->fn_set_rows != NULL);
    KOR_ASSERT(m->matrix != NULL);
    return m->fn_set_rows(m->matrix, vals, row_indices);
}

// The bounds of a block are checked in 64 bits, where no sum wraps, under the
// names that the interface gives the arguments.

struct matrix *matrix_get_submatrix(const struct matrix *m, uint32_t first_row,
                                    uint32_t height, uint32_t first_col,
                                    uint32_t width)
{
    KOR_ASSERT(m != NULL);
    const uint64_t start_row = first_row;
    const uint64_t nrows = height;
    const uint64_t start_col = first_col;
    const uint64_t ncols = width;
    KOR_ASSERT(start_row < matrix_get_number_rows(m));
    KOR_ASSERT(start_row + nrows - 1 < matrix_get_number_rows(m));
    KOR_ASSERT(start_col < matrix_get_number_columns(m));
    KOR_ASSERT(start_col + ncols - 1 < matrix_get_number_columns(m));
    struct matrix *const block = matrix_create(height, width);
    if (block == nullptr) return nullptr;
    vela::with_elements(
        [&](auto to, auto from) {
            for (uint32_t i = 0; i < height; ++i)
                for (uint32_t j = 0; j < width; ++j)
                    to.set(i, j, from.get(first_row + i, first_col + j));
        },
        block, m);
    return block;
}

void matrix_set_submatrix(struct matrix *m, const struct matrix *vals,
                          uint32_t first_row, uint32_t height,
                          uint32_t first_col, uint32_t width,
                          uint32_t v_first_row, uint32_t v_first_col)
{
    KOR_ASSERT(m != NULL);
    const uint64_t start_row = first_row;
    const uint64_t nrows = height;
    const uint64_t start_col = first_col;
    const uint64_t ncols = width;
    KOR_ASSERT(start_row < matrix_get_number_rows(m));
    KOR_ASSERT(start_row + nrows - 1 < matrix_get_number_rows(m));
    KOR_ASSERT(start_col < matrix_get_number_columns(m));
    KOR_ASSERT(start_col + ncols - 1 < matrix_get_number_columns(m));
    KOR_ASSERT(vals != NULL);
    const uint64_t v_start_row = v_first_row;
    const uint64_t v_start_col = v_first_col;
    KOR_ASSERT(v_start_row < matrix_get_number_rows(vals));
    KOR_ASSERT(v_start_row + nrows - 1 < matrix_get_number_rows(vals));
    KOR_ASSERT(v_start_col < matrix_get_number_columns(vals));
    KOR_ASSERT(v_start_col + ncols - 1 < matrix_get_number_columns(vals));
    vela::with_elements(
        [&](auto to, auto from) {
            for (uint32_t i = 0; i < height; ++i)
                for (uint32_t j = 0; j < width; ++j)
                    to.set(first_row + i, first_col + j,
                           from.get(v_first_row + i, v_first_col + j));
        },
        m, vals);
}
