// whole_reader.hpp: a reader that gives all that is asked for or fails.
//
// Some serializers take a stream for a bug that ends at certain places: behind
// the length of a string, say.  Through this reader they meet no end at all.
// What the source cannot give whole is KOR_ERR_TRUNCATED, so that bytes nobody
// vouches for can be read with the library's own serializers.
#ifndef KOR_IO_WHOLE_READER_HPP
#define KOR_IO_WHOLE_READER_HPP

#include <cstdint>

#include "reader.h"

namespace vela {

// Lives in the block that uses it; the reader it lends is not to be
// destructed.
class whole_reader {
public:
    // Gives up to `size` bytes, fewer only when there are no more, or returns
    // a negative code.
    using source = int (*)(void *state, void *to, uint32_t size);

    whole_reader(source read, void *state) noexcept;
    whole_reader(const whole_reader &) = delete;
    whole_reader &operator=(const whole_reader &) = delete;

    struct reader *get() noexcept { return &base_; }

private:
    friend bool is_whole_reader(const struct reader *reader) noexcept;
    static int read_bytes(void *self, void *buf, uint32_t len) noexcept;

    struct reader base_ = {};
    source read_;
    void *state_;
};

}  // namespace vela

#endif
