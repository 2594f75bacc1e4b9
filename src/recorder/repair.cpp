#include "recorder/repair.hpp"

#include "error.h"
#include "kor.h"
#include "kor_buffer.h"
#include "recorder/buffer_scan.hpp"
#include "recorder/fold_proof.hpp"
#include "recorder/lost_names.hpp"
#include "recorder/stream_writer.hpp"

namespace {

using vela::column_names;
using vela::folded;
using vela::live_set;
using vela::record_kind;
using vela::recorder_file;
using vela::recorder_findings;
using vela::scanned;

vela::buffer_header header_of(const recorder_findings &f,
                              uint32_t kind) noexcept
{
    const bool is_history = kind == KOR_BUFFER_TYPE_HIST;
    return {kind, is_history ? 2 * f.num_hb_intervals : f.num_cb_samples};
}

// The fold refuses a null time stamp.
struct timestamp usable_time(const struct timestamp &t) noexcept
{
    struct timestamp usable = t;
    usable.version = TIMESTAMP_VERSION;
    if (usable.tv.tv_sec == 0) usable.tv.tv_sec = 1;
    return usable;
}

// The live files in the order in which they are asked for names: the damaged
// one first.
struct neighbours {
    vela::file_name paths[vela::max_live_files];
    vela::names_source sources[vela::max_live_files];
    uint32_t count = 0;

    neighbours(const recorder_findings &f, const live_set &live,
               uint32_t i) noexcept
    {
        add(f, live.files[i]);
        for (uint32_t k = live.nfiles(); k-- > 0;)
            if (k != i) add(f, live.files[k]);
    }

private:
    void add(const recorder_findings &f, const vela::live_file &file) noexcept
    {
        f.base.name_buffer(file.id, &paths[count]);
        sources[count] = {paths[count].text, file.id.kind};
        ++count;
    }
};

// --- folding again ---

class history_writer {
public:
    explicit history_writer(vela::output_file &out) noexcept : out_(out) {}
    vela::stream_writer &streams() noexcept { return out_; }

    // Writes an interval, its names first when they differ from the last.
    int write(vela::fold_pass &pass) noexcept
    {
        const vela::owned<sensor_array_destroy> sensors(
            hist_value_list_get_sensor_copies(&pass.list()));
        column_names names;
        if (!sensors || !names.assign(*sensors)) return KOR_ERR_NO_MEMORY;
        if (!names.equals(last_)) {
            const int named =
                vela::write_names(pass.start(), names, out_.records());
            if (named < 0) return named;
            if (!last_.assign(names)) return KOR_ERR_NO_MEMORY;
        }
        const int written = pass.write_to(out_.records());
        return written < 0 ? written : out_.flush();
    }

private:
    vela::stream_writer out_;
    column_names last_;
};

// Goes through what a source gives, one `use(pass)` for each interval.
// Returns 1, 0 when the source cannot be folded, or a negative code.
template <class Use>
int fold_source(const recorder_findings &f, const recorder_file &source,
                Use use) noexcept
{
    vela::file_name name;
    f.base.name_buffer(source.id, &name);
    const auto pass = vela::make_heap_object<vela::fold_pass>();
    if (!pass) return KOR_ERR_NO_MEMORY;
    int result = pass->open(name.text, f.num_cb_samples / f.num_hb_intervals);
    while (result >= 0) {
        const folded given = pass->next();
        if (given == folded::failed) return pass->error();
        if (given != folded::interval) return given == folded::end ? 1 : 0;
        result = use(*pass);
    }
    return result;
}

// What is left of a history, matched with what its sources give.
class history_match {
public:
    int open(const char *path) noexcept
    {
        const int opened = history_.open(path);
        return opened < 0 ? opened : advance();
    }
    // Counts an interval of the sources; the stored one, if it is the same, is
    // matched.
    int take(const vela::fold_pass &pass) noexcept
    {
        ++count_;
        if (!has_stored_) return KOR_OK;
        const int equal = history_.equals(pass);
        return equal == 1 ? advance() : equal;
    }
    uint32_t count() const noexcept { return count_; }
    bool is_all_matched() const noexcept { return !has_stored_; }

private:
    int advance() noexcept
    {
        const folded stored = history_.next();
        has_stored_ = stored == folded::interval;
        return stored == folded::failed ? history_.error() : KOR_OK;
    }

