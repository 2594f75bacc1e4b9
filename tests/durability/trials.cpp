// What the trials share.
#include "trials.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>

#include "error.h"
#include "kor_recover.h"
#include "support/kept_files.hpp"
#include "tally.hpp"

namespace durability {

// --- stop points ---

namespace {

std::string describe(const call &c)
{
    constexpr const char *names[] = {"open",   "write",  "truncate", "sync",
                                     "rename", "unlink", "open",     "read"};
    return names[static_cast<int>(c.kind)] + (" of " + std::string(c.name));
}

}  // namespace

bool stop_watcher::is_news(const disk &d) const
{
    if (points_.empty() || detail_ == detail::all_calls) return true;
    const bool has_new_entry =
        ledger_ != nullptr &&
        (points_.back().entries != ledger_->last() ||
         points_.back().is_pending != ledger_->is_pending());
    return d.changes() != changes_seen_ || has_new_entry;
}

void stop_watcher::stop_at(const disk &d, const std::string &where)
{
    if (!is_news(d)) return;
    changes_seen_ = d.changes();
    stop_point point = {.left = d, .where = where};
    if (ledger_ != nullptr) {
        point.entries = ledger_->last();
        point.is_pending = ledger_->is_pending();
    }
    if (recording_ != nullptr) point.synced = recording_->synced();
    points_.push_back(std::move(point));
}

void stop_watcher::tear(const call &c)
{
    const size_t size = c.bytes.size();
    std::set<size_t> lengths = {1, 2, size / 2, size - 1};
    lengths.insert(random_.below(size) + 1);
    for (size_t length : lengths) {
        if (length == 0 || length >= size) continue;
        stop_point point = points_.back();
        point.left = *c.on;
        point.left.write(c.file, c.offset, c.bytes.substr(0, length));
        point.where = describe(c) + " after " + std::to_string(length) +
                      " of " + std::to_string(size) + " bytes";
        point.is_torn_state = c.name == state_name;
        points_.push_back(std::move(point));
    }
    changes_seen_ = UINT64_MAX;
}

outcome stop_watcher::before(const call &c)
{
    if (c.kind == call_kind::read || c.kind == call_kind::open_to_read)
        return {};
    if (c.changes || detail_ == detail::all_calls)
        stop_at(*c.on, "before " + describe(c));
    if (c.kind == call_kind::write && detail_ == detail::torn_writes) tear(c);
    return {};
}

// --- after a stop ---

namespace {

int recover(const demands &wanted)
{
    if (!wanted.knows_parameters) return kor_recover(base_name.c_str());
    return kor_recover_with(base_name.c_str(), wanted.plan.size.samples,
                            wanted.plan.size.intervals);
}

// Nothing was recorded: then nothing may be missing.
bool audit_nothing(const ledger &l)
{
    const verdict v = compare({}, l);
    counts().lost += v.lost;
    if (!v.is_good()) report("taken for empty: " + v.problem);
    return v.is_good();
}

bool check_idempotence(disk *d, const demands &wanted, int first)
{
    const uint64_t changes = d->changes();
    const mounted m(*d);
    const int again = recover(wanted);
    const int expected =
        first == KOR_ERR_END_OF_STREAM ? first : KOR_RECOVER_UNCHANGED;
    if (again == expected && d->changes() == changes) return true;
    report_fault("a second recovery returns " + std::to_string(again));
    return false;
}

// An event that is the first record of its file has no names before it; the
// next recovery puts some there.
bool lacks_names(const disk &d)
{
    const playback p = play(d);
    for (const item &it : p.items)
        if (it.names == nullptr) return true;
    return false;
}

}  // namespace

void keep_some(const disk &d)
{
    if (!test::keeps_files()) return;
    test::file_contents files;
    for (const std::string &name : d.names()) files[name] = d.content(name);
    test::keep_some_files(
        "durability." + scenario().substr(0, scenario().find(',')), files);
}

bool recover_and_audit(disk *d, const ledger &l, const demands &wanted,
                       watcher *w)
{
    keep_some(*d);
    int result = 0;
    {
        const mounted m(*d, w);
        result = recover(wanted);
        if (mounted::open_files() > 0) report_fault("files are left open");
    }
    if (result < 0 && result != KOR_ERR_END_OF_STREAM) {
        report_fault("recovery returns " + std::to_string(result));
        return false;
    }
    const bool is_good = result == KOR_ERR_END_OF_STREAM
                             ? audit_nothing(l)
                             : audit(*d, l, wanted.allowed);
    return check_idempotence(d, wanted, result) && is_good;
}

void record_on(disk *d, ledger l, const demands &wanted, uint64_t seed)
{
    {
        const mounted m(*d);
        recording r(*d, &l, wanted.plan, seed);
        if (!r.resume()) {
            report_fault("cannot be resumed");
            return;
        }
        r.record(2 * wanted.plan.size.samples + 1);
        r.close();
        if (mounted::open_files() > 0) report_fault("files are left open");
    }
    audit(*d, l, wanted.allowed);
    const int expected =
        lacks_names(*d) ? KOR_RECOVER_REPAIRED : KOR_RECOVER_UNCHANGED;
    const mounted m(*d);
    if (recover(wanted) != expected)
        report_fault("a recorder that was closed needs recovery");
}

void be_quiet()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

bool survives(void (*action)(void *), void *argument)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child < 0) {
        std::perror("fork");
        std::exit(2);
    }
    if (child == 0) {
        be_quiet();
        action(argument);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace durability
