#include "kor_buffer.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/codec.hpp"
#include "raw_reader.h"
#include "raw_writer.h"
#include "recorder/buffer_body.hpp"
#include "zlib_reader.h"
#include "zlib_writer.h"

// The buffer closes its file itself.
static constexpr uint32_t keep_open = 1;

int kor_buffer_init_null(struct kor_buffer *rec)
{
    KOR_ASSERT(rec != NULL);
    *rec = {};
    return KOR_OK;
}

int kor_buffer_init_current_buffer(struct kor_buffer *rec,
                                   struct kor_current_buffer *cbuf)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(cbuf != NULL);
    rec->type = KOR_BUFFER_TYPE_CURRENT;
    rec->cbuf = cbuf;
    rec->owns_data = 0;
    return KOR_OK;
}

int kor_buffer_init_hist_buffer(struct kor_buffer *rec,
                                struct kor_hist_buffer *hbuf)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(hbuf != NULL);
    rec->type = KOR_BUFFER_TYPE_HIST;
    rec->hbuf = hbuf;
    rec->owns_data = 0;
    return KOR_OK;
}

static bool _kor_buffer_is_known(uint32_t type)
{
    return type == KOR_BUFFER_TYPE_CURRENT || type == KOR_BUFFER_TYPE_HIST;
}

void kor_buffer_destruct(struct kor_buffer *rec)
{
    KOR_ASSERT(rec != NULL);
    if (rec->owns_data != 0) {
        KOR_ASSERT(_kor_buffer_is_known(rec->type));
        if (rec->type == KOR_BUFFER_TYPE_CURRENT) {
            KOR_ASSERT(rec->cbuf != NULL);
            kor_current_buffer_close(&rec->cbuf);
        } else {
            KOR_ASSERT(rec->hbuf != NULL);
            kor_hist_buffer_close(&rec->hbuf);
        }
        rec->owns_data = 0;
    }
    rec->type = 0;
    rec->data = nullptr;
}

void kor_buffer_destroy(struct kor_buffer **buf)
{
    KOR_ASSERT(buf != NULL);
    KOR_ASSERT(*buf != NULL);
    vela::destroy(buf, kor_buffer_destruct);
}

void kor_buffer_detach(struct kor_buffer *rec)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->type > 0);
    KOR_ASSERT(rec->data != NULL);
    rec->owns_data = 0;
}

int binary_serializer_write_kor_buffer(const struct kor_buffer *rec,
                                       struct writer *writer)
{
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(writer != NULL);
    vela::encoder tag(writer);
    // Part of the interface: the tag goes out before it is looked at.
    tag.u32(rec->type);
    if (!tag.ok()) return tag.result();
    KOR_ASSERT(_kor_buffer_is_known(rec->type));
    const int nwritten =
        rec->type == KOR_BUFFER_TYPE_CURRENT
            ? binary_serializer_write_kor_current_buffer(rec->cbuf, writer)
            : binary_serializer_write_kor_hist_buffer(rec->hbuf, writer);
    return nwritten < 0 ? nwritten : tag.result() + nwritten;
}

// Reads the tag and lets the kind it names read the rest.  Returns 0, or a
// negative code; reader and file are then still the caller's.
static int _kor_buffer_open_kind(struct kor_buffer *rec, const char *filename,
                                 struct reader *reader, FILE *fp)
{
    vela::decoder tag(reader, vela::first_byte::required);
    uint32_t type = 0;
    tag.u32(type);
    if (!tag.ok()) return tag.result();
    if (!_kor_buffer_is_known(type)) return KOR_ERR_UNKNOWN_KIND;
    if (type == KOR_BUFFER_TYPE_CURRENT)
        rec->cbuf = _kor_current_buffer_open(filename, reader, fp);
    else
        rec->hbuf = _kor_hist_buffer_open(filename, reader, fp);
    if (rec->data == nullptr) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return vela_get_last_error();
    }
    rec->type = type;
    rec->owns_data = 1;
    return KOR_OK;
}

struct kor_buffer *kor_buffer_open_for_read_write(const char *filename)
{
    KOR_ASSERT(filename != NULL);
    vela::heap<struct kor_buffer> handle(
        static_cast<struct kor_buffer *>(std::malloc(sizeof(kor_buffer))));
    if (!handle) return vela::fail(KOR_ERR_NO_MEMORY);
    kor_buffer_init_null(handle.get());
    FILE *const fp = vela::open_buffer_file(filename, "r+");
    if (fp == nullptr) return vela::fail(KOR_ERR_CANNOT_OPEN);
    vela::on_exit close_file([fp] { std::fclose(fp); });
    vela::owned<reader_destroy> reader(_kor_buffer_create_reader(fp));
    if (!reader) return nullptr;
    const int opened =
        _kor_buffer_open_kind(handle.get(), filename, reader.get(), fp);
    if (opened < 0) return vela::fail(opened);
    static_cast<void>(reader.release());
    close_file.cancel();
    return handle.release();
}

struct reader *_kor_buffer_create_reader(FILE *fp)
{
    KOR_ASSERT(fp != NULL);
    vela::owned<reader_destroy> raw(raw_reader_create(fp, keep_open));
    struct reader *const zlib = raw ? zlib_reader_create(raw.get()) : nullptr;
    if (zlib == nullptr) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return nullptr;
    }
    static_cast<void>(raw.release());
    return zlib;
}

struct writer *_kor_buffer_create_writer(FILE *fp)
{
    KOR_ASSERT(fp != NULL);
    vela::owned<writer_destroy> raw(raw_writer_create(fp, keep_open));
    struct writer *const zlib = raw ? zlib_writer_create(raw.get()) : nullptr;
    if (zlib == nullptr) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return nullptr;
    }
    static_cast<void>(raw.release());
    return zlib;
}
