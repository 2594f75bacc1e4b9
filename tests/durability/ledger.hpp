// ledger.hpp: what was given to a recorder, and whether it took it.
//
// Every sample and event has a number of its own, which is also its time and,
// of a sample, the reading of the first sensor.  Wherever a record turns up,
// verbatim or as a part of an interval, it can be told which one it is.
#ifndef KOR_TESTS_DURABILITY_LEDGER_HPP
#define KOR_TESTS_DURABILITY_LEDGER_HPP

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "stored.hpp"

namespace durability {

// --- sensors and their readings ---

// Sensors whose figures are added up; wide sets have more.
inline constexpr size_t counted_sensors = 6;
inline constexpr size_t number_of_narrow_sets = 6;
inline constexpr size_t wide_set = number_of_narrow_sets;
inline constexpr size_t other_wide_set = wide_set + 1;
inline constexpr size_t number_of_sets = other_wide_set + 1;

// The sensors of a set, by number; sets differ in members and in order.
const std::vector<uint32_t> &sensors_of(size_t set);
const std::vector<std::string> &names_of(size_t set);
std::string name_of_sensor(uint32_t sensor);
// The sensor of a name; false when there is none.
bool find_sensor(const std::string &name, uint32_t *sensor);
// What a sensor read; not a number where the reading is missing.
float reading(uint32_t id, uint32_t sensor);
uint32_t time_of(uint32_t id);
uint32_t id_of_time(uint32_t seconds);
std::string text_of_event(uint32_t id);

// --- the ledger ---

enum class fate : uint8_t {
    refused,  // the recorder said so: it must not be there
    maybe,    // the power was cut before it was synced
    kept,     // completely written: it must be there, once
};

struct entry {
    bool is_event = false;
    fate what = fate::refused;
    // An event behind the last sample that its file has room for: folding the
    // file drops it.
    bool is_behind_last_sample = false;
    uint8_t set = 0;   // of a sample
    uint8_t type = 0;  // of an event
};

// Sums over all entries before a number.
struct totals {
    uint32_t samples = 0;
    std::array<uint32_t, counted_sensors> counts = {};
    std::array<double, counted_sensors> sums = {};
    std::array<uint32_t, number_of_event_types> events = {};

    void add(uint32_t id, const entry &e);
    totals operator-(const totals &other) const;
};

class ledger {
public:
    // A new number, refused until it is settled.
    uint32_t begin_sample(size_t set);
    uint32_t begin_event(uint32_t type);
    void settle(fate what, bool is_behind_last_sample = false);
    // Whether the last entry awaits its fate.
    bool is_pending() const { return is_pending_; }

    uint32_t last() const { return static_cast<uint32_t>(entries_.size()); }
    const entry &at(uint32_t id) const { return entries_[id - 1]; }
    bool holds(uint32_t id) const { return id >= 1 && id <= last(); }
    // What must be there and what may be there, of the numbers in a range.
    totals kept_in(uint32_t from, uint32_t to) const;
    totals possible_in(uint32_t from, uint32_t to) const;
    // Whether it is known of every entry if it must be there.
    bool is_certain() const { return is_certain_; }

    // Makes it what it was when it had that many entries, the last of them
    // pending or not.
    void go_back(uint32_t count, bool is_pending);
    // What was kept behind a number may now be lost.
    ledger doubted_behind(uint32_t id) const;

private:
    uint32_t begin(entry e);
    void close_last();

    std::vector<entry> entries_;
    std::vector<totals> kept_ = {totals()};  // of the entries before the i-th
    std::vector<totals> possible_ = {totals()};
    bool is_pending_ = false;
    bool is_certain_ = true;
};

// --- comparing ---

struct verdict {
    uint64_t compared = 0;
    uint64_t lost = 0;
    uint64_t doubled = 0;   // or not recorded at all
    uint64_t misnamed = 0;  // other names or figures than recorded
    std::string problem;    // the first

    bool is_good() const { return lost + doubled + misnamed == 0; }
};

// Compares the items of a recorder, in playing order, with the ledger.
verdict compare(const std::vector<item> &items, const ledger &l);

}  // namespace durability

#endif
