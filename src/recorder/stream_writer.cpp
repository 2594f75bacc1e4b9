#include "recorder/stream_writer.hpp"

#include "error.h"

namespace {
constexpr uInt block_size = 2048;
}

vela::stream_writer::~stream_writer()
{
    if (initialised_) deflateEnd(&deflate_);
}

int vela::stream_writer::begin() noexcept
{
    const int code = initialised_
                         ? deflateReset(&deflate_)
                         : deflateInit(&deflate_, Z_DEFAULT_COMPRESSION);
    initialised_ = initialised_ || code == Z_OK;
    deflate_.next_in =
        const_cast<Bytef *>(static_cast<const Bytef *>(stage_.data()));
    deflate_.avail_in = static_cast<uInt>(stage_.size());
    return code == Z_OK ? KOR_OK : KOR_ERR_NO_MEMORY;
}

int vela::stream_writer::flush() noexcept
{
    if (stage_.is_cut()) return KOR_ERR_NO_MEMORY;
    if (stage_.size() == 0) return KOR_OK;
    int result = begin();
    int code = Z_OK;
    while (result >= 0 && code == Z_OK) {
        unsigned char block[block_size];
        deflate_.next_out = block;
        deflate_.avail_out = block_size;
        code = deflate(&deflate_, Z_FINISH);
        result = out_.write(block, block_size - deflate_.avail_out);
    }
    stage_.clear();
    if (result >= 0 && code != Z_STREAM_END) result = KOR_ERR_DEFLATE;
    return result;
}
