#include "zlib_writer.h"

#include <cstdlib>
#include <optional>

#include "io/streams.hpp"
#include "io/zlib_state.hpp"
#include "raw_writer.h"
#include "support/abort_rows.hpp"
#include "support/lent.hpp"

namespace {

// Bytes that deflate cannot make much smaller.
std::string noise(size_t size, uint32_t seed = 1)
{
    std::string bytes;
    for (size_t i = 0; i < size; ++i) {
        seed = seed * 1664525 + 1013904223;
        bytes += static_cast<char>(seed >> 24);
    }
    return bytes;
}

// Inflates a run of zlib streams.
std::string inflated(const std::string &compressed)
{
    test::scratch_folder folder;
    test::write_file("z", compressed);
    return test::inflate_file("z");
}
size_t number_of_streams(const std::string &compressed)
{
    test::scratch_folder folder;
    test::write_file("z", compressed);
    return test::inflate_streams("z").size();
}

class ZlibWriter : public testing::Test {
protected:
    void SetUp() override
    {
        writer_ = zlib_writer_create(test::lend(base_.get(), &log_));
        ASSERT_NE(writer_, nullptr);
    }
    void TearDown() override
    {
        if (writer_ != nullptr) writer_destroy(&writer_);
    }
    int write(const std::string &bytes)
    {
        return writer_write_bytes(writer_, bytes.data(),
                                  static_cast<uint32_t>(bytes.size()));
    }
    struct zlib_writer *state() const
    {
        return static_cast<struct zlib_writer *>(writer_->writer);
    }

    test::memory_writer base_;
    test::lent_log log_;
    struct writer *writer_ = nullptr;
};

}  // namespace

TEST_F(ZlibWriter, StartsWithNothingStagedAndNoStream)
{
    EXPECT_EQ(writer_->version, 1);
    EXPECT_EQ(writer_->type, 2u);
    EXPECT_EQ(state()->version, 1);
    EXPECT_EQ(state()->is_open, 0u);
    EXPECT_EQ(state()->err, 0);
    EXPECT_EQ(state()->i_in, 0u);
    EXPECT_EQ(log_.writes, 0);
}

TEST_F(ZlibWriter, AFullStageWaitsForTheByteThatFollows)
{
    EXPECT_EQ(write(noise(2048)), 0);
    EXPECT_EQ(log_.writes, 0);
    EXPECT_EQ(state()->i_in, 2048u);
    EXPECT_EQ(state()->is_open, 0u);
    const int result = write("x");
    EXPECT_GT(result, 0);
    EXPECT_EQ(static_cast<size_t>(result), base_.bytes().size());
    EXPECT_EQ(state()->i_in, 1u);
    EXPECT_EQ(state()->is_open, 1u);
}

TEST_F(ZlibWriter, ReturnsTheBytesThatReachedTheBase)
{
    int total = 0;
    std::string content;
    for (uint32_t i = 0; i < 60; ++i) {
        const std::string piece = noise(i * 37, i);
        content += piece;
        const size_t before = base_.bytes().size();
        const int result = write(piece);
        EXPECT_EQ(base_.bytes().size() - before, static_cast<size_t>(result));
        total += result;
    }
    total += writer_flush(writer_);
    EXPECT_EQ(base_.bytes().size(), static_cast<size_t>(total));
    EXPECT_EQ(inflated(base_.bytes()), content);
}

TEST_F(ZlibWriter, WritingNothingStagesNothing)
{
    EXPECT_EQ(write(""), 0);
    EXPECT_EQ(writer_flush(writer_), 0);
    EXPECT_EQ(log_.writes, 0);
}

TEST_F(ZlibWriter, AFlushWithNothingWrittenWritesNothing)
{
    EXPECT_EQ(writer_flush(writer_), 0);
    EXPECT_EQ(log_.writes, 0);
    write("abc");
    EXPECT_GT(writer_flush(writer_), 0);
    const int writes = log_.writes;
    EXPECT_EQ(writer_flush(writer_), 0);
    EXPECT_EQ(log_.writes, writes);
    EXPECT_EQ(number_of_streams(base_.bytes()), 1u);
}

