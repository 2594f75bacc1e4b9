// recording.cpp: a recorder open for writing.
#include "recording.hpp"

#include <fmt/core.h>
#include <sys/time.h>

#include <limits>

#include "error.h"
#include "exit_status.hpp"
#include "kor_recover.h"
#include "messages.hpp"
#include "recorder_files.hpp"
#include "recovery.hpp"
#include "sensor_array.h"
#include "telemetry_matrix.h"

namespace tool {

namespace {

// What recovery takes: the library builds file names of at most 1023
// characters, and endings are to fit.
constexpr size_t longest_base = 980;

// Capacities are signed 32-bit numbers, doubled for histories.
constexpr uint32_t largest_capacity = 1u << 30;

// The library aborts a fold into more: its table is cleared for each interval,
// and counts that in 16 bits.
constexpr uint32_t most_intervals = 65534;

void require(bool condition, const std::string &text)
{
    if (!condition) throw failure(text, exit_status::wrong_usage);
}

const kor_current_buffer *open_buffer(const struct kor &recorder)
{
    switch (recorder.state) {
        case KOR_ZCF_STATE_C00:
            return recorder.c00->cbuf;
        case KOR_ZCF_STATE_CC0:
            return recorder.cc0->cbuf1;
        case KOR_ZCF_STATE_CCC:
            return recorder.ccc->cbuf2;
        case KOR_ZCF_STATE_HCC:
            return recorder.hcc->cbuf2;
        default:
            return nullptr;
    }
}

// Resuming would do the same repairs, but tell nobody.
void report_repairs(const std::string &base,
                    const recorder_parameters &parameters)
{
    const recovery r = recover(base, parameters.samples, parameters.intervals,
                               recovery_mode::repair);
    if (r.code != KOR_RECOVER_REPAIRED) return;
    note(fmt::format("{}: repaired before it goes on", printable(base)));
    for (uint32_t i = 0; i < r.report->nfiles; i++) {
        const kor_recovery_file &file = r.report->files[i];
        if (file.action == KOR_RECOVERY_KEPT) continue;
        note(fmt::format("{}: {}", printable(file.filename), describe(file)));
    }
}

timestamp to_timestamp(int32_t time)
{
    const timeval tv = {time, 0};
    timestamp t;
    timestamp_init_from_timeval(&t, &tv);
    return t;
}

}  // namespace

void check_parameters(const recorder_parameters &parameters)
{
    const auto &[samples, intervals] = parameters;
    require(samples > 0 && samples % 2 == 0 && samples <= largest_capacity,
            "--samples must be an even number above 0");
    require(intervals > 0 && intervals % 2 == 0,
            "--intervals must be an even number above 0");
    require(intervals <= most_intervals,
            fmt::format("--intervals must be at most {}", most_intervals));
    require(samples % intervals == 0,
            "--samples must be a multiple of --intervals");
}

void check_base_name(const std::string &base)
{
    require(!base.empty(), "the base name of a recorder cannot be empty");
    require(base.back() != '/', "a base name is needed behind the folder");
    require(base.size() <= longest_base,
            fmt::format("the base name is too long: {} characters, of at "
                        "most {}",
                        base.size(), longest_base));
}

recording::recording(const std::string &base,
                     const recorder_parameters &parameters)
    : base_(base)
{
    const auto &[samples, intervals] = parameters;
    report_repairs(base, parameters);
    recorder_.reset(kor_resume(base.c_str(), samples, intervals));
    if (!recorder_) {
        throw failure(fmt::format(
            "{}: the recorder can be neither resumed nor created: {}",
            printable(base),
            explain_failure(base, vela_get_last_error(), file_use::writing)));
    }
    if (recorder_->num_hb_intervals > most_intervals) {
        throw failure(fmt::format(
            "{}: it was created with {} intervals; with more than {} it can "
            "only be read",
            printable(base), recorder_->num_hb_intervals, most_intervals));
    }
    if (recorder_->num_cb_samples == samples &&
        recorder_->num_hb_intervals == intervals) {
        return;
    }
    note(
        fmt::format("{}: goes on with {} samples and {} intervals, with "
                    "which it was created",
                    printable(base), recorder_->num_cb_samples,
                    recorder_->num_hb_intervals));
}

void recording::use_sensors(const std::vector<std::string> &names)
{
    std::vector<const char *> pointers;
    pointers.reserve(names.size());
    for (const std::string &name : names) pointers.push_back(name.c_str());
    const auto n = static_cast<uint32_t>(names.size());
    owned<sensor_array_destroy> sensors(
        sensor_array_create_from_names(pointers.data(), n));
    owned<matrix_destroy> values(matrix_create(1, n));
    timestamp none;
    timestamp_init_null(&none);
    if (sensors && values) {
        vector_.reset(
            telemetry_matrix_create_vector(values.get(), sensors.get(), &none));
    }
    if (!sensors || !values || !vector_) {
        throw failure(describe(vela_get_last_error()));
    }
    values.release();
    sensors.release();
}

void recording::write_sample(int32_t time, const std::vector<float> &values)
{
    const timestamp t = to_timestamp(time);
    int rc = telemetry_matrix_update_vector_timestamp(vector_.get(), &t);
    for (uint32_t i = 0; rc == 0 && i < values.size(); i++) {
        matrix_set(vector_.get(), 0, i, values[i]);
    }
    if (rc == 0)
        rc = kor_write_telemetry_vector(recorder_.get(), vector_.get());
    if (rc < 0) {
        throw failure(fmt::format(
            "{}: the sample cannot be written: {}", printable(base_),
            explain_failure(base_, rc, file_use::writing)));
    }
}

void recording::write_event(int32_t time, uint32_t type,
                            const std::string &text)
{
    const timestamp t = to_timestamp(time);
    owned<kor_cb_record_event_destroy> event(
        kor_cb_record_event_create(type, &t, text.c_str()));
    const int rc = event ? kor_write_event(recorder_.get(), event.get())
                         : vela_get_last_error();
    if (rc < 0) {
        throw failure(fmt::format("{}: the event cannot be written: {}",
                                  printable(base_), describe(rc)));
    }
}

bool recording::takes_events() const
{
    const kor_current_buffer *buffer = open_buffer(*recorder_);
    return buffer && buffer->size > 0 &&
           buffer->size < buffer->max_data_records;
}

void recording::sync()
{
    const int rc = kor_sync(recorder_.get());
    if (rc < 0) {
        throw failure(fmt::format("{}: cannot be made to last: {}",
                                  printable(base_), describe(rc)));
    }
}

}  // namespace tool
