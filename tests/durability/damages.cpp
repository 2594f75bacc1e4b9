// Any byte of a closed recorder may change, and any file may go missing.
#include <algorithm>
#include <map>

#include "common/lifecycle.hpp"
#include "error.h"
#include "kor_recover.h"
#include "tally.hpp"
#include "trials.hpp"

namespace durability {
namespace {

constexpr size_t block_size = 4096;
constexpr size_t one_recorded_on_in = 40;

struct damage {
    std::string name;
    extent where;         // of the bytes that are not what they were
    std::string content;  // of the whole file
    bool is_missing = false;
};

// --- what must come back ---

struct original {
    const item *it;
    bool is_touched;
    bool has_names;  // the record with its names is not touched
};

// A record is known by what it is and by its times.
using item_key = std::pair<item_kind, std::pair<uint32_t, uint32_t>>;

item_key key_of(const item &it)
{
    return {it.kind, {it.start, it.end}};
}

bool same_reading(float a, float b)
{
    return (a != a && b != b) || a == b;
}

bool same_content(const item &a, const item &b)
{
    return a.event_type == b.event_type && a.text == b.text &&
           a.events == b.events && a.summaries == b.summaries &&
           std::equal(a.values.begin(), a.values.end(), b.values.begin(),
                      b.values.end(), same_reading);
}

bool same_names(const item &a, const item &b)
{
    return a.kind == item_kind::event || (b.names && *a.names == *b.names);
}

// What recovery puts in the place of lost samples and intervals.
bool is_padding(const item &it)
{
    if (it.kind == item_kind::interval)
        return std::all_of(it.summaries.begin(), it.summaries.end(),
                           [](const summary &s) { return s.n == 0; });
    return it.kind == item_kind::sample &&
           std::all_of(it.values.begin(), it.values.end(),
                       [](float v) { return v != v; });
}

// A recorder as it was closed: its files and what they hold.
struct image {
    disk on;
    script plan;
    std::vector<std::string> files;
    std::map<std::string, stored_buffer> buffers;
};

std::vector<original> originals_of(const image &from, const damage &d)
{
    std::vector<original> all;
    for (const std::string &name : from.files)
        for (const item &it : from.buffers.at(name).items) {
            const bool is_here = name == d.name;
            all.push_back({&it, is_here && it.stream.touches(d.where),
                           !is_here || !it.names_stream.touches(d.where)});
        }
    return all;
}

struct findings {
    uint64_t lost = 0;
    uint64_t doubled = 0;
    uint64_t misnamed = 0;
    uint64_t missing = 0;  // touched, and not there any more
};

findings compare_with(const std::vector<original> &all,
                      const std::vector<item> &found)
{
    std::multimap<item_key, const item *> rest;
    for (const item &it : found)
        if (!is_padding(it)) rest.emplace(key_of(it), &it);
    findings f;
    for (const original &o : all) {
        const auto at = rest.find(key_of(*o.it));
        if (at == rest.end()) {
            ++(o.is_touched ? f.missing : f.lost);
            continue;
        }
        ++counts().compared;
        const bool is_right = same_content(*o.it, *at->second) &&
                              (!o.has_names || same_names(*o.it, *at->second));
        f.misnamed += !is_right;
        rest.erase(at);
    }
    f.doubled = rest.size();
    return f;
}

// --- the report ---

const struct kor_recovery_file *entry_of(
    const struct kor_recovery_report &report, const std::string &name)
{
    for (uint32_t i = 0; i < report.nfiles; ++i)
        if (report.files[i].filename == name) return &report.files[i];
    return nullptr;
}

// Whether a file that lost records is named, and what it lost.
bool names_the_loss(const struct kor_recovery_report &report,
                    const std::string &name)
{
    const struct kor_recovery_file *const entry = entry_of(report, name);
    if (entry == nullptr) return false;
    return entry->gaps > 0 || entry->bytes_cut > 0 ||
           entry->records_padded > 0 || entry->action == KOR_RECOVERY_CREATED ||
           entry->action == KOR_RECOVERY_REMOVED ||
           entry->action == KOR_RECOVERY_MISSING;
}

// Whether nothing shows that there was more: a file that ends with a whole
// stream, and is either the open one or has lost events only.
bool is_invisible(const image &from, const damage &d)
{
    const bool is_open = d.name == from.files.back();
    const auto &before = from.buffers.at(d.name);
    const stored_buffer after = read_buffer(d.content);
    return !d.is_missing && after.good_end == d.content.size() &&
           after.kind != 0 && (is_open || after.values() == before.values());
}

// The records that the report counts in a live file are there.
bool counts_are_right(const struct kor_recovery_report &report, const disk &d)
{
    const playback p = play(d);
    for (const std::string &name : p.state.files) {
        const struct kor_recovery_file *const entry = entry_of(report, name);
        const auto items = read_buffer(d.content(name)).items;
        const auto padded = static_cast<uint32_t>(
            std::count_if(items.begin(), items.end(), is_padding));
        const auto count = static_cast<uint32_t>(items.size());
        if (entry == nullptr || entry->records_padded != padded ||
            entry->records_kept + entry->records_padded != count)
            return false;
    }
    return true;
}

// --- one damage ---

void check_findings(const findings &f, const struct kor_recovery_report *report,
                    const image &from, const damage &d)
{
    counts().lost += f.lost;
    counts().doubled += f.doubled;
    counts().misnamed += f.misnamed;
    if (f.lost + f.doubled + f.misnamed > 0)
        report_fault(std::to_string(f.lost) + " untouched records lost, " +
                     std::to_string(f.doubled) + " doubled, " +
                     std::to_string(f.misnamed) + " misnamed");
    if (f.missing > 0 && report != nullptr &&
        !names_the_loss(*report, d.name) && !is_invisible(from, d))
        report_fault("the report does not name what was lost of " + d.name +
                     " by damage from byte " + std::to_string(d.where.from) +
                     " to " + std::to_string(d.where.to));
}

int recover_with_report(disk *d, const script &s,
                        vela::owned<kor_recovery_report_destroy> *report)
{
    const mounted m(*d);
    struct kor_recovery_report *made = nullptr;
    const int result = kor_recover_report(base_name.c_str(), s.size.samples,
                                          s.size.intervals, 0, &made);
    report->reset(made);
    return result;
}

void check_again(disk *d, const script &s)
{
    const uint64_t changes = d->changes();
    const mounted m(*d);
    const int again =
        kor_recover_with(base_name.c_str(), s.size.samples, s.size.intervals);
    if (again > 0 || d->changes() != changes)
        report_fault("a second recovery changes something");
}

void check_recording_on(disk *d, const script &s, uint64_t seed)
{
    const mounted m(*d);
    ledger l;
    recording r(*d, &l, s, seed);
    if (!r.resume()) {
        report_fault("cannot be resumed");
        return;
    }
    r.record(2 * s.size.samples + 1);
    r.close();
}

void try_damage(const image &from, const damage &dm, chance *random)
{
    ++counts().damages;
    disk d = from.on;
    if (dm.is_missing)
        d.remove(dm.name);
    else
        d.damage(dm.name, dm.content);
    keep_some(d);
    vela::owned<kor_recovery_report_destroy> report;
    const int result = recover_with_report(&d, from.plan, &report);
    if (result < 0 && result != KOR_ERR_END_OF_STREAM)
        report_fault("recovery returns " + std::to_string(result));
    const playback p = play(d);
    if (result >= 0 && !p.problem.empty()) report_fault(p.problem);
    const bool has_nothing = result == KOR_ERR_END_OF_STREAM;
    const findings f = compare_with(
        originals_of(from, dm), has_nothing ? std::vector<item>() : p.items);
    check_findings(f, report.get(), from, dm);
    if (report && !counts_are_right(*report, d))
        report_fault("the report counts other records than there are");
    check_again(&d, from.plan);
    if (random->one_in(one_recorded_on_in))
        check_recording_on(&d, from.plan, random->next());
}

// --- all of them ---

image image_of(const script &s, uint32_t samples)
{
    image made = {{}, s, {}, {}};
    ledger l;
    {
        const mounted m(made.on);
        recording r(made.on, &l, s, s.seed);
        r.create();
        r.record(samples);
        r.close();
    }
    made.files = play(made.on).state.files;
    for (const std::string &name : made.files)
        made.buffers[name] = read_buffer(made.on.content(name));
    return made;
}

void try_flips(const image &from, const std::string &name, chance *random)
{
    const std::string &content = from.on.content(name);
    for (size_t i = 0; i < content.size(); ++i) {
        const auto any = static_cast<char>(1 + random->below(255));
        for (const char mask : {'\x01', '\x20', '\x80', any}) {
            damage d = {name, {i, i + 1}, content};
            d.content[i] = static_cast<char>(d.content[i] ^ mask);
            try_damage(from, d, random);
        }
    }
}

void try_cuts(const image &from, const std::string &name, size_t step,
              chance *random)
{
    const std::string &content = from.on.content(name);
    for (size_t i = 0; i < content.size(); i += step)
        try_damage(from, {name, {i, content.size()}, content.substr(0, i)},
                   random);
}

void try_zeroed_blocks(const image &from, const std::string &name,
                       chance *random)
{
    const std::string &content = from.on.content(name);
    for (size_t i = 0; i < content.size(); i += block_size) {
        const size_t size = std::min(block_size, content.size() - i);
        damage d = {name, {i, i + size}, content};
        d.content.replace(i, size, size, '\0');
        try_damage(from, d, random);
    }
}

// A wide recorder has files of many blocks, too long to flip every byte of.
void try_image(const image &from, chance *random)
{
    constexpr size_t long_step = 97;
    std::vector<std::string> names = from.files;
    names.push_back(state_name);
    for (const std::string &name : names) {
        const std::string &content = from.on.content(name);
        try_damage(from, {name, {0, content.size()}, "", true}, random);
        try_zeroed_blocks(from, name, random);
        try_cuts(from, name, from.plan.is_wide ? long_step : 1, random);
        if (!from.plan.is_wide) try_flips(from, name, random);
    }
}

}  // namespace

void try_damages(uint64_t seed)
{
    script s(seed);
    if (s.is_wide) s.size = {8, 4};
    chance random(seed);
    for (uint32_t state = KOR_ZCF_STATE_C00; state <= KOR_ZCF_STATE_HCC;
         ++state) {
        set_scenario("damage " + std::to_string(seed) + ", state " +
                     std::to_string(state));
        const auto more =
            static_cast<uint32_t>(1 + random.below(s.size.samples));
        const image from = image_of(s, (state - 1) * s.size.samples + more);
        if (play(from.on).state.state != state)
            report_fault("the script has not led to this state");
        try_image(from, &random);
    }
    ++counts().scripts;
}

}  // namespace durability