TEST_F(ZlibWriter, EachFlushEndsAStream)
{
    write("first");
    const int first = writer_flush(writer_);
    EXPECT_EQ(base_.bytes().size(), static_cast<size_t>(first));
    EXPECT_EQ(inflated(base_.bytes()), "first");
    EXPECT_EQ(state()->is_open, 0u);
    write(noise(5000));
    EXPECT_GT(writer_flush(writer_), 0);
    EXPECT_EQ(number_of_streams(base_.bytes()), 2u);
    EXPECT_EQ(inflated(base_.bytes()), "first" + noise(5000));
}

TEST_F(ZlibWriter, AStreamIsWhatAFreshCompressorGives)
{
    // zlib is reset between streams, not set up anew: the bytes are the same.
    std::string expected;
    for (uint32_t i = 0; i < 20; ++i) {
        const std::string content = noise(i * 211 + 1, i) + std::string(i, 'x');
        write(content);
        writer_flush(writer_);
        test::memory_writer fresh_base;
        struct writer *fresh = zlib_writer_create(test::lend(fresh_base.get()));
        writer_write_bytes(fresh, content.data(),
                           static_cast<uint32_t>(content.size()));
        writer_destroy(&fresh);
        expected += fresh_base.bytes();
    }
    EXPECT_EQ(base_.bytes(), expected);
}

TEST_F(ZlibWriter, TheFormatIsZlibWithADefaultWindow)
{
    write("abc");
    writer_flush(writer_);
    EXPECT_EQ(static_cast<uint8_t>(base_.bytes()[0]), 0x78);
}

TEST_F(ZlibWriter, BytesDoNotDependOnHowWritesAreSplit)
{
    const std::string content = noise(7000) + std::string(7000, 'x');
    for (const char &byte : content) writer_write_bytes(writer_, &byte, 1);
    writer_flush(writer_);
    test::memory_writer whole_base;
    struct writer *whole = zlib_writer_create(test::lend(whole_base.get()));
    writer_write_bytes(whole, content.data(),
                       static_cast<uint32_t>(content.size()));
    writer_destroy(&whole);
    EXPECT_EQ(base_.bytes(), whole_base.bytes());
}

TEST_F(ZlibWriter, TheBaseGetsAtMost2048BytesAtATime)
{
    static uint32_t largest;
    largest = 0;
    state()->writer->fn_write_bytes = [](void *, const void *, uint32_t len) {
        largest = std::max(largest, len);
        return static_cast<int>(len);
    };
    write(noise(300000));
    writer_flush(writer_);
    EXPECT_EQ(largest, 2048u);
}

TEST_F(ZlibWriter, AFlushLeavesTheBaseUnflushed)
{
    write("abc");
    writer_flush(writer_);
    EXPECT_EQ(log_.flushes, 0);
}

TEST_F(ZlibWriter, DestroyEndsTheStreamAndTheBase)
{
    write("abc");
    writer_destroy(&writer_);
    EXPECT_EQ(inflated(base_.bytes()), "abc");
    EXPECT_EQ(log_.destructs, 1);
}

TEST_F(ZlibWriter, DestroyWithoutWritesLeavesAnEmptyFile)
{
    writer_destroy(&writer_);
    EXPECT_EQ(base_.bytes(), "");
    EXPECT_EQ(log_.destructs, 1);
}

// --- failures of the base writer ---

TEST_F(ZlibWriter, AFailureOfTheBaseEndsTheStreamAndIsReturned)
{
    base_.fail_after(0, -41);
    EXPECT_EQ(write(noise(5000)), -41);
    EXPECT_EQ(state()->is_open, 0u);
    EXPECT_EQ(state()->err, 0);
    EXPECT_EQ(log_.writes, 1);
    // The write stopped where it failed.
    EXPECT_EQ(state()->i_in, 2048u);
}

TEST_F(ZlibWriter, AFailedFlushDropsTheStage)
{
    write("abc");
    base_.fail_after(0, -41);
    EXPECT_EQ(writer_flush(writer_), -41);
    EXPECT_EQ(state()->i_in, 0u);
    EXPECT_EQ(state()->is_open, 0u);
    base_.fail_after(-1, 0);
    EXPECT_EQ(writer_flush(writer_), 0);
    EXPECT_EQ(base_.bytes(), "");
}