    vela::interval_reader history_;
    uint32_t count_ = 0;
    bool has_stored_ = false;
};

// Whether the sources of a history give all its intervals, and among them
// those that are left.  Returns 1, 0 or a negative code.
int can_fold_again(const recorder_findings &f, const live_set &live) noexcept
{
    vela::file_name name;
    f.base.name_buffer(live.files[0].id, &name);
    const auto match = vela::make_heap_object<history_match>();
    if (!match) return KOR_ERR_NO_MEMORY;
    const int opened = match->open(name.text);
    if (opened < 0) return opened;
    for (const recorder_file *source : live.sources) {
        const int result = fold_source(f, *source, [&](vela::fold_pass &pass) {
            return match->take(pass);
        });
        if (result != 1) return result;
    }
    return match->count() == 2 * f.num_hb_intervals && match->is_all_matched();
}

int fold_again(const recorder_findings &f, const live_set &live,
               const char *path) noexcept
{
    vela::replacement file(path);
    const auto out = vela::make_heap_object<history_writer>(file);
    if (!out) return KOR_ERR_NO_MEMORY;
    int result = file.begin();
    if (result < 0) return result;
    write_header(header_of(f, KOR_BUFFER_TYPE_HIST), out->streams().records());
    for (const recorder_file *source : live.sources) {
        result = fold_source(f, *source, [&](vela::fold_pass &pass) {
            return out->write(pass);
        });
        if (result < 0) return result;
    }
    return file.commit();
}

// --- padding ---

// Empty values: samples without readings, or intervals without samples.
struct padding {
    uint32_t kind;
    uint32_t count;
    uint32_t columns;
    struct timestamp time;
};

int write_padding(vela::stream_writer &out, const padding &values) noexcept
{
    const auto write_one = values.kind == KOR_BUFFER_TYPE_HIST
                               ? vela::write_empty_interval
                               : vela::write_empty_sample;
    for (uint32_t i = 0; i < values.count; ++i) {
        int result = write_one(values.time, values.columns, out.records());
        if (result >= 0) result = out.flush();
        if (result < 0) return result;
    }
    return KOR_OK;
}

// Finds the columns and the time that a file ends with.
int find_end_of_file(const char *path, padding *values) noexcept
{
    const auto scan = vela::make_heap_object<vela::buffer_scan>();
    if (!scan) return KOR_ERR_NO_MEMORY;
    const int opened = scan->open(path, values->kind);
    if (opened < 0) return opened;
    bool has_values = false;
    for (scanned item = scan->next(); item != scanned::end;
         item = scan->next()) {
        if (item == scanned::failed) return scan->error();
        if (item != scanned::record) continue;
        const bool is_value = scan->record().kind() == record_kind::values;
        if (is_value || !has_values) values->time = scan->record().end();
        has_values = has_values || is_value;
    }
    values->columns = scan->names().count();
    values->time = usable_time(values->time);
    return values->columns > 0 ? KOR_OK : KOR_ERR_INVALID_DATA;
}

int pad_file(const char *path, uint32_t kind, uint32_t count) noexcept
{
    padding values = {kind, count, 0, {}};
    int result = find_end_of_file(path, &values);
    if (result < 0) return result;
    vela::appended_file file;
    result = file.begin(path);
    if (result < 0) return result;
    vela::stream_writer out(file);
    result = write_padding(out, values);
    return result < 0 ? result : file.commit();
}

// --- making a file anew ---

// The names and the time that a closed file without any of its own takes from
// the files around it.
int find_surroundings(const recorder_findings &f, const live_set &live,
                      uint32_t i, column_names *names,
                      struct timestamp *time) noexcept
{
    const neighbours around(f, live, i);
    for (uint32_t k = 0; k < around.count && names->count() == 0; ++k) {
        const int result =
            vela::find_first_names(around.sources[k].path, names);
        if (result < 0) return result;
    }
    if (names->count() == 0 && !names->assign_placeholders(1))
        return KOR_ERR_NO_MEMORY;
    *time = {};
    for (uint32_t k = 0; k < live.nfiles() && time->tv.tv_sec == 0; ++k)
        if (live.files[k].found != nullptr)
            *time = live.files[k].found->summary.last_time;
    *time = usable_time(*time);
    return KOR_OK;
}

int create_file(const recorder_findings &f, const live_set &live, uint32_t i,
                const char *path, uint32_t npadding) noexcept
{
    const uint32_t kind = live.files[i].id.kind;
    column_names names;
    struct timestamp time = {};
    int result = KOR_OK;
    if (npadding > 0) result = find_surroundings(f, live, i, &names, &time);
    if (result < 0) return result;
    vela::replacement file(path);
    result = file.begin();
    if (result < 0) return result;
    vela::stream_writer out(file);
    write_header(header_of(f, kind), out.records());
    if (npadding > 0) vela::write_names(time, names, out.records());
    result = write_padding(out, {kind, npadding, names.count(), time});
    if (result >= 0) result = out.flush();
    return result < 0 ? result : file.commit();
}

// --- rewriting ---

// Copies the records of a damaged file, one stream for each sample, interval
// or event, with names in front of whatever lacks them.  Names wait for what
// they name: of two in a row only the last counts.
class rewriter {
public:
    rewriter(const recorder_findings &f, const live_set &live, uint32_t i,
             vela::output_file &file) noexcept
        : around_(f, live, i),
          header_(header_of(f, live.files[i].id.kind)),
          out_(file)
    {
    }

