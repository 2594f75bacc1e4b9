/*
 * kor_hist_buffer.h: one file of interval summaries.
 */
#ifndef LIBKOR_KOR_HIST_BUFFER_H
#define LIBKOR_KOR_HIST_BUFFER_H

#include <stdint.h>
#include <stdio.h>

#include "hist_value_list.h"
#include "kor_export.h"
#include "kor_hb_record.h"
#include "reader.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define KOR_HIST_BUFFER_VERSION 1

KOR_STRUCT(kor_hist_buffer);
struct kor_hist_buffer {
    uint8_t version;           /* KOR_HIST_BUFFER_VERSION; 0 after close */
    char *filename;            /* owned */
    FILE *fp;                  /* owned */
    struct reader *reader;     /* opened buffers, until their first write */
    struct writer *writer;     /* owned */
    uint32_t max_data_records; /* capacity in intervals, even and > 0 */
    uint32_t size;             /* intervals written, or read so far */
    kor_hb_record_sensor_names *hb_rec_sensors_last; /* may be null */
    void *priv;                                      /* private */
};

struct kor_hist_buffer *kor_hist_buffer_create(const char *filename,
                                               uint32_t max_data_records);
struct kor_hist_buffer *kor_hist_buffer_open_for_read_write(
    const char *filename);
struct kor_hist_buffer *_kor_hist_buffer_open(const char *filename,
                                              struct reader *reader, FILE *fp);
void kor_hist_buffer_close(struct kor_hist_buffer **hbuf);
int kor_hist_buffer_write_interval(struct kor_hist_buffer *hbuf,
                                   const struct timestamp *start,
                                   const struct timestamp *end,
                                   struct hist_value_list *hvlist,
                                   const struct kor_hb_record_events *events);
int kor_hist_buffer_read_record(struct kor_hist_buffer *hbuf,
                                struct kor_hb_record *rec);
int32_t kor_hist_buffer_get_number_empty_intervals(
    const struct kor_hist_buffer *hbuf);
kor_hb_record_sensor_names *kor_hist_buffer_get_sensor_working_set(
    const struct kor_hist_buffer *hbuf);
int binary_serializer_write_kor_hist_buffer(const struct kor_hist_buffer *hbuf,
                                            struct writer *writer);
int binary_serializer_read_kor_hist_buffer(struct kor_hist_buffer *hbuf,
                                           struct reader *reader);
int _kor_hb_read_next_record(struct kor_hist_buffer *hbuf,
                             struct kor_hb_record *rec);
void _kor_hb_update_sensor_working_set_from_record(struct kor_hist_buffer *hbuf,
                                                   struct kor_hb_record *rec);

KOR_END_DECLS

#endif
