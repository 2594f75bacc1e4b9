#include "matrix_ops.h"

#include <bit>
#include <cmath>

#include "matrix_compare.h"
#include "matrix_support.hpp"
#include "reference.hpp"

using test::kind;
using test::make;
using test::matrix_ptr;
using test::table;

namespace {

template <class Function>
table map(const table &a, Function f)
{
    table result = a;
    for (auto &row : result)
        for (double &value : row) value = f(value);
    return result;
}

using unary = std::function<struct matrix *(const struct matrix *)>;
using binary = std::function<struct matrix *(const struct matrix *,
                                             const struct matrix *)>;

// Checks an operation on every kind of operand: the result's kind and bits,
// and that the operand stays as it is.
void expect_unary(const unary &operation, const table &operand,
                  const table &expected, bool keeps_kind)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make(operand, k);
        const matrix_ptr result(operation(m.get()));
        ASSERT_NE(result, nullptr);
        EXPECT_TRUE(test::same_bits(expected, test::elements(result.get())));
        EXPECT_EQ(matrix_get_type(result.get()),
                  keeps_kind ? test::type_of(k) : MATRIX_TYPE_REGULAR);
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
        EXPECT_TRUE(test::same_bits(operand, test::elements(m.get())));
    }
}

void expect_binary(const binary &operation, const table &a, const table &b,
                   const table &expected, bool keeps_kind)
{
    for (const kind other : test::every_kind) {
        SCOPED_TRACE(std::string("second operand ") + test::name_of(other));
        const matrix_ptr m2 = make(b, other);
        expect_unary([&](auto *m1) { return operation(m1, m2.get()); }, a,
                     expected, keeps_kind);
        EXPECT_EQ(matrix_get_type(m2.get()), test::type_of(other));
        EXPECT_TRUE(test::same_bits(b, test::elements(m2.get())));
    }
}

void expect_clean(const std::function<struct matrix *()> &operation)
{
    test::expect_every_allocation_failure_is_clean([&] {
        const matrix_ptr made(operation());
        return made ? 0 : vela_get_last_error();
    });
}

const table awkward = {{0.0, -0.0, 1.5}, {-2.25, INFINITY, NAN}};

}  // namespace

// --- element by element ---

TEST(MatrixOps, ScalarMultiply)
{
    expect_unary([](auto *m) { return matrix_scalar_multiply(m, 0.1); },
                 awkward, map(awkward, [](double a) { return a * 0.1; }), true);
}

TEST(MatrixOps, ScalarDivideDividesAndDoesNotMultiply)
{
    const table a = {{1, 5, 7}, {-3, 0.3, 1e300}};
    expect_unary([](auto *m) { return matrix_scalar_divide(m, 3.0); }, a,
                 map(a, [](double x) { return x / 3.0; }), true);
}

TEST(MatrixOps, DivisorsWithinTheToleranceOfZeroAreRefused)
{
    const matrix_ptr m = make({{1, 2}});
    for (const double s : {0.0, -0.0, 1e-12, -5e-7, 1e-6, -1e-6}) {
        vela_set_last_error(0);
        EXPECT_EQ(matrix_scalar_divide(m.get(), s), nullptr) << s;
        EXPECT_EQ(vela_get_last_error(), -10) << s;
    }
    const matrix_ptr quotient(matrix_scalar_divide(m.get(), 2e-6));
    EXPECT_TRUE(test::same_bits({{1 / 2e-6, 2 / 2e-6}},
                                test::elements(quotient.get())));
    const matrix_ptr undefined(matrix_scalar_divide(m.get(), NAN));
    EXPECT_TRUE(test::same_bits({{NAN, NAN}}, test::elements(undefined.get())));
}

TEST(MatrixOps, Square)
{
    expect_unary(matrix_elemental_square, awkward,
                 map(awkward, [](double a) { return a * a; }), true);
}

