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

/*
 * Makes a new file for intervals; an older one of that name is emptied.
 *
 * filename          copied
 * max_data_records  capacity in intervals, > 0; only an even one can be
 *                   reopened
 * Returns           a buffer for kor_hist_buffer_close, or null with the last
 *                   error set: KOR_ERR_NO_MEMORY (-22), KOR_ERR_CANNOT_OPEN
 *                   (-40), or the code of writing the header
 */
struct kor_hist_buffer *kor_hist_buffer_create(const char *filename,
                                               uint32_t max_data_records);

/*
 * Opens a file behind its first record, a names record, which is the working
 * set.
 *
 * Returns  a buffer for kor_hist_buffer_close, or null with the last error set:
 *          KOR_ERR_OTHER_KIND (-3) for a current buffer
 *          KOR_ERR_UNKNOWN_KIND (-4) if the first record holds no names, or for
 *          a file of another kind
 *          KOR_ERR_INFLATE (-41) if the header cannot be read
 *          KOR_ERR_TRUNCATED (-48) for an empty file or a cut record
 *          KOR_ERR_CANNOT_OPEN (-40), KOR_ERR_NO_MEMORY (-22), or the code of
 *          reading the first record
 */
struct kor_hist_buffer *kor_hist_buffer_open_for_read_write(
    const char *filename);

/*
 * Opens the rest of a file whose type tag has been read.
 *
 * reader, fp  taken by the buffer returned; on failure still the caller's
 * Returns     as kor_hist_buffer_open_for_read_write
 */
struct kor_hist_buffer *_kor_hist_buffer_open(const char *filename,
                                              struct reader *reader, FILE *fp);

/* Closes the file and frees the buffer. */
void kor_hist_buffer_close(struct kor_hist_buffer **hbuf);

/*
 * Writes one interval: the names first if the sensors are not those of the
 * working set, then the values, as one complete stream that is in the file on
 * return.
 *
 * start, end  copied; the names carry `start`
 * hvlist      borrowed; its order of iteration becomes the order of the columns
 * events      borrowed; null for no events
 * Returns     0
 *             KOR_ERR_FULL (-2, a note) when max_data_records intervals are
 *             stored, nothing written
 *             KOR_ERR_TOO_LONG (-49) for more than 10000 sensors, nothing
 *             written
 *             for an empty list the last error as it stands, or
 *             KOR_ERR_INVALID_DATA (-6) if there is none; nothing written
 *             KOR_ERR_INFLATE (-41) if the file could not be written: it is as
 *             before, except that the new names are the working set
 *             KOR_ERR_DEFLATE (-42), KOR_ERR_NO_MEMORY (-22)
 *             the code of reading, for a buffer not yet read to its end
 */
int kor_hist_buffer_write_interval(struct kor_hist_buffer *hbuf,
                                   const struct timestamp *start,
                                   const struct timestamp *end,
                                   struct hist_value_list *hvlist,
                                   const struct kor_hb_record_events *events);

/*
 * Reads the next record.  Names become the working set; intervals are counted
 * in `size`.  A write ends reading.
 *
 * rec      made by kor_hb_record_init_null, or from the read before
 * Returns  0; KOR_ERR_END_OF_STREAM (-43, a note) at the end; or the code of
 *          binary_serializer_read_kor_hb_record
 */
int kor_hist_buffer_read_record(struct kor_hist_buffer *hbuf,
                                struct kor_hb_record *rec);

/*
 * How many intervals still fit.
 *
 * Returns  that number, or KOR_ERR_INVALID_DATA (-6) if `size` is beyond the
 *          capacity
 */
int32_t kor_hist_buffer_get_number_empty_intervals(
    const struct kor_hist_buffer *hbuf);

/* The last names written or read, or null; borrowed. */
kor_hb_record_sensor_names *kor_hist_buffer_get_sensor_working_set(
    const struct kor_hist_buffer *hbuf);

/*
 * Writes the header behind the type tag: version and capacity.
 *
 * Returns  the bytes written (5), or the first failure of the writer
 */
int binary_serializer_write_kor_hist_buffer(const struct kor_hist_buffer *hbuf,
                                            struct writer *writer);

/*
 * Reads that header and sets max_data_records, which stays as it is on failure.
 *
 * Returns  5; 0 at the end of the stream; KOR_ERR_WRONG_VERSION (-12);
 *          KOR_ERR_TRUNCATED (-48); KOR_ERR_INVALID_DATA (-6) for a capacity
 *          that is 0 or odd; or a failure of the reader
 */
int binary_serializer_read_kor_hist_buffer(struct kor_hist_buffer *hbuf,
                                           struct reader *reader);

/*
 * Reads the next record and leaves `size` and working set alone.
 *
 * Returns  as kor_hist_buffer_read_record
 */
int _kor_hb_read_next_record(struct kor_hist_buffer *hbuf,
                             struct kor_hb_record *rec);

/*
 * Makes the names of `rec` the working set.  `rec` is detached from them: read
 * no other names into it before kor_hb_record_init_null.
 */
void _kor_hb_update_sensor_working_set_from_record(struct kor_hist_buffer *hbuf,
                                                   struct kor_hb_record *rec);

KOR_END_DECLS

#endif
