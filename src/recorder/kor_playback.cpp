// kor_playback: reading a recorder's files in time order, changing nothing.
//
// The files are opened together, before the first is read: what a running
// recorder folds and removes meanwhile stays readable.  At the end of the last
// file the state file tells whether the recorder has gone on to further ones.
#include "kor_playback.h"

#include <cstdio>
#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "kor.h"
#include "kor_buffer.h"
#include "recorder/buffer_scan.hpp"
#include "recorder/heap_object.hpp"
#include "recorder/live_set.hpp"
#include "recorder/lost_names.hpp"

namespace {

using vela::buffer_scan;
using vela::heap_object;
using vela::record_kind;
using vela::scanned;

// A file of the playback.  Its scan is let go of when it has been played.
struct played_file {
    vela::file_name name = {};
    vela::buffer_id id;
    heap_object<buffer_scan> scan;
    uint32_t kind = 0;
    uint32_t capacity = 0;
    uint64_t size = 0;
    bool missing = false;
    bool is_missing_told = false;
    // Intervals that start no later were played as samples already.
    bool skips_played = false;
};

// The files in playing order.
class play_list {
public:
    play_list() noexcept = default;
    play_list(const play_list &) = delete;
    play_list &operator=(const play_list &) = delete;
    ~play_list() { clear(); }

    void clear() noexcept
    {
        for (played_file *file : files_) heap_object<played_file>(file).reset();
        files_.clear();
    }
    uint32_t size() const noexcept
    {
        return static_cast<uint32_t>(files_.size());
    }
    bool holds(const vela::buffer_id &id) const noexcept
    {
        for (const played_file *file : files_)
            if (file->id == id) return true;
        return false;
    }
    played_file &operator[](uint32_t i) noexcept { return *files_[i]; }
    const played_file &operator[](uint32_t i) const noexcept
    {
        return *files_[i];
    }
    // Opens a file and puts it at the end; a missing one is marked so.
    // Returns 0 or a negative code.
    int add(const char *path, const vela::buffer_id &id) noexcept;

private:
    vela::growable<played_file *> files_;
};

int play_list::add(const char *path, const vela::buffer_id &id) noexcept
{
    heap_object<played_file> file = vela::make_heap_object<played_file>();
    if (!file) return KOR_ERR_NO_MEMORY;
    file->scan = vela::make_heap_object<buffer_scan>();
    if (!file->scan) return KOR_ERR_NO_MEMORY;
    file->id = id;
    std::snprintf(file->name.text, sizeof file->name.text, "%s", path);
    const int opened = file->scan->open(path, id.kind);
    file->missing = file->scan->was_missing();
    if (opened < 0 && !file->missing) return opened;
    if (file->missing) file->scan.reset();
    if (!files_.append(file.get())) return KOR_ERR_NO_MEMORY;
    played_file *const kept = file.release();
    if (kept->missing) return KOR_OK;
    vela::buffer_header header;
    const int peeked = kept->scan->peek_header(&header);
    if (peeked < 0) return peeked;
    kept->kind = header.kind != 0 ? header.kind : id.kind;
    kept->capacity = header.capacity;
    kept->size = kept->scan->file_size();
    return KOR_OK;
}

}  // namespace

struct kor_playback {
    vela::heap<char> filename;
    vela::base_name base;
    vela::read_state stored;
    struct kor_playback_info info = {};
    play_list files;
    uint32_t current = 0;  // the file being played
    // The sensors last given, and whether the file has named its own.
    vela::column_names names;
    bool are_named_here = false;
    bool is_record_held = false;  // to come after a KOR_PLAYBACK_SENSORS
    struct timestamp last_time = {};
};

