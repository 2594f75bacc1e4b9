// Text telemetry through the library's own reader, which trusts its producer.
#include "fuzz.hpp"

static void read_text(fuzz::input in)
{
    struct vorn_reader *vorn = vorn_reader_open(fuzz::write_file("t", in));
    if (vorn == nullptr) return;
    while (vorn_reader_get_next_telemetry_vector(vorn) != nullptr) {
    }
    vorn_reader_close(&vorn);
}

FUZZ_TARGET(read_text)