    int copy() noexcept
    {
        const int opened = scan_.open(around_.sources[0].path, header_.kind);
        if (opened < 0) return opened;
        vela::write_header(header_, out_.records());
        for (scanned item = scan_.next(); item != scanned::end;
             item = scan_.next()) {
            if (item == scanned::failed) return scan_.error();
            const int copied = item == scanned::record ? copy_record() : KOR_OK;
            if (copied < 0) return copied;
        }
        // What fills the file up needs names, too.
        const int named = names_.count() == 0 ? supply_any_names() : KOR_OK;
        if (named < 0) return named;
        copy(waiting_names_);
        return out_.flush();
    }

private:
    int copy_record() noexcept
    {
        const vela::scanned_record &record = scan_.record();
        const record_kind kind = record.kind();
        if (kind == record_kind::names) return keep_names();
        int result = KOR_OK;
        if (kind == record_kind::values && record.count() != names_.count())
            result = supply_names(record.count());
        else if (kind == record_kind::event && names_.count() == 0)
            result = supply_any_names();
        else
            copy(waiting_names_);
        if (result < 0) return result;
        waiting_names_.clear();
        copy(scan_.bytes());
        return out_.flush();
    }

    void copy(const vela::stored_bytes &bytes) noexcept
    {
        if (bytes.empty()) return;
        writer_write_bytes(out_.records(), bytes.begin(),
                           static_cast<uint32_t>(bytes.size()));
    }

    // Whether names are some that the file cannot have.  Returns 1, 0 or a
    // negative code.
    int are_unfit(const column_names &names) const noexcept
    {
        const bool is_history = header_.kind == KOR_BUFFER_TYPE_HIST;
        return is_history ? names.has_repetition() : 0;
    }

