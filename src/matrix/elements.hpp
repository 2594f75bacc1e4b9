// elements.hpp: one way to reach the elements of a matrix of any kind.
//
// An operand is never given direct access, because that would turn a transposed
// view into a regular matrix for good.  Loops reach the elements like this:
//
//     vela::with_elements(
//         [&](auto from, auto to) { to.set(i, j, from.get(i, j)); }, m, copy);
//
// The loop is compiled twice: for matrices that all have row pointers, and for
// the rest.
#ifndef KOR_MATRIX_ELEMENTS_HPP
#define KOR_MATRIX_ELEMENTS_HPP

#include <cstdint>

#include "matrix.h"
#include "matrix/kinds.hpp"

namespace vela {

// Elements behind row pointers.
class direct_elements {
public:
    explicit direct_elements(const struct matrix *m) noexcept : rows_(m->values)
    {
    }
    matrix_value get(uint32_t i, uint32_t j) const noexcept
    {
        return rows_[i][j];
    }
    void set(uint32_t i, uint32_t j, matrix_value value) const noexcept
    {
        rows_[i][j] = value;
    }

private:
    matrix_value **rows_;
};

// Elements of any matrix.  A view is followed to the rows behind it; where
// there are none, or fewer than the view was made for, each access goes through
// the operations of the kind, which check it.
template <class Matrix>
class any_elements {
public:
    explicit any_elements(Matrix *m) noexcept : m_(m)
    {
        const struct matrix *behind = m;
        while (behind->values == nullptr) {
            behind = viewed_matrix(behind);
            if (behind == nullptr) return;
            swapped_ = !swapped_;
        }
        const uint32_t nrows = swapped_ ? m->ncols : m->nrows;
        const uint32_t ncols = swapped_ ? m->nrows : m->ncols;
        if (nrows <= behind->nrows && ncols <= behind->ncols)
            rows_ = behind->values;
    }
    matrix_value get(uint32_t i, uint32_t j) const noexcept
    {
        if (rows_ == nullptr) return matrix_get(m_, i, j);
        return swapped_ ? rows_[j][i] : rows_[i][j];
    }
    void set(uint32_t i, uint32_t j, matrix_value value) const noexcept
    {
        if (rows_ == nullptr)
            matrix_set(m_, i, j, value);
        else
            (swapped_ ? rows_[j][i] : rows_[i][j]) = value;
    }

private:
    Matrix *m_;
    matrix_value **rows_ = nullptr;
    bool swapped_ = false;
};

// Calls `work` with the elements of each matrix and returns its result.
template <class Work, class... Matrix>
auto with_elements(Work work, Matrix *...m)
{
    if (((m->values != nullptr) && ...)) return work(direct_elements(m)...);
    return work(any_elements<Matrix>(m)...);
}

}  // namespace vela

#endif
