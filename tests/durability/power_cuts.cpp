// The power may fail at any time.
#include "tally.hpp"
#include "trials.hpp"

namespace durability {
namespace {

constexpr int cuts_at_a_call = 6;
constexpr size_t one_recorded_on_in = 3;
constexpr size_t one_cut_in_recovery_in = 8;

survival draw_survival(int i, chance *random)
{
    return i < number_of_survivals
               ? static_cast<survival>(i)
               : (random->one_in(3) ? survival::prefix : survival::scattered);
}

// The power fails again while what the first cut left is being recovered.
void try_cuts_in_recovery(disk d, const ledger &l, const demands &wanted,
                          chance *random)
{
    d.keep_journal();
    stop_watcher recovery(stop_watcher::detail::all_calls, random->next());
    recover_and_audit(&d, l, wanted, &recovery);
    for (const stop_point &point : recovery.points())
        for (int i = 0; i < number_of_survivals; ++i) {
            ++counts().recovery_cuts;
            disk after =
                point.left.after_power_cut(draw_survival(i, random), *random);
            recover_and_audit(&after, l, wanted);
        }
}

void try_cut(const stop_point &point, const ledger &l, const script &s, int i,
             chance *random)
{
    ++counts().power_cuts;
    const demands wanted = {s, true, leftovers::set_aside};
    const disk after =
        point.left.after_power_cut(draw_survival(i, random), *random);
    disk d = after;
    recover_and_audit(&d, l, wanted);
    if (random->one_in(one_recorded_on_in))
        record_on(&d, l, wanted, random->next());
    if (random->one_in(one_cut_in_recovery_in))
        try_cuts_in_recovery(after, l, wanted, random);
}

}  // namespace

void try_power_cuts(uint64_t seed)
{
    script s(seed);
    s.sync_one_in = 4;
    ledger l;
    disk d;
    d.keep_journal();
    recording r(d, &l, s, seed);
    stop_watcher w(stop_watcher::detail::all_calls, seed, &l, &r);
    {
        const mounted m(d, &w);
        r.create();
        r.record(s.samples);
        r.close();
        w.stop_at(d, "at the end");
    }
    chance random(seed);
    size_t at = 0;
    for (const stop_point &point : w.points()) {
        set_scenario("power cut " + std::to_string(seed) + ", call " +
                     std::to_string(at++) + ", " + point.where);
        ledger before = l;
        before.go_back(point.entries, point.is_pending);
        if (point.is_pending) before.settle(fate::maybe);
        const ledger left = before.doubted_behind(point.synced);
        for (int i = 0; i < cuts_at_a_call; ++i)
            try_cut(point, left, s, i, &random);
    }
    ++counts().scripts;
}

}  // namespace durability
