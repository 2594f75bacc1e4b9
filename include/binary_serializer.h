/*
 * binary_serializer.h: the stored form of matrices.
 *
 * Integers and doubles are big-endian, without padding.
 *
 *     matrix      version 1 (1 byte), type (4), then by type
 *       regular     version 1 again (1), nrows (4), ncols (4), the values (8
 *                   each) row by row; 14 + 8 * nrows * ncols bytes in all
 *       transposed  version 1 (1), the matrix viewed
 *       telemetry   version 1 (1), the values as a matrix, the sensor array,
 *                   the timestamp array
 *     optional    0 (1), or 1 and a matrix
 */
#ifndef LIBKOR_BINARY_SERIALIZER_H
#define LIBKOR_BINARY_SERIALIZER_H

#include "kor_export.h"
#include "matrix.h"
#include "reader.h"
#include "writer.h"

KOR_BEGIN_DECLS

/*
 * Writes a matrix of any kind.
 *
 * Returns  the sum of what the writer returned, the size over a raw writer;
 *          KOR_ERR_TOO_LONG (-49) for more than 10000 rows or columns, after
 *          the first 6 bytes of that matrix; or a code of the writer
 */
int binary_serializer_write_matrix(const struct matrix *m,
                                   struct writer *writer);

/*
 * Reads a matrix.
 *
 * m        a null matrix.  On failure it may be partly filled; destroy it
 * Returns  the bytes read; 0 if the stream held nothing; KOR_ERR_WRONG_VERSION
 *          (-12); KOR_ERR_INVALID_DATA (-6) for an unknown type, a size outside
 *          1..10000 or more than 1000 matrices inside each other;
 *          KOR_ERR_TRUNCATED (-48); KOR_ERR_NO_MEMORY (-22); or a code of the
 *          reader, the sensors or the time stamps.  Telemetry whose sizes
 *          contradict each other aborts
 */
int binary_serializer_read_matrix(struct matrix *m, struct reader *reader);

/*
 * Writes whether there is a matrix, and the matrix.
 *
 * m        may be null
 * Returns  what the writer returned for the presence byte if m is null, else 1
 *          and the result of binary_serializer_write_matrix; or a code
 */
int binary_serializer_write_optional_matrix(const struct matrix *m,
                                            struct writer *writer);

/*
 * Reads what binary_serializer_write_optional_matrix has written.
 *
 * m        *m is null, and becomes the matrix, the caller's, if there is one
 * Returns  as binary_serializer_read_matrix, plus 1; 1 for no matrix;
 *          KOR_ERR_INVALID_DATA (-6) for a presence byte above 1
 */
int binary_serializer_read_optional_matrix(struct matrix **m,
                                           struct reader *reader);

KOR_END_DECLS

#endif
