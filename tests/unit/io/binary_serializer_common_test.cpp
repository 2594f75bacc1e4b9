#include "binary_serializer_common.h"

#include <cstdlib>

#include "support/abort_rows.hpp"

using namespace std::string_literals;

namespace {

// The string at the start of `stream`, or the code that reading it gives.
struct read_result {
    std::string text;
    int error = 0;
    int nread = 99;
    size_t position = 0;
};
read_result read_string(const std::string &stream)
{
    test::memory_reader in(stream);
    read_result result;
    vela_set_last_error(0);
    char *text = binary_serializer_read_string(in.get(), &result.nread);
    if (text == nullptr)
        result.error = vela_get_last_error();
    else
        result.text = text;
    std::free(text);
    result.position = in.position();
    return result;
}

std::string encoded(const std::string &text)
{
    test::memory_writer out;
    EXPECT_EQ(binary_serializer_write_string(text.c_str(), out.get()),
              static_cast<int>(4 + text.size()));
    return out.bytes();
}

}  // namespace

TEST(WriteString, IsTheLengthAndTheCharacters)
{
    EXPECT_EQ(encoded("Temp"), "\0\0\0\4Temp"s);
}

TEST(WriteString, TheEmptyStringIsFourZeros)
{
    EXPECT_EQ(encoded(""), "\0\0\0\0"s);
}

TEST(WriteString, TenThousandCharactersAreWritten)
{
    const std::string text(10000, 'x');
    EXPECT_EQ(encoded(text), "\0\0\x27\x10"s + text);
}

TEST(WriteString, OneMoreIsRefusedAndTheStreamUntouched)
{
    test::memory_writer out;
    const std::string text(10001, 'x');
    EXPECT_EQ(binary_serializer_write_string(text.c_str(), out.get()), -49);
    EXPECT_EQ(out.bytes(), "");
    EXPECT_EQ(out.calls(), 0);
}

TEST(WriteString, TheFirstFailureStopsIt)
{
    for (const int calls : {0, 1}) {
        test::memory_writer out;
        out.fail_after(calls, -41);
        EXPECT_EQ(binary_serializer_write_string("Temp", out.get()), -41);
        EXPECT_EQ(out.calls(), calls + 1);
    }
}

// A writer that buffers reports 0 until something has reached its file.
TEST(WriteString, AddsUpWhatTheWriterReports)
{
    test::memory_writer out;
    struct writer buffering = *out.get();
    buffering.fn_write_bytes = [](void *, const void *, uint32_t len) {
        return len == 4 ? 0 : 17;
    };
    EXPECT_EQ(binary_serializer_write_string("Temp!", &buffering), 17);
}

TEST(ReadString, GivesBackWhatWasWritten)
{
    for (const std::string &text : {"Temp"s, "x"s, std::string(10000, 'y')}) {
        const read_result result = read_string(encoded(text) + "rest");
        EXPECT_EQ(result.text, text);
        EXPECT_EQ(result.nread, static_cast<int>(4 + text.size()));
        EXPECT_EQ(result.position, 4 + text.size());
        EXPECT_EQ(result.error, 0);
    }
}

TEST(ReadString, TheCountMayBeLeftOut)
{
    test::memory_reader in(encoded("Temp"));
    char *text = binary_serializer_read_string(in.get(), nullptr);
    EXPECT_STREQ(text, "Temp");
    std::free(text);
    EXPECT_EQ(binary_serializer_read_string(in.get(), nullptr), nullptr);
}

namespace {

struct damage {
    const char *name;
    std::string stream;
    int error;
};
void PrintTo(const damage &row, std::ostream *os)
{
    *os << row.name;
}
class DamagedString : public testing::TestWithParam<damage> {};

const damage damages[] = {
    {"NothingThere", ""s, KOR_ERR_END_OF_STREAM},
    {"CutLength", "\0\0\0"s, KOR_ERR_TRUNCATED},
    {"LengthOnlyBegun", "\0"s, KOR_ERR_TRUNCATED},
    {"EmptyStringIsNotReadBack", "\0\0\0\0"s, KOR_ERR_INVALID_DATA},
    {"LengthOf10001", "\0\0\x27\x11"s, KOR_ERR_INVALID_DATA},
    {"LengthOfFourBillion", "\xFF\xFF\xFF\xFF"s, KOR_ERR_INVALID_DATA},
    {"LengthFiveAndThreeBytes", "\0\0\0\5abc"s, KOR_ERR_TRUNCATED},
    {"OneCharacterOfTwo", "\0\0\0\2a"s, KOR_ERR_TRUNCATED},
    {"EmbeddedNul", "\0\0\0\3a\0c"s, KOR_ERR_INVALID_DATA},
    {"NulAtTheEnd", "\0\0\0\3ab\0"s, KOR_ERR_INVALID_DATA},
    {"NulOnly", "\0\0\0\1\0"s, KOR_ERR_INVALID_DATA},
};

}  // namespace

