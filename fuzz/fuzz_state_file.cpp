// State files, through kor_open, beside the buffers of a recorder.  One that is
// restored is recorded to.
#include <cstring>

#include "fuzz.hpp"
#include "small_recorder.hpp"

static void open_recorder(fuzz::input in)
{
    // A state file may name any files: those of other folders are left alone.
    if (in.size > 0 && std::memchr(in.data, '/', in.size) != nullptr) return;
    const uint8_t form = in.take();
    fuzz::write_recorder(form % fuzz::recorder_stages);
    fuzz::write_file("r.state", in);
    struct kor *kor = kor_open("r");
    if (kor == nullptr) return;
    if (kor_get_restore_result(kor) > 0) {
        fuzz::record(kor, form / fuzz::recorder_stages % 16);
        kor_sync(kor);
    }
    kor_close(&kor);
}

// A state file that ends right behind the length of a name; capacities no file
// can have; a state that cannot be saved when the first history is made.
FUZZ_TARGET(open_recorder, "nread != 0", "max_data_records > 0",
            "max_data_records != 0", "*hbuf != NULL")
