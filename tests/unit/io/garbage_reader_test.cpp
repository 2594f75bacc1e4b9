#include "garbage_reader.h"

#include <optional>

#include "support/abort_rows.hpp"
#include "support/lent.hpp"

namespace {

// A garbage reader over bytes in memory, with scripted random numbers.
class GarbageReader : public testing::Test {
protected:
    void over(const std::string &bytes, uint32_t nclean,
              std::vector<uint32_t> random = {})
    {
        test::script_random(std::move(random));
        behind_.emplace(bytes);
        reader_ = garbage_reader_create(test::lend(behind_->get()), nclean);
        ASSERT_NE(reader_, nullptr);
    }
    void TearDown() override
    {
        if (reader_ != nullptr) reader_destroy(&reader_);
        test::script_random({});
    }
    // Reads `len` bytes into a buffer of `before`; returns result and buffer.
    int read(uint32_t len)
    {
        buf_.assign(16, '.');
        return reader_read_bytes(reader_, buf_.data(), len);
    }

    std::optional<test::memory_reader> behind_;
    struct reader *reader_ = nullptr;
    std::string buf_;
};

}  // namespace

TEST_F(GarbageReader, WithinTheBudgetBytesPassUnchanged)
{
    over("abcdefgh", 10);
    EXPECT_EQ(reader_->type, 3u);
    EXPECT_EQ(read(3), 3);
    EXPECT_EQ(buf_.substr(0, 4), "abc.");
    EXPECT_EQ(read(5), 5);
    EXPECT_EQ(buf_.substr(0, 6), "defgh.");
    EXPECT_EQ(test::random_draws(), 0);
}

TEST_F(GarbageReader, ACountEqualToTheBudgetIsStillClean)
{
    over("abcd", 4);
    EXPECT_EQ(read(4), 4);
    EXPECT_EQ(buf_.substr(0, 5), "abcd.");
}

