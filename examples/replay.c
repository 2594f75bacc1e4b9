/*
 * replay.c: the records of buffer files, a line each.
 *
 *     replay rec.4.hbuf.z rec.3.cbuf.z rec.5.cbuf.z
 *
 * A file is read record by record here, as the library does it.  To read a
 * whole recorder in order of time, torn or damaged files too, there is
 * kor_playback.h.
 */
#include <stdio.h>

#include "libkor.h"

/* A time stamp as text takes 17 characters. */
enum { TIME_SIZE = 18, NAME_SIZE = 256 };

static void print_time(const timestamp *t)
{
    char text[TIME_SIZE];
    printf("%s", timestamp_to_string(t, text, sizeof text));
}

static void print_names(kor_cb_record_sensor_names *names)
{
    sensor_array *columns = kor_cb_record_sensor_names_get_sensors(names);
    const uint32_t n = sensor_array_get_size(columns);
    printf("sensors");
    for (uint32_t i = 0; i < n; ++i) {
        /* A name that fills the buffer is not terminated by the call. */
        char name[NAME_SIZE] = "";
        sensor_get_name(sensor_array_get(columns, (int)i), name,
                        sizeof name - 1);
        printf(",%s", name);
    }
    printf("\n");
}

static void print_sample(kor_cb_record_sensor_values *sample)
{
    /* At hand in a record that was read, so this cannot fail. */
    const float *values = kor_cb_record_sensor_values_get_values(sample);
    print_time(kor_cb_record_sensor_values_get_timestamp(sample));
    for (uint32_t i = 0; i < sample->n_sensors; ++i)
        printf(",%.3f", (double)values[i]);
    printf("\n");
}

static void print_interval(const kor_hb_record_sensor_values *interval)
{
    print_time(&interval->start);
    printf("-");
    print_time(&interval->end);
    for (uint32_t i = 0; i < interval->n_sensors; ++i) {
        const hist_value *hv = &interval->hvalues[i];
        printf(",%u readings", hv->count);
        if (hv->count > 0)
            printf(" %.3f..%.3f", (double)hv->min, (double)hv->max);
    }
    printf("\n");
}

static void print_sample_or_event(kor_cb_record *rec)
{
    if (rec->type == KOR_CB_RECORD_SENSOR_NAMES) print_names(rec->names);
    if (rec->type == KOR_CB_RECORD_SENSOR_VALUES) print_sample(rec->values);
    if (rec->type == KOR_CB_RECORD_EVENT) {
        print_time(&rec->event->t);
        printf(" event %u: %s\n", rec->event->type, rec->event->text);
    }
}

static int replay_current_buffer(kor_current_buffer *cbuf)
{
    /* Opening has read the first record: the names in force. */
    if (cbuf->names != NULL) print_names(cbuf->names);
    int result = KOR_OK;
    while (result == KOR_OK) {
        kor_cb_record rec;
        kor_cb_record_init_null(&rec);
        result = kor_current_buffer_read_record(cbuf, &rec);
        if (result == KOR_OK) print_sample_or_event(&rec);
        kor_cb_record_destruct(&rec);
    }
    return result;
}

static int replay_hist_buffer(kor_hist_buffer *hbuf)
{
    if (hbuf->hb_rec_sensors_last != NULL)
        print_names(hbuf->hb_rec_sensors_last);
    int result = KOR_OK;
    while (result == KOR_OK) {
        kor_hb_record rec;
        kor_hb_record_init_null(&rec);
        result = kor_hist_buffer_read_record(hbuf, &rec);
        if (result == KOR_OK && rec.type == KOR_HB_RECORD_SENSOR_NAMES)
            print_names(rec.names);
        if (result == KOR_OK && rec.type == KOR_HB_RECORD_SENSOR_VALUES)
            print_interval(rec.values);
        kor_hb_record_destruct(&rec);
    }
    return result;
}

static int replay(const char *filename)
{
    kor_buffer *buffer = kor_buffer_open_for_read_write(filename);
    if (buffer == NULL) return vela_get_last_error();
    printf("%s\n", filename);
    const int result = buffer->type == KOR_BUFFER_TYPE_CURRENT
                           ? replay_current_buffer(buffer->cbuf)
                           : replay_hist_buffer(buffer->hbuf);
    kor_buffer_destroy(&buffer);
    /* The end of the file is a note, not a failure. */
    return result == KOR_ERR_END_OF_STREAM ? KOR_OK : result;
}

int main(int argc, char **argv)
{
    int status = 0;
    for (int i = 1; i < argc; ++i) {
        const int result = replay(argv[i]);
        if (result == KOR_OK) continue;
        fprintf(stderr, "replay: %s: %s\n", argv[i], vela_strerror(result));
        status = 1;
    }
    return status;
}
