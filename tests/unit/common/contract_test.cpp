#include "common/contract.hpp"

#include "support/support.hpp"

static void _demand(int value, const char *p)
{
    KOR_ASSERT(value > 0);
    KOR_ASSERT(p != NULL);
    KOR_ASSERT(*p != '\0' && value < EOF + 10);
}

TEST(Contract, LetsThroughWhatHolds)
{
    _demand(1, "x");
}

TEST(ContractDeathTest, NamesFileLineFunctionAndExpression)
{
    EXPECT_DEATH(_demand(0, "x"),
                 testing::ContainsRegex("^contract_test\\.cpp:[0-9]+: _demand: "
                                        "Assertion `value > 0' failed\\.\n"));
}

TEST(ContractDeathTest, LeavesMacrosInTheExpressionUnexpanded)
{
    EXPECT_ABORTS(_demand(1, nullptr), "p != NULL");
    EXPECT_ABORTS(_demand(1, ""), "*p != '\\0' && value < EOF + 10");
}
