/*
 * kor_zcf_state_hcc.h: storage state HCC: history, a full current buffer and an
 * open one.
 */
#ifndef LIBKOR_KOR_ZCF_STATE_HCC_H
#define LIBKOR_KOR_ZCF_STATE_HCC_H

#include <stdint.h>

#include "kor_current_buffer.h"
#include "kor_export.h"

KOR_BEGIN_DECLS

#define KOR_ZCF_STATE_HCC_VERSION 1

KOR_STRUCT(kor_zcf_state_hcc);
struct kor_zcf_state_hcc {
    uint8_t version;
    char *hbuf_filename;
    char *cbuf1_filename;
    struct kor_current_buffer *cbuf2; /* open */
};

struct kor_zcf_state_hcc *kor_zcf_state_hcc_create(const char *hbuf_filename,
                                                   const char *cbuf1_filename,
                                                   const char *cbuf2_filename,
                                                   uint32_t num_cb_samples);
const char *kor_zcf_state_hcc_get_hbuf_filename(
    const struct kor_zcf_state_hcc *state);
const char *kor_zcf_state_hcc_get_cbuf1_filename(
    const struct kor_zcf_state_hcc *state);
const char *kor_zcf_state_hcc_get_cbuf2_filename(
    const struct kor_zcf_state_hcc *state);
struct kor_zcf_state_hcc *kor_zcf_state_hcc_create_null(void);
void kor_zcf_state_hcc_destroy(struct kor_zcf_state_hcc **state);
int kor_zcf_state_hcc_write_telemetry_vector(struct kor_zcf_state_hcc *state,
                                             struct matrix *vector);
int kor_zcf_state_hcc_write_event(struct kor_zcf_state_hcc *state,
                                  struct kor_cb_record_event *event);
int binary_serializer_write_kor_zcf_state_hcc(
    const struct kor_zcf_state_hcc *state, struct writer *writer);
int binary_serializer_read_kor_zcf_state_hcc(struct kor_zcf_state_hcc *state,
                                             struct reader *reader);

KOR_END_DECLS

#endif
