#include "matrix.h"

#include <cmath>
#include <cstddef>

#include "matrix_ops.h"
#include "matrix_support.hpp"
#include "reference.hpp"

using test::kind;
using test::make;
using test::matrix_ptr;
using test::table;

// Callers allocate these and read their fields.
constexpr bool wide = sizeof(void *) == 8;
static_assert(sizeof(struct matrix) == (wide ? 112 : 64));
static_assert(offsetof(struct matrix, type) == 4);
static_assert(offsetof(struct matrix, values) == 8);
static_assert(offsetof(struct matrix, nrows) == (wide ? 16 : 12));
static_assert(offsetof(struct matrix, ncols) == (wide ? 20 : 16));
static_assert(offsetof(struct matrix, matrix) == (wide ? 24 : 20));
static_assert(offsetof(struct matrix, fn_destroy) == (wide ? 32 : 24));
static_assert(offsetof(struct matrix, fn_set_columns) == (wide ? 104 : 60));

namespace {

// An inner object of the caller's making, to watch the calls that reach it.
struct probe {
    double value = 0.0;
    uint32_t i = 0;
    uint32_t j = 0;
    int destroyed = 0;
    int resize_result = 0;
};

// A matrix without row pointers over a probe.
struct matrix over(probe *inner)
{
    struct matrix m;
    matrix_init_null(&m);
    _matrix_init(&m, MATRIX_TYPE_TRANSPOSED, 2, 3);
    m.matrix = inner;
    m.fn_destroy = [](void **p) {
        static_cast<probe *>(*p)->destroyed++;
        *p = nullptr;
    };
    m.fn_get = [](void *p, uint32_t i, uint32_t j) {
        auto *const self = static_cast<probe *>(p);
        self->i = i;
        self->j = j;
        return self->value + i * 10.0 + j;
    };
    m.fn_set = [](void *p, uint32_t i, uint32_t j, double value) {
        *static_cast<probe *>(p) = {value, i, j, 0, 0};
    };
    m.fn_resize = [](void *p, uint32_t, uint32_t) {
        return static_cast<probe *>(p)->resize_result;
    };
    return m;
}

}  // namespace

// --- construction ---

TEST(Matrix, OneByOneHoldsZero)
{
    const matrix_ptr m(matrix_create(1, 1));
    EXPECT_EQ(m->version, 1);
    EXPECT_EQ(matrix_get_type(m.get()), 1u);
    EXPECT_EQ(matrix_get_number_rows(m.get()), 1u);
    EXPECT_EQ(matrix_get_number_columns(m.get()), 1u);
    EXPECT_EQ(m->matrix, nullptr);
    EXPECT_EQ(m->fn_destroy, nullptr);
    EXPECT_EQ(m->fn_set_columns, nullptr);
    EXPECT_TRUE(test::same_bits({{0.0}}, test::elements(m.get())));
}

TEST(Matrix, RowsLieBehindEachOtherInOneBlock)
{
    const matrix_ptr m(matrix_create_with_dimensions(3, 4));
    for (uint32_t i = 0; i < 3; ++i)
        EXPECT_EQ(m->values[i], m->values[0] + i * 4);
    EXPECT_TRUE(test::same_bits(table(3, std::vector<double>(4, 0.0)),
                                test::elements(m.get())));
}

TEST(Matrix, RegularTakesTwoBlocksBesideTheObject)
{
    struct matrix m;
    const test::allocation_count blocks;
    EXPECT_EQ(matrix_init(&m, 50, 7), 0);
    EXPECT_EQ(blocks.total(), 2);
    matrix_destruct(&m);
    EXPECT_EQ(blocks.live(), 0);
}

TEST(Matrix, DestructClearsTheHead)
{
    struct matrix m;
    EXPECT_EQ(matrix_init(&m, 2, 3), 0);
    matrix_destruct(&m);
    EXPECT_EQ(m.version, 0);
    EXPECT_EQ(m.type, 0u);
    EXPECT_EQ(m.nrows, 0u);
    EXPECT_EQ(m.ncols, 0u);
}

