/*
 * kor_zcf_state_cc0.h: storage state CC0: a full current buffer and an open
 * one.
 */
#ifndef LIBKOR_KOR_ZCF_STATE_CC0_H
#define LIBKOR_KOR_ZCF_STATE_CC0_H

#include <stdint.h>

#include "kor_current_buffer.h"
#include "kor_export.h"

KOR_BEGIN_DECLS

#define KOR_ZCF_STATE_CC0_VERSION 1

KOR_STRUCT(kor_zcf_state_cc0);
struct kor_zcf_state_cc0 {
    uint8_t version;
    char *cbuf0_filename;
    struct kor_current_buffer *cbuf1; /* open */
};

struct kor_zcf_state_cc0 *kor_zcf_state_cc0_create(const char *cbuf0_filename,
                                                   const char *cbuf1_filename,
                                                   uint32_t num_cb_samples);
const char *kor_zcf_state_cc0_get_cbuf0_filename(
    const struct kor_zcf_state_cc0 *state);
const char *kor_zcf_state_cc0_get_cbuf1_filename(
    const struct kor_zcf_state_cc0 *state);
struct kor_zcf_state_cc0 *kor_zcf_state_cc0_create_null(void);
void kor_zcf_state_cc0_destroy(struct kor_zcf_state_cc0 **state);
int kor_zcf_state_cc0_write_telemetry_vector(struct kor_zcf_state_cc0 *state,
                                             struct matrix *vector);
int kor_zcf_state_cc0_write_event(struct kor_zcf_state_cc0 *state,
                                  struct kor_cb_record_event *event);
int binary_serializer_write_kor_zcf_state_cc0(
    const struct kor_zcf_state_cc0 *state, struct writer *writer);
int binary_serializer_read_kor_zcf_state_cc0(struct kor_zcf_state_cc0 *state,
                                             struct reader *reader);

KOR_END_DECLS

#endif
