#include "vela_memory.h"

#include "support/support.hpp"

TEST(Memory, MallocAndFreeGiveAndTakeABlock)
{
    test::allocation_count blocks;
    void *block = _vela_malloc(100);
    ASSERT_NE(block, nullptr);
    std::memset(block, 0xA5, 100);
    EXPECT_EQ(blocks.live(), 1);
    _vela_free(block);
    EXPECT_EQ(blocks.live(), 0);
}

TEST(Memory, CallocGivesZeros)
{
    auto *block = static_cast<char *>(_vela_calloc(10, 7));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::string(block, 70), std::string(70, '\0'));
    _vela_free(block);
}

TEST(Memory, StrdupCopies)
{
    const char original[] = "CPU0 Temp";
    char *copy = _vela_strdup(original);
    EXPECT_STREQ(copy, original);
    EXPECT_NE(copy, original);
    _vela_free(copy);
}

TEST(Memory, FreeTakesNull)
{
    test::allocation_count blocks;
    _vela_free(nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST(Memory, FailureIsNull)
{
    {
        test::failing_allocation fails(0);
        EXPECT_EQ(_vela_malloc(1), nullptr);
    }
    {
        test::failing_allocation fails(0);
        EXPECT_EQ(_vela_calloc(1, 1), nullptr);
    }
    test::failing_allocation fails(0);
    EXPECT_EQ(_vela_strdup("x"), nullptr);
}
