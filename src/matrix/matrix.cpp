// matrix.cpp: the matrix object, its regular kind and what all kinds share.
//
// A regular matrix owns row pointers over one block of values.  Every other
// kind owns an inner object and ten operations on it; the row pointers of such
// a matrix, while it has any, belong to the inner object.
#include "matrix.h"

#include <algorithm>
#include <cmath>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "matrix/elements.hpp"
#include "matrix/exchange.hpp"
#include "matrix/kinds.hpp"
#include "matrix_compare.h"
#include "matrix_lu.h"
#include "matrix_ops.h"
#include "telemetry_matrix.h"

// --- rows of a regular matrix ---

// Row pointers over one zero-filled block, or null with the last error set.
static matrix_value **allocate_rows(uint32_t nrows, uint32_t ncols)
{
    // The block must be addressable where a size has 32 bits.
    if (ncols > SIZE_MAX / sizeof(matrix_value) / nrows)
        return vela::fail(KOR_ERR_NO_MEMORY);
    vela::heap<matrix_value *> rows(
        static_cast<matrix_value **>(std::calloc(nrows, sizeof(void *))));
    if (!rows) return vela::fail(KOR_ERR_NO_MEMORY);
    auto *const block = static_cast<matrix_value *>(
        std::calloc(static_cast<size_t>(nrows) * ncols, sizeof(matrix_value)));
    if (block == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    for (uint32_t i = 0; i < nrows; ++i)
        rows.get()[i] = block + static_cast<size_t>(i) * ncols;
    return rows.release();
}

// The first row pointer addresses the whole block.
static void free_rows(matrix_value **rows)
{
    std::free(rows[0]);
    std::free(rows);
}

// --- operations ---

void vela::copy_operations(const struct matrix &from,
                           struct matrix *to) noexcept
{
    to->fn_destroy = from.fn_destroy;
    to->fn_get = from.fn_get;
    to->fn_set = from.fn_set;
    to->fn_create_like = from.fn_create_like;
    to->fn_get_col_slice = from.fn_get_col_slice;
    to->fn_get_row_slice = from.fn_get_row_slice;
    to->fn_copy = from.fn_copy;
    to->fn_resize = from.fn_resize;
    to->fn_set_rows = from.fn_set_rows;
    to->fn_set_columns = from.fn_set_columns;
}

static void clear_operations(struct matrix *m)
{
    static constexpr struct matrix without_operations = {};
    vela::copy_operations(without_operations, m);
}

void _matrix_copy_metadata(const struct matrix *from, struct matrix *to)
{
    KOR_ASSERT(from != NULL);
    KOR_ASSERT(to != NULL);
    KOR_ASSERT(to->version == MATRIX_VERSION);
    KOR_ASSERT(to->type > 0);
    KOR_ASSERT(from->version == MATRIX_VERSION);
    KOR_ASSERT(from->type > 0);
    vela::copy_operations(*from, to);
    if (from->values != nullptr)
        matrix_enable_direct_access(to);
    else
        to->values = nullptr;
}

// --- life cycle ---

int _matrix_init(struct matrix *m, uint32_t type, uint32_t nrows,
                 uint32_t ncols)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(type > 0);
    KOR_ASSERT(nrows > 0);
    KOR_ASSERT(ncols > 0);
    m->version = MATRIX_VERSION;
    m->type = type;
    m->nrows = nrows;
    m->ncols = ncols;
    m->values = nullptr;
    return KOR_OK;
}

void _matrix_destruct(struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    m->version = 0;
    m->type = 0;
    m->nrows = 0;
    m->ncols = 0;
}

int matrix_init(struct matrix *m, uint32_t nrows, uint32_t ncols)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(nrows > 0);
    KOR_ASSERT(ncols > 0);
    _matrix_init(m, MATRIX_TYPE_REGULAR, nrows, ncols);
    m->matrix = nullptr;
    clear_operations(m);
    KOR_ASSERT(m->type == MATRIX_TYPE_REGULAR);
    m->values = allocate_rows(nrows, ncols);
    if (m->values != nullptr) return KOR_OK;
    _matrix_destruct(m);
    return KOR_ERR_NO_MEMORY;
}

struct matrix *matrix_create(uint32_t nrows, uint32_t ncols)
{
    KOR_ASSERT(nrows > 0);
    KOR_ASSERT(ncols > 0);
    auto *const created = vela::create<struct matrix>(
        [=](struct matrix *m) { return matrix_init(m, nrows, ncols); });
    if (created == nullptr) KOR_ASSERT(vela_get_last_error() < 0);
    return created;
}