TEST(Matrix, DestroyClearsTheCallersPointer)
{
    const test::allocation_count blocks;
    struct matrix *m = matrix_create(2, 3);
    matrix_destroy(&m);
    EXPECT_EQ(m, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST(Matrix, NullMatrixHasTypeZeroAndNothingElse)
{
    const matrix_ptr m(matrix_create_null());
    EXPECT_EQ(m->version, 1);
    EXPECT_EQ(matrix_get_type(m.get()), 0u);
    EXPECT_EQ(m->values, nullptr);
    EXPECT_EQ(m->nrows, 0u);
    EXPECT_EQ(m->ncols, 0u);
    EXPECT_EQ(m->matrix, nullptr);
}

TEST(Matrix, InitOfTheHeadTouchesNothingElse)
{
    struct matrix m = {};
    probe inner;
    m.matrix = &inner;
    double *rows[1] = {};
    m.values = rows;
    EXPECT_EQ(_matrix_init(&m, 7, 2, 3), 0);
    EXPECT_EQ(m.version, 1);
    EXPECT_EQ(m.type, 7u);
    EXPECT_EQ(m.nrows, 2u);
    EXPECT_EQ(m.ncols, 3u);
    EXPECT_EQ(m.values, nullptr);
    EXPECT_EQ(m.matrix, &inner);
}

TEST(Matrix, IdentityHasOnesOnTheDiagonal)
{
    const matrix_ptr one(matrix_create_identity(1));
    EXPECT_TRUE(test::same_bits({{1.0}}, test::elements(one.get())));
    const matrix_ptr three(matrix_create_identity(3));
    EXPECT_TRUE(test::same_bits({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                                test::elements(three.get())));
}

TEST(Matrix, OnesAreOnes)
{
    const matrix_ptr m(matrix_create_ones(2, 3));
    EXPECT_TRUE(
        test::same_bits({{1, 1, 1}, {1, 1, 1}}, test::elements(m.get())));
}

TEST(Matrix, AbsurdSizesAreOutOfMemoryNotSmallBlocks)
{
    // 8 * 2^62 bytes, or 2^32 where a size has 32 bits: neither wraps to 0.
    struct matrix m;
    vela_set_last_error(0);
    if (wide)
        EXPECT_EQ(matrix_init(&m, 0x80000000u, 0x80000000u), -22);
    else
        EXPECT_EQ(matrix_init(&m, 65536, 65536), -22);
    EXPECT_EQ(vela_get_last_error(), -22);
    EXPECT_EQ(m.version, 0);
    EXPECT_EQ(m.matrix, nullptr);
}

TEST(Matrix, LikeIsZeroAndOfTheSameKind)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2, 3}, {4, 5, 6}}, k);
        const matrix_ptr like(matrix_create_like(m.get()));
        EXPECT_EQ(matrix_get_type(like.get()), test::type_of(k));
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
        EXPECT_TRUE(test::same_bits(table(2, std::vector<double>(3, 0.0)),
                                    test::elements(like.get())));
    }
}

TEST(Matrix, LikeBinaryOperandsFollowsTheFirst)
{
    const matrix_ptr m1 = make({{1, 2}}, kind::telemetry);
    const matrix_ptr m2 = make({{3, 4}});
    const matrix_ptr like(
        matrix_create_like_binary_operands(m1.get(), m2.get()));
    EXPECT_EQ(matrix_get_type(like.get()), 3u);
    EXPECT_TRUE(test::same_bits({{0, 0}}, test::elements(like.get())));
}

TEST(Matrix, CopyIsIndependentOfItsSource)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2, 3}, {4, 5, 6}}, k);
        const matrix_ptr copy(matrix_copy(m.get()));
        EXPECT_EQ(matrix_get_type(copy.get()), test::type_of(k));
        matrix_set(m.get(), 1, 2, 60.0);
        matrix_set(copy.get(), 0, 0, 10.0);
        EXPECT_TRUE(
            test::same_bits({{1, 2, 3}, {4, 5, 60}}, test::elements(m.get())));
        EXPECT_TRUE(test::same_bits({{10, 2, 3}, {4, 5, 6}},
                                    test::elements(copy.get())));
    }
}

TEST(Matrix, CopyMetadataGivesRowPointersOnlyWhereTheSourceHasThem)
{
    const matrix_ptr m = make({{1, 2}, {3, 4}}, kind::transposed);
    const matrix_ptr view = make({{5, 6}, {7, 8}}, kind::transposed);
    view->fn_get = nullptr;
    _matrix_copy_metadata(m.get(), view.get());
    EXPECT_EQ(view->values, nullptr);
    EXPECT_EQ(view->fn_get, m->fn_get);

    const matrix_ptr labelled = make({{1, 2}}, kind::telemetry);
    const matrix_ptr other = make({{3, 4}}, kind::telemetry);
    matrix_value **const rows = other->values;
    other->values = nullptr;
    _matrix_copy_metadata(labelled.get(), other.get());
    EXPECT_EQ(other->values, rows);
}