TEST_P(DamagedString, IsRefusedWithItsCodeAndNothingConsumed)
{
    test::allocation_count blocks;
    const read_result result = read_string(GetParam().stream);
    EXPECT_EQ(result.error, GetParam().error);
    EXPECT_EQ(result.nread, 0);
    EXPECT_EQ(blocks.live(), 0);
}
INSTANTIATE_TEST_SUITE_P(Table, DamagedString, testing::ValuesIn(damages),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(ReadString, EveryCutIsRefused)
{
    test::expect_every_cut_is_refused(
        encoded("Temp"), {.when_empty = KOR_ERR_END_OF_STREAM, .aborting = {4}},
        [](struct reader *in) {
            int nread = 0;
            char *text = binary_serializer_read_string(in, &nread);
            if (text == nullptr) return vela_get_last_error();
            std::free(text);
            return nread;
        });
}

TEST(ReadString, AFailureOfTheReaderIsPassedOn)
{
    for (const int calls : {0, 1}) {
        test::memory_reader in("\0\0\0\4Temp"s);
        in.fail_after(calls, -41);
        vela_set_last_error(0);
        EXPECT_EQ(binary_serializer_read_string(in.get(), nullptr), nullptr);
        EXPECT_EQ(vela_get_last_error(), -41);
    }
}

TEST(ReadString, EveryAllocationFailureIsClean)
{
    const std::string stream = encoded("Temp");
    test::memory_reader *in = nullptr;
    test::expect_every_allocation_failure_is_clean([&] {
        test::memory_reader fresh(stream);
        in = &fresh;
        char *text = binary_serializer_read_string(in->get(), nullptr);
        if (text == nullptr) return vela_get_last_error();
        std::free(text);
        return 0;
    });
}

TEST(ReadBytes, PassesOnExactCountsEndsAndFailures)
{
    char buf[8] = {};
    test::memory_reader in("abcdef");
    EXPECT_EQ(binary_serializer_read_bytes(buf, 4, in.get()), 4);
    EXPECT_STREQ(buf, "abcd");
    EXPECT_EQ(binary_serializer_read_bytes(buf, 3, in.get()), -48);
    EXPECT_EQ(binary_serializer_read_bytes(buf, 3, in.get()), 0);
    in.fail_after(0, -41);
    EXPECT_EQ(binary_serializer_read_bytes(buf, 3, in.get()), -41);
}

namespace {

char buf[4];

// A reader that claims more than was asked for.
void read_too_much()
{
    test::memory_reader in("");
    in.get()->fn_read_bytes = [](void *, void *, uint32_t len) {
        return static_cast<int>(len) + 1;
    };
    binary_serializer_read_bytes(buf, 2, in.get());
}
void read_string_of(const std::string &stream)
{
    test::memory_reader in(stream);
    binary_serializer_read_string(in.get(), nullptr);
}
// A reader that gives nothing and yet is not at its end.
void read_string_from_a_liar()
{
    test::memory_reader in("abc");
    in.get()->fn_read_bytes = [](void *, void *, uint32_t) {
        return 0;
    };
    binary_serializer_read_string(in.get(), nullptr);
}

}  // namespace

class StringPrimitivesDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(StringPrimitivesDeathTest,
               test::abort_row{"WriteNoWriter", "writer != NULL",
                               [] {
                                   binary_serializer_write_string("a", NULL);
                               }},
               test::abort_row{"WriterComesFirst", "writer != NULL",
                               [] {
                                   binary_serializer_write_string(NULL, NULL);
                               }},
               test::abort_row{"WriteNoString", "str != NULL",
                               [] {
                                   test::memory_writer out;
                                   binary_serializer_write_string(NULL,
                                                                  out.get());
                               }},
               test::abort_row{"ReadNoReader", "reader != NULL",
                               [] {
                                   binary_serializer_read_string(NULL, NULL);
                               }},
               test::abort_row{"EndBetweenLengthAndText", "nread != 0",
                               [] {
                                   read_string_of("\0\0\0\4"s);
                               }},
               test::abort_row{"NothingButNoEnd", "reader_eof(reader)",
                               read_string_from_a_liar},
               test::abort_row{"BytesNoBuffer", "buf != NULL",
                               [] {
                                   binary_serializer_read_bytes(NULL, 1, NULL);
                               }},
               test::abort_row{"BytesNoLength", "buflen > 0",
                               [] {
                                   binary_serializer_read_bytes(buf, 0, NULL);
                               }},
               test::abort_row{"BytesNoReader", "reader != NULL",
                               [] {
                                   binary_serializer_read_bytes(buf, 1, NULL);
                               }},
               test::abort_row{"MoreThanAskedFor", "nread < buflen",
                               read_too_much});
