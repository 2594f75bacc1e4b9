// What matrices promise, whatever their kind.
#include <cmath>

#include "contract/matrix_fixtures.hpp"

using contract::beyond;
using contract::bodiless;
using contract::changed;
using contract::columnless;
using contract::dead;
using contract::first;
using contract::plain;
using contract::rowless;
using contract::telemetry;
using contract::transposed;
using contract::typeless;
using contract::valueless;
using contract::vector;

namespace {

struct matrix *no_matrix = NULL;

// A view that has something behind it, but no operations.
struct matrix *inoperable()
{
    return changed(bodiless(MATRIX_TYPE_TRANSPOSED),
                   [](struct matrix *m) { m->matrix = m; });
}

// One whose operations fail without a word.
struct matrix *silent()
{
    vela_set_last_error(KOR_OK);
    return changed(inoperable(), [](struct matrix *m) {
        constexpr auto no_slice = [](void *, const uint32_t *,
                                     uint32_t) -> void * {
            return nullptr;
        };
        m->fn_copy = [](void *) -> void * {
            return nullptr;
        };
        m->fn_get_col_slice = no_slice;
        m->fn_get_row_slice = no_slice;
    });
}

// A telemetry matrix without some part that operations on it need.
struct matrix *crippled(void (*change)(struct matrix *))
{
    return changed(telemetry(), change);
}

}  // namespace

// What functions of one matrix assert of it, one set on top of the other.
#define LIVE_ROWS(function, ...)                          \
    ABORTS_BY(function, "m != NULL",                      \
              function(NULL __VA_OPT__(, ) __VA_ARGS__)); \
    ABORTS_BY(function, "m->version == MATRIX_VERSION",   \
              function(dead() __VA_OPT__(, ) __VA_ARGS__))
#define TYPED_ROWS(function, ...)                   \
    LIVE_ROWS(function __VA_OPT__(, ) __VA_ARGS__); \
    ABORTS_BY(function, "m->type > 0",              \
              function(typeless() __VA_OPT__(, ) __VA_ARGS__))
#define SIZED_ROWS(function, ...)                              \
    TYPED_ROWS(function __VA_OPT__(, ) __VA_ARGS__);           \
    ABORTS_BY(function, "m->nrows > 0",                        \
              function(rowless() __VA_OPT__(, ) __VA_ARGS__)); \
    ABORTS_BY(function, "m->ncols > 0",                        \
              function(columnless() __VA_OPT__(, ) __VA_ARGS__))
// What functions of two assert of both.
#define PAIR_ROWS(function)                                     \
    ABORTS_BY(function, "m1 != NULL", function(NULL, plain())); \
    ABORTS_BY(function, "m2 != NULL", function(plain(), NULL))

// --- matrix: life cycle ---

ABORTS_WITH(_matrix_init, "m != NULL", NULL, 1, 1, 1);
ABORTS_WITH(_matrix_init, "type > 0", dead(), 0, 1, 1);
ABORTS_WITH(_matrix_init, "nrows > 0", dead(), 1, 0, 1);
ABORTS_WITH(_matrix_init, "ncols > 0", dead(), 1, 1, 0);
LIVE_ROWS(_matrix_destruct);

ABORTS_WITH(_matrix_copy_metadata, "from != NULL", NULL, plain());
ABORTS_WITH(_matrix_copy_metadata, "to != NULL", plain(), NULL);
ABORTS_WITH(_matrix_copy_metadata, "to->version == MATRIX_VERSION", plain(),
            dead());
ABORTS_WITH(_matrix_copy_metadata, "to->type > 0", plain(), typeless());
ABORTS_WITH(_matrix_copy_metadata, "from->version == MATRIX_VERSION", dead(),
            plain());
ABORTS_WITH(_matrix_copy_metadata, "from->type > 0", typeless(), plain());

