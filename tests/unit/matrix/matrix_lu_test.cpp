#include "matrix_lu.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "matrix_ops.h"
#include "matrix_support.hpp"
#include "reference.hpp"

using test::kind;
using test::make;
using test::matrix_ptr;
using test::table;

constexpr bool wide = sizeof(void *) == 8;
static_assert(sizeof(struct matrix_lu) == (wide ? 56 : 32));
static_assert(offsetof(struct matrix_lu, p) == (wide ? 24 : 12));
static_assert(offsetof(struct matrix_lu, rank) == (wide ? 40 : 20));
static_assert(offsetof(struct matrix_lu, det) == (wide ? 48 : 24));

namespace {

struct lu_deleter {
    void operator()(struct matrix_lu *lu) const { matrix_lu_destroy(&lu); }
};
using lu_ptr = std::unique_ptr<struct matrix_lu, lu_deleter>;

lu_ptr decompose(const table &values, kind k = kind::regular)
{
    return lu_ptr(matrix_lu_create(make(values, k).get()));
}

table column_of(const std::vector<size_t> &indices)
{
    table column;
    for (const size_t i : indices) column.push_back({static_cast<double>(i)});
    return column;
}

// A random n x n matrix of the given rank: a product of two thin ones.
table of_rank(test::number_source &numbers, size_t n, size_t rank)
{
    return reference::multiply(numbers.next_table(n, rank),
                               numbers.next_table(rank, n));
}

void expect_near(const table &expected, const table &actual, double tolerance)
{
    for (size_t i = 0; i < expected.size(); ++i)
        for (size_t j = 0; j < expected[i].size(); ++j)
            EXPECT_NEAR(expected[i][j], actual[i][j], tolerance)
                << i << ", " << j;
}

}  // namespace

// --- decomposition ---

TEST(MatrixLu, PivotsOnTheFirstOfTheLargest)
{
    const lu_ptr lu = decompose({{0, 1}, {1, 0}});
    EXPECT_TRUE(test::same_bits({{0}, {1}}, test::elements(lu->p)));
    EXPECT_TRUE(test::same_bits({{1}, {1}}, test::elements(lu->q)));
    EXPECT_EQ(matrix_lu_get_rank(lu.get()), 2u);
    // The product of the pivots, not the determinant, which is -1.
    EXPECT_EQ(matrix_lu_get_det(lu.get()), 1.0);
}

TEST(MatrixLu, TiesGoByRowsBeforeColumns)
{
    const lu_ptr lu = decompose({{1, 1, 2}, {1, -2, 1}, {2, 1, 1}});
    EXPECT_EQ(matrix_get(lu->p, 0, 0), 0.0);
    EXPECT_EQ(matrix_get(lu->q, 0, 0), 2.0);
}

TEST(MatrixLu, IsTheSameBitsAsThePlainAlgorithm)
{
    test::number_source numbers(21);
    for (size_t n = 1; n <= 12; ++n) {
        const table values = numbers.next_table(n, n);
        const reference::lu expected = reference::decompose(values);
        for (const kind k : test::every_kind) {
            SCOPED_TRACE(std::to_string(n) + ", " + test::name_of(k));
            const matrix_ptr m = make(values, k);
            const lu_ptr lu(matrix_lu_create(m.get()));
            EXPECT_TRUE(
                test::same_bits(expected.a, test::elements(lu->matrix)));
            EXPECT_TRUE(
                test::same_bits(column_of(expected.p), test::elements(lu->p)));
            EXPECT_TRUE(
                test::same_bits(column_of(expected.q), test::elements(lu->q)));
            EXPECT_EQ(matrix_lu_get_rank(lu.get()), n);
            EXPECT_TRUE(
                test::same_bits(expected.det, matrix_lu_get_det(lu.get())));
            EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
            EXPECT_TRUE(test::same_bits(values, test::elements(m.get())));
            EXPECT_TRUE(
                test::same_bits(reference::lower(expected),
                                test::elements(matrix_lu_get_lower(lu.get()))));
            EXPECT_TRUE(
                test::same_bits(reference::upper(expected),
                                test::elements(matrix_lu_get_upper(lu.get()))));
        }
    }
}