TEST(Matrix, CopyMetadataKeepsRowPointersThatAreThere)
{
    const matrix_ptr labelled = make({{1, 2}}, kind::telemetry);
    const matrix_ptr other = make({{3, 4}}, kind::telemetry);
    matrix_value one_row[] = {5, 6};
    matrix_value *own_rows[] = {one_row};
    other->values = own_rows;
    _matrix_copy_metadata(labelled.get(), other.get());
    EXPECT_EQ(other->values, own_rows);

    const matrix_ptr m = make({{1, 2}});
    const matrix_ptr regular = make({{3, 4}});
    _matrix_copy_metadata(m.get(), regular.get());
    EXPECT_TRUE(test::same_bits({{3, 4}}, test::elements(regular.get())));
}

// --- access ---

TEST(Matrix, SetThenGet)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2, 3}, {4, 5, 6}}, k);
        matrix_set(m.get(), 1, 0, -4.5);
        EXPECT_EQ(matrix_get(m.get(), 1, 0), -4.5);
        EXPECT_TRUE(test::same_bits({{1, 2, 3}, {-4.5, 5, 6}},
                                    test::elements(m.get())));
    }
}

TEST(Matrix, WithoutRowPointersTheKindIsAsked)
{
    probe inner;
    struct matrix m = over(&inner);
    EXPECT_EQ(matrix_get(&m, 1, 2), 12.0);
    matrix_set(&m, 5, 6, 9.0);
    EXPECT_EQ(inner.value, 9.0);
    EXPECT_EQ(inner.i, 5u);  // bounds are the inner object's business
    EXPECT_EQ(inner.j, 6u);
    matrix_destruct(&m);
    EXPECT_EQ(inner.destroyed, 1);
    EXPECT_EQ(m.matrix, nullptr);
}

TEST(Matrix, LoopsAskAForeignKindToo)
{
    probe inner;
    struct matrix m = over(&inner);
    EXPECT_EQ(matrix_norm_inf(&m), 33.0);
    const matrix_ptr view(transposed_matrix_create(&m));
    EXPECT_EQ(matrix_norm_inf(view.get()), 14.0);
    matrix_clear(&m);
    EXPECT_EQ(inner.i, 1u);
    EXPECT_EQ(inner.j, 2u);
    transposed_matrix_detach_original_matrix(view.get());
}

TEST(Matrix, DirectAccessOfARegularMatrixIsItsRows)
{
    const matrix_ptr m = make({{1, 2}});
    const test::allocation_count blocks;
    EXPECT_EQ(matrix_enable_direct_access(m.get()), m->values);
    EXPECT_EQ(blocks.total(), 0);
}

// --- size ---

TEST(Matrix, ResizeToTheSameSizeDoesNotReallocate)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2}}, k);
        const test::allocation_count blocks;
        EXPECT_EQ(matrix_resize(m.get(), 1, 2), 0);
        EXPECT_EQ(blocks.total(), 0);
    }
}

TEST(Matrix, ResizeKeepsTheTopLeftAndFillsWithZeros)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2}, {3, 4}}, k);
        EXPECT_EQ(matrix_resize(m.get(), 3, 3), 0);
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
        EXPECT_TRUE(test::same_bits({{1, 2, 0}, {3, 4, 0}, {0, 0, 0}},
                                    test::elements(m.get())));
    }
}

TEST(Matrix, ResizeDropsTheRightAndTheBottom)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, k);
        EXPECT_EQ(matrix_resize(m.get(), 2, 1), 0);
        EXPECT_TRUE(test::same_bits({{1}, {4}}, test::elements(m.get())));
    }
}

TEST(Matrix, ResizeBuildsNewStorageEvenToShrink)
{
    const matrix_ptr m = make({{1, 2}, {3, 4}});
    const test::allocation_count blocks;
    EXPECT_EQ(matrix_resize(m.get(), 1, 2), 0);
    EXPECT_EQ(blocks.total(), 2);
}

TEST(Matrix, ResizeThatTheKindRefusesKeepsTheSize)
{
    probe inner;
    inner.resize_result = KOR_ERR_FAILED;
    struct matrix m = over(&inner);
    EXPECT_EQ(matrix_resize(&m, 4, 4), KOR_ERR_FAILED);
    EXPECT_EQ(m.nrows, 2u);
    EXPECT_EQ(m.ncols, 3u);
    inner.resize_result = 0;
    EXPECT_EQ(matrix_resize(&m, 4, 5), 0);
    EXPECT_EQ(m.nrows, 4u);
    EXPECT_EQ(m.ncols, 5u);
}

// --- norms ---

TEST(Matrix, FrobeniusNormIsTheRootOfTheSumOfSquares)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, -2}, {2, 4}}, k);
        EXPECT_EQ(matrix_norm_F(m.get()), 5.0);
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
    }
    const matrix_ptr zero(matrix_create(2, 2));
    EXPECT_EQ(matrix_norm_F(zero.get()), 0.0);
}

