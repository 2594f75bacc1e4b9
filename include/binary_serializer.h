/*
 * binary_serializer.h: the stored form of matrices.
 */
#ifndef LIBKOR_BINARY_SERIALIZER_H
#define LIBKOR_BINARY_SERIALIZER_H

#include "kor_export.h"
#include "matrix.h"
#include "reader.h"
#include "writer.h"

KOR_BEGIN_DECLS

int binary_serializer_write_matrix(const struct matrix *m,
                                   struct writer *writer);
int binary_serializer_read_matrix(struct matrix *m, struct reader *reader);
int binary_serializer_write_optional_matrix(const struct matrix *m,
                                            struct writer *writer);
int binary_serializer_read_optional_matrix(struct matrix **m,
                                           struct reader *reader);

KOR_END_DECLS

#endif
