// model_fixtures.hpp: time stamps and sensors for provocations.
#ifndef KOR_TESTS_CONTRACT_MODEL_FIXTURES_HPP
#define KOR_TESTS_CONTRACT_MODEL_FIXTURES_HPP

#include "contract/contract.hpp"

namespace contract {

inline const struct timeval some_time = {1000000000, 500000};

inline struct timestamp *stamp()
{
    static struct timestamp t;
    timestamp_init_from_timeval(&t, &some_time);
    return &t;
}

inline struct timestamp_array *two_stamps()
{
    return timestamp_array_create_dummy(stamp(), 2);
}

inline const char *const names[] = {"Temp", "Speed"};

inline struct sensor *temp()
{
    return sensor_create("Temp");
}

inline struct sensor_array *two_sensors()
{
    return sensor_array_create_from_names(names, 2);
}

inline struct sensor_array *a_sensor_and_a_gap()
{
    struct sensor_array *const array = two_sensors();
    array->sensors[1] = NULL;
    return array;
}

}  // namespace contract

#endif
