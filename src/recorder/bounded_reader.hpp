// bounded_reader.hpp: a reader over the first bytes of a file.
#ifndef KOR_RECORDER_BOUNDED_READER_HPP
#define KOR_RECORDER_BOUNDED_READER_HPP

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "common/lifecycle.hpp"
#include "io/stream_state.hpp"
#include "reader.h"

namespace vela {

struct bounded_file {
    FILE *fp;  // borrowed
    uint32_t bytes_left;
};

// A new reader that ends `size` bytes behind the start of `fp`, or null with
// the last error set.
inline struct reader *bounded_reader_create(FILE *fp, uint32_t size) noexcept
{
    constexpr reader_operations operations = {
        .destruct = [](void *) { return 0; },
        .read_bytes =
            [](void *state, void *buf, uint32_t len) {
                auto *const file = static_cast<bounded_file *>(state);
                const size_t nread = std::fread(
                    buf, 1, std::min(len, file->bytes_left), file->fp);
                file->bytes_left =
                    nread == 0
                        ? 0
                        : file->bytes_left - static_cast<uint32_t>(nread);
                return static_cast<int>(nread);
            },
        .eof =
            [](void *state) {
                return static_cast<bounded_file *>(state)->bytes_left == 0 ? 1
                                                                           : 0;
            },
    };
    std::rewind(fp);
    return create<struct reader>([=](auto *reader) {
        auto *const file =
            init_reader<bounded_file>(reader, READER_TYPE_RAW, operations);
        if (file == nullptr) return static_cast<int>(KOR_ERR_NO_MEMORY);
        *file = {fp, size};
        return static_cast<int>(KOR_OK);
    });
}

}  // namespace vela

#endif
