// text_support.hpp: what the tests of the text layer share.
#ifndef KOR_TESTS_UNIT_TEXT_TEXT_SUPPORT_HPP
#define KOR_TESTS_UNIT_TEXT_TEXT_SUPPORT_HPP

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "matrix.h"
#include "sensor_array.h"
#include "support/support.hpp"
#include "telemetry_matrix.h"
#include "timestamp_array.h"

namespace test {

// 1 January 2007, 00:00:00 UTC.
inline constexpr int32_t new_year_2007 = 1167609600;

// Time stamps as text depend on the time zone; these tests choose it.
class InUtc : public testing::Test {
protected:
    InUtc() { choose_utc(); }
    static void choose_utc()
    {
        setenv("TZ", "UTC0", 1);
        tzset();
    }
};
template <class Row>
class InUtcWithParam : public InUtc, public testing::WithParamInterface<Row> {
};

// Lines as an open stream.
class text_stream {
public:
    explicit text_stream(const std::string &text) : fp_(std::tmpfile())
    {
        if (fp_ == nullptr) std::abort();
        std::fwrite(text.data(), 1, text.size(), fp_);
        std::rewind(fp_);
    }
    text_stream(const text_stream &) = delete;
    text_stream &operator=(const text_stream &) = delete;
    ~text_stream() { std::fclose(fp_); }
    FILE *get() { return fp_; }

private:
    FILE *fp_;
};

// A stream that yields `text` and then fails as a broken disk does.
inline FILE *open_failing_stream(std::string *text)
{
    cookie_io_functions_t io = {};
    io.read = [](void *cookie, char *buffer, size_t size) -> ssize_t {
        auto &left = *static_cast<std::string *>(cookie);
        if (left.empty()) return -1;
        const size_t n = left.copy(buffer, size);
        left.erase(0, n);
        return static_cast<ssize_t>(n);
    };
    return fopencookie(text, "r", io);
}

// A writer on the heap, as those that take a base writer over want it, that
// hands everything to a memory_writer and counts flushes and destructions.
struct base_log {
    memory_writer out;
    int flushes = 0;
    int destructions = 0;
    int flush_result = 0;
};
inline struct writer *create_base(base_log &log)
{
    auto *const base =
        static_cast<struct writer *>(std::malloc(sizeof(struct writer)));
    auto *const state = static_cast<base_log **>(std::malloc(sizeof(void *)));
    if (base == nullptr || state == nullptr) {
        std::free(base);
        std::free(state);
        return nullptr;
    }
    *state = &log;
    _writer_init(base, WRITER_TYPE_RAW);
    base->writer = state;
    base->fn_write_bytes = [](void *s, const void *buf, uint32_t len) {
        return writer_write_bytes((*static_cast<base_log **>(s))->out.get(),
                                  buf, len);
    };
    base->fn_flush = [](void *s) {
        base_log &l = **static_cast<base_log **>(s);
        ++l.flushes;
        return l.flush_result;
    };
    base->fn_destruct = [](void *s) {
        ++(*static_cast<base_log **>(s))->destructions;
        return 0;
    };
    return base;
}

// A regular matrix from its rows.
inline struct matrix *create_matrix(
    const std::vector<std::vector<double>> &rows)
{
    struct matrix *const m =
        matrix_create(static_cast<uint32_t>(rows.size()),
                      static_cast<uint32_t>(rows.front().size()));
    if (m == nullptr) return nullptr;
    for (uint32_t i = 0; i < rows.size(); ++i)
        for (uint32_t j = 0; j < rows[i].size(); ++j)
            matrix_set(m, i, j, rows[i][j]);
    return m;
}

inline struct sensor_array *create_sensors(
    const std::vector<std::string> &names)
{
    std::vector<const char *> texts;
    for (const std::string &name : names) texts.push_back(name.c_str());
    return sensor_array_create_from_names(texts.data(),
                                          static_cast<uint32_t>(texts.size()));
}

// A telemetry matrix whose rows are a second apart.
inline struct matrix *create_telemetry(
    const std::vector<std::string> &names, int32_t start,
    const std::vector<std::vector<double>> &rows)
{
    struct timestamp t;
    timestamp_init_null(&t);
    t.tv.tv_sec = start;
    return telemetry_matrix_create(
        create_matrix(rows), create_sensors(names),
        timestamp_array_create_dummy(&t, static_cast<uint32_t>(rows.size())));
}

inline std::vector<std::string> names_of(const struct sensor_array *sensors)
{
    std::vector<std::string> names;
    for (uint32_t i = 0; i < sensor_array_get_size(sensors); ++i) {
        std::string name(70000, '\0');
        sensor_get_name(sensor_array_get(sensors, static_cast<int>(i)),
                        name.data(), name.size());
        names.push_back(name.c_str());
    }
    return names;
}

inline int32_t seconds_of(const struct matrix *m, int row)
{
    return timestamp_array_get(telemetry_matrix_get_timestamps(m), row)
        ->tv.tv_sec;
}

inline std::vector<double> values_of(const struct matrix *m, uint32_t row)
{
    std::vector<double> values;
    for (uint32_t j = 0; j < matrix_get_number_columns(m); ++j)
        values.push_back(matrix_get(m, row, j));
    return values;
}

}  // namespace test

#endif
