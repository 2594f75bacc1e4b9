// stream_writer.hpp: whole zlib streams of records into a file.
#ifndef KOR_RECORDER_STREAM_WRITER_HPP
#define KOR_RECORDER_STREAM_WRITER_HPP

#include <zlib.h>

#include "io/memory_writer.hpp"
#include "recorder/durable_files.hpp"

namespace vela {

class stream_writer {
public:
    explicit stream_writer(output_file &out) noexcept : out_(out) {}
    stream_writer(const stream_writer &) = delete;
    stream_writer &operator=(const stream_writer &) = delete;
    ~stream_writer();

    // Takes what the next stream is to hold.
    struct writer *records() noexcept { return stage_.get(); }
    // Writes it, if there is anything.  Returns 0 or a negative code, which
    // also tells whether records() ran out of memory.
    int flush() noexcept;

private:
    int begin() noexcept;

    output_file &out_;
    memory_writer stage_;
    z_stream deflate_ = {};
    bool initialised_ = false;
};

}  // namespace vela

#endif
