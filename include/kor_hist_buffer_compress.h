/*
 * kor_hist_buffer_compress.h: halving the resolution of a history buffer.
 */
#ifndef LIBKOR_KOR_HIST_BUFFER_COMPRESS_H
#define LIBKOR_KOR_HIST_BUFFER_COMPRESS_H

#include <stdint.h>

#include "kor_export.h"
#include "kor_hist_buffer.h"

KOR_BEGIN_DECLS

int32_t kor_hist_buffer_compress(const char *hbuf_in_filename,
                                 struct kor_hist_buffer *hbuf_out);

KOR_END_DECLS

#endif
