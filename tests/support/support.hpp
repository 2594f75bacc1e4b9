// support.hpp: what every libkor test leans on.
#ifndef KOR_TESTS_SUPPORT_HPP
#define KOR_TESTS_SUPPORT_HPP

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "error.h"
#include "reader.h"
#include "writer.h"

namespace test {

// A statement that must abort on exactly this assertion.
#define EXPECT_ABORTS(statement, expression) \
    EXPECT_DEATH(statement,                  \
                 testing::HasSubstr("Assertion `" expression "' failed.\n"))

// The same, and the function that the assertion must name.
#define EXPECT_ABORTS_IN(function, statement, expression)                    \
    EXPECT_DEATH(statement,                                                  \
                 testing::HasSubstr(": " function ": Assertion `" expression \
                                    "' failed.\n"))

// Bytes from hex digits; blanks and line breaks are skipped.
std::string bytes(const char *hex);

// A writer that keeps what it is given and can be told to fail.
class memory_writer {
public:
    memory_writer();
    memory_writer(const memory_writer &) = delete;
    memory_writer &operator=(const memory_writer &) = delete;
    struct writer *get() { return &base_; }
    const std::string &bytes() const { return bytes_; }
    int calls() const { return calls_; }

    // Every write after the first `calls` returns `code`.
    void fail_after(int calls, int code)
    {
        calls_left_ = calls;
        code_ = code;
    }

private:
    int write(const void *buf, uint32_t len);

    struct writer base_ = {};
    std::string bytes_;
    int calls_ = 0;
    int calls_left_ = -1;
    int code_ = 0;
};

// A reader over bytes in memory.
class memory_reader {
public:
    explicit memory_reader(std::string bytes);
    memory_reader(const memory_reader &) = delete;
    memory_reader &operator=(const memory_reader &) = delete;
    struct reader *get() { return &base_; }
    size_t position() const { return position_; }

    // The read after the first `calls` returns `code`, as do all later ones.
    void fail_after(int calls, int code)
    {
        calls_left_ = calls;
        code_ = code;
    }

private:
    int read(void *buf, uint32_t len);

    struct reader base_ = {};
    std::string bytes_;
    size_t position_ = 0;
    int calls_left_ = -1;
    int code_ = 0;
};

// What the cuts of an encoding read as, where that is not KOR_ERR_TRUNCATED.
struct cuts {
    int when_empty;                          // nothing at all was stored
    std::vector<size_t> string_starts = {};  // the string reader's own -43
    std::vector<size_t> aborting = {};       // documented aborts, not tried
};

// Cuts a good encoding after every byte and reads each piece.  The whole must
// give its own length, every shorter piece its code.
void expect_every_cut_is_refused(
    const std::string &encoding, const cuts &codes,
    const std::function<int(struct reader *)> &read);

// --- allocations (allocations.cpp) ---

// Runs `attempt` once for each allocation it makes, failing that one.  Each
// run must report `code` and leave no block behind.  The attempt returns a
// status, cleans up what it made, and must succeed undisturbed.
void expect_every_allocation_failure_is_clean(
    const std::function<int()> &attempt, int code = KOR_ERR_NO_MEMORY);

// Makes the n-th allocation (from 0) fail while the object lives.
class failing_allocation {
public:
    explicit failing_allocation(int n);
    failing_allocation(const failing_allocation &) = delete;
    failing_allocation &operator=(const failing_allocation &) = delete;
    ~failing_allocation();
    bool reached() const;  // whether the n-th was asked for
    int live() const;      // blocks made since and not freed
};

// Counts blocks allocated and not yet freed while the object lives.
class allocation_count {
public:
    allocation_count();
    allocation_count(const allocation_count &) = delete;
    allocation_count &operator=(const allocation_count &) = delete;
    ~allocation_count();
    int live() const;   // blocks made since and not freed
    int total() const;  // allocations made since
};

// --- the platform (platform.cpp) ---

struct trace_line {
    int level;
    int a;  // always -1
    int b;  // always 39
    int message_id;
    std::string text;
};
// What the library has traced since the last clear.
std::vector<trace_line> &traces();

// What random_uint yields next; when used up, a fixed generator goes on.
void script_random(std::vector<uint32_t> values);
// How many values random_uint has handed out since the last script_random.
int random_draws();

// --- files (files.cpp) ---

// The test that runs, as it is chosen on the command line.
std::string name_of_test();

// An empty folder that is the current one while the object lives.
class scratch_folder {
public:
    scratch_folder();
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;
    ~scratch_folder();
    const std::string &path() const { return path_; }

private:
    std::string path_;
    std::string previous_;
    int owner_;  // the process; those that it forks keep no files
};

// A test whose files lie in a folder of its own.
class InScratchFolder : public testing::Test {
protected:
    scratch_folder folder_;
};

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &content);
bool file_exists(const std::string &path);
// The names in a folder, sorted.
std::vector<std::string> list_folder(const std::string &path = ".");
// All zlib streams of a file, inflated one after another.  The test fails if
// the file is not a run of whole streams.
std::string inflate_file(const std::string &path);
// Each zlib stream of a file, inflated.
std::vector<std::string> inflate_streams(const std::string &path);
// One zlib stream that holds `content`.
std::string deflate_stream(const std::string &content);

}  // namespace test

#endif
