// stream_source.hpp: one zlib stream of a file, inflated piece by piece.
//
// Unlike the zlib reader it may start anywhere, tells exactly where a stream
// ends, and reports damage instead of asserting.  It holds one block of the
// file and one inflate state, whatever the length of file and stream.
#ifndef KOR_RECORDER_STREAM_SOURCE_HPP
#define KOR_RECORDER_STREAM_SOURCE_HPP

#include <zlib.h>

#include <cstdint>

#include "common/lifecycle.hpp"
#include "recorder/durable_files.hpp"

namespace vela {

// A window of a file.
class file_window {
public:
    void attach(int fd) noexcept
    {
        fd_ = fd;
        size_ = 0;
    }
    void forget() noexcept { size_ = 0; }
    // The bytes from `offset` on that are at hand: their number, 0 behind the
    // end of the file, negative on failure.
    int at(uint64_t offset, const unsigned char **bytes) noexcept;

private:
    static constexpr uint32_t capacity = 16384;
    int fd_ = -1;
    uint64_t start_ = 0;
    uint32_t size_ = 0;
    unsigned char bytes_[capacity] = {};
};

enum class stream_state {
    running,   // more may come
    complete,  // ended, and its checksum is right
    cut,       // the file ended first
    broken,    // not a stream, or damaged
    failed,    // could not be read: see error()
};

class stream_source {
public:
    stream_source() noexcept = default;
    stream_source(const stream_source &) = delete;
    stream_source &operator=(const stream_source &) = delete;
    ~stream_source();

    // The file stays the caller's.  Returns 0 or KOR_ERR_NO_MEMORY.
    int attach(int fd) noexcept;
    file_window &window() noexcept { return window_; }

    // Goes to the stream at `offset`.
    void start(uint64_t offset) noexcept;
    // Inflates up to `size` bytes; fewer only when the stream does not go on.
    uint32_t read(void *to, uint32_t size) noexcept;
    stream_state state() const noexcept { return state_; }
    // Behind the last byte of a complete stream.
    uint64_t end() const noexcept { return position_; }
    int error() const noexcept { return error_; }
    // The bytes taken and given so far, by all streams.
    uint64_t work() const noexcept { return work_; }

private:
    void fail(int code) noexcept;
    bool take_byte(unsigned char *byte) noexcept;
    bool refill() noexcept;
    void inflate_some() noexcept;
    void check_trailer() noexcept;

    file_window window_;
    z_stream inflate_ = {};
    bool initialised_ = false;
    uint64_t position_ = 0;  // of the next compressed byte
    uint64_t work_ = 0;
    uLong checksum_ = 0;
    stream_state state_ = stream_state::broken;
    int error_ = 0;
};

}  // namespace vela

#endif
