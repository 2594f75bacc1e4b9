// stream_writer.hpp: whole zlib streams of records into a file.
#ifndef KOR_RECORDER_STREAM_WRITER_HPP
#define KOR_RECORDER_STREAM_WRITER_HPP

#include <zlib.h>

#include "recorder/durable_files.hpp"
#include "recorder/scanned_record.hpp"

namespace vela {

class stream_writer {
public:
    explicit stream_writer(output_file &out) noexcept : out_(out) {}
    stream_writer(const stream_writer &) = delete;
    stream_writer &operator=(const stream_writer &) = delete;
    ~stream_writer();

    // What the next stream is to hold.
    record_composer &records() noexcept { return composer_; }
    bool add(const stored_bytes &record) noexcept;
    // Writes it, if there is anything.  Returns 0 or a negative code.
    int flush() noexcept;

private:
    int begin() noexcept;

    output_file &out_;
    stored_bytes stage_;
    record_composer composer_{stage_};
    z_stream deflate_ = {};
    bool initialised_ = false;
};

}  // namespace vela

#endif