TEST(Matrix, FrobeniusNormAddsRowByRow)
{
    test::number_source numbers(11);
    const table values = numbers.next_table(7, 5);
    double sum = 0.0;
    for (const auto &row : values)
        for (const double a : row) sum += a * a;
    for (const kind k : test::every_kind)
        EXPECT_TRUE(test::same_bits(std::sqrt(sum),
                                    matrix_norm_F(make(values, k).get())));
}

TEST(Matrix, InfinityNormIsTheLargestRowSum)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        EXPECT_EQ(matrix_norm_inf(make({{1, -2}, {2, 4}}, k).get()), 6.0);
        EXPECT_EQ(matrix_norm_inf(make({{1, -2}, {-3, 0}}, k).get()), 3.0);
    }
    const matrix_ptr zero(matrix_create(3, 3));
    EXPECT_EQ(matrix_norm_inf(zero.get()), 0.0);
}

TEST(Matrix, InfinityNormPassesOverRowsThatAreNotNumbers)
{
    EXPECT_EQ(matrix_norm_inf(make({{NAN, 9}, {1, 1}}).get()), 2.0);
    EXPECT_EQ(matrix_norm_inf(make({{NAN}}).get()), 0.0);
    EXPECT_EQ(matrix_norm_inf(make({{-INFINITY}}).get()), INFINITY);
}

// --- inverse ---

TEST(MatrixInverse, IsTheSameBitsAsThePlainFormula)
{
    test::number_source numbers(5);
    for (size_t n = 1; n <= 12; ++n) {
        const table values = numbers.next_table(n, n);
        const table expected = reference::inverse(values);
        for (const kind k : test::every_kind) {
            SCOPED_TRACE(test::name_of(k));
            const matrix_ptr m = make(values, k);
            const matrix_ptr inverse(matrix_inverse(m.get()));
            EXPECT_EQ(matrix_get_type(inverse.get()), 1u);
            EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
            EXPECT_TRUE(
                test::same_bits(expected, test::elements(inverse.get())));
            EXPECT_TRUE(test::same_bits(values, test::elements(m.get())));
        }
    }
}

TEST(MatrixInverse, TimesTheMatrixIsTheIdentity)
{
    test::number_source numbers(6);
    for (const size_t n : {1u, 2u, 5u, 20u, 40u}) {
        const table values = numbers.next_table(n, n);
        const matrix_ptr inverse(matrix_inverse(make(values).get()));
        const table product =
            reference::multiply(values, test::elements(inverse.get()));
        for (size_t i = 0; i < n; ++i)
            for (size_t j = 0; j < n; ++j)
                EXPECT_NEAR(product[i][j], i == j ? 1.0 : 0.0, 1e-9)
                    << n << ": " << i << ", " << j;
    }
}

TEST(MatrixInverse, OfASingularMatrixIsNullAndNoError)
{
    vela_set_last_error(-7);
    EXPECT_EQ(matrix_inverse(make({{0, 0}, {0, 0}}).get()), nullptr);
    EXPECT_EQ(matrix_inverse(make({{1, 2}, {2, 4}}).get()), nullptr);
    EXPECT_EQ(vela_get_last_error(), -7);
}

TEST(MatrixInverse, OfTheOneByOneZeroDividesByIt)
{
    const matrix_ptr inverse(matrix_inverse(make({{0.0}}).get()));
    EXPECT_TRUE(test::same_bits({{INFINITY}}, test::elements(inverse.get())));
}

