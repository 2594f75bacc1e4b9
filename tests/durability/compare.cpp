// The items of a recorder against the ledger.
#include <algorithm>
#include <cmath>
#include <set>

#include "ledger.hpp"

namespace durability {
namespace {

// Sums beyond it are rounded.
constexpr double largest_exact_sum = 1 << 24;
// Intervals beyond this length have their extremes compared no longer.
constexpr uint32_t longest_searched = 2000;

bool same(float a, float b)
{
    return std::isnan(a) ? std::isnan(b) : a == b;
}

bool is_empty(const item &it)
{
    if (it.kind == item_kind::sample)
        return std::all_of(it.values.begin(), it.values.end(),
                           [](float v) { return std::isnan(v); });
    return std::all_of(it.summaries.begin(), it.summaries.end(),
                       [](const summary &s) { return s.n == 0; });
}

class comparison {
public:
    explicit comparison(const ledger &l) : l_(l) {}

    void add(const item &it)
    {
        if (it.kind == item_kind::event)
            event(it);
        else if (it.kind == item_kind::interval)
            interval(it);
        else if (!is_empty(it))
            sample(it);
    }

    verdict finish()
    {
        skip_to(l_.last() + 1);
        compare_folded_events();
        compare_later_events();
        return v_;
    }

private:
    void note(uint64_t *counter, uint64_t count, const std::string &what,
              uint32_t id)
    {
        if (count == 0) return;
        *counter += count;
        if (v_.problem.empty())
            v_.problem = what + " at " + std::to_string(id) + " of " +
                         std::to_string(l_.last());
    }

    bool is_possible(uint32_t id, bool is_event) const
    {
        return l_.holds(id) && l_.at(id).is_event == is_event &&
               l_.at(id).what != fate::refused;
    }

    // Samples between the last one seen and `id` are not there.
    void skip_to(uint32_t id)
    {
        if (id <= last_ + 1) return;
        note(&v_.lost, l_.kept_in(last_ + 1, id - 1).samples, "samples lost",
             last_ + 1);
    }

    void sample(const item &it)
    {
        const uint32_t id = id_of_time(it.start);
        ++v_.compared;
        if (!is_possible(id, false) || id <= last_) {
            note(&v_.doubled, 1, "sample doubled or never recorded", id);
            return;
        }
        skip_to(id);
        last_ = id;
        if (!l_.is_certain()) seen_.insert(id);
        const entry &e = l_.at(id);
        const auto &sensors = sensors_of(e.set);
        bool agrees = it.names != nullptr && *it.names == names_of(e.set) &&
                      it.values.size() == sensors.size();
        for (size_t i = 0; agrees && i < sensors.size(); ++i)
            agrees = same(it.values[i], reading(id, sensors[i]));
        if (!agrees && may_lack_names(id)) return;
        note(&v_.misnamed, !agrees, "sample with other names or readings", id);
    }

    // Where the power was cut, a sample may be there and the one that brought
    // its names not.  Nothing tells its names then.
    bool may_lack_names(uint32_t id) const
    {
        if (l_.at(id).what != fate::maybe) return false;
        for (uint32_t i = id; i > 0; --i) {
            const entry &e = l_.at(i);
            if (e.is_event || e.what == fate::refused) continue;
            if (e.set != l_.at(id).set) return false;
            if (seen_.count(i) == 0 && i != id) return true;
        }
        return false;
    }

    // --- intervals ---

    void interval(const item &it)
    {
        for (size_t i = 0; i < it.events.size(); ++i)
            folded_events_[i] += it.events[i];
        if (is_empty(it)) {
            has_empty_intervals_ = true;
            return;
        }
        const uint32_t from = id_of_time(it.start);
        const uint32_t to = id_of_time(it.end);
        // Empty samples, put in for lost ones, may begin an interval with the
        // time of the one before.
        const bool is_behind = from > last_ || !l_.is_certain();
        if (!is_possible(from, false) || !is_possible(to, false) ||
            to <= last_ || !is_behind) {
            note(&v_.doubled, 1, "interval doubled or never recorded", from);
            return;
        }
        skip_to(from);
        samples_of_interval(it, std::max(from, last_ + 1), to);
        if (l_.is_certain()) events_of_interval(it, last_ + 1, to);
        last_ = to;
        folded_until_ = to;
    }

    void samples_of_interval(const item &it, uint32_t from, uint32_t to)
    {
        const totals kept = l_.kept_in(from, to);
        const totals possible = l_.possible_in(from, to);
        const uint32_t n = count_of_samples(it);
        v_.compared += n;
        note(&v_.lost, n < kept.samples ? kept.samples - n : 0,
             "samples of an interval lost", from);
        note(&v_.doubled, n > possible.samples ? n - possible.samples : 0,
             "samples of an interval doubled", from);
        // What may be lost may be nameless, too.
        if (n == possible.samples && n == kept.samples)
            note(&v_.misnamed, !agrees(it, from, to),
                 "interval with other names or figures", from);
    }

    // Every sample has a reading of the first sensor.
    static uint32_t count_of_samples(const item &it)
    {
        for (size_t i = 0; i < it.summaries.size(); ++i)
            if ((*it.names)[i] == name_of_sensor(0)) return it.summaries[i].n;
        return 0;
    }

