// kor_recover: bringing a recorder back after a crash, a full disk or damage.
#include "kor_recover.h"

#include <cstdlib>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "recorder/heap_object.hpp"
#include "recorder/recovery_plan.hpp"

namespace {

using vela::recovery_plan;
using report_owner = vela::owned<kor_recovery_report_destroy>;

// --- the report ---

uint32_t action_of(const vela::file_repair &repair) noexcept
{
    if (repair.create) return KOR_RECOVERY_CREATED;
    if (repair.padding > 0) return KOR_RECOVERY_PADDED;
    if (repair.rewrite || repair.fold_again) return KOR_RECOVERY_REWRITTEN;
    return repair.cut ? KOR_RECOVERY_CUT : KOR_RECOVERY_KEPT;
}

void describe_content(const vela::recorder_file *file,
                      struct kor_recovery_file *entry) noexcept
{
    if (file == nullptr) return;
    const vela::scan_summary &s = file->summary;
    entry->records_kept = values_of(s) + s.events;
    entry->gaps = s.gaps;
    entry->bytes_cut = s.bytes_torn;
    entry->bytes_damaged = s.bytes_damaged;
}

// Adds a file; false when out of memory.
bool add_file(const recovery_plan &plan, const vela::buffer_id &id,
              struct kor_recovery_report *report) noexcept
{
    vela::file_name name;
    plan.findings.base.name_buffer(id, &name);
    struct kor_recovery_file &entry = report->files[report->nfiles];
    entry.filename = strdup(name.text);
    if (entry.filename == nullptr) return false;
    ++report->nfiles;
    return true;
}

bool describe_live_files(const recovery_plan &plan,
                         struct kor_recovery_report *report) noexcept
{
    for (uint32_t i = 0; i < plan.live.nfiles(); ++i) {
        const vela::file_repair &repair = plan.repairs[i];
        if (!add_file(plan, plan.live.files[i].id, report)) return false;
        struct kor_recovery_file &entry = report->files[i];
        entry.action = action_of(repair);
        entry.records_padded = repair.padding;
        describe_content(plan.live.files[i].found, &entry);
        if (repair.fold_again)
            entry.records_kept = 2 * plan.findings.num_hb_intervals;
    }
    return true;
}

bool describe_leftovers(const recovery_plan &plan,
                        struct kor_recovery_report *report) noexcept
{
    for (const vela::leftover &left : plan.leftovers) {
        if (!add_file(plan, left.file->id, report)) return false;
        struct kor_recovery_file &entry = report->files[report->nfiles - 1];
        entry.action =
            left.is_removed ? KOR_RECOVERY_REMOVED : KOR_RECOVERY_ORPHANED;
        describe_content(left.file, &entry);
        if (left.is_removed) entry.records_kept = 0;
    }
    return true;
}

// What the state file names and nothing has replaced.
bool describe_missing(const recovery_plan &plan,
                      struct kor_recovery_report *report) noexcept
{
    const vela::stored_state &stored = plan.findings.stored.state;
    if (!stored.complete) return true;
    for (uint32_t i = 0; i < stored.nfiles(); ++i) {
        const vela::buffer_id &id = stored.files[i];
        if (plan.live.holds(id) || plan.findings.listing.find(id) != nullptr)
            continue;
        if (!add_file(plan, id, report)) return false;
        report->files[report->nfiles - 1].action = KOR_RECOVERY_MISSING;
    }
    return true;
}

struct kor_recovery_report *create_report(const recovery_plan &plan) noexcept
{
    report_owner report(static_cast<struct kor_recovery_report *>(
        std::calloc(1, sizeof(struct kor_recovery_report))));
    if (!report) return nullptr;
    const size_t nfiles = plan.live.nfiles() + plan.leftovers.size() +
                          plan.findings.stored.state.nfiles();
    report->files = static_cast<struct kor_recovery_file *>(
        std::calloc(nfiles, sizeof(struct kor_recovery_file)));
    if (report->files == nullptr) return nullptr;
    report->state = plan.live.state;
    report->num_cb_samples = plan.findings.num_cb_samples;
    report->num_hb_intervals = plan.findings.num_hb_intervals;
    report->next_file_number = plan.next_file_number;
    report->state_file_rebuilt = plan.is_state_wrong ? 1 : 0;
    const bool described = describe_live_files(plan, report.get()) &&
                           describe_leftovers(plan, report.get()) &&
                           describe_missing(plan, report.get());
    return described ? report.release() : nullptr;
}

enum class purpose { look, repair, resume };

int recover(const char *filename, uint32_t num_cb_samples,
            uint32_t num_hb_intervals, purpose what_for,
            report_owner *report) noexcept
{
    const auto plan = vela::make_heap_object<recovery_plan>();
    if (!plan) return KOR_ERR_NO_MEMORY;
    int result = plan_recovery(filename, num_cb_samples, num_hb_intervals,
                               what_for == purpose::resume, plan.get());
    if (result < 0) return result;
    report->reset(create_report(*plan));
    if (!*report) return KOR_ERR_NO_MEMORY;
    if (what_for != purpose::look) result = carry_out(*plan);
    if (result < 0) return result;
    return plan->changes_anything() ? KOR_RECOVER_REPAIRED
                                    : KOR_RECOVER_UNCHANGED;
}

// --- resuming ---

// A recorder is to be created where files without a record may lie: those that
// are more than empty are kept under another name.
int clear_the_place(const char *filename) noexcept
{
    const auto findings = vela::make_heap_object<vela::recorder_findings>();
    if (!findings) return KOR_ERR_NO_MEMORY;
    int result = find_recorder(filename, 0, 0, findings.get());
    for (const vela::recorder_file &file : findings->listing.files) {
        if (result < 0) return result;
        if (file.summary.bytes_torn == 0) continue;
        vela::file_name name;
        findings->base.name_buffer(file.id, &name);
        result = vela::set_aside(name.text);
    }
    for (const vela::file_name &name : findings->listing.temporaries)
        if (result >= 0) result = vela::remove_file(name.text);
    return result;
}

struct kor *open_recovered(const char *filename) noexcept
{
    struct kor *kor = kor_open(filename);
    if (kor == nullptr) return nullptr;
    const int restored = kor_get_restore_result(kor);
    if (restored > 0) return kor;
    kor_close(&kor);
    return vela::fail(restored < 0 ? restored : KOR_ERR_TRUNCATED);
}

}  // namespace