ABORTS_WITH(matrix_init, "m != NULL", NULL, 1, 1);
ABORTS_WITH(matrix_init, "nrows > 0", dead(), 0, 1);
ABORTS_WITH(matrix_init, "ncols > 0", dead(), 1, 0);
ABORTS_WITH(matrix_create, "nrows > 0", 0, 1);
ABORTS_WITH(matrix_create, "ncols > 0", 1, 0);
ABORTS_BY(matrix_create, "nrows > 0", matrix_create_with_dimensions(0, 1));
ABORTS_BY(matrix_create, "ncols > 0", matrix_create_with_dimensions(1, 0));
ABORTS_WITH(matrix_init_null, "m != NULL", NULL);
ABORTS_WITH(matrix_create_identity, "n > 0", 0);
ABORTS_WITH(matrix_create_ones, "m > 0", 0, 1);
ABORTS_WITH(matrix_create_ones, "n > 0", 1, 0);

SIZED_ROWS(matrix_create_like);
ABORTS_WITH(matrix_create_like, "m->fn_create_like != NULL", inoperable());
PAIR_ROWS(matrix_create_like_binary_operands);
ABORTS_WITH(matrix_create_like_binary_operands,
            "matrix_is_equal_dimensions(m1, m2)", plain(), plain(2, 3));

SIZED_ROWS(matrix_copy);
ABORTS_WITH(matrix_copy, "m->matrix != NULL", bodiless(MATRIX_TYPE_TRANSPOSED));
ABORTS_WITH(matrix_copy, "m->fn_copy != NULL", inoperable());
ABORTS_WITH(matrix_copy, "vela_get_last_error() < 0", silent());

LIVE_ROWS(matrix_destruct);
ABORTS_WITH(matrix_destruct, "m->matrix == NULL",
            changed(plain(), [](auto *m) { m->matrix = m; }));
ABORTS_WITH(matrix_destruct, "m->fn_destroy != NULL", inoperable());
ABORTS_WITH(matrix_destroy, "m != NULL", NULL);
ABORTS_WITH(matrix_destroy, "*m != NULL", &no_matrix);

// Where the inner object finds no memory, a new telemetry matrix has no body.
ABORTS(_matrix_get_row_pointers, "tmatrix != NULL")
{
    struct matrix *const m = telemetry();
    const test::failing_allocation failing(1);
    matrix_create_like(m);
}

// --- matrix: access ---

TYPED_ROWS(matrix_get, 0, 0);
ABORTS_WITH(matrix_get, "i < m->nrows", plain(), 2, 0);
ABORTS_WITH(matrix_get, "j < m->ncols", plain(), 0, 2);
ABORTS_WITH(matrix_get, "m->type != MATRIX_TYPE_REGULAR", valueless(), 0, 0);
ABORTS_WITH(matrix_get, "m->matrix != NULL", bodiless(MATRIX_TYPE_TRANSPOSED),
            0, 0);
ABORTS_WITH(matrix_get, "m->fn_get != NULL", inoperable(), 0, 0);
// A view leaves its bounds to the matrix behind it, where they are swapped.
ABORTS_WITH(matrix_get, "j < m->ncols", transposed(), 2, 0);

TYPED_ROWS(matrix_set, 0, 0, 1);
ABORTS_WITH(matrix_set, "i < m->nrows", plain(), 2, 0, 1);
ABORTS_WITH(matrix_set, "j < m->ncols", plain(), 0, 2, 1);
ABORTS_WITH(matrix_set, "m->type != MATRIX_TYPE_REGULAR", valueless(), 0, 0, 1);
ABORTS_WITH(matrix_set, "m->matrix != NULL", bodiless(MATRIX_TYPE_TRANSPOSED),
            0, 0, 1);
ABORTS_WITH(matrix_set, "m->fn_set != NULL", inoperable(), 0, 0, 1);

