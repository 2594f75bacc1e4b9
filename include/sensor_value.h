/*
 * sensor_value.h: one reading: a float, with NaN for none.
 */
#ifndef LIBKOR_SENSOR_VALUE_H
#define LIBKOR_SENSOR_VALUE_H

#include <stdint.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

typedef float sensor_value;

/* No reading: the quiet NaN with the bits 0x7FFFFFFF. */
extern const sensor_value _vela_invalid_sensor_value;

/*
 * Compare within an absolute 1e-6, NaN below every number and equal to NaN, as
 * float_compare and float_is_equal do.  Two equal infinities abort.
 */
int sensor_value_compare(sensor_value a, sensor_value b);
int sensor_value_is_equal(sensor_value a, sensor_value b);

/* Whether there is a reading: v is not NaN. */
int sensor_value_is_valid(sensor_value v);

/* The float next to atof(str); text that is not a number gives 0. */
sensor_value sensor_value_from_string(const char *str);

/* The same value as a double. */
double sensor_value_to_double(sensor_value v);

KOR_END_DECLS

#endif
