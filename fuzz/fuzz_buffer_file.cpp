// Buffer files: opened as either kind, read, appended to, folded, merged.
#include "fuzz.hpp"
#include "small_recorder.hpp"

static void read_records(struct kor_current_buffer *cbuf)
{
    struct kor_cb_record rec;
    kor_cb_record_init_null(&rec);
    while (kor_current_buffer_read_record(cbuf, &rec) == 0) {
    }
    kor_cb_record_destruct(&rec);
}

static void read_records(struct kor_hist_buffer *hbuf)
{
    struct kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    while (kor_hist_buffer_read_record(hbuf, &rec) == 0) {
    }
    kor_hb_record_destruct(&rec);
}

static void read_either_kind(const char *path)
{
    struct kor_buffer *buffer = kor_buffer_open_for_read_write(path);
    if (buffer == nullptr) return;
    if (buffer->type == KOR_BUFFER_TYPE_CURRENT)
        read_records(buffer->cbuf);
    else
        read_records(buffer->hbuf);
    kor_buffer_destroy(&buffer);
}

static void append(const char *path)
{
    struct kor_current_buffer *cbuf = kor_current_buffer_open_for_append(path);
    if (cbuf == nullptr) return;
    const struct timestamp t = fuzz::time_at(1167609601);
    struct kor_cb_record_event *event = kor_cb_record_event_create(1, &t, "x");
    kor_current_buffer_write_event(cbuf, event);
    kor_cb_record_event_destroy(&event);
    struct matrix *vector = fuzz::create_vector(t);
    kor_current_buffer_write_telemetry_vector(cbuf, vector);
    matrix_destroy(&vector);
    kor_current_buffer_close(&cbuf);
}

static void fold(const char *path, bool is_current)
{
    struct kor_hist_buffer *hbuf = kor_hist_buffer_create("out", 64);
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
    if (form % 2 == 0)
        fuzz::write_file("b", in);
    else
        fuzz::write_deflated("b", in);
    if (form / 2 % 4 == 0) read_either_kind("b");
    if (form / 2 % 4 == 1) append("b");
    if (form / 2 % 4 == 2) fold("b", true);
    if (form / 2 % 4 == 3) fold("b", false);
}

// A stream that ends right behind the length of a string.  A fold of an event
// of another type than 1 to 5, or of samples at the null time.  A merge of a
// history without names, with a name twice among them, or with two changes of
// names inside a pair.
FUZZ_TARGET(use_buffer_file, "nread != 0", "counter != NULL",
            "!timestamp_is_null(&state->start)",
            "!timestamp_is_null(&state->end)", "*names1 != NULL",
            "*names1 == state->hbuf_in->hb_rec_sensors_last",
            "hvalue->count == 0")
