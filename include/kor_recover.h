/*
 * kor_recover.h: bringing a recorder back after a crash, a full disk or damage.
 *
 * No file that holds a complete record is ever deleted, unless all it holds is
 * proven, bit for bit, to be part of the history already; anything else that
 * does not belong to the recorder is renamed to NAME.orphan.
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
    KOR_RECOVERY_ORPHANED = 7,  /* renamed to NAME.orphan, content kept */
    KOR_RECOVERY_MISSING = 8    /* named by the state file, but not there */
};

KOR_STRUCT(kor_recovery_file);
struct kor_recovery_file {
    char *filename;          /* owned by the report */
    uint32_t action;         /* enum kor_recovery_action; the strongest */
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
    struct kor_recovery_file *files; /* live, then leftovers, then missing */
};

/* For kor_recover_report: say what would be done, change nothing. */
#define KOR_RECOVER_DRY_RUN 1u

/* Results of recovery beside the negative codes. */
#define KOR_RECOVER_UNCHANGED 0
#define KOR_RECOVER_REPAIRED 1

/*
 * Makes a recorder's files whole again, so that kor_open continues it.  May be
 * called at any time while no process has the recorder open; it changes
 * nothing that is in order, can be killed at any point and run again.
 *
 * Incomplete tails are cut; files with damaged stretches are rewritten without
 * them; closed files that became too short are filled up with samples without
 * readings, or intervals without samples; the state file is rebuilt; leftovers
 * are removed if proven folded and else renamed.  File names are taken from
 * the base name; a state file cannot lead to files outside its folder.
 *
 * filename  base name of the recorder, as the application gives it to
 *           kor_open; at most 980 characters
 * Returns   KOR_RECOVER_UNCHANGED (0)
 *           KOR_RECOVER_REPAIRED (1)
 *           KOR_ERR_END_OF_STREAM (-43): nothing was recorded, nothing changed
 *           KOR_ERR_INVALID_DATA (-6): the parameters are lost (see
 *             kor_recover_with), or the files cannot be those of one recorder;
 *             nothing changed
 *           KOR_ERR_CANNOT_OPEN (-40): a file or the folder cannot be opened,
 *             renamed or removed, or the name is too long
 *           KOR_ERR_INFLATE (-41): a read or write failed
 *           KOR_ERR_NO_MEMORY (-22)
 *           After -40, -41 and -22 a part of the repairs may be done.
 */
int kor_recover(const char *filename);

/*
 * The same for a recorder whose parameters may be lost: these hold where the
 * files do not tell others.
 *
 * num_cb_samples, num_hb_intervals  as given to kor_create
 */
int kor_recover_with(const char *filename, uint32_t num_cb_samples,
                     uint32_t num_hb_intervals);

/*
 * The same, with a report of what was done, or would be.
 *
 * num_cb_samples, num_hb_intervals  0: not known
 * flags    0 or KOR_RECOVER_DRY_RUN
 * report   may be null; given to the caller for results 0 and 1, else null
 */
int kor_recover_report(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals, uint32_t flags,
                       struct kor_recovery_report **report);

/* Frees a report and clears the caller's pointer. */
void kor_recovery_report_destroy(struct kor_recovery_report **report);

/*
 * What an application calls at its start: continues the recorder of this name,
 * after recovering it if needed, or creates it if there is none.  Never cuts
 * or overwrites a file that holds a record, and never aborts on what it finds.
 *
 * A recorder found keeps the parameters it was created with, whatever is asked
 * for here.  Files without a readable record are set aside as NAME.orphan
 * before a recorder is created in their place.
 *
 * filename  base name; one that begins with '/' stays right when the process
 *           changes its current folder
 * num_cb_samples, num_hb_intervals  under the preconditions of kor_create
 * Returns  the recorder, given to the caller; null with the last error, a code
 *          of kor_recover, kor_open or kor_create
 */
struct kor *kor_resume(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals);

KOR_END_DECLS

#endif
