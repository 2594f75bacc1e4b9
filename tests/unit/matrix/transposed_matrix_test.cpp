#include "transposed_matrix.h"

#include <cstddef>

#include "matrix_ops.h"
#include "matrix_slices.h"
#include "matrix_support.hpp"

using test::kind;
using test::make;
using test::matrix_ptr;
using test::table;

constexpr bool wide = sizeof(void *) == 8;
static_assert(sizeof(transposed_matrix_body) == (wide ? 24 : 12));
static_assert(offsetof(transposed_matrix_body, matrix) == (wide ? 8 : 4));
static_assert(offsetof(transposed_matrix_body, owns_matrix) == (wide ? 16 : 8));

namespace {

const table two_by_three = {{1, 2, 3}, {4, 5, 6}};
const table three_by_two = {{1, 4}, {2, 5}, {3, 6}};

matrix_ptr view_of(struct matrix *m)
{
    return matrix_ptr(transposed_matrix_create(m));
}
transposed_matrix_body *body_of(const struct matrix *m)
{
    return static_cast<transposed_matrix_body *>(m->matrix);
}

}  // namespace

TEST(TransposedMatrix, ShowsRowsAsColumns)
{
    const matrix_ptr t = view_of(make(two_by_three).release());
    EXPECT_EQ(matrix_get_type(t.get()), 2u);
    EXPECT_EQ(t->values, nullptr);
    EXPECT_EQ(body_of(t.get())->version, 1);
    EXPECT_EQ(body_of(t.get())->owns_matrix, 1u);
    EXPECT_TRUE(test::same_bits(three_by_two, test::elements(t.get())));
}

TEST(TransposedMatrix, WritesGoThroughToTheMatrixViewed)
{
    const matrix_ptr a = make(two_by_three);
    const matrix_ptr t = view_of(a.get());
    matrix_set(t.get(), 2, 1, 60.0);
    EXPECT_EQ(matrix_get(a.get(), 1, 2), 60.0);
    transposed_matrix_detach_original_matrix(t.get());
}

TEST(TransposedMatrix, DirectAccessMakesItRegularForGood)
{
    for (const kind k : {kind::transposed, kind::nested, kind::labelled_view}) {
        SCOPED_TRACE(test::name_of(k));
        const test::allocation_count blocks;
        matrix_ptr t = make(two_by_three, k);
        matrix_value **const rows = matrix_enable_direct_access(t.get());
        EXPECT_EQ(rows, t->values);
        EXPECT_EQ(matrix_get_type(t.get()), 1u);
        EXPECT_EQ(t->matrix, nullptr);
        EXPECT_EQ(t->fn_destroy, nullptr);
        EXPECT_EQ(t->fn_get, nullptr);
        EXPECT_EQ(t->fn_set_columns, nullptr);
        EXPECT_EQ(rows[1], rows[0] + 3);
        EXPECT_TRUE(test::same_bits(two_by_three, test::elements(t.get())));
        EXPECT_EQ(matrix_resize(t.get(), 1, 1), 0);
        t.reset();
        EXPECT_EQ(blocks.live(), 0);
    }
}

TEST(TransposedMatrix, DirectAccessLeavesADetachedOriginalAlone)
{
    const matrix_ptr a = make(two_by_three);
    const matrix_ptr t = view_of(a.get());
    transposed_matrix_detach_original_matrix(t.get());
    matrix_enable_direct_access(t.get());
    matrix_set(t.get(), 0, 0, 9.0);
    EXPECT_TRUE(test::same_bits(two_by_three, test::elements(a.get())));
}

TEST(TransposedMatrix, DestroyingItDestroysTheMatrixViewed)
{
    const test::allocation_count blocks;
    view_of(make(two_by_three).release()).reset();
    EXPECT_EQ(blocks.live(), 0);
}

TEST(TransposedMatrix, ADetachedOriginalOutlivesTheView)
{
    const matrix_ptr a = make(two_by_three);
    matrix_ptr t = view_of(a.get());
    transposed_matrix_detach_original_matrix(t.get());
    t.reset();
    EXPECT_TRUE(test::same_bits(two_by_three, test::elements(a.get())));
}

TEST(TransposedMatrix, InitFillsTheCallersStorage)
{
    struct matrix t;
    EXPECT_EQ(transposed_matrix_init(&t, make(two_by_three).release()), 0);
    EXPECT_TRUE(test::same_bits(three_by_two, test::elements(&t)));
    matrix_destruct(&t);
    EXPECT_EQ(t.version, 0);
    EXPECT_EQ(t.matrix, nullptr);
}

