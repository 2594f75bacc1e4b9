// line_source.cpp: lines of a file or of standard input, of bounded length.
#include "line_source.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "exit_status.hpp"
#include "messages.hpp"

namespace tool {

namespace {

// The library takes a line in pieces of this many bytes, newline included.
constexpr size_t longest_line = 65535 - 1;

volatile std::sig_atomic_t signalled = 0;

}  // namespace

void end_reading_on_signals()
{
    struct sigaction action = {};
    action.sa_handler = [](int) {
        signalled = 1;
    };
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(number, &action, nullptr);
    }
}

line_source::line_source(const std::string &path)
    : name_(path), fd_(STDIN_FILENO)
{
    if (path.empty() || path == "-") {
        name_ = "standard input";
        return;
    }
    fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) {
        throw failure(
            fmt::format("{}: {}", printable(path), std::strerror(errno)));
    }
}

line_source::~line_source()
{
    if (fd_ != STDIN_FILENO) close(fd_);
}

bool line_source::fill()
{
    ssize_t n = -1;
    while (n < 0) {
        if (signalled) return false;
        n = read(fd_, buffer_.data(), buffer_.size());
        if (n < 0 && errno != EINTR) {
            throw failure(
                fmt::format("{}: {}", printable(name_), std::strerror(errno)));
        }
    }
    begin_ = 0;
    end_ = static_cast<size_t>(n);
    return n > 0;
}

bool line_source::next()
{
    text_.clear();
    too_long_ = false;
    bool any = false;
    bool whole = false;
    while (!whole && (begin_ < end_ || fill())) {
        any = true;
        const char *from = buffer_.data() + begin_;
        const char *to = buffer_.data() + end_;
        const char *newline = std::find(from, to, '\n');
        const auto length = static_cast<size_t>(newline - from);
        const size_t room = longest_line - text_.size();
        text_.append(from, std::min(length, room));
        too_long_ = too_long_ || length > room;
        whole = newline != to;
        begin_ += length + (whole ? 1 : 0);
    }
    if (any) number_++;
    // What a signal cut off is no line.
    return whole || (any && !signalled);
}

}  // namespace tool
