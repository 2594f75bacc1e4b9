// streams.hpp: streams that fail, for provocations of a serializer's codes.
#ifndef KOR_TESTS_CONTRACT_STREAMS_HPP
#define KOR_TESTS_CONTRACT_STREAMS_HPP

#include <cstdio>
#include <string>

#include "contract/contract.hpp"
#include "io/zlib_state.hpp"
#include "support/lent.hpp"

namespace contract {

// For calls that abort before they write or read.
inline struct writer *any_writer()
{
    static test::memory_writer writer;
    return writer.get();
}
inline struct reader *empty_reader()
{
    static test::memory_reader reader("");
    return reader.get();
}

// What `write` stores.
template <class Write>
std::string written(Write write)
{
    test::memory_writer out;
    EXPECT_GT(write(out.get()), 0);
    return out.bytes();
}

// What `write` gives where the file takes nothing.
template <class Write>
int on_a_full_disk(Write write)
{
    FILE *const read_only = std::fopen("/dev/null", "r");
    struct writer *out = raw_writer_create(read_only, 0);
    const int result = write(out);
    writer_destroy(&out);
    return result;
}

// What `write` gives where zlib finds no memory for the block that the first
// byte completes.
template <class Write>
int without_a_compressor(Write write)
{
    test::memory_writer base;
    struct writer *out = zlib_writer_create(test::lend(base.get()));
    auto *const state = static_cast<struct zlib_writer *>(out->writer);
    state->zstrm.zalloc = [](void *, unsigned, unsigned) -> void * {
        return nullptr;
    };
    const std::string block(vela::zlib_block_size, 'x');
    writer_write_bytes(out, block.data(), vela::zlib_block_size);
    const int result = write(out);
    state->err = 0;  // so that it can be destroyed
    state->i_in = 0;
    writer_destroy(&out);
    return result;
}

// What `read` gives over these bytes.
template <class Read>
int from(const std::string &bytes, Read read)
{
    test::memory_reader in(bytes);
    return read(in.get());
}

// What `read` gives over bytes that are no compressed stream.
template <class Read>
int from_a_damaged_file(Read read)
{
    test::memory_reader base("not a compressed stream");
    struct reader *in = zlib_reader_create(test::lend(base.get()));
    const int result = read(in);
    reader_destroy(&in);
    return result;
}

}  // namespace contract

#endif
