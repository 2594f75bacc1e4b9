// record.cpp: kor record: text telemetry into a recorder.
#include <fmt/core.h>

#include <chrono>
#include <limits>
#include <memory>
#include <optional>

#include "line_source.hpp"
#include "messages.hpp"
#include "recording.hpp"
#include "telemetry_text.hpp"
#include "verbs.hpp"

namespace tool {

namespace {

// Shows how far the work is, a few times a second.
class progress_line {
public:
    void update(uint64_t samples, const telemetry_text &text)
    {
        using namespace std::chrono_literals;
        const auto now = std::chrono::steady_clock::now();
        if (now - last_ < 200ms) return;
        last_ = now;
        progress(fmt::format("{} lines read, {} samples recorded", text.lines(),
                             samples));
    }

private:
    std::chrono::steady_clock::time_point last_ =
        std::chrono::steady_clock::now();
};

// Merges samples and events into the recorder.
class merger {
public:
    explicit merger(const record_options &o)
        : options_(o), text_(o.file, skipped_)
    {
        if (!o.events.empty()) events_.emplace(o.events, skipped_);
    }

    exit_status run();

private:
    void take_sample();
    void write_events_up_to(int64_t time, bool anywhere);
    exit_status conclude();

    const record_options &options_;
    skipped_lines skipped_;
    telemetry_text text_;
    std::optional<event_text> events_;
    std::unique_ptr<recording> recording_;  // from the first sample on
    uint64_t headers_ = 0;
    uint64_t nsamples_ = 0;
    uint64_t nevents_ = 0;
};

void merger::write_events_up_to(int64_t time, bool anywhere)
{
    while (events_ && events_->pending() && events_->time() <= time &&
           (anywhere || recording_->takes_events())) {
        recording_->write_event(events_->time(), events_->type(),
                                events_->text());
        nevents_++;
        events_->next();
    }
}

void merger::take_sample()
{
    if (!recording_) {
        recording_ =
            std::make_unique<recording>(options_.base, options_.parameters);
    }
    if (headers_ != text_.headers()) recording_->use_sensors(text_.names());
    headers_ = text_.headers();
    // An event belongs before the first sample that is not older.  Where it
    // would be the first or last record of its file, it follows that sample.
    write_events_up_to(text_.time(), false);
    recording_->write_sample(text_.time(), text_.values());
    nsamples_++;
    write_events_up_to(text_.time(), false);
}

exit_status merger::run()
{
    progress_line line;
    while (text_.next()) {
        take_sample();
        line.update(nsamples_, text_);
    }
    constexpr int64_t end_of_time = std::numeric_limits<int64_t>::max();
    if (recording_) {
        write_events_up_to(end_of_time, true);
        recording_->sync();
    }
    end_progress();
    return conclude();
}

exit_status merger::conclude()
{
    const bool events_left = events_ && events_->pending();
    if (events_left) complain("no samples, so no events are recorded");
    if (skipped_.count() > 0) {
        complain(
            fmt::format("{} samples and {} events recorded, {} lines "
                        "skipped",
                        nsamples_, nevents_, skipped_.count()));
    }
    if (skipped_.count() > 0 || events_left) return exit_status::incomplete;
    if (nsamples_ > 0) return exit_status::done;
    note("no samples to record");
    return exit_status::nothing;
}

}  // namespace

exit_status run_record(const record_options &o)
{
    check_base_name(o.base);
    check_parameters(o.parameters);
    end_reading_on_signals();
    return merger(o).run();
}

}  // namespace tool
