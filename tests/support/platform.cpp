// The test's own trace facility and random numbers, in place of the library's
// weak defaults.
#include "platform.h"

#include <cstdarg>
#include <cstdio>

#include "support/support.hpp"

namespace {
std::vector<uint32_t> scripted;
size_t next_scripted = 0;
uint32_t generator = 2463534242u;
int draws = 0;
}  // namespace

namespace test {

std::vector<trace_line> &traces()
{
    static std::vector<trace_line> lines;
    return lines;
}

void script_random(std::vector<uint32_t> values)
{
    scripted = std::move(values);
    next_scripted = 0;
    generator = 2463534242u;
    draws = 0;
}

int random_draws()
{
    return draws;
}

}  // namespace test

extern "C" {
void sp_trace_printf(int level, int a, int b, int message_id,
                     const char *format, ...)
{
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    test::traces().push_back({level, a, b, message_id, text});
}

void sp_trace_string(int level, int a, int b, int message_id, const char *text)
{
    test::traces().push_back({level, a, b, message_id, text});
}

uint32_t random_uint(void)
{
    ++draws;
    if (next_scripted < scripted.size()) return scripted[next_scripted++];
    generator ^= generator << 13;
    generator ^= generator >> 17;
    generator ^= generator << 5;
    return generator;
}
}
