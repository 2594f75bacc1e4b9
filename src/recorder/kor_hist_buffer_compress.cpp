// kor_hist_buffer_compress.cpp: halving the resolution of a history buffer.
//
// Intervals are taken in fixed pairs: 1 with 2, 3 with 4.  A names record may
// stand between the two of a pair; the names that govern the first are then
// kept in a copy until the pair has been merged.
#include "kor_hist_buffer_compress.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "hist_value_list.h"
#include "model/hist_value_columns.hpp"

namespace {

struct merge_state {
    struct kor_hist_buffer *hbuf_in;
    struct kor_hist_buffer *hbuf_out;
    uint32_t nconsumed;                  // input intervals merged and written
    kor_hb_record_sensor_names *names1;  // of values1; the input's, or a copy
    struct kor_hb_record values1;
    struct kor_hb_record values2;
    struct hist_value_list list;
    vela::hist_columns columns;
    const struct sensor_array *bound;  // what the columns stand for, or null
};

}  // namespace

// A copy of earlier names belongs to the pass; the working set never does.
static void release_names(merge_state *state,
                          kor_hb_record_sensor_names **names1)
{
    if (*names1 != nullptr && *names1 != state->hbuf_in->hb_rec_sensors_last)
        kor_hb_record_sensor_names_destroy(names1);
    *names1 = nullptr;
}

static void _kor_cleanup_adjacent_intervals(merge_state *state,
                                            kor_hb_record_sensor_names **names1,
                                            struct kor_hb_record *values1,
                                            struct kor_hb_record *values2)
{
    KOR_ASSERT(values1->type == KOR_HB_RECORD_SENSOR_VALUES);
    KOR_ASSERT(values2->type == KOR_HB_RECORD_SENSOR_VALUES);
    kor_hb_record_destruct(values1);
    kor_hb_record_destruct(values2);
    release_names(state, names1);
}

// The names record in `rec` becomes the input's working set.  Between the two
// intervals of a pair, `names1` becomes a copy of what it was.
static int take_names(merge_state *state, kor_hb_record_sensor_names **names1,
                      struct kor_hb_record *rec, bool is_between)
{
    if (is_between) {
        *names1 = kor_hb_record_sensor_names_copy(*names1, nullptr);
        if (*names1 == nullptr) return vela_get_last_error();
    }
    state->bound = nullptr;
    _kor_hb_update_sensor_working_set_from_record(state->hbuf_in, rec);
    kor_hb_record_destruct(rec);
    if (!is_between) *names1 = state->hbuf_in->hb_rec_sensors_last;
    return KOR_OK;
}

// Reads the next two intervals and the names of the first.  On failure, the
// end of the file among them, the caller releases what has been read.
static int _kor_get_next_intervals_to_compress(
    merge_state *state, kor_hb_record_sensor_names **names1,
    struct kor_hb_record *values1, struct kor_hb_record *values2)
{
    *names1 = state->hbuf_in->hb_rec_sensors_last;
    KOR_ASSERT(*names1 != NULL);
    struct kor_hb_record *rec = values1;
    for (;;) {
        if (state->hbuf_in->size > state->hbuf_in->max_data_records)
            return KOR_ERR_INVALID_DATA;
        const int nread = _kor_hb_read_next_record(state->hbuf_in, rec);
        if (nread < 0) return nread;
        if (rec->type == KOR_HB_RECORD_SENSOR_NAMES) {
            KOR_ASSERT(*names1 == state->hbuf_in->hb_rec_sensors_last);
            const int taken = take_names(state, names1, rec, rec == values2);
            if (taken < 0) return taken;
            continue;
        }
        ++state->hbuf_in->size;
        if (rec == values2) return KOR_OK;
        rec = values2;
    }
}

static int bind_columns(merge_state *state, const struct sensor_array *sensors)
{
    if (state->bound == sensors) return KOR_OK;
    state->bound = nullptr;
    const int bound = state->columns.bind(state->list, *sensors);
    if (bound == KOR_OK) state->bound = sensors;
    return bound;
}

