/*
 * main.c: runs the groups named on the command line, or all of them, in an
 * empty folder that is removed at the end.
 */
#define _XOPEN_SOURCE 700
#include <ftw.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "check.h"
#include "libkor.h"
#include "platform.h"

static unsigned nchecks;
static unsigned nfailures;

unsigned ntraces;
unsigned nrandoms;

void check_that(int holds, const char *condition, const char *file, int line)
{
    ++nchecks;
    if (holds) return;
    ++nfailures;
    fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
}

/* The library's own versions give way to these. */
void sp_trace_printf(int level, int a, int b, int message_id,
                     const char *format, ...)
{
    CHECK(level == 150 || level == 90);
    CHECK(a == -1 && b == 39 && message_id > 0 && format != NULL);
    ++ntraces;
}

void sp_trace_string(int level, int a, int b, int message_id, const char *text)
{
    CHECK(level == 150 || level == 90);
    CHECK(a == -1 && b == 39 && message_id > 0 && text != NULL);
    ++ntraces;
}

uint32_t random_uint(void)
{
    ++nrandoms;
    return 0x5A5A5A5A;
}

FILE *scratch_stream(void)
{
    FILE *fp = tmpfile();
    if (fp == NULL) {
        perror("tmpfile");
        exit(2);
    }
    return fp;
}

sensor_array *two_sensors(void)
{
    const char *names[] = {"CPU0 Temp", "FAN0 SPEED"};
    sensor_array *columns = sensor_array_create_from_names(names, 2);
    if (columns == NULL) exit(2);
    return columns;
}

timestamp time_of(int32_t seconds)
{
    timestamp t;
    timestamp_init_null(&t);
    timestamp_increment(&t, (uint32_t)seconds);
    return t;
}

matrix *vector_of(int32_t seconds, double temperature, double speed)
{
    const timestamp t = time_of(seconds);
    matrix *values = matrix_create(1, 2);
    if (values == NULL) exit(2);
    matrix_set(values, 0, 0, temperature);
    matrix_set(values, 0, 1, speed);
    matrix *vector = telemetry_matrix_create_vector(values, two_sensors(), &t);
    if (vector == NULL) exit(2);
    return vector;
}

static int remove_entry(const char *path, const struct stat *status, int kind,
                        struct FTW *place)
{
    (void)status;
    (void)kind;
    (void)place;
    return remove(path);
}

/* Returns whether the group is known. */
static int run(const char *name)
{
    static const struct {
        const char *name;
        void (*check)(void);
    } groups[] = {
        {"values", check_values},     {"streams", check_streams},
        {"matrices", check_matrices}, {"text", check_text},
        {"records", check_records},   {"buffers", check_buffers},
        {"recorder", check_recorder},
    };
    int is_known = 0;
    for (size_t i = 0; i < sizeof groups / sizeof groups[0]; ++i) {
        if (name != NULL && strcmp(name, groups[i].name) != 0) continue;
        groups[i].check();
        is_known = 1;
    }
    return is_known;
}

int main(int argc, char **argv)
{
    char folder[] = "/tmp/libkor-client-XXXXXX";
    if (mkdtemp(folder) == NULL || chdir(folder) != 0 ||
        setenv("TZ", "UTC0", 1) != 0) {
        perror(folder);
        return 2;
    }
    int are_known = 1;
    if (argc < 2) run(NULL);
    for (int i = 1; i < argc; ++i) are_known &= run(argv[i]);
    nftw(folder, remove_entry, 8, FTW_DEPTH | FTW_PHYS);
    printf("%u checks, %u failures\n", nchecks, nfailures);
    return are_known && nchecks > 0 && nfailures == 0 ? 0 : 1;
}
