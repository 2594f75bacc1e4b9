#include "io/memory_writer.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t first_capacity = 512;
// More than any state that is serialized in memory.
constexpr size_t max_capacity = SIZE_MAX / 4;

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

// Makes room for `nbytes` more.
bool vela::memory_writer::reserve(size_t nbytes) noexcept
{
    if (nbytes <= capacity_ - size_) return true;
    if (nbytes > max_capacity - size_) return false;
    const size_t size = size_ + nbytes;
    const size_t capacity = std::max({first_capacity, size, 2 * capacity_});
    void *const grown = std::realloc(bytes_.get(), capacity);
    if (grown == nullptr) return false;
    static_cast<void>(bytes_.release());
    bytes_.reset(static_cast<uint8_t *>(grown));
    capacity_ = capacity;
    return true;
}

int vela::memory_writer::write_bytes(void *state, const void *buf,
                                     uint32_t len) noexcept
{
    auto *const self = static_cast<memory_writer *>(state);
    if (!self->reserve(len)) return KOR_ERR_NO_MEMORY;
    if (len > 0) std::memcpy(self->bytes_.get() + self->size_, buf, len);
    self->size_ += len;
    return static_cast<int>(len);
}
