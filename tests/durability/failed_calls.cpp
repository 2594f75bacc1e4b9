// Any call may fail.
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "kor_recover.h"
#include "tally.hpp"
#include "trials.hpp"

namespace durability {
namespace {

constexpr size_t one_read_failed_in = 32;
constexpr size_t one_recovery_failed_in = 4;
constexpr size_t one_wide_recovery_failed_in = 128;

struct failure {
    int error;
    bool is_short;  // a part is written first
};

constexpr failure failures_of_a_write[] = {
    {ENOSPC, false}, {EIO, false}, {EFBIG, false}, {ENOSPC, true}};
constexpr failure failures_of_a_change[] = {
    {ENOSPC, false}, {EIO, false}, {EFBIG, false}};
constexpr failure failures_of_a_read[] = {{EIO, false}};

// A disk that fails once.  In a part-way failure the write that goes on where
// the short one ended fails, too.
class failing_disk {
public:
    void arm(const failure &f, const call &c)
    {
        failure_ = f;
        kind_ = c.kind;
        name_ = c.name;
    }
    // Two failures make the recorder abort, as part of its interface: that of
    // a read, and that of saving the first history.
    bool may_abort() const
    {
        return kind_ == call_kind::read || name_ == state_name;
    }

    outcome fail(const call &c)
    {
        if (!failure_.is_short || c.bytes.size() < 2)
            return {.error = failure_.error};
        is_waiting_ = true;
        return {.at_most = c.bytes.size() / 2};
    }
    outcome later(const call &c)
    {
        if (!is_waiting_ || c.kind != call_kind::write) return {};
        is_waiting_ = false;
        return {.error = failure_.error};
    }

private:
    failure failure_ = {};
    call_kind kind_ = call_kind::read;
    std::string name_;
    bool is_waiting_ = false;
};

template <class Act>
void for_each_failure(const call &c, Act act)
{
    if (c.kind == call_kind::read || c.kind == call_kind::open_to_read)
        for (const failure &f : failures_of_a_read) act(f);
    else if (c.kind == call_kind::write)
        for (const failure &f : failures_of_a_write) act(f);
    else
        for (const failure &f : failures_of_a_change) act(f);
}

// Splits the process at each call: in every child the call fails and the
// script goes on, in the parent nothing happens.
class splitting_watcher : public watcher {
public:
    explicit splitting_watcher(const script &s) : script_(s), random_(s.seed) {}

    outcome before(const call &c) override
    {
        if (is_child_) return failing_.later(c);
        outcome out;
        if (is_one_read_of_many(c)) return out;
        for_each_failure(c, [&](const failure &f) {
            if (!is_child_) split(f, c, &out);
        });
        ++calls_;
        return out;
    }
    bool is_child() const { return is_child_; }
    bool may_abort() const { return failing_.may_abort(); }
    // How many calls have failed in the children so far.
    uint64_t number() const { return number_; }

private:
    // Long streams are read by thousands of calls, one like the other.
    bool is_one_read_of_many(const call &c)
    {
        return c.kind == call_kind::read && script_.is_wide &&
               !random_.one_in(one_read_failed_in);
    }

    void split(const failure &f, const call &c, outcome *out)
    {
        ++counts().failed_calls;
        ++number_;
        set_scenario("failed call " + std::to_string(script_.seed) + ", call " +
                     std::to_string(calls_) + " of " + std::string(c.name) +
                     (f.is_short ? ", part-way" : ""));
        const pid_t child = fork();
        if (child == 0) {
            be_quiet();
            is_child_ = true;
            failing_.arm(f, c);
            *out = failing_.fail(c);
            return;
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            report_fault("died of a failed call");
    }

    const script &script_;
    chance random_;
    failing_disk failing_;
    bool is_child_ = false;
    size_t calls_ = 0;
    uint64_t number_ = 0;
};

// Fails the n-th call of a recovery.
class nth_call_fails : public watcher {
public:
    nth_call_fails(size_t n, const failure &f) : left_(n), failure_(f) {}
    outcome before(const call &c) override
    {
        if (is_done_) return failing_.later(c);
        if (left_-- > 0) return {};
        is_done_ = true;
        failing_.arm(failure_, c);
        return failing_.fail(c);
    }
    bool is_done() const { return is_done_; }

private:
    size_t left_;
    failure failure_;
    failing_disk failing_;
    bool is_done_ = false;
};

void try_failing_recoveries(const disk &before, const ledger &l,
                            const demands &wanted, uint64_t seed)
{
    const failure &f = failures_of_a_write[seed % 4];
    for (size_t n = 0;; ++n) {
        disk d = before;
        nth_call_fails w(n, f);
        {
            const mounted m(d, &w);
            kor_recover(base_name.c_str());
            if (mounted::open_files() > 0) report_fault("files are left open");
        }
        if (!w.is_done()) return;
        ++counts().recovery_fails;
        recover_and_audit(&d, l, wanted);
    }
}

// What a child does when its script has come to its end.
struct child {
    const disk &d;
    ledger &l;
    const script &s;
    const splitting_watcher &w;

    [[noreturn]] void finish() const
    {
        set_abort_action(nullptr);
        settle_by_disk(d, s, &l);
        const demands wanted = {s, false, leftovers::set_aside};
        disk after = d;
        recover_and_audit(&after, l, wanted);
        record_on(&after, l, wanted, s.seed);
        chance random(w.number());
        if (random.one_in(s.is_wide ? one_wide_recovery_failed_in
                                    : one_recovery_failed_in))
            try_failing_recoveries(d, l, wanted, random.next());
        _exit(0);
    }
};

const child *running = nullptr;

void end_by_abort()
{
    if (running->w.is_child() && running->w.may_abort()) running->finish();
}

}  // namespace

void try_failed_calls(uint64_t seed)
{
    const script s(seed);
    ledger l;
    disk d;
    splitting_watcher w(s);
    const child last = {d, l, s, w};
    running = &last;
    set_abort_action(end_by_abort);
    {
        const mounted m(d, &w);
        recording r(d, &l, s, seed);
        r.create();
        r.record(s.samples);
        r.close();
    }
    if (w.is_child()) last.finish();
    set_abort_action(nullptr);
    ++counts().scripts;
}

}  // namespace durability
