// Records of a current buffer, one payload recycled for all of them.
#include "fuzz.hpp"

static void read_records(fuzz::input in)
{
    struct reader *const reader = fuzz::reader_over(in);
    struct kor_cb_record rec;
    kor_cb_record_init_null(&rec);
    while (binary_serializer_read_kor_cb_record(&rec, reader) > 0)
        binary_serializer_write_kor_cb_record(&rec, fuzz::sink());
    kor_cb_record_destruct(&rec);
}

// A stream that ends right behind the length of a string.
FUZZ_TARGET(read_records, "nread != 0")
