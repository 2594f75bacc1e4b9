// recovery_support.hpp: recorders on disk, what is in them, and damage.
#ifndef KOR_TESTS_RECOVERY_SUPPORT_HPP
#define KOR_TESTS_RECOVERY_SUPPORT_HPP

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kor.h"
#include "kor_buffer.h"
#include "kor_playback.h"
#include "kor_recover.h"
#include "support/kept_files.hpp"
#include "unit/recorder/buffer_support.hpp"

namespace test {

using kor_holder = holder<struct kor, kor_close>;
using playback_holder = holder<struct kor_playback, kor_playback_close>;
using report_holder =
    holder<struct kor_recovery_report, kor_recovery_report_destroy>;

// Every how many places are tried where all could be: emulated processors take
// a sample.
#if defined(__x86_64__)
inline constexpr size_t stride = 1;
#else
inline constexpr size_t stride = 17;
#endif

// --- a small recorder ---

inline constexpr uint32_t samples_per_buffer = 4;    // M
inline constexpr uint32_t intervals_per_buffer = 2;  // N

// The i-th vector of a recording: distinct values; the sensors change now and
// then; one reading in five is missing.
inline vector_holder recorded_vector(int i)
{
    std::vector<std::string> names = two_sensors;
    std::vector<double> readings = {40.0 + i, 1000.0 + 3 * i};
    if (i % 11 >= 8) {
        names.push_back("FAN" + std::to_string(i / 11));
        readings.push_back(7.5 * i);
    }
    if (i % 5 == 3)
        readings[1] = static_cast<double>(_vela_invalid_sensor_value);
    return vector_of(names, at(10 * i), readings);
}

// The event that follows every third vector.
inline bool has_event(int i)
{
    return i % 3 == 1;
}
inline event_holder recorded_event(int i)
{
    return event_of(static_cast<uint32_t>(1 + i % 5), 10 * i + 1,
                    "event " + std::to_string(i));
}

inline void record(struct kor *kor, int from, int to)
{
    for (int i = from; i < to; ++i) {
        ASSERT_EQ(kor_write_telemetry_vector(kor, recorded_vector(i).get()), 0)
            << i;
        if (!has_event(i)) continue;
        ASSERT_EQ(kor_write_event(kor, recorded_event(i).get()), 0) << i;
    }
}

// A recorder "rec" of that many vectors, closed.
inline void make_recorder(int nvectors)
{
    const kor_holder kor(
        kor_create("rec", samples_per_buffer, intervals_per_buffer));
    ASSERT_NE(kor, nullptr);
    record(kor.get(), 0, nvectors);
}

// Vectors in a recorder of each state, with an open buffer partly full.
inline const std::vector<int> vectors_of_states = {3, 7, 11, 15, 23};

// --- what is in it ---

struct played {
    uint32_t kind;
    std::string file;
    uint64_t offset;
    uint64_t length;
    int32_t start;
    int32_t end;
    std::vector<std::string> names;
    std::string content;  // readings, summaries and counts, or type and text

