#include "kor_zcf_state_c00.h"

#include "common/contract.hpp"
#include "recorder/zcf_state.hpp"

struct kor_zcf_state_c00 *kor_zcf_state_c00_create(const char *filename,
                                                   uint32_t num_cb_samples)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(num_cb_samples > 0);
    return vela::c00_state::create(num_cb_samples, filename);
}

struct kor_zcf_state_c00 *kor_zcf_state_c00_create_null(void)
{
    return vela::c00_state::create_null();
}

void kor_zcf_state_c00_destroy(struct kor_zcf_state_c00 **state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(*state != NULL);
    KOR_ASSERT((*state)->version == KOR_ZCF_STATE_C00_VERSION);
    vela::c00_state::destroy(state);
}

const char *kor_zcf_state_c00_get_filename(
    const struct kor_zcf_state_c00 *state)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_C00_VERSION);
    KOR_ASSERT(state->cbuf != NULL);
    return kor_current_buffer_get_filename(state->cbuf);
}

int kor_zcf_state_c00_write_telemetry_vector(struct kor_zcf_state_c00 *state,
                                             struct matrix *vector)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(vector != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_C00_VERSION);
    KOR_ASSERT(state->cbuf != NULL);
    return kor_current_buffer_write_telemetry_vector(state->cbuf, vector);
}

int kor_zcf_state_c00_write_event(struct kor_zcf_state_c00 *state,
                                  struct kor_cb_record_event *event)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(event != NULL);
    KOR_ASSERT(state->version == KOR_ZCF_STATE_C00_VERSION);
    KOR_ASSERT(state->cbuf != NULL);
    return kor_current_buffer_write_event(state->cbuf, event);
}

int binary_serializer_write_kor_zcf_state_c00(
    const struct kor_zcf_state_c00 *state, struct writer *writer)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(state->version == 1);
    KOR_ASSERT(state->cbuf != NULL);
    return vela::c00_state::write(*state, writer);
}

int binary_serializer_read_kor_zcf_state_c00(struct kor_zcf_state_c00 *state,
                                             struct reader *reader)
{
    KOR_ASSERT(state != NULL);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(state->version == 1);
    return vela::c00_state::read(*state, reader);
}
