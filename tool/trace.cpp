// trace.cpp: the library's trace, on standard error when asked for.
//
// The library calls these two functions, which replace its own silent ones.
#include "trace.hpp"

#include <cstdarg>
#include <cstdio>
#include <limits>

#include "messages.hpp"
#include "platform.h"

namespace {

constexpr int level_of_files = 150;
constexpr int level_of_samples = 90;

int lowest_level = std::numeric_limits<int>::max();

}  // namespace

namespace tool {

void show_trace(int verbosity)
{
    if (verbosity == 1) lowest_level = level_of_files;
    if (verbosity > 1) lowest_level = level_of_samples;
}

}  // namespace tool

void sp_trace_printf(int level, int, int, int, const char *format, ...)
{
    if (level < lowest_level) return;
    std::va_list arguments;
    va_start(arguments, format);
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    tool::complain(tool::printable(text));
}

void sp_trace_string(int level, int, int, int, const char *text)
{
    if (level >= lowest_level) tool::complain(tool::printable(text));
}
