// Recording to a recorder that was damaged and recovered.
#include "fuzz.hpp"
#include "small_recorder.hpp"

static void go_on(fuzz::input in)
{
    const uint8_t form = in.take();
    fuzz::write_recorder(form % fuzz::recorder_stages);
    fuzz::damage(in);
    struct kor *kor =
        kor_resume("r", fuzz::recorder_samples, fuzz::recorder_intervals);
    if (kor == nullptr) return;
    if (kor_get_restore_result(kor) < 0) abort();
    fuzz::record(kor, form / fuzz::recorder_stages % 16);
    if (kor_sync(kor) < 0) abort();
    kor_close(&kor);
}

// Recovery keeps every record.  Events of other types than 1 to 5 and samples
// at the null time, which are the caller's to avoid, then meet a fold.
FUZZ_TARGET(go_on, "counter != NULL", "!timestamp_is_null(&state->start)",
            "!timestamp_is_null(&state->end)")
