/*
 * sensors.h: the registry of interned sensors.
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
    struct sensors_node **buckets; /* 32 chains; null while empty */
    uint32_t nsensors;             /* distinct names */
};

/* The one registry of the process. */
extern struct sensors _sensors;

struct sensor *sensors_get_sensor(const char *name);
void sensors_destroy_sensor(struct sensor *sensor);
void _sensors_increment_ref_count(struct sensor *sensor);
void *sensors_create(uint32_t count);

KOR_END_DECLS

#endif
