// Recovery and resuming of arbitrary files.  Nothing here may break the
// library's own contract: recovery exists for such files.
#include "fuzz.hpp"

// The input becomes the files of a recorder; each piece is led by a byte that
// says which file it is and a byte that says how much of the rest it takes.
static void write_files(fuzz::input in)
{
    static const char *const names[] = {
        "r.state",    "r.1.cbuf.z", "r.2.cbuf.z", "r.3.cbuf.z",
        "r.4.hbuf.z", "r.5.cbuf.z", "r.6.hbuf.z", "r.7.cbuf.z"};
    while (in.size > 2) {
        const uint8_t which = in.take();
        const size_t wanted = static_cast<size_t>(in.take()) * 4;
        const size_t size = wanted < in.size ? wanted : in.size;
        const char *const name = names[which % 8];
        if (which & 8)
            fuzz::write_deflated(name, {in.data, size});
        else
            fuzz::write_file(name, {in.data, size});
        in.data += size;
        in.size -= size;
    }
}

static void recover(fuzz::input in)
{
    char base[4096];
    snprintf(base, sizeof base, "%s/r", fuzz::folder());
    const uint8_t form = in.take();
    write_files(in);
    if (form % 2 == 0) {
        kor_recover_with(base, 4, 2);
        // What has been recovered is whole.
        if (kor_recover_with(base, 4, 2) == KOR_RECOVER_REPAIRED) abort();
    } else if (struct kor *kor = kor_resume(base, 4, 2)) {
        kor_close(&kor);
    }
}

FUZZ_TARGET(recover)
