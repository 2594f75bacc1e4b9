// check.cpp: kor check: verifies the files, changing nothing.
#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "error.h"
#include "kor.h"
#include "kor_buffer.h"
#include "messages.hpp"
#include "output.hpp"
#include "playback.hpp"
#include "recorder_files.hpp"
#include "recovery.hpp"
#include "summary.hpp"
#include "verbs.hpp"

namespace tool {

namespace {

using json = nlohmann::ordered_json;

struct finding {
    std::string filename;
    std::optional<uint64_t> offset;
    std::string text;
};

// Compares what the files hold with what they and the state file promise.
class examination {
public:
    explicit examination(const check_options &o)
        : name_(o.name), source_(o.name), all_(summarise(source_))
    {
        if (all_.lost_state) {
            add(name_ + ".state", "missing, damaged or behind its files");
        }
        for (const damaged_place &d : all_.damage) check_place(d);
        if (all_.ndamage > all_.damage.size()) {
            add(name_, fmt::format("{} more damaged places",
                                   all_.ndamage - all_.damage.size()));
        }
        for (size_t i = 0; i < all_.files.size(); i++) check_file(i);
        if (all_.info.is_recorder) check_recorder();
    }

    const std::vector<finding> &findings() const { return findings_; }
    const summary &all() const { return all_; }

private:
    void add(const std::string &filename, const std::string &text)
    {
        findings_.push_back({filename, std::nullopt, text});
    }

    void check_place(const damaged_place &d)
    {
        if (d.length == 0) {
            add(d.filename, "missing");
            return;
        }
        findings_.push_back(
            {d.filename, d.offset,
             fmt::format("{} bytes that hold no readable record", d.length)});
    }

    bool is_open_buffer(size_t i) const
    {
        return i + 1 == all_.files.size() &&
               all_.files[i].kind != KOR_BUFFER_TYPE_HIST;
    }

    void check_file(size_t i)
    {
        const file_summary &f = all_.files[i];
        // The header of the open buffer comes with its first record.
        const bool fresh = is_open_buffer(i) && f.size == 0;
        if (f.missing || (fresh && all_.info.is_recorder)) return;
        if (f.kind == 0 || f.capacity == 0) {
            add(f.filename, "no readable header");
            return;
        }
        if (f.capacity % 2 != 0) add(f.filename, "a capacity that is odd");
        const uint64_t n = f.samples + f.intervals;
        if (n > f.capacity) {
            add(f.filename,
                fmt::format("{} records, and room for only {}", n, f.capacity));
        }
        if (all_.info.is_recorder && !is_open_buffer(i)) check_closed(f, n);
    }

    void check_closed(const file_summary &f, uint64_t n)
    {
        if (n < f.capacity) {
            add(f.filename,
                fmt::format("closed with {} of {} records", n, f.capacity));
        }
    }

    void check_recorder();
    void check_set();
    void check_capacities();
    void check_recovery();
    bool differs_in_names_only(const kor_recovery_report &r) const;
    uint32_t number_of(const std::string &filename) const;

