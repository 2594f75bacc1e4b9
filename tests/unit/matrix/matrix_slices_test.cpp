#include "matrix_slices.h"

#include "matrix_compare.h"
#include "matrix_support.hpp"

using test::kind;
using test::make;
using test::matrix_ptr;
using test::table;

namespace {
const table values = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
}

// --- rows and columns ---

TEST(MatrixSlices, ColumnsComeInAnyOrderAndRepeat)
{
    const uint32_t indices[] = {2, 0, 0, 1};
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make(values, k);
        const matrix_ptr slice(matrix_get_columns(m.get(), indices, 4));
        EXPECT_EQ(matrix_get_type(slice.get()), test::type_of(k));
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
        EXPECT_TRUE(test::same_bits(
            {{3, 1, 1, 2}, {6, 4, 4, 5}, {9, 7, 7, 8}, {12, 10, 10, 11}},
            test::elements(slice.get())));
        matrix_set(slice.get(), 0, 0, 100);
        EXPECT_TRUE(test::same_bits(values, test::elements(m.get())));
    }
}

TEST(MatrixSlices, TheSameIndexTwiceDuplicatesTheColumn)
{
    const uint32_t indices[] = {1, 1};
    const matrix_ptr slice(
        matrix_get_columns(make({{1, 2}, {3, 4}}).get(), indices, 2));
    EXPECT_TRUE(test::same_bits({{2, 2}, {4, 4}}, test::elements(slice.get())));
}

TEST(MatrixSlices, RowsComeInAnyOrderAndRepeat)
{
    const uint32_t indices[] = {3, 0, 3};
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make(values, k);
        const matrix_ptr slice(matrix_get_rows(m.get(), indices, 3));
        EXPECT_EQ(matrix_get_type(slice.get()), test::type_of(k));
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
        EXPECT_TRUE(test::same_bits({{10, 11, 12}, {1, 2, 3}, {10, 11, 12}},
                                    test::elements(slice.get())));
    }
}

TEST(MatrixSlices, SetColumnsStoresEachWhereItsIndexSays)
{
    const uint32_t indices[] = {2, 0};
    for (const kind k : test::every_kind)
        for (const kind other : test::every_kind) {
            SCOPED_TRACE(std::string(test::name_of(k)) + " from " +
                         test::name_of(other));
            const matrix_ptr m = make({{1, 2, 3}, {4, 5, 6}}, k);
            const matrix_ptr vals = make({{30, 10}, {60, 40}}, other);
            EXPECT_EQ(matrix_set_columns(m.get(), vals.get(), indices), 0);
            EXPECT_TRUE(test::same_bits({{10, 2, 30}, {40, 5, 60}},
                                        test::elements(m.get())));
            EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
            EXPECT_EQ(matrix_get_type(vals.get()), test::type_of(other));
        }
}

TEST(MatrixSlices, SetRowsStoresEachWhereItsIndexSays)
{
    const uint32_t indices[] = {2, 0};
    for (const kind k : test::every_kind)
        for (const kind other : test::every_kind) {
            SCOPED_TRACE(std::string(test::name_of(k)) + " from " +
                         test::name_of(other));
            const matrix_ptr m = make({{1, 2}, {3, 4}, {5, 6}}, k);
            const matrix_ptr vals = make({{50, 60}, {10, 20}}, other);
            EXPECT_EQ(matrix_set_rows(m.get(), vals.get(), indices), 0);
            EXPECT_TRUE(test::same_bits({{10, 20}, {3, 4}, {50, 60}},
                                        test::elements(m.get())));
            EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
        }
}

TEST(MatrixSlices, OfTwoRowsForOnePlaceTheLastStays)
{
    const uint32_t indices[] = {0, 0};
    const matrix_ptr m = make({{1, 2}, {3, 4}});
    EXPECT_EQ(matrix_set_rows(m.get(), make({{5, 6}, {7, 8}}).get(), indices),
              0);
    EXPECT_TRUE(test::same_bits({{7, 8}, {3, 4}}, test::elements(m.get())));
}

// --- blocks ---

TEST(MatrixSlices, SubmatrixIsARegularBlock)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make(values, k);
        const matrix_ptr block(matrix_get_submatrix(m.get(), 1, 2, 1, 2));
        EXPECT_EQ(matrix_get_type(block.get()), 1u);
        EXPECT_TRUE(
            test::same_bits({{5, 6}, {8, 9}}, test::elements(block.get())));
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
    }
}

TEST(MatrixSlices, SubmatrixOfEverythingIsARegularCopy)
{
    for (const kind k : test::every_kind) {
        const matrix_ptr m = make(values, k);
        const matrix_ptr copy(matrix_get_submatrix(m.get(), 0, 4, 0, 3));
        EXPECT_EQ(matrix_get_type(copy.get()), 1u);
        EXPECT_TRUE(test::same_bits(values, test::elements(copy.get())));
    }
}

