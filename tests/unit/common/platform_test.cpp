// The defaults that stand in for the product's platform functions.
#include "platform.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

namespace {

// Runs `action` in a child whose standard output and error go to a pipe;
// returns what it wrote there.  `status` is the child's exit status.
std::string output_of(void (*action)(), int &status)
{
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    std::fflush(nullptr);  // or the child would write it once more
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        action();
        std::exit(0);
    }
    close(ends[1]);
    std::string output;
    char block[256];
    for (ssize_t n; (n = read(ends[0], block, sizeof block)) > 0;)
        output.append(block, static_cast<size_t>(n));
    close(ends[0]);
    waitpid(child, &status, 0);
    return output;
}

// Formatting any of this would read a wild pointer.
void trace_what_cannot_be_formatted()
{
    auto *const wild = reinterpret_cast<const char *>(1);
    sp_trace_printf(150, -1, 39, 1, "%s", wild);
    sp_trace_printf(90, -1, 39, 2, wild);
    sp_trace_string(150, -1, 39, 3, wild);
}

}  // namespace

TEST(PlatformDefaults, TracingDoesNothingAtAll)
{
    int status = -1;
    EXPECT_EQ(output_of(trace_what_cannot_be_formatted, status), "");
    EXPECT_EQ(status, 0);
}

TEST(PlatformDefaults, EveryBitOfARandomNumberIsSetHalfTheTime)
{
    constexpr int ndraws = 20000;
    int set[32] = {};
    for (int i = 0; i < ndraws; ++i) {
        const uint32_t value = random_uint();
        for (int bit = 0; bit < 32; ++bit)
            set[bit] += static_cast<int>(value >> bit & 1);
    }
    for (int bit = 0; bit < 32; ++bit)
        EXPECT_NEAR(set[bit], ndraws / 2, 500) << "bit " << bit;
}

TEST(PlatformDefaults, RandomNumbersDoNotRepeatSoon)
{
    std::set<uint32_t> values;
    for (int i = 0; i < 1000; ++i) values.insert(random_uint());
    EXPECT_GE(values.size(), 999u);
}
