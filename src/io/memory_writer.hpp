// memory_writer.hpp: a writer that gathers what it is given in memory.
#ifndef KOR_IO_MEMORY_WRITER_HPP
#define KOR_IO_MEMORY_WRITER_HPP

#include <cstddef>
#include <cstdint>

#include "common/lifecycle.hpp"
#include "writer.h"

namespace vela {

// Lives in the block that uses it and frees its memory there; the writer it
// lends is not to be destructed.
class memory_writer {
public:
    memory_writer() noexcept;
    memory_writer(const memory_writer &) = delete;
    memory_writer &operator=(const memory_writer &) = delete;

    // Its writes return the length, or KOR_ERR_NO_MEMORY with nothing added.
    struct writer *get() noexcept { return &base_; }
    const void *data() const noexcept { return bytes_.get(); }
    size_t size() const noexcept { return size_; }

private:
    static int write_bytes(void *state, const void *buf, uint32_t len) noexcept;
    bool reserve(size_t nbytes) noexcept;

    struct writer base_ = {};
    heap<uint8_t> bytes_;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

}  // namespace vela

#endif
