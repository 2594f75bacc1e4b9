/*
 * recorder.c: a recorder through all its states, a crash, and its playback.
 */
#define _XOPEN_SOURCE 700
#include <string.h>
#include <unistd.h>

#include "check.h"
#include "error.h"
#include "kor.h"
#include "kor_buffer.h"
#include "kor_export.h"
#include "kor_playback.h"
#include "kor_recover.h"
#include "kor_zcf_state_c00.h"
#include "kor_zcf_state_cc0.h"
#include "kor_zcf_state_ccc.h"
#include "kor_zcf_state_hcc.h"
#include "raw_writer.h"

/* Samples a file, and the intervals that a full one is folded into. */
enum { NSAMPLES = 4, NINTERVALS = 2, START = 1000 };

static void write_samples(kor *recorder, int from, int to)
{
    for (int i = from; i < to; ++i) {
        matrix *vector = vector_of(START + i, 40 + i, 1200);
        CHECK(kor_write_telemetry_vector(recorder, vector) == 0);
        matrix_destroy(&vector);
    }
}

static void write_event(kor *recorder, int i)
{
    const timestamp t = time_of(START + i);
    kor_cb_record_event *event = kor_cb_record_event_create(4, &t, "landed");
    CHECK(kor_write_event(recorder, event) == 0);
    kor_cb_record_event_destroy(&event);
}

/* Through all four states, with the files that each should have. */
static void record(void)
{
    kor *recorder = kor_create("rec", NSAMPLES, NINTERVALS);
    CHECK(recorder != NULL);
    write_samples(recorder, 0, 4);
    CHECK(recorder->state == KOR_ZCF_STATE_C00);
    CHECK(strcmp(kor_zcf_state_c00_get_filename(recorder->c00),
                 "rec.1.cbuf.z") == 0);
    write_samples(recorder, 4, 8);
    CHECK(recorder->state == KOR_ZCF_STATE_CC0);
    CHECK(strcmp(kor_zcf_state_cc0_get_cbuf1_filename(recorder->cc0),
                 "rec.2.cbuf.z") == 0);
    write_samples(recorder, 8, 12);
    CHECK(recorder->state == KOR_ZCF_STATE_CCC);
    CHECK(strcmp(kor_zcf_state_ccc_get_cbuf2_filename(recorder->ccc),
                 "rec.3.cbuf.z") == 0);
    write_samples(recorder, 12, 14);
    CHECK(recorder->state == KOR_ZCF_STATE_HCC);
    CHECK(strcmp(kor_zcf_state_hcc_get_hbuf_filename(recorder->hcc),
                 "rec.4.hbuf.z") == 0);
    CHECK(access("rec.1.cbuf.z", F_OK) != 0);
    write_event(recorder, 13);
    CHECK(kor_sync(recorder) == 0);

    FILE *fp = scratch_stream();
    writer *out = raw_writer_create(fp, 1);
    const int nbytes = binary_serializer_write_kor(recorder, out);
    CHECK(nbytes > 0 && ftell(fp) == nbytes);
    writer_destroy(&out);
    fclose(fp);
    kor_close(&recorder);
    CHECK(recorder == NULL);
    CHECK(ntraces > 0);
}

static void go_on(void)
{
    kor *recorder = kor_open("rec");
    CHECK(recorder != NULL && kor_get_restore_result(recorder) > 0);
    CHECK(recorder->num_cb_samples == NSAMPLES);
    CHECK(recorder->num_hb_intervals == NINTERVALS);
    write_samples(recorder, 14, 15);
    kor_close(&recorder);
    CHECK(kor_open("absent") == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_CANNOT_OPEN);
}

