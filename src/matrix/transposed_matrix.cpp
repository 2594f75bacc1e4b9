// transposed_matrix.cpp: a view of a matrix with rows and columns swapped.
//
// The outer matrix has no row pointers of its own; asking for them turns it
// into a regular matrix for good.
#include "transposed_matrix.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "matrix/kinds.hpp"
#include "matrix_slices.h"

using body = struct transposed_matrix_body;

static body *_transposed_matrix_create_body(struct matrix *matrix)
{
    auto *const tmatrix = static_cast<body *>(std::malloc(sizeof(body)));
    if (tmatrix == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    tmatrix->version = TRANSPOSED_MATRIX_VERSION;
    tmatrix->matrix = matrix;
    tmatrix->owns_matrix = 1;
    return tmatrix;
}

// A body that takes over a matrix just made, or null when that has failed.
static body *_transposed_matrix_wrap(struct matrix *made)
{
    vela::owned<matrix_destroy> matrix(made);
    if (!matrix) return nullptr;
    body *const tmatrix = _transposed_matrix_create_body(matrix.get());
    if (tmatrix != nullptr) matrix.release();
    return tmatrix;
}

// --- operations ---

static void _transposed_matrix_destroy(void **inner)
{
    auto *const tmatrix = static_cast<body *>(*inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    if (tmatrix->matrix != nullptr && tmatrix->owns_matrix != 0)
        matrix_destroy(&tmatrix->matrix);
    std::free(tmatrix);
    *inner = nullptr;
}

static matrix_value _transposed_matrix_get(void *inner, uint32_t i, uint32_t j)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return matrix_get(tmatrix->matrix, j, i);
}

static void _transposed_matrix_set(void *inner, uint32_t i, uint32_t j,
                                   matrix_value value)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    matrix_set(tmatrix->matrix, j, i, value);
}

static void *_transposed_matrix_create_like(void *inner)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return _transposed_matrix_wrap(vela::create_whole_like(tmatrix->matrix));
}

static void *_transposed_matrix_get_columns(void *inner,
                                            const uint32_t *indices,
                                            uint32_t nindices)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    KOR_ASSERT(indices != NULL);
    KOR_ASSERT(nindices > 0);
    struct matrix *const slices =
        matrix_get_rows(tmatrix->matrix, indices, nindices);
    // Part of the interface: out of memory aborts here, but not for rows.
    KOR_ASSERT(slices != NULL);
    return _transposed_matrix_wrap(slices);
}

static void *_transposed_matrix_get_rows(void *inner, const uint32_t *indices,
                                         uint32_t nindices)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    KOR_ASSERT(indices != NULL);
    KOR_ASSERT(nindices > 0);
    return _transposed_matrix_wrap(
        matrix_get_columns(tmatrix->matrix, indices, nindices));
}

static void *_transposed_matrix_copy(void *inner)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return _transposed_matrix_wrap(matrix_copy(tmatrix->matrix));
}

static int _transposed_matrix_resize(void *inner, uint32_t nrows,
                                     uint32_t ncols)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    KOR_ASSERT(matrix_get_number_rows(tmatrix->matrix) != ncols ||
               matrix_get_number_columns(tmatrix->matrix) != nrows);
    return matrix_resize(tmatrix->matrix, ncols, nrows);
}

// Rows and columns of a view carry nothing but values.

static int _transposed_matrix_set_rows(void *inner, const struct matrix *,
                                       const uint32_t *)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return KOR_OK;
}

static int _transposed_matrix_set_columns(void *inner, const struct matrix *,
                                          const uint32_t *)
{
    const auto *const tmatrix = static_cast<body *>(inner);
    KOR_ASSERT(tmatrix != NULL);
    KOR_ASSERT(tmatrix->version == TRANSPOSED_MATRIX_VERSION);
    KOR_ASSERT(tmatrix->matrix != NULL);
    return KOR_OK;
}

// A view without a size and an inner object: the source of the operations.
static constexpr struct matrix transposed_prototype = {
    .version = MATRIX_VERSION,
    .type = MATRIX_TYPE_TRANSPOSED,
    .values = nullptr,
    .nrows = 0,
    .ncols = 0,
    .matrix = nullptr,
    .fn_destroy = _transposed_matrix_destroy,
    .fn_get = _transposed_matrix_get,
    .fn_set = _transposed_matrix_set,
    .fn_create_like = _transposed_matrix_create_like,
    .fn_get_col_slice = _transposed_matrix_get_columns,
    .fn_get_row_slice = _transposed_matrix_get_rows,
    .fn_copy = _transposed_matrix_copy,
    .fn_resize = _transposed_matrix_resize,
    .fn_set_rows = _transposed_matrix_set_rows,
    .fn_set_columns = _transposed_matrix_set_columns,
};

// --- the view ---

const struct matrix *vela::viewed_matrix(const struct matrix *m) noexcept
{
    const bool is_view =
        m->fn_get == _transposed_matrix_get && m->matrix != nullptr;
    return is_view ? static_cast<const body *>(m->matrix)->matrix : nullptr;
}

int transposed_matrix_init(struct matrix *m, struct matrix *orig_m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(orig_m != NULL);
    _matrix_init(m, MATRIX_TYPE_TRANSPOSED, matrix_get_number_columns(orig_m),
                 matrix_get_number_rows(orig_m));
    vela::copy_operations(transposed_prototype, m);
    m->matrix = _transposed_matrix_create_body(orig_m);
    if (m->matrix != nullptr) return KOR_OK;
    matrix_destruct(m);
    KOR_ASSERT(vela_get_last_error() < 0);
    return vela_get_last_error();
}

struct matrix *transposed_matrix_create(struct matrix *matrix)
{
    KOR_ASSERT(matrix != NULL);
    KOR_ASSERT(matrix->nrows > 0);
    KOR_ASSERT(matrix->ncols > 0);
    return vela::create<struct matrix>([matrix](struct matrix *m) {
        return transposed_matrix_init(m, matrix);
    });
}

void transposed_matrix_detach_original_matrix(struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->type == MATRIX_TYPE_TRANSPOSED);
    KOR_ASSERT(m->matrix != NULL);
    static_cast<body *>(m->matrix)->owns_matrix = 0;
}
