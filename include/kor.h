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
};

struct kor *kor_create(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals);
struct kor *kor_create_null(void);
struct kor *kor_open(const char *filename);
void kor_close(struct kor **kor);
int kor_write_telemetry_vector(struct kor *kor, struct matrix *vector);
int kor_write_event(struct kor *kor, struct kor_cb_record_event *event);
int binary_serializer_write_kor(const struct kor *kor, struct writer *writer);
int binary_serializer_read_kor(struct kor *kor, struct reader *reader);
int kor_get_restore_result(const struct kor *kor);
int kor_sync(struct kor *kor);

KOR_END_DECLS

#endif
