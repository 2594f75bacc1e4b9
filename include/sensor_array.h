/*
 * sensor_array.h: sensors in column order, shared between copies.
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

int sensor_array_init(struct sensor_array *array, struct sensor **sensors,
                      uint32_t nsensors);
struct sensor_array *sensor_array_create(struct sensor **sensors,
                                         uint32_t nsensors);
int sensor_array_init_empty(struct sensor_array *array, uint32_t nsensors);
struct sensor_array *sensor_array_create_empty(uint32_t nsensors);
int sensor_array_init_null(struct sensor_array *array);
struct sensor_array *sensor_array_create_null(void);
int sensor_array_init_from_names(struct sensor_array *array,
                                 const char *const *names, uint32_t nsensors);
struct sensor_array *sensor_array_create_from_names(const char *const *names,
                                                    uint32_t nsensors);
void sensor_array_destruct(struct sensor_array *array);
void sensor_array_destroy(struct sensor_array **array);
struct sensor_array *sensor_array_copy(const struct sensor_array *array);
int sensor_array_is_equal(const struct sensor_array *s1,
                          const struct sensor_array *s2);
struct sensor *sensor_array_get(const struct sensor_array *array, int i);
struct sensor *sensor_array_set(struct sensor_array *array, int i,
                                struct sensor *s);
struct sensor **sensor_array_get_sensors(const struct sensor_array *array);
uint32_t sensor_array_get_size(const struct sensor_array *array);
int binary_serializer_write_sensor_array(const struct sensor_array *array,
                                         struct writer *writer);
int binary_serializer_read_sensor_array(struct sensor_array *array,
                                        struct reader *reader);

KOR_END_DECLS

#endif