LIVE_ROWS(matrix_get_number_rows);
ABORTS_WITH(matrix_get_number_rows, "m->nrows > 0", rowless());
ABORTS_WITH(matrix_get_number_rows, "m->nrows > 0", matrix_create_null());
LIVE_ROWS(matrix_get_number_columns);
ABORTS_WITH(matrix_get_number_columns, "m->ncols > 0", columnless());
LIVE_ROWS(matrix_get_type);

TYPED_ROWS(matrix_enable_direct_access);
ABORTS_WITH(matrix_enable_direct_access, "m->type != MATRIX_TYPE_REGULAR",
            valueless());
ABORTS_BY(_matrix_get_row_pointers, "tmatrix != NULL",
          matrix_enable_direct_access(bodiless(MATRIX_TYPE_TELEMETRY)));
ABORTS_BY(_matrix_get_row_pointers, "tmatrix->matrix != NULL",
          matrix_enable_direct_access(
              changed(bodiless(MATRIX_TYPE_TELEMETRY), [](auto *m) {
                  using body = struct telemetry_matrix_body;
                  m->matrix = contract::empty_body<body>(1);
              })));
ABORTS_BY(_matrix_get_row_pointers, "0",
          matrix_enable_direct_access(bodiless(contract::unknown_type)));
ABORTS_BY(_matrix_get_row_pointers, "m->matrix != NULL",
          matrix_enable_direct_access(bodiless(MATRIX_TYPE_TRANSPOSED)));
ABORTS_BY(_matrix_get_row_pointers, "m->fn_destroy != NULL",
          matrix_enable_direct_access(inoperable()));
ABORTS_BY(_matrix_get_row_pointers, "m->matrix == NULL",
          matrix_enable_direct_access(changed(transposed(), [](auto *m) {
              m->fn_destroy = [](void **) {
              };
          })));

ABORTS_WITH(matrix_resize, "matrix != NULL", NULL, 1, 1);
ABORTS_WITH(matrix_resize, "matrix->version == MATRIX_VERSION", dead(), 1, 1);
ABORTS_WITH(matrix_resize, "nrows > 0", plain(), 0, 1);
ABORTS_WITH(matrix_resize, "ncols > 0", plain(), 1, 0);
ABORTS_WITH(matrix_resize, "matrix->values != NULL", valueless(), 3, 3);
ABORTS_WITH(matrix_resize, "matrix->fn_resize != NULL", inoperable(), 3, 3);
ABORTS_WITH(matrix_resize, "matrix->matrix != NULL",
            crippled([](auto *m) { m->matrix = NULL; }), 3, 3);

// --- matrix: norms and inverse ---

TYPED_ROWS(matrix_norm_F);
ABORTS_WITH(matrix_norm_F, "norm >= 0", matrix_scalar_multiply(plain(), NAN));
TYPED_ROWS(matrix_norm_inf);
TYPED_ROWS(matrix_inverse);
ABORTS_WITH(matrix_inverse, "matrix_get_number_columns(m) == n", plain(2, 3));
TYPED_ROWS(matrix_condition_number_inf);
ABORTS_BY(matrix_inverse, "matrix_get_number_columns(m) == n",
          matrix_condition_number_inf(plain(2, 3)));

// --- matrix_value ---

ABORTS_WITH(matrix_value_from_string, "str != NULL", NULL);

// --- matrix_ops ---

ABORTS_WITH(matrix_scalar_multiply, "m != NULL", NULL, 1);
ABORTS_WITH(matrix_scalar_divide, "m != NULL", NULL, 1);
ABORTS_WITH(matrix_elemental_square, "m != NULL", NULL);
ABORTS_WITH(matrix_elemental_sqrt, "m != NULL", NULL);
ABORTS_WITH(matrix_elemental_exp, "m != NULL", NULL);
ABORTS_WITH(matrix_elemental_abs, "m != NULL", NULL);
ABORTS_WITH(matrix_clear, "m != NULL", NULL);
ABORTS_WITH(matrix_accum_element, "m != NULL", NULL, 0, 0, 1);
ABORTS_BY(matrix_get, "i < m->nrows", matrix_accum_element(plain(), 2, 0, 1));
ABORTS_WITH(matrix_column_sum, "m1 != NULL", NULL);
ABORTS_WITH(matrix_column_mean, "m1 != NULL", NULL);
ABORTS_WITH(matrix_column_std_dev, "m1 != NULL", NULL);
ABORTS_WITH(matrix_euclidean_length, "m != NULL", NULL);

