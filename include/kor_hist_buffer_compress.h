/*
 * kor_hist_buffer_compress.h: halving the resolution of a history buffer.
 */
#ifndef LIBKOR_KOR_HIST_BUFFER_COMPRESS_H
#define LIBKOR_KOR_HIST_BUFFER_COMPRESS_H

#include <stdint.h>

#include "kor_export.h"
#include "kor_hist_buffer.h"

KOR_BEGIN_DECLS

/*
 * Halves the resolution of a full history buffer: every two adjacent intervals
 * become one, over the sensors of both.  The file itself is not changed.
 *
 * A file without names, a name twice among them, and two changes of names
 * inside a pair are not provided for and abort.
 *
 * hbuf_in_filename  the file
 * hbuf_out          borrowed; must have room for half the file's capacity
 * Returns           0
 *                   KOR_ERR_INVALID_DATA (-6) for an odd capacity or too
 *                   little room, nothing then being written; or for a damaged
 *                   file
 *                   KOR_ERR_INCOMPLETE (-44) for a file that was not full; an
 *                   odd last interval is dropped
 *                   KOR_ERR_TOO_LONG (-49) for more than 10000 sensors in
 *                   the two intervals of a pair
 *                   KOR_ERR_NO_MEMORY (-22)
 *                   what opening or reading the file, or writing to `hbuf_out`,
 *                   gives.  Intervals written stay written
 */
int32_t kor_hist_buffer_compress(const char *hbuf_in_filename,
                                 struct kor_hist_buffer *hbuf_out);

KOR_END_DECLS

#endif
