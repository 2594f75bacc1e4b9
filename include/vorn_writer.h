/*
 * vorn_writer.h: a writer of text telemetry over another writer.
 */
#ifndef LIBKOR_VORN_WRITER_H
#define LIBKOR_VORN_WRITER_H

#include <stdint.h>

#include "kor_export.h"
#include "sensor_array.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define WRITER_TYPE_VORN 3
#define VORN_WRITER_VERSION 1

KOR_STRUCT(vorn_writer);
struct vorn_writer {
    uint8_t version;              /* VORN_WRITER_VERSION */
    struct writer *writer;        /* the base writer, owned */
    struct sensor_array *sensors; /* of the last header; null before it */
};

int vorn_writer_init(struct writer *writer, struct writer *writer_base);
struct writer *vorn_writer_create(struct writer *writer_base);
int vorn_writer_have_sensors_changed(struct writer *writer,
                                     struct sensor_array *sensors);
int _vorn_writer_write_bytes(void *state, const void *buf, uint32_t len);
int _vorn_writer_flush(void *state);
int _vorn_writer_destruct(void *state);

KOR_END_DECLS

#endif
