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

/*
 * Makes a new file for samples; an older one of that name is emptied.  The
 * header waits for the first record or the close, so that the file is empty
 * until then.
 *
 * filename          copied
 * max_data_records  capacity in samples, > 0; only an even one can be reopened
 * Returns           a buffer for kor_current_buffer_close, or null with the
 *                   last error set: KOR_ERR_NO_MEMORY (-22),
 *                   KOR_ERR_CANNOT_OPEN (-40), or KOR_ERR_DEFLATE (-42) for the
 *                   header
 */
struct kor_current_buffer *kor_current_buffer_create(const char *filename,
                                                     int32_t max_data_records);

/*
 * Opens a file behind its first record, a names record, which is the working
 * set.  Reading goes on from there; a write first reads the file to its end.
 *
 * Returns  a buffer for kor_current_buffer_close, or null with the last error
 *          KOR_ERR_OTHER_KIND (-3) for a history buffer
 *          KOR_ERR_UNKNOWN_KIND (-4) if the first record holds no names, or for
 *          a file of another kind
 *          KOR_ERR_INFLATE (-41) if the header cannot be read
 *          KOR_ERR_TRUNCATED (-48) for an empty file or a cut record
 *          KOR_ERR_CANNOT_OPEN (-40), KOR_ERR_NO_MEMORY (-22), or the code of
 *          reading the first record
 */
struct kor_current_buffer *kor_current_buffer_open_for_read_write(
    const char *filename);

/*
 * Opens a file and reads it to its end, so that `size` and working set are
 * those of the whole file and writing goes on there.  What a crash has left
 * behind the last complete stream is not counted; the first write cuts it off.
 *
 * Returns  a buffer for kor_current_buffer_close, or null with the last error
 *          KOR_ERR_INVALID_DATA (-6) for more samples than the capacity, else
 *          as kor_current_buffer_open_for_read_write, for any record of the
 *          file
 */
struct kor_current_buffer *kor_current_buffer_open_for_append(
    const char *filename);

/*
 * Opens the rest of a file whose type tag has been read.
 *
 * reader, fp  taken by the buffer returned; on failure still the caller's
 * Returns     as kor_current_buffer_open_for_read_write
 */
struct kor_current_buffer *_kor_current_buffer_open(const char *filename,
                                                    struct reader *reader,
                                                    FILE *fp);

/*
 * Closes the file and frees the buffer.  A header that no record has followed
 * is written now.
 */
void kor_current_buffer_close(struct kor_current_buffer **cbuf);

/*
 * Writes one sample: the names first if the sensors are not those of the
 * working set, then the values, as one complete stream that is in the file on
 * return.
 *
 * vector   a telemetry matrix of one row; borrowed
 * Returns  0
 *          KOR_ERR_FULL (-2, a note) when max_data_records samples are stored,
 *          nothing written
 *          KOR_ERR_INVALID_DATA (-6) for an empty sensor name and
 *          KOR_ERR_TOO_LONG (-49) for more than 10000 sensors or characters of
 *          a name, neither of which could be read again; nothing changed
 *          KOR_ERR_INFLATE (-41) if the file could not be written: it is as
 *          before, except that the new names are the working set
 *          KOR_ERR_DEFLATE (-42), KOR_ERR_NO_MEMORY (-22)
 *          the code of reading, for a buffer not yet read to its end
 */
int kor_current_buffer_write_telemetry_vector(struct kor_current_buffer *cbuf,
                                              struct matrix *vector);

/*
 * Writes one event, also to a full buffer.  An event before the first sample
 * makes a file that cannot be reopened.
 *
 * event    borrowed
 * Returns  0; KOR_ERR_INVALID_DATA (-6) for an empty text, KOR_ERR_TOO_LONG
 *          (-49) for one of more than 10000 characters, nothing changed; else
 *          as kor_current_buffer_write_telemetry_vector
 */
int kor_current_buffer_write_event(struct kor_current_buffer *cbuf,
                                   struct kor_cb_record_event *event);

/*
 * Reads the next record.  Names become the working set; samples are counted in
 * `size`.  A write ends reading.
 *
 * rec      made by kor_cb_record_init_null, or from the read before
 * Returns  0; KOR_ERR_END_OF_STREAM (-43, a note) at the end; or the code of
 *          binary_serializer_read_kor_cb_record
 */
int kor_current_buffer_read_record(struct kor_current_buffer *cbuf,
                                   struct kor_cb_record *rec);

/* The path; borrowed. */
const char *kor_current_buffer_get_filename(
    const struct kor_current_buffer *cbuf);

/* The last names written or read, or null; borrowed. */
struct kor_cb_record_sensor_names *kor_current_buffer_get_sensor_working_set(
    const struct kor_current_buffer *cbuf);

/*
 * Writes the header behind the type tag: version and capacity.
 *
 * Returns  the bytes written (5), or the first failure of the writer
 */
int binary_serializer_write_kor_current_buffer(
    const struct kor_current_buffer *cbuf, struct writer *writer);

/*
 * Reads that header and sets max_data_records, which stays as it is on failure.
 *
 * Returns  5; 0 at the end of the stream; KOR_ERR_WRONG_VERSION (-12);
 *          KOR_ERR_TRUNCATED (-48); KOR_ERR_INVALID_DATA (-6) for a capacity
 *          that is 0 or odd; or a failure of the reader
 */
int binary_serializer_read_kor_current_buffer(struct kor_current_buffer *cbuf,
                                              struct reader *reader);

KOR_END_DECLS

#endif