TEST(MatrixSlices, SetSubmatrixCopiesABlock)
{
    for (const kind k : test::every_kind)
        for (const kind other : test::every_kind) {
            SCOPED_TRACE(std::string(test::name_of(k)) + " from " +
                         test::name_of(other));
            const matrix_ptr m = make({{0, 0, 0}, {0, 0, 0}}, k);
            const matrix_ptr vals = make(values, other);
            matrix_set_submatrix(m.get(), vals.get(), 0, 2, 1, 2, 2, 0);
            EXPECT_TRUE(test::same_bits({{0, 7, 8}, {0, 10, 11}},
                                        test::elements(m.get())));
        }
}

TEST(MatrixSlices, OverlappingBlocksAreCopiedInAscendingOrder)
{
    const matrix_ptr m = make({{1, 2, 3, 4}});
    matrix_set_submatrix(m.get(), m.get(), 0, 1, 1, 3, 0, 0);
    EXPECT_TRUE(test::same_bits({{1, 1, 1, 1}}, test::elements(m.get())));
    const matrix_ptr column = make({{1}, {2}, {3}});
    matrix_set_submatrix(column.get(), column.get(), 0, 2, 0, 1, 1, 0);
    EXPECT_TRUE(test::same_bits({{2}, {3}, {3}}, test::elements(column.get())));
}

// --- out of memory ---

TEST(MatrixSlices, SlicesFailCleanly)
{
    const uint32_t indices[] = {1, 0};
    const auto outcome = [](struct matrix *made) {
        const matrix_ptr owner(made);
        return made != nullptr ? 0 : vela_get_last_error();
    };
    // A column slice of a view aborts when the rows behind it fail, and so
    // does a row slice of a view of a view.
    for (const kind k : {kind::regular, kind::transposed, kind::telemetry,
                         kind::labelled_view}) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make(values, k);
        test::expect_every_allocation_failure_is_clean(
            [&] { return outcome(matrix_get_rows(m.get(), indices, 2)); });
        test::expect_every_allocation_failure_is_clean(
            [&] { return outcome(matrix_get_submatrix(m.get(), 1, 2, 0, 2)); });
    }
    for (const kind k : {kind::regular, kind::telemetry}) {
        const matrix_ptr m = make(values, k);
        test::expect_every_allocation_failure_is_clean(
            [&] { return outcome(matrix_get_columns(m.get(), indices, 2)); });
    }
}

// --- aborts ---

namespace {

const uint32_t zero[] = {0};
const uint32_t beyond[] = {0, 4};

struct matrix *broken(void (*change)(struct matrix *),
                      kind k = kind::transposed)
{
    struct matrix *const m = make({{1, 2}, {3, 4}}, k).release();
    change(m);
    return m;
}
struct matrix *plain()
{
    return make(values).release();
}

}  // namespace

TEST(MatrixSlicesDeathTest, SlicesCheckTheirArguments)
{
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto slice, auto indices,
                         auto slot, auto bound) {
        rows.insert(
            rows.end(),
            {{function, "m != NULL",
              [=] {
                  slice(nullptr, zero, 1);
              }},
             {function, "m->version == MATRIX_VERSION",
              [=] {
                  slice(broken([](auto *m) { m->version = 9; }), zero, 1);
              }},
             {function, "m->type > 0",
              [=] {
                  slice(matrix_create_null(), zero, 1);
              }},
             {function, "m->nrows > 0",
              [=] {
                  slice(broken([](auto *m) { m->nrows = 0; }), zero, 1);
              }},
             {function, "m->ncols > 0",
              [=] {
                  slice(broken([](auto *m) { m->ncols = 0; }), zero, 1);
              }},
             {function, indices,
              [=] {
                  slice(plain(), nullptr, 1);
              }},
             {function, "nindices > 0",
              [=] {
                  slice(plain(), zero, 0);
              }},
             {function, "m->matrix != NULL",
              [=] {
                  slice(broken([](auto *m) { m->matrix = NULL; }), zero, 1);
              }},
             {function, slot,
              [=] {
                  slice(broken([](auto *m) {
                            m->fn_get_col_slice = NULL;
                            m->fn_get_row_slice = NULL;
                        }),
                        zero, 1);
              }},
             {function, bound, [=] {
                  slice(plain(), beyond, 2);
              }}});
    };
    add("matrix_get_columns", matrix_get_columns, "col_indices != NULL",
        "m->fn_get_col_slice != NULL", "j < m->ncols");
    add("matrix_get_rows", matrix_get_rows, "row_indices != NULL",
        "m->fn_get_row_slice != NULL", "i < m->nrows");
    test::expect_aborts(rows);
}

TEST(MatrixSlicesDeathTest, AKindThatFailsMustSayWhy)
{
    const auto without_reason = [](auto slice) {
        struct matrix *const m = broken([](auto *view) {
            view->fn_get_col_slice = [](void *, const uint32_t *, uint32_t) {
                return static_cast<void *>(NULL);
            };
            view->fn_get_row_slice = view->fn_get_col_slice;
        });
        vela_set_last_error(0);
        slice(m, zero, 1);
    };
    test::expect_aborts({{"matrix_get_columns", "vela_get_last_error() < 0",
                          [=] {
                              without_reason(matrix_get_columns);
                          }},
                         {"matrix_get_rows", "vela_get_last_error() < 0", [=] {
                              without_reason(matrix_get_rows);
                          }}});
}