PAIR_ROWS(matrix_accum);
ABORTS_WITH(matrix_accum, "matrix_is_equal_dimensions(m1, m2)", plain(),
            plain(2, 3));
PAIR_ROWS(matrix_add);
ABORTS_WITH(matrix_add, "matrix_is_equal_dimensions(m1, m2)", plain(),
            plain(2, 3));
PAIR_ROWS(matrix_subtract);
ABORTS_WITH(matrix_subtract, "matrix_is_equal_dimensions(m1, m2) > 0", plain(),
            plain(3, 2));
PAIR_ROWS(matrix_multiply);
ABORTS_WITH(matrix_multiply,
            "matrix_get_number_columns(m1) == matrix_get_number_rows(m2)",
            plain(2, 3), plain(2, 3));
PAIR_ROWS(matrix_euclidean_distance);
ABORTS_WITH(matrix_euclidean_distance, "rows1 == matrix_get_number_rows(m2)",
            plain(), plain(3, 2));
ABORTS_WITH(matrix_euclidean_distance, "cols1 == matrix_get_number_columns(m2)",
            plain(), plain(2, 3));
PAIR_ROWS(matrix_euclidean_distance_sq_with_row_vector);
ABORTS_WITH(matrix_euclidean_distance_sq_with_row_vector,
            "matrix_get_number_rows(m2) == 1", plain(), plain());
ABORTS_WITH(matrix_euclidean_distance_sq_with_row_vector,
            "ncols == matrix_get_number_columns(m2)", plain(), plain(1, 3));

#define RESCALING_ROWS(function)                                               \
    ABORTS_BY(function, "m1 != NULL",                                          \
              function(NULL, plain(1, 2), plain(1, 2)));                       \
    ABORTS_BY(function, "mean != NULL", function(plain(), NULL, plain(1, 2))); \
    ABORTS_BY(function, "std != NULL", function(plain(), plain(1, 2), NULL));  \
    ABORTS_BY(function, "matrix_get_number_rows(mean) == 1",                   \
              function(plain(), plain(), plain()));                            \
    ABORTS_BY(function, "matrix_get_number_columns(mean) == cols",             \
              function(plain(), plain(1, 3), plain(1, 3)));                    \
    ABORTS_BY(function, "matrix_is_equal_dimensions(mean, std)",               \
              function(plain(), plain(1, 2), plain(1, 3)))
RESCALING_ROWS(matrix_gaussian_normalize);
RESCALING_ROWS(matrix_gaussian_denormalize);

// --- matrix_compare ---

PAIR_ROWS(matrix_is_equal_dimensions);
PAIR_ROWS(matrix_is_equal);
PAIR_ROWS(matrix_is_less);
PAIR_ROWS(matrix_is_less_equal);
PAIR_ROWS(matrix_is_greater);
PAIR_ROWS(matrix_is_greater_equal);
ABORTS_WITH(matrix_is_equal_scalar, "m != NULL", NULL, 1);
ABORTS_WITH(matrix_is_less_scalar, "m != NULL", NULL, 1);
ABORTS_WITH(matrix_is_less_equal_scalar, "m != NULL", NULL, 1);
ABORTS_WITH(matrix_is_greater_scalar, "m != NULL", NULL, 1);
ABORTS_WITH(matrix_is_greater_equal_scalar, "m != NULL", NULL, 1);