    bool agrees(const item &it, uint32_t from, uint32_t to) const
    {
        const totals expected = l_.possible_in(from, to);
        std::array<bool, counted_sensors> seen = {};
        if (it.names->size() != it.summaries.size()) return false;
        for (size_t i = 0; i < it.summaries.size(); ++i) {
            uint32_t sensor = 0;
            if (!find_sensor((*it.names)[i], &sensor)) return false;
            if (sensor >= counted_sensors) continue;
            seen[sensor] = true;
            if (!agrees(it.summaries[i], sensor, from, to)) return false;
        }
        for (size_t k = 0; k < counted_sensors; ++k)
            if (!seen[k] && expected.counts[k] > 0) return false;
        return true;
    }

    bool agrees(const summary &s, uint32_t sensor, uint32_t from,
                uint32_t to) const
    {
        const totals expected = l_.possible_in(from, to);
        if (s.n != expected.counts[sensor]) return false;
        if (s.n == 0) return true;
        const double sum = expected.sums[sensor];
        if (sum < largest_exact_sum && static_cast<double>(s.sum) != sum)
            return false;
        uint32_t first = from;
        while (!has_reading(first, sensor)) ++first;
        uint32_t last = to;
        while (!has_reading(last, sensor)) --last;
        return s.first == reading(first, sensor) &&
               s.last == reading(last, sensor) &&
               extremes_agree(s, sensor, first, last);
    }

    bool extremes_agree(const summary &s, uint32_t sensor, uint32_t from,
                        uint32_t to) const
    {
        if (to - from > longest_searched) return true;
        float min = s.first;
        float max = s.first;
        for (uint32_t id = from; id <= to; ++id) {
            if (!has_reading(id, sensor)) continue;
            min = std::min(min, reading(id, sensor));
            max = std::max(max, reading(id, sensor));
        }
        return s.min == min && s.max == max;
    }

    bool has_reading(uint32_t id, uint32_t sensor) const
    {
        if (!is_possible(id, false) || std::isnan(reading(id, sensor)))
            return false;
        const auto &sensors = sensors_of(l_.at(id).set);
        return std::find(sensors.begin(), sensors.end(), sensor) !=
               sensors.end();
    }

    // --- events ---

    void events_of_interval(const item &it, uint32_t from, uint32_t to)
    {
        const auto expected = l_.kept_in(from, to).events;
        for (size_t i = 0; i < expected.size(); ++i) {
            const uint32_t n = it.events[i];
            v_.compared += n;
            note(&v_.lost, n < expected[i] ? expected[i] - n : 0,
                 "folded events lost", to);
            note(&v_.doubled, n > expected[i] ? n - expected[i] : 0,
                 "folded events doubled", to);
        }
    }

    // Where it is not certain which samples an interval holds, its events can
    // only be counted together with those of the others.
    void compare_folded_events()
    {
        if (l_.is_certain() || folded_until_ == 0) return;
        const auto kept = l_.kept_in(1, folded_until_).events;
        const auto possible = l_.possible_in(1, l_.last()).events;
        for (size_t i = 0; i < kept.size(); ++i) {
            const uint32_t n = folded_events_[i];
            v_.compared += n;
            note(&v_.lost, n < kept[i] ? kept[i] - n : 0, "folded events lost",
                 folded_until_);
            note(&v_.doubled, n > possible[i] ? n - possible[i] : 0,
                 "folded events doubled", folded_until_);
        }
    }

    void event(const item &it)
    {
        const uint32_t id = id_of_time(it.start);
        ++v_.compared;
        const bool is_known =
            is_possible(id, true) && it.text == text_of_event(id);
        if (!is_known || id <= folded_until_ || !events_.insert(id).second) {
            note(&v_.doubled, 1, "event doubled or never recorded", id);
            return;
        }
        note(&v_.misnamed, it.event_type != l_.at(id).type,
             "event of another type", id);
    }

    // Events behind the history must be there, but for those behind the last
    // sample of a file that was folded.
    void compare_later_events()
    {
        bool has_later_sample = false;
        for (uint32_t id = folded_until_ + 1; id <= l_.last(); ++id) {
            const entry &e = l_.at(id);
            if (!e.is_event) {
                has_later_sample = has_later_sample || e.what == fate::kept;
                continue;
            }
            const bool is_dropped = e.is_behind_last_sample &&
                                    !has_later_sample && folded_until_ > 0;
            // An empty interval takes the events before its empty samples.
            const bool may_be_folded =
                has_empty_intervals_ && !has_later_sample;
            if (e.what != fate::kept || is_dropped || may_be_folded) continue;
            note(&v_.lost, events_.count(id) == 0, "event lost", id);
        }
    }

    const ledger &l_;
    verdict v_;
    uint32_t last_ = 0;          // sample that was seen
    uint32_t folded_until_ = 0;  // the last sample in the history
    bool has_empty_intervals_ = false;
    std::array<uint32_t, number_of_event_types> folded_events_ = {};
    std::set<uint32_t> events_;
    std::set<uint32_t> seen_;  // samples, where some may be lost
};

}  // namespace

verdict compare(const std::vector<item> &items, const ledger &l)
{
    comparison c(l);
    for (const item &it : items) c.add(it);
    return c.finish();
}

}  // namespace durability
