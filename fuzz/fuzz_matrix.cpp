// Matrices of every kind, nested as the input likes.
#include "fuzz.hpp"

static void read_matrices(fuzz::input in)
{
    if (in.take() % 2 == 0) {
        struct matrix *m = matrix_create_null();
        if (binary_serializer_read_matrix(m, fuzz::reader_over(in)) > 0)
            binary_serializer_write_matrix(m, fuzz::sink());
        matrix_destroy(&m);
    } else {
        struct matrix *m = nullptr;
        binary_serializer_read_optional_matrix(&m, fuzz::reader_over(in));
        if (m != nullptr) matrix_destroy(&m);
    }
}

// A stream that ends right behind the length of a name; telemetry whose sizes
// contradict each other.
FUZZ_TARGET(read_matrices, "nread != 0",
            "matrix_get_number_columns(m) == sensor_array_get_size(sensors)",
            "matrix_get_number_rows(m) == timestamp_array_get_size(timestamps)")
