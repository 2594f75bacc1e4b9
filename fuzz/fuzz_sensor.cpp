// Sensors and their arrays.
#include "fuzz.hpp"

static void read_sensors(fuzz::input in)
{
    if (in.take() % 2 == 0) {
        struct reader *const reader = fuzz::reader_over(in);
        struct sensor *sensor = nullptr;
        while (binary_serializer_read_sensor(&sensor, reader) > 0) {
            binary_serializer_write_sensor(sensor, fuzz::sink());
            sensor_destroy(&sensor);
        }
    } else {
        struct sensor_array *array = sensor_array_create_null();
        if (binary_serializer_read_sensor_array(array, fuzz::reader_over(in)) >
            0)
            binary_serializer_write_sensor_array(array, fuzz::sink());
        sensor_array_destroy(&array);
    }
}

// A stream that ends right behind the length of a name.
FUZZ_TARGET(read_sensors, "nread != 0")
