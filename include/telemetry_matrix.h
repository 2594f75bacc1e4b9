/*
 * telemetry_matrix.h: values with sensors as columns and time stamps as rows.
 *
 * A telemetry vector is a telemetry matrix of one row.  The matrix shares the
 * row pointers of its values, which must not be resized or destroyed behind its
 * back.  Copies share sensors and time stamps, not values.
 */
#ifndef LIBKOR_TELEMETRY_MATRIX_H
#define LIBKOR_TELEMETRY_MATRIX_H

#include <stdint.h>

#include "kor_export.h"
#include "matrix.h"
#include "sensor_array.h"
#include "timestamp_array.h"

KOR_BEGIN_DECLS

#define TELEMETRY_MATRIX_VERSION 1

KOR_STRUCT(telemetry_matrix_body);
struct telemetry_matrix_body {
    uint8_t version;                    /* TELEMETRY_MATRIX_VERSION */
    struct matrix *matrix;              /* the values */
    struct sensor_array *sensors;       /* one per column, owned */
    struct timestamp_array *timestamps; /* one per row, owned */
    uint32_t owns_matrix;               /* 1: matrix is destroyed with it */
};

/*
 * Makes m a telemetry matrix.
 *
 * m           from malloc: a failure frees it
 * matrix      the values; taken over, as are sensors and timestamps, but all
 *             three stay the caller's on failure.  A transposed one becomes
 *             regular
 * sensors     one per column
 * timestamps  one per row
 * Returns     0; KOR_ERR_NO_MEMORY (-22), also as the last error
 */
int telemetry_matrix_init(struct matrix *m, struct matrix *matrix,
                          struct sensor_array *sensors,
                          struct timestamp_array *timestamps);

/*
 * The same on the heap, m being the values.
 *
 * Returns  the matrix; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct matrix *telemetry_matrix_create(struct matrix *m,
                                       struct sensor_array *sensors,
                                       struct timestamp_array *timestamps);

/*
 * The same for one row.  The time stamp is copied.
 *
 * Returns  0, or the matrix; KOR_ERR_NO_MEMORY (-22) or null.  init frees m
 *          only if the vector fails after its time stamps were made
 */
int telemetry_matrix_init_vector(struct matrix *m, struct matrix *vector,
                                 struct sensor_array *sensors,
                                 const struct timestamp *timestamp);
struct matrix *telemetry_matrix_create_vector(
    struct matrix *vector, struct sensor_array *sensors,
    const struct timestamp *timestamp);

/* The columns and the rows of the values. */
uint32_t telemetry_matrix_get_number_sensors(const struct matrix *m);
uint32_t telemetry_matrix_get_number_timestamps(const struct matrix *m);

/* The arrays of the matrix, lent; setting an element shows in copies too. */
struct sensor_array *telemetry_matrix_get_sensors(const struct matrix *m);
struct timestamp_array *telemetry_matrix_get_timestamps(const struct matrix *m);

/*
 * Returns  1 if values (within 1e-6), sensors and time stamps are equal, else 0
 */
int telemetry_matrix_is_equal(const struct matrix *m1, const struct matrix *m2);

/*
 * A new telemetry matrix of the sensors and time stamps of m and other values.
 *
 * vals     of the size of m; taken over, but the caller's on failure
 * Returns  the matrix; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct matrix *telemetry_matrix_clone_with_values(const struct matrix *m,
                                                  struct matrix *vals);

/* Leaves the values to the caller: destroying m no longer destroys them. */
void telemetry_matrix_detach_original_matrix(struct matrix *m);

/*
 * Gives a vector another time stamp, which is copied.  Copies of the vector
 * keep theirs.
 *
 * Returns  0; KOR_ERR_NO_MEMORY (-22), nothing changed
 */
int telemetry_matrix_update_vector_timestamp(struct matrix *m,
                                             const struct timestamp *timestamp);

KOR_END_DECLS

#endif
