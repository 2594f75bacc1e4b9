#include "recorder/live_set.hpp"

#include "error.h"
#include "kor.h"
#include "kor_buffer.h"
#include "recorder/fold_proof.hpp"

namespace {

using vela::buffer_id;
using vela::live_set;
using vela::recorder_file;
using vela::recorder_findings;
using vela::stored_state;

using file_list = vela::growable<const recorder_file *>;

constexpr uint32_t max_open_cbufs = 3;  // before there is a history

bool is_cbuf(const recorder_file &file) noexcept
{
    return file.id.kind == KOR_BUFFER_TYPE_CURRENT;
}

uint32_t capacity_of(const recorder_findings &f, uint32_t kind) noexcept
{
    return kind == KOR_BUFFER_TYPE_HIST ? 2 * f.num_hb_intervals
                                        : f.num_cb_samples;
}

bool is_full(const recorder_findings &f, const recorder_file &file) noexcept
{
    return values_of(file.summary) == capacity_of(f, file.id.kind);
}

bool has_any_record(const recorder_findings &f) noexcept
{
    for (const recorder_file &file : f.listing.files)
        if (holds_records(file.summary)) return true;
    return false;
}

// The files that can take part: those of this recorder with records in them.
struct candidates {
    file_list cbufs;  // by rising number
    file_list hbufs;
};

int collect(const recorder_findings &f, candidates *c) noexcept
{
    for (const recorder_file &file : f.listing.files) {
        if (!holds_records(file.summary) || !fits(f, file)) continue;
        file_list &list = is_cbuf(file) ? c->cbufs : c->hbufs;
        if (!list.append(&file)) return KOR_ERR_NO_MEMORY;
    }
    return KOR_OK;
}

// --- folds ---

// What a history was, or was to be, made of.
struct fold_sources {
    const recorder_file *first = nullptr;
    const recorder_file *second = nullptr;
    bool has_history_below = false;
    bool present = false;
};

// Whether a complete history is what its sources give.  Returns 1, 0 or a
// negative code.
int is_fold_of(const recorder_findings &f, const recorder_file &history,
               const fold_sources &sources) noexcept
{
    vela::file_name names[3];
    f.base.name_buffer(history.id, &names[0]);
    f.base.name_buffer(sources.first->id, &names[1]);
    f.base.name_buffer(sources.second->id, &names[2]);
    return vela::prove_folded(
        {.history = names[0].text,
         .first = 0,
         .count = values_of(history.summary),
         .sources = {names[1].text, names[2].text},
         .samples_per_interval = f.num_cb_samples / f.num_hb_intervals,
         .partly = false});
}

// --- the state file first ---

bool are_closed_files_full(const recorder_findings &f) noexcept
{
    const stored_state &s = f.stored.state;
    for (uint32_t i = 0; i + 1 < s.nfiles(); ++i) {
        const recorder_file *const file = f.listing.find(s.files[i]);
        if (file == nullptr || !fits(f, *file) || !is_full(f, *file))
            return false;
    }
    return true;
}

// Whether a buffer with records lies between those that the state names.
bool has_unnamed_between(const stored_state &s, const candidates &c) noexcept
{
    uint32_t lowest = s.open_file().number;
    for (uint32_t i = 0; i < s.nfiles(); ++i)
        if (s.files[i].number < lowest) lowest = s.files[i].number;
    for (const recorder_file *file : c.cbufs)
        if (file->id.number > lowest &&
            file->id.number < s.open_file().number && !s.names(file->id))
            return true;
    return false;
}

const recorder_file *lowest_above(const file_list &list,
                                  uint32_t number) noexcept
{
    for (const recorder_file *file : list)
        if (file->id.number > number) return file;
    return nullptr;
}

bool has_number(const recorder_findings &f, uint32_t number) noexcept
{
    for (const recorder_file &file : f.listing.files)
        if (file.id.number == number) return true;
    return false;
}

// Whether every number of a range has a file, or was used up by an attempt
// right before one that has.
bool are_numbers_explained(const recorder_findings &f, uint32_t above,
                           uint32_t up_to) noexcept
{
    for (uint32_t n = above + 1; n <= up_to; ++n)
        if (!has_number(f, n) && (n == up_to || !has_number(f, n + 1)))
            return false;
    return true;
}

// Whether a history below `newer` is what the two oldest files of the stored
// state give: only the recorder that goes on from there writes such a one.
// Returns 1, 0 or a negative code.
int continues_by_fold(const recorder_findings &f, const candidates &c,
                      const recorder_file &newer) noexcept
{
    const stored_state &s = f.stored.state;
    if (s.nfiles() < vela::max_live_files) return 0;
    fold_sources sources;
    sources.first = f.listing.find(s.files[0]);
    sources.second = f.listing.find(s.files[1]);
    for (const recorder_file *history : c.hbufs) {
        const uint32_t number = history->id.number;
        if (number < s.open_file().number || number > newer.id.number ||
            !is_full(f, *history))
            continue;
        const int proven = is_fold_of(f, *history, sources);
        if (proven != 0) return proven;
    }
    return 0;
}

// Whether newer buffers can be those of a recorder without a history.
bool continues_without_history(const recorder_findings &f,
                               const candidates &c) noexcept
{
    if (f.stored.state.nfiles() == vela::max_live_files) return false;
    for (const recorder_file *history : c.hbufs)
        if (is_full(f, *history) &&
            lowest_above(c.cbufs, history->id.number) != nullptr)
            return false;
    return true;
}

// Whether a buffer has the very number that the next transition of the stored
// state gives it.  Three full files are folded first: a history that is whole
// must prove itself.
bool continues_by_number(const recorder_findings &f,
                         const recorder_file &newer) noexcept
{
    const stored_state &s = f.stored.state;
    const uint32_t next = s.next_file_number;
    if (s.nfiles() < vela::max_live_files) return newer.id.number == next;
    const recorder_file *const history =
        f.listing.find({KOR_BUFFER_TYPE_HIST, next});
    return history != nullptr && holds_records(history->summary) &&
           !is_full(f, *history) && newer.id.number == next + 1;
}

// Buffers newer than the state file are either what the recorder wrote after
// it could not save its state, or remains of an older recorder of this name.
// Clocks may step back, so times count only where neither numbers nor content
// tell: attempts that failed may have used up any number of file numbers.
// Returns 1, 0 or a negative code.
int is_continuation(const recorder_findings &f, const candidates &c,
                    const recorder_file &newer) noexcept
{
    const stored_state &s = f.stored.state;
    const recorder_file *const open = f.listing.find(s.open_file());
    if (open == nullptr || !is_full(f, *open)) return 0;
    if (continues_by_number(f, newer)) return 1;
    const int proven = continues_by_fold(f, c, newer);
    if (proven != 0) return proven;
    const bool is_later =
        newer.summary.first_time.tv.tv_sec >= open->summary.last_time.tv.tv_sec;
    return is_later &&
           (continues_without_history(f, c) ||
            are_numbers_explained(f, s.open_file().number, newer.id.number));
}

// Returns 1, 0 or a negative code.
int state_file_holds(const recorder_findings &f, const candidates &c) noexcept
{
    const stored_state &s = f.stored.state;
    if (!s.complete || !are_closed_files_full(f) || has_unnamed_between(s, c))
        return 0;
    const recorder_file *const open = f.listing.find(s.open_file());
    if (open != nullptr && !fits(f, *open)) return 0;
    const recorder_file *const newer =
        lowest_above(c.cbufs, s.open_file().number);
    if (newer == nullptr) return 1;
    // A state whose only file is gone tells nothing of those that are there.
    if (open == nullptr && s.nfiles() == 1) return 0;
    const int continued = is_continuation(f, c, *newer);
    return continued < 0 ? continued : !continued;
}

void set_file(const recorder_findings &f, live_set *live, uint32_t i,
              const buffer_id &id) noexcept
{
    live->files[i] = {id, f.listing.find(id)};
}

void take_state_file(const recorder_findings &f, live_set *live) noexcept
{
    const stored_state &s = f.stored.state;
    live->state = s.state;
    for (uint32_t i = 0; i < s.nfiles(); ++i) set_file(f, live, i, s.files[i]);
}

// --- the files alone ---

const recorder_file *highest_full_below(const recorder_findings &f,
                                        const file_list &list,
                                        uint32_t number) noexcept
{
    const recorder_file *found = nullptr;
    for (const recorder_file *file : list)
        if (file->id.number < number && is_full(f, *file)) found = file;
    return found;
}

struct range {
    uint32_t from;  // inclusive
    uint32_t to;    // exclusive
};

uint32_t count_in(const file_list &list, range numbers) noexcept
{
    uint32_t count = 0;
    for (const recorder_file *file : list)
        count +=
            file->id.number >= numbers.from && file->id.number < numbers.to;
    return count;
}

// The i-th of the files in a range.
const recorder_file *file_in(const file_list &list, range numbers,
                             uint32_t i) noexcept
{
    for (const recorder_file *file : list) {
        if (file->id.number < numbers.from || file->id.number >= numbers.to)
            continue;
        if (i-- == 0) return file;
    }
    return nullptr;
}

fold_sources find_sources(const recorder_findings &f, const candidates &c,
                          const recorder_file &history) noexcept
{
    fold_sources sources;
    const uint32_t number = history.id.number;
    sources.first = highest_full_below(f, c.hbufs, number);
    sources.has_history_below = sources.first != nullptr;
    if (!sources.has_history_below) {
        const range below = {0, number};
        sources.first = file_in(c.cbufs, below, 0);
        sources.second = file_in(c.cbufs, below, 1);
        sources.present = count_in(c.cbufs, below) == max_open_cbufs;
        return sources;
    }
    const range older = {0, sources.first->id.number};
    const range between = {sources.first->id.number, number};
    const uint32_t n = count_in(c.cbufs, older);
    sources.second = n > 0 ? file_in(c.cbufs, older, n - 1) : nullptr;
    sources.present = n > 0 && count_in(c.cbufs, between) == 1;
    return sources;
}

enum class commitment { rolled_back, committed, committed_damaged };

// A history that is not full any more: whether it once was.
commitment judge_short_history(const recorder_findings &f, const candidates &c,
                               const recorder_file &history,
                               const fold_sources &sources) noexcept
{
    const bool has_records_above =
        lowest_above(c.cbufs, history.id.number - 1) != nullptr;
    if (has_records_above) return commitment::committed_damaged;
    if (sources.present) return commitment::rolled_back;
    const stored_state &s = f.stored.state;
    const bool is_stored = s.complete && s.names(history.id);
    const bool looks_settled = !sources.has_history_below &&
                               count_in(c.cbufs, {0, history.id.number}) <= 1;
    return is_stored || looks_settled ? commitment::committed_damaged
                                      : commitment::rolled_back;
}

// Returns 0 or a negative code.
int judge_history(const recorder_findings &f, const candidates &c,
                  const recorder_file &history, const fold_sources &sources,
                  commitment *judgement) noexcept
{
    if (!is_full(f, history)) {
        *judgement = judge_short_history(f, c, history, sources);
        return KOR_OK;
    }
    *judgement = commitment::committed;
    if (lowest_above(c.cbufs, history.id.number - 1) != nullptr ||
        !sources.present)
        return KOR_OK;
    const int proven = is_fold_of(f, history, sources);
    if (proven == 1) *judgement = commitment::rolled_back;
    return proven < 0 ? proven : KOR_OK;
}

uint32_t lowest_free_number(const recorder_findings &f) noexcept
{
    const uint32_t next = f.stored.state.next_file_number;
    const uint32_t above = f.listing.highest_number + 1;
    return next > above ? next : above;
}

// The buffer behind a history: with records, or the empty one that was made
// for them, or a new one.  One of the history's own number is not behind it.
buffer_id open_file_above(const recorder_findings &f, const candidates &c,
                          uint32_t number) noexcept
{
    const recorder_file *const used = lowest_above(c.cbufs, number);
    if (used != nullptr) return used->id;
    for (const recorder_file &file : f.listing.files)
        if (is_cbuf(file) && file.id.number > number && fits(f, file))
            return file.id;
    return {KOR_BUFFER_TYPE_CURRENT, lowest_free_number(f)};
}

// The full buffer beside a history, or a number below for one that replaces
// it; 0 when there is none left.
buffer_id closed_file_below(const recorder_findings &f, const candidates &c,
                            uint32_t number) noexcept
{
    const range below = {0, number};
    const uint32_t n = count_in(c.cbufs, below);
    if (n > 0) return file_in(c.cbufs, below, n - 1)->id;
    uint32_t unused = number - 1;
    while (unused > 0 && has_number(f, unused)) --unused;
    return {KOR_BUFFER_TYPE_CURRENT, unused};
}

int take_history(const recorder_findings &f, const candidates &c,
                 const recorder_file &history, live_set *live) noexcept
{
    const uint32_t number = history.id.number;
    const uint32_t above = count_in(c.cbufs, {number, UINT32_MAX});
    const buffer_id closed = closed_file_below(f, c, number);
    if (above > 1 || closed.number == 0) return KOR_ERR_INVALID_DATA;
    live->state = KOR_ZCF_STATE_HCC;
    set_file(f, live, 0, history.id);
    set_file(f, live, 1, closed);
    set_file(f, live, 2, open_file_above(f, c, number));
    return KOR_OK;
}

int take_current_buffers(const recorder_findings &f, const candidates &c,
                         live_set *live) noexcept
{
    constexpr uint32_t states[] = {KOR_ZCF_STATE_C00, KOR_ZCF_STATE_C00,
                                   KOR_ZCF_STATE_CC0, KOR_ZCF_STATE_CCC};
    const size_t n = c.cbufs.size();
    if (n > max_open_cbufs) return KOR_ERR_INVALID_DATA;
    live->state = states[n];
    for (uint32_t i = 0; i < n; ++i) set_file(f, live, i, c.cbufs[i]->id);
    if (n > 0) return KOR_OK;
    for (const recorder_file &file : f.listing.files) {
        if (!is_cbuf(file) || !fits(f, file)) continue;
        set_file(f, live, 0, file.id);
        return KOR_OK;
    }
    // Records that are not this recorder's must be out of its way.
    if (!has_any_record(f)) return KOR_ERR_END_OF_STREAM;
    set_file(f, live, 0, {KOR_BUFFER_TYPE_CURRENT, lowest_free_number(f)});
    return KOR_OK;
}

int take_files_alone(const recorder_findings &f, const candidates &c,
                     live_set *live) noexcept
{
    for (size_t i = c.hbufs.size(); i-- > 0;) {
        const recorder_file &history = *c.hbufs[i];
        if (history.summary.intervals == 0) continue;
        const fold_sources sources = find_sources(f, c, history);
        commitment judgement = commitment::rolled_back;
        const int result = judge_history(f, c, history, sources, &judgement);
        if (result < 0) return result;
        if (judgement == commitment::rolled_back) continue;
        if (judgement == commitment::committed_damaged && sources.present) {
            live->fold_again = true;
            live->sources[0] = sources.first;
            live->sources[1] = sources.second;
        }
        return take_history(f, c, history, live);
    }
    return take_current_buffers(f, c, live);
}

// No file may hold more than its capacity: the recorder would refuse it.
bool are_within_capacity(const recorder_findings &f,
                         const live_set &live) noexcept
{
    for (uint32_t i = 0; i < live.nfiles(); ++i) {
        const recorder_file *const file = live.files[i].found;
        if (file != nullptr &&
            values_of(file->summary) > capacity_of(f, live.files[i].id.kind))
            return false;
    }
    return true;
}

// --- the parameters ---

void take_parameters_from_headers(recorder_findings *f) noexcept
{
    for (const recorder_file &file : f->listing.files) {
        const vela::buffer_header &header = file.summary.header;
        if (header.kind != file.id.kind || header.capacity == 0) continue;
        (is_cbuf(file) ? f->num_cb_samples : f->num_hb_intervals) =
            is_cbuf(file) ? header.capacity : header.capacity / 2;
    }
}

}  // namespace

