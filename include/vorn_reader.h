/*
 * vorn_reader.h: reading text telemetry.
 *
 * A file holds lines of fields between commas.  A header line is a time stamp
 * (17 characters, local time, "20070101:00:00:00") and the name of each
 * sensor; it may recur and ends in a bare line feed right behind the last
 * name.  A data line is a time stamp and one number for each sensor, in header
 * order.  A line is a header if it holds anything but digits and ",-./:" and,
 * from there on, one of the words SSC SB Temp PS VDC N0 CORE CPU DISK READ
 * WRITE IDLE V_ T_ POWER PACKET (or one all in lower case), or a name "::...".
 *
 * What only a broken producer writes aborts: letters in the first 18
 * characters of a line, a header without sensors or with an empty name or
 * ending, a data line with too few values, a read error.
 *
 * A line of 65536 characters or more is read as several.
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
    FILE *fp;              /* the text */
    uint32_t close_fp;     /* 1: fp is closed with the reader */
    struct matrix *vector; /* the current vector, owned; may be null */
    void *priv;            /* private: the line that is read */
};

/*
 * Opens a file and reads its header, which must be the first line.
 *
 * Returns  the reader, or null and the last error: KOR_ERR_CANNOT_OPEN (-40),
 *          or as vorn_reader_open_from_fp
 */
struct vorn_reader *vorn_reader_open(const char *filename);

/*
 * The same over a stream that is open already.
 *
 * fp       borrowed while the reader lives; never closed by it
 * Returns  the reader, or null and the last error: KOR_ERR_INCOMPLETE (-44)
 *          when no line can be read, KOR_ERR_INVALID_DATA (-6) when the first
 *          line is no header, KOR_ERR_NO_MEMORY (-22)
 */
struct vorn_reader *vorn_reader_open_from_fp(FILE *fp);

/*
 * Reads the next data line, following any header before it.
 *
 * Returns  a telemetry matrix of one row, borrowed: the next call overwrites
 *          it, and a new header replaces it.  Null at the end of the file,
 *          with the last error as it was, so clear it before.  Null and the
 *          last error on a failure: KOR_ERR_INVALID_DATA (-6) for a line
 *          without fields or with too many values, KOR_ERR_BAD_TIMESTAMP
 *          (-11), KOR_ERR_NO_MEMORY (-22).  After such a data line reading
 *          may go on; after a header that found no memory it may not.
 */
struct matrix *vorn_reader_get_next_telemetry_vector(struct vorn_reader *vorn);

/* The number of sensors in the current header. */
uint32_t vorn_reader_get_number_sensors(struct vorn_reader *vorn);

/* The sensors of the current header, borrowed until the next one is read. */
struct sensor_array *vorn_reader_get_sensors(struct vorn_reader *vorn);

/* Destroys the reader and closes the file that vorn_reader_open opened. */
void vorn_reader_close(struct vorn_reader **vorn);

KOR_END_DECLS

#endif
