#include "raw_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include "support/abort_rows.hpp"

namespace {

class RawWriter : public test::InScratchFolder {
protected:
    void SetUp() override
    {
        fp_ = std::fopen("file", "w");
        ASSERT_NE(fp_, nullptr);
        fd_ = fileno(fp_);
    }
    bool is_open() const { return fcntl(fd_, F_GETFD) != -1; }

    FILE *fp_ = nullptr;
    int fd_ = -1;
};

}  // namespace

TEST_F(RawWriter, EveryWriteIsInTheFileAtOnce)
{
    struct writer *writer = raw_writer_create(fp_, 0);
    ASSERT_NE(writer, nullptr);
    EXPECT_EQ(writer->version, 1);
    EXPECT_EQ(writer->type, 1u);
    EXPECT_EQ(writer_write_bytes(writer, "abc", 3), 3);
    EXPECT_EQ(test::read_file("file"), "abc");
    EXPECT_EQ(writer_write_bytes(writer, "d", 1), 1);
    EXPECT_EQ(test::read_file("file"), "abcd");
    EXPECT_EQ(writer_flush(writer), 0);
    writer_destroy(&writer);
    EXPECT_EQ(writer, nullptr);
    EXPECT_EQ(test::read_file("file"), "abcd");
}

TEST_F(RawWriter, WritingNothingIsNoFailure)
{
    struct writer *writer = raw_writer_create(fp_, 0);
    EXPECT_EQ(writer_write_bytes(writer, "", 0), 0);
    writer_destroy(&writer);
    EXPECT_EQ(test::read_file("file"), "");
}

TEST_F(RawWriter, BitZeroLeavesTheFileOpen)
{
    struct writer *writer = raw_writer_create(fp_, 1);
    writer_destroy(&writer);
    ASSERT_TRUE(is_open());
    std::fputs("mine", fp_);
    std::fclose(fp_);
    EXPECT_EQ(test::read_file("file"), "mine");
}

TEST_F(RawWriter, WithoutBitZeroTheFileIsClosed)
{
    struct writer *writer = raw_writer_create(fp_, 0xFFFFFFFE);
    writer_destroy(&writer);
    EXPECT_FALSE(is_open());
}

TEST_F(RawWriter, FlushAndDestroyPushOutWhatOthersLeftInTheStream)
{
    struct writer *writer = raw_writer_create(fp_, 1);
    std::fputs("one", fp_);
    EXPECT_EQ(writer_flush(writer), 0);
    EXPECT_EQ(test::read_file("file"), "one");
    std::fputs("two", fp_);
    writer_destroy(&writer);
    EXPECT_EQ(test::read_file("file"), "onetwo");
    std::fclose(fp_);
}

TEST_F(RawWriter, InitFillsTheCallersStorage)
{
    struct writer writer;
    ASSERT_EQ(raw_writer_init(&writer, fp_, 6), 0);
    const auto *state = static_cast<struct raw_writer *>(writer.writer);
    EXPECT_EQ(state->version, 1);
    EXPECT_EQ(state->fp, fp_);
    EXPECT_EQ(state->flags, 6u);
    writer_destruct(&writer);
    EXPECT_EQ(writer.writer, nullptr);
}

TEST_F(RawWriter, AStreamOpenedForReadingTakesNothing)
{
    std::fclose(fp_);
    fp_ = std::fopen("file", "r");
    struct writer *writer = raw_writer_create(fp_, 0);
    EXPECT_EQ(writer_write_bytes(writer, "abc", 3), -41);
    writer_destroy(&writer);
}

// One that buffers takes the bytes, and only its flush meets the full disk.
class RawWriterOnAFullDisk : public testing::TestWithParam<int> {};

TEST_P(RawWriterOnAFullDisk, ReportsEveryWriteAndNoFlush)
{
    FILE *full = std::fopen("/dev/full", "w");
    if (full == nullptr) GTEST_SKIP() << "no /dev/full here";
    std::setvbuf(full, nullptr, GetParam(), BUFSIZ);
    struct writer *writer = raw_writer_create(full, 0);
    for (const uint32_t size : {1u, 100u, 2048u}) {
        const std::string bytes(size, 'x');
        EXPECT_EQ(writer_write_bytes(writer, bytes.data(), size), -41);
        EXPECT_EQ(writer_flush(writer), 0);
    }
    writer_destroy(&writer);
}
INSTANTIATE_TEST_SUITE_P(Buffering, RawWriterOnAFullDisk,
                         testing::Values(_IONBF, _IOFBF, _IOLBF));

TEST_F(RawWriter, NoMemoryForTheStateDestructsTheBase)
{
    struct writer writer = {};
    {
        test::failing_allocation fails(0);
        EXPECT_EQ(raw_writer_init(&writer, fp_, 0), KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(writer.version, 0);
    EXPECT_EQ(writer.type, 0u);
    EXPECT_TRUE(is_open());
    std::fclose(fp_);
}

TEST_F(RawWriter, EveryAllocationFailureIsClean)
{
    test::expect_every_allocation_failure_is_clean([this] {
        struct writer *writer = raw_writer_create(fp_, 1);
        if (writer == nullptr) return vela_get_last_error();
        writer_destroy(&writer);
        return 0;
    });
    EXPECT_TRUE(is_open());
    std::fclose(fp_);
}

class RawWriterDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(RawWriterDeathTest,
               test::abort_row{"CreateNull", "fp != NULL",
                               [] {
                                   raw_writer_create(NULL, 0);
                               }},
               test::abort_row{"InitNull", "fp != NULL",
                               [] {
                                   struct writer writer;
                                   raw_writer_init(&writer, NULL, 0);
                               }},
               test::abort_row{"InitNullWriter", "writer != NULL", [] {
                                   raw_writer_init(NULL, stdout, 0);
                               }});
