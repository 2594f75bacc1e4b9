/*
 * vorn_serializer.h: matrices as text telemetry.
 */
#ifndef LIBKOR_VORN_SERIALIZER_H
#define LIBKOR_VORN_SERIALIZER_H

#include "kor_export.h"
#include "matrix.h"
#include "writer.h"

KOR_BEGIN_DECLS

int vorn_serializer_write_matrix(struct matrix *m, struct writer *writer);

KOR_END_DECLS

#endif
