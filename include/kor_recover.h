/*
 * kor_recover.h: bringing a recorder back after a crash, a full disk or damage.
 */
#ifndef LIBKOR_KOR_RECOVER_H
#define LIBKOR_KOR_RECOVER_H

#include <stdint.h>

#include "kor.h"
#include "kor_export.h"

KOR_BEGIN_DECLS

/* What became of one file; see struct kor_recovery_file. */
enum kor_recovery_action {
    KOR_RECOVERY_KEPT = 1,      /* live, untouched */
    KOR_RECOVERY_CUT = 2,       /* live, an incomplete tail was cut off */
    KOR_RECOVERY_REWRITTEN = 3, /* live, rewritten without its damaged parts */
    KOR_RECOVERY_PADDED = 4,    /* live, filled up with empty records */
    KOR_RECOVERY_CREATED = 5,   /* live, was missing or held nothing */
    KOR_RECOVERY_REMOVED = 6,   /* held nothing, or is proven to be folded */
    KOR_RECOVERY_ORPHANED = 7   /* renamed to NAME.orphan, content kept */
};

KOR_STRUCT(kor_recovery_file);
struct kor_recovery_file {
    char *filename;          /* owned by the report */
    uint32_t action;         /* enum kor_recovery_action */
    uint32_t records_kept;   /* samples, intervals and events still there */
    uint32_t records_padded; /* empty records added */
    uint32_t gaps;           /* damaged stretches between whole records */
    uint64_t bytes_cut;      /* of the tail */
    uint64_t bytes_damaged;  /* in gaps */
};

KOR_STRUCT(kor_recovery_report);
struct kor_recovery_report {
    uint32_t state;          /* KOR_ZCF_STATE_* of the live set */
    uint32_t num_cb_samples; /* parameters in force */
    uint32_t num_hb_intervals;
    uint32_t next_file_number;
    uint32_t state_file_rebuilt; /* 1: the state file was wrong or missing */
    uint32_t nfiles;
    struct kor_recovery_file *files; /* live files first, then leftovers */
};

/* For kor_recover_report: say what would be done, change nothing. */
#define KOR_RECOVER_DRY_RUN 1u

/* Results of recovery beside the negative codes. */
#define KOR_RECOVER_UNCHANGED 0
#define KOR_RECOVER_REPAIRED 1

int kor_recover(const char *filename);
int kor_recover_with(const char *filename, uint32_t num_cb_samples,
                     uint32_t num_hb_intervals);
int kor_recover_report(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals, uint32_t flags,
                       struct kor_recovery_report **report);
void kor_recovery_report_destroy(struct kor_recovery_report **report);
struct kor *kor_resume(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals);

KOR_END_DECLS

#endif
