// verbs.hpp: what the program can do, one verb a file.
#ifndef KOR_TOOL_VERBS_HPP
#define KOR_TOOL_VERBS_HPP

#include <CLI/CLI.hpp>
#include <functional>

#include "exit_status.hpp"

namespace tool {

// The verb that was asked for, ready to run.
using action = std::function<exit_status()>;

// Each adds a verb with its options to the command line.
void add_record(CLI::App &app, action &chosen);
void add_sample(CLI::App &app, action &chosen);
void add_info(CLI::App &app, action &chosen);
void add_cat(CLI::App &app, action &chosen);
void add_check(CLI::App &app, action &chosen);
void add_recover(CLI::App &app, action &chosen);

}  // namespace tool

#endif
