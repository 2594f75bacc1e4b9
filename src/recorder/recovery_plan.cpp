#include "recorder/recovery_plan.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "error.h"
#include "kor.h"
#include "kor_buffer.h"
#include "recorder/fold_proof.hpp"

namespace {

using vela::buffer_id;
using vela::leftover;
using vela::live_set;
using vela::recorder_file;
using vela::recorder_findings;
using vela::recovery_plan;

bool is_hbuf(const recorder_file &file) noexcept
{
    return file.id.kind == KOR_BUFFER_TYPE_HIST;
}

// --- what is proven to be stored elsewhere ---

// Files by name, for claims about them.
struct claim_names {
    vela::file_name history;
    vela::file_name sources[2];
};

// Whether all intervals of a history are the first that the two closed live
// files give: it was never finished, or is not needed.  Returns 1, 0 or a
// negative code.
int is_uncommitted(const recovery_plan &plan,
                   const recorder_file &history) noexcept
{
    const recorder_findings &f = plan.findings;
    const live_set &live = plan.live;
    if (live.nfiles() < vela::max_live_files) return 0;
    claim_names names;
    f.base.name_buffer(history.id, &names.history);
    for (uint32_t i = 0; i < 2; ++i) {
        if (live.files[i].found == nullptr) return 0;
        f.base.name_buffer(live.files[i].id, &names.sources[i]);
    }
    return vela::prove_folded(
        {.history = names.history.text,
         .first = 0,
         .count = values_of(history.summary),
         .sources = {names.sources[0].text, names.sources[1].text},
         .samples_per_interval = f.num_cb_samples / f.num_hb_intervals,
         .partly = true});
}

// Whether half of a history, from interval `first` on, is all that a file
// gives.  Returns 1, 0 or a negative code.
int is_half_of(const recorder_findings &f, const recorder_file &file,
               const recorder_file &history, uint32_t first) noexcept
{
    claim_names names;
    f.base.name_buffer(history.id, &names.history);
    f.base.name_buffer(file.id, &names.sources[0]);
    return vela::prove_folded(
        {.history = names.history.text,
         .first = first,
         .count = f.num_hb_intervals,
         .sources = {names.sources[0].text, nullptr},
         .samples_per_interval = f.num_cb_samples / f.num_hb_intervals,
         .partly = false});
}

// Whether a file was folded into a history: a buffer makes up either half, an
// older history only the first.  Returns 1, 0 or a negative code.
int is_folded_into(const recorder_findings &f, const recorder_file &file,
                   const recorder_file &history) noexcept
{
    if (file.id.number >= history.id.number) return 0;
    const int proven = is_half_of(f, file, history, 0);
    if (proven != 0 || is_hbuf(file)) return proven;
    return is_half_of(f, file, history, f.num_hb_intervals);
}

// The histories that hold, directly or through one another, what was folded.
using proven_histories = vela::growable<const recorder_file *>;

int is_folded(const recorder_findings &f, const recorder_file &file,
              const proven_histories &histories) noexcept
{
    for (const recorder_file *history : histories) {
        const int proven = is_folded_into(f, file, *history);
        if (proven != 0) return proven;
    }
    return 0;
}

// --- planning ---

// The live history, if it is whole.
int begin_proofs(const recovery_plan &plan,
                 proven_histories *histories) noexcept
{
    const vela::live_file &first = plan.live.files[0];
    const bool is_whole =
        first.id.kind == KOR_BUFFER_TYPE_HIST && first.found != nullptr &&
        plan.repairs[0].padding == 0 && !plan.repairs[0].fold_again;
    return !is_whole || histories->append(first.found) ? KOR_OK
                                                       : KOR_ERR_NO_MEMORY;
}

bool is_source_of_fold(const live_set &live, const vela::file_repair &repair,
                       const recorder_file &file) noexcept
{
    return repair.fold_again &&
           (live.sources[0] == &file || live.sources[1] == &file);
}

// What becomes of a file that is not live.  Returns 0 or a negative code.
int judge_leftover(const recovery_plan &plan, proven_histories *histories,
                   leftover *left) noexcept
{
    const recorder_findings &f = plan.findings;
    const recorder_file &file = *left->file;
    const bool has_records = holds_records(file.summary);
    left->is_removed = has_records
                           ? is_source_of_fold(plan.live, plan.repairs[0], file)
                           : !is_unreadable(file.summary);
    if (!has_records || left->is_removed || !fits(f, file)) return KOR_OK;
    int proven = is_folded(f, file, *histories);
    if (proven == 1 && is_hbuf(file) && !histories->append(&file))
        return KOR_ERR_NO_MEMORY;
    if (proven == 0 && is_hbuf(file)) {
        proven = is_uncommitted(plan, file);
        left->is_uncommitted = proven == 1;
    }
    left->is_removed = proven == 1;
    return proven < 0 ? proven : KOR_OK;
}

// Uncommitted histories go first, the highest number first.  Then what was
// folded goes, the lowest first: what proves it is still there.  What is set
// aside goes last, the highest number first.
int order_of(const leftover &left) noexcept
{
    if (left.is_uncommitted) return 0;
    return left.is_removed ? 1 : 2;
}

bool goes_before(const leftover &a, const leftover &b) noexcept
{
    if (order_of(a) != order_of(b)) return order_of(a) < order_of(b);
    const bool rises = order_of(a) == 1;
    return rises ? a.file->id.number < b.file->id.number
                 : a.file->id.number > b.file->id.number;
}

// From the highest number down, so that a history is proven before what was
// folded into it.
int plan_leftovers(recovery_plan *plan) noexcept
{
    proven_histories histories;
    int result = begin_proofs(*plan, &histories);
    if (result < 0) return result;
    const auto &files = plan->findings.listing.files;
    for (size_t i = files.size(); i-- > 0;) {
        if (plan->live.holds(files[i].id)) continue;
        leftover left = {&files[i], false, false};
        result = judge_leftover(*plan, &histories, &left);
        if (result < 0) return result;
        if (!plan->leftovers.append(left)) return KOR_ERR_NO_MEMORY;
    }
    std::sort(plan->leftovers.begin(), plan->leftovers.end(), goes_before);
    return KOR_OK;
}

uint32_t next_number(const recovery_plan &plan) noexcept
{
    uint32_t next = plan.findings.stored.state.next_file_number;
    next = std::max(next, plan.findings.listing.highest_number + 1);
    for (uint32_t i = 0; i < plan.live.nfiles(); ++i)
        next = std::max(next, plan.live.files[i].id.number + 1);
    return next;
}

// Whether the base name keeps the spelling it has in the state file: where that
// leads to the same files from here.  One who goes on with an absolute name
// must be able to change folders, so that a relative one does not serve him.
bool keeps_spelling(const recorder_findings &f, bool resumes) noexcept
{
    const char *const stored = f.stored.state.filename.get();
    vela::base_name base;
    if (stored == nullptr || base.set(stored) < 0) return false;
    if (resumes && f.base.path()[0] == '/' && stored[0] != '/') return false;
    return f.base.is_same(stored);
}

int plan_state(recovery_plan *plan, bool resumes) noexcept
{
    const recorder_findings &f = plan->findings;
    buffer_id files[vela::max_live_files];
    for (uint32_t i = 0; i < plan->live.nfiles(); ++i)
        files[i] = plan->live.files[i].id;
    plan->next_file_number = next_number(*plan);
    // Behind the last number nothing could be recorded.
    if (plan->next_file_number > vela::max_file_number)
        return KOR_ERR_INVALID_DATA;
    const int result = vela::compose_state(
        {.spelling = keeps_spelling(f, resumes) ? f.stored.state.filename.get()
                                                : f.base.path(),
         .state = plan->live.state,
         .num_cb_samples = f.num_cb_samples,
         .num_hb_intervals = f.num_hb_intervals,
         .next_file_number = plan->next_file_number,
         .files = files},
        &plan->state);
    if (result < 0) return result;
    // Composed, it has bytes; and so has the other if they are as many.
    const vela::stored_bytes &now = f.stored.bytes;
    plan->is_state_wrong =
        now.size() != plan->state.size() ||
        std::memcmp(now.begin(), plan->state.data(), now.size()) != 0;
    return KOR_OK;
}

// --- doing it ---

// A live file that is to be made anew keeps its old content aside when that
// cannot be told to be worthless.
int save_unreadable(const recovery_plan &plan) noexcept
{
    for (uint32_t i = 0; i < plan.live.nfiles(); ++i) {
        const vela::live_file &file = plan.live.files[i];
        if (!plan.repairs[i].create || file.found == nullptr ||
            !is_unreadable(file.found->summary))
            continue;
        vela::file_name name;
        plan.findings.base.name_buffer(file.id, &name);
        const int result = vela::set_aside(name.text);
        if (result < 0) return result;
    }
    return KOR_OK;
}

int remove_temporaries(const recovery_plan &plan) noexcept
{
    for (const vela::file_name &name : plan.findings.listing.temporaries) {
        const int result = vela::is_other_than_file(name.text)
                               ? vela::set_aside(name.text)
                               : vela::remove_file(name.text);
        if (result < 0) return result;
    }
    return KOR_OK;
}

int apply_repairs(const recovery_plan &plan) noexcept
{
    for (uint32_t i = 0; i < plan.live.nfiles(); ++i) {
        if (!plan.repairs[i].is_needed()) continue;
        const int result =
            vela::apply_repair(plan.findings, plan.live, i, plan.repairs[i]);
        if (result < 0) return result;
    }
    return KOR_OK;
}

int write_state(const recovery_plan &plan) noexcept
{
    if (!plan.is_state_wrong) return KOR_OK;
    vela::file_name name;
    plan.findings.base.name_state(&name);
    int result = vela::is_other_than_file(name.text)
                     ? vela::set_aside(name.text)
                     : KOR_OK;
    vela::replacement file(name.text);
    if (result >= 0) result = file.begin();
    if (result >= 0) result = file.write(plan.state.data(), plan.state.size());
    return result < 0 ? result : file.commit();
}

// What holds the folded records must outlast a power cut before they go,
// whoever wrote it and did not sync it.
int sync_kept(const recovery_plan &plan) noexcept
{
    vela::file_name name;
    plan.findings.base.name_state(&name);
    int result = vela::sync_existing(name.text);
    for (uint32_t i = 0; i < plan.live.nfiles() && result >= 0; ++i) {
        plan.findings.base.name_buffer(plan.live.files[i].id, &name);
        result = vela::sync_existing(name.text);
    }
    return result < 0 ? result : vela::sync_folder(plan.findings.base.path());
}

int clear_leftovers(const recovery_plan &plan) noexcept
{
    if (plan.leftovers.empty()) return KOR_OK;
    int result = sync_kept(plan);
    if (result < 0) return result;
    for (const leftover &left : plan.leftovers) {
        vela::file_name name;
        plan.findings.base.name_buffer(left.file->id, &name);
        result = left.is_removed ? vela::remove_file(name.text)
                                 : vela::set_aside(name.text);
        if (result < 0) return result;
    }
    return vela::sync_folder(plan.findings.base.path());
}

}  // namespace

