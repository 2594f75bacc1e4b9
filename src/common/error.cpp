#include "error.h"

#include "common/contract.hpp"

static constinit int last_error = KOR_OK;

void vela_set_last_error(int err)
{
    KOR_ASSERT(err <= 0);
    last_error = err;
}

int vela_get_last_error(void)
{
    return last_error;
}

const char *vela_strerror(int code)
{
    switch (code) {
#define KOR_ERROR_CASE(name, value, meaning) \
    case name:                               \
        return meaning;
        KOR_ERROR_LIST(KOR_ERROR_CASE)
#undef KOR_ERROR_CASE
        default:
            return "unknown error code";
    }
}
