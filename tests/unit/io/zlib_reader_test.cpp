#include "zlib_reader.h"

#include <cstdlib>
#include <optional>

#include "io/zlib_state.hpp"
#include "raw_reader.h"
#include "support/abort_rows.hpp"
#include "support/lent.hpp"
#include "zlib_writer.h"

namespace {

std::string noise(size_t size, uint32_t seed = 1)
{
    std::string bytes;
    for (size_t i = 0; i < size; ++i) {
        seed = seed * 1664525 + 1013904223;
        bytes += static_cast<char>(seed >> 24);
    }
    return bytes;
}

class ZlibReader : public testing::Test {
protected:
    void over(const std::string &compressed)
    {
        close();
        base_.emplace(compressed);
        reader_ = zlib_reader_create(test::lend(base_->get(), &log_));
        ASSERT_NE(reader_, nullptr);
    }
    void close()
    {
        if (reader_ != nullptr) reader_destroy(&reader_);
    }
    void TearDown() override { close(); }

    // Reads `size` bytes in one call; the code is in result_.
    std::string read(uint32_t size)
    {
        std::string buf(size + 1, '.');
        result_ = reader_read_bytes(reader_, buf.data(), size);
        EXPECT_EQ(buf[size], '.');
        return buf.substr(0, static_cast<size_t>(std::max(result_, 0)));
    }
    // Reads `size` bytes at a time up to a short read or a failure.
    std::string read_all(uint32_t size)
    {
        std::string content;
        do content += read(size);
        while (result_ == static_cast<int>(size));
        return content;
    }
    uint32_t savepoint() const
    {
        return zlib_reader_get_last_savepoint(reader_);
    }
    struct zlib_reader *state() const
    {
        return static_cast<struct zlib_reader *>(reader_->reader);
    }

    std::optional<test::memory_reader> base_;
    test::lent_log log_;
    struct reader *reader_ = nullptr;
    int result_ = 0;
};

}  // namespace

TEST_F(ZlibReader, StartsBeforeAnything)
{
    over("");
    EXPECT_EQ(reader_->version, 1);
    EXPECT_EQ(reader_->type, 2u);
    EXPECT_EQ(state()->version, 1);
    EXPECT_EQ(state()->zstrm.avail_out, 0xFFFFFFFFu);
    EXPECT_EQ(savepoint(), 0u);
    EXPECT_EQ(log_.reads, 0);
}

TEST_F(ZlibReader, AnEmptyFileIsAtItsEnd)
{
    over("");
    EXPECT_EQ(read(5), "");
    EXPECT_EQ(result_, 0);
    EXPECT_NE(reader_eof(reader_), 0);
    EXPECT_EQ(savepoint(), 0u);
}

TEST_F(ZlibReader, FollowsTheStreamsAsOneSequence)
{
    const std::string first = test::deflate_stream("first");
    const std::string second = test::deflate_stream("second");
    over(first + second);
    EXPECT_EQ(read(5), "first");
    EXPECT_EQ(read(1), "s");
    EXPECT_EQ(savepoint(), first.size());
    EXPECT_EQ(read(10), "econd");
    EXPECT_EQ(savepoint(), first.size() + second.size());
    EXPECT_NE(reader_eof(reader_), 0);
}

TEST_F(ZlibReader, OneReadMayCrossStreams)
{
    over(test::deflate_stream("abc") + test::deflate_stream("def") +
         test::deflate_stream("ghi"));
    EXPECT_EQ(read(100), "abcdefghi");
    EXPECT_EQ(read(100), "");
    EXPECT_EQ(result_, 0);
}

TEST_F(ZlibReader, EmptyStreamsYieldNothing)
{
    const std::string empty = test::deflate_stream("");
    over(empty + test::deflate_stream("abc") + empty + empty);
    EXPECT_EQ(read(100), "abc");
    EXPECT_EQ(savepoint(), base_->position());
}

TEST_F(ZlibReader, ReadsTheSameHoweverItIsAsked)
{
    std::string content, compressed;
    for (uint32_t i = 0; i < 30; ++i) {
        const std::string piece = noise(1 + i * 400, i) + std::string(i, 'x');
        content += piece;
        compressed += test::deflate_stream(piece);
    }
    for (const uint32_t size : {1u, 7u, 2048u, 5000u, 1000000u}) {
        over(compressed);
        EXPECT_TRUE(read_all(size) == content) << size;
        EXPECT_EQ(savepoint(), compressed.size());
        EXPECT_NE(reader_eof(reader_), 0);
    }
}

