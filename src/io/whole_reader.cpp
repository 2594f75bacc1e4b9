#include "io/whole_reader.hpp"

#include "error.h"
#include "io/streams.hpp"

vela::whole_reader::whole_reader(source read, void *state) noexcept
    : read_(read), state_(state)
{
    _reader_init(&base_, READER_TYPE_RAW);
    base_.reader = this;
    base_.fn_read_bytes = read_bytes;
}

int vela::whole_reader::read_bytes(void *self, void *buf, uint32_t len) noexcept
{
    const auto &whole = *static_cast<const whole_reader *>(self);
    const int nread = whole.read_(whole.state_, buf, len);
    return nread < 0 || static_cast<uint32_t>(nread) == len ? nread
                                                            : KOR_ERR_TRUNCATED;
}

bool vela::is_whole_reader(const struct reader *reader) noexcept
{
    return reader != nullptr &&
           reader->fn_read_bytes == whole_reader::read_bytes;
}
