/*
 * hist_value.h: what is kept of one sensor over one interval.
 *
 * Every function asserts that its pointers are not null and, but for init and
 * the targets of copies, that the version is HIST_VALUE_VERSION.
 */
#ifndef LIBKOR_HIST_VALUE_H
#define LIBKOR_HIST_VALUE_H

#include <stdint.h>

#include "kor_export.h"
#include "reader.h"
#include "sensor_value.h"
#include "writer.h"

KOR_BEGIN_DECLS

#define HIST_VALUE_VERSION 1

KOR_STRUCT(hist_value);
struct hist_value {
    uint8_t version;  /* HIST_VALUE_VERSION; 0 after destruction */
    uint32_t count;   /* valid readings summarised */
    sensor_value min; /* all eight: 0 as long as count is */
    sensor_value max;
    sensor_value first; /* the earliest reading */
    sensor_value last;  /* the latest reading */
    sensor_value sum;
    sensor_value sum2; /* of the squares */
    sensor_value sum3; /* of the cubes */
    sensor_value sum4; /* of the fourth powers */
};

/*
 * Make a summary of no readings, all zeros.
 *
 * Returns  0, or the summary; null with KOR_ERR_NO_MEMORY (-22) as the last
 *          error
 */
int hist_value_init(struct hist_value *hv);
struct hist_value *hist_value_create(void);

/* Clear the version; destroy also frees it and clears the pointer. */
void hist_value_destruct(struct hist_value *hv);
void hist_value_destroy(struct hist_value **hv);

/*
 * Whether the counts are the same and all floats equal by
 * sensor_value_is_equal, which aborts for two equal infinities.
 */
int hist_value_is_equal(const struct hist_value *hv1,
                        const struct hist_value *hv2);

/*
 * Copies a summary.
 *
 * dest     overwritten, whatever it held; null makes a new one, the caller's
 * Returns  the copy; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct hist_value *hist_value_copy(const struct hist_value *hv,
                                   struct hist_value *dest);

/* Adds one reading, in single precision; an invalid one changes nothing. */
void hist_value_update(struct hist_value *hv, sensor_value reading);

/*
 * Adds the readings of hv2, which came after those of hv1, to hv1.  An empty
 * hv2 changes nothing.
 */
void hist_value_merge_with(struct hist_value *hv1,
                           const struct hist_value *hv2);

/*
 * The stored form, 37 bytes: version 1 (1 byte), count (4), and the eight
 * floats in the order of the fields (4 each).
 *
 * Writing returns  the sum of the writer's results, or its negative code
 * Reading returns  37; 0 at the end of the stream
 *                  KOR_ERR_WRONG_VERSION (-12)
 *                  KOR_ERR_TRUNCATED (-48)
 *                  a negative code of the reader; hv is then as it was
 */
int binary_serializer_write_hist_value(const struct hist_value *hv,
                                       struct writer *writer);
int binary_serializer_read_hist_value(struct hist_value *hv,
                                      struct reader *reader);

KOR_END_DECLS

#endif