TEST_F(ZlibReader, TheSavepointIsAlwaysTheEndOfAStreamBehind)
{
    std::vector<size_t> ends = {0};
    std::string compressed;
    for (uint32_t i = 0; i < 20; ++i) {
        compressed += test::deflate_stream(noise(300 + i, i));
        ends.push_back(compressed.size());
    }
    over(compressed);
    size_t last = 0;
    while (!read(17).empty()) {
        EXPECT_THAT(ends, testing::Contains(savepoint()));
        EXPECT_GE(savepoint(), last);
        last = savepoint();
    }
    EXPECT_EQ(last, compressed.size());
}

TEST_F(ZlibReader, AFilledReadIsNeverAtTheEnd)
{
    over(test::deflate_stream("abc"));
    EXPECT_EQ(read(3), "abc");
    EXPECT_EQ(reader_eof(reader_), 0);
    EXPECT_EQ(read(1), "");
    EXPECT_NE(reader_eof(reader_), 0);
}

TEST_F(ZlibReader, PendingInputIsNotTheEnd)
{
    over(test::deflate_stream("abc") + test::deflate_stream("def"));
    read(3);
    EXPECT_GT(state()->zstrm.avail_in, 0u);
    EXPECT_EQ(reader_eof(reader_), 0);
}

TEST_F(ZlibReader, ReadingNothingFetchesNothing)
{
    over(test::deflate_stream("abc"));
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(log_.reads, 0);
}

TEST_F(ZlibReader, FetchesBlocksOf2048Bytes)
{
    const std::string compressed = test::deflate_stream(noise(10000));
    over(compressed);
    read(1);
    EXPECT_EQ(base_->position(), 2048u);
    read_all(100);
    EXPECT_EQ(base_->position(), compressed.size());
}

TEST_F(ZlibReader, EveryCutReadsBackWhatIsWholeAndReportsTheEnd)
{
    const std::string first = test::deflate_stream(noise(50));
    const std::string second = test::deflate_stream(noise(60, 2));
    const std::string whole = noise(50) + noise(60, 2);
    for (size_t cut = 0; cut <= first.size() + second.size(); ++cut) {
        SCOPED_TRACE("cut after " + std::to_string(cut) + " bytes");
        over((first + second).substr(0, cut));
        const std::string content = read_all(16);
        EXPECT_GE(result_, 0);
        EXPECT_EQ(whole.substr(0, content.size()), content);
        EXPECT_GE(content.size(), cut >= first.size() ? 50u : 0u);
        EXPECT_NE(reader_eof(reader_), 0);
        EXPECT_EQ(read(1), "");
        const size_t expected = cut == first.size() + second.size() ? cut
                                : cut >= first.size() ? first.size()
                                                      : 0;
        EXPECT_EQ(savepoint(), expected);
    }
}

TEST_F(ZlibReader, WhatAppearsBehindTheEndIsReadOn)
{
    const std::string first = test::deflate_stream("first");
    FILE *fp = std::tmpfile();
    std::fwrite(first.data(), 1, first.size(), fp);
    std::rewind(fp);
    struct reader *reader = zlib_reader_create(raw_reader_create(fp, 0));
    char buf[20] = {};
    EXPECT_EQ(reader_read_bytes(reader, buf, 20), 5);
    EXPECT_NE(reader_eof(reader), 0);
    const std::string second = test::deflate_stream("second");
    std::fseek(fp, 0, SEEK_END);
    std::fwrite(second.data(), 1, second.size(), fp);
    std::fseek(fp, static_cast<long>(first.size()), SEEK_SET);
    EXPECT_EQ(reader_read_bytes(reader, buf, 20), 6);
    EXPECT_EQ(std::string(buf, 6), "second");
    reader_destroy(&reader);
}

// --- failures ---

TEST_F(ZlibReader, CorruptDataIsAnInflateFailure)
{
    std::string compressed = test::deflate_stream(noise(5000));
    compressed[0] = '?';
    over(compressed);
    EXPECT_EQ(read(10), "");
    EXPECT_EQ(result_, -41);
    EXPECT_EQ(state()->err, Z_DATA_ERROR);
    EXPECT_EQ(state()->is_open, 0u);
}

