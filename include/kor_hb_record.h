/*
 * kor_hb_record.h: any record of a history buffer.
 */
#ifndef LIBKOR_KOR_HB_RECORD_H
#define LIBKOR_KOR_HB_RECORD_H

#include <stdint.h>

#include "kor_export.h"
#include "kor_hb_record_sensor_names.h"
#include "kor_hb_record_sensor_values.h"

KOR_BEGIN_DECLS

#define KOR_HB_RECORD_SENSOR_NAMES 1u
#define KOR_HB_RECORD_SENSOR_VALUES 2u

KOR_STRUCT(kor_hb_record);
struct kor_hb_record {
    uint32_t type; /* KOR_HB_RECORD_*; 0: empty */
    union {
        void *data;
        struct kor_cb_record_sensor_names *names;
        struct kor_hb_record_sensor_values *values;
    };
    uint32_t owns_data; /* 1: the payload is destroyed with the record */
};

/* Makes an empty record: type 0, no payload. */
int kor_hb_record_init_null(struct kor_hb_record *rec);

/*
 * Make a record around a payload, to be written.
 *
 * names, values  borrowed: the record does not destroy it
 * Returns        0
 */
int kor_hb_record_init_sensor_names(struct kor_hb_record *rec,
                                    kor_hb_record_sensor_names *names);
int kor_hb_record_init_sensor_values(
    struct kor_hb_record *rec, struct kor_hb_record_sensor_values *values);

/* Destroys the payload if the record owns it, and empties the record. */
void kor_hb_record_destruct(struct kor_hb_record *rec);

/*
 * Gives the payload up: it then belongs to the caller.
 *
 * The record still points at it and would read the next record of the same type
 * over it; kor_hb_record_init_null makes the record forget it.
 */
void kor_hb_record_detach(struct kor_hb_record *rec);

/*
 * Writes the type as 4 bytes, then the payload's own form.
 *
 * Returns  bytes written; a negative code of the writer; what the payload's
 *          writer returns, KOR_ERR_TOO_LONG (-49) among it, the type then being
 *          written already
 */
int binary_serializer_write_kor_hb_record(const struct kor_hb_record *rec,
                                          struct writer *writer);

/*
 * Reads the next record of a stream.
 *
 * rec      empty, or as an earlier read left it: a payload of the same type is
 *          read over, whether or not the record owns it; another is dropped
 * Returns  bytes read, 5 or more, the record then owning its payload
 *          0 at the end of the stream, the record untouched
 *          KOR_ERR_INVALID_DATA (-6) for an unknown type
 *          KOR_ERR_TRUNCATED (-48) for a stream that ends inside the record
 *          KOR_ERR_NO_MEMORY (-22), or what the payload's reader returns; the
 *          payload is then gone
 */
int binary_serializer_read_kor_hb_record(struct kor_hb_record *rec,
                                         struct reader *reader);

KOR_END_DECLS

#endif
