// exit_status.hpp: how a run of the program ends.
#ifndef KOR_TOOL_EXIT_STATUS_HPP
#define KOR_TOOL_EXIT_STATUS_HPP

#include <stdexcept>
#include <string>

namespace tool {

enum class exit_status {
    done = 0,
    failed = 1,
    wrong_usage = 2,
    incomplete = 3,  // done, but something was missing or damaged
    nothing = 4      // nothing to show, or nothing to record
};

// Ends the run with a message and a status.
class failure : public std::runtime_error {
public:
    explicit failure(const std::string &text,
                     exit_status status = exit_status::failed)
        : std::runtime_error(text), status_(status)
    {
    }
    exit_status status() const { return status_; }

private:
    exit_status status_;
};

// Nobody reads standard output any more.  No failure: the run ends quietly.
struct closed_pipe {};

}  // namespace tool

#endif
