// matrix_support.hpp: matrices as tables of numbers, and back.
#ifndef KOR_TESTS_UNIT_MATRIX_SUPPORT_HPP
#define KOR_TESTS_UNIT_MATRIX_SUPPORT_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "matrix.h"
#include "support/support.hpp"
#include "telemetry_matrix.h"
#include "transposed_matrix.h"

namespace test {

using table = std::vector<std::vector<double>>;

struct matrix_deleter {
    void operator()(struct matrix *m) const { matrix_destroy(&m); }
};
using matrix_ptr = std::unique_ptr<struct matrix, matrix_deleter>;

// The three kinds, and the shapes operands come in: `nested` is a transposed
// view of a transposed view, `labelled_view` a view of a telemetry matrix.
enum class kind { regular, transposed, telemetry, nested, labelled_view };
inline constexpr kind every_kind[] = {kind::regular, kind::transposed,
                                      kind::telemetry, kind::nested,
                                      kind::labelled_view};
const char *name_of(kind k);
// What matrix_get_type says of it.
uint32_t type_of(kind k);

// A matrix whose elements are those of the table.  Telemetry matrices have
// the sensors S0, S1, ... and the time stamps 1000, 1001, ...
matrix_ptr make(const table &values, kind k = kind::regular);
struct sensor_array *make_sensors(uint32_t count, int first = 0);
struct timestamp_array *make_timestamps(uint32_t count, int32_t first = 1000);

// The elements, read one by one.
table elements(const struct matrix *m);
table transpose(const table &values);

// What a telemetry matrix carries beside its values.
std::vector<std::string> sensor_names(const struct matrix *m);
std::vector<int32_t> seconds(const struct matrix *m);

// Equal bit by bit, any NaN being equal to any other.
testing::AssertionResult same_bits(const table &expected, const table &actual);
testing::AssertionResult same_bits(double expected, double actual);

// A source of the same numbers on every machine.
class number_source {
public:
    explicit number_source(uint32_t seed) : state_(seed * 2654435761u + 1) {}
    double next();  // in [-1, 1)
    table next_table(size_t nrows, size_t ncols);

private:
    uint32_t state_;
};

// Calls that must abort, in the function and on the assertion named.
struct abort_in {
    const char *function;
    const char *expression;
    std::function<void()> call;
};
void expect_aborts(const std::vector<abort_in> &rows);

}  // namespace test

#endif