TEST(MatrixLu, ATransposedOperandDecomposesAsARegularMatrix)
{
    const lu_ptr lu = decompose({{1, 2}, {3, 4}}, kind::transposed);
    EXPECT_EQ(matrix_get_type(lu->matrix), 1u);
    const lu_ptr labelled = decompose({{1, 2}, {3, 4}}, kind::telemetry);
    EXPECT_EQ(matrix_get_type(labelled->matrix), 3u);
}

TEST(MatrixLu, LowerTimesUpperIsTheMatrix)
{
    test::number_source numbers(22);
    for (size_t n = 1; n <= 20; n += 3)
        for (size_t rank = 1; rank <= n; ++rank) {
            SCOPED_TRACE(std::to_string(n) + " of rank " +
                         std::to_string(rank));
            const table values = of_rank(numbers, n, rank);
            const lu_ptr lu = decompose(values);
            const matrix_ptr product(matrix_multiply(
                matrix_lu_get_lower(lu.get()), matrix_lu_get_upper(lu.get())));
            expect_near(values, test::elements(product.get()), 1e-13);
        }
}

TEST(MatrixLu, RankCountsThePivotsAboveTheThreshold)
{
    // Whole numbers keep the singular part exact.
    const lu_ptr lu =
        decompose({{4, 2, 6, 8}, {2, 1, 3, 4}, {0, 1, 0, 0}, {4, 3, 6, 8}});
    EXPECT_EQ(matrix_lu_get_rank(lu.get()), 2u);
    EXPECT_EQ(std::fabs(matrix_lu_get_det(lu.get())), 0.0);
}

TEST(MatrixLu, ZerosHaveRankOne)
{
    EXPECT_EQ(matrix_lu_get_rank(decompose({{0.0}}).get()), 1u);
    EXPECT_EQ(matrix_lu_get_det(decompose({{0.0}}).get()), 0.0);
    EXPECT_EQ(matrix_lu_get_rank(decompose({{0, 0}, {0, 0}}).get()), 1u);
}

TEST(MatrixLu, APivotOfTheThresholdCountsAsZero)
{
    EXPECT_EQ(matrix_lu_get_rank(decompose({{1, 0}, {0, 2.2e-16}}).get()), 1u);
    EXPECT_EQ(matrix_lu_get_rank(decompose({{1, 0}, {0, -2.2e-16}}).get()), 1u);
    EXPECT_EQ(matrix_lu_get_rank(decompose({{1, 0}, {0, 2.3e-16}}).get()), 2u);
}

TEST(MatrixLu, WhatIsNoNumberNeverBecomesThePivotByComparison)
{
    const lu_ptr lu = decompose({{1, NAN}, {2, 3}});
    EXPECT_EQ(matrix_get(lu->p, 0, 0), 1.0);
    EXPECT_EQ(matrix_get(lu->q, 0, 0), 1.0);
    // Nor does a number replace one that stands first.
    const lu_ptr stuck = decompose({{NAN, 1}, {2, 3}});
    EXPECT_EQ(matrix_get(stuck->p, 0, 0), 0.0);
    EXPECT_EQ(matrix_get(stuck->q, 0, 0), 0.0);
    EXPECT_EQ(matrix_lu_get_rank(stuck.get()), 2u);
}

TEST(MatrixLu, GettersLendTheSameMatrixEachTime)
{
    const lu_ptr lu = decompose({{1, 2}, {3, 4}});
    EXPECT_EQ(lu->lower, nullptr);
    EXPECT_EQ(lu->upper, nullptr);
    struct matrix *const lower = matrix_lu_get_lower(lu.get());
    struct matrix *const upper = matrix_lu_get_upper(lu.get());
    EXPECT_EQ(matrix_lu_get_lower(lu.get()), lower);
    EXPECT_EQ(matrix_lu_get_upper(lu.get()), upper);
    EXPECT_EQ(lu->lower, lower);
    EXPECT_EQ(lu->upper, upper);
}

