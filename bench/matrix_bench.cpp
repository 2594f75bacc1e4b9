// Matrix operations against the shortest loops over plain arrays that give the
// same bits.  Library and floor are timed in turn in the same run, so that the
// ratio means something on any machine.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

#include "libkor.h"

namespace {

// A square matrix as one array.
using block = std::vector<double>;

block random_block(uint32_t n, uint32_t seed)
{
    block values(static_cast<size_t>(n) * n);
    uint32_t noise = seed;
    for (double &value : values) {
        noise = noise * 1664525 + 1013904223;
        value = noise / 2147483648.0 - 1.0;
    }
    return values;
}

matrix *matrix_of(const block &values, uint32_t n)
{
    matrix *const m = matrix_create(n, n);
    for (uint32_t i = 0; i < n; ++i)
        for (uint32_t j = 0; j < n; ++j)
            matrix_set(m, i, j, values[static_cast<size_t>(i) * n + j]);
    return m;
}

// --- floors ---

void add(const block &a, const block &b, size_t)
{
    block c(a.size());
    for (size_t i = 0; i < a.size(); ++i) c[i] = a[i] + b[i];
    benchmark::DoNotOptimize(c.data());
}

void multiply(const block &a, const block &b, size_t n)
{
    block c(n * n);
    for (size_t i = 0; i < n; ++i)
        for (size_t k = 0; k < n; ++k)
            for (size_t j = 0; j < n; ++j)
                c[i * n + j] += a[i * n + k] * b[k * n + j];
    benchmark::DoNotOptimize(c.data());
}

// The first factor is read column by column.
void multiply_transposed(const block &a, const block &b, size_t n)
{
    block c(n * n);
    for (size_t i = 0; i < n; ++i)
        for (size_t k = 0; k < n; ++k)
            for (size_t j = 0; j < n; ++j)
                c[i * n + j] += a[k * n + i] * b[k * n + j];
    benchmark::DoNotOptimize(c.data());
}

void deviate(const block &a, const block &, size_t n)
{
    block mean(n);
    block squares(n);
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j) {
            const double x = a[i * n + j];
            const double delta = x - mean[j];
            mean[j] += delta / static_cast<double>(i + 1);
            squares[j] += delta * (x - mean[j]);
        }
    for (double &value : squares)
        value = std::sqrt(value / static_cast<double>(n));
    benchmark::DoNotOptimize(squares.data());
}

void equal(const block &a, const block &b, size_t)
{
    bool same = true;
    for (size_t i = 0; i < a.size() && same; ++i)
        same = std::fabs(a[i] - b[i]) <= 1e-6;
    benchmark::DoNotOptimize(same);
}

void decompose(const block &m, const block &, size_t n)
{
    block a = m;
    for (size_t k = 0; k < n; ++k) {
        size_t row = k;
        size_t column = k;
        for (size_t i = k; i < n; ++i)
            for (size_t j = k; j < n; ++j)
                if (std::fabs(a[i * n + j]) > std::fabs(a[row * n + column])) {
                    row = i;
                    column = j;
                }
        for (size_t j = 0; j < n; ++j) std::swap(a[k * n + j], a[row * n + j]);
        for (size_t i = 0; i < n; ++i)
            std::swap(a[i * n + k], a[i * n + column]);
        for (size_t i = k + 1; i < n; ++i) {
            const double f = a[i * n + k] /= a[k * n + k];
            for (size_t j = k + 1; j < n; ++j) a[i * n + j] -= f * a[k * n + j];
        }
    }
    benchmark::DoNotOptimize(a.data());
}

// --- the library ---

void discard(matrix *m)
{
    if (m == nullptr) std::abort();
    benchmark::DoNotOptimize(m->values);
    matrix_destroy(&m);
}

void kor_add(const matrix *a, const matrix *b)
{
    discard(matrix_add(a, b));
}

void kor_multiply(const matrix *a, const matrix *b)
{
    discard(matrix_multiply(a, b));
}

void kor_multiply_transposed(const matrix *a, const matrix *b)
{
    matrix *view = transposed_matrix_create(const_cast<matrix *>(a));
    transposed_matrix_detach_original_matrix(view);
    discard(matrix_multiply(view, b));
    matrix_destroy(&view);
}

void kor_deviate(const matrix *a, const matrix *)
{
    discard(matrix_column_std_dev(a));
}

void kor_equal(const matrix *a, const matrix *b)
{
    benchmark::DoNotOptimize(matrix_is_equal(a, b));
}

void kor_decompose(const matrix *a, const matrix *)
{
    matrix_lu *lu = matrix_lu_create(a);
    benchmark::DoNotOptimize(lu->det);
    matrix_lu_destroy(&lu);
}

// The floor of the inverse: a decomposition and a product.
void kor_invert(const matrix *a, const matrix *)
{
    discard(matrix_inverse(a));
}
void invert(const block &a, const block &b, size_t n)
{
    decompose(a, b, n);
    multiply(a, b, n);
}

template <class Work>
double seconds_of(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> time =
        std::chrono::steady_clock::now() - start;
    return time.count();
}

// Times both in turn; the benchmark's own time is the library's.
template <auto Library, auto Floor, uint32_t SeedOfSecond = 2>
void Compare(benchmark::State &state)
{
    const auto n = static_cast<uint32_t>(state.range(0));
    const block a = random_block(n, 1);
    const block b = random_block(n, SeedOfSecond);
    matrix *m1 = matrix_of(a, n);
    matrix *m2 = matrix_of(b, n);
    double library_seconds = 0;
    double floor_seconds = 0;
    for ([[maybe_unused]] auto unused : state) {
        const double seconds = seconds_of([=] { Library(m1, m2); });
        state.SetIterationTime(seconds);
        library_seconds += seconds;
        floor_seconds += seconds_of([&] { Floor(a, b, n); });
    }
    state.counters["times_floor"] = library_seconds / floor_seconds;
    matrix_destroy(&m1);
    matrix_destroy(&m2);
}

// Small enough to stay near, and too large for it.
void sizes(benchmark::internal::Benchmark *bench)
{
    bench->UseManualTime()->Arg(20)->Arg(300);
}

}  // namespace

BENCHMARK(Compare<kor_add, add>)->Name("Add")->Apply(sizes);
BENCHMARK(Compare<kor_multiply, multiply>)->Name("Multiply")->Apply(sizes);
BENCHMARK(Compare<kor_multiply_transposed, multiply_transposed>)
    ->Name("MultiplyTransposed")
    ->Apply(sizes);
BENCHMARK(Compare<kor_deviate, deviate>)->Name("ColumnStdDev")->Apply(sizes);
BENCHMARK(Compare<kor_equal, equal, 1>)->Name("IsEqual")->Apply(sizes);
BENCHMARK(Compare<kor_decompose, decompose>)->Name("Decompose")->Apply(sizes);
BENCHMARK(Compare<kor_invert, invert>)->Name("Inverse")->Apply(sizes);

BENCHMARK_MAIN();
