#include "ledger.hpp"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "chance.hpp"

namespace durability {
namespace {

constexpr uint32_t first_time = 1167609600;
constexpr size_t wide_sensors = 520;
constexpr char event_text[] = "event ";

std::vector<uint32_t> wide(std::vector<uint32_t> first, uint32_t from)
{
    for (uint32_t k = from; first.size() < wide_sensors; ++k)
        first.push_back(k);
    return first;
}

}  // namespace

// --- sensors and their readings ---

const std::vector<uint32_t> &sensors_of(size_t set)
{
    static const std::vector<uint32_t> sets[number_of_sets] = {
        {0, 1, 2, 3},
        {0, 1, 2, 4},
        {2, 0, 1, 3},
        {5, 0},
        {0, 1, 2, 3, 4, 5},
        {0},
        wide({0, 1, 2}, counted_sensors),
        wide({3, 0, 4}, counted_sensors + 1),
    };
    return sets[set];
}

const std::vector<std::string> &names_of(size_t set)
{
    static std::vector<std::string> names[number_of_sets];
    if (names[set].empty())
        for (uint32_t k : sensors_of(set))
            names[set].push_back(name_of_sensor(k));
    return names[set];
}

std::string name_of_sensor(uint32_t sensor)
{
    return "sensor " + std::to_string(sensor * 7 + 1);
}

bool find_sensor(const std::string &name, uint32_t *sensor)
{
    static const std::string start = "sensor ";
    if (name.compare(0, start.size(), start) != 0) return false;
    const auto number = static_cast<uint32_t>(
        std::strtoul(name.c_str() + start.size(), nullptr, 10));
    *sensor = (number - 1) / 7;
    return name == name_of_sensor(*sensor);
}

float reading(uint32_t id, uint32_t sensor)
{
    if (sensor == 0) return static_cast<float>(id);
    const uint64_t number = mix(uint64_t{id} << 20 | sensor);
    if (number % 13 == 0) return std::numeric_limits<float>::quiet_NaN();
    return static_cast<float>(number >> 56);
}

uint32_t time_of(uint32_t id)
{
    return first_time + id;
}

uint32_t id_of_time(uint32_t seconds)
{
    return seconds - first_time;
}

std::string text_of_event(uint32_t id)
{
    return event_text + std::to_string(id);
}

// --- the ledger ---

void totals::add(uint32_t id, const entry &e)
{
    if (e.is_event) {
        ++events[e.type - 1u];
        return;
    }
    ++samples;
    for (uint32_t k : sensors_of(e.set)) {
        if (k >= counted_sensors) break;
        const float value = reading(id, k);
        if (std::isnan(value)) continue;
        ++counts[k];
        sums[k] += static_cast<double>(value);
    }
}

totals totals::operator-(const totals &other) const
{
    totals t = *this;
    t.samples -= other.samples;
    for (size_t k = 0; k < counted_sensors; ++k) {
        t.counts[k] -= other.counts[k];
        t.sums[k] -= other.sums[k];
    }
    for (size_t i = 0; i < events.size(); ++i) t.events[i] -= other.events[i];
    return t;
}

uint32_t ledger::begin(entry e)
{
    entries_.push_back(e);
    is_pending_ = true;
    kept_.push_back(kept_.back());
    possible_.push_back(possible_.back());
    return last();
}

uint32_t ledger::begin_sample(size_t set)
{
    return begin({.set = static_cast<uint8_t>(set)});
}

uint32_t ledger::begin_event(uint32_t type)
{
    return begin({.is_event = true, .type = static_cast<uint8_t>(type)});
}

void ledger::settle(fate what, bool is_behind_last_sample)
{
    entries_.back().what = what;
    entries_.back().is_behind_last_sample = is_behind_last_sample;
    is_pending_ = false;
    close_last();
}

// An event that folding drops is not among those that must be in an interval.
void ledger::close_last()
{
    const entry &e = entries_.back();
    if (e.what == fate::kept && !e.is_behind_last_sample)
        kept_.back().add(last(), e);
    if (e.what == fate::maybe ||
        (e.what == fate::kept && !e.is_behind_last_sample))
        possible_.back().add(last(), e);
    if (e.what == fate::maybe) is_certain_ = false;
}

totals ledger::kept_in(uint32_t from, uint32_t to) const
{
    return kept_[to] - kept_[from - 1];
}

totals ledger::possible_in(uint32_t from, uint32_t to) const
{
    return possible_[to] - possible_[from - 1];
}

void ledger::go_back(uint32_t count, bool is_pending)
{
    entries_.resize(count);
    kept_.resize(count + 1);
    possible_.resize(count + 1);
    is_pending_ = is_pending;
    if (!is_pending) return;
    entries_.back().what = fate::refused;
    kept_.back() = kept_[count - 1];
    possible_.back() = possible_[count - 1];
}

ledger ledger::doubted_behind(uint32_t id) const
{
    ledger l;
    for (uint32_t i = 1; i <= last(); ++i) {
        const entry &e = at(i);
        const bool is_doubted = i > id && e.what == fate::kept;
        l.begin(e);
        l.settle(is_doubted ? fate::maybe : e.what, e.is_behind_last_sample);
    }
    return l;
}

}  // namespace durability
