#include "platform/strlcpy.hpp"

#include "support/support.hpp"

TEST(CopyString, CopiesWhatFitsAndReturnsTheWholeLength)
{
    char target[6] = "?????";
    EXPECT_EQ(vela::copy_string(target, "abc", sizeof target), 3u);
    EXPECT_STREQ(target, "abc");
    EXPECT_EQ(target[4], '?');
    EXPECT_EQ(vela::copy_string(target, "abcde", sizeof target), 5u);
    EXPECT_STREQ(target, "abcde");
}

TEST(CopyString, CutsAndTerminates)
{
    char target[4] = "???";
    EXPECT_EQ(vela::copy_string(target, "abcd", sizeof target), 4u);
    EXPECT_STREQ(target, "abc");
    EXPECT_EQ(vela::copy_string(target, "xyz", 1), 3u);
    EXPECT_STREQ(target, "");
}

TEST(CopyString, TouchesNothingWithoutRoom)
{
    char target = '?';
    EXPECT_EQ(vela::copy_string(&target, "abc", 0), 3u);
    EXPECT_EQ(target, '?');
}

TEST(CopyString, CopiesTheEmptyString)
{
    char target[2] = "?";
    EXPECT_EQ(vela::copy_string(target, "", sizeof target), 0u);
    EXPECT_STREQ(target, "");
}
