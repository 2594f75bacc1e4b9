// Every byte of a small file of each kind is changed, once as it lies on the
// disk and once inside its zlib streams, behind the checksums.  The library's
// own readers must then give a documented code or a documented abort, and the
// process that met the file must not fail in any other way.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <set>

#include "kor_buffer.h"
#include "kor_current_buffer_compress.h"
#include "kor_hist_buffer_compress.h"
#include "recorder_support.hpp"

using test::inflate_streams;
using test::read_file;
using test::write_file;

namespace {

// The preconditions that a damaged file may break: a string cut right behind
// its length, the second event counter missing, an event type or a time stamp
// that no interval can hold, a history without names.
const std::set<std::string> documented_aborts = {
    "nread != 0",
    "counter != NULL",
    "!timestamp_is_null(&state->start)",
    "!timestamp_is_null(&state->end)",
    "state->cbuf->names != NULL",
    "*names1 != NULL",
    "*names1 == state->hbuf_in->hb_rec_sensors_last",
    "hvalue->count == 0",
};

bool is_documented(int code)
{
#define CASE(name, value, meaning) \
    if (code == (value)) return true;
    KOR_ERROR_LIST(CASE)
#undef CASE
    return false;
}

// What became of a process that met a damaged file.
struct outcome {
    int status;
    std::string errors;
};

outcome run_in_child(int (*use)())
{
    int ends[2];
    if (pipe(ends) != 0) return {-1, "no pipe"};
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        const struct rlimit none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
        alarm(20);  // a reader that hangs is killed by it
        _exit(is_documented(use()) ? 0 : 99);
    }
    close(ends[1]);
    outcome result = {0, {}};
    char block[512];
    for (ssize_t n; (n = read(ends[0], block, sizeof block)) > 0;)
        result.errors.append(block, static_cast<size_t>(n));
    close(ends[0]);
    waitpid(child, &result.status, 0);
    return result;
}

// The expression of the assertion that ended a process.
std::string broken_expression(const std::string &errors)
{
    const size_t start = errors.find("Assertion `");
    const size_t end = errors.find("' failed.", start);
    if (start == std::string::npos || end == std::string::npos) return {};
    return errors.substr(start + 11, end - start - 11);
}

void expect_documented(int (*use)(), int &naborts)
{
    const outcome result = run_in_child(use);
    if (WIFEXITED(result.status)) {
        EXPECT_EQ(WEXITSTATUS(result.status), 0) << result.errors;
        return;
    }
    EXPECT_EQ(WTERMSIG(result.status), SIGABRT) << result.errors;
    EXPECT_EQ(documented_aborts.count(broken_expression(result.errors)), 1u)
        << result.errors;
    ++naborts;
}

// --- what is done with a file ---

int last_result(const void *made)
{
    return made != nullptr ? KOR_OK : vela_get_last_error();
}

int append_to_buffer()
{
    struct kor_current_buffer *cbuf = kor_current_buffer_open_for_append("x");
    if (cbuf == nullptr) return vela_get_last_error();
    const int written =
        kor_current_buffer_write_telemetry_vector(cbuf, test::sample(9).get());
    kor_current_buffer_close(&cbuf);
    return written;
}

int fold_buffer()
{
    struct kor_hist_buffer *hbuf = kor_hist_buffer_create("out", 64);
    const int folded = kor_current_buffer_compress("x", hbuf, 2);
    kor_hist_buffer_close(&hbuf);
    return folded;
}

int read_history()
{
    struct kor_hist_buffer *hbuf = kor_hist_buffer_open_for_read_write("x");
    if (hbuf == nullptr) return vela_get_last_error();
    struct kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    int result = KOR_OK;
    while (result == KOR_OK) result = kor_hist_buffer_read_record(hbuf, &rec);
    kor_hb_record_destruct(&rec);
    kor_hist_buffer_close(&hbuf);
    return result;
}

int merge_history()
{
    struct kor_hist_buffer *hbuf = kor_hist_buffer_create("out", 64);
    const int merged = kor_hist_buffer_compress("x", hbuf);
    kor_hist_buffer_close(&hbuf);
    return merged;
}

int open_either_kind()
{
    struct kor_buffer *buffer = kor_buffer_open_for_read_write("x");
    const int result = last_result(buffer);
    if (buffer != nullptr) kor_buffer_destroy(&buffer);
    return result;
}

int open_recorder_of_state()
{
    struct kor *kor = kor_open("rec");
    if (kor == nullptr) return vela_get_last_error();
    const int restored = kor_get_restore_result(kor);
    kor_close(&kor);
    return restored > 0 ? KOR_OK : restored;
}

// --- the sweeps ---

using uses = std::vector<int (*)()>;

class CorruptedFile : public test::InScratchFolder {
protected:
    // Through C00, CC0 and CCC into HCC, with events.
    void SetUp() override
    {
        const test::kor_holder kor = test::create_recorder();
        test::fill(kor, 0, 2);
        kor_write_event(kor.get(), test::fan_fail().get());
        test::fill(kor, 2, 10);
        kor_write_event(kor.get(), test::fan_fail().get());
        test::fill(kor, 10, 13);
    }

    void try_content(const std::string &name, const std::string &content,
                     const uses &all)
    {
        write_file(name, content);
        for (int (*use)() : all) {
            expect_documented(use, naborts_);
            ++ntried_;
        }
    }

    // Changes each byte of `content` in each of the given ways; `store` makes
    // the file's bytes of it.
    template <class Store>
    void sweep(const std::string &name, const std::string &content,
               const std::vector<int> &changes, const uses &all, Store store)
    {
        for (size_t i = 0; i < content.size(); ++i) {
            for (const int change : changes) {
                SCOPED_TRACE("byte " + std::to_string(i));
                std::string damaged = content;
                damaged[i] = static_cast<char>(damaged[i] ^ change);
                try_content(name, store(damaged), all);
            }
        }
    }

    void sweep_buffer(const std::string &file, const uses &all)
    {
        sweep("x", read_file(file), {0xff}, all,
              [](const std::string &damaged) { return damaged; });
        sweep("x", test::inflate_file(file), {0x01, 0xff}, all,
              test::deflate_stream);
        std::printf("%s: %d uses of damaged files, %d documented aborts\n",
                    file.c_str(), ntried_, naborts_);
    }

    int ntried_ = 0;
    int naborts_ = 0;
};

}  // namespace

TEST_F(CorruptedFile, OfACurrentBufferGivesCodesOrDocumentedAborts)
{
    sweep_buffer("rec.3.cbuf.z",
                 {append_to_buffer, fold_buffer, open_either_kind});
}

TEST_F(CorruptedFile, OfAHistoryBufferGivesCodesOrDocumentedAborts)
{
    sweep_buffer("rec.4.hbuf.z", {read_history, merge_history});
}

TEST_F(CorruptedFile, OfAStateFileGivesCodesOrDocumentedAborts)
{
    const std::string state = read_file("rec.state");
    sweep("rec.state", state, {0x01, 0xff}, {open_recorder_of_state},
          [](const std::string &damaged) { return damaged; });
    for (size_t size = 0; size < state.size(); ++size) {
        SCOPED_TRACE("cut after " + std::to_string(size) + " bytes");
        try_content("rec.state", state.substr(0, size),
                    {open_recorder_of_state});
    }
    std::printf("state file: %d openings, %d documented aborts\n", ntried_,
                naborts_);
}
