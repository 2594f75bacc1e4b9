/*
 * double_util.h: tolerant comparison of doubles.
 *
 * The tolerance is absolute: values that differ by at most 1e-6 are equal,
 * whatever their magnitude.
 */
#ifndef LIBKOR_DOUBLE_UTIL_H
#define LIBKOR_DOUBLE_UTIL_H

#include "kor_export.h"

KOR_BEGIN_DECLS

/*
 * Gives the tolerance.
 *
 * Returns  1e-6
 */
double double_epsilon(void);

/*
 * Gives the lowest double.
 *
 * Returns  -DBL_MAX; not DBL_MIN, which is the smallest positive one
 */
double double_min(void);

/*
 * Gives the highest double.
 *
 * Returns  DBL_MAX
 */
double double_max(void);

/*
 * Orders two values.  A NaN is below every number and equal to a NaN; equal
 * infinities are equal.
 *
 * Returns  -1 when a is below b, 0 when they are equal, 1 when a is above
 */
int double_compare(double a, double b);

/*
 * Says whether double_compare finds two values equal.
 *
 * Returns  1 or 0
 */
int double_is_equal(double a, double b);

KOR_END_DECLS

#endif
