/*
 * kor_zcf_state_ccc.h: storage state CCC: two full current buffers and an open
 * one.
 */
#ifndef LIBKOR_KOR_ZCF_STATE_CCC_H
#define LIBKOR_KOR_ZCF_STATE_CCC_H

#include <stdint.h>

#include "kor_current_buffer.h"
#include "kor_export.h"

KOR_BEGIN_DECLS

#define KOR_ZCF_STATE_CCC_VERSION 1

KOR_STRUCT(kor_zcf_state_ccc);
struct kor_zcf_state_ccc {
    uint8_t version;
    char *cbuf0_filename;
    char *cbuf1_filename;
    struct kor_current_buffer *cbuf2; /* open */
};

struct kor_zcf_state_ccc *kor_zcf_state_ccc_create(const char *cbuf0_filename,
                                                   const char *cbuf1_filename,
                                                   const char *cbuf2_filename,
                                                   uint32_t num_cb_samples);
const char *kor_zcf_state_ccc_get_cbuf0_filename(
    const struct kor_zcf_state_ccc *state);
const char *kor_zcf_state_ccc_get_cbuf1_filename(
    const struct kor_zcf_state_ccc *state);
const char *kor_zcf_state_ccc_get_cbuf2_filename(
    const struct kor_zcf_state_ccc *state);
struct kor_zcf_state_ccc *kor_zcf_state_ccc_create_null(void);
void kor_zcf_state_ccc_destroy(struct kor_zcf_state_ccc **state);
int kor_zcf_state_ccc_write_telemetry_vector(struct kor_zcf_state_ccc *state,
                                             struct matrix *vector);
int kor_zcf_state_ccc_write_event(struct kor_zcf_state_ccc *state,
                                  struct kor_cb_record_event *event);
int binary_serializer_write_kor_zcf_state_ccc(
    const struct kor_zcf_state_ccc *state, struct writer *writer);
int binary_serializer_read_kor_zcf_state_ccc(struct kor_zcf_state_ccc *state,
                                             struct reader *reader);

KOR_END_DECLS

#endif
