#include "kor_zcf_state_ccc.h"

#include "common/contract.hpp"
#include "recorder/zcf_state.hpp"

struct kor_zcf_state_ccc *kor_zcf_state_ccc_create(const char *cbuf0_filename,
                                                   const char *cbuf1_filename,
                                                   const char *cbuf2_filename,
                                                   uint32_t num_cb_samples)
{
    KOR_ASSERT(cbuf0_filename != NULL);
    KOR_ASSERT(cbuf1_filename != NULL);
    KOR_ASSERT(cbuf2_filename != NULL);
    KOR_ASSERT(num_cb_samples > 0);
    return vela::ccc_state::create(num_cb_samples, cbuf2_filename,
                                   cbuf0_filename, cbuf1_filename);
}

struct kor_zcf_state_ccc *kor_zcf_state_ccc_create_null(void)
{
    return vela::ccc_state::create_null();
}

void kor_zcf_state_ccc_destroy(struct kor_zcf_state_ccc **state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(*state != NULL);
    KOR_ASSERT((*state)->version == KOR_ZCF_STATE_CCC_VERSION);
    vela::ccc_state::destroy(state);
}

const char *kor_zcf_state_ccc_get_cbuf0_filename(
    const struct kor_zcf_state_ccc *state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CCC_VERSION);
    KOR_ASSERT(state->cbuf0_filename != NULL);
    return state->cbuf0_filename;
}

const char *kor_zcf_state_ccc_get_cbuf1_filename(
    const struct kor_zcf_state_ccc *state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CCC_VERSION);
    KOR_ASSERT(state->cbuf1_filename != NULL);
    return state->cbuf1_filename;
}

const char *kor_zcf_state_ccc_get_cbuf2_filename(
    const struct kor_zcf_state_ccc *state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CCC_VERSION);
    KOR_ASSERT(state->cbuf2 != NULL);
    return kor_current_buffer_get_filename(state->cbuf2);
}

int kor_zcf_state_ccc_write_telemetry_vector(struct kor_zcf_state_ccc *state,
                                             struct matrix *vector)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(vector != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CCC_VERSION);
    KOR_ASSERT(state->cbuf2 != NULL);
    return kor_current_buffer_write_telemetry_vector(state->cbuf2, vector);
}

int kor_zcf_state_ccc_write_event(struct kor_zcf_state_ccc *state,
                                  struct kor_cb_record_event *event)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(event != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_CCC_VERSION);
    KOR_ASSERT(state->cbuf2 != NULL);
    return kor_current_buffer_write_event(state->cbuf2, event);
}

int binary_serializer_write_kor_zcf_state_ccc(
    const struct kor_zcf_state_ccc *state, struct writer *writer)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(state->version == 1);
    KOR_ASSERT(state->cbuf0_filename != NULL);
    KOR_ASSERT(state->cbuf1_filename != NULL);
    KOR_ASSERT(state->cbuf2 != NULL);
    return vela::ccc_state::write(*state, writer);
}

int binary_serializer_read_kor_zcf_state_ccc(struct kor_zcf_state_ccc *state,
                                             struct reader *reader)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(state->version == 1);
    return vela::ccc_state::read(*state, reader);
}
