// messages.hpp: what the program says on standard error.
#ifndef KOR_TOOL_MESSAGES_HPP
#define KOR_TOOL_MESSAGES_HPP

#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

// Nothing but failures and damage is said from here on.
void be_quiet();
bool is_quiet();

// "kor: TEXT".
void complain(std::string_view text);

// "kor: TEXT", unless quiet.
void note(std::string_view text);

// "FILE:POSITION: TEXT"; the position is a line of a text, a byte otherwise.
void complain_at(std::string_view file, uint64_t position,
                 std::string_view text);

// One line that is written over by the next; on a terminal only.
void progress(std::string_view text);
void end_progress();

// The text with control characters escaped, for a terminal or a message.
std::string printable(std::string_view text);

// The text in quotation marks, printable, its end left out when it is long.
std::string in_quotes(std::string_view text);

// "out of memory (-22)", for a code of the library.
std::string describe(int code);

}  // namespace tool

#endif