TEST(MatrixOps, SquareRoot)
{
    const table a = {{0.0, -0.0, 2.0}, {1e-300, INFINITY, NAN}};
    expect_unary(matrix_elemental_sqrt, a,
                 map(a, [](double x) { return std::sqrt(x); }), true);
}

TEST(MatrixOps, SquareRootOfMinusZeroIsMinusZero)
{
    const matrix_ptr root(matrix_elemental_sqrt(make({{-0.0}}).get()));
    EXPECT_TRUE(test::same_bits({{-0.0}}, test::elements(root.get())));
}

TEST(MatrixOps, SquareRootOfANegativeElementIsRefused)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 4}, {9, -1e-300}}, k);
        const test::allocation_count blocks;
        vela_set_last_error(0);
        EXPECT_EQ(matrix_elemental_sqrt(m.get()), nullptr);
        EXPECT_EQ(vela_get_last_error(), -50);
        EXPECT_EQ(blocks.live(), 0);
    }
    EXPECT_EQ(matrix_elemental_sqrt(make({{-INFINITY}}).get()), nullptr);
}

TEST(MatrixOps, Exponential)
{
    const table a = {{0, 1, -1}, {700, -INFINITY, 0.5}};
    expect_unary(matrix_elemental_exp, a,
                 map(a, [](double x) { return std::exp(x); }), true);
}

TEST(MatrixOps, AbsoluteValueClearsTheSignBit)
{
    expect_unary(matrix_elemental_abs, awkward,
                 map(awkward, [](double a) { return std::fabs(a); }), true);
    const matrix_ptr m(
        matrix_elemental_abs(make({{-0.0, std::copysign(NAN, -1.0)}}).get()));
    EXPECT_TRUE(test::same_bits(0.0, matrix_get(m.get(), 0, 0)));
    EXPECT_FALSE(std::signbit(matrix_get(m.get(), 0, 1)));
}

TEST(MatrixOps, AddAndSubtract)
{
    const table a = {{1, 0.1, -0.0}, {INFINITY, 1e16, 3}};
    const table b = {{2, 0.2, -0.0}, {-INFINITY, 1, -3}};
    table sum = a;
    table difference = a;
    for (size_t i = 0; i < a.size(); ++i)
        for (size_t j = 0; j < a[i].size(); ++j) {
            sum[i][j] = a[i][j] + b[i][j];
            difference[i][j] = a[i][j] - b[i][j];
        }
    expect_binary(matrix_add, a, b, sum, true);
    expect_binary(matrix_subtract, a, b, difference, true);
}

TEST(MatrixOps, ResultsOnTelemetryCarryItsLabels)
{
    const matrix_ptr m = make({{1, 2}, {3, 4}}, kind::telemetry);
    for (const unary &operation :
         {unary([](auto *a) { return matrix_scalar_multiply(a, 2); }),
          unary([](auto *a) { return matrix_add(a, a); }),
          unary([](auto *a) { return matrix_subtract(a, a); })}) {
        const matrix_ptr result(operation(m.get()));
        EXPECT_EQ(test::sensor_names(result.get()),
                  test::sensor_names(m.get()));
        EXPECT_EQ(test::seconds(result.get()), test::seconds(m.get()));
    }
}

TEST(MatrixOps, AccumAddsInPlace)
{
    for (const kind k : test::every_kind)
        for (const kind other : test::every_kind) {
            SCOPED_TRACE(std::string(test::name_of(k)) +
                         " += " + test::name_of(other));
            const matrix_ptr m1 = make({{1, 2, 3}, {4, 5, 6}}, k);
            const matrix_ptr m2 = make({{10, 20, 30}, {40, 50, 60}}, other);
            matrix_accum(m1.get(), m2.get());
            EXPECT_TRUE(test::same_bits({{11, 22, 33}, {44, 55, 66}},
                                        test::elements(m1.get())));
            EXPECT_EQ(matrix_get_type(m1.get()), test::type_of(k));
            EXPECT_EQ(matrix_get_type(m2.get()), test::type_of(other));
        }
}

