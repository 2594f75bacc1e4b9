// matrix_lu.cpp: LU decomposition with full pivoting, and a solver.
//
// Step k exchanges the largest remaining element into (k, k), first come first
// served in row-major order, and eliminates below it.  p and q record the
// exchanges.
#include "matrix_lu.h"

#include <cmath>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "matrix/elements.hpp"
#include "matrix/exchange.hpp"

using owned_matrix = vela::owned<matrix_destroy>;

namespace {

// The largest element of a block so far, met in row-major order.
class pivot_search {
public:
    pivot_search(uint32_t row, uint32_t column, matrix_value first) noexcept
        : row_(row), column_(column), largest_(std::fabs(first))
    {
    }
    void meet(uint32_t row, uint32_t column, matrix_value value) noexcept
    {
        const matrix_value size = std::fabs(value);
        if (!(size > largest_)) return;
        row_ = row;
        column_ = column;
        largest_ = size;
    }
    uint32_t row() const noexcept { return row_; }
    uint32_t column() const noexcept { return column_; }

private:
    uint32_t row_;
    uint32_t column_;
    matrix_value largest_;
};

}  // namespace

// --- decomposition ---

// The largest element from (k, k) on.
static pivot_search find_pivot(const struct matrix *m, uint32_t k)
{
    pivot_search pivot(k, k, m->values[k][k]);
    for (uint32_t i = k; i < m->nrows; ++i)
        for (uint32_t j = k; j < m->ncols; ++j)
            pivot.meet(i, j, m->values[i][j]);
    return pivot;
}

// Eliminates column k below the diagonal.
static void eliminate(struct matrix *m, uint32_t k)
{
    const matrix_value *const pivot_row = m->values[k];
    for (uint32_t i = k + 1; i < m->nrows; ++i) {
        matrix_value *const row = m->values[i];
        row[k] /= pivot_row[k];
        const matrix_value multiplier = row[k];
        for (uint32_t j = k + 1; j < m->ncols; ++j)
            row[j] -= multiplier * pivot_row[j];
    }
}

static void decompose(struct matrix_lu *lu)
{
    struct matrix *const a = lu->matrix;
    const uint32_t n = a->nrows;
    const vela::direct_elements elements(a);
    for (uint32_t k = 0; k < n; ++k) {
        const pivot_search pivot = find_pivot(a, k);
        lu->p->values[k][0] = pivot.row();
        lu->q->values[k][0] = pivot.column();
        vela::swap_rows(elements, n, k, pivot.row());
        vela::swap_columns(elements, n, k, pivot.column());
        if (!(std::fabs(a->values[k][k]) > matrix_value_unit_roundoff()))
            continue;
        lu->rank = k + 1;
        eliminate(a, k);
    }
    // Part of the interface: the exchanges give the product no sign.
    for (uint32_t k = 0; k < n; ++k) lu->det *= a->values[k][k];
}

struct matrix_lu *matrix_lu_create(const struct matrix *m)
{
    KOR_ASSERT(m != NULL);
    const uint32_t rows = matrix_get_number_rows(m);
    const uint32_t cols = matrix_get_number_columns(m);
    KOR_ASSERT(rows == cols);
    vela::heap<struct matrix_lu> lu(
        static_cast<struct matrix_lu *>(std::malloc(sizeof(struct matrix_lu))));
    if (!lu) return vela::fail(KOR_ERR_NO_MEMORY);
    owned_matrix p(matrix_create(rows, 1));
    if (!p) return nullptr;
    owned_matrix q(matrix_create(rows, 1));
    if (!q) return nullptr;
    owned_matrix a(matrix_copy(m));
    if (!a) return nullptr;
    if (matrix_enable_direct_access(a.get()) == nullptr) return nullptr;
    lu->matrix = a.release();
    lu->lower = nullptr;
    lu->upper = nullptr;
    lu->p = p.release();
    lu->q = q.release();
    lu->rank = 1;  // part of the interface: even for zeros only
    lu->det = 1.0;
    decompose(lu.get());
    return lu.release();
}

void matrix_lu_destroy(struct matrix_lu **m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(*m != NULL);
    KOR_ASSERT((*m)->matrix != NULL);
    KOR_ASSERT((*m)->p != NULL);
    KOR_ASSERT((*m)->q != NULL);
    matrix_destroy(&(*m)->matrix);
    if ((*m)->lower != nullptr) matrix_destroy(&(*m)->lower);
    if ((*m)->upper != nullptr) matrix_destroy(&(*m)->upper);
    matrix_destroy(&(*m)->p);
    matrix_destroy(&(*m)->q);
    std::free(*m);
    *m = nullptr;
}

// --- parts ---

uint32_t matrix_lu_get_rank(const struct matrix_lu *m)
{
    KOR_ASSERT(m != NULL);
    return m->rank;
}

matrix_value matrix_lu_get_det(const struct matrix_lu *m)
{
    KOR_ASSERT(m != NULL);
    return m->det;
}

