/*
 * client.c: the smallest useful program against an installed libkor: records
 * three samples in the current folder and counts them in the playback.
 */
#include <stdio.h>

#include <libkor/libkor.h>

enum { NSAMPLES = 3 };

static matrix *create_vector(void)
{
    const char *names[] = {"CPU0 Temp", "FAN0 SPEED"};
    timestamp *never = timestamp_create_null();
    matrix *vector = telemetry_matrix_create_vector(
        matrix_create(1, 2), sensor_array_create_from_names(names, 2), never);
    timestamp_destroy(&never);
    return vector;
}

static int record(const char *name)
{
    int result = KOR_OK;
    matrix *vector = create_vector();
    kor *recorder = kor_create(name, 4, 2);
    if (recorder == NULL) return vela_get_last_error();
    for (int i = 0; i < NSAMPLES && result == KOR_OK; ++i) {
        timestamp *now = timestamp_create_current();
        telemetry_matrix_update_vector_timestamp(vector, now);
        timestamp_destroy(&now);
        matrix_set(vector, 0, 0, 45.5 + i);
        result = kor_write_telemetry_vector(recorder, vector);
    }
    kor_close(&recorder);
    matrix_destroy(&vector);
    return result;
}

static int count_samples(const char *name)
{
    int n = 0;
    kor_playback_item item;
    kor_playback *playback = kor_playback_open(name);
    if (playback == NULL) return vela_get_last_error();
    while (kor_playback_next(playback, &item) == 1)
        if (item.kind == KOR_PLAYBACK_SAMPLE &&
            sensor_value_is_equal(item.values[0], 45.5f + (float)n))
            ++n;
    kor_playback_close(&playback);
    return n;
}

int main(void)
{
    const int result = record("c-client");
    const int n = count_samples("c-client");
    printf("%s, %d samples\n", vela_strerror(result), n);
    return result == KOR_OK && n == NSAMPLES ? 0 : 1;
}
