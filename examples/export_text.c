/*
 * export_text.c: the samples of a current buffer as text telemetry.
 *
 *     export_text rec.5.cbuf.z > rec.vorn
 */
#include <stdio.h>

#include "libkor.h"

/* For raw_writer_create: the stream stays open, it is not ours. */
enum { KEEP_OPEN = 1 };

/* A vector for samples of the sensors that are in force; their time and their
 * readings are set later.  Null with the last error. */
static matrix *create_vector(kor_current_buffer *cbuf)
{
    kor_cb_record_sensor_names *names =
        kor_current_buffer_get_sensor_working_set(cbuf);
    sensor_array *columns =
        sensor_array_copy(kor_cb_record_sensor_names_get_sensors(names));
    if (columns == NULL) return NULL;
    matrix *values = matrix_create(1, sensor_array_get_size(columns));
    timestamp none;
    timestamp_init_null(&none);
    matrix *vector = NULL;
    /* On success the vector owns both; on failure they are still ours. */
    if (values != NULL)
        vector = telemetry_matrix_create_vector(values, columns, &none);
    if (vector == NULL) {
        if (values != NULL) matrix_destroy(&values);
        sensor_array_destroy(&columns);
    }
    return vector;
}

static int export_sample(kor_cb_record_sensor_values *sample, matrix *vector,
                         writer *text)
{
    const float *values = kor_cb_record_sensor_values_get_values(sample);
    if (values == NULL) return vela_get_last_error();
    const int result = telemetry_matrix_update_vector_timestamp(
        vector, kor_cb_record_sensor_values_get_timestamp(sample));
    if (result < 0) return result;
    const uint32_t n = matrix_get_number_columns(vector);
    if (sample->n_sensors != n) return KOR_ERR_INVALID_DATA;
    for (uint32_t i = 0; i < n; ++i)
        matrix_set(vector, 0, i, sensor_value_to_double(values[i]));
    return vorn_serializer_write_matrix(vector, text);
}

/* Exports one record; new names call for a new vector. */
static int export_record(kor_current_buffer *cbuf, kor_cb_record *rec,
                         matrix **vector, writer *text)
{
    if (rec->type == KOR_CB_RECORD_SENSOR_NAMES && *vector != NULL)
        matrix_destroy(vector);
    if (rec->type != KOR_CB_RECORD_SENSOR_VALUES) return KOR_OK;
    if (*vector == NULL) *vector = create_vector(cbuf);
    if (*vector == NULL) return vela_get_last_error();
    return export_sample(rec->values, *vector, text);
}

static int export_buffer(kor_current_buffer *cbuf, writer *text)
{
    matrix *vector = NULL;
    int result = KOR_OK;
    while (result >= 0) {
        kor_cb_record rec;
        kor_cb_record_init_null(&rec);
        result = kor_current_buffer_read_record(cbuf, &rec);
        if (result == KOR_OK) result = export_record(cbuf, &rec, &vector, text);
        kor_cb_record_destruct(&rec);
    }
    if (vector != NULL) matrix_destroy(&vector);
    /* The end of the file is a note, not a failure. */
    return result == KOR_ERR_END_OF_STREAM ? KOR_OK : result;
}

/* A writer of text on standard output, or null with the last error. */
static writer *create_text_writer(void)
{
    writer *raw = raw_writer_create(stdout, KEEP_OPEN);
    if (raw == NULL) return NULL;
    /* It takes the raw writer over, unless it fails. */
    writer *text = vorn_writer_create(raw);
    if (text == NULL) writer_destroy(&raw);
    return text;
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: export_text FILE.cbuf.z\n");
        return 2;
    }
    int result = KOR_OK;
    kor_current_buffer *cbuf = kor_current_buffer_open_for_read_write(argv[1]);
    writer *text = cbuf == NULL ? NULL : create_text_writer();
    if (text == NULL)
        result = vela_get_last_error();
    else
        result = export_buffer(cbuf, text);
    if (text != NULL) writer_destroy(&text);
    if (cbuf != NULL) kor_current_buffer_close(&cbuf);
    if (result == KOR_OK) return 0;
    fprintf(stderr, "export_text: %s: %s\n", argv[1], vela_strerror(result));
    return 1;
}
