/*
 * kor_current_buffer_compress.h: folding a current buffer into intervals.
 */
#ifndef LIBKOR_KOR_CURRENT_BUFFER_COMPRESS_H
#define LIBKOR_KOR_CURRENT_BUFFER_COMPRESS_H

#include <stdint.h>

#include "kor_export.h"
#include "kor_hist_buffer.h"

KOR_BEGIN_DECLS

int32_t kor_current_buffer_compress(const char *cbuf_filename,
                                    struct kor_hist_buffer *hbuf,
                                    uint32_t samples_per_hb_interval);

KOR_END_DECLS

#endif