TEST(MatrixOps, AccumGoesRowByRowThroughAViewOfItself)
{
    const matrix_ptr m = make({{1, 2}, {3, 4}});
    const matrix_ptr view(transposed_matrix_create(m.get()));
    matrix_accum(m.get(), view.get());
    // (0, 1) has become 2 + 3 when (1, 0) adds it.
    EXPECT_TRUE(test::same_bits({{2, 5}, {8, 8}}, test::elements(m.get())));
    transposed_matrix_detach_original_matrix(view.get());
}

TEST(MatrixOps, ClearSetsEveryElementToZero)
{
    for (const kind k : test::every_kind) {
        const matrix_ptr m = make(awkward, k);
        matrix_clear(m.get());
        EXPECT_TRUE(test::same_bits(table(2, {0.0, 0.0, 0.0}),
                                    test::elements(m.get())));
        EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
    }
}

TEST(MatrixOps, AccumElementReturnsTheNewValue)
{
    for (const kind k : test::every_kind) {
        const matrix_ptr m = make({{1, 2}, {3, 4}}, k);
        EXPECT_EQ(matrix_accum_element(m.get(), 1, 0, 0.5), 3.5);
        EXPECT_TRUE(
            test::same_bits({{1, 2}, {3.5, 4}}, test::elements(m.get())));
    }
}

// --- product ---

TEST(MatrixOps, MultiplyIsTheSameBitsAsThePlainSum)
{
    test::number_source numbers(3);
    for (const auto [n, k, m] : {std::array{1u, 1u, 1u},
                                 {2u, 3u, 4u},
                                 {5u, 1u, 5u},
                                 {1u, 9u, 1u},
                                 {17u, 33u, 9u}}) {
        const table a = numbers.next_table(n, k);
        const table b = numbers.next_table(k, m);
        expect_binary(matrix_multiply, a, b, reference::multiply(a, b), false);
    }
}

TEST(MatrixOps, MultiplySkipsNoZeros)
{
    const table a = {{0, 1}, {-0.0, 0}};
    const table b = {{INFINITY, NAN, -1}, {2, 3, 0}};
    expect_binary(matrix_multiply, a, b, reference::multiply(a, b), false);
}

// --- column statistics ---

TEST(MatrixOps, ColumnSumAndMean)
{
    test::number_source numbers(4);
    const table a = numbers.next_table(7, 4);
    table sum = {std::vector<double>(4, 0.0)};
    for (const auto &row : a)
        for (size_t j = 0; j < 4; ++j) sum[0][j] += row[j];
    expect_unary(matrix_column_sum, a, sum, false);
    expect_unary(matrix_column_mean, a,
                 map(sum, [](double s) { return s / 7.0; }), false);
}

TEST(MatrixOps, SumsStartAtPlusZero)
{
    const matrix_ptr sum(matrix_column_sum(make({{-0.0}, {-0.0}}).get()));
    EXPECT_TRUE(test::same_bits({{0.0}}, test::elements(sum.get())));
}

TEST(MatrixOps, StandardDeviationIsThatOfThePopulation)
{
    const matrix_ptr m = make({{1}, {2}, {3}, {4}});
    const matrix_ptr deviation(matrix_column_std_dev(m.get()));
    EXPECT_TRUE(
        test::same_bits({{std::sqrt(1.25)}}, test::elements(deviation.get())));
}

TEST(MatrixOps, StandardDeviationOfOneRowIsZero)
{
    expect_unary(matrix_column_std_dev, {{1, -5, 1e9}}, {{0, 0, 0}}, false);
}

TEST(MatrixOps, StandardDeviationIsTheSameBitsAsTheRunningUpdate)
{
    test::number_source numbers(9);
    for (const size_t nrows : {2u, 3u, 50u}) {
        const table a = numbers.next_table(nrows, 5);
        expect_unary(matrix_column_std_dev, a, reference::column_std_dev(a),
                     false);
    }
}

// --- distances ---

