// messages.cpp: what the program says on standard error.
#include "messages.hpp"

#include <fmt/core.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "error.h"

namespace tool {

namespace {

bool quiet = false;
bool line_is_open = false;

bool on_terminal()
{
    static const bool terminal = isatty(STDERR_FILENO) != 0;
    return terminal;
}

std::string emphasised(std::string_view text)
{
    const bool plain = !on_terminal() || std::getenv("NO_COLOR") != nullptr;
    return plain ? std::string(text) : fmt::format("\033[1m{}\033[0m", text);
}

// There is nobody to tell when standard error cannot be written.
void print(const std::string &text)
{
    std::fputs(text.c_str(), stderr);
}

void say(std::string_view who, std::string_view text)
{
    end_progress();
    print(fmt::format("{} {}\n", emphasised(who), text));
}

}  // namespace

void be_quiet()
{
    quiet = true;
}

bool is_quiet()
{
    return quiet;
}

void complain(std::string_view text)
{
    say("kor:", text);
}

void note(std::string_view text)
{
    if (!quiet) complain(text);
}

void complain_at(std::string_view file, uint64_t position,
                 std::string_view text)
{
    say(fmt::format("{}:{}:", printable(file), position), text);
}

void progress(std::string_view text)
{
    if (quiet || !on_terminal()) return;
    print(fmt::format("\r\033[K{}", text));
    std::fflush(stderr);
    line_is_open = true;
}

void end_progress()
{
    if (line_is_open) print("\r\033[K");
    line_is_open = false;
}

std::string printable(std::string_view text)
{
    std::string safe;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7F) {
            safe += fmt::format("\\x{:02x}", byte);
        } else {
            safe += c;
        }
    }
    return safe;
}

std::string in_quotes(std::string_view text)
{
    constexpr size_t longest = 40;
    if (text.size() <= longest) return "'" + printable(text) + "'";
    return "'" + printable(text.substr(0, longest)) + "...'";
}

std::string describe(int code)
{
    return fmt::format("{} ({})", vela_strerror(code), code);
}

}  // namespace tool