    // The record alone, wherever it lies and whatever its columns are called.
    std::string record() const
    {
        return std::to_string(kind) + " " + std::to_string(start) + " " +
               std::to_string(end) + " " + content;
    }
};

template <class T>
std::string raw(const T *items, size_t count)
{
    return std::string(reinterpret_cast<const char *>(items),
                       items != nullptr ? count * sizeof(T) : 0);
}

// Field by field: there is padding between them.
inline std::string raw_summary(const struct hist_value &hv)
{
    const float figures[] = {hv.min, hv.max,  hv.first, hv.last,
                             hv.sum, hv.sum2, hv.sum3,  hv.sum4};
    return raw(&hv.count, 1) + raw(figures, 8);
}

inline played to_played(const struct kor_playback_item &item)
{
    played p = {item.kind,
                item.filename,
                item.offset,
                item.length,
                item.start.tv.tv_sec,
                item.end.tv.tv_sec,
                {},
                {}};
    for (uint32_t i = 0; i < item.n_sensors; ++i)
        p.names.push_back(item.names[i]);
    if (item.values != nullptr) p.content = raw(item.values, item.n_sensors);
    for (uint32_t i = 0; item.hvalues != nullptr && i < item.n_sensors; ++i)
        p.content += raw_summary(item.hvalues[i]);
    if (item.kind == KOR_PLAYBACK_INTERVAL) {
        const struct kor_hb_record_events &e = item.event_counts;
        const uint32_t counts[] = {e.n_type1, e.n_type2, e.n_type3, e.n_type4,
                                   e.n_type5};
        p.content += raw(counts, 5);
    }
    if (item.text != nullptr)
        p.content = std::to_string(item.event_type) + item.text;
    return p;
}

// All items up to the end.
inline std::vector<played> rest_of(struct kor_playback *playback)
{
    std::vector<played> items;
    struct kor_playback_item item;
    int result;
    while ((result = kor_playback_next(playback, &item)) == 1)
        items.push_back(to_played(item));
    EXPECT_EQ(result, 0);
    return items;
}

inline std::vector<played> play(const std::string &name = "rec")
{
    const playback_holder playback(kor_playback_open(name.c_str()));
    EXPECT_NE(playback, nullptr) << vela_get_last_error();
    return playback ? rest_of(playback.get()) : std::vector<played>();
}

inline bool is_record(const played &p)
{
    return p.kind == KOR_PLAYBACK_INTERVAL || p.kind == KOR_PLAYBACK_SAMPLE ||
           p.kind == KOR_PLAYBACK_EVENT;
}

// The samples, intervals and events among some items.
inline std::vector<played> records_of(std::vector<played> items)
{
    std::erase_if(items, [](const played &p) { return !is_record(p); });
    return items;
}

inline std::vector<played> damage_of(std::vector<played> items)
{
    std::erase_if(
        items, [](const played &p) { return p.kind != KOR_PLAYBACK_DAMAGE; });
    return items;
}

inline std::vector<std::string> record_strings(
    const std::vector<played> &records)
{
    std::vector<std::string> strings;
    for (const played &p : records) strings.push_back(p.record());
    return strings;
}

// The readings of a vector as a sample holds them.
inline std::string sample_of(int i)
{
    const vector_holder v = recorded_vector(i);
    std::vector<float> readings;
    for (uint32_t c = 0; c < matrix_get_number_columns(v.get()); ++c)
        readings.push_back(static_cast<float>(matrix_get(v.get(), 0, c)));
    const int32_t t = at(10 * i).tv.tv_sec;
    return played{KOR_PLAYBACK_SAMPLE,
                  {},
                  0,
                  0,
                  t,
                  t,
                  {},
                  raw(readings.data(), readings.size())}
        .record();
}

inline std::string event_string_of(int i)
{
    const int32_t t = at(10 * i + 1).tv.tv_sec;
    return played{KOR_PLAYBACK_EVENT,
                  {},
                  0,
                  0,
                  t,
                  t,
                  {},
                  std::to_string(1 + i % 5) + "event " + std::to_string(i)}
        .record();
}

// --- folders ---

using folder = std::map<std::string, std::string>;

inline folder read_folder()
{
    folder files;
    for (const std::string &name : list_folder()) files[name] = read_file(name);
    return files;
}

// Makes the current folder hold these files and no others.
inline void restore(const folder &files)
{
    for (const std::string &name : list_folder())
        if (!files.contains(name)) std::filesystem::remove_all(name);
    for (const auto &[name, content] : files) write_file(name, content);
    keep_some_files(name_of_test(), files);
}

// The files of a recorder after each of so many vectors.
inline folder recorder_folder(int nvectors)
{
    for (const std::string &name : list_folder())
        std::filesystem::remove_all(name);
    make_recorder(nvectors);
    return read_folder();
}

// --- recovery ---

// Recovers "rec"; the parameters are given where the files may not tell.
inline int recover()
{
    return kor_recover_with("rec", samples_per_buffer, intervals_per_buffer);
}

inline int recover_and_report(report_holder *report, uint32_t flags = 0)
{
    struct kor_recovery_report *made = nullptr;
    const int result = kor_recover_report("rec", samples_per_buffer,
                                          intervals_per_buffer, flags, &made);
    report->reset(made);
    return result;
}

// Whether a sample or an interval was put in to fill up a file.
inline bool is_padding(const played &p)
{
    if (p.kind == KOR_PLAYBACK_SAMPLE) {
        for (size_t i = 0; i < p.content.size(); i += sizeof(float)) {
            float reading;
            std::memcpy(&reading, p.content.data() + i, sizeof reading);
            if (reading == reading) return false;
        }
        return true;
    }
    return p.kind == KOR_PLAYBACK_INTERVAL &&
           p.content.find_first_not_of('\0') == std::string::npos;
}

inline std::vector<played> without_padding(std::vector<played> items)
{
    std::erase_if(items, is_padding);
    return items;
}

// The recorder goes on from where it is, through some rotations.
inline void expect_recorder_goes_on(int from)
{
    const kor_holder kor(kor_open("rec"));
    ASSERT_NE(kor, nullptr);
    ASSERT_GT(kor_get_restore_result(kor.get()), 0);
    record(kor.get(), from, from + 18);
}

// Recovery has nothing left to do.
inline void expect_recovered()
{
    const folder before = read_folder();
    EXPECT_EQ(kor_recover("rec"), KOR_RECOVER_UNCHANGED);
    EXPECT_EQ(read_folder(), before);
}

}  // namespace test

#endif
