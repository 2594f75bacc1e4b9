// Buffer files: opened as either kind, read, appended to, folded, merged.
#include "fuzz.hpp"

static void read_both_kinds(const char *path)
{
    if (struct kor_buffer *buffer = kor_buffer_open_for_read_write(path))
        kor_buffer_destroy(&buffer);
    struct kor_hist_buffer *hbuf = kor_hist_buffer_open_for_read_write(path);
    if (hbuf == nullptr) return;
    struct kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    while (kor_hist_buffer_read_record(hbuf, &rec) == 0) {
    }
    kor_hb_record_destruct(&rec);
    kor_hist_buffer_close(&hbuf);
}

static void append(const char *path)
{
    struct kor_current_buffer *cbuf = kor_current_buffer_open_for_append(path);
    if (cbuf == nullptr) return;
    struct timestamp t;
    timestamp_init_null(&t);
    timestamp_increment(&t, 1167609601);
    struct kor_cb_record_event *event = kor_cb_record_event_create(1, &t, "x");
    kor_current_buffer_write_event(cbuf, event);
    kor_cb_record_event_destroy(&event);
    kor_current_buffer_close(&cbuf);
}

static void fold(const char *path, bool is_current)
{
    char out[4096];
    snprintf(out, sizeof out, "%s.out", path);
    struct kor_hist_buffer *hbuf = kor_hist_buffer_create(out, 64);
    if (hbuf == nullptr) return;
    if (is_current)
        kor_current_buffer_compress(path, hbuf, 2);
    else
        kor_hist_buffer_compress(path, hbuf);
    kor_hist_buffer_close(&hbuf);
}

static void use_buffer_file(fuzz::input in)
{
    const uint8_t form = in.take();
    const char *const path = form % 2 == 0 ? fuzz::write_file("b", in)
                                           : fuzz::write_deflated("b", in);
    if (form / 2 % 4 == 0) read_both_kinds(path);
    if (form / 2 % 4 == 1) append(path);
    if (form / 2 % 4 == 2) fold(path, true);
    if (form / 2 % 4 == 3) fold(path, false);
}

FUZZ_TARGET(use_buffer_file)