bool vela::recovery_plan::changes_anything() const noexcept
{
    bool repairs_any = false;
    for (uint32_t i = 0; i < live.nfiles(); ++i)
        repairs_any = repairs_any || repairs[i].is_needed();
    return repairs_any || is_state_wrong || !leftovers.empty() ||
           !findings.listing.temporaries.empty();
}

int vela::plan_recovery(const char *filename, uint32_t num_cb_samples,
                        uint32_t num_hb_intervals, bool resumes,
                        recovery_plan *plan) noexcept
{
    int result = find_recorder(filename, num_cb_samples, num_hb_intervals,
                               &plan->findings);
    if (result >= 0) result = choose_live_set(plan->findings, &plan->live);
    for (uint32_t i = 0; i < plan->live.nfiles() && result >= 0; ++i)
        result = plan_repair(plan->findings, plan->live, i, &plan->repairs[i]);
    if (result >= 0) result = plan_leftovers(plan);
    if (result >= 0) result = plan_state(plan, resumes);
    return result;
}

int vela::carry_out(const recovery_plan &plan) noexcept
{
    for (const auto step : {remove_temporaries, save_unreadable, apply_repairs,
                            write_state, clear_leftovers}) {
        const int result = step(plan);
        if (result < 0) return result;
    }
    return KOR_OK;
}

int vela::set_aside(const char *path) noexcept
{
    file_name name;
    std::snprintf(name.text, sizeof name.text, "%s.orphan", path);
    for (uint32_t n = 2; name_exists(name.text); ++n)
        std::snprintf(name.text, sizeof name.text, "%s.orphan.%u", path, n);
    return rename_file(path, name.text);
}
