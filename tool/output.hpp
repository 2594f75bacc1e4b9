// output.hpp: where data goes: standard output or a file.
#ifndef KOR_TOOL_OUTPUT_HPP
#define KOR_TOOL_OUTPUT_HPP

#include <cstdio>
#include <string>
#include <string_view>

namespace tool {

// Every write that fails throws: closed_pipe when nobody reads any more, else
// failure.  On a terminal, control characters are shown as question marks.
class output {
public:
    // An empty path or "-" is standard output.
    explicit output(const std::string &path);
    ~output();
    output(const output &) = delete;
    output &operator=(const output &) = delete;

    void write(std::string_view text);

    // Passes on what is buffered.  To be called before the output goes away,
    // because only here the last failure can be reported.
    void finish();

private:
    [[noreturn]] void fail() const;

    std::string name_;
    std::FILE *file_;
    bool owned_;
    bool terminal_;
};

}  // namespace tool

#endif
