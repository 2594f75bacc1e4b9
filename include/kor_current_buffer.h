/*
 * kor_current_buffer.h: one file of raw samples.
 */
#ifndef LIBKOR_KOR_CURRENT_BUFFER_H
#define LIBKOR_KOR_CURRENT_BUFFER_H

#include <stdint.h>
#include <stdio.h>

#include "kor_cb_record.h"
#include "kor_export.h"
#include "matrix.h"
#include "reader.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define KOR_CURRENT_BUFFER_VERSION 1

KOR_STRUCT(kor_current_buffer);
struct kor_current_buffer {
    uint8_t version;          /* KOR_CURRENT_BUFFER_VERSION; 0 after close */
    char *filename;           /* owned */
    FILE *fp;                 /* owned */
    struct reader *reader;    /* reopened buffers, until their first write */
    struct writer *writer;    /* owned */
    int32_t max_data_records; /* capacity in samples, > 0 */
    int32_t size;             /* samples written, or counted while reading */
    struct kor_cb_record_sensor_names *names; /* the working set; may be null */
    void *priv;                               /* private */
};

struct kor_current_buffer *kor_current_buffer_create(const char *filename,
                                                     int32_t max_data_records);
struct kor_current_buffer *kor_current_buffer_open_for_read_write(
    const char *filename);
struct kor_current_buffer *kor_current_buffer_open_for_append(
    const char *filename);
struct kor_current_buffer *_kor_current_buffer_open(const char *filename,
                                                    struct reader *reader,
                                                    FILE *fp);
void kor_current_buffer_close(struct kor_current_buffer **cbuf);
int kor_current_buffer_write_telemetry_vector(struct kor_current_buffer *cbuf,
                                              struct matrix *vector);
int kor_current_buffer_write_event(struct kor_current_buffer *cbuf,
                                   struct kor_cb_record_event *event);
int kor_current_buffer_read_record(struct kor_current_buffer *cbuf,
                                   struct kor_cb_record *rec);
const char *kor_current_buffer_get_filename(
    const struct kor_current_buffer *cbuf);
struct kor_cb_record_sensor_names *kor_current_buffer_get_sensor_working_set(
    const struct kor_current_buffer *cbuf);
int binary_serializer_write_kor_current_buffer(
    const struct kor_current_buffer *cbuf, struct writer *writer);
int binary_serializer_read_kor_current_buffer(struct kor_current_buffer *cbuf,
                                              struct reader *reader);

KOR_END_DECLS

#endif
