/*
 * float_util.h: tolerant comparison of floats.
 *
 * The tolerance is absolute: values that differ by at most 1e-6 are equal,
 * whatever their magnitude.
 */
#ifndef LIBKOR_FLOAT_UTIL_H
#define LIBKOR_FLOAT_UTIL_H

#include "kor_export.h"

KOR_BEGIN_DECLS

/*
 * Gives the tolerance.
 *
 * Returns  1e-6
 */
float float_epsilon(void);

/*
 * Orders two values.  A NaN is below every number and equal to a NaN.  Unlike
 * with doubles, comparing two equal infinities aborts.
 *
 * Returns  -1 when a is below b, 0 when they are equal, 1 when a is above
 */
int float_compare(float a, float b);

/*
 * Says whether float_compare finds two values equal; aborts where it does.
 *
 * Returns  1 or 0
 */
int float_is_equal(float a, float b);

KOR_END_DECLS

#endif
