#include "tally.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace durability {
namespace {

constexpr uint64_t most_reports = 20;

struct shared {
    tally counts;
    std::atomic<uint64_t> reports;
};

shared &memory()
{
    static shared *const all = [] {
        void *const block =
            mmap(nullptr, sizeof(shared), PROT_READ | PROT_WRITE,
                 MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) std::exit(2);
        return new (block) shared();
    }();
    return *all;
}

// Standard error as it was at the start, whatever becomes of it in a child.
int report_descriptor()
{
    static const int fd = dup(STDERR_FILENO);
    return fd;
}

std::string &current_scenario()
{
    static std::string what;
    return what;
}

struct row {
    const char *what;
    tally::counter tally::*counter;
};

constexpr row tried[] = {
    {"scripts", &tally::scripts},
    {"kill points of a recorder", &tally::kill_points},
    {"kill points of a recovery", &tally::recovery_kills},
    {"failed calls of a recorder", &tally::failed_calls},
    {"failed calls of a recovery", &tally::recovery_fails},
    {"power cuts under a recorder", &tally::power_cuts},
    {"power cuts under a recovery", &tally::recovery_cuts},
    {"damages", &tally::damages},
    {"openings without recovery", &tally::plain_openings},
    {"operations of long runs", &tally::operations},
    {"stops of long runs", &tally::stops},
    {"records compared", &tally::compared},
};

}  // namespace

tally &counts()
{
    report_descriptor();
    return memory().counts;
}

void set_scenario(const std::string &what)
{
    current_scenario() = what;
}

const std::string &scenario()
{
    return current_scenario();
}

void report(const std::string &what)
{
    if (memory().reports++ >= most_reports) return;
    dprintf(report_descriptor(), "%s: %s\n", scenario().c_str(), what.c_str());
}

void report_fault(const std::string &what)
{
    ++counts().faults;
    report(what);
}

bool print_counts()
{
    const tally &t = counts();
    for (const row &r : tried) {
        const uint64_t count = t.*r.counter;
        if (count > 0) std::printf("%12" PRIu64 " %s\n", count, r.what);
    }
    const uint64_t lost = t.lost;
    const uint64_t doubled = t.doubled;
    const uint64_t misnamed = t.misnamed;
    const uint64_t faults = t.faults;
    std::printf("%" PRIu64 " records lost, %" PRIu64 " doubled, %" PRIu64
                " misnamed; %" PRIu64 " other faults\n",
                lost, doubled, misnamed, faults);
    std::fflush(stdout);
    return lost + doubled + misnamed + faults == 0;
}

}  // namespace durability
