// zlib_state.hpp: the private state of the zlib reader and writer.
//
// The z_stream of either is set up by the first use and then kept: it is reset
// for each further stream, which gives the same bytes at a tenth of the cost
// and takes no more memory.  zstrm.state is null until then.  A z_stream must
// not move, so neither may these.
#ifndef KOR_IO_ZLIB_STATE_HPP
#define KOR_IO_ZLIB_STATE_HPP

#include <cstdint>

#include <zlib.h>

#include "reader.h"
#include "writer.h"

namespace vela {

// Bytes gathered before a compression, read from a file at a time, and
// produced by deflate at a time.
inline constexpr uint32_t zlib_block_size = 2048;

}  // namespace vela

struct zlib_writer {
    uint8_t version;                    // ZLIB_WRITER_VERSION
    uint8_t in[vela::zlib_block_size];  // bytes to be compressed
    uint32_t i_in;                      // how many of them, up to all
    struct writer *writer;              // the base writer, owned
    uint32_t is_open;                   // 1 while a stream is in progress
    int32_t err;                        // the first zlib error, kept for good
    z_stream zstrm;
};

struct zlib_reader {
    uint8_t version;                    // ZLIB_READER_VERSION
    uint8_t in[vela::zlib_block_size];  // compressed bytes, from zstrm.next_in
    uint32_t is_open;                   // 1 while a stream is in progress
    struct reader *reader;              // the base reader, owned
    uint32_t nconsumed;       // compressed bytes inflated, over all streams
    uint32_t last_savepoint;  // nconsumed at the end of the last whole stream
    int32_t err;              // the first zlib error, kept for good
    z_stream zstrm;           // avail_out tells how the last inflate ended
};

#endif
