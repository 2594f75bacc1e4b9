#include "kor_zcf_state_cc0.h"

#include "common/contract.hpp"
#include "recorder/zcf_state.hpp"

struct kor_zcf_state_cc0 *kor_zcf_state_cc0_create(const char *cbuf0_filename,
                                                   const char *cbuf1_filename,
                                                   uint32_t num_cb_samples)
{
    KOR_ASSERT(cbuf0_filename != NULL);
    KOR_ASSERT(cbuf1_filename != NULL);
    KOR_ASSERT(num_cb_samples > 0);
    return vela::cc0_state::create(num_cb_samples, cbuf1_filename,
                                   cbuf0_filename);
}

struct kor_zcf_state_cc0 *kor_zcf_state_cc0_create_null(void)
{
    return vela::cc0_state::create_null();
}

void kor_zcf_state_cc0_destroy(struct kor_zcf_state_cc0 **state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(*state != NULL);
    KOR_ASSERT((*state)->version == KOR_ZCF_STATE_CC0_VERSION);
    vela::cc0_state::destroy(state);
}

const char *kor_zcf_state_cc0_get_cbuf0_filename(
    const struct kor_zcf_state_cc0 *state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CC0_VERSION);
    KOR_ASSERT(state->cbuf0_filename != NULL);
    return state->cbuf0_filename;
}

const char *kor_zcf_state_cc0_get_cbuf1_filename(
    const struct kor_zcf_state_cc0 *state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CC0_VERSION);
    KOR_ASSERT(state->cbuf1 != NULL);
    return kor_current_buffer_get_filename(state->cbuf1);
}

int kor_zcf_state_cc0_write_telemetry_vector(struct kor_zcf_state_cc0 *state,
                                             struct matrix *vector)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(vector != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CC0_VERSION);
    KOR_ASSERT(state->cbuf1 != NULL);
    return kor_current_buffer_write_telemetry_vector(state->cbuf1, vector);
}

int kor_zcf_state_cc0_write_event(struct kor_zcf_state_cc0 *state,
                                  struct kor_cb_record_event *event)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(event != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CC0_VERSION);
    KOR_ASSERT(state->cbuf1 != NULL);
    return kor_current_buffer_write_event(state->cbuf1, event);
}

int binary_serializer_write_kor_zcf_state_cc0(
    const struct kor_zcf_state_cc0 *state, struct writer *writer)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(state->version == 1);
    KOR_ASSERT(state->cbuf0_filename != NULL);
    KOR_ASSERT(state->cbuf1 != NULL);
    return vela::cc0_state::write(*state, writer);
}

int binary_serializer_read_kor_zcf_state_cc0(struct kor_zcf_state_cc0 *state,
                                             struct reader *reader)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(state->version == 1);
    return vela::cc0_state::read(*state, reader);
}