TEST(MatrixConditionNumber, OfTheIdentityIsOne)
{
    for (const kind k : test::every_kind)
        EXPECT_EQ(matrix_condition_number_inf(
                      make({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, k).get()),
                  1.0);
    EXPECT_EQ(matrix_condition_number_inf(make({{2, 0}, {0, 0.5}}).get()), 4.0);
}

TEST(MatrixConditionNumber, OfASingularMatrixIsMinusOne)
{
    const matrix_ptr m = make({{1, 2, 3}, {2, 4, 6}, {1, 1, 1}});
    EXPECT_EQ(matrix_condition_number_inf(m.get()), -1.0);
}

TEST(MatrixConditionNumber, LeavesNothingBehind)
{
    const matrix_ptr m = make({{2, 1}, {1, 3}});
    const test::allocation_count blocks;
    matrix_condition_number_inf(m.get());
    EXPECT_EQ(blocks.live(), 0);
}

// --- out of memory ---

namespace {
int outcome(struct matrix *made)
{
    if (made == nullptr) return vela_get_last_error();
    matrix_destroy(&made);
    return KOR_OK;
}
}  // namespace

TEST(Matrix, CreatingFailsCleanly)
{
    using test::expect_every_allocation_failure_is_clean;
    expect_every_allocation_failure_is_clean(
        [] { return outcome(matrix_create(3, 4)); });
    expect_every_allocation_failure_is_clean(
        [] { return outcome(matrix_create_with_dimensions(3, 4)); });
    expect_every_allocation_failure_is_clean(
        [] { return outcome(matrix_create_null()); });
    expect_every_allocation_failure_is_clean(
        [] { return outcome(matrix_create_identity(3)); });
    expect_every_allocation_failure_is_clean(
        [] { return outcome(matrix_create_ones(3, 2)); });
    expect_every_allocation_failure_is_clean([] {
        struct matrix m;
        const int result = matrix_init(&m, 3, 4);
        if (result == KOR_OK) matrix_destruct(&m);
        return result;
    });
}

TEST(Matrix, CopyingFailsCleanly)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2}, {3, 4}}, k);
        test::expect_every_allocation_failure_is_clean(
            [&] { return outcome(matrix_copy(m.get())); });
    }
}

TEST(Matrix, LikeOfARegularMatrixFailsCleanly)
{
    const matrix_ptr m = make({{1, 2}, {3, 4}});
    test::expect_every_allocation_failure_is_clean(
        [&] { return outcome(matrix_create_like(m.get())); });
    test::expect_every_allocation_failure_is_clean([&] {
        return outcome(matrix_create_like_binary_operands(m.get(), m.get()));
    });
}

TEST(Matrix, LikeStoresAFailedInnerObjectUnchecked)
{
    const matrix_ptr m = make({{1, 2}, {3, 4}}, kind::transposed);
    for (int n = 0;; ++n) {
        const test::failing_allocation failing(n);
        matrix_ptr like(matrix_create_like(m.get()));
        if (!failing.reached()) break;
        if (n == 0)
            EXPECT_EQ(like, nullptr);
        else
            EXPECT_EQ(like->matrix, nullptr);
        EXPECT_EQ(vela_get_last_error(), -22);
    }
}

TEST(Matrix, ResizingFailsCleanlyAndChangesNothing)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        matrix_ptr m = make({{1, 2}, {3, 4}}, k);
        for (int n = 0;; ++n) {
            vela_set_last_error(0);
            const test::failing_allocation failing(n);
            const int result = matrix_resize(m.get(), 3, 1);
            if (!failing.reached()) break;
            EXPECT_EQ(result, -22);
            EXPECT_EQ(vela_get_last_error(), -22);
            EXPECT_TRUE(
                test::same_bits({{1, 2}, {3, 4}}, test::elements(m.get())));
            if (k == kind::telemetry) {
                EXPECT_EQ(test::sensor_names(m.get()).size(), 2u);
                EXPECT_EQ(test::seconds(m.get()).size(), 2u);
            }
        }
        EXPECT_TRUE(test::same_bits({{1}, {3}, {0}}, test::elements(m.get())));
    }
}

TEST(Matrix, InvertingFailsCleanly)
{
    for (const kind k : {kind::regular, kind::transposed, kind::nested}) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2}, {3, 4}}, k);
        test::expect_every_allocation_failure_is_clean(
            [&] { return outcome(matrix_inverse(m.get())); });
    }
}

TEST(MatrixConditionNumber, OutOfMemoryIsMinusOne)
{
    const matrix_ptr m = make({{1, 2}, {3, 4}});
    for (int n = 0;; ++n) {
        const test::failing_allocation failing(n);
        const double condition = matrix_condition_number_inf(m.get());
        if (!failing.reached()) break;
        EXPECT_EQ(condition, -1.0) << n;
    }
}

// --- aborts ---

namespace {

// Matrices that break one rule each.  They live as long as the process, which
// the abort ends.
struct matrix *stale()
{
    struct matrix *const m = matrix_create(2, 2);
    m->version = 9;
    return m;
}
struct matrix *null_matrix()
{
    return matrix_create_null();
}
struct matrix *broken(void (*change)(struct matrix *),
                      kind k = kind::transposed)
{
    struct matrix *const m = make({{1, 2}, {3, 4}}, k).release();
    change(m);
    return m;
}
struct matrix *two_by_three()
{
    return matrix_create(2, 3);
}

}  // namespace

