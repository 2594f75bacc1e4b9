// Walks the contract tables: every row is provoked, unless it says why nothing
// can, and every provocation has a row.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "contract/contract.hpp"

namespace fs = std::filesystem;

namespace {
std::vector<contract::abort_provocation> &aborts()
{
    static std::vector<contract::abort_provocation> all;
    return all;
}
std::vector<contract::failure_provocation> &failures()
{
    static std::vector<contract::failure_provocation> all;
    return all;
}

using claim = std::pair<std::string, std::string>;  // function, what it claims

struct row {
    std::string place;  // file:line
    claim promised;
    bool unreachable;
};

// The rows of all tables in a folder: function, claim, and where nothing can
// provoke it "unreachable: " and the reason, separated by tabs.
std::vector<row> rows_of(const std::string &folder)
{
    std::vector<row> rows;
    for (const auto &entry : fs::directory_iterator(folder)) {
        std::ifstream in(entry.path());
        std::string line;
        for (int number = 1; std::getline(in, line); ++number) {
            if (line.empty() || line[0] == '#') continue;
            std::istringstream fields(line);
            std::string function, what, remark;
            std::getline(fields, function, '\t');
            std::getline(fields, what, '\t');
            std::getline(fields, remark);
            const std::string place =
                entry.path().filename().string() + ":" + std::to_string(number);
            const std::string mark = "unreachable: ";
            const bool unreachable = remark.rfind(mark, 0) == 0;
            EXPECT_EQ(!remark.empty(), unreachable) << place;
            EXPECT_TRUE(!unreachable || remark.size() > mark.size() + 10)
                << place << ": a reason is owed";
            rows.push_back({place, {function, what}, unreachable});
        }
    }
    return rows;
}

// Everything that a child process writes to standard error until it ends.
std::string errors_of_child(void (*run)(), int &status)
{
    int ends[2];
    if (pipe(ends) != 0) return "no pipe";
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        const struct rlimit none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
        // Folders that it makes and cannot remove stay inside the parent's.
        setenv("TMPDIR", fs::current_path().c_str(), 1);
        run();
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    char block[512];
    for (ssize_t n; (n = read(ends[0], block, sizeof block)) > 0;)
        text.append(block, static_cast<size_t>(n));
    close(ends[0]);
    waitpid(child, &status, 0);
    return text;
}

void expect_abort(const contract::abort_provocation &provocation)
{
    SCOPED_TRACE(std::string(provocation.function) + ": " +
                 provocation.expression);
    int status = 0;
    const std::string text = errors_of_child(provocation.run, status);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    EXPECT_THAT(text, testing::ContainsRegex("[a-z_0-9]+\\.[ch]pp:[0-9]+: "));
    EXPECT_THAT(text,
                testing::HasSubstr(std::string(": ") + provocation.function +
                                   ": Assertion `" + provocation.expression +
                                   "' failed.\n"));
}

// Checks rows against claims that were provoked and prints the counts.
void expect_all_rows_provoked(const char *what, const std::vector<row> &rows,
                              const std::set<claim> &provoked)
{
    std::set<claim> promised;
    int unreachable = 0;
    for (const row &row : rows) {
        SCOPED_TRACE(row.place + ": " + row.promised.first + ": " +
                     row.promised.second);
        EXPECT_TRUE(promised.insert(row.promised).second) << "stands twice";
        const bool done = provoked.count(row.promised) != 0;
        EXPECT_NE(done, row.unreachable)
            << (done ? "provoked, so not unreachable" : "nothing provokes it");
        unreachable += row.unreachable ? 1 : 0;
    }
    for (const claim &made : provoked)
        EXPECT_TRUE(promised.count(made) != 0)
            << made.first << ": " << made.second << " has no row";
    std::printf("%s: %zu rows, %zu provoked, %d unreachable\n", what,
                rows.size(), provoked.size(), unreachable);
}
}  // namespace

int contract::add(const abort_provocation &provocation)
{
    aborts().push_back(provocation);
    return 0;
}

int contract::add(const failure_provocation &provocation)
{
    failures().push_back(provocation);
    return 0;
}

TEST(Contract, EveryPromisedAbortIsKept)
{
    const test::scratch_folder folder;
    std::set<claim> provoked;
    for (const auto &provocation : aborts()) {
        expect_abort(provocation);
        provoked.insert({provocation.function, provocation.expression});
    }
    expect_all_rows_provoked("assertions", rows_of(KOR_CONTRACT "/assertions"),
                             provoked);
}

TEST(Contract, EveryPromisedCodeComesBack)
{
    const test::scratch_folder folder;
    std::set<claim> provoked;
    for (const auto &provocation : failures()) {
        SCOPED_TRACE(std::string(provocation.function) + ": " +
                     std::to_string(provocation.code));
        vela_set_last_error(KOR_OK);
        EXPECT_EQ(provocation.run(), provocation.code);
        provoked.insert(
            {provocation.function, std::to_string(provocation.code)});
    }
    expect_all_rows_provoked("errors", rows_of(KOR_CONTRACT "/errors"),
                             provoked);
}
