// summary.cpp: what a whole playback comes to.
#include "summary.hpp"

#include <algorithm>

#include "sensor_value.h"

namespace tool {

namespace {

// Lists stay short however long and damaged the recording is.
constexpr size_t most_places = 1000;
constexpr size_t most_gaps = 100;
constexpr size_t most_periods = 1024;

// A gap is a step of more than this many periods.
constexpr int64_t periods_of_a_gap = 3;

// Learns the usual step between samples and keeps the longest steps.
class step_watch {
public:
    void sample(int64_t time)
    {
        if (last_ && time < *last_) back_++;
        if (last_ && time > *last_) forward({*last_, time});
        last_ = time;
    }

    void conclude(summary &s)
    {
        s.clock_steps_back = back_;
        uint64_t most = 0;
        for (const auto &[seconds, n] : steps_) {
            if (n > most) s.period = seconds;
            most = std::max(most, n);
        }
        for (const time_step &step : longest_) {
            if (length(step) > periods_of_a_gap * s.period) {
                s.gaps.push_back(step);
            }
        }
        std::stable_sort(
            s.gaps.begin(), s.gaps.end(),
            [](const auto &a, const auto &b) { return a.from < b.from; });
    }

private:
    static int64_t length(const time_step &s) { return s.to - s.from; }

    void forward(const time_step &step)
    {
        const bool known = steps_.count(length(step)) > 0;
        if (known || steps_.size() < most_periods) steps_[length(step)]++;
        // A heap with the shortest of the longest on top.
        const auto longer = [](const auto &a, const auto &b) {
            return length(a) > length(b);
        };
        const bool full = longest_.size() == most_gaps;
        if (full && length(step) <= length(longest_.front())) return;
        if (full) {
            std::pop_heap(longest_.begin(), longest_.end(), longer);
            longest_.pop_back();
        }
        longest_.push_back(step);
        std::push_heap(longest_.begin(), longest_.end(), longer);
    }

    std::optional<int64_t> last_;
    std::map<int64_t, uint64_t> steps_;
    std::vector<time_step> longest_;
    uint64_t back_ = 0;
};

class summariser {
public:
    explicit summariser(playback &source) : source_(source) {}

    summary run()
    {
        all_.lost_state = source_.has_lost_state();
        list_files();
        kor_playback_item item;
        while (source_.next(item)) take(item);
        // A running recorder may have gone on to further files.
        list_files();
        all_.info = source_.info();
        steps_.conclude(all_);
        for (size_t i = 0; i < totals_.size(); i++) settle(i);
        return std::move(all_);
    }

private:
    void list_files()
    {
        const auto files = source_.files();
        for (size_t i = all_.files.size(); i < files.size(); i++) {
            file_summary f;
            f.filename = files[i].filename;
            f.kind = files[i].kind;
            f.capacity = files[i].capacity;
            f.size = files[i].size;
            f.missing = files[i].missing != 0;
            all_.files.push_back(std::move(f));
        }
    }

    file_summary &file_of(const kor_playback_item &item)
    {
        const auto is_it = [&](const file_summary &f) {
            return f.filename == item.filename;
        };
        const auto begin = all_.files.begin();
        auto found = std::find_if(begin, all_.files.end(), is_it);
        if (found == all_.files.end()) {
            list_files();
            found = std::find_if(all_.files.begin(), all_.files.end(), is_it);
        }
        if (found != all_.files.end()) return *found;
        all_.files.emplace_back();
        all_.files.back().filename = item.filename;
        return all_.files.back();
    }

    static void extend(file_summary &file, const kor_playback_item &item)
    {
        const int64_t first = item.start.tv.tv_sec;
        const int64_t last = item.end.tv.tv_sec;
        if (!file.span) file.span = time_span{first, last};
        file.span->first = std::min(file.span->first, first);
        file.span->last = std::max(file.span->last, last);
    }

    void take(const kor_playback_item &item)
    {
        file_summary &file = file_of(item);
        switch (item.kind) {
            case KOR_PLAYBACK_SENSORS:
                use_sensors(item);
                break;
            case KOR_PLAYBACK_INTERVAL:
                take_interval(file, item);
                break;
            case KOR_PLAYBACK_SAMPLE:
                take_sample(file, item);
                break;
            case KOR_PLAYBACK_EVENT:
                take_event(file, item);
                break;
            default:
                take_damage(file, item);
                break;
        }
    }

    // Readings are counted by column and settled when the columns change.
    void use_sensors(const kor_playback_item &item)
    {
        for (size_t i = 0; i < totals_.size(); i++) settle(i);
        names_.assign(item.names, item.names + item.n_sensors);
        totals_.assign(item.n_sensors, 0);
    }

    void settle(size_t i)
    {
        all_.readings[names_[i]] += totals_[i];
        totals_[i] = 0;
    }

    void take_interval(file_summary &file, const kor_playback_item &item)
    {
        file.intervals++;
        extend(file, item);
        for (uint32_t i = 0; i < item.n_sensors; i++) {
            totals_[i] += item.hvalues[i].count;
        }
        for (uint32_t type = 1; type <= event_types; type++) {
            const uint32_t n = events_of_type(item.event_counts, type);
            all_.events_by_type[type] += n;
            all_.counted_events += n;
        }
    }

    void take_sample(file_summary &file, const kor_playback_item &item)
    {
        file.samples++;
        extend(file, item);
        steps_.sample(item.start.tv.tv_sec);
        for (uint32_t i = 0; i < item.n_sensors; i++) {
            if (sensor_value_is_valid(item.values[i])) totals_[i]++;
        }
    }

    void take_event(file_summary &file, const kor_playback_item &item)
    {
        file.events++;
        const uint32_t type = item.event_type;
        all_.events_by_type[type <= event_types ? type : 0]++;
    }

    void take_damage(file_summary &file, const kor_playback_item &item)
    {
        file.damaged_places++;
        file.damaged_bytes += item.length;
        all_.ndamage++;
        if (all_.damage.size() == most_places) return;
        all_.damage.push_back({item.filename, item.offset, item.length});
    }

    playback &source_;
    summary all_;
    step_watch steps_;
    std::vector<std::string> names_;
    std::vector<uint64_t> totals_;
};

}  // namespace

summary summarise(playback &source)
{
    return summariser(source).run();
}

}  // namespace tool
