// stream_state.hpp: the common part of every reader's and writer's init.
#ifndef KOR_IO_STREAM_STATE_HPP
#define KOR_IO_STREAM_STATE_HPP

#include <cstdlib>

#include "reader.h"
#include "writer.h"

namespace vela {

struct reader_operations {
    int (*destruct)(void *state);
    int (*read_bytes)(void *state, void *buf, uint32_t len);
    int (*eof)(void *state);
};

struct writer_operations {
    int (*destruct)(void *state);
    int (*write_bytes)(void *state, const void *buf, uint32_t len);
    int (*flush)(void *state);
};

// Makes `reader` a reader of `type` over a new zeroed State and returns the
// State, or null when there is no memory; `reader` is then destructed.
template <class State>
State *init_reader(struct reader *reader, uint32_t type,
                   const reader_operations &operations) noexcept
{
    _reader_init(reader, type);
    auto *const state = static_cast<State *>(std::calloc(1, sizeof(State)));
    if (state == nullptr) {
        _reader_destruct(reader);
        return nullptr;
    }
    reader->reader = state;
    reader->fn_destruct = operations.destruct;
    reader->fn_read_bytes = operations.read_bytes;
    reader->fn_eof = operations.eof;
    return state;
}

// The same for a writer.
template <class State>
State *init_writer(struct writer *writer, uint32_t type,
                   const writer_operations &operations) noexcept
{
    _writer_init(writer, type);
    auto *const state = static_cast<State *>(std::calloc(1, sizeof(State)));
    if (state == nullptr) {
        _writer_destruct(writer);
        return nullptr;
    }
    writer->writer = state;
    writer->fn_destruct = operations.destruct;
    writer->fn_write_bytes = operations.write_bytes;
    writer->fn_flush = operations.flush;
    return state;
}

}  // namespace vela

#endif
