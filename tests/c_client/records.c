/*
 * records.c: what the buffer files hold, written and read back.
 */
#include <stdlib.h>
#include <string.h>

#include "check.h"
#include "error.h"
#include "kor_cb_record.h"
#include "kor_cb_record_event.h"
#include "kor_cb_record_sensor_names.h"
#include "kor_cb_record_sensor_values.h"
#include "kor_hb_record.h"
#include "kor_hb_record_events.h"
#include "kor_hb_record_sensor_names.h"
#include "kor_hb_record_sensor_values.h"
#include "raw_reader.h"
#include "raw_writer.h"

/* Writes a record of each type of a current buffer; returns their bytes. */
static int write_cb_records(FILE *fp, matrix *vector)
{
    const timestamp t = time_of(1000);
    kor_cb_record_sensor_names *names =
        kor_cb_record_sensor_names_create(vector);
    kor_cb_record_sensor_values *values =
        kor_cb_record_sensor_values_create(vector);
    kor_cb_record_event *event = kor_cb_record_event_create(3, &t, "opened");
    kor_cb_record rec;
    writer *out = raw_writer_create(fp, 1);
    kor_cb_record_init_sensor_names(&rec, names);
    int total = binary_serializer_write_kor_cb_record(&rec, out);
    kor_cb_record_init_sensor_values(&rec, values);
    total += binary_serializer_write_kor_cb_record(&rec, out);
    kor_cb_record_init_event(&rec, event);
    total += binary_serializer_write_kor_cb_record(&rec, out);
    kor_cb_record_destruct(&rec);
    CHECK(kor_cb_record_event_get_type(event) == 3);
    writer_destroy(&out);
    kor_cb_record_event_destroy(&event);
    kor_cb_record_sensor_values_destroy(&values);
    kor_cb_record_sensor_names_destroy(&names);
    return total;
}

static void check_names(kor_cb_record *rec, matrix *vector)
{
    CHECK(rec->type == KOR_CB_RECORD_SENSOR_NAMES && rec->owns_data);
    kor_cb_record_sensor_names *expected =
        kor_cb_record_sensor_names_create(vector);
    kor_cb_record_sensor_names *copy =
        kor_cb_record_sensor_names_copy(rec->names, NULL);
    CHECK(kor_cb_record_sensor_names_is_equal(copy, expected));
    CHECK(kor_cb_record_sensor_names_are_sensors_equal(copy, expected));
    CHECK(kor_cb_record_sensor_names_get_number_sensors(copy) == 2);
    CHECK(kor_cb_record_sensor_names_get_timestamp(copy)->tv.tv_sec == 1000);
    kor_cb_record_sensor_names_destroy(&copy);
    kor_cb_record_sensor_names_destroy(&expected);
}

static void current_buffer_records(void)
{
    FILE *fp = scratch_stream();
    matrix *vector = vector_of(1000, 45.5, 1200);
    const int nwritten = write_cb_records(fp, vector);
    rewind(fp);
    reader *in = raw_reader_create(fp, 0);
    kor_cb_record rec;
    kor_cb_record_init_null(&rec);
    int nread = binary_serializer_read_kor_cb_record(&rec, in);
    check_names(&rec, vector);
    nread += binary_serializer_read_kor_cb_record(&rec, in);
    CHECK(rec.type == KOR_CB_RECORD_SENSOR_VALUES);
    CHECK(kor_cb_record_sensor_values_get_number_values(rec.values) == 2);
    CHECK(kor_cb_record_sensor_values_get_values(rec.values)[0] == 45.5f);
    CHECK(kor_cb_record_sensor_values_get_timestamp(rec.values)->tv.tv_sec ==
          1000);
    nread += binary_serializer_read_kor_cb_record(&rec, in);
    CHECK(rec.type == KOR_CB_RECORD_EVENT);
    CHECK(strcmp(rec.event->text, "opened") == 0);
    CHECK(kor_cb_record_event_get_timestamp(rec.event)->tv.tv_sec == 1000);
    CHECK(nread == nwritten);
    CHECK(binary_serializer_read_kor_cb_record(&rec, in) == 0);

    kor_cb_record_event *kept = rec.event;
    kor_cb_record_detach(&rec);
    kor_cb_record_init_null(&rec);
    CHECK(kor_cb_record_event_is_equal(kept, kept));
    kor_cb_record_event_destroy(&kept);
    kor_cb_record_destruct(&rec);
    reader_destroy(&in);
    matrix_destroy(&vector);
}

