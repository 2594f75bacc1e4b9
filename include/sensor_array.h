/*
 * sensor_array.h: sensors in column order, shared between copies.
 *
 * The pointer array, the references in it and the counter belong to all arrays
 * that share the counter; the last one destructed releases them.  Every
 * function asserts that its pointers are not null and, but for the init
 * functions, that the version is SENSOR_ARRAY_VERSION.
 */
#ifndef LIBKOR_SENSOR_ARRAY_H
#define LIBKOR_SENSOR_ARRAY_H

#include <stdint.h>

#include "kor_export.h"
#include "sensor.h"

KOR_BEGIN_DECLS

#define SENSOR_ARRAY_VERSION 1

KOR_STRUCT(sensor_array);
struct sensor_array {
    uint8_t version;         /* SENSOR_ARRAY_VERSION; 0 after destruction */
    uint32_t nsensors;       /* 0 in a null array */
    uint32_t *ref_count;     /* shared by every copy; null in a null array */
    struct sensor **sensors; /* shared; an element may be null */
};

/*
 * Make an array of given sensors.
 *
 * sensors   from malloc, taken on success; the caller's on failure
 * nsensors  > 0
 * Returns   0, or the array; KOR_ERR_NO_MEMORY (-22), or null with it as the
 *           last error
 */
int sensor_array_init(struct sensor_array *array, struct sensor **sensors,
                      uint32_t nsensors);
struct sensor_array *sensor_array_create(struct sensor **sensors,
                                         uint32_t nsensors);

/* The same, but with every element null, for sensor_array_set to fill. */
int sensor_array_init_empty(struct sensor_array *array, uint32_t nsensors);
struct sensor_array *sensor_array_create_empty(uint32_t nsensors);

/* The same, but without elements, for a reader to fill. */
int sensor_array_init_null(struct sensor_array *array);
struct sensor_array *sensor_array_create_null(void);

/*
 * The same, but of the sensors of given names, none of them null.  After a
 * failure of init the caller destructs the partly filled array.
 */
int sensor_array_init_from_names(struct sensor_array *array,
                                 const char *const *names, uint32_t nsensors);
struct sensor_array *sensor_array_create_from_names(const char *const *names,
                                                    uint32_t nsensors);

/*
 * Give up this array's share and clear all fields; destroy also frees the
 * array and clears the caller's pointer.
 */
void sensor_array_destruct(struct sensor_array *array);
void sensor_array_destroy(struct sensor_array **array);

/*
 * Makes one more array that shares the elements.
 *
 * Returns  the copy, the caller's; null with KOR_ERR_NO_MEMORY (-22) as the
 *          last error
 */
struct sensor_array *sensor_array_copy(const struct sensor_array *array);

/* Whether both share their elements, or hold equal ones in one order. */
int sensor_array_is_equal(const struct sensor_array *s1,
                          const struct sensor_array *s2);

/* The element at i, from 0; borrowed, null if none was set. */
struct sensor *sensor_array_get(const struct sensor_array *array, int i);

/*
 * Stores a sensor in place of that at i, which is destroyed.  Every copy that
 * shares the elements sees it.
 *
 * s        taken, with the reference it holds; may be null
 * Returns  s
 */
struct sensor *sensor_array_set(struct sensor_array *array, int i,
                                struct sensor *s);

/* The pointer array, borrowed, null in a null array; and its size. */
struct sensor **sensor_array_get_sensors(const struct sensor_array *array);
uint32_t sensor_array_get_size(const struct sensor_array *array);

/*
 * The stored form: version 1 (1 byte), count (4), the sensors.
 *
 * array    to write: at least one element, none null
 *          to read into: a null array, which it still is after a failure
 * Writing returns  the sum of the writer's results, or its negative code
 *                  KOR_ERR_TOO_LONG (-49) for more than 10000 sensors, nothing
 *                  being written, and for a name beyond 10000 characters, what
 *                  stands before it being written already
 * Reading returns  bytes read; 0 at the end of the stream
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_TOO_LONG (-49) for a count outside 1 to 10000
 *                  KOR_ERR_TRUNCATED (-48)
 *                  KOR_ERR_NO_MEMORY (-22)
 *                  another code of binary_serializer_read_sensor
 */
int binary_serializer_write_sensor_array(const struct sensor_array *array,
                                         struct writer *writer);
int binary_serializer_read_sensor_array(struct sensor_array *array,
                                        struct reader *reader);

KOR_END_DECLS

#endif