TEST_F(GarbageReader, BudgetTwoAndAReadOfEightAltersTheLastSix)
{
    over("abcdefgh", 2, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(read(8), 8);
    const std::string damaged = {'a',     'b',     'c' ^ 1, 'd' ^ 2, 'e' ^ 3,
                                 'f' ^ 4, 'g' ^ 5, 'h' ^ 6, '.'};
    EXPECT_EQ(buf_.substr(0, 9), damaged);
    EXPECT_EQ(test::random_draws(), 6);
}

TEST_F(GarbageReader, OnlyTheLowByteOfADrawCountsAndItIsNeverZero)
{
    over("ab", 0, {0x100, 0, 0xFF00, 0xABCDEF07, 9});
    EXPECT_EQ(read(2), 2);
    EXPECT_EQ(buf_[0], 'a' ^ 7);
    EXPECT_EQ(buf_[1], 'b' ^ 9);
    EXPECT_EQ(test::random_draws(), 5);
}

TEST_F(GarbageReader, EveryByteBeyondTheBudgetDiffers)
{
    const std::string original(4000, 'x');
    over(original, 100);
    std::string damaged(4000, '.');
    EXPECT_EQ(reader_read_bytes(reader_, damaged.data(), 4000), 4000);
    EXPECT_EQ(damaged.substr(0, 100), original.substr(0, 100));
    for (size_t i = 100; i < 4000; ++i) ASSERT_NE(damaged[i], 'x') << i;
}

TEST_F(GarbageReader, BudgetTenOverFourBytesYieldsThemUnchangedThenGarbage)
{
    over("abcd", 10, {1, 2, 3, 4, 5, 6, 64});
    EXPECT_EQ(read(4), 4);
    EXPECT_EQ(buf_.substr(0, 5), "abcd.");
    // Damage begins at the budget, which is past this read: one draw, for the
    // end, and the budget is used up.
    EXPECT_EQ(read(4), 4);
    EXPECT_EQ(buf_.substr(0, 5), ".....");
    EXPECT_EQ(test::random_draws(), 1);
    EXPECT_EQ(read(4), 4);
    const std::string damaged = {'.' ^ 3, '.' ^ 4, '.' ^ 5, '.' ^ 6};
    EXPECT_EQ(buf_.substr(0, 4), damaged);
    EXPECT_EQ(read(4), 0);
}

TEST_F(GarbageReader, TheEndIsDrawnOnceForEachReadAtTheBasesEnd)
{
    over("", 0, {1, 5, 64});
    EXPECT_EQ(read(1), 1);  // 1: no end; 5: the damage
    EXPECT_EQ(buf_[0], '.' ^ 5);
    EXPECT_EQ(reader_eof(reader_), 0);
    EXPECT_EQ(read(1), 0);
    EXPECT_NE(reader_eof(reader_), 0);
    EXPECT_EQ(test::random_draws(), 3);
}

TEST_F(GarbageReader, TheDecidedEndStays)
{
    over("", 0, {0, 1, 2});
    EXPECT_EQ(read(1), 0);
    EXPECT_EQ(read(1), 0);
    EXPECT_EQ(read(16), 0);
    EXPECT_EQ(buf_, std::string(16, '.'));
    EXPECT_NE(reader_eof(reader_), 0);
}

TEST_F(GarbageReader, AfterTheEndNothingBeyondTheBudgetComesThrough)
{
    over("", 2, {64});
    EXPECT_EQ(read(1), 0);
    // The base has grown since.
    test::memory_reader grown("abcdef");
    *behind_->get() = *grown.get();
    EXPECT_EQ(read(2), 2);
    EXPECT_EQ(read(4), 0);
    EXPECT_EQ(test::random_draws(), 1);
}

TEST_F(GarbageReader, TheEndComesAfterSixtyFourReadsOnAverage)
{
    constexpr int nruns = 400;
    int nreads = 0;
    test::script_random({});
    for (int run = 0; run < nruns; ++run) {
        test::memory_reader empty("");
        struct reader *reader =
            garbage_reader_create(test::lend(empty.get()), 0);
        char byte = 0;
        do ++nreads;
        while (reader_read_bytes(reader, &byte, 1) != 0);
        reader_destroy(&reader);
    }
    EXPECT_NEAR(nreads / nruns, 64, 12);
}

TEST_F(GarbageReader, AFailureOfTheBaseIsPassedOn)
{
    over("abcd", 1);
    behind_->fail_after(0, -41);
    EXPECT_EQ(read(4), -41);
    EXPECT_EQ(buf_, std::string(16, '.'));
    EXPECT_EQ(test::random_draws(), 0);
}

TEST_F(GarbageReader, OwnsTheBaseReader)
{
    test::memory_reader behind("");
    test::lent_log log;
    struct reader *reader =
        garbage_reader_create(test::lend(behind.get(), &log), 3);
    const auto *state = static_cast<struct garbage_reader *>(reader->reader);
    EXPECT_EQ(state->version, 1);
    EXPECT_EQ(state->nclean, 3u);
    EXPECT_EQ(state->flags, 0u);
    reader_destroy(&reader);
    EXPECT_EQ(log.destructs, 1);
}

TEST_F(GarbageReader, EveryAllocationFailureLeavesTheBaseToTheCaller)
{
    test::memory_reader behind("");
    test::expect_every_allocation_failure_is_clean([&behind] {
        static test::lent_log log;
        log = {};
        struct reader base = *behind.get();
        struct reader reader;
        const int result = garbage_reader_init(&reader, &base, 0);
        EXPECT_EQ(base.version, READER_VERSION);
        if (result < 0) {
            EXPECT_EQ(reader.version, 0);
            return result;
        }
        std::free(reader.reader);  // without destroying what is not on the heap
        return 0;
    });
}

TEST_F(GarbageReader, CreateWithoutMemoryIsNull)
{
    test::memory_reader behind("");
    for (const int failing : {0, 1}) {
        vela_set_last_error(0);
        test::failing_allocation fails(failing);
        EXPECT_EQ(garbage_reader_create(behind.get(), 0), nullptr);
        EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
    }
}

namespace {

// A reader that reads nothing and yet is not at its end.
void read_from_a_base_that_lies()
{
    test::memory_reader behind("a");
    struct reader *base = test::lend(behind.get());
    base->fn_read_bytes = [](void *, void *, uint32_t) {
        return 0;
    };
    struct reader *reader = garbage_reader_create(base, 0);
    char byte = 0;
    reader_read_bytes(reader, &byte, 1);
}

}  // namespace

class GarbageReaderDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(GarbageReaderDeathTest,
               test::abort_row{"CreateNull", "base_reader != NULL",
                               [] {
                                   garbage_reader_create(NULL, 0);
                               }},
               test::abort_row{"InitNull", "base_reader != NULL",
                               [] {
                                   struct reader reader;
                                   garbage_reader_init(&reader, NULL, 0);
                               }},
               test::abort_row{"LyingBase", "reader_eof(reader->reader)",
                               read_from_a_base_that_lies});