TEST_F(ZlibWriter, WorksAgainOnceTheBaseDoes)
{
    for (int failing = 0; failing < 4; ++failing) {
        base_.fail_after(failing, -41);
        int result = write(noise(9000));
        if (result >= 0) result = writer_flush(writer_);
        EXPECT_EQ(result, -41);
        vela::zlib_writer_discard(writer_);
        base_.fail_after(-1, 0);

        const size_t before = base_.bytes().size();
        write("whole again");
        EXPECT_GT(writer_flush(writer_), 0);
        EXPECT_EQ(inflated(base_.bytes().substr(before)), "whole again");
    }
}

TEST_F(ZlibWriter, DiscardDropsStageAndStream)
{
    write(noise(3000));
    EXPECT_EQ(state()->is_open, 1u);
    const size_t before = base_.bytes().size();
    vela::zlib_writer_discard(writer_);
    EXPECT_EQ(state()->is_open, 0u);
    EXPECT_EQ(state()->i_in, 0u);
    EXPECT_EQ(writer_flush(writer_), 0);
    EXPECT_EQ(base_.bytes().size(), before);
    write("next");
    writer_flush(writer_);
    EXPECT_EQ(inflated(base_.bytes().substr(before)), "next");
}

TEST_F(ZlibWriter, DiscardForgetsAFailure)
{
    state()->zstrm.zalloc = [](void *, unsigned, unsigned) -> void * {
        return nullptr;
    };
    write("lost");
    EXPECT_EQ(writer_flush(writer_), KOR_ERR_DEFLATE);
    vela::zlib_writer_discard(writer_);
    state()->zstrm.zalloc = nullptr;
    write("next");
    EXPECT_GT(writer_flush(writer_), 0);
    EXPECT_EQ(inflated(base_.bytes()), "next");
}

TEST_F(ZlibWriter, DestroyReportsNothingWhenTheBaseFails)
{
    write("abc");
    base_.fail_after(0, -41);
    writer_destroy(&writer_);
    EXPECT_EQ(writer_, nullptr);
    EXPECT_EQ(log_.destructs, 1);
}

// --- failures of zlib ---

namespace {

int zlib_allocations = 0;

void *no_memory(void *, unsigned, unsigned)
{
    return nullptr;
}
void *counted(void *, unsigned count, unsigned size)
{
    ++zlib_allocations;
    return std::calloc(count, size);
}
void freed(void *, void *block)
{
    std::free(block);
}

}  // namespace

TEST_F(ZlibWriter, NoMemoryForDeflateIsADeflateFailure)
{
    state()->zstrm.zalloc = no_memory;
    EXPECT_EQ(write("abc"), 0);
    EXPECT_EQ(writer_flush(writer_), -42);
    EXPECT_EQ(state()->err, Z_MEM_ERROR);
    state()->err = 0;  // so that it can be destroyed
}

TEST_F(ZlibWriter, AFailureToBeginAStreamIsADeflateFailure)
{
    write("abc");
    writer_flush(writer_);
    const free_func zfree = state()->zstrm.zfree;
    state()->zstrm.zfree = nullptr;  // zlib refuses a stream without one
    write("def");
    EXPECT_EQ(writer_flush(writer_), -42);
    EXPECT_EQ(state()->err, Z_STREAM_ERROR);
    state()->zstrm.zfree = zfree;
    state()->err = 0;
}

TEST_F(ZlibWriter, AFailureWithinAStreamIsADeflateFailure)
{
    write(noise(2049));
    const free_func zfree = state()->zstrm.zfree;
    state()->zstrm.zfree = nullptr;
    EXPECT_EQ(write(noise(2048)), -42);
    EXPECT_EQ(state()->err, Z_STREAM_ERROR);
    state()->zstrm.zfree = zfree;
    state()->err = 0;
}

TEST_F(ZlibWriter, OnlyTheFirstStreamAllocates)
{
    zlib_allocations = 0;
    state()->zstrm.zalloc = counted;
    state()->zstrm.zfree = freed;
    write(noise(5000));
    writer_flush(writer_);
    const int allocations = zlib_allocations;
    EXPECT_GT(allocations, 0);
    test::allocation_count blocks;
    for (int i = 0; i < 20; ++i) {
        write(noise(5000));
        writer_flush(writer_);
    }
    EXPECT_EQ(zlib_allocations, allocations);
    EXPECT_EQ(blocks.total(), 0);
}

// --- making one ---

