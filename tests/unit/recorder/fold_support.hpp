// fold_support.hpp: buffer files to fold, and what came of folding them.
#ifndef KOR_TESTS_FOLD_SUPPORT_HPP
#define KOR_TESTS_FOLD_SUPPORT_HPP

#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "buffer_support.hpp"
#include "support/lent.hpp"

namespace test {

inline current_holder create_current(const std::string &path, int32_t capacity)
{
    return current_holder(kor_current_buffer_create(path.c_str(), capacity));
}
inline hist_holder create_hist(const std::string &path, uint32_t capacity)
{
    return hist_holder(kor_hist_buffer_create(path.c_str(), capacity));
}

inline void put(const current_holder &cbuf, const vector_holder &vector)
{
    ASSERT_EQ(
        kor_current_buffer_write_telemetry_vector(cbuf.get(), vector.get()),
        KOR_OK);
}
inline void put(const current_holder &cbuf, const event_holder &event)
{
    ASSERT_EQ(kor_current_buffer_write_event(cbuf.get(), event.get()), KOR_OK);
}

// One interval as it is stored.
struct interval {
    int32_t start;  // seconds after the first one
    int32_t end;
    std::vector<std::string> names;
    std::vector<struct hist_value> values;
    struct kor_hb_record_events events;

    const struct hist_value &of(const std::string &name) const
    {
        for (size_t i = 0; i < names.size(); ++i)
            if (names[i] == name) return values[i];
        ADD_FAILURE() << "no column of " << name;
        return values[0];
    }
};

// Every interval of a history buffer file.
inline std::vector<interval> intervals_of(const std::string &path)
{
    std::vector<interval> intervals;
    const hist_holder hbuf(kor_hist_buffer_open_for_read_write(path.c_str()));
    if (!hbuf) {
        ADD_FAILURE() << path << " gives " << vela_get_last_error();
        return intervals;
    }
    struct kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    while (kor_hist_buffer_read_record(hbuf.get(), &rec) == KOR_OK) {
        if (rec.type != KOR_HB_RECORD_SENSOR_VALUES) continue;
        const struct kor_hb_record_sensor_values *const values = rec.values;
        intervals.push_back(
            {values->start.tv.tv_sec - first_second,
             values->end.tv.tv_sec - first_second,
             names_of(hbuf->hb_rec_sensors_last->sensors),
             {values->hvalues, values->hvalues + values->n_sensors},
             values->events});
    }
    kor_hb_record_destruct(&rec);
    return intervals;
}

// Events of types 1 to 5, in that order.
inline std::vector<uint32_t> counts_of(const struct kor_hb_record_events &rec)
{
    return {rec.n_type1, rec.n_type2, rec.n_type3, rec.n_type4, rec.n_type5};
}

// The summaries of an interval in the making, found by name each time.
class interval_maker {
public:
    interval_maker() { kor_hb_record_events_init_null(&events); }
    void add(const std::string &name, const std::vector<float> &readings)
    {
        for (const float reading : readings)
            hist_value_update(value_of(name), reading);
        if (readings.empty()) value_of(name);
    }
    struct hist_value *value_of(const std::string &name)
    {
        struct sensor *sensor = sensor_create(name.c_str());
        struct hist_value *const value =
            hist_value_list_add_if_not_present(list_.get(), sensor);
        sensor_destroy(&sensor);
        return value;
    }
    // Writes what was added and begins the next interval.
    void write(const hist_holder &hbuf, int32_t start, int32_t end)
    {
        const struct timestamp first = at(start);
        const struct timestamp last = at(end);
        ASSERT_EQ(kor_hist_buffer_write_interval(hbuf.get(), &first, &last,
                                                 list_.get(), &events),
                  KOR_OK);
        hist_value_list_clear(list_.get());
        kor_hb_record_events_init_null(&events);
    }

    struct kor_hb_record_events events;

private:
    list_holder list_{hist_value_list_create()};
};

// The same numbers in every run.
class dice {
public:
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(random_() % n); }
    std::vector<std::string> names()
    {
        std::vector<std::string> names;
        for (uint32_t n = 1 + below(40); n > 0; --n)
            names.push_back("S" + std::to_string(below(90)));
        return names;
    }
    float reading() { return static_cast<float>(below(1000)); }

private:
    std::mt19937 random_{20070101};
};

// Fails each allocation of `attempt` in turn.  It must report -22, or get by
// without that block; nothing may be left behind.
inline void expect_allocation_failures_are_survived(
    const std::function<int()> &attempt)
{
    for (int n = 0;; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n) + " fails");
        const failing_allocation failing(n);
        const int result = attempt();
        EXPECT_EQ(failing.live(), 0);
        if (!failing.reached()) {
            EXPECT_EQ(result, KOR_OK);
            return;
        }
        EXPECT_THAT(result,
                    testing::AnyOf(static_cast<int>(KOR_OK),
                                   static_cast<int>(KOR_ERR_NO_MEMORY)));
    }
}

}  // namespace test

#endif
