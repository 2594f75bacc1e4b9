// abort_rows.hpp: a table of calls and the assertions they must abort on.
//
//     class RawReaderDeathTest : public test::AbortRow {};
//     KOR_ABORT_ROWS(RawReaderDeathTest,
//         {"NullStream", "fp != NULL", [] { raw_reader_create(NULL, 0); }});
#ifndef KOR_TESTS_ABORT_ROWS_HPP
#define KOR_TESTS_ABORT_ROWS_HPP

#include "support/support.hpp"

namespace test {

struct abort_row {
    const char *name;
    const char *expression;
    void (*call)();
};
inline void PrintTo(const abort_row &row, std::ostream *os)
{
    *os << row.expression;
}

class AbortRow : public testing::TestWithParam<abort_row> {
protected:
    static void expect_abort(const abort_row &row)
    {
        EXPECT_DEATH(row.call(),
                     testing::HasSubstr(std::string("Assertion `") +
                                        row.expression + "' failed.\n"));
    }
};

}  // namespace test

#define KOR_ABORT_ROWS(suite, ...)                                       \
    TEST_P(suite, AbortsOn)                                              \
    {                                                                    \
        expect_abort(GetParam());                                        \
    }                                                                    \
    INSTANTIATE_TEST_SUITE_P(                                            \
        Table, suite, testing::ValuesIn<test::abort_row>({__VA_ARGS__}), \
        [](const testing::TestParamInfo<test::abort_row> &i) {           \
            return std::string(i.param.name);                            \
        })

#endif
