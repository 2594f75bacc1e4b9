/*
 * buffers.c: buffer files of both kinds, and folding one into the other.
 */
#include <string.h>

#include "check.h"
#include "error.h"
#include "kor_buffer.h"
#include "kor_current_buffer.h"
#include "kor_current_buffer_compress.h"
#include "kor_hist_buffer.h"
#include "kor_hist_buffer_compress.h"

enum { CAPACITY = 4, PER_INTERVAL = 2, NINTERVALS = 4, START = 1000 };

static int write_sample(kor_current_buffer *cbuf, int i)
{
    matrix *vector = vector_of(START + i, 40 + i, 1200);
    const int result = kor_current_buffer_write_telemetry_vector(cbuf, vector);
    matrix_destroy(&vector);
    return result;
}

/* Four samples, an event before the last; then the buffer is full. */
static void write_current_buffer(const char *filename)
{
    const timestamp t = time_of(START + 3);
    kor_cb_record_event event;
    kor_cb_record_event_init(&event, 1, &t, "door");
    kor_current_buffer *cbuf = kor_current_buffer_create(filename, CAPACITY);
    for (int i = 0; i < CAPACITY; ++i) {
        if (i == CAPACITY - 1)
            CHECK(kor_current_buffer_write_event(cbuf, &event) == 0);
        CHECK(write_sample(cbuf, i) == 0);
    }
    CHECK(write_sample(cbuf, CAPACITY) == KOR_ERR_FULL);
    CHECK(strcmp(kor_current_buffer_get_filename(cbuf), filename) == 0);
    CHECK(kor_cb_record_sensor_names_get_number_sensors(
              kor_current_buffer_get_sensor_working_set(cbuf)) == 2);
    kor_current_buffer_close(&cbuf);
    CHECK(cbuf == NULL);
    kor_cb_record_event_destruct(&event);
}

static void read_current_buffer(const char *filename)
{
    int nrecords = 0;
    kor_cb_record rec;
    kor_cb_record_init_null(&rec);
    kor_buffer *buffer = kor_buffer_open_for_read_write(filename);
    CHECK(buffer != NULL && buffer->type == KOR_BUFFER_TYPE_CURRENT);
    while (kor_current_buffer_read_record(buffer->cbuf, &rec) == 0) ++nrecords;
    CHECK(nrecords == CAPACITY + 1 && buffer->cbuf->size == CAPACITY);
    kor_cb_record_destruct(&rec);
    kor_buffer_destroy(&buffer);

    kor_current_buffer *again = kor_current_buffer_open_for_append(filename);
    CHECK(again != NULL && again->size == CAPACITY);
    CHECK(write_sample(again, CAPACITY) == KOR_ERR_FULL);
    kor_current_buffer_close(&again);
    CHECK(kor_hist_buffer_open_for_read_write(filename) == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_OTHER_KIND);
}

/* How many readings of the first sensor the intervals of a file hold. */
static uint32_t readings_of(const char *filename, int *nintervals)
{
    uint32_t nreadings = 0;
    kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    kor_hist_buffer *hbuf = kor_hist_buffer_open_for_read_write(filename);
    CHECK(hbuf != NULL);
    *nintervals = 0;
    while (kor_hist_buffer_read_record(hbuf, &rec) == 0) {
        if (rec.type != KOR_HB_RECORD_SENSOR_VALUES) continue;
        ++*nintervals;
        nreadings += rec.values->hvalues[0].count;
    }
    kor_hb_record_destruct(&rec);
    kor_hist_buffer_close(&hbuf);
    return nreadings;
}

static void fold(const char *cbuf_filename)
{
    int n;
    kor_hist_buffer *hbuf = kor_hist_buffer_create("fine.hbuf", NINTERVALS);
    CHECK(kor_current_buffer_compress(cbuf_filename, hbuf, PER_INTERVAL) == 0);
    CHECK(kor_hist_buffer_get_number_empty_intervals(hbuf) == 2);
    CHECK(kor_current_buffer_compress(cbuf_filename, hbuf, 3) ==
          KOR_ERR_INVALID_DATA);
    CHECK(kor_current_buffer_compress(cbuf_filename, hbuf, PER_INTERVAL) == 0);
    CHECK(kor_hist_buffer_get_number_empty_intervals(hbuf) == 0);
    CHECK(kor_hist_buffer_get_sensor_working_set(hbuf) != NULL);
    kor_hist_buffer_close(&hbuf);
    CHECK(readings_of("fine.hbuf", &n) == 2 * CAPACITY && n == NINTERVALS);

    hbuf = kor_hist_buffer_create("coarse.hbuf", NINTERVALS);
    CHECK(kor_hist_buffer_compress("fine.hbuf", hbuf) == 0);
    kor_hist_buffer_close(&hbuf);
    CHECK(readings_of("coarse.hbuf", &n) == 2 * CAPACITY);
    CHECK(n == NINTERVALS / 2);
}

static void handles(void)
{
    kor_buffer buffer;
    CHECK(kor_buffer_init_null(&buffer) == 0 && buffer.type == 0);
    CHECK(kor_buffer_open_for_read_write("absent") == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_CANNOT_OPEN);
    kor_buffer *hist = kor_buffer_open_for_read_write("coarse.hbuf");
    CHECK(hist != NULL && hist->type == KOR_BUFFER_TYPE_HIST);
    kor_buffer_destroy(&hist);
}

void check_buffers(void)
{
    write_current_buffer("samples.cbuf");
    read_current_buffer("samples.cbuf");
    fold("samples.cbuf");
    handles();
}
