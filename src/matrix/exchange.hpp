// exchange.hpp: the row and column exchanges of full pivoting.
//
// Step k of the decomposition records in a column vector which row (or column)
// was exchanged with the k-th.  Values are exchanged, never row pointers: the
// first of those owns the block.
#ifndef KOR_MATRIX_EXCHANGE_HPP
#define KOR_MATRIX_EXCHANGE_HPP

#include <algorithm>
#include <cstdint>
#include <utility>

#include "matrix.h"
#include "matrix/elements.hpp"

namespace vela {

// The row or column that step k exchanged with the k-th.
inline uint32_t exchanged_with(const struct matrix *exchanges,
                               uint32_t k) noexcept
{
    return static_cast<uint32_t>(exchanges->values[k][0]);
}

template <class Elements>
void swap_rows(Elements elements, uint32_t ncols, uint32_t r1,
               uint32_t r2) noexcept
{
    if (r1 == r2) return;
    for (uint32_t j = 0; j < ncols; ++j) {
        const matrix_value held = elements.get(r1, j);
        elements.set(r1, j, elements.get(r2, j));
        elements.set(r2, j, held);
    }
}

template <class Elements>
void swap_columns(Elements elements, uint32_t nrows, uint32_t c1,
                  uint32_t c2) noexcept
{
    if (c1 == c2) return;
    for (uint32_t i = 0; i < nrows; ++i) {
        const matrix_value held = elements.get(i, c1);
        elements.set(i, c1, elements.get(i, c2));
        elements.set(i, c2, held);
    }
}

// Takes back all exchanges, the last one first.
inline void undo_row_exchanges(struct matrix *m,
                               const struct matrix *exchanges) noexcept
{
    with_elements(
        [=](auto elements) {
            for (uint32_t k = exchanges->nrows - 1; k-- > 0;)
                swap_rows(elements, m->ncols, k, exchanged_with(exchanges, k));
        },
        m);
}

inline void undo_column_exchanges(struct matrix *m,
                                  const struct matrix *exchanges) noexcept
{
    with_elements(
        [=](auto elements) {
            for (uint32_t k = exchanges->nrows - 1; k-- > 0;)
                swap_columns(elements, m->nrows, k,
                             exchanged_with(exchanges, k));
        },
        m);
}

}  // namespace vela

#endif