struct matrix *matrix_create_with_dimensions(uint32_t nrows, uint32_t ncols)
{
    return matrix_create(nrows, ncols);
}

int matrix_init_null(struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    *m = {};
    m->version = MATRIX_VERSION;
    return KOR_OK;
}

struct matrix *matrix_create_null(void)
{
    return vela::create<struct matrix>(matrix_init_null);
}

struct matrix *matrix_create_identity(uint32_t n)
{
    KOR_ASSERT(n > 0);
    struct matrix *const identity = matrix_create(n, n);
    if (identity == nullptr) return nullptr;
    for (uint32_t i = 0; i < n; ++i) identity->values[i][i] = 1.0;
    return identity;
}

struct matrix *matrix_create_ones(uint32_t m, uint32_t n)
{
    KOR_ASSERT(m > 0);
    KOR_ASSERT(n > 0);
    struct matrix *const ones = matrix_create(m, n);
    if (ones == nullptr) return nullptr;
    std::fill_n(ones->values[0], static_cast<size_t>(m) * n, 1.0);
    return ones;
}

// A matrix of the kind and size of `m` that has no inner object yet.
static struct matrix *create_shell(const struct matrix *m)
{
    struct matrix *const shell = matrix_create_null();
    if (shell == nullptr) return nullptr;
    shell->type = m->type;
    shell->nrows = m->nrows;
    shell->ncols = m->ncols;
    return shell;
}

struct matrix *matrix_create_like(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    KOR_ASSERT(m->nrows > 0);
    KOR_ASSERT(m->ncols > 0);
    if (m->type == MATRIX_TYPE_REGULAR)
        return matrix_create(m->nrows, m->ncols);

    KOR_ASSERT(m->fn_create_like != NULL);
    struct matrix *const like = create_shell(m);
    if (like == nullptr) return nullptr;
    // Part of the interface: a failed inner object is stored unchecked.
    like->matrix = m->fn_create_like(m->matrix);
    _matrix_copy_metadata(m, like);
    return like;
}

struct matrix *vela::create_whole_like(const struct matrix *m) noexcept
{
    owned<matrix_destroy> like(matrix_create_like(m));
    if (!like) return nullptr;
    const bool is_whole =
        like->type == MATRIX_TYPE_REGULAR || like->matrix != nullptr;
    return is_whole ? like.release() : nullptr;
}

struct matrix *matrix_create_like_binary_operands(const struct matrix *m1,
                                                  const struct matrix *m2)
{
    KOR_ASSERT(m1 != NULL);
    KOR_ASSERT(m2 != NULL);
    KOR_ASSERT(matrix_is_equal_dimensions(m1, m2));
    return matrix_create_like(m1);
}

struct matrix *matrix_copy(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    KOR_ASSERT(m->nrows > 0);
    KOR_ASSERT(m->ncols > 0);
    if (m->type == MATRIX_TYPE_REGULAR) {
        struct matrix *const copy = matrix_create(m->nrows, m->ncols);
        if (copy == nullptr) return nullptr;
        KOR_ASSERT(copy->values != NULL);
        std::copy_n(m->values[0], static_cast<size_t>(m->nrows) * m->ncols,
                    copy->values[0]);
        return copy;
    }

    KOR_ASSERT(m->matrix != NULL);
    KOR_ASSERT(m->fn_copy != NULL);
    vela::owned<matrix_destroy> copy(create_shell(m));
    if (!copy) return nullptr;
    copy->matrix = m->fn_copy(m->matrix);
    if (copy->matrix == nullptr) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return nullptr;
    }
    _matrix_copy_metadata(m, copy.get());
    return copy.release();
}

void matrix_destruct(struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    if (m->type == MATRIX_TYPE_REGULAR) {
        KOR_ASSERT(m->matrix == NULL);
        if (m->values != nullptr) free_rows(m->values);
    } else if (m->matrix != nullptr) {
        KOR_ASSERT(m->fn_destroy != NULL);
        m->fn_destroy(&m->matrix);
    }
    m->values = nullptr;
    _matrix_destruct(m);
}

void matrix_destroy(struct matrix **m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(*m != NULL);
    vela::destroy(m, matrix_destruct);
}

// --- access ---

