/*
 * kor_current_buffer_compress.h: folding a current buffer into intervals.
 */
#ifndef LIBKOR_KOR_CURRENT_BUFFER_COMPRESS_H
#define LIBKOR_KOR_CURRENT_BUFFER_COMPRESS_H

#include <stdint.h>

#include "kor_export.h"
#include "kor_hist_buffer.h"

KOR_BEGIN_DECLS

/*
 * Folds a closed current buffer into intervals: every samples_per_hb_interval
 * samples become one, what is left at the end a shorter one.  Events count for
 * the interval of the sample that follows them; those behind the last sample of
 * the file are dropped.  The file itself is not changed.
 *
 * Event types other than 1 to 5, and samples whose time stamp is null, are not
 * provided for and abort.
 *
 * cbuf_filename            the file
 * hbuf                     borrowed; must have room for all intervals of a full
 *                          current buffer
 * samples_per_hb_interval  > 0, divides the file's capacity
 * Returns                  0
 *                          KOR_ERR_INVALID_DATA (-6) if the capacity does not
 *                          divide or there is no room, nothing then being
 *                          written; or for a damaged file
 *                          KOR_ERR_TOO_LONG (-49) for more than 10000 sensors
 *                          in one interval
 *                          KOR_ERR_NO_MEMORY (-22)
 *                          what opening or reading the file, or writing to
 *                          `hbuf`, gives.  Intervals written stay written, and
 *                          the one in progress is written, too
 */
int32_t kor_current_buffer_compress(const char *cbuf_filename,
                                    struct kor_hist_buffer *hbuf,
                                    uint32_t samples_per_hb_interval);

KOR_END_DECLS

#endif
