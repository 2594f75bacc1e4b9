// reference.hpp: the formulas of the matrix layer as plain loops over tables.
//
// Element by element, in the documented order of every sum and without any
// thought of speed: results of the library must be the same bits.
#ifndef KOR_TESTS_UNIT_MATRIX_REFERENCE_HPP
#define KOR_TESTS_UNIT_MATRIX_REFERENCE_HPP

#include "matrix_support.hpp"

namespace reference {

using test::table;

table multiply(const table &a, const table &b);
table column_std_dev(const table &a);

struct lu {
    table a;  // U on and above the diagonal, L below
    std::vector<size_t> p;
    std::vector<size_t> q;
    uint32_t rank;
    double det;
};
lu decompose(table a);
table lower(const lu &parts);
table upper(const lu &parts);

// The matrix must have full rank.
table inverse(const table &a);
table solve(const table &a, const table &b);

}  // namespace reference

#endif
