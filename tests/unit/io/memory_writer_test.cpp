#include "io/memory_writer.hpp"

#include "binary_serializer_common.h"
#include "support/support.hpp"

static std::string _content(const vela::memory_writer &writer)
{
    return std::string(static_cast<const char *>(writer.data()), writer.size());
}

TEST(MemoryWriter, IsEmptyAtFirst)
{
    test::allocation_count blocks;
    vela::memory_writer writer;
    EXPECT_EQ(writer.size(), 0u);
    EXPECT_EQ(writer_flush(writer.get()), 0);
    EXPECT_EQ(blocks.total(), 0);
}

TEST(MemoryWriter, GathersWhatIsWritten)
{
    vela::memory_writer writer;
    EXPECT_EQ(binary_serializer_write_string("Temp", writer.get()), 8);
    EXPECT_EQ(writer_write_bytes(writer.get(), "", 0), 0);
    EXPECT_EQ(writer_write_bytes(writer.get(), "!", 1), 1);
    EXPECT_EQ(_content(writer), test::bytes("00000004 54656D70 21"));
}

TEST(MemoryWriter, GrowsAsNeeded)
{
    std::string expected;
    vela::memory_writer writer;
    for (uint32_t size = 1; size <= 40000; size *= 3) {
        const std::string piece(size, static_cast<char>('a' + size % 26));
        EXPECT_EQ(writer_write_bytes(writer.get(), piece.data(), size),
                  static_cast<int>(size));
        expected += piece;
    }
    EXPECT_EQ(_content(writer), expected);
}

TEST(MemoryWriter, WithoutMemoryNothingIsAdded)
{
    vela::memory_writer writer;
    ASSERT_EQ(writer_write_bytes(writer.get(), "abc", 3), 3);
    const std::string large(100000, 'x');
    {
        test::failing_allocation fails(0);
        EXPECT_EQ(writer_write_bytes(writer.get(), large.data(), 100000),
                  KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(_content(writer), "abc");
    EXPECT_TRUE(writer.is_cut());
    EXPECT_EQ(writer_write_bytes(writer.get(), "d", 1), 1);
    EXPECT_EQ(_content(writer), "abcd");
    EXPECT_TRUE(writer.is_cut());
}

TEST(MemoryWriter, ForgetsWhatWasWritten)
{
    vela::memory_writer writer;
    EXPECT_FALSE(writer.is_cut());
    ASSERT_EQ(writer_write_bytes(writer.get(), "abc", 3), 3);
    {
        test::failing_allocation fails(0);
        writer_write_bytes(writer.get(), std::string(100000, 'x').data(),
                           100000);
    }
    writer.clear();
    EXPECT_FALSE(writer.is_cut());
    EXPECT_EQ(writer.size(), 0u);
    // Its memory is still there.
    const test::failing_allocation fails(0);
    EXPECT_EQ(writer_write_bytes(writer.get(), "d", 1), 1);
    EXPECT_EQ(_content(writer), "d");
}

TEST(MemoryWriter, FreesItsMemoryWithItself)
{
    test::expect_every_allocation_failure_is_clean([] {
        vela::memory_writer writer;
        const int result = writer_write_bytes(writer.get(), "abc", 3);
        return result < 0 ? result : 0;
    });
}
