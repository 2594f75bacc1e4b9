// buffer_support.hpp: buffers, what is stored in them, and full disks.
#ifndef KOR_TESTS_BUFFER_SUPPORT_HPP
#define KOR_TESTS_BUFFER_SUPPORT_HPP

#include <dirent.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "hist_value_list.h"
#include "kor_cb_record_event.h"
#include "kor_current_buffer.h"
#include "kor_hist_buffer.h"
#include "sensor_value.h"
#include "unit/recorder/record_support.hpp"

namespace test {

using current_holder =
    holder<struct kor_current_buffer, kor_current_buffer_close>;
using hist_holder = holder<struct kor_hist_buffer, kor_hist_buffer_close>;
using event_holder =
    holder<struct kor_cb_record_event, kor_cb_record_event_destroy>;
using list_holder = holder<struct hist_value_list, hist_value_list_destroy>;

// --- what is written ---

inline const std::vector<std::string> two_sensors = {"CPU0 Temp", "DISK0 READ"};

// Four samples of the two sensors, one of them invalid, and an event.
inline vector_holder sample(int i)
{
    const std::vector<std::vector<double>> readings = {
        {45.5, 1200},
        {46.25, static_cast<double>(_vela_invalid_sensor_value)},
        {47.0, 1300.75},
        {45.75, 1250.5}};
    return vector_of(two_sensors, at(i), readings[static_cast<size_t>(i % 4)]);
}

inline event_holder event_of(uint32_t type, int32_t seconds,
                             const std::string &text)
{
    const struct timestamp t = at(seconds);
    return event_holder(kor_cb_record_event_create(type, &t, text.c_str()));
}

inline event_holder fan_fail()
{
    return event_of(2, 1, "fan fail");
}

// --- how it is stored ---

inline std::string current_header(uint32_t capacity)
{
    return bytes("00 00 00 01 01") + stored_count(capacity);
}
inline std::string hist_header(uint32_t capacity)
{
    return bytes("00 00 00 02 01") + stored_count(capacity);
}
inline const std::string stored_names = bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 02 01 00 00 00 09 43 50 55 30 20 54 65 6d"
    "70 01 00 00 00 0a 44 49 53 4b 30 20 52 45 41 44");
inline const std::string stored_sample_0 = bytes(
    "00 00 00 02 01 01 45 98 4f 01 00 00 00 00 00 00"
    "00 02 42 36 00 00 44 96 00 00");
inline const std::string stored_sample_1 = bytes(
    "00 00 00 02 01 01 45 98 4f 02 00 00 00 00 00 00"
    "00 02 42 39 00 00 7f ff ff ff");
inline const std::string stored_event = bytes(
    "00 00 00 03 01 00 00 00 02 01 45 98 4f 02 00 00"
    "00 00 00 00 00 08 66 61 6e 20 66 61 69 6c");

// A names record of the two sensors that carries another second.
inline std::string stored_names_at(int32_t seconds)
{
    return with(stored_names, 6,
                stored_count(static_cast<uint32_t>(first_second + seconds)));
}

// A file of these streams.
inline void write_streams(const std::string &path,
                          const std::vector<std::string> &streams)
{
    std::string content;
    for (const std::string &stream : streams) content += deflate_stream(stream);
    write_file(path, content);
}

// Takes the records of a current buffer file apart, without the library.
class record_parser {
public:
    explicit record_parser(std::string content) : content_(std::move(content))
    {
    }
    bool at_end() const { return at_ == content_.size(); }
    uint32_t count()
    {
        uint32_t value = 0;
        for (const char c : take(4))
            value = value << 8 | static_cast<unsigned char>(c);
        return value;
    }
    std::string text() { return take(count()); }
    std::string take(size_t size)
    {
        EXPECT_LE(at_ + size, content_.size()) << "a record is cut";
        const std::string taken = content_.substr(at_, size);
        at_ = std::min(at_ + size, content_.size());
        return taken;
    }

private:
    std::string content_;
    size_t at_ = 0;
};

// What a current buffer file says: the header, then each sample with the names
// that are in force and each event.  Repeated names change nothing.
inline std::vector<std::string> meaning_of(const std::string &path)
{
    record_parser in(inflate_file(path));
    std::vector<std::string> meaning = {in.take(9)};
    std::string names;
    while (!in.at_end() && !testing::Test::HasFailure()) {
        const uint32_t type = in.count();
        std::string record = in.take(1);
        if (type == KOR_CB_RECORD_SENSOR_NAMES) {
            in.take(9 + 1);
            names.clear();
            for (uint32_t left = in.count(); left > 0; --left) {
                in.take(1);
                names += in.text() + ",";
            }
            continue;
        }
        if (type == KOR_CB_RECORD_SENSOR_VALUES) {
            record += names + in.take(9);
            record += in.take(4 * in.count());
        } else {
            EXPECT_EQ(type, KOR_CB_RECORD_EVENT);
            record += in.take(4 + 9);
            record += in.text();
        }
        meaning.push_back(record);
    }
    return meaning;
}

// --- the process ---

// No file may grow beyond `size` bytes while the object lives, as if the disk
// were full.
class file_size_limit {
public:
    explicit file_size_limit(size_t size)
    {
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        struct rlimit limit = before_;
        limit.rlim_cur = size;
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    file_size_limit(const file_size_limit &) = delete;
    file_size_limit &operator=(const file_size_limit &) = delete;
    ~file_size_limit()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    struct rlimit before_;
    void (*handler_)(int);
};

inline int open_descriptors()
{
    DIR *const folder = opendir("/proc/self/fd");
    if (folder == nullptr) return -1;
    int count = 0;
    while (readdir(folder) != nullptr) ++count;
    closedir(folder);
    return count;
}

// What became of a child process that ran `act`: its small result, or
// `aborted`.
inline constexpr int aborted = -1000;
inline int in_child(const std::function<int()> &act)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const struct rlimit no_core = {0, 0};
        setrlimit(RLIMIT_CORE, &no_core);
        if (std::freopen("/dev/null", "w", stderr) == nullptr) _exit(99);
        _exit(-act());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? -WEXITSTATUS(status) : aborted;
}

}  // namespace test

#endif
