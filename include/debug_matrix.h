/*
 * debug_matrix.h: printing matrices to standard output.
 */
#ifndef LIBKOR_DEBUG_MATRIX_H
#define LIBKOR_DEBUG_MATRIX_H

#include "kor_export.h"
#include "matrix.h"

KOR_BEGIN_DECLS

void _vela_debug_matrix_print(const struct matrix *m, const char *name,
                              const char *file, int line);
void _vela_debug_telemetry_matrix_print(struct matrix *m, const char *name,
                                        const char *file, int line);

KOR_END_DECLS

#endif
