#include "raw_writer.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/stream_state.hpp"
#include "io/streams.hpp"

static constexpr uint32_t keep_open = 1;

// Every write reaches the file before the call returns.  A stream that buffers
// takes bytes that a full disk then refuses: what could not be flushed is as
// good as not written.
static int _raw_writer_write_bytes(void *w, const void *buf, uint32_t len)
{
    auto *const writer = static_cast<struct raw_writer *>(w);
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer->version == RAW_WRITER_VERSION);
    KOR_ASSERT(writer->fp != NULL);
    KOR_ASSERT(buf != NULL);
    const size_t nwritten = std::fwrite(buf, 1, len, writer->fp);
    const bool is_flushed = std::fflush(writer->fp) == 0;
    if (nwritten != len || !is_flushed) return KOR_ERR_INFLATE;
    return static_cast<int>(len);
}

static int _raw_writer_flush(void *w)
{
    auto *const writer = static_cast<struct raw_writer *>(w);
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer->version == RAW_WRITER_VERSION);
    KOR_ASSERT(writer->fp != NULL);
    // Part of the interface: always 0.  Each write has reported its own flush.
    std::fflush(writer->fp);
    return KOR_OK;
}

static int _raw_writer_destruct(void *w)
{
    auto *const writer = static_cast<struct raw_writer *>(w);
    const int result = _raw_writer_flush(w);
    if ((writer->flags & keep_open) == 0) std::fclose(writer->fp);
    *writer = {};
    return result;
}

int raw_writer_init(struct writer *writer, FILE *fp, uint32_t flags)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(fp != NULL);
    auto *const state = vela::init_writer<struct raw_writer>(
        writer, WRITER_TYPE_RAW,
        {_raw_writer_destruct, _raw_writer_write_bytes, _raw_writer_flush});
    if (state == nullptr) return KOR_ERR_NO_MEMORY;
    *state = {RAW_WRITER_VERSION, fp, flags};
    return KOR_OK;
}

struct writer *raw_writer_create(FILE *fp, uint32_t flags)
{
    KOR_ASSERT(fp != NULL);
    return vela::create<struct writer>(
        [=](auto *writer) { return raw_writer_init(writer, fp, flags); });
}

bool vela::is_raw_writer(const struct writer *writer) noexcept
{
    return writer != nullptr &&
           writer->fn_write_bytes == _raw_writer_write_bytes;
}