// --- matrix_slices ---

#define SLICE_ROWS(function, indices, slot, bound)                        \
    SIZED_ROWS(function, first, 1);                                       \
    ABORTS_BY(function, #indices " != NULL", function(plain(), NULL, 1)); \
    ABORTS_BY(function, "nindices > 0", function(plain(), first, 0));     \
    ABORTS_BY(function, "m->matrix != NULL",                              \
              function(bodiless(MATRIX_TYPE_TRANSPOSED), first, 1));      \
    ABORTS_BY(function, "m->" #slot " != NULL",                           \
              function(inoperable(), first, 1));                          \
    ABORTS_BY(function, "vela_get_last_error() < 0",                      \
              function(silent(), first, 1));                              \
    ABORTS_BY(function, bound, function(plain(), beyond, 1))
SLICE_ROWS(matrix_get_columns, col_indices, fn_get_col_slice, "j < m->ncols");
SLICE_ROWS(matrix_get_rows, row_indices, fn_get_row_slice, "i < m->nrows");

#define STORE_ROWS(function, nrows, ncols, size, indices, slot, bound)   \
    SIZED_ROWS(function, plain(nrows, ncols), first);                    \
    ABORTS_BY(function, "vals != NULL", function(plain(), NULL, first)); \
    ABORTS_BY(function, "m->" #size " == vals->" #size,                  \
              function(plain(), plain(3, 3), first));                    \
    ABORTS_BY(function, #indices " != NULL",                             \
              function(plain(), plain(nrows, ncols), NULL));             \
    ABORTS_BY(function, bound,                                           \
              function(plain(), plain(nrows, ncols), beyond));           \
    ABORTS_BY(function, "m->" #slot " != NULL",                          \
              function(crippled([](auto *m) { m->slot = NULL; }),        \
                       plain(nrows, ncols), first));                     \
    ABORTS_BY(function, "m->matrix != NULL",                             \
              function(crippled([](auto *m) { m->matrix = NULL; }),      \
                       plain(nrows, ncols), first))
STORE_ROWS(matrix_set_columns, 2, 1, nrows, col_indices, fn_set_columns,
           "j < m->ncols");
STORE_ROWS(matrix_set_rows, 1, 2, ncols, row_indices, fn_set_rows,
           "i < m->nrows");

static void set_block(struct matrix *m, uint32_t row, uint32_t nrows,
                      uint32_t col, uint32_t ncols)
{
    matrix_set_submatrix(m, plain(), row, nrows, col, ncols, 0, 0);
}

// What both functions assert of a block of their first operand.
#define BLOCK_ROWS(function, call)                                           \
    ABORTS_BY(function, "m != NULL", call(NULL, 0, 1, 0, 1));                \
    ABORTS_BY(function, "start_row < matrix_get_number_rows(m)",             \
              call(plain(), 2, 1, 0, 1));                                    \
    ABORTS_BY(function, "start_row + nrows - 1 < matrix_get_number_rows(m)", \
              call(plain(), 1, 2, 0, 1));                                    \
    ABORTS_BY(function, "start_col < matrix_get_number_columns(m)",          \
              call(plain(), 0, 1, 2, 1));                                    \
    ABORTS_BY(function,                                                      \
              "start_col + ncols - 1 < matrix_get_number_columns(m)",        \
              call(plain(), 0, 1, 1, 2))
BLOCK_ROWS(matrix_get_submatrix, matrix_get_submatrix);
BLOCK_ROWS(matrix_set_submatrix, set_block);
ABORTS_WITH(matrix_set_submatrix, "vals != NULL", plain(), NULL, 0, 1, 0, 1, 0,
            0);
ABORTS_WITH(matrix_set_submatrix, "v_start_row < matrix_get_number_rows(vals)",
            plain(), plain(), 0, 1, 0, 1, 2, 0);
ABORTS_WITH(matrix_set_submatrix,
            "v_start_row + nrows - 1 < matrix_get_number_rows(vals)", plain(),
            plain(), 0, 2, 0, 1, 1, 0);
ABORTS_WITH(matrix_set_submatrix,
            "v_start_col < matrix_get_number_columns(vals)", plain(), plain(),
            0, 1, 0, 1, 0, 2);
ABORTS_WITH(matrix_set_submatrix,
            "v_start_col + ncols - 1 < matrix_get_number_columns(vals)",
            plain(), plain(), 0, 1, 0, 2, 0, 1);

// --- matrix_lu ---

// A decomposition with a part replaced.
static struct matrix_lu **lu_with(struct matrix *matrix_lu::*part,
                                  struct matrix *replacement)
{
    static struct matrix_lu *lu = NULL;
    lu = matrix_lu_create(plain());
    lu->*part = replacement;
    return &lu;
}

static struct matrix_lu *no_lu = NULL;

ABORTS_WITH(matrix_lu_create, "m != NULL", NULL);
ABORTS_WITH(matrix_lu_create, "rows == cols", plain(2, 3));
ABORTS_WITH(matrix_lu_destroy, "m != NULL", NULL);
ABORTS_WITH(matrix_lu_destroy, "*m != NULL", &no_lu);
ABORTS_WITH(matrix_lu_destroy, "(*m)->matrix != NULL",
            lu_with(&matrix_lu::matrix, NULL));
ABORTS_WITH(matrix_lu_destroy, "(*m)->p != NULL", lu_with(&matrix_lu::p, NULL));
ABORTS_WITH(matrix_lu_destroy, "(*m)->q != NULL", lu_with(&matrix_lu::q, NULL));
ABORTS_WITH(matrix_lu_get_rank, "m != NULL", NULL);
ABORTS_WITH(matrix_lu_get_det, "m != NULL", NULL);
ABORTS_WITH(matrix_lu_get_lower, "m != NULL", NULL);
ABORTS_WITH(matrix_lu_get_lower, "m->matrix != NULL",
            *lu_with(&matrix_lu::matrix, NULL));
ABORTS_WITH(matrix_lu_get_lower, "rows == cols",
            *lu_with(&matrix_lu::matrix, plain(2, 3)));
ABORTS_WITH(matrix_lu_get_upper, "m != NULL", NULL);
ABORTS_WITH(matrix_lu_get_upper, "m->matrix != NULL",
            *lu_with(&matrix_lu::matrix, NULL));
ABORTS_WITH(matrix_lu_get_upper, "rows == cols",
            *lu_with(&matrix_lu::matrix, plain(2, 3)));
ABORTS_WITH(matrix_lu_solve_for, "m != NULL", NULL, plain(2, 1));
ABORTS_WITH(matrix_lu_solve_for, "b != NULL", plain(), NULL);
ABORTS_WITH(matrix_lu_solve_for, "matrix_get_number_columns(m) == n",
            plain(2, 3), plain(2, 1));
ABORTS_WITH(matrix_lu_solve_for, "matrix_get_number_rows(b) == n", plain(),
            plain(3, 1));

// --- debug_matrix ---

static void print_without_memory(struct matrix *m, int n)
{
    const test::failing_allocation failing(n);
    _vela_debug_telemetry_matrix_print(m, "A", "a.c", 1);
}

ABORTS_WITH(_vela_debug_matrix_print, "m != NULL", NULL, "A", "a.c", 1);
ABORTS_WITH(_vela_debug_matrix_print, "name != NULL", plain(), NULL, "a.c", 1);
ABORTS_WITH(_vela_debug_matrix_print, "file != NULL", plain(), "A", NULL, 1);
ABORTS_WITH(_vela_debug_matrix_print, "line > 0", plain(), "A", "a.c", 0);
ABORTS_WITH(_vela_debug_telemetry_matrix_print, "m != NULL", NULL, "A", "a.c",
            1);
ABORTS_WITH(_vela_debug_telemetry_matrix_print,
            "matrix_get_type(m) == MATRIX_TYPE_TELEMETRY", plain(), "A", "a.c",
            1);
ABORTS_WITH(_vela_debug_telemetry_matrix_print, "name != NULL", telemetry(),
            NULL, "a.c", 1);
ABORTS_WITH(_vela_debug_telemetry_matrix_print, "file != NULL", telemetry(),
            "A", NULL, 1);
ABORTS_WITH(_vela_debug_telemetry_matrix_print, "line > 0", telemetry(), "A",
            "a.c", 0);
// There are two writers, each with a state.
ABORTS_BY(_vela_debug_telemetry_matrix_print, "stdout_writer != NULL",
          print_without_memory(telemetry(), 0));
ABORTS_BY(_vela_debug_telemetry_matrix_print, "stdout_writer != NULL",
          print_without_memory(telemetry(), 1));
ABORTS_BY(_vela_debug_telemetry_matrix_print, "stdout_writer != NULL",
          print_without_memory(telemetry(), 2));
ABORTS_BY(_vela_debug_telemetry_matrix_print, "stdout_writer != NULL",
          print_without_memory(telemetry(), 3));

// --- out of memory: functions that return a new matrix ---

// Operands that live as long as the tests.
static struct matrix *const identity = matrix_create_identity(2);
static struct matrix *const row = plain(1, 2);
static struct matrix *const column = plain(2, 1);

template <class Make>
static int without_memory(Make make)
{
    return contract::with_each_allocation_failing(
        [=] { return contract::last_error_of(make(), matrix_destroy); });
}

#define STARVED_ROW(function, ...) \
    FAILS_BY(function, -22,        \
             without_memory([] { return function(__VA_ARGS__); }))

STARVED_ROW(matrix_create, 2, 2);
STARVED_ROW(matrix_create_with_dimensions, 2, 2);
STARVED_ROW(matrix_create_null);
STARVED_ROW(matrix_create_identity, 2);
STARVED_ROW(matrix_create_ones, 2, 2);
STARVED_ROW(matrix_create_like, identity);
STARVED_ROW(matrix_create_like_binary_operands, identity, identity);
STARVED_ROW(matrix_copy, identity);
STARVED_ROW(matrix_inverse, identity);
STARVED_ROW(matrix_scalar_multiply, identity, 2);
STARVED_ROW(matrix_scalar_divide, identity, 2);
STARVED_ROW(matrix_add, identity, identity);
STARVED_ROW(matrix_subtract, identity, identity);
STARVED_ROW(matrix_multiply, identity, identity);
STARVED_ROW(matrix_elemental_square, identity);
STARVED_ROW(matrix_elemental_sqrt, identity);
STARVED_ROW(matrix_elemental_exp, identity);
STARVED_ROW(matrix_elemental_abs, identity);
STARVED_ROW(matrix_column_sum, identity);
STARVED_ROW(matrix_column_mean, identity);
STARVED_ROW(matrix_column_std_dev, identity);
STARVED_ROW(matrix_euclidean_length, identity);
STARVED_ROW(matrix_euclidean_distance, identity, identity);
STARVED_ROW(matrix_euclidean_distance_sq_with_row_vector, identity, row);
STARVED_ROW(matrix_gaussian_normalize, identity, row, row);
STARVED_ROW(matrix_gaussian_denormalize, identity, row, row);
STARVED_ROW(matrix_get_columns, identity, first, 1);
STARVED_ROW(matrix_get_rows, identity, first, 1);
STARVED_ROW(matrix_get_submatrix, identity, 0, 1, 0, 1);
STARVED_ROW(matrix_lu_solve_for, identity, column);

// What `attempt` gives for a telemetry matrix with each allocation failing.
template <class Attempt>
static int without_memory_for_telemetry(Attempt attempt)
{
    struct matrix *m = telemetry();
    const int result =
        contract::with_each_allocation_failing([=] { return attempt(m); });
    matrix_destroy(&m);
    return result;
}

FAILS_BY(matrix_copy, -22, without_memory_for_telemetry([](struct matrix *m) {
             return contract::last_error_of(matrix_copy(m), matrix_destroy);
         }));
FAILS_BY(matrix_get_columns, -22,
         without_memory_for_telemetry([](struct matrix *m) {
             return contract::last_error_of(matrix_get_columns(m, first, 1),
                                            matrix_destroy);
         }));
FAILS_BY(matrix_get_rows, -22,
         without_memory_for_telemetry([](struct matrix *m) {
             return contract::last_error_of(matrix_get_rows(m, first, 1),
                                            matrix_destroy);
         }));
FAILS_BY(matrix_resize, -22, without_memory_for_telemetry([](struct matrix *m) {
             return matrix_resize(m, 3, 3);
         }));

// --- other failures ---

FAILS(matrix_init, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::result_of_init(
            [](struct matrix *m) { return matrix_init(m, 2, 2); },
            matrix_destruct);
    });
}

