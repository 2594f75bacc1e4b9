#include "reader.h"

#include "support/abort_rows.hpp"
#include "support/lent.hpp"

namespace {

// A reader whose operations report what they were called with.
struct calls {
    void *state = nullptr;
    void *buf = nullptr;
    uint32_t len = 0;
    int version_at_destruct = -1;
};
calls seen;
struct reader *under_test = nullptr;

int note_read(void *state, void *buf, uint32_t len)
{
    seen.state = state;
    seen.buf = buf;
    seen.len = len;
    return -7;
}
int note_eof(void *state)
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

struct reader noting_reader()
{
    struct reader reader = {};
    _reader_init(&reader, 9);
    reader.fn_read_bytes = note_read;
    reader.fn_eof = note_eof;
    reader.fn_destruct = note_destruct;
    seen = {};
    return reader;
}

}  // namespace

TEST(Reader, InitGivesVersionTypeAndNoState)
{
    struct reader reader = {};
    reader.reader = &reader;
    EXPECT_EQ(_reader_init(&reader, 9), 0);
    EXPECT_EQ(reader.version, 1);
    EXPECT_EQ(reader.type, 9u);
    EXPECT_EQ(reader.reader, nullptr);
}

TEST(Reader, BaseDestructClearsVersionAndTypeOnly)
{
    struct reader reader = noting_reader();
    reader.reader = &seen;
    _reader_destruct(&reader);
    EXPECT_EQ(reader.version, 0);
    EXPECT_EQ(reader.type, 0u);
    EXPECT_EQ(reader.reader, &seen);
    EXPECT_EQ(reader.fn_destruct, note_destruct);
}

TEST(Reader, ReadAndEofPassStateAndResultThrough)
{
    struct reader reader = noting_reader();
    reader.reader = &seen;
    char buf[3];
    EXPECT_EQ(reader_read_bytes(&reader, buf, 3), -7);
    EXPECT_EQ(seen.state, &seen);
    EXPECT_EQ(seen.buf, buf);
    EXPECT_EQ(seen.len, 3u);
    EXPECT_EQ(reader_eof(&reader), 5);
}

TEST(Reader, ReadWorksWithoutAState)
{
    struct reader reader = noting_reader();
    char buf[3];
    EXPECT_EQ(reader_read_bytes(&reader, buf, 0), -7);
}

TEST(Reader, DestructFreesTheStateAfterTheOperation)
{
    test::allocation_count blocks;
    struct reader reader = noting_reader();
    under_test = &reader;
    reader.reader = std::malloc(10);
    void *const state = reader.reader;
    reader_destruct(&reader);
    EXPECT_EQ(seen.state, state);
    EXPECT_EQ(seen.version_at_destruct, 0);  // the base goes first
    EXPECT_EQ(reader.reader, nullptr);
    EXPECT_EQ(reader.fn_destruct, note_destruct);
    EXPECT_EQ(blocks.live(), 0);
}

TEST(Reader, DestroyFreesTheReaderAndClearsThePointer)
{
    test::allocation_count blocks;
    test::memory_reader behind("");
    test::lent_log log;
    struct reader *reader = test::lend(behind.get(), &log);
    reader_destroy(&reader);
    EXPECT_EQ(reader, nullptr);
    EXPECT_EQ(log.destructs, 1);
    EXPECT_EQ(blocks.live(), 0);
}

namespace {
char buf[4];
struct reader dead = {};
struct reader *no_reader = nullptr;

void with_null_slots(void (*call)(struct reader *))
{
    struct reader reader = {};
    _reader_init(&reader, 9);
    call(&reader);
}
}  // namespace

class ReaderDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(ReaderDeathTest,
               test::abort_row{"InitNull", "reader != NULL",
                               [] {
                                   _reader_init(NULL, 1);
                               }},
               test::abort_row{"InitType", "type > 0",
                               [] {
                                   _reader_init(&dead, 0);
                               }},
               test::abort_row{"BaseDestructNull", "reader != NULL",
                               [] {
                                   _reader_destruct(NULL);
                               }},
               test::abort_row{"BaseDestructDead",
                               "reader->version == READER_VERSION",
                               [] {
                                   _reader_destruct(&dead);
                               }},
               test::abort_row{"ReadNull", "reader != NULL",
                               [] {
                                   reader_read_bytes(NULL, buf, 1);
                               }},
               test::abort_row{"ReadDead", "reader->version == READER_VERSION",
                               [] {
                                   reader_read_bytes(&dead, buf, 1);
                               }},
               test::abort_row{"ReadSlot", "reader->fn_read_bytes != NULL",
                               [] {
                                   with_null_slots([](struct reader *reader) {
                                       reader_read_bytes(reader, buf, 1);
                                   });
                               }},
               test::abort_row{"ReadBuffer", "buf != NULL",
                               [] {
                                   struct reader reader = noting_reader();
                                   reader_read_bytes(&reader, NULL, 1);
                               }},
               test::abort_row{"EofNull", "reader != NULL",
                               [] {
                                   reader_eof(NULL);
                               }},
               test::abort_row{"EofDead", "reader->version == READER_VERSION",
                               [] {
                                   reader_eof(&dead);
                               }},
               test::abort_row{"EofSlot", "reader->fn_eof != NULL",
                               [] {
                                   with_null_slots([](struct reader *reader) {
                                       reader_eof(reader);
                                   });
                               }},
               test::abort_row{"DestructNull", "reader != NULL",
                               [] {
                                   reader_destruct(NULL);
                               }},
               test::abort_row{"DestructDead",
                               "reader->version == READER_VERSION",
                               [] {
                                   reader_destruct(&dead);
                               }},
               test::abort_row{"DestructSlot", "reader->fn_destruct != NULL",
                               [] {
                                   with_null_slots(reader_destruct);
                               }},
               test::abort_row{"DestroyNull", "reader != NULL",
                               [] {
                                   reader_destroy(NULL);
                               }},
               test::abort_row{"DestroyNullReader", "*reader != NULL", [] {
                                   reader_destroy(&no_reader);
                               }});
