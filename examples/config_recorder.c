/*
 * config_recorder.c: a recorder whose parameters and sensors are configured.
 *
 *     config_recorder recorder.conf
 *
 * The file is explained in recorder.conf.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "libkor.h"

enum { MAX_SENSORS = 100 };

struct parameters {
    const char *base;
    uint32_t samples;
    uint32_t intervals;
    uint32_t period; /* seconds */
    uint32_t count;
    uint32_t n_sensors;
    const char *names[MAX_SENSORS];
    const char *files[MAX_SENSORS];
};

/* A number above 0, or 0 when the key is missing or has none. */
static uint32_t get_number(config *conf, const char *key)
{
    const char *value = config_get_single_value_for_key(conf, key);
    const unsigned long n = value == NULL ? 0 : strtoul(value, NULL, 10);
    if (n == 0 || n > INT32_MAX) {
        fprintf(stderr, "config_recorder: %s: a number is needed\n", key);
        return 0;
    }
    return (uint32_t)n;
}

/* Takes "NAME FILE" apart; both stay in the configuration. */
static int add_sensor(struct parameters *p, char *value)
{
    uint32_t nwords = 0;
    char **words = config_split_multiword_value(value, &nwords);
    const int is_sensor = nwords == 2 && p->n_sensors < MAX_SENSORS;
    if (is_sensor) {
        p->names[p->n_sensors] = words[0];
        p->files[p->n_sensors] = words[1];
        ++p->n_sensors;
    }
    free(words);
    return is_sensor;
}

static int get_sensors(config *conf, struct parameters *p)
{
    uint32_t n = 0;
    char **values = config_get_values_for_key(conf, "sensor", &n);
    int all = n > 0;
    for (uint32_t i = 0; all && i < n; ++i) all = add_sensor(p, values[i]);
    free(values);
    if (!all) fprintf(stderr, "config_recorder: sensor: NAME FILE is needed\n");
    return all;
}

/* The library cannot fold a file into more. */
#define MOST_INTERVALS 65534u

/* What the library would abort on is refused here: it comes from a person. */
static int get_parameters(config *conf, struct parameters *p)
{
    memset(p, 0, sizeof *p);
    p->base = config_get_single_value_for_key(conf, "base");
    p->samples = get_number(conf, "samples");
    p->intervals = get_number(conf, "intervals");
    p->period = get_number(conf, "period");
    p->count = get_number(conf, "count");
    if (p->base == NULL || p->base[0] == '\0' || p->samples == 0 ||
        p->intervals == 0 || p->period == 0 || p->count == 0)
        return 0;
    if (p->intervals % 2 != 0 || p->intervals > MOST_INTERVALS ||
        p->samples % p->intervals != 0) {
        fprintf(stderr,
                "config_recorder: intervals must be even, at most %u, and "
                "divide samples\n",
                MOST_INTERVALS);
        return 0;
    }
    return get_sensors(conf, p);
}

/* The number at the start of a file, or "no reading". */
static double read_sensor(const char *filename)
{
    double value = sensor_value_to_double(_vela_invalid_sensor_value);
    FILE *fp = fopen(filename, "r");
    if (fp == NULL) return value;
    if (fscanf(fp, "%lf", &value) != 1)
        value = sensor_value_to_double(_vela_invalid_sensor_value);
    fclose(fp);
    return value;
}

static int sample(kor *recorder, matrix *vector, const struct parameters *p)
{
    timestamp now;
    timestamp_init_current(&now);
    const int result = telemetry_matrix_update_vector_timestamp(vector, &now);
    if (result < 0) return result;
    for (uint32_t i = 0; i < p->n_sensors; ++i)
        matrix_set(vector, 0, i, read_sensor(p->files[i]));
    return kor_write_telemetry_vector(recorder, vector);
}

/* One vector serves for every sample.  Null with the last error. */
static matrix *create_vector(const struct parameters *p)
{
    matrix *values = matrix_create(1, p->n_sensors);
    sensor_array *columns =
        sensor_array_create_from_names(p->names, p->n_sensors);
    timestamp now;
    timestamp_init_current(&now);
    matrix *vector = NULL;
    if (values != NULL && columns != NULL)
        vector = telemetry_matrix_create_vector(values, columns, &now);
    if (vector == NULL) { /* both are still ours */
        if (values != NULL) matrix_destroy(&values);
        if (columns != NULL) sensor_array_destroy(&columns);
    }
    return vector;
}

static int record(const struct parameters *p)
{
    matrix *vector = create_vector(p);
    if (vector == NULL) return vela_get_last_error();
    kor *recorder = kor_resume(p->base, p->samples, p->intervals);
    int result = recorder == NULL ? vela_get_last_error() : KOR_OK;
    for (uint32_t i = 0; result == KOR_OK && i < p->count; ++i) {
        if (i > 0) sleep(p->period);
        result = sample(recorder, vector, p);
    }
    if (recorder != NULL) kor_close(&recorder);
    matrix_destroy(&vector);
    return result;
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: config_recorder FILE.conf\n");
        return 2;
    }
    config *conf = config_create_from_file(argv[1]);
    if (conf == NULL) {
        fprintf(stderr, "config_recorder: %s: %s\n", argv[1],
                vela_strerror(vela_get_last_error()));
        return 1;
    }
    struct parameters p;
    int status = 1;
    if (get_parameters(conf, &p)) {
        const int result = record(&p);
        if (result < 0)
            fprintf(stderr, "config_recorder: %s: %s\n", p.base,
                    vela_strerror(result));
        status = result < 0 ? 1 : 0;
    }
    /* The parameters point into the configuration: it goes last. */
    config_destroy(&conf);
    return status;
}