matrix_value matrix_get(const struct matrix *m, uint32_t i, uint32_t j)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    if (m->values != nullptr) {
        KOR_ASSERT(i < m->nrows);
        KOR_ASSERT(j < m->ncols);
        return m->values[i][j];
    }
    KOR_ASSERT(m->type != MATRIX_TYPE_REGULAR);
    KOR_ASSERT(m->matrix != NULL);
    KOR_ASSERT(m->fn_get != NULL);
    return m->fn_get(m->matrix, i, j);
}

void matrix_set(struct matrix *m, uint32_t i, uint32_t j, matrix_value value)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    if (m->values != nullptr) {
        KOR_ASSERT(i < m->nrows);
        KOR_ASSERT(j < m->ncols);
        m->values[i][j] = value;
        return;
    }
    KOR_ASSERT(m->type != MATRIX_TYPE_REGULAR);
    KOR_ASSERT(m->matrix != NULL);
    KOR_ASSERT(m->fn_set != NULL);
    m->fn_set(m->matrix, i, j, value);
}

uint32_t matrix_get_number_rows(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->nrows > 0);
    return m->nrows;
}

uint32_t matrix_get_number_columns(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->ncols > 0);
    return m->ncols;
}

uint32_t matrix_get_type(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    return m->type;
}

// New rows that hold the elements of any matrix, or null.
static matrix_value **copy_rows(const struct matrix *m)
{
    matrix_value **const rows = allocate_rows(m->nrows, m->ncols);
    if (rows == nullptr) return nullptr;
    const vela::any_elements<const struct matrix> elements(m);
    for (uint32_t i = 0; i < m->nrows; ++i)
        for (uint32_t j = 0; j < m->ncols; ++j) rows[i][j] = elements.get(i, j);
    return rows;
}

static matrix_value **_matrix_get_row_pointers(struct matrix *m)
{
    if (m->type == MATRIX_TYPE_TELEMETRY) {
        auto *const tmatrix =
            static_cast<struct telemetry_matrix_body *>(m->matrix);
        KOR_ASSERT(tmatrix != NULL);
        KOR_ASSERT(tmatrix->matrix != NULL);
        return matrix_enable_direct_access(tmatrix->matrix);
    }
    if (m->type != MATRIX_TYPE_TRANSPOSED) KOR_ASSERT(0);

    // Part of the interface: a view becomes a regular matrix for good.
    KOR_ASSERT(m->matrix != NULL);
    KOR_ASSERT(m->fn_destroy != NULL);
    matrix_value **const rows = copy_rows(m);
    if (rows == nullptr) return nullptr;
    m->fn_destroy(&m->matrix);
    KOR_ASSERT(m->matrix == NULL);
    clear_operations(m);
    m->type = MATRIX_TYPE_REGULAR;
    return rows;
}

matrix_value **matrix_enable_direct_access(struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    if (m->values != nullptr) return m->values;
    KOR_ASSERT(m->type != MATRIX_TYPE_REGULAR);
    m->values = _matrix_get_row_pointers(m);
    if (m->values == nullptr) KOR_ASSERT(vela_get_last_error() < 0);
    return m->values;
}

// --- size ---

static int resize_regular(struct matrix *m, uint32_t nrows, uint32_t ncols)
{
    matrix_value **const rows = allocate_rows(nrows, ncols);
    if (rows == nullptr) return KOR_ERR_NO_MEMORY;
    const uint32_t kept_rows = std::min(nrows, m->nrows);
    const uint32_t kept_columns = std::min(ncols, m->ncols);
    for (uint32_t i = 0; i < kept_rows; ++i)
        std::copy_n(m->values[i], kept_columns, rows[i]);
    free_rows(m->values);
    m->values = rows;
    m->nrows = nrows;
    m->ncols = ncols;
    return KOR_OK;
}

int matrix_resize(struct matrix *matrix, uint32_t nrows, uint32_t ncols)
{
    KOR_ASSERT(matrix != NULL);
    KOR_ASSERT(matrix->version == MATRIX_VERSION);
    KOR_ASSERT(nrows > 0);
    KOR_ASSERT(ncols > 0);
    if (matrix->nrows == nrows && matrix->ncols == ncols) return KOR_OK;
    if (matrix->type == MATRIX_TYPE_REGULAR) {
        KOR_ASSERT(matrix->values != NULL);
        return resize_regular(matrix, nrows, ncols);
    }

    KOR_ASSERT(matrix->fn_resize != NULL);
    KOR_ASSERT(matrix->matrix != NULL);
    const int result = matrix->fn_resize(matrix->matrix, nrows, ncols);
    if (result == KOR_OK) {
        matrix->nrows = nrows;
        matrix->ncols = ncols;
    }
    // The inner storage may have moved.
    if (matrix->values != nullptr) {
        matrix->values = nullptr;
        matrix_enable_direct_access(matrix);
    }
    return result;
}

