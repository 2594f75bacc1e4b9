/*
 * check.h: what the groups of this program share.
 */
#ifndef C_CLIENT_CHECK_H
#define C_CLIENT_CHECK_H

#include <stdint.h>
#include <stdio.h>

#include "matrix.h"
#include "sensor_array.h"
#include "timestamp.h"

/* Counts a condition, and reports it if it does not hold. */
#define CHECK(condition) \
    check_that((condition) != 0, #condition, __FILE__, __LINE__)
void check_that(int holds, const char *condition, const char *file, int line);

/* The groups. */
void check_values(void);
void check_streams(void);
void check_matrices(void);
void check_text(void);
void check_records(void);
void check_buffers(void);
void check_recorder(void);

/* A stream over an empty file that goes with it; the program ends without. */
FILE *scratch_stream(void);

/* A new telemetry vector of the sensors "CPU0 Temp" and "FAN0 SPEED". */
matrix *vector_of(int32_t seconds, double temperature, double speed);
sensor_array *two_sensors(void);
timestamp time_of(int32_t seconds);

/* How often the library called the program's own platform functions. */
extern unsigned ntraces;
extern unsigned nrandoms;

#endif