struct matrix *matrix_lu_get_lower(struct matrix_lu *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->matrix != NULL);
    const uint32_t rows = matrix_get_number_rows(m->matrix);
    const uint32_t cols = matrix_get_number_columns(m->matrix);
    KOR_ASSERT(rows == cols);
    if (m->lower != nullptr) return m->lower;
    m->lower = matrix_create_identity(rows);
    if (m->lower == nullptr) return nullptr;
    for (uint32_t i = 1; i < rows; ++i)
        std::copy_n(m->matrix->values[i], i, m->lower->values[i]);
    vela::undo_row_exchanges(m->lower, m->p);
    return m->lower;
}

struct matrix *matrix_lu_get_upper(struct matrix_lu *m)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(m->matrix != NULL);
    const uint32_t rows = matrix_get_number_rows(m->matrix);
    const uint32_t cols = matrix_get_number_columns(m->matrix);
    KOR_ASSERT(rows == cols);
    if (m->upper != nullptr) return m->upper;
    m->upper = matrix_create(rows, cols);
    if (m->upper == nullptr) return nullptr;
    for (uint32_t i = 0; i < rows; ++i)
        std::copy_n(m->matrix->values[i] + i, cols - i,
                    m->upper->values[i] + i);
    vela::undo_column_exchanges(m->upper, m->q);
    return m->upper;
}

// --- solving ---

static void _matrix_permute_rows(struct matrix *m, const struct matrix *p)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(p != NULL);
    const uint32_t rows = matrix_get_number_rows(m);
    KOR_ASSERT(rows == matrix_get_number_rows(p));
    vela::with_elements(
        [=](auto elements) {
            for (uint32_t k = 0; k < rows; ++k)
                vela::swap_rows(elements, m->ncols, k,
                                vela::exchanged_with(p, k));
        },
        m);
}

static void _matrix_permute_rows_reversed(struct matrix *m,
                                          const struct matrix *p)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(p != NULL);
    const uint32_t rows = matrix_get_number_rows(m);
    KOR_ASSERT(rows == matrix_get_number_rows(p));
    vela::undo_row_exchanges(m, p);
}

// Part of the interface: a zero on the diagonal ends a substitution without a
// word, and only the first column of the right-hand side is solved.

template <class Elements>
static void substitute_forward(const struct matrix *m, Elements x)
{
    for (uint32_t i = 0; i < m->nrows; ++i) {
        const matrix_value *const row = m->values[i];
        if (row[i] == 0) return;
        matrix_value s = 0.0;
        for (uint32_t j = 0; j < i; ++j) s += row[j] * x.get(j, 0);
        x.set(i, 0, (x.get(i, 0) - s) / row[i]);
    }
}

template <class Elements>
static void substitute_back(const struct matrix *m, Elements x)
{
    for (uint32_t i = m->nrows; i-- > 0;) {
        const matrix_value *const row = m->values[i];
        if (row[i] == 0) return;
        matrix_value s = 0.0;
        for (uint32_t j = i + 1; j < m->ncols; ++j) s += row[j] * x.get(j, 0);
        x.set(i, 0, (x.get(i, 0) - s) / row[i]);
    }
}

static void _matrix_forward_substitution(const struct matrix *m,
                                         struct matrix *b)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(b != NULL);
    const uint32_t n = matrix_get_number_rows(m);
    KOR_ASSERT(matrix_get_number_columns(m) == n);
    KOR_ASSERT(matrix_get_number_rows(b) == n);
    vela::with_elements([m](auto x) { substitute_forward(m, x); }, b);
}

static void _matrix_back_substitution(const struct matrix *m, struct matrix *b)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(b != NULL);
    const uint32_t n = matrix_get_number_rows(m);
    KOR_ASSERT(matrix_get_number_columns(m) == n);
    KOR_ASSERT(matrix_get_number_rows(b) == n);
    vela::with_elements([m](auto x) { substitute_back(m, x); }, b);
}

struct matrix *matrix_lu_solve_for(const struct matrix *m,
                                   const struct matrix *b)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(b != NULL);
    const uint32_t n = matrix_get_number_rows(m);
    KOR_ASSERT(matrix_get_number_columns(m) == n);
    KOR_ASSERT(matrix_get_number_rows(b) == n);
    const vela::owned<matrix_lu_destroy> lu(matrix_lu_create(m));
    if (!lu) return nullptr;
    // A singular system is no error: the last error stays as it is.
    if (lu->rank != n) return nullptr;
    owned_matrix x(matrix_copy(b));
    if (!x) return nullptr;
    _matrix_permute_rows(x.get(), lu->p);
    const struct matrix *const lower = matrix_lu_get_lower(lu.get());
    if (lower == nullptr) return nullptr;
    const owned_matrix pivoted_lower(matrix_copy(lower));
    if (!pivoted_lower) return nullptr;
    _matrix_permute_rows(pivoted_lower.get(), lu->p);
    _matrix_forward_substitution(pivoted_lower.get(), x.get());
    _matrix_back_substitution(lu->matrix, x.get());
    _matrix_permute_rows_reversed(x.get(), lu->q);
    return x.release();
}
