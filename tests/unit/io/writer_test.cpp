#include "writer.h"

#include <bit>

#include "support/abort_rows.hpp"
#include "support/lent.hpp"

namespace {

struct calls {
    void *state = nullptr;
    const void *buf = nullptr;
    uint32_t len = 0;
    int version_at_destruct = -1;
};
calls seen;
struct writer *under_test = nullptr;

int note_write(void *state, const void *buf, uint32_t len)
{
    seen.state = state;
    seen.buf = buf;
    seen.len = len;
    return -7;
}
int note_flush(void *state)
{
    seen.state = state;
    return 5;
}
int note_destruct(void *state)
{
    seen.state = state;
    seen.version_at_destruct = under_test->version;
    return -1;
}

struct writer noting_writer()
{
    struct writer writer = {};
    _writer_init(&writer, 9);
    writer.writer = &seen;
    writer.fn_write_bytes = note_write;
    writer.fn_flush = note_flush;
    writer.fn_destruct = note_destruct;
    seen = {};
    return writer;
}

}  // namespace

TEST(Writer, InitGivesVersionTypeAndNoState)
{
    struct writer writer = {};
    writer.writer = &writer;
    EXPECT_EQ(_writer_init(&writer, 9), 0);
    EXPECT_EQ(writer.version, 1);
    EXPECT_EQ(writer.type, 9u);
    EXPECT_EQ(writer.writer, nullptr);
}

TEST(Writer, BaseDestructClearsVersionAndTypeOnly)
{
    struct writer writer = noting_writer();
    _writer_destruct(&writer);
    EXPECT_EQ(writer.version, 0);
    EXPECT_EQ(writer.type, 0u);
    EXPECT_EQ(writer.writer, &seen);
    EXPECT_EQ(writer.fn_destruct, note_destruct);
}

TEST(Writer, WriteAndFlushPassStateAndResultThrough)
{
    struct writer writer = noting_writer();
    EXPECT_EQ(writer_write_bytes(&writer, "abc", 3), -7);
    EXPECT_EQ(seen.state, &seen);
    EXPECT_EQ(std::memcmp(seen.buf, "abc", 3), 0);
    EXPECT_EQ(seen.len, 3u);
    EXPECT_EQ(writer_flush(&writer), 5);
}

