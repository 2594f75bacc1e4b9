#include "matrix_support.hpp"

#include <bit>
#include <cmath>

namespace test {

const char *name_of(kind k)
{
    switch (k) {
        case kind::regular:
            return "regular";
        case kind::transposed:
            return "transposed";
        case kind::telemetry:
            return "telemetry";
        case kind::nested:
            return "view of a view";
        case kind::labelled_view:
            return "view of telemetry";
    }
    return "";
}

uint32_t type_of(kind k)
{
    if (k == kind::regular) return MATRIX_TYPE_REGULAR;
    if (k == kind::telemetry) return MATRIX_TYPE_TELEMETRY;
    return MATRIX_TYPE_TRANSPOSED;
}

struct sensor_array *make_sensors(uint32_t count, int first)
{
    struct sensor_array *const sensors = sensor_array_create_empty(count);
    for (uint32_t i = 0; i < count; ++i) {
        const std::string name =
            "S" + std::to_string(first + static_cast<int>(i));
        sensor_array_set(sensors, static_cast<int>(i),
                         sensor_create(name.c_str()));
    }
    return sensors;
}

struct timestamp_array *make_timestamps(uint32_t count, int32_t first)
{
    struct timestamp start;
    const struct timeval tv = {first, 0};
    timestamp_init_from_timeval(&start, &tv);
    return timestamp_array_create_dummy(&start, count);
}

static struct matrix *make_regular(const table &values)
{
    struct matrix *const m =
        matrix_create(static_cast<uint32_t>(values.size()),
                      static_cast<uint32_t>(values[0].size()));
    for (uint32_t i = 0; i < values.size(); ++i)
        for (uint32_t j = 0; j < values[i].size(); ++j)
            matrix_set(m, i, j, values[i][j]);
    return m;
}

static struct matrix *make_telemetry(const table &values)
{
    return telemetry_matrix_create(
        make_regular(values),
        make_sensors(static_cast<uint32_t>(values[0].size())),
        make_timestamps(static_cast<uint32_t>(values.size())));
}

matrix_ptr make(const table &values, kind k)
{
    struct matrix *m = nullptr;
    switch (k) {
        case kind::regular:
            m = make_regular(values);
            break;
        case kind::transposed:
            m = transposed_matrix_create(make_regular(transpose(values)));
            break;
        case kind::telemetry:
            m = make_telemetry(values);
            break;
        case kind::nested:
            m = transposed_matrix_create(
                transposed_matrix_create(make_regular(values)));
            break;
        case kind::labelled_view:
            m = transposed_matrix_create(make_telemetry(transpose(values)));
            break;
    }
    return matrix_ptr(m);
}

table elements(const struct matrix *m)
{
    table values(matrix_get_number_rows(m));
    for (uint32_t i = 0; i < values.size(); ++i)
        for (uint32_t j = 0; j < matrix_get_number_columns(m); ++j)
            values[i].push_back(matrix_get(m, i, j));
    return values;
}

table transpose(const table &values)
{
    table result(values[0].size(), std::vector<double>(values.size()));
    for (size_t i = 0; i < values.size(); ++i)
        for (size_t j = 0; j < values[i].size(); ++j)
            result[j][i] = values[i][j];
    return result;
}

std::vector<std::string> sensor_names(const struct matrix *m)
{
    std::vector<std::string> names;
    const struct sensor_array *const sensors = telemetry_matrix_get_sensors(m);
    for (uint32_t i = 0; i < sensor_array_get_size(sensors); ++i) {
        char name[64] = "";
        const struct sensor *const s =
            sensor_array_get(sensors, static_cast<int>(i));
        names.push_back(s != nullptr ? sensor_get_name(s, name, sizeof name)
                                     : "(none)");
    }
    return names;
}

std::vector<int32_t> seconds(const struct matrix *m)
{
    std::vector<int32_t> result;
    const struct timestamp_array *const timestamps =
        telemetry_matrix_get_timestamps(m);
    for (uint32_t i = 0; i < timestamp_array_get_size(timestamps); ++i) {
        const struct timestamp *const t =
            timestamp_array_get(timestamps, static_cast<int>(i));
        result.push_back(t != nullptr ? t->tv.tv_sec : 0);
    }
    return result;
}

testing::AssertionResult same_bits(double expected, double actual)
{
    const bool same =
        std::bit_cast<uint64_t>(expected) == std::bit_cast<uint64_t>(actual) ||
        (std::isnan(expected) && std::isnan(actual));
    if (same) return testing::AssertionSuccess();
    char text[128];
    std::snprintf(text, sizeof text, "expected %a, is %a", expected, actual);
    return testing::AssertionFailure() << text;
}

testing::AssertionResult same_bits(const table &expected, const table &actual)
{
    if (expected.size() != actual.size() ||
        expected[0].size() != actual[0].size())
        return testing::AssertionFailure()
               << "expected " << expected.size() << " x " << expected[0].size()
               << ", is " << actual.size() << " x " << actual[0].size();
    for (size_t i = 0; i < expected.size(); ++i)
        for (size_t j = 0; j < expected[i].size(); ++j)
            if (const auto same = same_bits(expected[i][j], actual[i][j]);
                !same)
                return testing::AssertionFailure()
                       << "element (" << i << ", " << j
                       << "): " << same.message();
    return testing::AssertionSuccess();
}

double number_source::next()
{
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return static_cast<double>(state_) / 2147483648.0 - 1.0;
}

table number_source::next_table(size_t nrows, size_t ncols)
{
    table values(nrows, std::vector<double>(ncols));
    for (auto &row : values)
        for (double &value : row) value = next();
    return values;
}

void expect_aborts(const std::vector<abort_in> &rows)
{
    for (const abort_in &row : rows) {
        SCOPED_TRACE(std::string(row.function) + ": " + row.expression);
        EXPECT_DEATH(row.call(),
                     testing::HasSubstr(std::string(": ") + row.function +
                                        ": Assertion `" + row.expression +
                                        "' failed.\n"));
    }
}

}  // namespace test
