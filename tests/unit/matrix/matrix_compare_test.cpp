#include "matrix_compare.h"

#include <cmath>

#include "matrix_support.hpp"

using test::kind;
using test::make;
using test::matrix_ptr;
using test::table;

namespace {

using pair_test = int (*)(const struct matrix *, const struct matrix *);
using scalar_test = int (*)(const struct matrix *, double);

struct pair_row {
    const char *name;
    pair_test holds;
    scalar_test holds_of_scalar;
    bool below;  // of a smaller and a larger number
    bool level;  // of two equal ones
    bool above;  // of a larger and a smaller one
};
const pair_row orderings[] = {
    {"less", matrix_is_less, matrix_is_less_scalar, true, false, false},
    {"less_equal", matrix_is_less_equal, matrix_is_less_equal_scalar, true,
     true, false},
    {"greater", matrix_is_greater, matrix_is_greater_scalar, false, false,
     true},
    {"greater_equal", matrix_is_greater_equal, matrix_is_greater_equal_scalar,
     false, true, true},
};

}  // namespace

TEST(MatrixCompare, EqualDimensionsNeedBothSizes)
{
    const matrix_ptr m(matrix_create(2, 3));
    EXPECT_EQ(matrix_is_equal_dimensions(m.get(), m.get()), 1);
    EXPECT_EQ(matrix_is_equal_dimensions(
                  m.get(), make(table(2, {0, 0, 0}), kind::transposed).get()),
              1);
    EXPECT_EQ(matrix_is_equal_dimensions(m.get(), make({{1, 2}, {3, 4}}).get()),
              0);
    EXPECT_EQ(matrix_is_equal_dimensions(m.get(), make({{1, 2, 3}}).get()), 0);
}

TEST(MatrixCompare, EqualIsTolerant)
{
    const matrix_ptr m = make({{1, 2}, {3, 4}});
    EXPECT_EQ(matrix_is_equal(m.get(), make({{1, 2}, {3, 4 + 1e-9}}).get()), 1);
    EXPECT_EQ(matrix_is_equal(m.get(), make({{1, 2}, {3, 4 + 1e-5}}).get()), 0);
    EXPECT_EQ(matrix_is_equal(m.get(), make({{1, 2}}).get()), 0);
    EXPECT_EQ(matrix_is_equal(make({{INFINITY, -INFINITY}}).get(),
                              make({{INFINITY, -INFINITY}}).get()),
              1);
    EXPECT_EQ(matrix_is_equal(make({{INFINITY}}).get(), make({{1}}).get()), 0);
}

TEST(MatrixCompare, EqualScalarIsExact)
{
    EXPECT_EQ(matrix_is_equal_scalar(make({{1e-9}}).get(), 0.0), 0);
    EXPECT_EQ(matrix_is_equal_scalar(make({{0.0, -0.0}}).get(), 0.0), 1);
    EXPECT_EQ(matrix_is_equal_scalar(make({{2, 2}, {2, 3}}).get(), 2.0), 0);
}

TEST(MatrixCompare, NumbersThatAreNoneAreEqualOnlyToEachOther)
{
    const matrix_ptr m = make({{1, NAN}});
    EXPECT_EQ(matrix_is_equal(m.get(), make({{1, NAN}}).get()), 1);
    EXPECT_EQ(matrix_is_equal(m.get(), make({{1, 2}}).get()), 0);
    EXPECT_EQ(matrix_is_equal_scalar(make({{NAN}}).get(), NAN), 0);
    for (const pair_row &row : orderings) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.holds(m.get(), m.get()), 0);
        EXPECT_EQ(row.holds_of_scalar(make({{NAN}}).get(), 1.0), 0);
    }
}

TEST(MatrixCompare, OrderingsHoldOfEveryPair)
{
    const table base = {{1, 2}, {3, 4}};
    const table lower = {{0, 1}, {2, 3}};
    const table mixed = {{0, 1}, {2, 5}};  // all lower but the last
    for (const pair_row &row : orderings)
        for (const kind k : test::every_kind) {
            SCOPED_TRACE(std::string(row.name) + ", " + test::name_of(k));
            const matrix_ptr m = make(base);
            EXPECT_EQ(row.holds(make(lower, k).get(), m.get()), row.below);
            EXPECT_EQ(row.holds(m.get(), make(base, k).get()), row.level);
            EXPECT_EQ(row.holds(m.get(), make(lower, k).get()), row.above);
            EXPECT_EQ(row.holds(m.get(), make(mixed, k).get()), 0);
            EXPECT_EQ(row.holds(make(mixed, k).get(), m.get()), 0);
        }
}

