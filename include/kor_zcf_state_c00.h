/*
 * kor_zcf_state_c00.h: storage state C00: one current buffer, open.
 */
#ifndef LIBKOR_KOR_ZCF_STATE_C00_H
#define LIBKOR_KOR_ZCF_STATE_C00_H

#include <stdint.h>

#include "kor_current_buffer.h"
#include "kor_export.h"

KOR_BEGIN_DECLS

#define KOR_ZCF_STATE_C00_VERSION 1

KOR_STRUCT(kor_zcf_state_c00);
struct kor_zcf_state_c00 {
    uint8_t version;
    struct kor_current_buffer *cbuf; /* open */
};

struct kor_zcf_state_c00 *kor_zcf_state_c00_create(const char *filename,
                                                   uint32_t num_cb_samples);
const char *kor_zcf_state_c00_get_filename(
    const struct kor_zcf_state_c00 *state);
struct kor_zcf_state_c00 *kor_zcf_state_c00_create_null(void);
void kor_zcf_state_c00_destroy(struct kor_zcf_state_c00 **state);
int kor_zcf_state_c00_write_telemetry_vector(struct kor_zcf_state_c00 *state,
                                             struct matrix *vector);
int kor_zcf_state_c00_write_event(struct kor_zcf_state_c00 *state,
                                  struct kor_cb_record_event *event);
int binary_serializer_write_kor_zcf_state_c00(
    const struct kor_zcf_state_c00 *state, struct writer *writer);
int binary_serializer_read_kor_zcf_state_c00(struct kor_zcf_state_c00 *state,
                                             struct reader *reader);

KOR_END_DECLS

#endif
