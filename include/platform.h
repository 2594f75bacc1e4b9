/*
 * platform.h: what the product supplies: the trace facility and random numbers.
 *
 * The library has a weak default of each function; a program that defines one
 * of them replaces it.
 */
#ifndef LIBKOR_PLATFORM_H
#define LIBKOR_PLATFORM_H

#include <stdint.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

/*
 * Takes a formatted diagnostic.  The default does nothing.
 *
 * level       150 for events of a file, 90 for every vector written
 * a           always -1
 * b           always 39
 * message_id  differs per call site
 * format      as for printf; borrowed, like its arguments
 */
void sp_trace_printf(int level, int a, int b, int message_id,
                     const char *format, ...);
/*
 * Takes a diagnostic that needs no formatting.  The default does nothing.
 *
 * level, a, b, message_id  as for sp_trace_printf
 * text                     borrowed
 */
void sp_trace_string(int level, int a, int b, int message_id, const char *text);
/*
 * Draws a random number.  The default is a generator that starts the same in
 * every process.
 *
 * Returns  any 32-bit value, each as likely
 */
uint32_t random_uint(void);

KOR_END_DECLS

#endif