namespace {

// --- choosing the files ---

// A recorder that runs changes its files while they are looked for: what was
// found is looked up again a few times before it counts.
constexpr int max_attempts = 16;

uint64_t size_of(const char *path) noexcept
{
    bool missing = false;
    const vela::open_file file = vela::open_for_reading(path, &missing);
    return file ? vela::length_of(file.fd()) : 0;
}

// Whether the state file tells all: nothing else holds anything, but for the
// history that a running recorder may be just writing.
bool is_state_enough(const kor_playback &p,
                     const vela::folder_listing &listing) noexcept
{
    const vela::stored_state &s = p.stored.state;
    if (!s.complete) return false;
    for (uint32_t i = 0; i + 1 < s.nfiles(); ++i)
        if (listing.find(s.files[i]) == nullptr) return false;
    for (const vela::recorder_file &file : listing.files) {
        const bool is_being_written = file.id.kind == KOR_BUFFER_TYPE_HIST &&
                                      file.id.number > s.open_file().number;
        if (s.names(file.id) || is_being_written) continue;
        vela::file_name name;
        p.base.name_buffer(file.id, &name);
        if (size_of(name.text) > 0) return false;
    }
    return true;
}

int add_buffer(kor_playback &p, const vela::buffer_id &id) noexcept
{
    vela::file_name name;
    p.base.name_buffer(id, &name);
    return p.files.add(name.text, id);
}

int add_stored_files(kor_playback &p) noexcept
{
    const vela::stored_state &s = p.stored.state;
    for (uint32_t i = 0; i < s.nfiles(); ++i) {
        const int result = add_buffer(p, s.files[i]);
        if (result < 0) return result;
    }
    return KOR_OK;
}

// Adds the files of a listing for which a condition holds.
template <class Condition>
int add_files(kor_playback &p, const vela::folder_listing &listing,
              Condition holds) noexcept
{
    for (const vela::recorder_file &file : listing.files) {
        const int result = holds(file) ? add_buffer(p, file.id) : KOR_OK;
        if (result < 0) return result;
    }
    return KOR_OK;
}

// Whether a file holds bytes, but no record that can be read.
bool is_all_damaged(const vela::recorder_file &file) noexcept
{
    const vela::scan_summary &s = file.summary;
    return !holds_records(s) && (s.gaps > 0 || s.bytes_torn > 0);
}

// What lies below and above a number.
struct folder_counts {
    uint32_t cbufs = 0;
    uint32_t hbufs = 0;
    bool has_records_above = false;  // in a buffer
};

folder_counts count_around(const vela::folder_listing &listing,
                           const vela::buffer_id &id) noexcept
{
    folder_counts counts;
    for (const vela::recorder_file &file : listing.files) {
        const bool is_buffer = file.id.kind == KOR_BUFFER_TYPE_CURRENT;
        if (file.id.number < id.number)
            ++(is_buffer ? counts.cbufs : counts.hbufs);
        else if (is_buffer && holds_records(file.summary))
            counts.has_records_above = true;
    }
    return counts;
}

// Whether a history was finished: behind it is a record, or a source is gone.
// One that was not is no loss.
bool was_history_in_use(const vela::folder_listing &listing,
                        const vela::buffer_id &id) noexcept
{
    const folder_counts counts = count_around(listing, id);
    const uint32_t nsources = counts.hbufs > 0 ? 2 : 3;
    return counts.has_records_above || counts.cbufs < nsources;
}

// Current buffers up to this number were folded into the live history.
uint32_t last_folded(const vela::live_set &live) noexcept
{
    return live.state == KOR_ZCF_STATE_HCC ? live.files[1].id.number : 0;
}

// Whether the damage of a file that is not played is a loss, as far as the
// folder tells.
bool is_loss(const vela::folder_listing &listing, const vela::live_set &live,
             const vela::recorder_file &file) noexcept
{
    if (file.id.kind == KOR_BUFFER_TYPE_CURRENT)
        return file.id.number > last_folded(live);
    const bool is_older = live.state == KOR_ZCF_STATE_HCC &&
                          file.id.number < live.files[0].id.number;
    return !is_older && was_history_in_use(listing, file.id);
}

bool has_lost_file(const vela::stored_state &s,
                   const vela::folder_listing &listing) noexcept
{
    for (uint32_t i = 0; i < s.nfiles(); ++i)
        if (listing.find(s.files[i]) == nullptr) return true;
    return false;
}

// A file without any readable record takes no part in what is chosen.  That it
// was there is told where the state file does not say that it is not needed.
int add_damaged_files(kor_playback &p, const vela::folder_listing &listing,
                      const vela::live_set &live) noexcept
{
    const vela::stored_state &s = p.stored.state;
    const bool is_usable = s.complete && !has_lost_file(s, listing);
    return add_files(p, listing, [&](const vela::recorder_file &file) {
        if (!is_all_damaged(file) || live.holds(file.id)) return false;
        const bool is_told = s.complete && s.names(file.id);
        return is_told || (!is_usable && is_loss(listing, live, file));
    });
}

// Where no live set can be made out: the latest history and all buffers.
int add_all_files(kor_playback &p, const vela::folder_listing &listing) noexcept
{
    const vela::recorder_file *history = nullptr;
    for (const vela::recorder_file &file : listing.files)
        if (file.summary.intervals > 0) history = &file;
    const int result =
        history != nullptr
            ? add_buffer(p, history->id)
            : add_files(p, listing, [](const vela::recorder_file &file) {
                  return file.id.kind == KOR_BUFFER_TYPE_HIST &&
                         is_all_damaged(file);
              });
    if (result < 0) return result;
    return add_files(p, listing, [](const vela::recorder_file &file) {
        return file.id.kind == KOR_BUFFER_TYPE_CURRENT;
    });
}

// Parameters that the files do not tell do not matter for playing them: no
// file may hold more than they allow.
void settle_parameters(vela::recorder_findings *findings) noexcept
{
    if (findings->num_cb_samples == 0)
        findings->num_cb_samples = vela::max_file_number - 1;
    if (findings->num_hb_intervals == 0)
        findings->num_hb_intervals = findings->num_cb_samples;
}

// What the state file names is removed only after the state has moved on: a
// file that is not there any more is a loss to be told, even where a recovery
// would go on without it.
int add_lost_files(kor_playback &p, const vela::folder_listing &listing,
                   const vela::live_set &live) noexcept
{
    const vela::stored_state &s = p.stored.state;
    for (uint32_t i = 0; s.complete && i < s.nfiles(); ++i) {
        const vela::buffer_id &id = s.files[i];
        if (live.holds(id) || listing.find(id) != nullptr) continue;
        const int result = add_buffer(p, id);
        if (result < 0) return result;
    }
    return KOR_OK;
}

// The live files that are there, or that the state file says are.
int add_live_files(kor_playback &p, const vela::live_set &live) noexcept
{
    const vela::stored_state &s = p.stored.state;
    for (uint32_t i = 0; i < live.nfiles(); ++i) {
        const vela::live_file &file = live.files[i];
        const bool is_named = s.complete && s.names(file.id);
        if (file.found == nullptr && !is_named) continue;
        const int result = add_buffer(p, file.id);
        if (result < 0) return result;
    }
    return KOR_OK;
}

// Plays what a recovery would make live.
int add_recoverable_files(kor_playback &p) noexcept
{
    const auto findings = vela::make_heap_object<vela::recorder_findings>();
    if (!findings) return KOR_ERR_NO_MEMORY;
    int result = find_recorder(p.filename.get(), 0, 0, findings.get());
    if (result < 0) return result;
    p.info.num_cb_samples = findings->num_cb_samples;
    p.info.num_hb_intervals = findings->num_hb_intervals;
    settle_parameters(findings.get());
    vela::live_set live;
    result = choose_live_set(*findings, &live);
    if (result == KOR_ERR_INVALID_DATA || result == KOR_ERR_END_OF_STREAM) {
        result = add_lost_files(p, findings->listing, {});
        return result < 0 ? result : add_all_files(p, findings->listing);
    }
    if (result < 0) return result;
    p.info.state = live.state;
    result = add_lost_files(p, findings->listing, live);
    if (result >= 0) result = add_damaged_files(p, findings->listing, live);
    return result < 0 ? result : add_live_files(p, live);
}

void take_stored_parameters(kor_playback &p) noexcept
{
    const vela::stored_state &s = p.stored.state;
    p.info.state_intact = s.complete ? 1 : 0;
    if (s.complete) p.info.state = s.state;
    p.info.num_cb_samples = s.num_cb_samples;
    p.info.num_hb_intervals = s.num_hb_intervals;
    p.info.next_file_number = s.next_file_number;
}

bool has_missing_closed_file(const kor_playback &p) noexcept
{
    for (uint32_t i = 0; i + 1 < p.files.size(); ++i)
        if (p.files[i].missing) return true;
    return false;
}

int read_state(kor_playback &p) noexcept
{
    p.stored.bytes.clear();
    p.stored.state = {};
    return read_state_file(p.base, &p.stored);
}

// One attempt: the state file, the folder, the files.
int try_to_open_files(kor_playback &p) noexcept
{
    p.files.clear();
    int result = read_state(p);
    if (result < 0) return result;
    take_stored_parameters(p);
    vela::folder_listing listing;
    result = list_files(p.base, &listing);
    if (result < 0) return result;
    if (!p.stored.state.present && listing.files.empty())
        return KOR_ERR_CANNOT_OPEN;
    return is_state_enough(p, listing) ? add_stored_files(p)
                                       : add_recoverable_files(p);
}

int open_recorder(kor_playback &p) noexcept
{
    int result = p.base.set(p.filename.get());
    if (result < 0) return result;
    p.info.is_recorder = 1;
    uint32_t next_number = 0;
    for (int attempt = 0; attempt < max_attempts; ++attempt) {
        result = try_to_open_files(p);
        if (result < 0 || !has_missing_closed_file(p)) return result;
        // A recorder that is running removes files only after it has saved
        // other numbers: where they stay, the file is lost.
        const bool is_idle =
            attempt > 0 && p.stored.state.next_file_number == next_number;
        if (is_idle) return result;
        next_number = p.stored.state.next_file_number;
    }
    return result;
}

bool is_recorder_name(const char *name) noexcept
{
    vela::base_name base;
    if (base.set(name) < 0) return false;
    vela::file_name state;
    base.name_state(&state);
    bool missing = false;
    return vela::name_exists(state.text) ||
           !vela::open_for_reading(name, &missing);
}

int open_playback(kor_playback &p, const char *name) noexcept
{
    p.filename.reset(strdup(name));
    if (!p.filename) return KOR_ERR_NO_MEMORY;
    if (is_recorder_name(name)) return open_recorder(p);
    const int result = p.files.add(name, {vela::kind_of_name(name), 0});
    if (result < 0) return result;
    return p.files[0].missing ? KOR_ERR_CANNOT_OPEN : KOR_OK;
}

// --- giving items ---

// What an item of any kind tells.
void begin_item(const kor_playback &p, kor_playback_kind kind,
                struct kor_playback_item *item) noexcept
{
    const played_file &file = p.files[p.current];
    *item = {};
    item->kind = kind;
    item->filename = file.name.text;
    if (file.scan) item->offset = file.scan->offset();
    if (file.scan) item->length = file.scan->length();
    item->n_sensors = p.names.count();
    item->names = p.names.names();
}

int give_record(const kor_playback &p, kor_playback_kind kind,
                struct kor_playback_item *item) noexcept
{
    const vela::scanned_record &record = p.files[p.current].scan->record();
    begin_item(p, kind, item);
    item->start = record.start();
    item->end = record.end();
    if (kind == KOR_PLAYBACK_EVENT) {
        item->event_type = record.event_type();
        item->text = record.text();
    } else if (kind == KOR_PLAYBACK_INTERVAL) {
        item->hvalues = record.summaries();
        item->event_counts = record.events();
    } else if (kind == KOR_PLAYBACK_SAMPLE) {
        item->values = record.readings();
    }
    return 1;
}

int give_values(kor_playback &p, struct kor_playback_item *item) noexcept
{
    const vela::scanned_record &record = p.files[p.current].scan->record();
    p.is_record_held = false;
    if (record.is_interval())
        return give_record(p, KOR_PLAYBACK_INTERVAL, item);
    p.last_time = record.end();
    return give_record(p, KOR_PLAYBACK_SAMPLE, item);
}

// Names for readings whose own were lost: from this file or the other ones.
int find_names(const kor_playback &p, uint32_t count,
               vela::column_names *names) noexcept
{
    vela::growable<vela::names_source> sources;
    for (uint32_t i = p.current; i < p.files.size(); ++i) {
        const played_file &file = p.files[i];
        if (!file.missing && !sources.append({file.name.text, file.kind}))
            return KOR_ERR_NO_MEMORY;
    }
    return find_lost_names(sources.begin(),
                           static_cast<uint32_t>(sources.size()),
                           p.files[p.current].scan->kind(), count, names);
}

// Takes other names into force.  Returns 1 when they differ from the last.
int change_names(kor_playback &p, const vela::column_names &names) noexcept
{
    p.are_named_here = true;
    if (names.equals(p.names)) return 0;
    return p.names.assign(names) ? 1 : KOR_ERR_NO_MEMORY;
}

int take_names(kor_playback &p, struct kor_playback_item *item) noexcept
{
    const int changed = change_names(p, p.files[p.current].scan->names());
    return changed == 1 ? give_record(p, KOR_PLAYBACK_SENSORS, item) : changed;
}

int take_values(kor_playback &p, struct kor_playback_item *item) noexcept
{
    const played_file &file = p.files[p.current];
    const vela::scanned_record &record = file.scan->record();
    if (file.skips_played && record.is_interval() &&
        record.start().tv.tv_sec <= p.last_time.tv.tv_sec)
        return 0;
    if (p.are_named_here && record.count() == p.names.count())
        return give_values(p, item);
    vela::column_names names;
    const int found = find_names(p, record.count(), &names);
    const int changed = found < 0 ? found : change_names(p, names);
    if (changed != 1) return changed == 0 ? give_values(p, item) : changed;
    p.is_record_held = true;
    return give_record(p, KOR_PLAYBACK_SENSORS, item);
}

// Returns 1 for an item, 0 when the record gives none, or a negative code.
int take_record(kor_playback &p, struct kor_playback_item *item) noexcept
{
    switch (p.files[p.current].scan->record().kind()) {
        case record_kind::names:
            return take_names(p, item);
        case record_kind::values:
            return take_values(p, item);
        default:
            return give_record(p, KOR_PLAYBACK_EVENT, item);
    }
}

// --- from file to file ---

// Goes on behind the last file if the recorder did.  Returns 1 when there are
// more files now, 0, or a negative code.
int follow(kor_playback &p) noexcept
{
    if (p.info.is_recorder == 0 || p.files.size() == 0) return 0;
    const vela::buffer_id last = p.files[p.files.size() - 1].id;
    int result = read_state(p);
    const vela::stored_state &s = p.stored.state;
    if (result < 0) return result;
    if (!s.complete || s.open_file().number <= last.number) return 0;
    take_stored_parameters(p);
    const uint32_t before = p.files.size();
    const bool has_fallen_behind = !s.names(last);
    for (uint32_t i = 0; i < s.nfiles(); ++i) {
        const bool is_history = s.files[i].kind == KOR_BUFFER_TYPE_HIST;
        const bool is_newer = s.files[i].number > last.number;
        if (is_history ? !has_fallen_behind : !is_newer) continue;
        // One that is missing has been told already.
        if (p.files.holds(s.files[i])) continue;
        result = add_buffer(p, s.files[i]);
        if (result < 0) return result;
        p.files[p.files.size() - 1].skips_played = is_history;
    }
    return p.files.size() > before;
}

// The names in force hold on from one current buffer to the next.
void go_to_next_file(kor_playback &p) noexcept
{
    p.files[p.current].scan.reset();
    const uint32_t kind = p.files[p.current].kind;
    ++p.current;
    p.are_named_here = p.are_named_here && kind == KOR_BUFFER_TYPE_CURRENT &&
                       p.files[p.current].kind == kind;
}

int give_damage(const kor_playback &p, struct kor_playback_item *item) noexcept
{
    begin_item(p, KOR_PLAYBACK_DAMAGE, item);
    return 1;
}

// At the end of a file.  Returns 1 when playing goes on, 0 at the end of the
// playback, or a negative code.  The last file is asked once more after the
// recorder went on: it may have grown before it was closed.
int take_end(kor_playback &p) noexcept
{
    if (p.current + 1 >= p.files.size()) return follow(p);
    go_to_next_file(p);
    return 1;
}

// What one step came to: an item, or that and why there is none.
enum class stepped { item, none, at_end, failed };

stepped step_of(int result) noexcept
{
    if (result < 0) return stepped::failed;
    return result > 0 ? stepped::item : stepped::none;
}

stepped step_over_end(kor_playback &p, int *error) noexcept
{
    const int more = take_end(p);
    if (more < 0) *error = more;
    if (more <= 0) return more < 0 ? stepped::failed : stepped::at_end;
    return stepped::none;
}

stepped step(kor_playback &p, struct kor_playback_item *item,
             int *error) noexcept
{
    if (p.current >= p.files.size()) return stepped::at_end;
    played_file &file = p.files[p.current];
    if (p.is_record_held) return step_of(*error = give_values(p, item));
    if (!file.scan && !file.is_missing_told) {
        file.is_missing_told = true;
        return step_of(give_damage(p, item));
    }
    if (!file.scan) return step_over_end(p, error);
    switch (file.scan->next()) {
        case scanned::record:
            return step_of(*error = take_record(p, item));
        case scanned::gap:
        case scanned::tail:
            return step_of(give_damage(p, item));
        case scanned::end:
            return step_over_end(p, error);
        default:
            *error = file.scan->error();
            return stepped::failed;
    }
}

}  // namespace

