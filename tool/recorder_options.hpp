// recorder_options.hpp: options that writing verbs share.
#ifndef KOR_TOOL_RECORDER_OPTIONS_HPP
#define KOR_TOOL_RECORDER_OPTIONS_HPP

#include <CLI/CLI.hpp>

#include "recording.hpp"

namespace tool {

// --samples and --intervals.
inline void add_parameter_options(CLI::App &verb,
                                  recorder_parameters &parameters)
{
    verb.add_option("--samples", parameters.samples,
                    "Samples of a current buffer, even")
        ->capture_default_str();
    verb.add_option("--intervals", parameters.intervals,
                    "Intervals a full buffer is summarised into, even")
        ->capture_default_str();
}

}  // namespace tool

#endif