TEST(MatrixOps, EuclideanLengthOfEachRow)
{
    expect_unary(matrix_euclidean_length, {{3, 4}, {0, 0}, {-1, 1}},
                 {{5}, {0}, {std::sqrt(2.0)}}, false);
}

TEST(MatrixOps, EuclideanDistanceOfEachRow)
{
    test::number_source numbers(12);
    const table a = numbers.next_table(3, 6);
    const table b = numbers.next_table(3, 6);
    table expected;
    for (size_t i = 0; i < 3; ++i) {
        double sum = 0.0;
        for (size_t j = 0; j < 6; ++j)
            sum += (a[i][j] - b[i][j]) * (a[i][j] - b[i][j]);
        expected.push_back({std::sqrt(sum)});
    }
    expect_binary(matrix_euclidean_distance, a, b, expected, false);
}

TEST(MatrixOps, SquaredDistanceOfEachRowFromAVector)
{
    test::number_source numbers(13);
    const table a = numbers.next_table(4, 5);
    const table b = numbers.next_table(1, 5);
    table expected;
    for (size_t i = 0; i < 4; ++i) {
        double sum = 0.0;
        for (size_t j = 0; j < 5; ++j)
            sum += (a[i][j] - b[0][j]) * (a[i][j] - b[0][j]);
        expected.push_back({sum});
    }
    expect_binary(matrix_euclidean_distance_sq_with_row_vector, a, b, expected,
                  false);
}

// --- Gaussian normalisation ---

namespace {

// A transposed operand comes out regular, telemetry stays telemetry.
uint32_t rescaled_type(kind k)
{
    return k == kind::telemetry ? MATRIX_TYPE_TELEMETRY : MATRIX_TYPE_REGULAR;
}

}  // namespace

TEST(MatrixOps, GaussianScalesEachColumn)
{
    const table a = {{1, 2, 3}, {4, 5, 6}};
    const table mean = {{0.1, 0.2, 0.3}};
    const table sigma = {{0.7, -3, 11}};
    table normal = a;
    table original = a;
    for (size_t i = 0; i < 2; ++i)
        for (size_t j = 0; j < 3; ++j) {
            normal[i][j] = (a[i][j] - mean[0][j]) / sigma[0][j];
            original[i][j] = sigma[0][j] * a[i][j] + mean[0][j];
        }
    for (const kind k : test::every_kind)
        for (const kind other : test::every_kind) {
            SCOPED_TRACE(std::string(test::name_of(k)) + " by " +
                         test::name_of(other));
            const matrix_ptr m = make(a, k);
            const matrix_ptr mu = make(mean, other);
            const matrix_ptr s = make(sigma, other);
            const matrix_ptr n(
                matrix_gaussian_normalize(m.get(), mu.get(), s.get()));
            const matrix_ptr d(
                matrix_gaussian_denormalize(m.get(), mu.get(), s.get()));
            EXPECT_TRUE(test::same_bits(normal, test::elements(n.get())));
            EXPECT_TRUE(test::same_bits(original, test::elements(d.get())));
            EXPECT_EQ(matrix_get_type(n.get()), rescaled_type(k));
            EXPECT_EQ(matrix_get_type(d.get()), rescaled_type(k));
            EXPECT_EQ(matrix_get_type(m.get()), test::type_of(k));
            EXPECT_EQ(matrix_get_type(s.get()), test::type_of(other));
            EXPECT_TRUE(test::same_bits(sigma, test::elements(s.get())));
        }
}

TEST(MatrixOps, GaussianOnlyShiftsAConstantColumn)
{
    const matrix_ptr m = make({{5, 1}, {5, 3}});
    const matrix_ptr mean(matrix_column_mean(m.get()));
    for (const double sigma : {0.0, 1e-6, -1e-9}) {
        const matrix_ptr std = make({{sigma, 1}});
        const matrix_ptr normal(
            matrix_gaussian_normalize(m.get(), mean.get(), std.get()));
        EXPECT_TRUE(
            test::same_bits({{0, -1}, {0, 1}}, test::elements(normal.get())));
        const matrix_ptr back(
            matrix_gaussian_denormalize(normal.get(), mean.get(), std.get()));
        EXPECT_TRUE(matrix_is_equal(m.get(), back.get()));
    }
}