bool vela::live_set::holds(const buffer_id &id) const noexcept
{
    for (uint32_t i = 0; i < nfiles(); ++i)
        if (files[i].id == id) return true;
    return false;
}

bool vela::fits(const recorder_findings &f, const recorder_file &file) noexcept
{
    const buffer_header &header = file.summary.header;
    if (header.kind == 0) return true;
    return header.kind == file.id.kind &&
           header.capacity == capacity_of(f, file.id.kind);
}

int vela::find_recorder(const char *filename, uint32_t num_cb_samples,
                        uint32_t num_hb_intervals,
                        recorder_findings *findings) noexcept
{
    recorder_findings &f = *findings;
    int result = f.base.set(filename);
    if (result >= 0) result = read_state_file(f.base, &f.stored);
    if (result >= 0) result = list_files(f.base, &f.listing);
    if (result >= 0) result = scan_files(f.base, &f.listing);
    if (result < 0) return result;
    f.num_cb_samples = f.stored.state.num_cb_samples;
    f.num_hb_intervals = f.stored.state.num_hb_intervals;
    if (f.num_cb_samples == 0) take_parameters_from_headers(&f);
    if (f.num_cb_samples == 0) f.num_cb_samples = num_cb_samples;
    if (f.num_hb_intervals == 0) f.num_hb_intervals = num_hb_intervals;
    return KOR_OK;
}

int vela::choose_live_set(const recorder_findings &f, live_set *live) noexcept
{
    if (!are_parameters(f.num_cb_samples, f.num_hb_intervals))
        return has_any_record(f) ? KOR_ERR_INVALID_DATA : KOR_ERR_END_OF_STREAM;
    candidates c;
    int result = collect(f, &c);
    if (result >= 0) result = state_file_holds(f, c);
    if (result < 0) return result;
    if (result == 1)
        take_state_file(f, live);
    else
        result = take_files_alone(f, c, live);
    if (result < 0) return result;
    return are_within_capacity(f, *live) ? KOR_OK : KOR_ERR_INVALID_DATA;
}