// --- norms ---

matrix_value matrix_norm_F(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    const matrix_value norm = vela::with_elements(
        [m](auto a) {
            matrix_value sum = 0.0;
            for (uint32_t i = 0; i < m->nrows; ++i)
                for (uint32_t j = 0; j < m->ncols; ++j)
                    sum += a.get(i, j) * a.get(i, j);
            return sum;
        },
        m);
    KOR_ASSERT(norm >= 0);
    return std::sqrt(norm);
}

matrix_value matrix_norm_inf(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    return vela::with_elements(
        [m](auto a) {
            matrix_value largest = 0.0;
            for (uint32_t i = 0; i < m->nrows; ++i) {
                matrix_value sum = 0.0;
                for (uint32_t j = 0; j < m->ncols; ++j)
                    sum += std::fabs(a.get(i, j));
                if (sum > largest) largest = sum;
            }
            return largest;
        },
        m);
}

// --- inverse ---

// Both triangular inverses are built row by row.  Each element still gathers
// its terms in ascending order of the row they come from.

// The inverse of the strictly lower part of `m` under a diagonal of ones.
static struct matrix *_matrix_inverse_lower_triangular_unit_diagonal(
    const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    const uint32_t n = matrix_get_number_rows(m);
    KOR_ASSERT(matrix_get_number_columns(m) == n);
    struct matrix *const inverse = matrix_create_like(m);
    if (inverse == nullptr) return nullptr;
    for (uint32_t i = 0; i < n; ++i) {
        const matrix_value *const factors = m->values[i];
        matrix_value *const row = inverse->values[i];
        for (uint32_t j = 0; j < i; ++j) row[j] = -factors[j];
        for (uint32_t k = 1; k < i; ++k)
            for (uint32_t j = 0; j < k; ++j)
                row[j] += -factors[k] * inverse->values[k][j];
        row[i] = 1.0;
    }
    return inverse;
}

// The inverse of the part of `m` on and above the diagonal.
static struct matrix *_matrix_inverse_upper_triangular(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    const uint32_t n = matrix_get_number_rows(m);
    KOR_ASSERT(matrix_get_number_columns(m) == n);
    struct matrix *const inverse = matrix_create_like(m);
    if (inverse == nullptr) return nullptr;
    for (uint32_t i = n; i-- > 0;) {
        const matrix_value *const factors = m->values[i];
        matrix_value *const row = inverse->values[i];
        row[i] = 1.0;
        for (uint32_t k = i + 1; k < n; ++k)
            for (uint32_t j = k; j < n; ++j)
                row[j] -= factors[k] * inverse->values[k][j];
        for (uint32_t j = i; j < n; ++j) row[j] /= factors[i];
    }
    return inverse;
}

struct matrix *matrix_inverse(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    const uint32_t n = matrix_get_number_rows(m);
    KOR_ASSERT(matrix_get_number_columns(m) == n);
    const vela::owned<matrix_lu_destroy> lu(matrix_lu_create(m));
    if (!lu) return nullptr;
    // A singular matrix is no error: the last error stays as it is.
    if (lu->rank != n) return nullptr;
    const vela::owned<matrix_destroy> lower(
        _matrix_inverse_lower_triangular_unit_diagonal(lu->matrix));
    if (!lower) return nullptr;
    vela::undo_column_exchanges(lower.get(), lu->p);
    const vela::owned<matrix_destroy> upper(
        _matrix_inverse_upper_triangular(lu->matrix));
    if (!upper) return nullptr;
    vela::undo_row_exchanges(upper.get(), lu->q);
    return matrix_multiply(upper.get(), lower.get());
}

matrix_value matrix_condition_number_inf(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->version == MATRIX_VERSION);
    KOR_ASSERT(m->type > 0);
    static constexpr matrix_value without_inverse = -1.0;
    const vela::owned<matrix_destroy> inverse(matrix_inverse(m));
    if (!inverse) return without_inverse;
    return matrix_norm_inf(m) * matrix_norm_inf(inverse.get());
}
