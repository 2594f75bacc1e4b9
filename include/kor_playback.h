/*
 * kor_playback.h: reading a recorder's files in the order of their recording,
 * changing nothing.
 *
 * The files may be those of a running recorder, torn, damaged, on a read-only
 * medium or from another machine.  Nothing is locked, no write permission is
 * needed, and memory use does not grow with the length of the files.
 */
#ifndef LIBKOR_KOR_PLAYBACK_H
#define LIBKOR_KOR_PLAYBACK_H

#include <stdint.h>

#include "hist_value.h"
#include "kor_export.h"
#include "kor_hb_record_events.h"
#include "timestamp.h"

KOR_BEGIN_DECLS

enum kor_playback_kind {
    KOR_PLAYBACK_SENSORS = 1,  /* the sensors of what follows */
    KOR_PLAYBACK_INTERVAL = 2, /* the summary of an interval */
    KOR_PLAYBACK_SAMPLE = 3,   /* one sample */
    KOR_PLAYBACK_EVENT = 4,    /* one event */
    KOR_PLAYBACK_DAMAGE = 5    /* bytes that hold no readable record */
};

/*
 * One item of a playback.  What it points at is the playback's and holds until
 * the next call of kor_playback_next or kor_playback_close.  Fields that do
 * not belong to its kind are zero, but names and n_sensors, which always give
 * the sensors in force.
 */
KOR_STRUCT(kor_playback_item);
struct kor_playback_item {
    uint32_t kind;          /* enum kor_playback_kind */
    const char *filename;   /* the file it comes from */
    uint64_t offset;        /* in that file: of its zlib stream, or damage */
    uint64_t length;        /* compressed bytes of the stream, or damage */
    struct timestamp start; /* interval: its first sample; else the time */
    struct timestamp end;   /* interval: its last sample; else the time */
    uint32_t n_sensors;     /* sensors in force; 0 before the first names */
    const char *const *names;
    const float *values;              /* sample: n_sensors readings */
    const struct hist_value *hvalues; /* interval: n_sensors summaries */
    struct kor_hb_record_events event_counts; /* interval */
    uint32_t event_type;                      /* event */
    const char *text;                         /* event */
};

/* One file of a playback, as far as it can be told without reading it all. */
KOR_STRUCT(kor_playback_file);
struct kor_playback_file {
    const char *filename; /* the playback's */
    uint32_t kind;        /* KOR_BUFFER_TYPE_*; 0: not recognisable */
    uint32_t capacity;    /* samples or intervals; 0: header not readable */
    uint64_t size;        /* bytes; 0 with missing set: there is no such file */
    uint32_t missing;     /* 1: named by the state file but not there */
};

/* The parameters of a recorder; zero where its files do not tell them. */
KOR_STRUCT(kor_playback_info);
struct kor_playback_info {
    uint32_t is_recorder;  /* 1: opened by base name; 0: one buffer file */
    uint32_t state_intact; /* 1: the state file was read whole */
    uint32_t state;        /* KOR_ZCF_STATE_* */
    uint32_t num_cb_samples;
    uint32_t num_hb_intervals;
    uint32_t next_file_number;
    uint32_t nfiles;
};

KOR_STRUCT(kor_playback);

/*
 * Opens a recorder for reading by its base name, or one buffer file by its own
 * name, which may be any.  Of a recorder whose state file is missing, torn or
 * behind its files, the files are taken that kor_recover would make live.  All
 * files are opened at once, so that what a running recorder folds and removes
 * meanwhile can still be read.
 *
 * name     a recorder's base name or the name of a buffer file
 * Returns  the playback, given to the caller; null with the last error
 *          KOR_ERR_CANNOT_OPEN (-40: there is no such recorder or file, or it
 *          cannot be read), KOR_ERR_INFLATE (-41: a read failed) or
 *          KOR_ERR_NO_MEMORY (-22)
 */
struct kor_playback *kor_playback_open(const char *name);

/*
 * Gives the next item: the intervals of the history, then samples and events
 * in the order in which they were recorded.
 *
 * A KOR_PLAYBACK_SENSORS item comes before the first interval or sample and
 * whenever the sensors change.  Readings whose sensor names were lost carry
 * the names in force if their number fits, and else "sensor 1", "sensor 2"
 * and so on.  A file that is named but missing is damage of length 0.
 *
 * After the end it may be called again: it then gives what was recorded since.
 * If the recorder went on to further files meanwhile, the playback follows: it
 * neither loses nor doubles a sample while it falls behind by less than two
 * full buffers; further behind, it gives of the lost samples the intervals
 * that are left of them.
 *
 * An incomplete tail of the last file is damage, once; it may be a record that
 * a running recorder is just writing, which comes after a later call.
 *
 * item     filled; zeroed at the end and on a failure
 * Returns  1: an item; 0: the end; KOR_ERR_INFLATE (-41: a read failed) or
 *          KOR_ERR_NO_MEMORY (-22)
 */
int kor_playback_next(struct kor_playback *playback,
                      struct kor_playback_item *item);

/* Tells what is known of the recorder.  Returns 0. */
int kor_playback_get_info(const struct kor_playback *playback,
                          struct kor_playback_info *info);

/*
 * Tells about the i-th file (from 0) in playing order.  Their number may grow
 * while a running recorder is followed.
 *
 * Returns  0, or KOR_ERR_INVALID_DATA (-6) when there is no i-th file
 */
int kor_playback_get_file(const struct kor_playback *playback, uint32_t i,
                          struct kor_playback_file *file);

/* Closes the playback and clears the caller's pointer. */
void kor_playback_close(struct kor_playback **playback);

KOR_END_DECLS

#endif