/* The last file loses its end, the state file everything. */
static void crash_and_recover(void)
{
    kor_recovery_report *report = NULL;
    CHECK(truncate("rec.state", 0) == 0);
    FILE *fp = fopen("rec.5.cbuf.z", "r");
    CHECK(fp != NULL && fseek(fp, -2, SEEK_END) == 0);
    CHECK(truncate("rec.5.cbuf.z", ftell(fp)) == 0);
    fclose(fp);

    CHECK(kor_recover_report("rec", NSAMPLES, NINTERVALS, KOR_RECOVER_DRY_RUN,
                             &report) == KOR_RECOVER_REPAIRED);
    CHECK(report->state == KOR_ZCF_STATE_HCC && report->state_file_rebuilt);
    CHECK(report->nfiles == 3 && report->files[2].action == KOR_RECOVERY_CUT);
    CHECK(report->files[2].bytes_cut > 0);
    kor_recovery_report_destroy(&report);
    CHECK(report == NULL);
    CHECK(kor_recover_with("rec", NSAMPLES, NINTERVALS) ==
          KOR_RECOVER_REPAIRED);
    CHECK(kor_recover("rec") == KOR_RECOVER_UNCHANGED);
    CHECK(kor_recover("absent") == KOR_ERR_END_OF_STREAM);

    kor *recorder = kor_resume("rec", NSAMPLES, NINTERVALS);
    CHECK(recorder != NULL && recorder->state == KOR_ZCF_STATE_HCC);
    write_samples(recorder, 15, 16);
    kor_close(&recorder);
}

static void play(void)
{
    unsigned counts[KOR_PLAYBACK_DAMAGE + 1] = {0};
    float last = 0;
    kor_playback_item item;
    kor_playback *playback = kor_playback_open("rec");
    CHECK(playback != NULL);
    while (kor_playback_next(playback, &item) == 1) {
        ++counts[item.kind];
        if (item.kind == KOR_PLAYBACK_SAMPLE) last = item.values[0];
        if (item.kind == KOR_PLAYBACK_EVENT)
            CHECK(item.event_type == 4 && strcmp(item.text, "landed") == 0);
        if (item.kind == KOR_PLAYBACK_INTERVAL)
            CHECK(item.n_sensors == 2 && item.hvalues[0].count == 2);
    }
    /* The history has an order of its own. */
    CHECK(counts[KOR_PLAYBACK_SENSORS] == 2);
    CHECK(counts[KOR_PLAYBACK_INTERVAL] == 2 * NINTERVALS);
    /* Eight were folded, and the crash took one. */
    CHECK(counts[KOR_PLAYBACK_SAMPLE] == 16 - 8 - 1);
    CHECK(counts[KOR_PLAYBACK_EVENT] == 1);
    CHECK(counts[KOR_PLAYBACK_DAMAGE] == 0);
    CHECK(last == 40 + 15);

    kor_playback_info info;
    kor_playback_file file;
    CHECK(kor_playback_get_info(playback, &info) == 0);
    CHECK(info.is_recorder && info.state_intact && info.nfiles == 3);
    CHECK(kor_playback_get_file(playback, 0, &file) == 0);
    CHECK(strcmp(file.filename, "rec.4.hbuf.z") == 0);
    CHECK(file.kind == KOR_BUFFER_TYPE_HIST && !file.missing);
    CHECK(kor_playback_get_file(playback, 3, &file) == KOR_ERR_INVALID_DATA);
    kor_playback_close(&playback);
    CHECK(playback == NULL);
}

static void states_alone(void)
{
    kor_zcf_state_c00 *c00 = kor_zcf_state_c00_create("alone.1.cbuf.z", 2);
    CHECK(c00 != NULL);
    for (int i = 0; i < 3; ++i) {
        matrix *vector = vector_of(START + i, 40 + i, 1200);
        const int result =
            kor_zcf_state_c00_write_telemetry_vector(c00, vector);
        CHECK(result == (i < 2 ? KOR_OK : KOR_ERR_FULL));
        matrix_destroy(&vector);
    }
    kor_zcf_state_c00_destroy(&c00);
    kor_zcf_state_cc0 *cc0 =
        kor_zcf_state_cc0_create("alone.1.cbuf.z", "alone.2.cbuf.z", 2);
    CHECK(cc0 != NULL);
    CHECK(strcmp(kor_zcf_state_cc0_get_cbuf0_filename(cc0), "alone.1.cbuf.z") ==
          0);
    kor_zcf_state_cc0_destroy(&cc0);
    CHECK(cc0 == NULL);
}

void check_recorder(void)
{
    record();
    go_on();
    crash_and_recover();
    play();
    states_alone();
}
