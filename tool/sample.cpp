// sample.cpp: kor sample: this machine into a recorder.
#include <fmt/core.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>

#include "machine.hpp"
#include "messages.hpp"
#include "recorder_files.hpp"
#include "recording.hpp"
#include "times.hpp"
#include "verbs.hpp"

namespace tool {

namespace {

// Events of the sampler's own are notes.
constexpr uint32_t event_note = 1;

timespec monotonic_now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

double to_seconds(const timespec &t)
{
    return static_cast<double>(t.tv_sec) +
           1e-9 * static_cast<double>(t.tv_nsec);
}

// Waits for the times of a schedule, or for a signal to stop.
class schedule {
public:
    explicit schedule(uint32_t period) : period_(period), due_(monotonic_now())
    {
        sigemptyset(&stopping_);
        for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
            sigaddset(&stopping_, number);
        }
        sigprocmask(SIG_BLOCK, &stopping_, nullptr);
    }

    // False when a signal came instead.  Times that went by are left out.
    bool wait()
    {
        due_.tv_sec += period_;
        timespec left = time_left();
        while (left.tv_sec < 0) {
            due_.tv_sec += period_;
            left = time_left();
        }
        int number = -1;
        do {
            left = time_left();
            if (left.tv_sec < 0) left = {};
            number = sigtimedwait(&stopping_, nullptr, &left);
        } while (number < 0 && errno == EINTR);
        return number < 0;
    }

private:
    timespec time_left() const
    {
        constexpr long second = 1'000'000'000;
        const timespec now = monotonic_now();
        timespec left = {due_.tv_sec - now.tv_sec, due_.tv_nsec - now.tv_nsec};
        if (left.tv_nsec < 0) {
            left.tv_sec--;
            left.tv_nsec += second;
        }
        return left;
    }

    uint32_t period_;
    timespec due_;
    sigset_t stopping_;
};

// Appends samples to a text telemetry file.
class vorn_file {
public:
    explicit vorn_file(const std::string &path)
        : path_(path), file_(std::fopen(path.c_str(), "ae"))
    {
        if (!file_) fail();
    }

    void write_names(int32_t time, const std::vector<std::string> &names)
    {
        std::string line = to_stamp(time);
        for (const std::string &name : names) line += "," + name;
        write(line);
    }

    void write_values(int32_t time, const std::vector<float> &values)
    {
        std::string line = to_stamp(time);
        for (const float v : values) line += fmt::format(",{:.3f}", v);
        write(line);
    }

private:
    struct closer {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };

    [[noreturn]] void fail() const
    {
        throw failure(
            fmt::format("{}: {}", printable(path_), std::strerror(errno)));
    }

    // Every line is in the file before the next sample is due.
    void write(const std::string &line)
    {
        if (std::fprintf(file_.get(), "%s\n", line.c_str()) < 0) fail();
        if (std::fflush(file_.get()) != 0) fail();
    }

    std::string path_;
    std::unique_ptr<std::FILE, closer> file_;
};

int32_t wall_clock()
{
    const std::time_t now = std::time(nullptr);
    if (now <= 0 || now > std::numeric_limits<int32_t>::max()) {
        throw failure("the clock stands outside 1970 to 2038");
    }
    return static_cast<int32_t>(now);
}

class sampler {
public:
    explicit sampler(const sample_options &o)
        : recording_(o.base, o.parameters),
          schedule_(o.every),
          machine_("", to_seconds(monotonic_now()))
    {
        if (!o.vorn.empty()) vorn_.emplace(o.vorn);
        count_ = o.for_seconds / o.every;
    }

    exit_status run();

private:
    void take_sample();

    recording recording_;
    schedule schedule_;
    machine machine_;
    std::optional<vorn_file> vorn_;
    std::vector<std::string> names_;
    uint64_t count_ = 0;  // samples to take; 0: until stopped
    uint64_t taken_ = 0;
    bool start_told_ = false;
};

void sampler::take_sample()
{
    machine_.sample(to_seconds(monotonic_now()));
    const int32_t time = wall_clock();
    if (names_ != machine_.names()) {
        names_ = machine_.names();
        if (names_.empty()) throw failure("this machine offers no figures");
        recording_.use_sensors(names_);
        if (vorn_) vorn_->write_names(time, names_);
    }
    recording_.write_sample(time, machine_.values());
    if (vorn_) vorn_->write_values(time, machine_.values());
    taken_++;
    if (start_told_ || !recording_.takes_events()) return;
    recording_.write_event(time, event_note, "sampling started");
    start_told_ = true;
}

exit_status sampler::run()
{
    const char *reason = "sampling stopped by a signal";
    while (schedule_.wait()) {
        take_sample();
        if (taken_ != count_) continue;
        reason = "sampling stopped at its end";
        break;
    }
    if (taken_ == 0) return exit_status::nothing;
    recording_.write_event(wall_clock(), event_note, reason);
    recording_.sync();
    return exit_status::done;
}

}  // namespace

exit_status run_sample(const sample_options &o)
{
    check_base_name(o.base);
    check_parameters(o.parameters);
    if (o.for_seconds > 0 && o.for_seconds < o.every) {
        throw failure("--for is shorter than --every",
                      exit_status::wrong_usage);
    }
    if (!o.vorn.empty()) refuse_recorder_file(o.base, o.vorn);
    return sampler(o).run();
}

}  // namespace tool
