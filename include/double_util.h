/*
 * double_util.h: tolerant comparison of doubles.
 */
#ifndef LIBKOR_DOUBLE_UTIL_H
#define LIBKOR_DOUBLE_UTIL_H

#include "kor_export.h"

KOR_BEGIN_DECLS

double double_epsilon(void);
double double_min(void);
double double_max(void);
int double_compare(double a, double b);
int double_is_equal(double a, double b);

KOR_END_DECLS

#endif
