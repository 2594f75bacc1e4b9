/*
 * platform.h: what the product supplies: the trace facility and random numbers.
 */
#ifndef LIBKOR_PLATFORM_H
#define LIBKOR_PLATFORM_H

#include <stdint.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

void sp_trace_printf(int level, int a, int b, int message_id,
                     const char *format, ...);
void sp_trace_string(int level, int a, int b, int message_id, const char *text);
uint32_t random_uint(void);

KOR_END_DECLS

#endif
