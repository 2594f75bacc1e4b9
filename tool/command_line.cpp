// command_line.cpp: the verbs and their options, as the user writes them.
#include "command_line.hpp"

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "messages.hpp"
#include "trace.hpp"
#include "verbs.hpp"

namespace tool {

namespace {

constexpr const char *footer =
    "Exit status: 0 done, 1 failed, 2 wrong usage, 3 done but something was\n"
    "missing, damaged or skipped, 4 nothing in the range or to record.\n"
    "See kor(1) and kor(5).";
constexpr uint32_t longest_period = 86400;  // a day, in seconds

// The verb that was asked for, ready to run.
using action = std::function<exit_status()>;

struct command_line {
    bool quiet = false;
    int verbosity = 0;
    action chosen;
};

// Lets a verb run with its options when it is asked for.
template <class Options>
void choose(CLI::App *verb, command_line &line,
            exit_status (*run)(const Options &),
            const std::shared_ptr<Options> &o)
{
    verb->callback([&line, run, o] {
        line.chosen = [run, o] {
            return run(*o);
        };
    });
}

// --- options that verbs share ---

void add_parameter_options(CLI::App *verb, recorder_parameters &parameters)
{
    verb->add_option("--samples", parameters.samples,
                     "Samples of a current buffer, even")
        ->capture_default_str();
    verb->add_option("--intervals", parameters.intervals,
                     "Intervals a full buffer is summarised into, even")
        ->capture_default_str();
}

void add_zone_options(CLI::App *verb, zone_options &o)
{
    CLI::Option *in_utc = verb->add_flag("--utc", o.utc, "Times in UTC");
    verb->add_flag("--local", o.local, "Times in local time (default)")
        ->excludes(in_utc);
}

void add_selection_options(CLI::App *verb, selection_options &o)
{
    verb->add_option("-S,--since", o.since, "Nothing older than this time");
    verb->add_option("-E,--until", o.until, "Nothing newer than this time");
    verb->add_option("--sensor", o.sensors,
                     "Only sensors whose names match the pattern")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    add_zone_options(verb, o.zone);
}

void add_name(CLI::App *verb, std::string &name)
{
    verb->add_option("NAME", name, "Base name of a recorder, or one file")
        ->required();
}

void add_base(CLI::App *verb, std::string &base)
{
    verb->add_option("BASE", base, "Base name of the recorder")->required();
}

// --- the verbs ---

void add_record(CLI::App &app, command_line &line)
{
    const auto o = std::make_shared<record_options>();
    CLI::App *verb = app.add_subcommand(
        "record", "Read text telemetry into a recorder, resumed or created");
    add_base(verb, o->base);
    verb->add_option("FILE", o->file, "Text telemetry (standard input)");
    add_parameter_options(verb, o->parameters);
    verb->add_option("--events", o->events,
                     "Events to merge in: lines TIMESTAMP,TYPE,TEXT");
    choose(verb, line, run_record, o);
}

void add_sample(CLI::App &app, command_line &line)
{
    const auto o = std::make_shared<sample_options>();
    CLI::App *verb = app.add_subcommand(
        "sample", "Sample this machine into a recorder until stopped");
    add_base(verb, o->base);
    verb->add_option("--every", o->every, "Seconds between samples")
        ->check(CLI::Range(1u, longest_period))
        ->capture_default_str();
    verb->add_option("--for", o->for_seconds,
                     "Seconds to go on; until stopped when not given")
        ->check(CLI::PositiveNumber);
    verb->add_option("--vorn", o->vorn,
                     "Append the samples to a text telemetry file, too");
    add_parameter_options(verb, o->parameters);
    choose(verb, line, run_sample, o);
}

void add_info(CLI::App &app, command_line &line)
{
    const auto o = std::make_shared<info_options>();
    CLI::App *verb = app.add_subcommand(
        "info", "State, parameters, files, sensors, events and gaps");
    add_name(verb, o->name);
    verb->add_flag("--json", o->as_json, "As JSON");
    add_zone_options(verb, o->zone);
    choose(verb, line, run_info, o);
}

void add_cat(CLI::App &app, command_line &line)
{
    const auto o = std::make_shared<cat_options>();
    CLI::App *verb = app.add_subcommand(
        "cat", "Show intervals, samples and events as recorded");
    add_name(verb, o->name);
    verb->add_option("--format", o->format, "text, csv, jsonl or vorn")
        ->check(CLI::IsMember(cat_format_names()))
        ->capture_default_str();
    verb->add_option("-o,--output", o->file,
                     "Write to this file (standard output)");
    add_selection_options(verb, o->selection);
    choose(verb, line, run_cat, o);
}

void add_check(CLI::App &app, command_line &line)
{
    const auto o = std::make_shared<check_options>();
    CLI::App *verb = app.add_subcommand(
        "check", "Verify a recorder or a buffer file, changing nothing");
    add_name(verb, o->name);
    verb->add_flag("--json", o->as_json, "As JSON");
    choose(verb, line, run_check, o);
}

void add_recover(CLI::App &app, command_line &line)
{
    const auto o = std::make_shared<recover_options>();
    CLI::App *verb = app.add_subcommand(
        "recover", "Repair a recorder that no process has open");
    add_base(verb, o->base);
    verb->add_option("--samples", o->parameters.samples,
                     "Samples of a buffer, where the files do not tell");
    verb->add_option("--intervals", o->parameters.intervals,
                     "Intervals of a buffer, where the files do not tell");
    verb->add_flag("--dry-run", o->dry_run,
                   "Say what would be done and change nothing");
    verb->add_flag("--json", o->as_json, "As JSON");
    choose(verb, line, run_recover, o);
}

void set_up(CLI::App &app, command_line &line)
{
    app.footer(footer);
    app.set_version_flag("--version", "kor " KOR_TOOL_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.add_flag("-q,--quiet", line.quiet,
                 "Say nothing but failures and damage");
    app.add_flag("-v,--verbose", line.verbosity,
                 "Show the library's trace: files; twice: every sample, too");
    for (const auto add :
         {add_record, add_sample, add_info, add_cat, add_check, add_recover}) {
        add(app, line);
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

}  // namespace

exit_status run_command_line(int argc, char **argv)
{
    CLI::App app("Flight recorder for machine telemetry", "kor");
    command_line line;
    set_up(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        return explain(app, e, argc > 1 ? argv[1] : "");
    }
    if (line.quiet) be_quiet();
    show_trace(line.verbosity);
    return line.chosen();
}

}  // namespace tool
