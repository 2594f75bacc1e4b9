// A long life.
#include <cerrno>

#include "tally.hpp"
#include "trials.hpp"

namespace durability {
namespace {

constexpr size_t one_stop_in = 300;  // operations
constexpr size_t longest_wait = 40;  // calls until a kill or a failure
constexpr size_t longest_full_disk = 400;

// A disk on which, when told so, the process is killed in the middle of some
// call, a call fails, or nothing more can be written for a while.
class hard_life : public watcher {
public:
    hard_life(const ledger &l, uint64_t seed) : ledger_(l), random_(seed) {}

    void plan_kill() { kill_in_ = 1 + random_.below(longest_wait); }
    void plan_failure() { plan_full_disk(1); }
    void plan_full_disk(size_t calls = longest_full_disk)
    {
        full_in_ = 1 + random_.below(longest_wait);
        full_for_ = 1 + random_.below(calls);
    }
    bool is_killed() const { return is_killed_; }
    const stop_point &point() const { return point_; }
    void begin_anew() { is_killed_ = false; }

    outcome before(const call &c) override
    {
        if (c.kind == call_kind::read || c.kind == call_kind::open_to_read)
            return {};
        if (kill_in_ > 0 && --kill_in_ == 0) kill(c);
        return is_full(c) ? outcome{.error = ENOSPC} : outcome{};
    }

private:
    // What is left is noted; the process then runs on without effect, and is
    // given up as soon as the operation returns.
    void kill(const call &c)
    {
        point_ = {};
        point_.left = *c.on;
        point_.entries = ledger_.last();
        point_.is_pending = ledger_.is_pending();
        if (c.kind == call_kind::write)
            point_.left.write(
                c.file, c.offset,
                c.bytes.substr(0, random_.below(c.bytes.size() + 1)));
        is_killed_ = true;
    }

    // The first history must be saved: where it cannot, the recorder aborts.
    static bool is_vital(const call &c)
    {
        return c.name == state_name &&
               read_state(c.on->content(state_name)).state == KOR_ZCF_STATE_CCC;
    }

    bool is_full(const call &c)
    {
        if (full_for_ == 0) return false;
        if (full_in_ > 0 && --full_in_ > 0) return false;
        if (c.kind == call_kind::unlink || c.kind == call_kind::truncate)
            return false;
        if (is_vital(c)) return false;
        --full_for_;
        return true;
    }

    const ledger &ledger_;
    chance random_;
    stop_point point_;
    bool is_killed_ = false;
    size_t kill_in_ = 0;
    size_t full_in_ = 0;
    size_t full_for_ = 0;
};

class long_life {
public:
    long_life(uint64_t seed, uint32_t operations)
        : script_(seed),
          operations_(operations),
          random_(seed),
          watcher_(ledger_, seed)
    {
        constexpr parameters sizes[] = {{4, 2}, {8, 4}, {16, 8}, {32, 4}};
        script_.size = sizes[seed % 4];
        script_.is_wide = false;
    }

    void run()
    {
        for (uint32_t done = 0; done < operations_;) done += live_once();
        disk_.forget_unnamed([](int) { return false; });
        check();
    }

private:
    // From one start of the process to its end.
    uint32_t live_once()
    {
        uint32_t done = 0;
        {
            const mounted m(disk_, &watcher_);
            recording r(disk_, &ledger_, script_, random_.next());
            r.resume();
            plan_end();
            const auto most =
                static_cast<uint32_t>(1 + random_.below(2 * one_stop_in));
            while (done < most && !watcher_.is_killed()) {
                r.step();
                ++done;
            }
            r.close();
        }
        ++counts().stops;
        counts().operations += done;
        if (watcher_.is_killed()) die();
        check();
        return done;
    }

    void plan_end()
    {
        switch (random_.below(4)) {
            case 0:
                watcher_.plan_full_disk();
                break;
            case 1:
                watcher_.plan_failure();
                break;
            case 2:
                watcher_.plan_kill();
                break;
            default:
                break;  // closed
        }
    }

    void die()
    {
        const stop_point &point = watcher_.point();
        ledger_.go_back(point.entries, point.is_pending);
        settle_by_disk(point.left, script_, &ledger_);
        disk_ = point.left;
        watcher_.begin_anew();
    }

    void check()
    {
        disk after = disk_;
        recover_and_audit(&after, ledger_,
                          {script_, false, leftovers::set_aside});
    }

    script script_;
    uint32_t operations_;
    chance random_;
    ledger ledger_;
    disk disk_;
    hard_life watcher_;
};

}  // namespace

void try_long_run(uint64_t seed, uint32_t operations)
{
    set_scenario("long run " + std::to_string(seed));
    long_life life(seed, operations);
    life.run();
    ++counts().scripts;
}

}  // namespace durability
