#include "recording.hpp"

#include <algorithm>

#include "calls.hpp"
#include "common/lifecycle.hpp"
#include "kor_cb_record_event.h"
#include "kor_recover.h"
#include "matrix.h"
#include "sensor_array.h"
#include "tally.hpp"
#include "telemetry_matrix.h"
#include "timestamp_array.h"

namespace durability {
namespace {

struct timestamp stamp_of(uint32_t id)
{
    struct timestamp t = {};
    t.version = TIMESTAMP_VERSION;
    t.tv.tv_sec = static_cast<int32_t>(time_of(id));
    return t;
}

// The vector of a set; each is made once and filled anew for every sample.
struct matrix *vector_of(size_t set)
{
    static struct matrix *vectors[number_of_sets];
    if (vectors[set] != nullptr) return vectors[set];
    std::vector<const char *> names;
    for (const std::string &name : names_of(set)) names.push_back(name.c_str());
    const auto count = static_cast<uint32_t>(names.size());
    const struct timestamp t = stamp_of(1);
    vectors[set] = telemetry_matrix_create_vector(
        matrix_create(1, count),
        sensor_array_create_from_names(names.data(), count), &t);
    return vectors[set];
}

struct matrix *fill_vector(uint32_t id, size_t set)
{
    struct matrix *const vector = vector_of(set);
    const std::vector<uint32_t> &sensors = sensors_of(set);
    for (uint32_t i = 0; i < sensors.size(); ++i)
        matrix_set(vector, 0, i, static_cast<double>(reading(id, sensors[i])));
    const struct timestamp t = stamp_of(id);
    telemetry_matrix_update_vector_timestamp(vector, &t);
    return vector;
}

}  // namespace

script::script(uint64_t number) : seed(number)
{
    constexpr parameters sizes[] = {{2, 2}, {4, 2}, {4, 4},
                                    {6, 2}, {8, 4}, {12, 6}};
    chance random(number);
    is_wide = number % 32 == 7;
    size = is_wide ? sizes[random.below(2)] : sizes[random.below(6)];
    // Through all states, and two or three rotations of the last one.
    const auto rotations = static_cast<uint32_t>(5 + random.below(2));
    samples = rotations * size.samples + 1;
    sync_one_in = 12;
}

recording::recording(const disk &d, ledger *l, const script &s, uint64_t seed)
    : disk_(d),
      ledger_(*l),
      script_(s),
      random_(seed),
      set_(s.is_wide ? wide_set : 0)
{
}

bool recording::create()
{
    kor_ = kor_create(base_name.c_str(), script_.size.samples,
                      script_.size.intervals);
    return is_open();
}

bool recording::resume()
{
    kor_ = kor_resume(base_name.c_str(), script_.size.samples,
                      script_.size.intervals);
    return is_open();
}

bool recording::open()
{
    kor_ = kor_open(base_name.c_str());
    if (is_open() && kor_get_restore_result(kor_) <= 0) close();
    return is_open();
}

void recording::close()
{
    if (is_open()) kor_close(&kor_);
}

int recording::sample()
{
    if (random_.one_in(9))
        set_ = random_.below(script_.is_wide ? number_of_sets
                                             : number_of_narrow_sets);
    struct matrix *const vector = fill_vector(ledger_.last() + 1, set_);
    ledger_.begin_sample(set_);
    const int result = kor_write_telemetry_vector(kor_, vector);
    ledger_.settle(result == 0 ? fate::kept : fate::refused);
    taken_ += result == 0;
    return result;
}

int recording::event()
{
    const auto type =
        static_cast<uint32_t>(1 + random_.below(number_of_event_types));
    const uint32_t id = ledger_.last() + 1;
    const struct timestamp t = stamp_of(id);
    const vela::owned<kor_cb_record_event_destroy> event(
        kor_cb_record_event_create(type, &t, text_of_event(id).c_str()));
    ledger_.begin_event(type);
    const int result = kor_write_event(kor_, event.get());
    ledger_.settle(result == 0 ? fate::kept : fate::refused,
                   result == 0 && fills_its_file());
    return result;
}

// Whether the file that was written last has all the samples it has room for.
bool recording::fills_its_file() const
{
    const stored_buffer b = read_buffer(disk_.content(last_written()));
    const auto samples = std::count_if(
        b.items.begin(), b.items.end(),
        [](const item &it) { return it.kind == item_kind::sample; });
    return static_cast<uint32_t>(samples) == script_.size.samples;
}

// What cannot go on by itself is restarted.
void recording::reopen_if_stuck(int result)
{
    if (result >= 0) return;
    close();
    resume();
}

int recording::sync()
{
    const int result = kor_sync(kor_);
    if (result == 0) synced_ = ledger_.last();
    return result;
}

void recording::step()
{
    if (!is_open() && !resume()) return;
    const size_t what = random_.below(40);
    int result = 0;
    if (what == 0) {
        close();
        resume();
    } else if (what < 7) {
        result = event();
    } else if (random_.one_in(script_.sync_one_in)) {
        sync();
    } else {
        result = sample();
    }
    if (result < 0 && random_.one_in(2)) reopen_if_stuck(result);
}

void recording::record(uint32_t samples)
{
    const uint32_t until = taken_ + samples;
    const uint32_t most_steps = 10 * samples + 40;
    for (uint32_t i = 0; taken_ < until && i < most_steps; ++i) step();
    if (taken_ < until) report_fault("recording does not go on");
}

// --- looking at the disk ---

void settle_by_disk(const disk &d, const script &s, ledger *l)
{
    if (!l->is_pending()) return;
    const uint32_t id = l->last();
    const item_kind kind =
        l->at(id).is_event ? item_kind::event : item_kind::sample;
    for (const std::string &name : d.names()) {
        const stored_buffer b = read_buffer(d.content(name));
        uint32_t samples = 0;
        for (const item &it : b.items) {
            samples += it.kind == item_kind::sample;
            if (it.kind != kind || it.start != time_of(id)) continue;
            // Only an event can be behind the last sample that has room.
            l->settle(fate::kept,
                      l->at(id).is_event && samples == s.size.samples);
            return;
        }
    }
    l->settle(fate::refused);
}

namespace {

// What is wrong with a live file, if anything.
std::string problem_of(const stored_state &s, size_t i, const std::string &name,
                       const std::string &content, const stored_buffer &b)
{
    const bool is_history = s.state == KOR_ZCF_STATE_HCC && i == 0;
    const bool is_open = i + 1 == s.files.size();
    const uint32_t capacity = is_history ? 2 * s.intervals : s.samples;
    if (b.kind != (is_history ? history_kind : current_kind))
        return name + " is of another kind";
    if (b.capacity != capacity) return name + " has another capacity";
    if (b.good_end != content.size()) return name + " has an unreadable end";
    if (b.values() > capacity) return name + " holds more than its capacity";
    if (!is_open && b.values() != capacity) return name + " is not full";
    for (const item &it : b.items)
        if (it.names == nullptr && it.kind != item_kind::event)
            return name + " begins without names";
    return "";
}

}  // namespace

playback play(const disk &d)
{
    playback p;
    p.has_state = d.find(state_name) != disk::no_file;
    if (!p.has_state) return p;
    p.state = read_state(d.content(state_name));
    if (!p.state.is_whole) p.problem = "the state file is not whole";
    for (size_t i = 0; i < p.state.files.size(); ++i) {
        const std::string &name = p.state.files[i];
        const std::string &content = d.content(name);
        stored_buffer b = read_buffer(content);
        if (p.problem.empty())
            p.problem = problem_of(p.state, i, name, content, b);
        std::move(b.items.begin(), b.items.end(), std::back_inserter(p.items));
    }
    return p;
}

namespace {

bool is_orphan(const std::string &name)
{
    return name.find(".orphan") != std::string::npos;
}

// A file that should not be there any more; "" when there is none.
std::string find_leftover(const disk &d, const stored_state &s,
                          leftovers allowed)
{
    for (const std::string &name : d.names()) {
        const bool is_live =
            std::find(s.files.begin(), s.files.end(), name) != s.files.end();
        const bool is_allowed =
            allowed == leftovers::set_aside && is_orphan(name);
        if (!is_live && name != state_name && !is_allowed) return name;
    }
    return "";
}

}  // namespace

bool audit(const disk &d, const ledger &l, leftovers allowed)
{
    playback p = play(d);
    const std::string left = find_leftover(d, p.state, allowed);
    if (p.problem.empty() && !left.empty()) p.problem = left + " is left over";
    if (!p.problem.empty()) report_fault(p.problem);
    const verdict v = compare(p.items, l);
    tally &t = counts();
    t.compared += v.compared;
    t.lost += v.lost;
    t.doubled += v.doubled;
    t.misnamed += v.misnamed;
    if (!v.is_good()) report(v.problem);
    return v.is_good() && p.problem.empty();
}

}  // namespace durability
