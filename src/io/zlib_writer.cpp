#include "zlib_writer.h"

#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/stream_state.hpp"
#include "io/streams.hpp"
#include "io/zlib_state.hpp"

// Begins a stream; the first one sets zlib up.
static int _zlib_writer_open_stream(struct zlib_writer *zwriter)
{
    z_stream &zstrm = zwriter->zstrm;
    const int code = zstrm.state == nullptr
                         ? deflateInit(&zstrm, Z_DEFAULT_COMPRESSION)
                         : deflateReset(&zstrm);
    if (code != Z_OK) {
        zwriter->err = code;
        return KOR_ERR_DEFLATE;
    }
    zwriter->is_open = 1;
    return KOR_OK;
}

// One output block of deflate, passed on to the base writer.  Returns how many
// bytes that were, or a negative code.
static int _zlib_writer_deflate_block(struct zlib_writer *zwriter, int flush)
{
    uint8_t out[vela::zlib_block_size];
    zwriter->zstrm.next_out = out;
    zwriter->zstrm.avail_out = sizeof out;
    // Having nothing to do (Z_BUF_ERROR) is no failure.
    const int code = deflate(&zwriter->zstrm, flush);
    if (code == Z_STREAM_ERROR) {
        zwriter->err = code;
        return KOR_ERR_DEFLATE;
    }
    const auto nout =
        static_cast<uint32_t>(sizeof out - zwriter->zstrm.avail_out);
    if (nout == 0) return 0;
    const int result = writer_write_bytes(zwriter->writer, out, nout);
    if (result < 0) {
        zwriter->is_open = 0;
        return result;
    }
    return static_cast<int>(nout);
}

// Compresses what is staged.  Part of the interface: with nothing staged there
// is nothing to do, so that a flush writes no empty stream.
static int _zlib_writer_compress(struct zlib_writer *zwriter, int flush)
{
    KOR_ASSERT(flush == Z_NO_FLUSH || flush == Z_FINISH);
    KOR_ASSERT(zwriter->err == 0);
    if (zwriter->i_in == 0) return 0;
    if (!zwriter->is_open) {
        const int result = _zlib_writer_open_stream(zwriter);
        if (result < 0) return result;
    }
    zwriter->zstrm.next_in = zwriter->in;
    zwriter->zstrm.avail_in = zwriter->i_in;
    int total = 0;
    do {
        const int nout = _zlib_writer_deflate_block(zwriter, flush);
        if (nout < 0) return nout;
        total += nout;
    } while (zwriter->zstrm.avail_out == 0);
    KOR_ASSERT(zwriter->zstrm.avail_in == 0);
    return total;
}

static void _zlib_writer_stage(struct zlib_writer *zwriter, const void *bytes,
                               uint32_t nbytes)
{
    std::memcpy(zwriter->in + zwriter->i_in, bytes, nbytes);
    zwriter->i_in += nbytes;
}

// Part of the interface: returns the compressed bytes that went to the base
// writer, often none.  A full stage waits for the byte that follows.  After a
// failure the stage stays as it is until the next flush.
static int _zlib_writer_write_bytes(void *w, const void *buf, uint32_t nbytes)
{
    auto *const zwriter = static_cast<struct zlib_writer *>(w);
    KOR_ASSERT(zwriter != NULL);
    KOR_ASSERT(zwriter->version == ZLIB_WRITER_VERSION);
    KOR_ASSERT(zwriter->writer != NULL);
    KOR_ASSERT(buf != NULL);
    KOR_ASSERT(zwriter->i_in <= sizeof(zwriter->in));
    auto *rest = static_cast<const uint8_t *>(buf);
    int total = 0;
    while (nbytes > sizeof(zwriter->in) - zwriter->i_in) {
        const auto n_fragment_bytes =
            static_cast<uint32_t>(sizeof(zwriter->in) - zwriter->i_in);
        KOR_ASSERT(n_fragment_bytes < nbytes);
        _zlib_writer_stage(zwriter, rest, n_fragment_bytes);
        const int result = _zlib_writer_compress(zwriter, Z_NO_FLUSH);
        if (result < 0) return result;
        zwriter->i_in = 0;
        total += result;
        rest += n_fragment_bytes;
        nbytes -= n_fragment_bytes;
    }
    _zlib_writer_stage(zwriter, rest, nbytes);
    KOR_ASSERT(zwriter->i_in <= sizeof(zwriter->in));
    return total;
}

// Ends the stream.  Part of the interface: returns the compressed bytes, and
// does not flush the base writer.
static int _zlib_writer_flush(void *w)
{
    auto *const zwriter = static_cast<struct zlib_writer *>(w);
    KOR_ASSERT(zwriter != NULL);
    KOR_ASSERT(zwriter->version == ZLIB_WRITER_VERSION);
    KOR_ASSERT(zwriter->writer != NULL);
    const int result = _zlib_writer_compress(zwriter, Z_FINISH);
    zwriter->is_open = 0;
    zwriter->i_in = 0;
    return result;
}

static int _zlib_writer_destruct(void *w)
{
    auto *const zwriter = static_cast<struct zlib_writer *>(w);
    const int result = _zlib_writer_flush(w);
    writer_destroy(&zwriter->writer);
    if (zwriter->zstrm.state != nullptr) deflateEnd(&zwriter->zstrm);
    std::memset(zwriter, 0, sizeof *zwriter);
    return result;
}

int zlib_writer_init(struct writer *writer, struct writer *writer_base)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer_base != NULL);
    auto *const zwriter = vela::init_writer<struct zlib_writer>(
        writer, WRITER_TYPE_ZLIB,
        {_zlib_writer_destruct, _zlib_writer_write_bytes, _zlib_writer_flush});
    if (zwriter == nullptr) return KOR_ERR_NO_MEMORY;
    zwriter->version = ZLIB_WRITER_VERSION;
    zwriter->writer = writer_base;
    return KOR_OK;
}

struct writer *zlib_writer_create(struct writer *writer_base)
{
    KOR_ASSERT(writer_base != NULL);
    return vela::create<struct writer>(
        [=](auto *writer) { return zlib_writer_init(writer, writer_base); });
}

bool vela::is_zlib_writer(const struct writer *writer) noexcept
{
    return writer != nullptr &&
           writer->fn_write_bytes == _zlib_writer_write_bytes;
}

void vela::zlib_writer_discard(struct writer *writer) noexcept
{
    KOR_ASSERT(vela::is_zlib_writer(writer));
    auto *const zwriter = static_cast<struct zlib_writer *>(writer->writer);
    zwriter->is_open = 0;
    zwriter->i_in = 0;
    zwriter->err = 0;
}
