#include "garbage_reader.h"

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/stream_state.hpp"
#include "platform.h"

namespace {

constexpr uint32_t end_decided = 1;
// The end comes when a draw at the base's end has these bits zero: one in 64.
constexpr uint32_t end_draw_mask = 0x3F;

// What one byte is XORed with: never 0, so that the byte changes.
uint8_t draw_damage()
{
    uint8_t damage = 0;
    while (damage == 0) damage = static_cast<uint8_t>(random_uint());
    return damage;
}

}  // namespace

static int _garbage_reader_eof(void *r)
{
    auto *const reader = static_cast<struct garbage_reader *>(r);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == GARBAGE_READER_VERSION);
    return (reader->flags & end_decided) != 0;
}

// Part of the interface: the bytes from the budget up to the length asked for
// are damaged, however many were read, and the whole length is reported.
static int _garbage_reader_damage(struct garbage_reader *reader, void *buf,
                                  uint32_t len)
{
    auto *const bytes = static_cast<uint8_t *>(buf);
    for (uint32_t i = reader->nclean; i < len; ++i)
        bytes[i] = static_cast<uint8_t>(bytes[i] ^ draw_damage());
    reader->nclean = 0;
    return static_cast<int>(len);
}

static int _garbage_reader_read_bytes(void *r, void *buf, uint32_t len)
{
    auto *const reader = static_cast<struct garbage_reader *>(r);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == GARBAGE_READER_VERSION);
    KOR_ASSERT(reader->reader != NULL);
    KOR_ASSERT(buf != NULL);
    const int nread = reader_read_bytes(reader->reader, buf, len);
    if (nread < 0) return nread;
    if (nread == 0) {
        KOR_ASSERT(reader_eof(reader->reader));
        if ((random_uint() & end_draw_mask) == 0) reader->flags |= end_decided;
    } else if (static_cast<uint32_t>(nread) <= reader->nclean) {
        reader->nclean -= static_cast<uint32_t>(nread);
        return nread;
    }
    if ((reader->flags & end_decided) != 0) {
        KOR_ASSERT(_garbage_reader_eof(r));
        return 0;
    }
    return _garbage_reader_damage(reader, buf, len);
}

static int _garbage_reader_destruct(void *r)
{
    auto *const reader = static_cast<struct garbage_reader *>(r);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == GARBAGE_READER_VERSION);
    reader_destroy(&reader->reader);
    *reader = {};
    return KOR_OK;
}

int garbage_reader_init(struct reader *reader, struct reader *base_reader,
                        uint32_t nclean)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(base_reader != NULL);
    auto *const state = vela::init_reader<struct garbage_reader>(
        reader, READER_TYPE_GARBAGE,
        {_garbage_reader_destruct, _garbage_reader_read_bytes,
         _garbage_reader_eof});
    if (state == nullptr) return KOR_ERR_NO_MEMORY;
    *state = {GARBAGE_READER_VERSION, base_reader, nclean, 0};
    return KOR_OK;
}

struct reader *garbage_reader_create(struct reader *base_reader,
                                     uint32_t nclean)
{
    KOR_ASSERT(base_reader != NULL);
    return vela::create<struct reader>([=](auto *reader) {
        return garbage_reader_init(reader, base_reader, nclean);
    });
}