TEST(MatrixDeathTest, ConstructionChecksItsArguments)
{
    static struct matrix m;
    test::expect_aborts({
        {"_matrix_init", "m != NULL",
         [] {
             _matrix_init(NULL, 1, 1, 1);
         }},
        {"_matrix_init", "type > 0",
         [] {
             _matrix_init(&m, 0, 1, 1);
         }},
        {"_matrix_init", "nrows > 0",
         [] {
             _matrix_init(&m, 1, 0, 1);
         }},
        {"_matrix_init", "ncols > 0",
         [] {
             _matrix_init(&m, 1, 1, 0);
         }},
        {"matrix_init", "m != NULL",
         [] {
             matrix_init(NULL, 1, 1);
         }},
        {"matrix_init", "nrows > 0",
         [] {
             matrix_init(&m, 0, 1);
         }},
        {"matrix_init", "ncols > 0",
         [] {
             matrix_init(&m, 1, 0);
         }},
        {"matrix_create", "nrows > 0",
         [] {
             matrix_create(0, 1);
         }},
        {"matrix_create", "ncols > 0",
         [] {
             matrix_create(1, 0);
         }},
        {"matrix_create", "nrows > 0",
         [] {
             matrix_create_with_dimensions(0, 1);
         }},
        {"matrix_init_null", "m != NULL",
         [] {
             matrix_init_null(NULL);
         }},
        {"matrix_create_identity", "n > 0",
         [] {
             matrix_create_identity(0);
         }},
        {"matrix_create_ones", "m > 0",
         [] {
             matrix_create_ones(0, 1);
         }},
        {"matrix_create_ones", "n > 0",
         [] {
             matrix_create_ones(1, 0);
         }},
    });
}

TEST(MatrixDeathTest, CopiesCheckTheirSource)
{
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto copy) {
        rows.insert(rows.end(),
                    {{function, "m != NULL",
                      [=] {
                          copy(nullptr);
                      }},
                     {function, "m->version == MATRIX_VERSION",
                      [=] {
                          copy(stale());
                      }},
                     {function, "m->type > 0",
                      [=] {
                          copy(null_matrix());
                      }},
                     {function, "m->nrows > 0",
                      [=] {
                          copy(broken([](auto *m) { m->nrows = 0; }));
                      }},
                     {function, "m->ncols > 0", [=] {
                          copy(broken([](auto *m) { m->ncols = 0; }));
                      }}});
    };
    add("matrix_create_like", matrix_create_like);
    add("matrix_copy", matrix_copy);
    rows.insert(rows.end(),
                {{"matrix_create_like", "m->fn_create_like != NULL",
                  [] {
                      matrix_create_like(
                          broken([](auto *m) { m->fn_create_like = NULL; }));
                  }},
                 {"matrix_copy", "m->matrix != NULL",
                  [] {
                      matrix_copy(broken([](auto *m) { m->matrix = NULL; }));
                  }},
                 {"matrix_copy", "m->fn_copy != NULL",
                  [] {
                      matrix_copy(broken([](auto *m) { m->fn_copy = NULL; }));
                  }},
                 {"matrix_create_like_binary_operands", "m1 != NULL",
                  [] {
                      matrix_create_like_binary_operands(NULL, two_by_three());
                  }},
                 {"matrix_create_like_binary_operands", "m2 != NULL",
                  [] {
                      matrix_create_like_binary_operands(two_by_three(), NULL);
                  }},
                 {"matrix_create_like_binary_operands",
                  "matrix_is_equal_dimensions(m1, m2)", [] {
                      matrix_create_like_binary_operands(two_by_three(),
                                                         matrix_create(3, 2));
                  }}});
    test::expect_aborts(rows);
}

TEST(MatrixDeathTest, AKindThatFailsMustSayWhy)
{
    test::expect_aborts({{"matrix_copy", "vela_get_last_error() < 0", [] {
                              struct matrix *const m = broken([](auto *view) {
                                  view->fn_copy = [](void *) {
                                      return static_cast<void *>(NULL);
                                  };
                              });
                              vela_set_last_error(0);
                              matrix_copy(m);
                          }}});
}

TEST(MatrixDeathTest, LikeOfTelemetryAbortsWithoutMemory)
{
    test::expect_aborts(
        {{"_matrix_get_row_pointers", "tmatrix != NULL", [] {
              const matrix_ptr m = make({{1, 2}}, kind::telemetry);
              const test::failing_allocation failing(1);
              matrix_create_like(m.get());
          }}});
}

