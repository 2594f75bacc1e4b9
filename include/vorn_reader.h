/*
 * vorn_reader.h: reading text telemetry.
 */
#ifndef LIBKOR_VORN_READER_H
#define LIBKOR_VORN_READER_H

#include <stdint.h>
#include <stdio.h>

#include "kor_export.h"
#include "matrix.h"
#include "sensor_array.h"

KOR_BEGIN_DECLS

KOR_STRUCT(vorn_reader);
struct vorn_reader {
    FILE *fp;
    uint32_t close_fp;     /* 1: fp is closed with the reader */
    struct matrix *vector; /* the current vector, owned; may be null */
    void *priv;            /* private */
};

struct vorn_reader *vorn_reader_open(const char *filename);
struct vorn_reader *vorn_reader_open_from_fp(FILE *fp);
struct matrix *vorn_reader_get_next_telemetry_vector(struct vorn_reader *vorn);
uint32_t vorn_reader_get_number_sensors(struct vorn_reader *vorn);
struct sensor_array *vorn_reader_get_sensors(struct vorn_reader *vorn);
void vorn_reader_close(struct vorn_reader **vorn);

KOR_END_DECLS

#endif