// --- out of memory ---

TEST(MatrixOps, OperationsFailCleanly)
{
    // Telemetry is left out where a result is made like the operand.
    for (const kind k : {kind::regular, kind::transposed, kind::nested}) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2}, {3, 4}}, k);
        const matrix_ptr row = make({{1, 2}}, k);
        const struct matrix *const a = m.get();
        const struct matrix *const v = row.get();
        for (const auto &operation :
             {unary(matrix_elemental_square), unary(matrix_elemental_sqrt),
              unary(matrix_elemental_exp), unary(matrix_elemental_abs),
              unary(matrix_column_sum), unary(matrix_column_mean),
              unary(matrix_column_std_dev), unary(matrix_euclidean_length)})
            expect_clean([&] { return operation(a); });
        for (const auto &operation :
             {binary(matrix_add), binary(matrix_subtract),
              binary(matrix_multiply), binary(matrix_euclidean_distance)})
            expect_clean([&] { return operation(a, a); });
        expect_clean([=] { return matrix_scalar_multiply(a, 2); });
        expect_clean([=] { return matrix_scalar_divide(a, 2); });
        expect_clean(
            [=] { return matrix_euclidean_distance_sq_with_row_vector(a, v); });
        expect_clean([=] { return matrix_gaussian_normalize(a, v, v); });
        expect_clean([=] { return matrix_gaussian_denormalize(a, v, v); });
    }
}

TEST(MatrixOps, CopiesOfTelemetryFailCleanly)
{
    const matrix_ptr m = make({{1, 2}}, kind::telemetry);
    const struct matrix *const a = m.get();
    expect_clean([=] { return matrix_add(a, a); });
    const matrix_ptr column = make({{1}, {2}}, kind::telemetry);
    expect_clean([&] { return matrix_multiply(a, column.get()); });
    expect_clean([=] { return matrix_gaussian_normalize(a, a, a); });
    expect_clean([=] { return matrix_column_std_dev(a); });
}

// --- aborts ---

namespace {
struct matrix *two_by_two()
{
    return matrix_create(2, 2);
}
struct matrix *two_by_three()
{
    return matrix_create(2, 3);
}
struct matrix *one_by_two()
{
    return matrix_create(1, 2);
}
}  // namespace

TEST(MatrixOpsDeathTest, SingleOperandsMustNotBeNull)
{
    const char *const m = "m != NULL";
    const char *const m1 = "m1 != NULL";
    test::expect_aborts({
        {"matrix_scalar_multiply", m,
         [] {
             matrix_scalar_multiply(NULL, 1);
         }},
        {"matrix_scalar_divide", m,
         [] {
             matrix_scalar_divide(NULL, 1);
         }},
        {"matrix_elemental_square", m,
         [] {
             matrix_elemental_square(NULL);
         }},
        {"matrix_elemental_sqrt", m,
         [] {
             matrix_elemental_sqrt(NULL);
         }},
        {"matrix_elemental_exp", m,
         [] {
             matrix_elemental_exp(NULL);
         }},
        {"matrix_elemental_abs", m,
         [] {
             matrix_elemental_abs(NULL);
         }},
        {"matrix_clear", m,
         [] {
             matrix_clear(NULL);
         }},
        {"matrix_accum_element", m,
         [] {
             matrix_accum_element(NULL, 0, 0, 1);
         }},
        {"matrix_column_sum", m1,
         [] {
             matrix_column_sum(NULL);
         }},
        {"matrix_column_mean", m1,
         [] {
             matrix_column_mean(NULL);
         }},
        {"matrix_column_std_dev", m1,
         [] {
             matrix_column_std_dev(NULL);
         }},
        {"matrix_euclidean_length", m,
         [] {
             matrix_euclidean_length(NULL);
         }},
    });
}