TEST(TransposedMatrix, ACopyOwnsACopyOfTheMatrixViewed)
{
    const matrix_ptr a = make(two_by_three);
    const matrix_ptr t = view_of(a.get());
    transposed_matrix_detach_original_matrix(t.get());
    const matrix_ptr copy(matrix_copy(t.get()));
    EXPECT_EQ(body_of(copy.get())->owns_matrix, 1u);
    EXPECT_NE(body_of(copy.get())->matrix, a.get());
    EXPECT_TRUE(test::same_bits(three_by_two, test::elements(copy.get())));
}

TEST(TransposedMatrix, ResizeSwapsTheSizeToo)
{
    const matrix_ptr t = view_of(make(two_by_three).release());
    EXPECT_EQ(matrix_resize(t.get(), 2, 3), 0);
    EXPECT_EQ(body_of(t.get())->matrix->nrows, 3u);
    EXPECT_EQ(body_of(t.get())->matrix->ncols, 2u);
    EXPECT_TRUE(
        test::same_bits({{1, 4, 0}, {2, 5, 0}}, test::elements(t.get())));
}

TEST(TransposedMatrix, CreatingFailsCleanlyAndTakesNothingOver)
{
    const matrix_ptr a = make(two_by_three);
    test::expect_every_allocation_failure_is_clean([&] {
        matrix_ptr t = view_of(a.get());
        if (!t) return vela_get_last_error();
        transposed_matrix_detach_original_matrix(t.get());
        return 0;
    });
    test::expect_every_allocation_failure_is_clean([&] {
        struct matrix t;
        const int result = transposed_matrix_init(&t, a.get());
        EXPECT_EQ(t.version, result == 0 ? 1 : 0);
        if (result < 0) return result;
        transposed_matrix_detach_original_matrix(&t);
        matrix_destruct(&t);
        return 0;
    });
    EXPECT_TRUE(test::same_bits(two_by_three, test::elements(a.get())));
}

TEST(TransposedMatrix, DirectAccessFailsCleanlyAndChangesNothing)
{
    const matrix_ptr t = make(two_by_three, kind::transposed);
    for (int n = 0;; ++n) {
        vela_set_last_error(0);
        const test::failing_allocation failing(n);
        matrix_value **const rows = matrix_enable_direct_access(t.get());
        if (!failing.reached()) break;
        EXPECT_EQ(rows, nullptr);
        EXPECT_EQ(vela_get_last_error(), -22);
        EXPECT_EQ(matrix_get_type(t.get()), 2u);
        EXPECT_TRUE(test::same_bits(two_by_three, test::elements(t.get())));
    }
}

// --- aborts ---

namespace {

struct matrix *fresh_view()
{
    return make(two_by_three, kind::transposed).release();
}
void *stale_body()
{
    auto *const tmatrix = body_of(fresh_view());
    tmatrix->version = 9;
    return tmatrix;
}
void *empty_body()
{
    auto *const tmatrix = body_of(fresh_view());
    tmatrix->matrix = NULL;
    return tmatrix;
}

using operation = std::function<void(const struct matrix &, void *)>;
struct slot {
    const char *function;
    operation call;
    bool checks_matrix = true;
};

// Every operation of the kind with its function.
const std::vector<slot> &slots()
{
    static const uint32_t zero[] = {0};
    static const std::vector<slot> all = {
        {"_transposed_matrix_destroy",
         [](auto &m, void *p) { m.fn_destroy(&p); }, false},
        {"_transposed_matrix_get",
         [](auto &m, void *p) {
             m.fn_get(p, 0, 0);
         }},
        {"_transposed_matrix_set",
         [](auto &m, void *p) {
             m.fn_set(p, 0, 0, 1);
         }},
        {"_transposed_matrix_create_like",
         [](auto &m, void *p) {
             m.fn_create_like(p);
         }},
        {"_transposed_matrix_get_columns",
         [](auto &m, void *p) {
             m.fn_get_col_slice(p, zero, 1);
         }},
        {"_transposed_matrix_get_rows",
         [](auto &m, void *p) {
             m.fn_get_row_slice(p, zero, 1);
         }},
        {"_transposed_matrix_copy",
         [](auto &m, void *p) {
             m.fn_copy(p);
         }},
        {"_transposed_matrix_resize",
         [](auto &m, void *p) {
             m.fn_resize(p, 1, 1);
         }},
        {"_transposed_matrix_set_rows",
         [](auto &m, void *p) {
             m.fn_set_rows(p, &m, zero);
         }},
        {"_transposed_matrix_set_columns",
         [](auto &m, void *p) {
             m.fn_set_columns(p, &m, zero);
         }},
    };
    return all;
}

}  // namespace