TEST(Writer, DestructFreesTheStateAndClearsEverything)
{
    test::allocation_count blocks;
    struct writer writer = noting_writer();
    under_test = &writer;
    writer.writer = std::malloc(10);
    void *const state = writer.writer;
    writer_destruct(&writer);
    EXPECT_EQ(seen.state, state);
    EXPECT_EQ(seen.version_at_destruct, 0);  // the base goes first
    EXPECT_EQ(writer.writer, nullptr);
    EXPECT_EQ(writer.fn_destruct, nullptr);
    EXPECT_EQ(writer.fn_write_bytes, nullptr);
    EXPECT_EQ(writer.fn_flush, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST(Writer, DestroyFreesTheWriterAndClearsThePointer)
{
    test::allocation_count blocks;
    test::memory_writer behind;
    test::lent_log log;
    struct writer *writer = test::lend(behind.get(), &log);
    writer_destroy(&writer);
    EXPECT_EQ(writer, nullptr);
    EXPECT_EQ(log.destructs, 1);
    EXPECT_EQ(blocks.live(), 0);
}

namespace {
struct writer dead = {};
struct writer *no_writer = nullptr;

void with_null_slots(void (*call)(struct writer *))
{
    struct writer writer = {};
    _writer_init(&writer, 9);
    writer.writer = &seen;
    call(&writer);
}
void without_state(void (*call)(struct writer *))
{
    struct writer writer = noting_writer();
    writer.writer = nullptr;
    call(&writer);
}
void write_one(struct writer *writer)
{
    writer_write_bytes(writer, "", 1);
}
void flush(struct writer *writer)
{
    writer_flush(writer);
}
}  // namespace

class WriterDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(WriterDeathTest,
               test::abort_row{"InitNull", "writer != NULL",
                               [] {
                                   _writer_init(NULL, 1);
                               }},
               test::abort_row{"InitType", "type > 0",
                               [] {
                                   _writer_init(&dead, 0);
                               }},
               test::abort_row{"BaseDestructNull", "writer != NULL",
                               [] {
                                   _writer_destruct(NULL);
                               }},
               test::abort_row{"BaseDestructDead",
                               "writer->version == WRITER_VERSION",
                               [] {
                                   _writer_destruct(&dead);
                               }},
               test::abort_row{"WriteNull", "writer != NULL",
                               [] {
                                   write_one(NULL);
                               }},
               test::abort_row{"WriteDead", "writer->version == WRITER_VERSION",
                               [] {
                                   write_one(&dead);
                               }},
               test::abort_row{"WriteSlot", "writer->fn_write_bytes != NULL",
                               [] {
                                   with_null_slots(write_one);
                               }},
               test::abort_row{"WriteState", "writer->writer != NULL",
                               [] {
                                   without_state(write_one);
                               }},
               test::abort_row{"WriteBuffer", "buf != NULL",
                               [] {
                                   struct writer writer = noting_writer();
                                   writer_write_bytes(&writer, NULL, 1);
                               }},
               test::abort_row{"FlushNull", "writer != NULL",
                               [] {
                                   flush(NULL);
                               }},
               test::abort_row{"FlushDead", "writer->version == WRITER_VERSION",
                               [] {
                                   flush(&dead);
                               }},
               test::abort_row{"FlushSlot", "writer->fn_flush != NULL",
                               [] {
                                   with_null_slots(flush);
                               }},
               test::abort_row{"FlushState", "writer->writer != NULL",
                               [] {
                                   without_state(flush);
                               }},
               test::abort_row{"DestructNull", "writer != NULL",
                               [] {
                                   writer_destruct(NULL);
                               }},
               test::abort_row{"DestructDead",
                               "writer->version == WRITER_VERSION",
                               [] {
                                   writer_destruct(&dead);
                               }},
               test::abort_row{"DestructSlot", "writer->fn_destruct != NULL",
                               [] {
                                   with_null_slots(writer_destruct);
                               }},
               test::abort_row{"DestructState", "writer->writer != NULL",
                               [] {
                                   without_state(writer_destruct);
                               }},
               test::abort_row{"DestroyNull", "writer != NULL",
                               [] {
                                   writer_destroy(NULL);
                               }},
               test::abort_row{"DestroyNullWriter", "*writer != NULL", [] {
                                   writer_destroy(&no_writer);
                               }});

template <class T>
static std::string _bytes_of(T value)
{
    return std::string(reinterpret_cast<const char *>(&value), sizeof value);
}

TEST(ByteOrder, FloatsGoToBigEndianAndBack)
{
    EXPECT_EQ(_bytes_of(hton_float(1.0f)), test::bytes("3F800000"));
    EXPECT_EQ(_bytes_of(hton_float(-2.5f)), test::bytes("C0200000"));
    EXPECT_EQ(ntoh_float(hton_float(-2.5f)), -2.5f);
}

TEST(ByteOrder, DoublesGoToBigEndianAndBack)
{
    EXPECT_EQ(_bytes_of(hton_double(1.0)), test::bytes("3FF0000000000000"));
    EXPECT_EQ(_bytes_of(hton_double(-2.5)), test::bytes("C004000000000000"));
    EXPECT_EQ(ntoh_double(hton_double(-2.5)), -2.5);
}

TEST(ByteOrder, TheInvalidReadingSurvivesTheRoundTrip)
{
    const auto invalid = std::bit_cast<float>(uint32_t{0x7FFFFFFF});
    EXPECT_EQ(_bytes_of(hton_float(invalid)), test::bytes("7FFFFFFF"));
    EXPECT_EQ(std::bit_cast<uint32_t>(ntoh_float(hton_float(invalid))),
              0x7FFFFFFFu);
}
