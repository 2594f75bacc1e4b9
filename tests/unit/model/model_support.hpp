// model_support.hpp: what the tests of the model layer share.
#ifndef KOR_TESTS_MODEL_SUPPORT_HPP
#define KOR_TESTS_MODEL_SUPPORT_HPP

#include <bit>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "sensor_array.h"
#include "sensors.h"
#include "support/support.hpp"
#include "timestamp.h"

namespace test {

// Where the layout is promised for both word sizes.
constexpr bool is_layout(size_t actual, size_t on_64_bits, size_t on_32_bits)
{
    return actual == (sizeof(void *) == 8 ? on_64_bits : on_32_bits);
}

// The process's time zone while the object lives.
class in_zone {
public:
    explicit in_zone(const char *zone)
    {
        if (const char *const now = std::getenv("TZ")) previous_ = now;
        setenv("TZ", zone, 1);
        tzset();
    }
    in_zone(const in_zone &) = delete;
    in_zone &operator=(const in_zone &) = delete;
    ~in_zone()
    {
        if (previous_.empty())
            unsetenv("TZ");
        else
            setenv("TZ", previous_.c_str(), 1);
        tzset();
    }

private:
    std::string previous_;
};

template <auto Destroy>
struct deleter {
    template <class T>
    void operator()(T *object) const
    {
        Destroy(&object);
    }
};
using sensor_ptr = std::unique_ptr<struct sensor, deleter<sensor_destroy>>;
using sensor_array_ptr =
    std::unique_ptr<struct sensor_array, deleter<sensor_array_destroy>>;

inline sensor_ptr new_sensor(const std::string &name)
{
    return sensor_ptr(sensor_create(name.c_str()));
}

inline sensor_array_ptr new_sensors(const std::vector<std::string> &names)
{
    std::vector<const char *> pointers;
    for (const std::string &name : names) pointers.push_back(name.c_str());
    return sensor_array_ptr(sensor_array_create_from_names(
        pointers.data(), static_cast<uint32_t>(pointers.size())));
}

inline std::string name_of(const struct sensor *sensor)
{
    return sensor->canonical->name;
}

inline std::vector<std::string> names_of(const struct sensor_array *array)
{
    std::vector<std::string> names;
    for (uint32_t i = 0; i < array->nsensors; ++i)
        names.push_back(name_of(array->sensors[i]));
    return names;
}

// A registry as empty as at the start of the process.
inline void expect_empty_registry()
{
    EXPECT_EQ(_sensors.nsensors, 0u);
    EXPECT_EQ(_sensors.buckets, nullptr);
}

// A numbered name of the usual kind.
inline std::string numbered(const char *stem, uint32_t number)
{
    return stem + std::to_string(number);
}

inline uint32_t bits_of(float value)
{
    return std::bit_cast<uint32_t>(value);
}
inline float float_of(uint32_t bits)
{
    return std::bit_cast<float>(bits);
}

// A small generator with a fixed start, for scripts of random steps.
class dice {
public:
    explicit dice(uint32_t seed) : state_(seed) {}
    // From 0 to n - 1.
    uint32_t below(uint32_t n)
    {
        state_ = state_ * 1664525u + 1013904223u;
        return static_cast<uint32_t>(uint64_t{state_} * n >> 32);
    }

private:
    uint32_t state_;
};

}  // namespace test

#endif
