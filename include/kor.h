/*
 * kor.h: the recorder.
 */
#ifndef LIBKOR_KOR_H
#define LIBKOR_KOR_H

#include <stdint.h>

#include "kor_cb_record_event.h"
#include "kor_export.h"
#include "kor_zcf_state_c00.h"
#include "kor_zcf_state_cc0.h"
#include "kor_zcf_state_ccc.h"
#include "kor_zcf_state_hcc.h"
#include "matrix.h"

KOR_BEGIN_DECLS

#define KOR_VERSION 1
#define KOR_ZCF_STATE_C00 1u
#define KOR_ZCF_STATE_CC0 2u
#define KOR_ZCF_STATE_CCC 3u
#define KOR_ZCF_STATE_HCC 4u

KOR_STRUCT(kor);
struct kor {
    uint8_t version;      /* KOR_VERSION; 0 after close */
    char *filename;       /* base name, owned */
    char *state_filename; /* owned */
    uint32_t state;       /* KOR_ZCF_STATE_*; 0: none yet */
    uint32_t num_cb_samples;
    uint32_t num_hb_intervals;
    uint32_t num_samples_per_interval;
    uint32_t next_file_number;
    union {
        struct kor_zcf_state_c00 *c00;
        struct kor_zcf_state_cc0 *cc0;
        struct kor_zcf_state_ccc *ccc;
        struct kor_zcf_state_hcc *hcc;
    };
    uint32_t installed_state; /* private: which member is really there */
    int32_t restore_result;   /* private: what kor_open read */
    int32_t is_sync_missing;  /* private: a full buffer was not synced */
};

/*
 * Makes a recorder, its first buffer and its state file.  Those of an older
 * recorder of that name are overwritten, its other files stay and belong to
 * nothing: kor_recover and kor_open come first where there may be any.
 *
 * filename          base name of all files; copied.  Relative names are found
 *                   again only from the same current folder, and names of more
 *                   than 980 characters not by kor_recover and playback
 * num_cb_samples    samples a current buffer holds; even, and a multiple of
 * num_hb_intervals  intervals it is summarised into; even, and at most 65534:
 *                   with more the first summary aborts
 * Returns           a recorder for kor_close, or null with the last error set:
 *                   KOR_ERR_NO_MEMORY (-22), KOR_ERR_CANNOT_OPEN (-40),
 *                   KOR_ERR_INFLATE (-41) if the state could not be written
 */
struct kor *kor_create(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals);

/*
 * Makes an empty recorder, to be read into.
 *
 * Returns  a recorder, or null with the last error KOR_ERR_NO_MEMORY (-22)
 */
struct kor *kor_create_null(void);

/*
 * Goes on with the recorder whose state is in "<filename>.state".  The other
 * names are those stored there.  After a crash kor_recover comes first: torn
 * files can abort the process here.
 *
 * Returns  a recorder for kor_close; if kor_get_restore_result is negative it
 *          was restored only in part and must not be written to
 *          or null with the last error set: KOR_ERR_NO_MEMORY (-22),
 *          KOR_ERR_CANNOT_OPEN (-40), KOR_ERR_TRUNCATED (-48) for an empty file
 */
struct kor *kor_open(const char *filename);

/* Closes the open buffer and frees the recorder. */
void kor_close(struct kor **kor);

/*
 * Records one sample.  If the open buffer is full, a new one is begun first,
 * and from the third on the oldest are folded into the history.
 *
 * vector   a telemetry matrix of one row; borrowed
 * Returns  0
 *          a negative code of kor_current_buffer_write_telemetry_vector
 *          a negative code of making or folding the files of the next state:
 *          the sample is not stored, nothing is lost, and the next call tries
 *          again with new file numbers
 *          a negative code of saving the next state: the sample is not stored,
 *          nothing is lost, and the next call writes to the new buffer.  Where
 *          the first history has just been made, this aborts instead
 */
int kor_write_telemetry_vector(struct kor *kor, struct matrix *vector);

/*
 * Records one event.  Only types 1 to 5 can be folded; one of another type, or
 * a sample at the null time stamp, aborts when its buffer is.
 *
 * Events come behind a sample: a recorder whose very first record is one has a
 * file without names, which cannot be folded.  When that is due, samples are
 * refused with KOR_ERR_UNKNOWN_KIND (-4), until kor_recover has put names in
 * front.
 *
 * event    borrowed
 * Returns  as kor_current_buffer_write_event
 */
int kor_write_event(struct kor *kor, struct kor_cb_record_event *event);

/*
 * Writes what the state file holds.
 *
 * Returns  the bytes written, or the first failure of the writer
 */
int binary_serializer_write_kor(const struct kor *kor, struct writer *writer);

/*
 * Reads that form into a recorder of kor_create_null and reopens its open
 * buffer.  What was read before a failure stays, for kor_close.
 *
 * Returns  the bytes read; 0 at the end of the stream
 *          KOR_ERR_WRONG_VERSION (-12), KOR_ERR_TRUNCATED (-48)
 *          KOR_ERR_INVALID_DATA (-6) for counts that do not fit each other or
 *          an unknown state
 *          the codes of binary_serializer_read_string, and of
 *          kor_current_buffer_open_for_append
 */
int binary_serializer_read_kor(struct kor *kor, struct reader *reader);

/*
 * What kor_open made of the state file.
 *
 * Returns  the bytes read; a negative code of binary_serializer_read_kor; 0 for
 *          a recorder that was not opened
 */
int kor_get_restore_result(const struct kor *kor);

/*
 * Makes what was accepted so far outlast a power cut.
 *
 * Returns  0, or KOR_ERR_INFLATE (-41) if the disk did not take it, now or when
 *          a full buffer was left.  A failure is told once, as the system tells
 *          it: a later 0 holds for what was accepted since
 */
int kor_sync(struct kor *kor);

KOR_END_DECLS

#endif