static void events(void)
{
    kor_hb_record_events *counts = kor_hb_record_events_create_null();
    counts->n_type1 = 2;
    kor_hb_record_events *sum = kor_hb_record_events_copy(counts, NULL);
    kor_hb_record_events_merge_with(sum, counts);
    CHECK(sum->n_type1 == 4 && sum->n_type5 == 0);
    CHECK(!kor_hb_record_events_is_equal(sum, counts));
    kor_hb_record_events_destroy(&sum);
    kor_hb_record_events_destroy(&counts);
}

/* A list of both sensors with a reading each. */
static hist_value_list *summaries(void)
{
    hist_value_list *list = hist_value_list_create();
    sensor_array *columns = two_sensors();
    for (int i = 0; i < 2; ++i)
        hist_value_update(hist_value_list_add_if_not_present(
                              list, sensor_array_get(columns, i)),
                          (sensor_value)i);
    sensor_array_destroy(&columns);
    return list;
}

static int write_hb_records(FILE *fp, kor_hb_record_sensor_names *names,
                            kor_hb_record_sensor_values *values)
{
    kor_hb_record rec;
    writer *out = raw_writer_create(fp, 1);
    kor_hb_record_init_sensor_names(&rec, names);
    int total = binary_serializer_write_kor_hb_record(&rec, out);
    kor_hb_record_init_sensor_values(&rec, values);
    total += binary_serializer_write_kor_hb_record(&rec, out);
    kor_hb_record_destruct(&rec);
    writer_destroy(&out);
    return total;
}

static void check_interval(const kor_hb_record *rec,
                           kor_hb_record_sensor_values *expected)
{
    CHECK(rec->type == KOR_HB_RECORD_SENSOR_VALUES);
    CHECK(kor_hb_record_sensor_values_is_equal(rec->values, expected));
    CHECK(kor_hb_record_sensor_values_get_number_hist_values(rec->values) == 2);
    CHECK(kor_hb_record_sensor_values_get_hist_values(rec->values)[0].count ==
          1);
    CHECK(kor_hb_record_sensor_values_get_start_timestamp(rec->values)
              ->tv.tv_sec == 1000);
    CHECK(
        kor_hb_record_sensor_values_get_end_timestamp(rec->values)->tv.tv_sec ==
        1009);
    CHECK(kor_hb_record_sensor_values_get_events(rec->values)->n_type2 == 7);
}

static void history_buffer_records(void)
{
    FILE *fp = scratch_stream();
    const timestamp start = time_of(1000);
    const timestamp end = time_of(1009);
    hist_value_list *list = summaries();
    kor_hb_record_events counts;
    kor_hb_record_events_init_null(&counts);
    counts.n_type2 = 7;
    kor_hb_record_sensor_names *names =
        kor_hb_record_sensor_names_create(&start, list);
    kor_hb_record_sensor_values *values =
        kor_hb_record_sensor_values_create(&start, &end, list, &counts);
    const int nwritten = write_hb_records(fp, names, values);

    rewind(fp);
    reader *in = raw_reader_create(fp, 0);
    kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    int nread = binary_serializer_read_kor_hb_record(&rec, in);
    CHECK(rec.type == KOR_HB_RECORD_SENSOR_NAMES);
    CHECK(kor_hb_record_sensor_names_is_equal(rec.names, names));
    CHECK(kor_hb_record_sensor_names_get_number_sensors(rec.names) == 2);
    nread += binary_serializer_read_kor_hb_record(&rec, in);
    check_interval(&rec, values);
    CHECK(nread == nwritten);
    CHECK(binary_serializer_read_kor_hb_record(&rec, in) == 0);
    kor_hb_record_destruct(&rec);
    reader_destroy(&in);
    kor_hb_record_sensor_values_destroy(&values);
    kor_hb_record_sensor_names_destroy(&names);
    hist_value_list_destroy(&list);
}

void check_records(void)
{
    current_buffer_records();
    events();
    history_buffer_records();
}
