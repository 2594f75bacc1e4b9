#include "io/memory_writer.hpp"

namespace {

int nothing_to_do(void *)
{
    return KOR_OK;
}

}  // namespace

vela::memory_writer::memory_writer() noexcept
{
    _writer_init(&base_, WRITER_TYPE_RAW);
    base_.writer = this;
    base_.fn_destruct = nothing_to_do;
    base_.fn_write_bytes = write_bytes;
    base_.fn_flush = nothing_to_do;
}

int vela::memory_writer::write_bytes(void *state, const void *buf,
                                     uint32_t len) noexcept
{
    auto *const self = static_cast<memory_writer *>(state);
    if (self->bytes_.append(static_cast<const uint8_t *>(buf), len))
        return static_cast<int>(len);
    self->is_cut_ = true;
    return KOR_ERR_NO_MEMORY;
}
