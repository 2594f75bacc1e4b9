// main.cpp: kor: records, shows, verifies and repairs telemetry.
#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <new>

#include "exit_status.hpp"
#include "messages.hpp"
#include "trace.hpp"
#include "verbs.hpp"

namespace tool {

namespace {

constexpr const char *footer =
    "Exit status: 0 done, 1 failed, 2 wrong usage, 3 done but something was\n"
    "missing or damaged, 4 nothing in the range.  See kor(1) and kor(5).";

struct global_options {
    bool quiet = false;
    int verbosity = 0;
};

void set_up(CLI::App &app, global_options &o, action &chosen)
{
    app.footer(footer);
    app.set_version_flag("--version", "kor " KOR_TOOL_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.add_flag("-q,--quiet", o.quiet, "Say nothing but failures and damage");
    app.add_flag("-v,--verbose", o.verbosity,
                 "Show the library's trace: files; twice: every sample, too");
    for (const auto add :
         {add_record, add_sample, add_info, add_cat, add_check, add_recover}) {
        add(app, chosen);
    }
}

// Shows the help or version that was asked for, or what is wrong.
exit_status explain(const CLI::App &app, const CLI::ParseError &e,
                    const std::string &first)
{
    if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        app.exit(e);
        return exit_status::done;
    }
    const auto named = [&](const CLI::App *verb) {
        return verb->get_name() == first;
    };
    const bool is_verb =
        first.empty() || first[0] == '-' || !app.get_subcommands(named).empty();
    complain(is_verb ? e.what() : "no such verb: " + in_quotes(first));
    note("kor --help tells how it is used");
    return exit_status::wrong_usage;
}

exit_status parse_and_run(int argc, char **argv)
{
    CLI::App app("Flight recorder for machine telemetry", "kor");
    global_options o;
    action chosen;
    set_up(app, o, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        return explain(app, e, argc > 1 ? argv[1] : "");
    }
    if (o.quiet) be_quiet();
    show_trace(o.verbosity);
    return chosen();
}

exit_status run(int argc, char **argv)
{
    try {
        return parse_and_run(argc, argv);
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