TEST(ZlibWriterCreate, EveryAllocationFailureLeavesTheBaseToTheCaller)
{
    FILE *fp = std::tmpfile();
    test::expect_every_allocation_failure_is_clean([fp] {
        struct writer *base = raw_writer_create(fp, 1);
        if (base == nullptr) return vela_get_last_error();
        struct writer *writer = zlib_writer_create(base);
        if (writer == nullptr) {
            writer_destroy(&base);
            return vela_get_last_error();
        }
        writer_destroy(&writer);
        return 0;
    });
    std::fclose(fp);
}

TEST(ZlibWriterCreate, InitWithoutMemoryDestructsTheBaseObject)
{
    test::memory_writer base;
    struct writer writer = {};
    test::failing_allocation fails(0);
    EXPECT_EQ(zlib_writer_init(&writer, base.get()), -22);
    EXPECT_EQ(writer.version, 0);
    EXPECT_EQ(writer.type, 0u);
    EXPECT_EQ(base.get()->version, WRITER_VERSION);
}

TEST(ZlibWriterCreate, InitFillsTheCallersStorage)
{
    test::memory_writer base;
    struct writer writer;
    ASSERT_EQ(zlib_writer_init(&writer, test::lend(base.get())), 0);
    writer_write_bytes(&writer, "abc", 3);
    writer_destruct(&writer);
    EXPECT_EQ(inflated(base.bytes()), "abc");
}

// --- bugs of the caller ---

namespace {

using writer_call = void (*)(struct writer *);

void on_a_zlib_writer(writer_call call)
{
    test::memory_writer base;
    call(zlib_writer_create(test::lend(base.get())));
}
struct zlib_writer *state_of(struct writer *w)
{
    return static_cast<struct zlib_writer *>(w->writer);
}
void failed(writer_call call)
{
    test::memory_writer base;
    struct writer *w = zlib_writer_create(test::lend(base.get()));
    state_of(w)->err = Z_STREAM_ERROR;
    call(w);
}

}  // namespace

class ZlibWriterDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(
    ZlibWriterDeathTest,
    test::abort_row{"CreateNull", "writer_base != NULL",
                    [] {
                        zlib_writer_create(NULL);
                    }},
    test::abort_row{"InitNull", "writer_base != NULL",
                    [] {
                        struct writer w;
                        zlib_writer_init(&w, NULL);
                    }},
    test::abort_row{"WriteNoState", "zwriter != NULL",
                    [] {
                        on_a_zlib_writer([](struct writer *w) {
                            w->fn_write_bytes(NULL, "", 1);
                        });
                    }},
    test::abort_row{"WriteDeadState", "zwriter->version == ZLIB_WRITER_VERSION",
                    [] {
                        on_a_zlib_writer([](struct writer *w) {
                            state_of(w)->version = 0;
                            writer_write_bytes(w, "", 1);
                        });
                    }},
    test::abort_row{"WriteNoBase", "zwriter->writer != NULL",
                    [] {
                        on_a_zlib_writer([](struct writer *w) {
                            state_of(w)->writer = NULL;
                            writer_write_bytes(w, "", 1);
                        });
                    }},
    test::abort_row{"WriteNoBuffer", "buf != NULL",
                    [] {
                        on_a_zlib_writer([](struct writer *w) {
                            w->fn_write_bytes(w->writer, NULL, 1);
                        });
                    }},
    test::abort_row{"WriteOverfullStage",
                    "zwriter->i_in <= sizeof(zwriter->in)",
                    [] {
                        on_a_zlib_writer([](struct writer *w) {
                            state_of(w)->i_in = 2049;
                            writer_write_bytes(w, "", 1);
                        });
                    }},
    test::abort_row{"WriteAfterAFailure", "zwriter->err == 0",
                    [] {
                        failed([](struct writer *w) {
                            const std::string bytes(2049, 'x');
                            writer_write_bytes(w, bytes.data(), 2049);
                        });
                    }},
    test::abort_row{"FlushAfterAFailure", "zwriter->err == 0",
                    [] {
                        failed([](struct writer *w) { writer_flush(w); });
                    }},
    test::abort_row{"DestroyAfterAFailure", "zwriter->err == 0",
                    [] {
                        failed([](struct writer *w) { writer_destroy(&w); });
                    }},
    test::abort_row{"DiscardOfAnotherKind", "vela::is_zlib_writer(writer)", [] {
                        test::memory_writer other;
                        vela::zlib_writer_discard(other.get());
                    }});
