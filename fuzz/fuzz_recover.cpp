// Recovery and resuming of damaged recorders.  No assertion is accepted here:
// recovery exists for such files.
#include "fuzz.hpp"
#include "small_recorder.hpp"

static int recover(uint32_t flags)
{
    struct kor_recovery_report *report = nullptr;
    const int result = kor_recover_report(
        "r", fuzz::recorder_samples, fuzz::recorder_intervals, flags, &report);
    if (report != nullptr) kor_recovery_report_destroy(&report);
    return result;
}

// What would be done is done, and what has been recovered is whole.
static void recover_twice()
{
    const int announced = recover(KOR_RECOVER_DRY_RUN);
    const int result = recover(0);
    if (result != announced) abort();
    if (result >= 0 && recover(0) != KOR_RECOVER_UNCHANGED) abort();
}

static void resume()
{
    struct kor *kor =
        kor_resume("r", fuzz::recorder_samples, fuzz::recorder_intervals);
    if (kor == nullptr) return;
    if (kor_get_restore_result(kor) < 0) abort();
    kor_close(&kor);
}

static void use_damaged_recorder(fuzz::input in)
{
    const uint8_t form = in.take();
    const uint8_t stage = in.take();
    if (stage % 2 == 0) fuzz::write_recorder(stage / 2 % fuzz::recorder_stages);
    fuzz::damage(in);
    if (form % 2 == 0)
        recover_twice();
    else
        resume();
}

FUZZ_TARGET(use_damaged_recorder)
