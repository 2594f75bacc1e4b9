/*
 * telemetry_matrix.h: values with sensors as columns and time stamps as rows.
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

int telemetry_matrix_init(struct matrix *m, struct matrix *matrix,
                          struct sensor_array *sensors,
                          struct timestamp_array *timestamps);
struct matrix *telemetry_matrix_create(struct matrix *m,
                                       struct sensor_array *sensors,
                                       struct timestamp_array *timestamps);
int telemetry_matrix_init_vector(struct matrix *m, struct matrix *vector,
                                 struct sensor_array *sensors,
                                 const struct timestamp *timestamp);
struct matrix *telemetry_matrix_create_vector(
    struct matrix *vector, struct sensor_array *sensors,
    const struct timestamp *timestamp);
uint32_t telemetry_matrix_get_number_sensors(const struct matrix *m);
uint32_t telemetry_matrix_get_number_timestamps(const struct matrix *m);
struct sensor_array *telemetry_matrix_get_sensors(const struct matrix *m);
struct timestamp_array *telemetry_matrix_get_timestamps(const struct matrix *m);
int telemetry_matrix_is_equal(const struct matrix *m1, const struct matrix *m2);
struct matrix *telemetry_matrix_clone_with_values(const struct matrix *m,
                                                  struct matrix *vals);
void telemetry_matrix_detach_original_matrix(struct matrix *m);
int telemetry_matrix_update_vector_timestamp(struct matrix *m,
                                             const struct timestamp *timestamp);

KOR_END_DECLS

#endif
