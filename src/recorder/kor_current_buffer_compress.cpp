// kor_current_buffer_compress.cpp: folding a current buffer into intervals.
//
// One pass over the file.  Between intervals there are no samples, `start` is
// null and the list is in a fresh generation; the list itself lives through
// the whole pass, since the order of its chains is the order of the columns.
#include "kor_current_buffer_compress.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "hist_value_list.h"
#include "kor_current_buffer.h"
#include "model/hist_value_columns.hpp"
#include "recorder/event_counters.hpp"

namespace {

struct fold_state {
    struct kor_current_buffer *cbuf;
    struct kor_hist_buffer *hbuf;
    struct timestamp start;  // null between intervals
    struct timestamp end;
    struct hist_value_list list;
    struct kor_hb_record_events events;
    uint32_t nsamples;  // in the interval in progress
    uint32_t samples_per_hb_interval;
    struct kor_cb_record rec;
    bool columns_are_bound;  // to the names in force
    vela::hist_columns columns;
};

}  // namespace

static void init_state(fold_state *state)
{
    timestamp_init_null(&state->start);
    timestamp_init_null(&state->end);
    hist_value_list_init(&state->list);
    kor_hb_record_events_init_null(&state->events);
    state->nsamples = 0;
    kor_cb_record_init_null(&state->rec);
    state->columns_are_bound = false;
}

static void destruct_state(fold_state *state)
{
    kor_cb_record_destruct(&state->rec);
    kor_hb_record_events_destruct(&state->events);
    hist_value_list_destruct(&state->list);
    timestamp_destruct(&state->end);
    timestamp_destruct(&state->start);
}

static int bind_columns(fold_state *state)
{
    if (state->columns_are_bound) return KOR_OK;
    const int bound = state->columns.bind(
        state->list,
        *kor_cb_record_sensor_names_get_sensors(state->cbuf->names));
    state->columns_are_bound = bound == KOR_OK;
    return bound;
}

// Adds a sample to the interval in progress.
static int _kor_update_current_interval(fold_state *state)
{
    struct kor_cb_record_sensor_values *const sample = state->rec.values;
    const struct timestamp *const t =
        kor_cb_record_sensor_values_get_timestamp(sample);
    ++state->nsamples;
    timestamp_copy(t, &state->end);
    if (state->nsamples == 1) timestamp_copy(t, &state->start);

    KOR_ASSERT(state->cbuf->names != NULL);
    const uint32_t count =
        kor_cb_record_sensor_values_get_number_values(sample);
    if (count !=
        kor_cb_record_sensor_names_get_number_sensors(state->cbuf->names))
        return KOR_ERR_INVALID_DATA;
    const int bound = bind_columns(state);
    if (bound < 0) return bound;
    const float *const readings =
        kor_cb_record_sensor_values_get_values(sample);
    for (uint32_t i = 0; i < count; ++i) {
        struct hist_value *const value = state->columns.claim(i);
        if (value == nullptr) return vela_get_last_error();
        hist_value_update(value, readings[i]);
    }
    return KOR_OK;
}

// Counts an event for the interval of the next sample to come.
static void _kor_update_event_stats(fold_state *state)
{
    uint32_t *const counter = vela::counter_of(
        state->events, kor_cb_record_event_get_type(state->rec.event));
    KOR_ASSERT(counter != NULL);
    ++*counter;
}

static int _kor_write_current_interval(fold_state *state)
{
    KOR_ASSERT(state->hbuf != NULL);
    KOR_ASSERT(!timestamp_is_null(&state->start));
    KOR_ASSERT(!timestamp_is_null(&state->end));
    return kor_hist_buffer_write_interval(
        state->hbuf, &state->start, &state->end, &state->list, &state->events);
}

// Ends the interval in progress if it is full.
static int end_full_interval(fold_state *state)
{
    if (state->nsamples < state->samples_per_hb_interval) return KOR_OK;
    const int written = _kor_write_current_interval(state);
    if (written < 0) return written;
    hist_value_list_clear(&state->list);
    state->nsamples = 0;
    timestamp_init_null(&state->start);
    kor_hb_record_events_init_null(&state->events);
    return KOR_OK;
}

static int _kor_handle_cb_record(fold_state *state)
{
    if (state->rec.type == KOR_CB_RECORD_EVENT) {
        _kor_update_event_stats(state);
        return KOR_OK;
    }
    if (state->rec.type == KOR_CB_RECORD_SENSOR_NAMES) {
        // The buffer has adopted them.  The interval goes on: its list gathers
        // every sensor seen in any of its samples.
        state->columns_are_bound = false;
        return KOR_OK;
    }
    const int updated = _kor_update_current_interval(state);
    return updated < 0 ? updated : end_full_interval(state);
}

// Folds up to the end of the file or to the first failure.
static int fold_records(fold_state *state)
{
    for (;;) {
        if (state->cbuf->size > state->cbuf->max_data_records)
            return KOR_ERR_INVALID_DATA;
        const int nread =
            kor_current_buffer_read_record(state->cbuf, &state->rec);
        if (nread == KOR_ERR_END_OF_STREAM) return KOR_OK;
        if (nread < 0) return nread;
        const int handled = _kor_handle_cb_record(state);
        if (handled < 0) return handled;
    }
}

// Whether every interval of a full current buffer finds room in `hbuf`.
static bool has_room(const struct kor_current_buffer *cbuf,
                     const struct kor_hist_buffer *hbuf,
                     uint32_t samples_per_hb_interval)
{
    const auto max_samples = static_cast<uint32_t>(cbuf->max_data_records);
    // Part of the interface: the code that an overfull history buffer gives is
    // taken for a large number.
    const auto nempty =
        static_cast<uint32_t>(kor_hist_buffer_get_number_empty_intervals(hbuf));
    return max_samples % samples_per_hb_interval == 0 &&
           nempty >= max_samples / samples_per_hb_interval;
}

int32_t kor_current_buffer_compress(const char *cbuf_filename,
                                    struct kor_hist_buffer *hbuf,
                                    uint32_t samples_per_hb_interval)
{
    KOR_ASSERT(cbuf_filename != NULL);
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(samples_per_hb_interval > 0);
    vela::owned<kor_current_buffer_close> cbuf(
        kor_current_buffer_open_for_read_write(cbuf_filename));
    if (!cbuf) return vela_get_last_error();
    if (!has_room(cbuf.get(), hbuf, samples_per_hb_interval))
        return KOR_ERR_INVALID_DATA;

    fold_state state = {};
    state.cbuf = cbuf.get();
    state.hbuf = hbuf;
    state.samples_per_hb_interval = samples_per_hb_interval;
    init_state(&state);
    vela::on_exit release([&] { destruct_state(&state); });
    const int folded = fold_records(&state);
    if (state.nsamples == 0) return folded;
    // Part of the interface: what was gathered is written even after a
    // failure, and the failure is what counts.
    const int written = _kor_write_current_interval(&state);
    return folded < 0 ? folded : written;
}
