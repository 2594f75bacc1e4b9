#include "error.h"

#include <set>
#include <string>

#include "support/abort_rows.hpp"

TEST(LastError, KeepsWhatIsSet)
{
    vela_set_last_error(KOR_ERR_NO_MEMORY);
    EXPECT_EQ(vela_get_last_error(), -22);
    vela_set_last_error(INT32_MIN);
    EXPECT_EQ(vela_get_last_error(), INT32_MIN);
}

TEST(LastError, ZeroIsAllowedAndClearsTheValue)
{
    vela_set_last_error(KOR_ERR_TOO_LONG);
    vela_set_last_error(0);
    EXPECT_EQ(vela_get_last_error(), 0);
}

class LastErrorDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(LastErrorDeathTest,
               test::abort_row{"PositiveCode", "err <= 0", [] {
                                   vela_set_last_error(1);
                               }});

TEST(ErrorText, EveryCodeHasOneOfItsOwn)
{
    std::set<std::string> texts;
    int ncodes = 0;
#define KOR_COLLECT(name, value, meaning)        \
    EXPECT_STREQ(vela_strerror(value), meaning); \
    texts.insert(vela_strerror(name));           \
    ++ncodes;
    KOR_ERROR_LIST(KOR_COLLECT)
#undef KOR_COLLECT
    EXPECT_EQ(texts.size(), static_cast<size_t>(ncodes));
    EXPECT_EQ(texts.count(vela_strerror(-999)), 0u);
}

TEST(ErrorText, UnknownCodesShareAFixedText)
{
    EXPECT_STREQ(vela_strerror(1), "unknown error code");
    EXPECT_STREQ(vela_strerror(-5), "unknown error code");
}

// The numbers are what callers and files of other versions know.
TEST(ErrorCodes, HaveTheirNumbers)
{
    const int codes[] = {KOR_OK,
                         KOR_ERR_FAILED,
                         KOR_ERR_FULL,
                         KOR_ERR_OTHER_KIND,
                         KOR_ERR_UNKNOWN_KIND,
                         KOR_ERR_INVALID_DATA,
                         KOR_ERR_DIVISION_BY_ZERO,
                         KOR_ERR_BAD_TIMESTAMP,
                         KOR_ERR_WRONG_VERSION,
                         KOR_ERR_NO_MEMORY,
                         KOR_ERR_CANNOT_OPEN,
                         KOR_ERR_INFLATE,
                         KOR_ERR_DEFLATE,
                         KOR_ERR_END_OF_STREAM,
                         KOR_ERR_INCOMPLETE,
                         KOR_ERR_TRUNCATED,
                         KOR_ERR_TOO_LONG,
                         KOR_ERR_NEGATIVE_ROOT};
    EXPECT_THAT(codes,
                testing::ElementsAre(0, -1, -2, -3, -4, -6, -10, -11, -12, -22,
                                     -40, -41, -42, -43, -44, -48, -49, -50));
}
