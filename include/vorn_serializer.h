/*
 * vorn_serializer.h: matrices as text telemetry.
 */
#ifndef LIBKOR_VORN_SERIALIZER_H
#define LIBKOR_VORN_SERIALIZER_H

#include "kor_export.h"
#include "matrix.h"
#include "writer.h"

KOR_BEGIN_DECLS

/*
 * Writes a matrix as text: a header line if the sensors are not those of the
 * last header, then each row as its time stamp and its values with three
 * decimals.  A matrix without sensors and time stamps gets the names
 * "::SENSOR0", "::SENSOR1" and so on and a second for each row from
 * "20070101:00:00:00".  Of a name its first 255 characters are written; a line
 * of more than 32768 bytes aborts.
 *
 * m        borrowed; a transposed matrix turns into a regular one
 * writer   made by vorn_writer_init or vorn_writer_create
 * Returns  the number of bytes written; KOR_ERR_NO_MEMORY (-22), or the code
 *          of the base writer, at which the output ends
 */
int vorn_serializer_write_matrix(struct matrix *m, struct writer *writer);

KOR_END_DECLS

#endif
