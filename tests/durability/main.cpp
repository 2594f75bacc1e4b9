// durability: proves that no completely written record is ever lost.
//
//   durability TRIAL [FIRST [COUNT]]   one trial, COUNT seeds from FIRST on
//   durability short [JOBS]            all of them, some seeds each
//   durability full [JOBS]             all of them, at length
//
// Trials: kills, failed-calls, power-cuts, damages, long-run, short-run,
// real-disk.
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tally.hpp"
#include "trials.hpp"

namespace {

using durability::report_fault;

constexpr uint32_t short_run = 20000;  // operations
constexpr uint32_t full_run = 250000;
constexpr unsigned longest_trial = 1800;  // seconds

struct trial {
    const char *name;
    void (*run)(uint64_t seed);
    uint64_t seeds_in_full;
    uint64_t seeds_in_short;
};

// The longest come first, so that all processes are busy to the end.
constexpr trial trials[] = {
    {"long-run", [](uint64_t s) { durability::try_long_run(s, full_run); }, 4,
     0},
    {"short-run", [](uint64_t s) { durability::try_long_run(s, short_run); }, 0,
     1},
    {"damages", durability::try_damages, 16, 1},
    {"failed-calls", durability::try_failed_calls, 48, 1},
    {"power-cuts", durability::try_power_cuts, 96, 3},
    {"kills", durability::try_kills, 224, 3},
    {"real-disk", durability::try_real_disk, 16, 2},
};

struct task {
    const trial *what;
    uint64_t seed;
};

extern "C" void die_of(int signal)
{
    report_fault("died of signal " + std::to_string(signal));
    _exit(1);
}

// Takes what no other process has taken.
void run_tasks(const std::vector<task> &tasks)
{
    for (int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGALRM})
        std::signal(signal, die_of);
    for (;;) {
        const auto i = static_cast<size_t>(durability::counts().tasks++);
        if (i >= tasks.size()) return;
        alarm(longest_trial);
        tasks[i].what->run(tasks[i].seed);
    }
}

void run_in_processes(const std::vector<task> &tasks, size_t jobs)
{
    for (size_t job = 0; job < jobs; ++job) {
        const pid_t pid = fork();
        if (pid != 0) continue;
        run_tasks(tasks);
        _exit(0);
    }
    int status = 0;
    while (wait(&status) > 0)
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            report_fault("a process of the proof has died");
}

uint64_t number_at(int argc, char **argv, int i, uint64_t otherwise)
{
    return argc > i ? std::strtoull(argv[i], nullptr, 10) : otherwise;
}

void add_tasks(const trial &t, uint64_t first, uint64_t count,
               std::vector<task> *tasks)
{
    if (count == 0) return;
    for (uint64_t i = 0; i < count; ++i) tasks->push_back({&t, first + i});
    std::printf("%s: seeds %" PRIu64 " to %" PRIu64 "\n", t.name, first,
                first + count - 1);
}

bool is_called(const char *name, const char *argument)
{
    return std::strcmp(name, argument) == 0;
}

}  // namespace

int main(int argc, char **argv)
{
    durability::counts();
    const char *const what = argc > 1 ? argv[1] : "";
    std::vector<task> tasks;
    size_t jobs = 1;
    for (const trial &t : trials)
        if (is_called(t.name, what))
            add_tasks(t, number_at(argc, argv, 2, 0),
                      number_at(argc, argv, 3, 1), &tasks);
    if (is_called("full", what) || is_called("short", what)) {
        jobs = static_cast<size_t>(number_at(argc, argv, 2, 1));
        for (const trial &t : trials)
            add_tasks(
                t, 0,
                is_called("full", what) ? t.seeds_in_full : t.seeds_in_short,
                &tasks);
    }
    if (tasks.empty()) {
        std::fprintf(stderr, "usage: durability TRIAL|short|full ...\n");
        return 2;
    }
    std::fflush(stdout);
    run_in_processes(tasks, jobs);
    return durability::print_counts() ? 0 : 1;
}