    std::string name_;
    playback source_;
    summary all_;
    std::vector<finding> findings_;
};

// The number in BASE.NUMBER.cbuf.z; 0 when there is none.
uint32_t examination::number_of(const std::string &filename) const
{
    constexpr std::string_view suffix = ".cbuf.z";  // as long as ".hbuf.z"
    if (filename.size() < suffix.size()) return 0;
    const size_t end = filename.size() - suffix.size();
    const size_t dot = end > 0 ? filename.rfind('.', end - 1) : end;
    uint32_t number = 0;
    if (dot == std::string::npos) return 0;
    const char *to = filename.data() + end;
    const auto [rest, error] =
        std::from_chars(filename.data() + dot + 1, to, number);
    return error == std::errc() && rest == to ? number : 0;
}

void examination::check_recorder()
{
    if (!all_.lost_state) {
        check_set();
        check_capacities();
    }
    check_recovery();
}

// The files a state has, and their numbers in the order of their making.
void examination::check_set()
{
    const bool history = all_.info.state == KOR_ZCF_STATE_HCC;
    const size_t expected = history ? 3 : all_.info.state;
    const bool missing = std::any_of(all_.files.begin(), all_.files.end(),
                                     [](const auto &f) { return f.missing; });
    if (!missing && all_.files.size() != expected) {
        add(name_,
            fmt::format("{} files, where state {} has {}", all_.files.size(),
                        state_name(all_.info.state), expected));
    }
    std::set<uint32_t> numbers;
    for (const file_summary &f : all_.files) {
        const uint32_t number = number_of(f.filename);
        if (number == 0 || !numbers.insert(number).second) {
            add(f.filename, "no file number of its own");
        } else if (number >= all_.info.next_file_number) {
            add(f.filename,
                fmt::format("file number not below the next one, {}",
                            all_.info.next_file_number));
        }
    }
}

void examination::check_capacities()
{
    for (const file_summary &f : all_.files) {
        const bool history = f.kind == KOR_BUFFER_TYPE_HIST;
        const uint64_t promised = history ? 2ull * all_.info.num_hb_intervals
                                          : all_.info.num_cb_samples;
        if (f.capacity == 0 || f.capacity == promised) continue;
        add(f.filename, fmt::format("a capacity of {}, where the state file "
                                    "says {}",
                                    f.capacity, promised));
    }
}

// A recorder that was moved or copied is sound, but cannot be opened here.
bool examination::differs_in_names_only(const kor_recovery_report &r) const
{
    const kor_playback_info &stored = all_.info;
    return r.state == stored.state &&
           r.num_cb_samples == stored.num_cb_samples &&
           r.num_hb_intervals == stored.num_hb_intervals &&
           r.next_file_number == stored.next_file_number &&
           r.nfiles == stored.nfiles;
}

// Recovery knows best what it would not leave as it is.
void examination::check_recovery()
{
    const recovery r = recover(name_, 0, 0, recovery_mode::dry_run);
    if (!r.report) {
        const bool empty = r.code == KOR_ERR_END_OF_STREAM;
        if (!empty) {
            add(name_, "cannot be recovered: " +
                           explain_failure(name_, r.code, file_use::reading));
        }
        return;
    }
    if (r.code == KOR_RECOVER_UNCHANGED) return;
    if (r.report->state_file_rebuilt && !all_.lost_state) {
        add(name_ + ".state", differs_in_names_only(*r.report)
                                  ? "names the files as they are named "
                                    "elsewhere; recovery would rewrite it"
                                  : "does not agree with the files");
    }
    for (uint32_t i = 0; i < r.report->nfiles; i++) {
        const kor_recovery_file &f = r.report->files[i];
        if (f.action == KOR_RECOVERY_KEPT) continue;
        add(f.filename, "recovery would have it " + describe(f));
    }
}

json to_json(const check_options &o, const examination &e)
{
    json j = {{"name", o.name}, {"clean", e.findings().empty()}};
    j["findings"] = json::array();
    for (const finding &f : e.findings()) {
        j["findings"].push_back(
            {{"filename", f.filename},
             {"offset", f.offset ? json(*f.offset) : json()},
             {"text", f.text}});
    }
    return j;
}

void print_text(output &out, const check_options &o, const examination &e)
{
    for (const finding &f : e.findings()) {
        const std::string place = f.offset ? fmt::format(":{}", *f.offset) : "";
        out.write(
            fmt::format("{}{}: {}\n", printable(f.filename), place, f.text));
    }
    if (!e.findings().empty()) return;
    uint64_t samples = 0;
    uint64_t intervals = 0;
    for (const file_summary &f : e.all().files) {
        samples += f.samples;
        intervals += f.intervals;
    }
    out.write(fmt::format(
        "{}: {} files, {} intervals and {} samples are in "
        "order\n",
        printable(o.name), e.all().files.size(), intervals, samples));
}

}  // namespace

exit_status run_check(const check_options &o)
{
    const examination e(o);
    output out("");
    if (o.as_json) {
        constexpr int indent = 2;
        out.write(to_json(o, e).dump(indent, ' ', false,
                                     json::error_handler_t::replace) +
                  '\n');
    } else {
        print_text(out, o, e);
    }
    out.finish();
    return e.findings().empty() ? exit_status::done : exit_status::incomplete;
}

}  // namespace tool