// Folds one interval of the pair into the list.  The first one finds every
// summary empty.
static int merge_interval(merge_state *state,
                          const kor_hb_record_sensor_names *names,
                          const struct kor_hb_record *interval)
{
    const uint32_t count = kor_hb_record_sensor_names_get_number_sensors(names);
    const struct sensor_array *const sensors =
        kor_hb_record_sensor_names_get_sensors(names);
    KOR_ASSERT(count > 0);
    if (kor_hb_record_sensor_values_get_number_hist_values(interval->values) !=
        count)
        return KOR_ERR_INVALID_DATA;
    const int bound = bind_columns(state, sensors);
    if (bound < 0) return bound;
    const struct hist_value *const values =
        kor_hb_record_sensor_values_get_hist_values(interval->values);
    for (uint32_t i = 0; i < count; ++i) {
        struct hist_value *const hvalue = state->columns.claim(i);
        if (hvalue == nullptr) return vela_get_last_error();
        if (interval == &state->values1) KOR_ASSERT(hvalue->count == 0);
        hist_value_merge_with(hvalue, &values[i]);
    }
    return KOR_OK;
}

// Merges the pair and writes the result.
static int merge_pair(merge_state *state)
{
    const int first = merge_interval(state, state->names1, &state->values1);
    if (first < 0) return first;
    const int second = merge_interval(
        state, state->hbuf_in->hb_rec_sensors_last, &state->values2);
    if (second < 0) return second;
    struct kor_hb_record_sensor_values *const values1 = state->values1.values;
    struct kor_hb_record_sensor_values *const values2 = state->values2.values;
    struct kor_hb_record_events *const events =
        kor_hb_record_sensor_values_get_events(values1);
    kor_hb_record_events_merge_with(
        events, kor_hb_record_sensor_values_get_events(values2));
    return kor_hist_buffer_write_interval(
        state->hbuf_out,
        kor_hb_record_sensor_values_get_start_timestamp(values1),
        kor_hb_record_sensor_values_get_end_timestamp(values2), &state->list,
        events);
}

// Merges pair after pair; ends with the code that stopped it.
static int merge_all(merge_state *state)
{
    const uint32_t max_input_intervals = state->hbuf_in->max_data_records;
    for (;;) {
        if (state->nconsumed > max_input_intervals) return KOR_ERR_INVALID_DATA;
        const int fetched = _kor_get_next_intervals_to_compress(
            state, &state->names1, &state->values1, &state->values2);
        if (fetched == KOR_ERR_END_OF_STREAM)
            return state->nconsumed == max_input_intervals ? KOR_OK
                                                           : KOR_ERR_INCOMPLETE;
        if (fetched < 0) return fetched;
        const int merged = merge_pair(state);
        if (merged < 0) return merged;
        state->nconsumed += 2;
        hist_value_list_clear(&state->list);
        _kor_cleanup_adjacent_intervals(state, &state->names1, &state->values1,
                                        &state->values2);
    }
}

// Releases whatever part of a pair is left.
static void destruct_state(merge_state *state)
{
    kor_hb_record_destruct(&state->values1);
    kor_hb_record_destruct(&state->values2);
    release_names(state, &state->names1);
    hist_value_list_destruct(&state->list);
}

int32_t kor_hist_buffer_compress(const char *hbuf_in_filename,
                                 struct kor_hist_buffer *hbuf_out)
{
    KOR_ASSERT(hbuf_in_filename != NULL);
    KOR_ASSERT(hbuf_out != NULL);
    vela::owned<kor_hist_buffer_close> hbuf_in(
        kor_hist_buffer_open_for_read_write(hbuf_in_filename));
    if (!hbuf_in) return vela_get_last_error();
    const uint32_t max_input_intervals = hbuf_in->max_data_records;
    KOR_ASSERT(max_input_intervals > 0);
    const int32_t nempty = kor_hist_buffer_get_number_empty_intervals(hbuf_out);
    if (max_input_intervals % 2 != 0 || nempty < 0 ||
        static_cast<uint32_t>(nempty) < max_input_intervals / 2)
        return KOR_ERR_INVALID_DATA;

    merge_state state = {};
    state.hbuf_in = hbuf_in.get();
    state.hbuf_out = hbuf_out;
    hist_value_list_init(&state.list);
    kor_hb_record_init_null(&state.values1);
    kor_hb_record_init_null(&state.values2);
    vela::on_exit release([&] { destruct_state(&state); });
    return merge_all(&state);
}