TEST_F(ZlibReader, NoFlippedByteGivesAWholeStream)
{
    const std::string content = "abcabcabcabc" + noise(40);
    const std::string compressed = test::deflate_stream(content);
    for (size_t i = 0; i < compressed.size(); ++i) {
        std::string damaged = compressed;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x55);
        over(damaged);
        read_all(8);
        // A length may grow so that the stream seems cut; no more than that.
        EXPECT_TRUE(result_ == -41 || savepoint() == 0) << i;
    }
}

TEST_F(ZlibReader, AFailureTakesWithItWhatTheSameCallHasRead)
{
    const std::string first = test::deflate_stream("first");
    over(first + "junk behind the last stream");
    EXPECT_EQ(read(100), "");
    EXPECT_EQ(result_, -41);
    EXPECT_EQ(savepoint(), first.size());

    over(first + "junk behind the last stream");
    EXPECT_EQ(read(5), "first");
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(result_, -41);
}

TEST_F(ZlibReader, AStreamThatNeedsADictionaryIsAnInflateFailure)
{
    z_stream zstrm = {};
    ASSERT_EQ(deflateInit(&zstrm, Z_DEFAULT_COMPRESSION), Z_OK);
    Bytef dictionary[] = "abc", content[] = "abcabc", out[100];
    ASSERT_EQ(deflateSetDictionary(&zstrm, dictionary, 3), Z_OK);
    zstrm.next_in = content;
    zstrm.avail_in = 6;
    zstrm.next_out = out;
    zstrm.avail_out = sizeof out;
    ASSERT_EQ(deflate(&zstrm, Z_FINISH), Z_STREAM_END);
    const std::string compressed(reinterpret_cast<char *>(out),
                                 zstrm.total_out);
    deflateEnd(&zstrm);
    over(compressed);
    EXPECT_EQ(read(6), "");
    EXPECT_EQ(result_, -41);
    EXPECT_EQ(state()->err, Z_NEED_DICT);
}

TEST_F(ZlibReader, NoMemoryForInflateIsAnInflateFailure)
{
    over(test::deflate_stream("abc"));
    state()->zstrm.zalloc = [](void *, unsigned, unsigned) -> void * {
        return nullptr;
    };
    EXPECT_EQ(read(3), "");
    EXPECT_EQ(result_, -41);
    EXPECT_EQ(state()->err, Z_MEM_ERROR);
}

TEST_F(ZlibReader, AFailureOfZlibWithinAStreamIsAnInflateFailure)
{
    over(test::deflate_stream("abc"));
    EXPECT_EQ(read(1), "a");
    const free_func zfree = state()->zstrm.zfree;
    state()->zstrm.zfree = nullptr;  // zlib refuses a stream without one
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(result_, -41);
    EXPECT_EQ(state()->err, Z_STREAM_ERROR);
    state()->zstrm.zfree = zfree;
}

TEST_F(ZlibReader, AFailureOfTheBaseIsPassedOnAndForgotten)
{
    over(test::deflate_stream("abc"));
    base_->fail_after(0, -77);
    EXPECT_EQ(read(3), "");
    EXPECT_EQ(result_, -77);
    EXPECT_EQ(state()->err, 0);
    base_->fail_after(-1, 0);
    EXPECT_EQ(read(3), "abc");
}

TEST_F(ZlibReader, DestroyAfterAFailureIsFine)
{
    over("not a zlib stream");
    read(1);
    EXPECT_EQ(result_, -41);
    close();
    EXPECT_EQ(reader_, nullptr);
    EXPECT_EQ(log_.destructs, 1);
}

TEST_F(ZlibReader, OnlyTheFirstStreamAllocates)
{
    static int allocations;
    allocations = 0;
    std::string compressed;
    for (int i = 0; i < 20; ++i) compressed += test::deflate_stream(noise(100));
    over(compressed);
    state()->zstrm.zalloc = [](void *, unsigned count, unsigned size) {
        ++allocations;
        return std::calloc(count, size);
    };
    state()->zstrm.zfree = [](void *, void *block) {
        std::free(block);
    };
    read(50);
    read(100);
    const int first = allocations;
    EXPECT_GT(first, 0);
    read_all(64);
    EXPECT_EQ(allocations, first);
}

// --- making one ---

TEST(ZlibReaderCreate, EveryAllocationFailureLeavesTheBaseToTheCaller)
{
    FILE *fp = std::tmpfile();
    test::expect_every_allocation_failure_is_clean([fp] {
        struct reader *base = raw_reader_create(fp, 1);
        if (base == nullptr) return vela_get_last_error();
        struct reader *reader = zlib_reader_create(base);
        if (reader == nullptr) {
            reader_destroy(&base);
            return vela_get_last_error();
        }
        reader_destroy(&reader);
        return 0;
    });
    std::fclose(fp);
}