int kor_recover(const char *filename)
{
    return kor_recover_report(filename, 0, 0, 0, nullptr);
}

int kor_recover_with(const char *filename, uint32_t num_cb_samples,
                     uint32_t num_hb_intervals)
{
    return kor_recover_report(filename, num_cb_samples, num_hb_intervals, 0,
                              nullptr);
}

int kor_recover_report(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals, uint32_t flags,
                       struct kor_recovery_report **report)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(filename[0] != 0);
    if (report != nullptr) *report = nullptr;
    report_owner made;
    const bool is_dry_run = (flags & KOR_RECOVER_DRY_RUN) != 0;
    const int result =
        recover(filename, num_cb_samples, num_hb_intervals,
                is_dry_run ? purpose::look : purpose::repair, &made);
    if (result >= 0 && report != nullptr) *report = made.release();
    return result;
}

void kor_recovery_report_destroy(struct kor_recovery_report **report)
{
    KOR_ASSERT(report != NULL);
    KOR_ASSERT(*report != NULL);
    for (uint32_t i = 0; i < (*report)->nfiles; ++i)
        std::free((*report)->files[i].filename);
    std::free((*report)->files);
    std::free(*report);
    *report = nullptr;
}

struct kor *kor_resume(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(filename[0] != 0);
    KOR_ASSERT(num_cb_samples > 0);
    KOR_ASSERT(num_hb_intervals > 0);
    KOR_ASSERT(num_cb_samples % num_hb_intervals == 0);
    KOR_ASSERT(num_cb_samples % 2 == 0);
    KOR_ASSERT(num_hb_intervals % 2 == 0);
    report_owner report;
    int result = recover(filename, num_cb_samples, num_hb_intervals,
                         purpose::resume, &report);
    if (result >= 0) return open_recovered(filename);
    if (result == KOR_ERR_END_OF_STREAM) {
        result = clear_the_place(filename);
        if (result >= 0)
            return kor_create(filename, num_cb_samples, num_hb_intervals);
    }
    return vela::fail(result);
}
