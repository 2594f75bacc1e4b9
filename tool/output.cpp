// output.cpp: where data goes: standard output or a file.
#include "output.hpp"

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "exit_status.hpp"
#include "messages.hpp"

namespace tool {

output::output(const std::string &path)
    : name_(path),
      file_(stdout),
      owned_(!path.empty() && path != "-"),
      terminal_(false)
{
    if (owned_) {
        file_ = std::fopen(path.c_str(), "we");
        if (!file_) fail();
    } else {
        name_ = "standard output";
        terminal_ = isatty(STDOUT_FILENO) != 0;
    }
}

output::~output()
{
    if (owned_ && file_) std::fclose(file_);
}

void output::fail() const
{
    if (errno == EPIPE) throw closed_pipe{};
    throw failure(
        fmt::format("{}: {}", printable(name_), std::strerror(errno)));
}

void output::write(std::string_view text)
{
    std::string safe;
    if (terminal_) {
        const auto control = [](unsigned char c) {
            return (c < ' ' && c != '\n') || c == 0x7F;
        };
        safe = text;
        std::replace_if(safe.begin(), safe.end(), control, '?');
        text = safe;
    }
    if (std::fwrite(text.data(), 1, text.size(), file_) != text.size()) fail();
}

void output::finish()
{
    if (std::fflush(file_) != 0) fail();
    if (!owned_) return;
    std::FILE *closing = file_;
    file_ = nullptr;
    if (std::fclose(closing) != 0) fail();
}

}  // namespace tool
