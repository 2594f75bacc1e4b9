#include "raw_reader.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/stream_state.hpp"
#include "io/streams.hpp"

static constexpr uint32_t keep_open = 1;

static int _raw_reader_read_bytes(void *r, void *buf, uint32_t len)
{
    auto *const reader = static_cast<struct raw_reader *>(r);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == RAW_READER_VERSION);
    KOR_ASSERT(reader->fp != NULL);
    KOR_ASSERT(buf != NULL);
    // Part of the interface: a read error looks like an end.
    return static_cast<int>(std::fread(buf, 1, len, reader->fp));
}

static int _raw_reader_eof(void *r)
{
    auto *const reader = static_cast<struct raw_reader *>(r);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == RAW_READER_VERSION);
    KOR_ASSERT(reader->fp != NULL);
    return std::feof(reader->fp);
}

static int _raw_reader_destruct(void *r)
{
    auto *const reader = static_cast<struct raw_reader *>(r);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == RAW_READER_VERSION);
    KOR_ASSERT(reader->fp != NULL);
    if ((reader->flags & keep_open) == 0) std::fclose(reader->fp);
    *reader = {};
    return KOR_OK;
}

int raw_reader_init(struct reader *reader, FILE *fp, uint32_t flags)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(fp != NULL);
    auto *const state = vela::init_reader<struct raw_reader>(
        reader, READER_TYPE_RAW,
        {_raw_reader_destruct, _raw_reader_read_bytes, _raw_reader_eof});
    if (state == nullptr) return KOR_ERR_NO_MEMORY;
    *state = {RAW_READER_VERSION, fp, flags};
    return KOR_OK;
}

struct reader *raw_reader_create(FILE *fp, uint32_t flags)
{
    KOR_ASSERT(fp != NULL);
    return vela::create<struct reader>(
        [=](auto *reader) { return raw_reader_init(reader, fp, flags); });
}

bool vela::is_raw_reader(const struct reader *reader) noexcept
{
    return reader != nullptr && reader->fn_read_bytes == _raw_reader_read_bytes;
}