TEST(MatrixLu, DestroyReleasesAllFive)
{
    const test::allocation_count blocks;
    struct matrix_lu *lu = decompose({{1, 2}, {3, 4}}).release();
    matrix_lu_get_lower(lu);
    matrix_lu_get_upper(lu);
    matrix_lu_destroy(&lu);
    EXPECT_EQ(lu, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

// --- solving ---

TEST(MatrixLuSolve, IsTheSameBitsAsThePlainAlgorithm)
{
    test::number_source numbers(31);
    for (size_t n = 1; n <= 12; ++n) {
        const table a = numbers.next_table(n, n);
        const table b = numbers.next_table(n, 1);
        const table expected = reference::solve(a, b);
        for (const kind k : test::every_kind) {
            SCOPED_TRACE(std::to_string(n) + ", " + test::name_of(k));
            const matrix_ptr m = make(a, k);
            const matrix_ptr right = make(b, k);
            const matrix_ptr x(matrix_lu_solve_for(m.get(), right.get()));
            EXPECT_TRUE(test::same_bits(expected, test::elements(x.get())));
            EXPECT_EQ(matrix_get_type(x.get()), test::type_of(k));
            EXPECT_TRUE(test::same_bits(b, test::elements(right.get())));
            EXPECT_EQ(matrix_get_type(right.get()), test::type_of(k));
        }
    }
}

TEST(MatrixLuSolve, SolvesTheSystem)
{
    test::number_source numbers(32);
    for (const size_t n : {1u, 3u, 10u, 30u}) {
        const table a = numbers.next_table(n, n);
        const table b = numbers.next_table(n, 1);
        const matrix_ptr x(matrix_lu_solve_for(make(a).get(), make(b).get()));
        expect_near(b, reference::multiply(a, test::elements(x.get())), 1e-10);
    }
}

TEST(MatrixLuSolve, FurtherColumnsAreOnlyPermutedCopies)
{
    const table a = {{1, 2, 3}, {4, 5, 6}, {7, 8, 10}};
    const matrix_ptr x(matrix_lu_solve_for(
        make(a).get(), make({{6, 100}, {15, 200}, {25, 300}}).get()));
    const table solved = test::elements(x.get());
    ASSERT_EQ(solved[0].size(), 2u);
    expect_near({{1}, {1}, {1}},
                {{solved[0][0]}, {solved[1][0]}, {solved[2][0]}}, 1e-12);
    // p = q = (2, 2, 2): rows 0 and 2, then 1 and 2, and the columns back.
    const reference::lu parts = reference::decompose(a);
    std::vector<double> second = {100, 200, 300};
    for (size_t k = 0; k < 3; ++k) std::swap(second[k], second[parts.p[k]]);
    for (size_t k = 3; k-- > 0;) std::swap(second[k], second[parts.q[k]]);
    EXPECT_TRUE(test::same_bits({second},
                                {{solved[0][1], solved[1][1], solved[2][1]}}));
}

TEST(MatrixLuSolve, ASingularSystemIsNullAndNoError)
{
    vela_set_last_error(-7);
    EXPECT_EQ(matrix_lu_solve_for(make({{1, 2}, {2, 4}}).get(),
                                  make({{1}, {2}}).get()),
              nullptr);
    EXPECT_EQ(vela_get_last_error(), -7);
}

TEST(MatrixLuSolve, TheOneByOneZeroLeavesTheRightHandSide)
{
    const matrix_ptr x(
        matrix_lu_solve_for(make({{0.0}}).get(), make({{5.0}}).get()));
    EXPECT_TRUE(test::same_bits({{5.0}}, test::elements(x.get())));
    const matrix_ptr tiny(
        matrix_lu_solve_for(make({{1e-300}}).get(), make({{1.0}}).get()));
    EXPECT_TRUE(test::same_bits({{1.0 / 1e-300}}, test::elements(tiny.get())));
}

// --- out of memory ---

TEST(MatrixLu, DecomposingFailsCleanly)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2}, {3, 4}}, k);
        test::expect_every_allocation_failure_is_clean([&] {
            const lu_ptr lu(matrix_lu_create(m.get()));
            return lu ? 0 : vela_get_last_error();
        });
    }
}

