// line_source.hpp: lines of a file or of standard input, of bounded length.
#ifndef KOR_TOOL_LINE_SOURCE_HPP
#define KOR_TOOL_LINE_SOURCE_HPP

#include <array>
#include <cstdint>
#include <string>

namespace tool {

// Reads a text of any size, with or without newlines, in constant memory.
class line_source {
public:
    // An empty path or "-" is standard input.
    explicit line_source(const std::string &path);
    ~line_source();
    line_source(const line_source &) = delete;
    line_source &operator=(const line_source &) = delete;

    // Reads the next line, without its newline.  Of a line that is too long,
    // text() holds the beginning.  False at the end.
    bool next();
    const std::string &text() const { return text_; }
    bool is_too_long() const { return too_long_; }

    const std::string &name() const { return name_; }
    uint64_t number() const { return number_; }

private:
    bool fill();

    std::string name_;
    int fd_;
    std::string text_;
    bool too_long_ = false;
    uint64_t number_ = 0;
    std::array<char, 65536> buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
};

// Set by signals: reading then ends as at the end of the file.
void end_reading_on_signals();

}  // namespace tool

#endif
