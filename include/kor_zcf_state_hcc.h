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

/*
 * Enters the state: makes a new open current buffer beside the closed files.
 *
 * hbuf_filename, cbuf1_filename  copied
 * cbuf2_filename                 the new file
 * num_cb_samples                 its capacity, > 0
 * Returns                        a state, or null with the last error set:
 *                                KOR_ERR_NO_MEMORY (-22), or as
 *                                kor_current_buffer_create
 */
struct kor_zcf_state_hcc *kor_zcf_state_hcc_create(const char *hbuf_filename,
                                                   const char *cbuf1_filename,
                                                   const char *cbuf2_filename,
                                                   uint32_t num_cb_samples);

/* The names of the files of the state; borrowed. */
const char *kor_zcf_state_hcc_get_hbuf_filename(
    const struct kor_zcf_state_hcc *state);
const char *kor_zcf_state_hcc_get_cbuf1_filename(
    const struct kor_zcf_state_hcc *state);
const char *kor_zcf_state_hcc_get_cbuf2_filename(
    const struct kor_zcf_state_hcc *state);

/*
 * Makes a state with nothing in it, to be read into.
 *
 * Returns  a state, or null with the last error KOR_ERR_NO_MEMORY (-22)
 */
struct kor_zcf_state_hcc *kor_zcf_state_hcc_create_null(void);

/* Closes the open buffer and frees the state. */
void kor_zcf_state_hcc_destroy(struct kor_zcf_state_hcc **state);

/*
 * Write to the open buffer.
 *
 * Returns  as kor_current_buffer_write_telemetry_vector, KOR_ERR_FULL (-2)
 *          included, and as kor_current_buffer_write_event
 */
int kor_zcf_state_hcc_write_telemetry_vector(struct kor_zcf_state_hcc *state,
                                             struct matrix *vector);
int kor_zcf_state_hcc_write_event(struct kor_zcf_state_hcc *state,
                                  struct kor_cb_record_event *event);

/*
 * Writes the version and the file names; the open buffer is known by its name.
 *
 * Returns  the bytes written; the writer's code if the version fails; 0 if a
 *          name cannot be written, which is no failure to the caller
 */
int binary_serializer_write_kor_zcf_state_hcc(
    const struct kor_zcf_state_hcc *state, struct writer *writer);

/*
 * Reads that form into a null state and reopens the open buffer.  What was read
 * before a failure stays, for kor_zcf_state_hcc_destroy.
 *
 * Returns  the bytes read; 0 at the end of the stream; KOR_ERR_WRONG_VERSION
 *          (-12); the codes of binary_serializer_read_string, and of
 *          kor_current_buffer_open_for_append
 */
int binary_serializer_read_kor_zcf_state_hcc(struct kor_zcf_state_hcc *state,
                                             struct reader *reader);

KOR_END_DECLS

#endif