TEST(TransposedMatrixDeathTest, EveryOperationChecksTheBody)
{
    const matrix_ptr m = make(two_by_three, kind::transposed);
    std::vector<test::abort_in> rows;
    for (const slot &s : slots()) {
        rows.push_back({s.function, "tmatrix != NULL", [&] {
                            s.call(*m, nullptr);
                        }});
        rows.push_back(
            {s.function, "tmatrix->version == TRANSPOSED_MATRIX_VERSION", [&] {
                 s.call(*m, stale_body());
             }});
        if (s.checks_matrix)
            rows.push_back({s.function, "tmatrix->matrix != NULL", [&] {
                                s.call(*m, empty_body());
                            }});
    }
    test::expect_aborts(rows);
}

TEST(TransposedMatrixDeathTest, SlicesAndResizeCheckTheirArguments)
{
    static const uint32_t zero[] = {0};
    const matrix_ptr m = make(two_by_three, kind::transposed);
    test::expect_aborts({
        {"_transposed_matrix_get_columns", "indices != NULL",
         [&] {
             m->fn_get_col_slice(m->matrix, NULL, 1);
         }},
        {"_transposed_matrix_get_columns", "nindices > 0",
         [&] {
             m->fn_get_col_slice(m->matrix, zero, 0);
         }},
        {"_transposed_matrix_get_rows", "indices != NULL",
         [&] {
             m->fn_get_row_slice(m->matrix, NULL, 1);
         }},
        {"_transposed_matrix_get_rows", "nindices > 0",
         [&] {
             m->fn_get_row_slice(m->matrix, zero, 0);
         }},
        {"_transposed_matrix_resize",
         "matrix_get_number_rows(tmatrix->matrix) != ncols || "
         "matrix_get_number_columns(tmatrix->matrix) != nrows",
         [&] {
             m->fn_resize(m->matrix, 2, 3);
         }},
    });
}

TEST(TransposedMatrixDeathTest, AColumnSliceAbortsWithoutMemory)
{
    test::expect_aborts(
        {{"_transposed_matrix_get_columns", "slices != NULL", [] {
              static const uint32_t zero[] = {0};
              struct matrix *const m = fresh_view();
              // The first block is the new outer matrix.
              const test::failing_allocation failing(1);
              matrix_get_columns(m, zero, 1);
          }}});
}

TEST(TransposedMatrixDeathTest, ConstructionChecksItsArguments)
{
    static struct matrix m;
    test::expect_aborts({
        {"transposed_matrix_init", "m != NULL",
         [] {
             transposed_matrix_init(NULL, fresh_view());
         }},
        {"transposed_matrix_init", "orig_m != NULL",
         [] {
             transposed_matrix_init(&m, NULL);
         }},
        {"transposed_matrix_create", "matrix != NULL",
         [] {
             transposed_matrix_create(NULL);
         }},
        {"transposed_matrix_create", "matrix->nrows > 0",
         [] {
             transposed_matrix_create(matrix_create_null());
         }},
        {"transposed_matrix_create", "matrix->ncols > 0",
         [] {
             struct matrix *const narrow = matrix_create(1, 1);
             narrow->ncols = 0;
             transposed_matrix_create(narrow);
         }},
        {"transposed_matrix_detach_original_matrix", "m != NULL",
         [] {
             transposed_matrix_detach_original_matrix(NULL);
         }},
        {"transposed_matrix_detach_original_matrix",
         "m->type == MATRIX_TYPE_TRANSPOSED",
         [] {
             transposed_matrix_detach_original_matrix(matrix_create(1, 1));
         }},
        {"transposed_matrix_detach_original_matrix", "m->matrix != NULL",
         [] {
             struct matrix *const view = fresh_view();
             view->matrix = NULL;
             transposed_matrix_detach_original_matrix(view);
         }},
    });
}

// A view of a matrix that has lost its last row since.
static struct matrix *view_too_wide()
{
    struct matrix *const a = make(two_by_three).release();
    struct matrix *const view = transposed_matrix_create(a);
    matrix_resize(a, 1, 3);
    return view;
}

TEST(TransposedMatrixDeathTest, NothingIsReadBesideTheMatrixViewed)
{
    test::expect_aborts({
        {"matrix_get", "i < m->nrows",
         [] {
             matrix_norm_inf(view_too_wide());
         }},
        {"matrix_get", "i < m->nrows",
         [] {
             matrix_enable_direct_access(view_too_wide());
         }},
        {"matrix_set", "i < m->nrows",
         [] {
             matrix_clear(view_too_wide());
         }},
        {"matrix_get", "j < m->ncols",
         [] {
             struct matrix *const a = make(two_by_three).release();
             struct matrix *const view = transposed_matrix_create(a);
             matrix_resize(a, 2, 2);
             matrix_norm_F(
                 transposed_matrix_create(transposed_matrix_create(view)));
         }},
    });
}
