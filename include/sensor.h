/*
 * sensor.h: a named telemetry channel, interned by name.
 *
 * There is one canonical sensor for each name, kept by the registry for as
 * long as anything refers to it; other sensors are handles that point at it.
 * Every function asserts that its pointers are not null and, but for the init
 * functions and targets of copies, that the version is SENSOR_VERSION.
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

/*
 * Gives the canonical sensor of a name with one more reference, which
 * sensor_destroy drops.
 *
 * Returns  the sensor; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct sensor *sensor_create(const char *name);

/*
 * Makes a handle in the caller's storage.
 *
 * Returns  0; KOR_ERR_NO_MEMORY (-22), s then being a null sensor
 */
int sensor_init(struct sensor *s, const char *name);

/*
 * Make a null sensor, which refers to nothing.
 *
 * Returns  0, or the sensor; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
int sensor_init_null(struct sensor *s);
struct sensor *sensor_create_null(void);

/*
 * Takes one more reference.
 *
 * s        not a null sensor
 * dst      made a handle, whatever it held; may be null
 * Returns  dst; where that is null, the canonical sensor
 */
struct sensor *sensor_copy(const struct sensor *s, struct sensor *dst);

/*
 * Drop the reference that a sensor holds and clear a handle; destroy also
 * frees a handle and clears the caller's pointer.  The registry frees a
 * canonical sensor with its last reference.
 */
void sensor_destruct(struct sensor *sensor);
void sensor_destroy(struct sensor **sensor);

/*
 * Calls sensor_create for each name.
 *
 * nsensors  > 0
 * Returns   an array from malloc with as many sensors, all the caller's; null
 *           with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct sensor **sensor_create_array(const char *const *names,
                                    uint32_t nsensors);

/* Whether both are of one name; null sensors are equal. */
int sensor_is_equal(const struct sensor *s1, const struct sensor *s2);

/*
 * Copy the name as strncpy does: not terminated if it has len characters or
 * more, else followed by NULs up to len.
 *
 * s        not a null sensor
 * Returns  buf
 */
char *sensor_get_name(const struct sensor *s, char *buf, size_t len);
char *sensor_to_string(const struct sensor *s, char *buf, size_t len);

/* The sum of the name's bytes.  s is not a null sensor. */
uint32_t sensor_get_hash_code(const struct sensor *s);

/*
 * The stored form: version 1 (1 byte), length of the name (4), the name.
 *
 * Writing returns  the sum of the writer's results, or its negative code
 *                  KOR_ERR_TOO_LONG (-49) for a name beyond 10000 characters,
 *                  the version byte then being written already
 * Reading returns  bytes read, *sensor then being the canonical sensor with one
 *                  more reference; 0 at the end of the stream
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_INVALID_DATA (-6) for a name that is empty, too long
 *                  or holds a NUL: an empty name can be written, but not read
 *                  KOR_ERR_END_OF_STREAM (-43) for a stream that ends exactly
 *                  before the name's length
 *                  KOR_ERR_TRUNCATED (-48) for one that ends inside either
 *                  KOR_ERR_NO_MEMORY (-22)
 *                  a negative code of the reader; *sensor is then as it was
 *
 * A stream that ends exactly behind the length aborts.
 */
int binary_serializer_write_sensor(const struct sensor *sensor,
                                   struct writer *writer);
int binary_serializer_read_sensor(struct sensor **sensor,
                                  struct reader *reader);

KOR_END_DECLS

#endif