TEST(MatrixDeathTest, MetadataChecksBothSides)
{
    test::expect_aborts({
        {"_matrix_copy_metadata", "from != NULL",
         [] {
             _matrix_copy_metadata(NULL, two_by_three());
         }},
        {"_matrix_copy_metadata", "to != NULL",
         [] {
             _matrix_copy_metadata(two_by_three(), NULL);
         }},
        {"_matrix_copy_metadata", "to->version == MATRIX_VERSION",
         [] {
             _matrix_copy_metadata(two_by_three(), stale());
         }},
        {"_matrix_copy_metadata", "to->type > 0",
         [] {
             _matrix_copy_metadata(two_by_three(), null_matrix());
         }},
        {"_matrix_copy_metadata", "from->version == MATRIX_VERSION",
         [] {
             _matrix_copy_metadata(stale(), two_by_three());
         }},
        {"_matrix_copy_metadata", "from->type > 0",
         [] {
             _matrix_copy_metadata(null_matrix(), two_by_three());
         }},
    });
}

TEST(MatrixDeathTest, DestructionChecksTheObject)
{
    static struct matrix *none = NULL;
    static probe inner;
    test::expect_aborts({
        {"_matrix_destruct", "m != NULL",
         [] {
             _matrix_destruct(NULL);
         }},
        {"_matrix_destruct", "m->version == MATRIX_VERSION",
         [] {
             _matrix_destruct(stale());
         }},
        {"matrix_destruct", "m != NULL",
         [] {
             matrix_destruct(NULL);
         }},
        {"matrix_destruct", "m->version == MATRIX_VERSION",
         [] {
             matrix_destruct(stale());
         }},
        {"matrix_destruct", "m->matrix == NULL",
         [] {
             matrix_destruct(
                 broken([](auto *m) { m->matrix = &inner; }, kind::regular));
         }},
        {"matrix_destruct", "m->fn_destroy != NULL",
         [] {
             matrix_destruct(broken([](auto *m) { m->fn_destroy = NULL; }));
         }},
        {"matrix_destroy", "m != NULL",
         [] {
             matrix_destroy(NULL);
         }},
        {"matrix_destroy", "*m != NULL",
         [] {
             matrix_destroy(&none);
         }},
        {"matrix_destruct", "m->version == MATRIX_VERSION",
         [] {
             struct matrix m;
             matrix_init(&m, 1, 1);
             matrix_destruct(&m);
             matrix_destruct(&m);
         }},
    });
}

TEST(MatrixDeathTest, AccessChecksObjectAndBounds)
{
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto touch) {
        rows.insert(
            rows.end(),
            {{function, "m != NULL",
              [=] {
                  touch(nullptr, 0, 0);
              }},
             {function, "m->version == MATRIX_VERSION",
              [=] {
                  touch(stale(), 0, 0);
              }},
             {function, "m->type > 0",
              [=] {
                  touch(null_matrix(), 0, 0);
              }},
             {function, "i < m->nrows",
              [=] {
                  touch(two_by_three(), 2, 0);
              }},
             {function, "j < m->ncols",
              [=] {
                  touch(two_by_three(), 0, 3);
              }},
             {function, "i < m->nrows",
              [=] {
                  touch(two_by_three(), UINT32_MAX, 0);
              }},
             {function, "m->type != MATRIX_TYPE_REGULAR",
              [=] {
                  touch(
                      broken([](auto *m) { m->values = NULL; }, kind::regular),
                      0, 0);
              }},
             {function, "m->matrix != NULL",
              [=] {
                  touch(broken([](auto *m) { m->matrix = NULL; }), 0, 0);
              }},
             // A view passes bounds on to what it views.
             {function, "j < m->ncols", [=] {
                  touch(make({{1, 2}, {3, 4}}, kind::transposed).release(), 2,
                        0);
              }}});
    };
    add("matrix_get", matrix_get);
    add("matrix_set", [](struct matrix *m, uint32_t i, uint32_t j) {
        matrix_set(m, i, j, 1.0);
    });
    rows.insert(
        rows.end(),
        {{"matrix_get", "m->fn_get != NULL",
          [] {
              matrix_get(broken([](auto *m) { m->fn_get = NULL; }), 0, 0);
          }},
         {"matrix_set", "m->fn_set != NULL", [] {
              matrix_set(broken([](auto *m) { m->fn_set = NULL; }), 0, 0, 1);
          }}});
    test::expect_aborts(rows);
}

TEST(MatrixDeathTest, SizesAndTypeCheckTheObject)
{
    test::expect_aborts({
        {"matrix_get_number_rows", "m != NULL",
         [] {
             matrix_get_number_rows(NULL);
         }},
        {"matrix_get_number_rows", "m->version == MATRIX_VERSION",
         [] {
             matrix_get_number_rows(stale());
         }},
        {"matrix_get_number_rows", "m->nrows > 0",
         [] {
             matrix_get_number_rows(null_matrix());
         }},
        {"matrix_get_number_columns", "m != NULL",
         [] {
             matrix_get_number_columns(NULL);
         }},
        {"matrix_get_number_columns", "m->version == MATRIX_VERSION",
         [] {
             matrix_get_number_columns(stale());
         }},
        {"matrix_get_number_columns", "m->ncols > 0",
         [] {
             matrix_get_number_columns(null_matrix());
         }},
        {"matrix_get_type", "m != NULL",
         [] {
             matrix_get_type(NULL);
         }},
        {"matrix_get_type", "m->version == MATRIX_VERSION",
         [] {
             matrix_get_type(stale());
         }},
    });
}

