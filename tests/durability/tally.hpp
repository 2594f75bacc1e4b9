// tally.hpp: what was tried and what went wrong, counted across processes.
#ifndef KOR_TESTS_DURABILITY_TALLY_HPP
#define KOR_TESTS_DURABILITY_TALLY_HPP

#include <atomic>
#include <cstdint>
#include <string>

namespace durability {

struct tally {
    using counter = std::atomic<uint64_t>;

    counter tasks;  // taken by a process
    counter scripts;
    counter kill_points;     // of a recorder
    counter recovery_kills;  // of a recovery
    counter failed_calls;    // of a recorder
    counter recovery_fails;  // failed calls of a recovery
    counter power_cuts;      // under a recorder
    counter recovery_cuts;   // power cuts under a recovery
    counter damages;
    counter plain_openings;  // without recovery, after a kill
    counter operations;      // of the long runs
    counter stops;           // of the long runs: kills, failures, reopenings
    counter compared;        // records found and compared
    counter lost;
    counter doubled;
    counter misnamed;
    counter faults;  // anything else that must not be
};

// Shared by this process and those that it forks.
tally &counts();

// What is being tried, for reports.
void set_scenario(const std::string &what);
const std::string &scenario();

// Counts a fault and reports it.
void report_fault(const std::string &what);
// Reports what has been counted elsewhere; only the first few are shown.
void report(const std::string &what);

// Prints the counts; true when nothing went wrong.
bool print_counts();

}  // namespace durability

#endif
