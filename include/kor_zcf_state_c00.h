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

/*
 * Enters the state: makes a new open current buffer.
 *
 * filename        the new file
 * num_cb_samples  its capacity, > 0
 * Returns         a state, or null with the last error set:
 *                 KOR_ERR_NO_MEMORY (-22), or as
 *                 kor_current_buffer_create
 */
struct kor_zcf_state_c00 *kor_zcf_state_c00_create(const char *filename,
                                                   uint32_t num_cb_samples);

/* The name of a file of the state; borrowed. */
const char *kor_zcf_state_c00_get_filename(
    const struct kor_zcf_state_c00 *state);

/*
 * Makes a state with nothing in it, to be read into.
 *
 * Returns  a state, or null with the last error KOR_ERR_NO_MEMORY (-22)
 */
struct kor_zcf_state_c00 *kor_zcf_state_c00_create_null(void);

/* Closes the open buffer and frees the state. */
void kor_zcf_state_c00_destroy(struct kor_zcf_state_c00 **state);

/*
 * Write to the open buffer.
 *
 * Returns  as kor_current_buffer_write_telemetry_vector, KOR_ERR_FULL (-2)
 *          included, and as kor_current_buffer_write_event
 */
int kor_zcf_state_c00_write_telemetry_vector(struct kor_zcf_state_c00 *state,
                                             struct matrix *vector);
int kor_zcf_state_c00_write_event(struct kor_zcf_state_c00 *state,
                                  struct kor_cb_record_event *event);

/*
 * Writes the version and the file names; the open buffer is known by its name.
 *
 * Returns  the bytes written; the writer's code if the version fails; 0 if a
 *          name cannot be written, which is no failure to the caller
 */
int binary_serializer_write_kor_zcf_state_c00(
    const struct kor_zcf_state_c00 *state, struct writer *writer);

/*
 * Reads that form into a null state and reopens the open buffer.  What was read
 * before a failure stays, for kor_zcf_state_c00_destroy.
 *
 * Returns  the bytes read; 0 at the end of the stream; KOR_ERR_WRONG_VERSION
 *          (-12); the codes of binary_serializer_read_string, and of
 *          kor_current_buffer_open_for_append
 */
int binary_serializer_read_kor_zcf_state_c00(struct kor_zcf_state_c00 *state,
                                             struct reader *reader);

KOR_END_DECLS

#endif
