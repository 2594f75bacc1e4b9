// Time stamps and their arrays, stored and as text.
#include <cstring>

#include "fuzz.hpp"

static void read_timestamps(fuzz::input in)
{
    const uint8_t form = in.take();
    if (form % 3 == 0) {
        struct timestamp t;
        timestamp_init_null(&t);
        binary_serializer_read_timestamp(&t, fuzz::reader_over(in));
    } else if (form % 3 == 1) {
        struct timestamp_array *array = timestamp_array_create_null();
        if (binary_serializer_read_timestamp_array(array,
                                                   fuzz::reader_over(in)) > 0)
            binary_serializer_write_timestamp_array(array, fuzz::sink());
        timestamp_array_destroy(&array);
    } else {
        char text[64] = "";
        std::memcpy(text, in.data,
                    in.size < sizeof text - 1 ? in.size : sizeof text - 1);
        struct timestamp t;
        if (timestamp_init_from_string(&t, text) == 0)
            timestamp_to_string(&t, text, sizeof text);
    }
}

FUZZ_TARGET(read_timestamps)
