/*
 * text.c: configuration files and text telemetry.
 */
#include <stdlib.h>
#include <string.h>

#include "check.h"
#include "config.h"
#include "error.h"
#include "raw_writer.h"
#include "telemetry_matrix.h"
#include "vorn_reader.h"
#include "vorn_serializer.h"
#include "vorn_writer.h"

static void write_file(const char *filename, const char *text)
{
    FILE *fp = fopen(filename, "w");
    CHECK(fp != NULL && fputs(text, fp) >= 0 && fclose(fp) == 0);
}

static void configuration(void)
{
    write_file("good.conf",
               "# comment\n\nsensor CPU /proc/cpu\nperiod 5\n"
               "sensor FAN\t/proc/fan\n");
    config *settings = config_create_from_file("good.conf");
    CHECK(settings != NULL);
    uint32_t n = 0;
    char **values = config_get_values_for_key(settings, "sensor", &n);
    CHECK(n == 2 && strcmp(values[0], "CPU /proc/cpu") == 0);
    char **words = config_split_multiword_value(values[1], &n);
    CHECK(n == 2 && strcmp(words[1], "/proc/fan") == 0);
    free(words);
    free(values);
    CHECK(config_add_value_for_key(settings, "added", "later") == 0);
    CHECK(strcmp(config_get_single_value_for_key(settings, "added"), "later") ==
          0);
    CHECK(strcmp(config_get_single_value_for_key(settings, "period"), "5") ==
          0);
    CHECK(config_get_single_value_for_key(settings, "absent") == NULL);
    CHECK(vela_get_last_error() == KOR_OK);
    config_destroy(&settings);
    CHECK(settings == NULL);
}

static void bad_configuration(void)
{
    config settings;
    write_file("bad.conf", "key without end of\nkey\n");
    CHECK(config_create_from_file("bad.conf") == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_FAILED);
    CHECK(config_init_from_file(&settings, "absent.conf") ==
          KOR_ERR_CANNOT_OPEN);
    CHECK(config_init(&settings) == 0);
    CHECK(config_get_single_value_for_key(&settings, "key") == NULL);
    config_destruct(&settings);
}

static void write_telemetry(void)
{
    FILE *fp = fopen("telemetry.vorn", "w");
    CHECK(fp != NULL);
    writer *out = vorn_writer_create(raw_writer_create(fp, 0));
    for (int i = 0; i < 3; ++i) {
        matrix *vector = vector_of(1167609600 + i, 45.5, 1200 + i);
        CHECK(vorn_serializer_write_matrix(vector, out) > 0);
        CHECK(vorn_writer_have_sensors_changed(
                  out, telemetry_matrix_get_sensors(vector)) == 0);
        matrix_destroy(&vector);
    }
    writer_destroy(&out);
}

static void telemetry(void)
{
    write_telemetry();
    vorn_reader *text = vorn_reader_open("telemetry.vorn");
    CHECK(text != NULL && vorn_reader_get_number_sensors(text) == 2);
    sensor_array *expected = two_sensors();
    CHECK(sensor_array_is_equal(vorn_reader_get_sensors(text), expected));
    sensor_array_destroy(&expected);
    vela_set_last_error(KOR_OK);
    for (int i = 0; i < 3; ++i) {
        matrix *read = vorn_reader_get_next_telemetry_vector(text);
        matrix *vector = vector_of(1167609600 + i, 45.5, 1200 + i);
        CHECK(read != NULL && telemetry_matrix_is_equal(read, vector));
        matrix_destroy(&vector);
    }
    CHECK(vorn_reader_get_next_telemetry_vector(text) == NULL);
    CHECK(vela_get_last_error() == KOR_OK);
    vorn_reader_close(&text);
    CHECK(text == NULL);
}

static void bad_telemetry(void)
{
    CHECK(vorn_reader_open("absent.vorn") == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_CANNOT_OPEN);
    FILE *fp = scratch_stream();
    CHECK(vorn_reader_open_from_fp(fp) == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_INCOMPLETE);
    fclose(fp);
}

void check_text(void)
{
    configuration();
    bad_configuration();
    telemetry();
    bad_telemetry();
}