TEST(MatrixOpsDeathTest, PairsMustNotBeNull)
{
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto operation) {
        rows.insert(rows.end(), {{function, "m1 != NULL",
                                  [=] {
                                      operation(nullptr, two_by_two());
                                  }},
                                 {function, "m2 != NULL", [=] {
                                      operation(two_by_two(), nullptr);
                                  }}});
    };
    add("matrix_accum", matrix_accum);
    add("matrix_add", matrix_add);
    add("matrix_subtract", matrix_subtract);
    add("matrix_multiply", matrix_multiply);
    add("matrix_euclidean_distance", matrix_euclidean_distance);
    add("matrix_euclidean_distance_sq_with_row_vector",
        matrix_euclidean_distance_sq_with_row_vector);
    test::expect_aborts(rows);
}

TEST(MatrixOpsDeathTest, SizesMustFitEachOther)
{
    test::expect_aborts(
        {{"matrix_accum", "matrix_is_equal_dimensions(m1, m2)",
          [] {
              matrix_accum(two_by_two(), two_by_three());
          }},
         {"matrix_add", "matrix_is_equal_dimensions(m1, m2)",
          [] {
              matrix_add(two_by_two(), two_by_three());
          }},
         {"matrix_subtract", "matrix_is_equal_dimensions(m1, m2) > 0",
          [] {
              matrix_subtract(two_by_two(), two_by_three());
          }},
         {"matrix_multiply",
          "matrix_get_number_columns(m1) == matrix_get_number_rows(m2)",
          [] {
              matrix_multiply(two_by_three(), two_by_three());
          }},
         {"matrix_euclidean_distance", "rows1 == matrix_get_number_rows(m2)",
          [] {
              matrix_euclidean_distance(two_by_two(), one_by_two());
          }},
         {"matrix_euclidean_distance", "cols1 == matrix_get_number_columns(m2)",
          [] {
              matrix_euclidean_distance(two_by_two(), two_by_three());
          }},
         {"matrix_euclidean_distance_sq_with_row_vector",
          "matrix_get_number_rows(m2) == 1",
          [] {
              matrix_euclidean_distance_sq_with_row_vector(two_by_two(),
                                                           two_by_two());
          }},
         {"matrix_euclidean_distance_sq_with_row_vector",
          "ncols == matrix_get_number_columns(m2)",
          [] {
              matrix_euclidean_distance_sq_with_row_vector(two_by_three(),
                                                           one_by_two());
          }},
         {"matrix_get", "i < m->nrows",
          [] {
              matrix_accum_element(two_by_two(), 2, 0, 1);
          }},
         {"matrix_get", "j < m->ncols", [] {
              matrix_accum_element(two_by_two(), 0, 2, 1);
          }}});
}

TEST(MatrixOpsDeathTest, GaussianChecksItsArguments)
{
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto rescale) {
        rows.insert(rows.end(),
                    {{function, "m1 != NULL",
                      [=] {
                          rescale(nullptr, one_by_two(), one_by_two());
                      }},
                     {function, "mean != NULL",
                      [=] {
                          rescale(two_by_two(), nullptr, one_by_two());
                      }},
                     {function, "std != NULL",
                      [=] {
                          rescale(two_by_two(), one_by_two(), nullptr);
                      }},
                     {function, "matrix_get_number_rows(mean) == 1",
                      [=] {
                          rescale(two_by_two(), two_by_two(), one_by_two());
                      }},
                     {function, "matrix_get_number_columns(mean) == cols",
                      [=] {
                          rescale(two_by_three(), one_by_two(), one_by_two());
                      }},
                     {function, "matrix_is_equal_dimensions(mean, std)", [=] {
                          rescale(two_by_two(), one_by_two(), two_by_two());
                      }}});
    };
    add("matrix_gaussian_normalize", matrix_gaussian_normalize);
    add("matrix_gaussian_denormalize", matrix_gaussian_denormalize);
    test::expect_aborts(rows);
}