TEST(ZlibReaderCreate, InitWithoutMemoryDestructsTheBaseObject)
{
    test::memory_reader base("");
    struct reader reader = {};
    test::failing_allocation fails(0);
    EXPECT_EQ(zlib_reader_init(&reader, base.get()), -22);
    EXPECT_EQ(reader.version, 0);
    EXPECT_EQ(reader.type, 0u);
    EXPECT_EQ(base.get()->version, READER_VERSION);
}

// --- both ends together ---

TEST(ZlibStreams, WhatIsWrittenInTwoFlushesReadsBackAsOneSequence)
{
    test::memory_writer file;
    struct writer *writer = zlib_writer_create(test::lend(file.get()));
    writer_write_bytes(writer, "first", 5);
    const int first = writer_flush(writer);
    const std::string second = noise(10000);
    writer_write_bytes(writer, second.data(), 10000);
    writer_destroy(&writer);

    test::memory_reader back(file.bytes());
    struct reader *reader = zlib_reader_create(test::lend(back.get()));
    std::string content(10005, '.');
    EXPECT_EQ(reader_read_bytes(reader, content.data(), 6), 6);
    EXPECT_EQ(zlib_reader_get_last_savepoint(reader),
              static_cast<uint32_t>(first));
    EXPECT_EQ(reader_read_bytes(reader, content.data() + 6, 9999), 9999);
    EXPECT_EQ(content, "first" + second);
    reader_destroy(&reader);
}

// --- bugs of the caller ---

namespace {

using reader_call = void (*)(struct reader *);

void on_a_zlib_reader(reader_call call)
{
    test::memory_reader base("not a zlib stream");
    call(zlib_reader_create(test::lend(base.get())));
}
struct zlib_reader *state_of(struct reader *r)
{
    return static_cast<struct zlib_reader *>(r->reader);
}
void read_one(struct reader *r)
{
    char byte;
    reader_read_bytes(r, &byte, 1);
}

}  // namespace

class ZlibReaderDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(ZlibReaderDeathTest,
               test::abort_row{"CreateNull", "reader_base != NULL",
                               [] {
                                   zlib_reader_create(NULL);
                               }},
               test::abort_row{"InitNull", "reader_base != NULL",
                               [] {
                                   struct reader r;
                                   zlib_reader_init(&r, NULL);
                               }},
               test::abort_row{"ReadNoState", "zreader != NULL",
                               [] {
                                   on_a_zlib_reader([](struct reader *r) {
                                       char byte;
                                       r->fn_read_bytes(NULL, &byte, 1);
                                   });
                               }},
               test::abort_row{"ReadDeadState",
                               "zreader->version == ZLIB_READER_VERSION",
                               [] {
                                   on_a_zlib_reader([](struct reader *r) {
                                       state_of(r)->version = 0;
                                       read_one(r);
                                   });
                               }},
               test::abort_row{"ReadNoBase", "zreader->reader != NULL",
                               [] {
                                   on_a_zlib_reader([](struct reader *r) {
                                       state_of(r)->reader = NULL;
                                       read_one(r);
                                   });
                               }},
               test::abort_row{"ReadNoBuffer", "buf != NULL",
                               [] {
                                   on_a_zlib_reader([](struct reader *r) {
                                       r->fn_read_bytes(r->reader, NULL, 1);
                                   });
                               }},
               test::abort_row{"ReadAfterAFailure", "zreader->err == 0",
                               [] {
                                   on_a_zlib_reader([](struct reader *r) {
                                       read_one(r);
                                       read_one(r);
                                   });
                               }},
               test::abort_row{"BaseThatLies", "reader_eof(zreader->reader)",
                               [] {
                                   on_a_zlib_reader([](struct reader *r) {
                                       state_of(r)->reader->fn_read_bytes =
                                           [](void *, void *, uint32_t) {
                                               return 0;
                                           };
                                       read_one(r);
                                   });
                               }},
               test::abort_row{"SavepointOfNull", "reader != NULL",
                               [] {
                                   zlib_reader_get_last_savepoint(NULL);
                               }},
               test::abort_row{"SavepointOfAnotherType",
                               "reader->type == READER_TYPE_ZLIB", [] {
                                   test::memory_reader raw("");
                                   zlib_reader_get_last_savepoint(raw.get());
                               }});