struct kor_playback *kor_playback_open(const char *name)
{
    KOR_ASSERT(name != NULL);
    heap_object<kor_playback> playback = vela::make_heap_object<kor_playback>();
    if (!playback) return vela::fail(KOR_ERR_NO_MEMORY);
    const int result = open_playback(*playback, name);
    if (result < 0) return vela::fail(result);
    return playback.release();
}

int kor_playback_next(struct kor_playback *playback,
                      struct kor_playback_item *item)
{
    KOR_ASSERT(playback != NULL);
    KOR_ASSERT(item != NULL);
    int error = KOR_OK;
    stepped result;
    do {
        result = step(*playback, item, &error);
    } while (result == stepped::none);
    if (result == stepped::item) return 1;
    *item = {};
    return result == stepped::failed ? error : 0;
}

int kor_playback_get_info(const struct kor_playback *playback,
                          struct kor_playback_info *info)
{
    KOR_ASSERT(playback != NULL);
    KOR_ASSERT(info != NULL);
    *info = playback->info;
    info->nfiles = playback->files.size();
    return KOR_OK;
}

int kor_playback_get_file(const struct kor_playback *playback, uint32_t i,
                          struct kor_playback_file *file)
{
    KOR_ASSERT(playback != NULL);
    KOR_ASSERT(file != NULL);
    *file = {};
    if (i >= playback->files.size()) return KOR_ERR_INVALID_DATA;
    const played_file &played = playback->files[i];
    file->filename = played.name.text;
    file->kind = played.kind;
    file->capacity = played.capacity;
    file->size = played.size;
    file->missing = played.missing ? 1 : 0;
    return KOR_OK;
}

void kor_playback_close(struct kor_playback **playback)
{
    KOR_ASSERT(playback != NULL);
    KOR_ASSERT(*playback != NULL);
    heap_object<kor_playback>(*playback).reset();
    *playback = nullptr;
}
