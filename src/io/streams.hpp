// streams.hpp: what the library may know of its own readers and writers.
//
// Over a stream of its own the library may move many values in one call and
// repair what a failed write left behind.  A reader or writer of the caller's
// making, or one that damages on purpose, sees every call as it is specified:
// there the size of each call is part of the interface.  A stream is ours when
// its operations are, whatever its type field says.
#ifndef KOR_IO_STREAMS_HPP
#define KOR_IO_STREAMS_HPP

#include <cstdint>

#include "reader.h"
#include "writer.h"

namespace vela {

// All of these may be asked of a null stream, which is none of ours.
bool is_raw_reader(const struct reader *reader) noexcept;
bool is_zlib_reader(const struct reader *reader) noexcept;
bool is_raw_writer(const struct writer *writer) noexcept;
bool is_zlib_writer(const struct writer *writer) noexcept;
bool is_whole_reader(const struct reader *reader) noexcept;

// A raw, zlib or whole reader of this library.
inline bool is_own_reader(const struct reader *reader) noexcept
{
    return is_zlib_reader(reader) || is_raw_reader(reader) ||
           is_whole_reader(reader);
}

// A raw or zlib writer of this library.
inline bool is_own_writer(const struct writer *writer) noexcept
{
    return is_zlib_writer(writer) || is_raw_writer(writer);
}

// Drops what has not reached the base of a zlib writer of this library: the
// stage is emptied and the stream in progress given up, and with it a failure
// of zlib, so that the next write begins a new one.  What did reach the base is
// for the caller to cut off.
void zlib_writer_discard(struct writer *writer) noexcept;

}  // namespace vela

#endif