FAILS(matrix_enable_direct_access, -22)
{
    struct matrix *m = transposed();
    const int result = contract::with_each_allocation_failing([=] {
        return contract::last_error_of(matrix_enable_direct_access(m));
    });
    matrix_destroy(&m);
    return result;
}

FAILS(matrix_resize, -22)
{
    struct matrix *m = plain();
    const int result = contract::with_each_allocation_failing(
        [=] { return matrix_resize(m, 3, 3); });
    matrix_destroy(&m);
    return result;
}

FAILS(matrix_condition_number_inf, -22)
{
    return contract::with_each_allocation_failing([] {
        return matrix_condition_number_inf(identity) == -1.0
                   ? vela_get_last_error()
                   : KOR_OK;
    });
}

FAILS_BY(matrix_scalar_divide, -10,
         contract::last_error_of(matrix_scalar_divide(identity, 1e-12),
                                 matrix_destroy));
FAILS_BY(matrix_scalar_divide, -10,
         contract::last_error_of(matrix_scalar_divide(identity, -5e-7),
                                 matrix_destroy));

FAILS(matrix_elemental_sqrt, -50)
{
    struct matrix *m = matrix_scalar_multiply(identity, -1);
    const int result =
        contract::last_error_of(matrix_elemental_sqrt(m), matrix_destroy);
    matrix_destroy(&m);
    return result;
}

