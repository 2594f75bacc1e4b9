#include "zlib_reader.h"

#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/stream_state.hpp"
#include "io/streams.hpp"
#include "io/zlib_state.hpp"

// So that the first read fetches input: the "last" inflate was left hungry.
static constexpr uInt hungry = 0xFFFFFFFF;

static int _zlib_reader_fail(struct zlib_reader *zreader, int code)
{
    zreader->is_open = 0;
    zreader->err = code;
    return KOR_ERR_INFLATE;
}

// Begins a stream; the first one sets zlib up.  Pending input stays pending.
static int _zlib_reader_open_stream(struct zlib_reader *zreader)
{
    z_stream &zstrm = zreader->zstrm;
    const int code =
        zstrm.state == nullptr ? inflateInit(&zstrm) : inflateReset(&zstrm);
    if (code != Z_OK) return _zlib_reader_fail(zreader, code);
    zreader->is_open = 1;
    return KOR_OK;
}

// Fetches compressed input.  Returns what the base reader returns.
static int _zlib_reader_fetch(struct zlib_reader *zreader)
{
    const int nread =
        reader_read_bytes(zreader->reader, zreader->in, sizeof(zreader->in));
    if (nread > 0) {
        zreader->zstrm.next_in = zreader->in;
        zreader->zstrm.avail_in = static_cast<uInt>(nread);
    }
    return nread;
}

static bool _zlib_reader_is_failure(int code)
{
    // Z_BUF_ERROR is none: there was nothing to do without more input.
    return code == Z_DATA_ERROR || code == Z_MEM_ERROR || code == Z_NEED_DICT ||
           code == Z_STREAM_ERROR;
}

// Inflates into `out` and follows the end of a stream.  Returns how many bytes
// that gave, or a negative code.
static int _zlib_reader_inflate(struct zlib_reader *zreader, uint8_t *out,
                                uint32_t size)
{
    z_stream &zstrm = zreader->zstrm;
    const uInt pending = zstrm.avail_in;
    zstrm.next_out = out;
    zstrm.avail_out = size;
    const int code = inflate(&zstrm, Z_NO_FLUSH);
    if (_zlib_reader_is_failure(code)) return _zlib_reader_fail(zreader, code);
    zreader->nconsumed += pending - zstrm.avail_in;
    if (code == Z_STREAM_END) {
        zreader->is_open = 0;
        zreader->last_savepoint = zreader->nconsumed;
    }
    return static_cast<int>(size - zstrm.avail_out);
}

// Part of the interface: a stream that was cut is a short read, not a failure,
// and a failure takes with it what the same call had already inflated.
static int _zlib_reader_read_bytes(void *r, void *buf, uint32_t len)
{
    auto *const zreader = static_cast<struct zlib_reader *>(r);
    KOR_ASSERT(zreader != NULL);
    KOR_ASSERT(zreader->version == ZLIB_READER_VERSION);
    KOR_ASSERT(zreader->reader != NULL);
    KOR_ASSERT(zreader->err == 0);
    KOR_ASSERT(buf != NULL);
    auto *const out = static_cast<uint8_t *>(buf);
    uint32_t total = 0;
    while (total < len) {
        if (!zreader->is_open) {
            const int result = _zlib_reader_open_stream(zreader);
            if (result < 0) return result;
        }
        if (zreader->zstrm.avail_in == 0 && zreader->zstrm.avail_out > 0) {
            const int nread = _zlib_reader_fetch(zreader);
            if (nread < 0) return nread;
            if (nread == 0) {
                KOR_ASSERT(reader_eof(zreader->reader));
                break;
            }
        }
        const int nout =
            _zlib_reader_inflate(zreader, out + total, len - total);
        if (nout < 0) return nout;
        total += static_cast<uint32_t>(nout);
    }
    return static_cast<int>(total);
}

// Part of the interface: right after a read that was filled completely this is
// false even at the true end, since inflate may hold more.
static int _zlib_reader_eof(void *r)
{
    auto *const zreader = static_cast<struct zlib_reader *>(r);
    KOR_ASSERT(zreader != NULL);
    KOR_ASSERT(zreader->version == ZLIB_READER_VERSION);
    KOR_ASSERT(zreader->reader != NULL);
    if (zreader->zstrm.avail_in > 0 || zreader->zstrm.avail_out == 0) return 0;
    return reader_eof(zreader->reader);
}

static int _zlib_reader_destruct(void *r)
{
    auto *const zreader = static_cast<struct zlib_reader *>(r);
    KOR_ASSERT(zreader != NULL);
    KOR_ASSERT(zreader->version == ZLIB_READER_VERSION);
    KOR_ASSERT(zreader->reader != NULL);
    if (zreader->zstrm.state != nullptr) inflateEnd(&zreader->zstrm);
    reader_destroy(&zreader->reader);
    std::memset(zreader, 0, sizeof *zreader);
    return KOR_OK;
}

int zlib_reader_init(struct reader *reader, struct reader *reader_base)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader_base != NULL);
    auto *const zreader = vela::init_reader<struct zlib_reader>(
        reader, READER_TYPE_ZLIB,
        {_zlib_reader_destruct, _zlib_reader_read_bytes, _zlib_reader_eof});
    if (zreader == nullptr) return KOR_ERR_NO_MEMORY;
    zreader->version = ZLIB_READER_VERSION;
    zreader->reader = reader_base;
    zreader->zstrm.avail_out = hungry;
    return KOR_OK;
}

struct reader *zlib_reader_create(struct reader *reader_base)
{
    KOR_ASSERT(reader_base != NULL);
    return vela::create<struct reader>(
        [=](auto *reader) { return zlib_reader_init(reader, reader_base); });
}

uint32_t zlib_reader_get_last_savepoint(const struct reader *reader)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->type == READER_TYPE_ZLIB);
    return static_cast<const struct zlib_reader *>(reader->reader)
        ->last_savepoint;
}

bool vela::is_zlib_reader(const struct reader *reader) noexcept
{
    return reader != nullptr &&
           reader->fn_read_bytes == _zlib_reader_read_bytes;
}