TEST(MatrixDeathTest, DirectAccessChecksTheObject)
{
    test::expect_aborts({
        {"matrix_enable_direct_access", "m != NULL",
         [] {
             matrix_enable_direct_access(NULL);
         }},
        {"matrix_enable_direct_access", "m->version == MATRIX_VERSION",
         [] {
             matrix_enable_direct_access(stale());
         }},
        {"matrix_enable_direct_access", "m->type > 0",
         [] {
             matrix_enable_direct_access(null_matrix());
         }},
        {"matrix_enable_direct_access", "m->type != MATRIX_TYPE_REGULAR",
         [] {
             matrix_enable_direct_access(
                 broken([](auto *m) { m->values = NULL; }, kind::regular));
         }},
        {"_matrix_get_row_pointers", "0",
         [] {
             matrix_enable_direct_access(broken([](auto *m) { m->type = 4; }));
         }},
        {"_matrix_get_row_pointers", "m->matrix != NULL",
         [] {
             matrix_enable_direct_access(
                 broken([](auto *m) { m->matrix = NULL; }));
         }},
        {"_matrix_get_row_pointers", "m->fn_destroy != NULL",
         [] {
             matrix_enable_direct_access(
                 broken([](auto *m) { m->fn_destroy = NULL; }));
         }},
        {"_matrix_get_row_pointers", "m->matrix == NULL",
         [] {
             matrix_enable_direct_access(broken([](auto *m) {
                 m->fn_destroy = [](void **) {
                 };
             }));
         }},
        {"_matrix_get_row_pointers", "tmatrix->matrix != NULL",
         [] {
             struct matrix *const m = make({{1, 2}}, kind::telemetry).release();
             m->values = NULL;
             static_cast<telemetry_matrix_body *>(m->matrix)->matrix = NULL;
             matrix_enable_direct_access(m);
         }},
    });
}

TEST(MatrixDeathTest, ResizeChecksItsArguments)
{
    test::expect_aborts({
        {"matrix_resize", "matrix != NULL",
         [] {
             matrix_resize(NULL, 1, 1);
         }},
        {"matrix_resize", "matrix->version == MATRIX_VERSION",
         [] {
             matrix_resize(stale(), 1, 1);
         }},
        {"matrix_resize", "nrows > 0",
         [] {
             matrix_resize(two_by_three(), 0, 1);
         }},
        {"matrix_resize", "ncols > 0",
         [] {
             matrix_resize(two_by_three(), 1, 0);
         }},
        {"matrix_resize", "matrix->values != NULL",
         [] {
             matrix_resize(
                 broken([](auto *m) { m->values = NULL; }, kind::regular), 1,
                 1);
         }},
        {"matrix_resize", "matrix->fn_resize != NULL",
         [] {
             matrix_resize(broken([](auto *m) { m->fn_resize = NULL; }), 1, 1);
         }},
        {"matrix_resize", "matrix->matrix != NULL",
         [] {
             matrix_resize(broken([](auto *m) { m->matrix = NULL; }), 1, 1);
         }},
    });
}

TEST(MatrixDeathTest, NormsAndInverseCheckTheObject)
{
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto take) {
        rows.insert(rows.end(), {{function, "m != NULL",
                                  [=] {
                                      take(nullptr);
                                  }},
                                 {function, "m->version == MATRIX_VERSION",
                                  [=] {
                                      take(stale());
                                  }},
                                 {function, "m->type > 0", [=] {
                                      take(null_matrix());
                                  }}});
    };
    add("matrix_norm_F", matrix_norm_F);
    add("matrix_norm_inf", matrix_norm_inf);
    add("matrix_inverse", matrix_inverse);
    add("matrix_condition_number_inf", matrix_condition_number_inf);
    rows.insert(rows.end(),
                {{"matrix_norm_F", "norm >= 0",
                  [] {
                      matrix_norm_F(make({{NAN}}).get());
                  }},
                 {"matrix_inverse", "matrix_get_number_columns(m) == n", [] {
                      matrix_inverse(two_by_three());
                  }}});
    test::expect_aborts(rows);
}