TEST(MatrixSlicesDeathTest, SettersCheckTheirArguments)
{
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto set, auto shape,
                         auto indices, auto slot, auto bound) {
        const auto square = [] {
            return matrix_create(2, 2);
        };
        rows.insert(
            rows.end(),
            {{function, "m != NULL",
              [=] {
                  set(nullptr, plain(), zero);
              }},
             {function, "m->version == MATRIX_VERSION",
              [=] {
                  set(broken([](auto *m) { m->version = 9; }), square(), zero);
              }},
             {function, "m->type > 0",
              [=] {
                  set(matrix_create_null(), plain(), zero);
              }},
             {function, "m->nrows > 0",
              [=] {
                  set(broken([](auto *m) { m->nrows = 0; }), square(), zero);
              }},
             {function, "m->ncols > 0",
              [=] {
                  set(broken([](auto *m) { m->ncols = 0; }), square(), zero);
              }},
             {function, "vals != NULL",
              [=] {
                  set(square(), nullptr, zero);
              }},
             {function, shape,
              [=] {
                  set(square(), plain(), zero);
              }},
             {function, indices,
              [=] {
                  set(square(), square(), nullptr);
              }},
             {function, bound,
              [=] {
                  set(square(), square(), beyond);
              }},
             {function, slot, [=] {
                  static const uint32_t both[] = {0, 1};
                  set(broken([](auto *m) {
                          m->fn_set_columns = NULL;
                          m->fn_set_rows = NULL;
                      }),
                      square(), both);
              }}});
    };
    add("matrix_set_columns", matrix_set_columns, "m->nrows == vals->nrows",
        "col_indices != NULL", "m->fn_set_columns != NULL", "j < m->ncols");
    add("matrix_set_rows", matrix_set_rows, "m->ncols == vals->ncols",
        "row_indices != NULL", "m->fn_set_rows != NULL", "i < m->nrows");
    test::expect_aborts(rows);
}

TEST(MatrixSlicesDeathTest, BlocksMustLieInside)
{
    std::vector<test::abort_in> rows;
    const char *const first_row = "start_row < matrix_get_number_rows(m)";
    const char *const last_row =
        "start_row + nrows - 1 < matrix_get_number_rows(m)";
    const char *const first_col = "start_col < matrix_get_number_columns(m)";
    const char *const last_col =
        "start_col + ncols - 1 < matrix_get_number_columns(m)";
    const auto add = [&](const char *function, auto block) {
        rows.insert(rows.end(), {{function, first_row,
                                  [=] {
                                      block(4, 1, 0, 1);
                                  }},
                                 {function, last_row,
                                  [=] {
                                      block(3, 2, 0, 1);
                                  }},
                                 // 2 + UINT32_MAX - 1 would be 0 in 32 bits.
                                 {function, last_row,
                                  [=] {
                                      block(2, UINT32_MAX, 0, 1);
                                  }},
                                 {function, last_row,
                                  [=] {
                                      block(0, 0, 0, 1);
                                  }},
                                 {function, first_col,
                                  [=] {
                                      block(0, 1, 3, 1);
                                  }},
                                 {function, last_col,
                                  [=] {
                                      block(0, 1, 2, 2);
                                  }},
                                 {function, last_col, [=] {
                                      block(0, 1, 2, UINT32_MAX);
                                  }}});
    };
    add("matrix_get_submatrix",
        [](uint32_t row, uint32_t n, uint32_t col, uint32_t width) {
            matrix_get_submatrix(plain(), row, n, col, width);
        });
    add("matrix_set_submatrix",
        [](uint32_t row, uint32_t n, uint32_t col, uint32_t width) {
            matrix_set_submatrix(plain(), plain(), row, n, col, width, 0, 0);
        });
    test::expect_aborts(rows);
}

TEST(MatrixSlicesDeathTest, BlocksOfTheSourceMustLieInsideToo)
{
    const auto from = [](uint32_t v_row, uint32_t v_col) {
        matrix_set_submatrix(plain(), plain(), 0, 2, 0, 2, v_row, v_col);
    };
    const char *const set = "matrix_set_submatrix";
    test::expect_aborts({
        {"matrix_get_submatrix", "m != NULL",
         [] {
             matrix_get_submatrix(NULL, 0, 1, 0, 1);
         }},
        {set, "m != NULL",
         [] {
             matrix_set_submatrix(NULL, plain(), 0, 1, 0, 1, 0, 0);
         }},
        {set, "vals != NULL",
         [] {
             matrix_set_submatrix(plain(), NULL, 0, 1, 0, 1, 0, 0);
         }},
        {set, "v_start_row < matrix_get_number_rows(vals)",
         [=] {
             from(4, 0);
         }},
        {set, "v_start_row + nrows - 1 < matrix_get_number_rows(vals)",
         [=] {
             from(3, 0);
         }},
        {set, "v_start_col < matrix_get_number_columns(vals)",
         [=] {
             from(0, 3);
         }},
        {set, "v_start_col + ncols - 1 < matrix_get_number_columns(vals)",
         [=] {
             from(0, 2);
         }},
    });
}
