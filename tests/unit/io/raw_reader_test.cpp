#include "raw_reader.h"

#include <fcntl.h>

#include <cerrno>

#include "support/abort_rows.hpp"

namespace {

class RawReader : public test::InScratchFolder {
protected:
    void SetUp() override
    {
        test::write_file("file", "abcdefgh");
        fp_ = std::fopen("file", "r");
        ASSERT_NE(fp_, nullptr);
        fd_ = fileno(fp_);
    }
    bool is_open() const { return fcntl(fd_, F_GETFD) != -1; }

    FILE *fp_ = nullptr;
    int fd_ = -1;
};

}  // namespace

TEST_F(RawReader, ReadsWhatTheFileHolds)
{
    struct reader *reader = raw_reader_create(fp_, 0);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->version, 1);
    EXPECT_EQ(reader->type, 1u);
    char buf[10] = {};
    EXPECT_EQ(reader_read_bytes(reader, buf, 3), 3);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(reader_read_bytes(reader, buf, 5), 5);
    EXPECT_STREQ(buf, "defgh");
    reader_destroy(&reader);
    EXPECT_EQ(reader, nullptr);
}

TEST_F(RawReader, EndIsSeenByTheReadThatMeetsIt)
{
    struct reader *reader = raw_reader_create(fp_, 0);
    char buf[10];
    EXPECT_EQ(reader_read_bytes(reader, buf, 8), 8);
    EXPECT_EQ(reader_eof(reader), 0);
    EXPECT_EQ(reader_read_bytes(reader, buf, 1), 0);
    EXPECT_NE(reader_eof(reader), 0);
    EXPECT_EQ(reader_read_bytes(reader, buf, 10), 0);
    reader_destroy(&reader);
}

TEST_F(RawReader, AShortReadIsAllThatIsLeft)
{
    struct reader *reader = raw_reader_create(fp_, 0);
    char buf[10];
    EXPECT_EQ(reader_read_bytes(reader, buf, 10), 8);
    EXPECT_NE(reader_eof(reader), 0);
    reader_destroy(&reader);
}

TEST_F(RawReader, BitZeroLeavesTheFileOpen)
{
    struct reader *reader = raw_reader_create(fp_, 1);
    char byte;
    EXPECT_EQ(reader_read_bytes(reader, &byte, 1), 1);
    reader_destroy(&reader);
    EXPECT_TRUE(is_open());
    EXPECT_EQ(std::fgetc(fp_), 'b');
    std::fclose(fp_);
}

TEST_F(RawReader, WithoutBitZeroTheFileIsClosed)
{
    struct reader *reader = raw_reader_create(fp_, 0xFFFFFFFE);
    reader_destroy(&reader);
    EXPECT_FALSE(is_open());
}

TEST_F(RawReader, InitFillsTheCallersStorage)
{
    struct reader reader;
    ASSERT_EQ(raw_reader_init(&reader, fp_, 6), 0);
    const auto *state = static_cast<struct raw_reader *>(reader.reader);
    EXPECT_EQ(state->version, 1);
    EXPECT_EQ(state->fp, fp_);
    EXPECT_EQ(state->flags, 6u);
    reader_destruct(&reader);
    EXPECT_EQ(reader.reader, nullptr);
}

TEST_F(RawReader, AReadErrorLooksLikeNothingRead)
{
    FILE *folder = std::fopen(".", "r");
    ASSERT_NE(folder, nullptr);
    struct reader *reader = raw_reader_create(folder, 0);
    char byte;
    EXPECT_EQ(reader_read_bytes(reader, &byte, 1), 0);
    EXPECT_EQ(reader_eof(reader), 0);
    reader_destroy(&reader);
}

TEST_F(RawReader, NoMemoryForTheStateDestructsTheBase)
{
    struct reader reader = {};
    {
        test::failing_allocation fails(0);
        EXPECT_EQ(raw_reader_init(&reader, fp_, 0), KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(reader.version, 0);
    EXPECT_EQ(reader.type, 0u);
    EXPECT_TRUE(is_open());
    std::fclose(fp_);
}

TEST_F(RawReader, EveryAllocationFailureIsClean)
{
    test::expect_every_allocation_failure_is_clean([this] {
        struct reader *reader = raw_reader_create(fp_, 1);
        if (reader == nullptr) return vela_get_last_error();
        reader_destroy(&reader);
        return 0;
    });
    EXPECT_TRUE(is_open());
    std::fclose(fp_);
}

class RawReaderDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(RawReaderDeathTest,
               test::abort_row{"CreateNull", "fp != NULL",
                               [] {
                                   raw_reader_create(NULL, 0);
                               }},
               test::abort_row{"InitNull", "fp != NULL",
                               [] {
                                   struct reader reader;
                                   raw_reader_init(&reader, NULL, 0);
                               }},
               test::abort_row{"InitNullReader", "reader != NULL", [] {
                                   raw_reader_init(NULL, stdin, 0);
                               }});
