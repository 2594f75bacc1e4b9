/*
 * sensors.h: the registry of interned sensors.
 *
 * It is for one thread, empty at first and again when its last sensor goes.
 */
#ifndef LIBKOR_SENSORS_H
#define LIBKOR_SENSORS_H

#include <stdint.h>

#include "kor_export.h"
#include "sensor.h"

KOR_BEGIN_DECLS

KOR_STRUCT(sensors_node);
struct sensors_node {
    char *name;                /* owned */
    struct sensor *sensor;     /* the canonical sensor, owned */
    uint32_t nrefs;            /* live references, > 0 */
    struct sensors_node *next; /* in the same bucket */
};

KOR_STRUCT(sensors);
struct sensors {
    /* 32 chains by the low bits of the hash code, newest first; null while
     * there is no sensor */
    struct sensors_node **buckets;
    uint32_t nsensors; /* distinct names */
};

/* The one registry of the process; read it, but leave it alone. */
extern struct sensors _sensors;

/*
 * Gives the canonical sensor of a name with one more reference.
 *
 * name     not null; copied
 * Returns  the sensor; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct sensor *sensors_get_sensor(const char *name);

/*
 * Drops one reference to a sensor's canonical sensor and frees that with the
 * last one.  Aborts for a sensor that is not registered.
 */
void sensors_destroy_sensor(struct sensor *sensor);

/* Takes one more reference to a sensor's canonical sensor. */
void _sensors_increment_ref_count(struct sensor *sensor);

/*
 * Makes a table for callers to fill with names or sensors.
 *
 * Returns  count null pointers in a block from malloc; null with
 *          KOR_ERR_NO_MEMORY (-22) as the last error
 */
void *sensors_create(uint32_t count);

KOR_END_DECLS

#endif
