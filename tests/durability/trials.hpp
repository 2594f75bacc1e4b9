// trials.hpp: what a recorder is put through.
//
// Each trial takes a seed, which determines all it does.
#ifndef KOR_TESTS_DURABILITY_TRIALS_HPP
#define KOR_TESTS_DURABILITY_TRIALS_HPP

#include <cstdint>
#include <string>
#include <vector>

#include "calls.hpp"
#include "recording.hpp"

namespace durability {

// --- the trials ---

// Killed before, in the middle of and after every call, and in recovery.
void try_kills(uint64_t seed);
// Every call fails once.
void try_failed_calls(uint64_t seed);
// The power is cut at every call.
void try_power_cuts(uint64_t seed);
// Every byte flipped, every length cut to, every block zeroed, every file
// missing, in all states.
void try_damages(uint64_t seed);
// A long life with kills, full disks and reopenings.
void try_long_run(uint64_t seed, uint32_t operations);
// The disk in memory against the one of this machine.
void try_real_disk(uint64_t seed);

// --- what they share ---

// What a process that is killed leaves behind.
struct stop_point {
    disk left;
    uint32_t entries = 0;  // of the ledger
    bool is_pending = false;
    uint32_t synced = 0;  // the last number that a sync has covered
    std::string where;    // for reports
    bool is_torn_state = false;
};

// Notes what would be left if the process were killed before a call or, where
// asked for, in the middle of a write.
class stop_watcher : public watcher {
public:
    enum class detail { whole_calls, torn_writes, all_calls };

    // Without a ledger, for a recovery.
    stop_watcher(detail d, uint64_t seed) : detail_(d), random_(seed) {}
    stop_watcher(detail d, uint64_t seed, const ledger *l, const recording *r)
        : detail_(d), random_(seed), ledger_(l), recording_(r)
    {
    }

    outcome before(const call &c) override;
    // The process is killed now.
    void stop_at(const disk &d, const std::string &where);
    const std::vector<stop_point> &points() const { return points_; }

private:
    bool is_news(const disk &d) const;
    void tear(const call &c);

    detail detail_;
    chance random_;
    const ledger *ledger_ = nullptr;
    const recording *recording_ = nullptr;
    std::vector<stop_point> points_;
    uint64_t changes_seen_ = UINT64_MAX;
};

// How recovery is called and what it may leave.
struct demands {
    const script &plan;
    bool knows_parameters;  // the application gives them
    leftovers allowed;
};

// Keeps some of the disks that it is called for; see support/kept_files.hpp.
void keep_some(const disk &d);

// Recovers the disk, compares it with the ledger, and recovers it again: that
// must change nothing.
bool recover_and_audit(disk *d, const ledger &l, const demands &wanted,
                       watcher *w = nullptr);
// Goes on recording through two more rotations and compares again.
void record_on(disk *d, ledger l, const demands &wanted, uint64_t seed);

// Sends standard error nowhere; reports still appear.
void be_quiet();

// Runs an action in a process of its own, quiet on standard error; true when
// it came to its end.
bool survives(void (*action)(void *), void *argument);
template <class Action>
bool survives(Action action)
{
    return survives([](void *a) { (*static_cast<Action *>(a))(); }, &action);
}

}  // namespace durability

#endif
