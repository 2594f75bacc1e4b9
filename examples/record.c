/*
 * record.c: text telemetry into a recorder.
 *
 *     record BASE FILE.vorn
 *
 * Run again, it goes on where the recorder stopped, after a crash as well.
 */
#include <stdio.h>

#include "libkor.h"

/* Per file; both even, and the second divides the first. */
enum { SAMPLES = 3600, INTERVALS = 60 };

/* The meaning of an event type is the application's own; 1 to 5 are counted. */
enum { EVENT_REPLAY_ENDED = 1 };

static int complain(const char *what, int code)
{
    fprintf(stderr, "record: %s: %s\n", what, vela_strerror(code));
    return code;
}

/* Writes one event that happened just now. */
static int record_event(kor *recorder, uint32_t type, const char *text)
{
    timestamp now;
    timestamp_init_current(&now);
    kor_cb_record_event event;
    int result = kor_cb_record_event_init(&event, type, &now, text);
    if (result < 0) return complain(text, result);
    result = kor_write_event(recorder, &event);
    kor_cb_record_event_destruct(&event);
    return result < 0 ? complain("event", result) : result;
}

/* Returns how many were written, or a negative code. */
static int record_vectors(kor *recorder, vorn_reader *text)
{
    for (int n = 0;; ++n) {
        /* Null is the end of the file unless the last error says otherwise. */
        vela_set_last_error(KOR_OK);
        matrix *vector = vorn_reader_get_next_telemetry_vector(text);
        if (vector == NULL && vela_get_last_error() == KOR_OK) return n;
        if (vector == NULL) return complain("line", vela_get_last_error());
        /* The vector is the reader's; the recorder copies what it keeps. */
        const int result = kor_write_telemetry_vector(recorder, vector);
        if (result < 0) return complain("sample", result);
    }
}

static int record_file(kor *recorder, const char *filename)
{
    vorn_reader *text = vorn_reader_open(filename);
    if (text == NULL) return complain(filename, vela_get_last_error());
    int result = record_vectors(recorder, text);
    vorn_reader_close(&text);
    /* A file of a recorder must begin with a sample: events come after it. */
    if (result > 0)
        result = record_event(recorder, EVENT_REPLAY_ENDED, filename);
    return result;
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: record BASE FILE.vorn\n");
        return 2;
    }
    /* Recovers what a crash left behind, or begins anew. */
    kor *recorder = kor_resume(argv[1], SAMPLES, INTERVALS);
    if (recorder == NULL) {
        complain(argv[1], vela_get_last_error());
        return 1;
    }
    const int result = record_file(recorder, argv[2]);
    kor_close(&recorder);
    return result < 0 ? 1 : 0;
}
