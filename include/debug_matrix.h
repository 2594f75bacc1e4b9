/*
 * debug_matrix.h: printing matrices to standard output.
 */
#ifndef LIBKOR_DEBUG_MATRIX_H
#define LIBKOR_DEBUG_MATRIX_H

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

/*
 * Prints a blank line, "FILE:LINE: matrix NAME =", each row with six decimals
 * a value, and an empty line.
 *
 * name        what the caller calls the matrix
 * file, line  where it is printed from; line > 0
 */
void _vela_debug_matrix_print(const struct matrix *m, const char *name,
                              const char *file, int line);
/* The same for a telemetry matrix, whose lines are text telemetry. */
void _vela_debug_telemetry_matrix_print(struct matrix *m, const char *name,
                                        const char *file, int line);

KOR_END_DECLS

#endif
