// A process may be killed at any time.
#include <unistd.h>

#include "kor_recover.h"
#include "tally.hpp"
#include "trials.hpp"

namespace durability {
namespace {

constexpr size_t one_recovery_recorded_on_in = 6;
constexpr size_t one_opened_plainly_in = 5;

void try_recovery_kills(const stop_watcher &recovery, const ledger &l,
                        const demands &wanted, chance *random)
{
    for (const stop_point &point : recovery.points()) {
        ++counts().recovery_kills;
        disk d = point.left;
        recover_and_audit(&d, l, wanted);
        if (random->one_in(one_recovery_recorded_on_in))
            record_on(&d, l, wanted, random->next());
    }
}

// An application that knows of no recovery opens what a kill left.  It may be
// told that it cannot, or abort on it; but if the recorder goes on, nothing is
// lost by it.
void try_plain_opening(const stop_point &point, ledger l, const demands &wanted,
                       uint64_t seed)
{
    ++counts().plain_openings;
    disk d = point.left;
    const bool survived = survives([&] {
        set_abort_action([] { _exit(0); });
        const mounted m(d);
        recording r(d, &l, wanted.plan, seed);
        if (!r.open()) return;
        set_abort_action(nullptr);
        r.record(2 * wanted.plan.size.samples + 1);
        r.close();
        recover_and_audit(&d, l, wanted);
    });
    if (!survived) report_fault("died after it was opened without recovery");
}

void try_kill(const stop_point &point, const ledger &whole, const script &s,
              chance *random)
{
    ++counts().kill_points;
    ledger l = whole;
    l.go_back(point.entries, point.is_pending);
    settle_by_disk(point.left, s, &l);
    const demands wanted = {s, false, leftovers::none};
    disk d = point.left;
    stop_watcher recovery(stop_watcher::detail::torn_writes, random->next());
    recover_and_audit(&d, l, wanted, &recovery);
    try_recovery_kills(recovery, l, wanted, random);
    record_on(&d, l, wanted, random->next());
    // No kill tears the one small write of a state file; what it would be then
    // is left to recovery.
    if (!point.is_torn_state && random->one_in(one_opened_plainly_in))
        try_plain_opening(point, l, {s, false, leftovers::set_aside},
                          random->next());
}

}  // namespace

void try_kills(uint64_t seed)
{
    const script s(seed);
    ledger l;
    disk d;
    recording r(d, &l, s, seed);
    stop_watcher w(stop_watcher::detail::torn_writes, seed, &l, &r);
    {
        const mounted m(d, &w);
        r.create();
        r.record(s.samples);
        r.close();
        w.stop_at(d, "at the end");
    }
    chance random(seed);
    size_t i = 0;
    for (const stop_point &point : w.points()) {
        set_scenario("kill " + std::to_string(seed) + ", point " +
                     std::to_string(i++) + ", " + point.where);
        try_kill(point, l, s, &random);
    }
    ++counts().scripts;
}

}  // namespace durability
