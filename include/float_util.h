/*
 * float_util.h: tolerant comparison of floats.
 */
#ifndef LIBKOR_FLOAT_UTIL_H
#define LIBKOR_FLOAT_UTIL_H

#include "kor_export.h"

KOR_BEGIN_DECLS

float float_epsilon(void);
int float_compare(float a, float b);
int float_is_equal(float a, float b);

KOR_END_DECLS

#endif
