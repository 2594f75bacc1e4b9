// main.cpp: kor: records, shows, verifies and repairs telemetry.
#include <csignal>
#include <exception>
#include <new>

#include "command_line.hpp"
#include "exit_status.hpp"
#include "messages.hpp"

namespace tool {

namespace {

exit_status run(int argc, char **argv)
{
    try {
        return run_command_line(argc, argv);
    } catch (const closed_pipe &) {
        return exit_status::done;
    } catch (const failure &e) {
        complain(e.what());
        return e.status();
    } catch (const std::bad_alloc &) {
        complain("out of memory");
    } catch (const std::exception &e) {
        complain(e.what());
    }
    return exit_status::failed;
}

}  // namespace

}  // namespace tool

int main(int argc, char **argv)
{
    // A closed pipe shows as a failed write instead.
    std::signal(SIGPIPE, SIG_IGN);
    return static_cast<int>(tool::run(argc, argv));
}