TEST(MatrixLu, GettersFailCleanlyAndMayBeAskedAgain)
{
    const lu_ptr lu = decompose({{1, 2}, {3, 4}});
    for (const auto get : {matrix_lu_get_lower, matrix_lu_get_upper})
        for (int n = 0;; ++n) {
            vela_set_last_error(0);
            const test::failing_allocation failing(n);
            struct matrix *const part = get(lu.get());
            if (!failing.reached()) {
                EXPECT_NE(part, nullptr);
                break;
            }
            EXPECT_EQ(part, nullptr);
            EXPECT_EQ(vela_get_last_error(), -22);
        }
}

TEST(MatrixLuSolve, FailsCleanly)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2}, {3, 4}}, k);
        const matrix_ptr b = make({{1}, {2}}, k);
        test::expect_every_allocation_failure_is_clean([&] {
            const matrix_ptr x(matrix_lu_solve_for(m.get(), b.get()));
            return x ? 0 : vela_get_last_error();
        });
    }
}

// --- aborts ---

namespace {
struct matrix_lu *broken(void (*change)(struct matrix_lu *))
{
    struct matrix_lu *const lu = decompose({{1, 2}, {3, 4}}).release();
    change(lu);
    return lu;
}
}  // namespace

TEST(MatrixLuDeathTest, DestructionChecksTheParts)
{
    const auto destroy = [](struct matrix_lu *lu) {
        matrix_lu_destroy(&lu);
    };
    const char *const function = "matrix_lu_destroy";
    test::expect_aborts({
        {function, "m != NULL",
         [] {
             matrix_lu_destroy(NULL);
         }},
        {function, "*m != NULL",
         [=] {
             destroy(NULL);
         }},
        {function, "(*m)->matrix != NULL",
         [=] {
             destroy(broken([](auto *lu) { lu->matrix = NULL; }));
         }},
        {function, "(*m)->p != NULL",
         [=] {
             destroy(broken([](auto *lu) { lu->p = NULL; }));
         }},
        {function, "(*m)->q != NULL",
         [=] {
             destroy(broken([](auto *lu) { lu->q = NULL; }));
         }},
    });
}

TEST(MatrixLuDeathTest, GettersCheckTheDecomposition)
{
    std::vector<test::abort_in> rows = {{"matrix_lu_get_rank", "m != NULL",
                                         [] {
                                             matrix_lu_get_rank(NULL);
                                         }},
                                        {"matrix_lu_get_det", "m != NULL", [] {
                                             matrix_lu_get_det(NULL);
                                         }}};
    const auto add = [&](const char *function, auto get) {
        rows.insert(rows.end(),
                    {{function, "m != NULL",
                      [=] {
                          get(nullptr);
                      }},
                     {function, "m->matrix != NULL",
                      [=] {
                          get(broken([](auto *lu) { lu->matrix = NULL; }));
                      }},
                     {function, "rows == cols", [=] {
                          get(broken([](auto *lu) { lu->matrix->ncols = 1; }));
                      }}});
    };
    add("matrix_lu_get_lower", matrix_lu_get_lower);
    add("matrix_lu_get_upper", matrix_lu_get_upper);
    test::expect_aborts(rows);
}

TEST(MatrixLuDeathTest, DecomposingAndSolvingNeedASquareMatrix)
{
    const auto square = [] {
        return matrix_create(2, 2);
    };
    test::expect_aborts({
        {"matrix_lu_create", "m != NULL",
         [] {
             matrix_lu_create(NULL);
         }},
        {"matrix_lu_create", "rows == cols",
         [] {
             matrix_lu_create(matrix_create(2, 3));
         }},
        {"matrix_lu_solve_for", "m != NULL",
         [=] {
             matrix_lu_solve_for(NULL, square());
         }},
        {"matrix_lu_solve_for", "b != NULL",
         [=] {
             matrix_lu_solve_for(square(), NULL);
         }},
        {"matrix_lu_solve_for", "matrix_get_number_columns(m) == n",
         [=] {
             matrix_lu_solve_for(matrix_create(2, 3), square());
         }},
        {"matrix_lu_solve_for", "matrix_get_number_rows(b) == n",
         [=] {
             matrix_lu_solve_for(square(), matrix_create(3, 1));
         }},
    });
}
