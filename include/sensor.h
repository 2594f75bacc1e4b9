/*
 * sensor.h: a named telemetry channel, interned by name.
 */
#ifndef LIBKOR_SENSOR_H
#define LIBKOR_SENSOR_H

#include <stddef.h>
#include <stdint.h>

#include "kor_export.h"
#include "reader.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define SENSOR_VERSION 1

KOR_STRUCT(sensor);
struct sensor {
    uint8_t version;          /* SENSOR_VERSION; 0 after destruction */
    char *name;               /* set in a canonical sensor only */
    uint32_t hash_code;       /* set in a canonical sensor only */
    struct sensor *canonical; /* itself in a canonical sensor; may be null */
};

struct sensor *sensor_create(const char *name);
int sensor_init(struct sensor *s, const char *name);
int sensor_init_null(struct sensor *s);
struct sensor *sensor_create_null(void);
struct sensor *sensor_copy(const struct sensor *s, struct sensor *dst);
void sensor_destruct(struct sensor *sensor);
void sensor_destroy(struct sensor **sensor);
struct sensor **sensor_create_array(const char *const *names,
                                    uint32_t nsensors);
int sensor_is_equal(const struct sensor *s1, const struct sensor *s2);
char *sensor_get_name(const struct sensor *s, char *buf, size_t len);
char *sensor_to_string(const struct sensor *s, char *buf, size_t len);
uint32_t sensor_get_hash_code(const struct sensor *s);
int binary_serializer_write_sensor(const struct sensor *sensor,
                                   struct writer *writer);
int binary_serializer_read_sensor(struct sensor **sensor,
                                  struct reader *reader);

KOR_END_DECLS

#endif
