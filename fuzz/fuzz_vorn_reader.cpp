// Text telemetry through the library's own reader, which trusts its producer.
#include "fuzz.hpp"

static void read_text(fuzz::input in)
{
    fuzz::write_file("t", in);
    struct vorn_reader *vorn = vorn_reader_open("t");
    if (vorn == nullptr) return;
    while (vorn_reader_get_next_telemetry_vector(vorn) != nullptr) {
    }
    vorn_reader_close(&vorn);
}

// Letters among the first 18 characters of a line; a header without sensors,
// with an empty name or ending; a line with too few values.
FUZZ_TARGET(read_text, "p >= line + 18", "ncols > 0", "*p != '\\0'",
            "*p == '\\0'", "nvalues == nsensors")
