// record_support.hpp: time stamps, vectors and stored bytes in a line.
#ifndef KOR_TESTS_RECORD_SUPPORT_HPP
#define KOR_TESTS_RECORD_SUPPORT_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "matrix.h"
#include "sensor_array.h"
#include "support/support.hpp"
#include "telemetry_matrix.h"
#include "timestamp.h"

namespace test {

// 2007-01-01 00:00:01 UTC.
inline constexpr int32_t first_second = 1167609601;

// The time stamp of that many seconds later.
inline struct timestamp at(int32_t seconds)
{
    struct timestamp t;
    timestamp_init_null(&t);
    t.tv.tv_sec = first_second + seconds;
    return t;
}

// An object that is destroyed at the end of its block.
template <auto Destroy, class T>
struct destroyer {
    void operator()(T *object) const { Destroy(&object); }
};
template <class T, auto Destroy>
using holder = std::unique_ptr<T, destroyer<Destroy, T>>;

using vector_holder = holder<struct matrix, matrix_destroy>;
using sensors_holder = holder<struct sensor_array, sensor_array_destroy>;

inline struct sensor_array *sensors_named(const std::vector<std::string> &names)
{
    std::vector<const char *> texts;
    for (const std::string &name : names) texts.push_back(name.c_str());
    return sensor_array_create_from_names(texts.data(),
                                          static_cast<uint32_t>(texts.size()));
}

// A telemetry vector of these sensors and readings.
inline vector_holder vector_of(const std::vector<std::string> &names,
                               const struct timestamp &t,
                               const std::vector<double> &readings)
{
    struct matrix *const values =
        matrix_create(1, static_cast<uint32_t>(readings.size()));
    for (uint32_t i = 0; i < readings.size(); ++i)
        matrix_set(values, 0, i, readings[i]);
    return vector_holder(
        telemetry_matrix_create_vector(values, sensors_named(names), &t));
}

// A vector of `n` sensors S0, S1, ... whose i-th reading is i / 4.
inline vector_holder wide_vector(uint32_t n, const struct timestamp &t)
{
    std::vector<std::string> names;
    std::vector<double> readings;
    for (uint32_t i = 0; i < n; ++i) {
        names.push_back("S" + std::to_string(i));
        readings.push_back(i / 4.0);
    }
    return vector_of(names, t, readings);
}

// The name of a sensor.
inline std::string name_of(const struct sensor *sensor)
{
    char name[64] = {};
    sensor_get_name(sensor, name, sizeof name - 1);
    return name;
}

inline std::vector<std::string> names_of(const struct sensor_array *sensors)
{
    std::vector<std::string> names;
    for (uint32_t i = 0; i < sensors->nsensors; ++i)
        names.push_back(name_of(sensors->sensors[i]));
    return names;
}

// What `write` stores; it must report as many bytes.
inline std::string stored_by(const std::function<int(struct writer *)> &write)
{
    memory_writer out;
    const int nwritten = write(out.get());
    EXPECT_EQ(nwritten, static_cast<int>(out.bytes().size()));
    return out.bytes();
}

// `bytes` with those from `at` on replaced.
inline std::string with(std::string bytes, size_t at,
                        const std::string &replacement)
{
    return bytes.replace(at, replacement.size(), replacement);
}

// A count as it is stored.
inline std::string stored_count(uint32_t count)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(count >> shift & 0xFF);
    return bytes;
}

// Fails each stream call of a read in turn; every failure must come through.
inline void expect_reader_failures_come_through(
    const std::string &encoding,
    const std::function<int(struct reader *)> &read)
{
    for (int calls = 0;; ++calls) {
        SCOPED_TRACE("read " + std::to_string(calls) + " fails");
        memory_reader in(encoding);
        in.fail_after(calls, KOR_ERR_INFLATE);
        const int result = read(in.get());
        if (result == static_cast<int>(encoding.size())) return;
        ASSERT_EQ(result, KOR_ERR_INFLATE);
    }
}

// Fails each stream call of a write in turn; every failure must come through
// and nothing may be written behind it.
inline void expect_writer_failures_come_through(
    const std::string &encoding,
    const std::function<int(struct writer *)> &write)
{
    for (int calls = 0;; ++calls) {
        SCOPED_TRACE("write " + std::to_string(calls) + " fails");
        memory_writer out;
        out.fail_after(calls, KOR_ERR_DEFLATE);
        const int result = write(out.get());
        if (result == static_cast<int>(encoding.size())) return;
        ASSERT_EQ(result, KOR_ERR_DEFLATE);
        EXPECT_EQ(out.calls(), calls + 1);
        EXPECT_EQ(out.bytes(), encoding.substr(0, out.bytes().size()));
    }
}

// A row of a table: bytes that a stored record holds in the place of its own,
// and what reading it then returns.
struct damage {
    const char *name;
    size_t at;
    std::string bytes;
    int code;
};
inline void PrintTo(const damage &row, std::ostream *os)
{
    *os << row.name;
}

}  // namespace test

#endif
