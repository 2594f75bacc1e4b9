// Strings, and the byte runs under them.
#include "fuzz.hpp"

static void read_strings(fuzz::input in)
{
    struct reader *const reader = fuzz::reader_over(in);
    int nread = 0;
    while (char *text = binary_serializer_read_string(reader, &nread)) {
        binary_serializer_write_string(text, fuzz::sink());
        _vela_free(text);
    }
}

// A stream that ends right behind the length.
FUZZ_TARGET(read_strings, "nread != 0")