FAILS(matrix_set_rows, -22)
{
    struct matrix *vals = vector();
    const int result = without_memory_for_telemetry(
        [=](struct matrix *m) { return matrix_set_rows(m, vals, first); });
    matrix_destroy(&vals);
    return result;
}

// No kind of the library's own fails here, but what a kind gives is passed on.
FAILS(matrix_set_columns, -22)
{
    struct matrix *m = crippled([](struct matrix *made) {
        made->fn_set_columns = [](void *, const struct matrix *,
                                  const uint32_t *) -> int {
            return KOR_ERR_NO_MEMORY;
        };
    });
    const int result = matrix_set_columns(m, column, first);
    matrix_destroy(&m);
    return result;
}

FAILS(matrix_lu_create, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(matrix_lu_create(identity),
                                       matrix_lu_destroy);
    });
}

// What getting a part gives when there is no memory for it.
static int getting(struct matrix *(*get)(struct matrix_lu *))
{
    struct matrix_lu *lu = matrix_lu_create(identity);
    const int result = contract::with_each_allocation_failing(
        [=] { return contract::last_error_of(get(lu)); });
    matrix_lu_destroy(&lu);
    return result;
}

FAILS_BY(matrix_lu_get_lower, -22, getting(matrix_lu_get_lower));
FAILS_BY(matrix_lu_get_upper, -22, getting(matrix_lu_get_upper));
