/*
 * vorn_writer.h: a writer of text telemetry over another writer.
 *
 * It passes every byte on and remembers the sensors of the last header, so
 * that vorn_serializer_write_matrix names them only when they change.
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

/*
 * Makes a text writer in the caller's storage; end it with writer_destruct.
 *
 * writer_base  taken over and destroyed with it; still the caller's on failure
 * Returns      0; KOR_ERR_NO_MEMORY (-22)
 */
int vorn_writer_init(struct writer *writer, struct writer *writer_base);

/* The same on the heap, or null and the last error; see writer_destroy. */
struct writer *vorn_writer_create(struct writer *writer_base);

/*
 * Whether `sensors` differ from those of the last header in name, order or
 * number; if they do, they are remembered in its place.
 *
 * sensors  borrowed; a copy that shares its elements is kept
 * Returns  1 if they differ or there was no header, 0 if not;
 *          KOR_ERR_NO_MEMORY (-22)
 */
int vorn_writer_have_sensors_changed(struct writer *writer,
                                     struct sensor_array *sensors);

/* The operations of the writer, on what writer.writer points at. */
int _vorn_writer_write_bytes(void *state, const void *buf, uint32_t len);
int _vorn_writer_flush(void *state);
int _vorn_writer_destruct(void *state);

KOR_END_DECLS

#endif
