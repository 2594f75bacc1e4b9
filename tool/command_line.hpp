// command_line.hpp: what the user asks for.
#ifndef KOR_TOOL_COMMAND_LINE_HPP
#define KOR_TOOL_COMMAND_LINE_HPP

#include "exit_status.hpp"

namespace tool {

// Does what the command line says, or says what is wrong with it.
exit_status run_command_line(int argc, char **argv);

}  // namespace tool

#endif