TEST(MatrixCompare, OrderingsOfAScalarHoldOfEveryElement)
{
    for (const pair_row &row : orderings)
        for (const kind k : test::every_kind) {
            SCOPED_TRACE(std::string(row.name) + ", " + test::name_of(k));
            const matrix_ptr m = make({{2, 2}, {2, 2}}, k);
            EXPECT_EQ(row.holds_of_scalar(m.get(), 3), row.below);
            EXPECT_EQ(row.holds_of_scalar(m.get(), 2), row.level);
            EXPECT_EQ(row.holds_of_scalar(m.get(), 1), row.above);
            const matrix_ptr mixed = make({{2, 2}, {2, 4}}, k);
            EXPECT_EQ(row.holds_of_scalar(mixed.get(), 3), 0);
        }
}

TEST(MatrixCompare, OrderingsAreExact)
{
    const matrix_ptr m = make({{1.0}});
    const matrix_ptr above = make({{std::nextafter(1.0, 2.0)}});
    EXPECT_EQ(matrix_is_less(m.get(), above.get()), 1);
    EXPECT_EQ(matrix_is_greater_equal(m.get(), above.get()), 0);
}

TEST(MatrixCompare, DifferentShapesAreNeitherEqualNorOrdered)
{
    const matrix_ptr m = make({{1, 1}});
    const matrix_ptr other = make({{2}, {2}});
    EXPECT_EQ(matrix_is_equal(m.get(), m.get()), 1);
    EXPECT_EQ(matrix_is_equal(m.get(), other.get()), 0);
    for (const pair_row &row : orderings) {
        EXPECT_EQ(row.holds(m.get(), other.get()), 0) << row.name;
        EXPECT_EQ(row.holds(other.get(), m.get()), 0) << row.name;
    }
}

TEST(MatrixCompare, LooksAtEveryKindAndChangesNone)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2, 3}, {4, 5, 6}}, k);
        EXPECT_EQ(matrix_is_equal(m.get(), make({{1, 2, 3}, {4, 5, 6}}).get()),
                  1);
        EXPECT_EQ(matrix_is_equal(m.get(), make({{1, 2, 3}, {4, 5, 7}}).get()),
                  0);
        EXPECT_EQ(matrix_is_equal_scalar(m.get(), 1), 0);
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
    }
}

TEST(MatrixCompareDeathTest, NullOperandsAbort)
{
    std::vector<test::abort_in> rows;
    const auto of_two = [&](const char *function, pair_test holds) {
        rows.insert(rows.end(), {{function, "m1 != NULL",
                                  [=] {
                                      holds(NULL, matrix_create(1, 1));
                                  }},
                                 {function, "m2 != NULL", [=] {
                                      holds(matrix_create(1, 1), NULL);
                                  }}});
    };
    const auto of_one = [&](const char *function, scalar_test holds) {
        rows.push_back({function, "m != NULL", [=] {
                            holds(NULL, 1.0);
                        }});
    };
    of_two("matrix_is_equal_dimensions", matrix_is_equal_dimensions);
    of_two("matrix_is_equal", matrix_is_equal);
    of_two("matrix_is_less", matrix_is_less);
    of_two("matrix_is_less_equal", matrix_is_less_equal);
    of_two("matrix_is_greater", matrix_is_greater);
    of_two("matrix_is_greater_equal", matrix_is_greater_equal);
    of_one("matrix_is_equal_scalar", matrix_is_equal_scalar);
    of_one("matrix_is_less_scalar", matrix_is_less_scalar);
    of_one("matrix_is_less_equal_scalar", matrix_is_less_equal_scalar);
    of_one("matrix_is_greater_scalar", matrix_is_greater_scalar);
    of_one("matrix_is_greater_equal_scalar", matrix_is_greater_equal_scalar);
    test::expect_aborts(rows);
}
