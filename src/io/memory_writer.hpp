// memory_writer.hpp: a writer that gathers what it is given in memory.
#ifndef KOR_IO_MEMORY_WRITER_HPP
#define KOR_IO_MEMORY_WRITER_HPP

#include <cstddef>
#include <cstdint>

#include "common/growable.hpp"
#include "error.h"
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
    const void *data() const noexcept { return bytes_.begin(); }
    size_t size() const noexcept { return bytes_.size(); }
    // Whether a write has failed since the last clear().
    bool is_cut() const noexcept { return is_cut_; }
    // Forgets what was written and keeps the memory for what is to come.
    void clear() noexcept
    {
        bytes_.clear();
        is_cut_ = false;
    }

private:
    static int write_bytes(void *state, const void *buf, uint32_t len) noexcept;

    struct writer base_ = {};
    growable<uint8_t> bytes_;
    bool is_cut_ = false;
};

}  // namespace vela

#endif
