// trace.hpp: the library's trace, on standard error when asked for.
#ifndef KOR_TOOL_TRACE_HPP
#define KOR_TOOL_TRACE_HPP

namespace tool {

// 1 shows what happens to files, 2 every sample, too.
void show_trace(int verbosity);

}  // namespace tool

#endif
