// State files, through kor_open, beside buffers that a recorder made.
#include "fuzz.hpp"

static void open_recorder(fuzz::input in)
{
    char base[4096];
    snprintf(base, sizeof base, "%s/r", fuzz::folder());
    struct kor *kor = kor_create(base, 4, 2);
    if (kor == nullptr) return;
    kor_close(&kor);
    fuzz::write_file("r.state", in);
    kor = kor_open(base);
    if (kor == nullptr) return;
    kor_get_restore_result(kor);
    kor_close(&kor);
}

FUZZ_TARGET(open_recorder)