    // Those that the file cannot have are left out.
    int keep_names() noexcept
    {
        waiting_names_.clear();
        names_.clear();
        const int unfit = are_unfit(scan_.names());
        if (unfit != 0) return unfit < 0 ? unfit : KOR_OK;
        const bool kept =
            names_.assign(scan_.names()) &&
            waiting_names_.append(scan_.bytes().begin(), scan_.bytes().size());
        return kept ? KOR_OK : KOR_ERR_NO_MEMORY;
    }

    int supply_names(uint32_t count) noexcept
    {
        const int result = vela::find_lost_names(around_.sources, around_.count,
                                                 header_.kind, count, &names_);
        if (result < 0) return result;
        return vela::write_names(scan_.record().start(), names_,
                                 out_.records());
    }

    // An event needs no certain names, but a file must begin with some.
    int supply_any_names() noexcept
    {
        for (uint32_t k = 0; k < around_.count && names_.count() == 0; ++k) {
            if (around_.sources[k].kind != header_.kind) continue;
            const int result =
                vela::find_first_names(around_.sources[k].path, &names_);
            if (result == KOR_ERR_NO_MEMORY) return result;
            const int unfit = are_unfit(names_);
            if (unfit < 0) return unfit;
            if (unfit == 1) names_.clear();
        }
        if (names_.count() == 0 && !names_.assign_placeholders(1))
            return KOR_ERR_NO_MEMORY;
        return vela::write_names(scan_.record().start(), names_,
                                 out_.records());
    }

    neighbours around_;
    vela::buffer_header header_;
    vela::stream_writer out_;
    vela::buffer_scan scan_;
    column_names names_;
    vela::stored_bytes waiting_names_;
};

int rewrite_file(const recorder_findings &f, const live_set &live, uint32_t i,
                 const char *path) noexcept
{
    vela::replacement file(path);
    const auto copy = vela::make_heap_object<rewriter>(f, live, i, file);
    if (!copy) return KOR_ERR_NO_MEMORY;
    int result = file.begin();
    if (result >= 0) result = copy->copy();
    return result < 0 ? result : file.commit();
}

bool is_damaged(const vela::scan_summary &s) noexcept
{
    return s.gaps > 0 || !s.names_fit || s.header.kind == 0 ||
           (holds_records(s) &&
            s.first_record != static_cast<uint32_t>(record_kind::names));
}

}  // namespace

int vela::plan_repair(const recorder_findings &f, const live_set &live,
                      uint32_t i, file_repair *repair) noexcept
{
    const live_file &file = live.files[i];
    const bool is_open = i + 1 == live.nfiles();
    *repair = {};
    if (i == 0 && live.fold_again) {
        const int possible = can_fold_again(f, live);
        repair->fold_again = possible == 1;
        if (possible != 0) return possible < 0 ? possible : KOR_OK;
    }
    const scan_summary none = {};
    const scan_summary &s = file.found != nullptr ? file.found->summary : none;
    const bool is_lost = is_open ? s.header.kind == 0 : true;
    repair->create = !holds_records(s) && is_lost;
    repair->rewrite = !repair->create && is_damaged(s);
    repair->cut = !repair->create && !repair->rewrite && s.bytes_torn > 0;
    if (!is_open)
        repair->padding = header_of(f, file.id.kind).capacity - values_of(s);
    return KOR_OK;
}

int vela::apply_repair(const recorder_findings &f, const live_set &live,
                       uint32_t i, const file_repair &repair) noexcept
{
    file_name name;
    const buffer_id &id = live.files[i].id;
    f.base.name_buffer(id, &name);
    if (repair.fold_again) return fold_again(f, live, name.text);
    if (repair.create)
        return create_file(f, live, i, name.text, repair.padding);
    int result = KOR_OK;
    if (repair.rewrite) result = rewrite_file(f, live, i, name.text);
    if (repair.cut)
        result = cut_file(name.text, live.files[i].found->summary.good_end);
    if (result >= 0 && repair.padding > 0)
        result = pad_file(name.text, id.kind, repair.padding);
    return result;
}
