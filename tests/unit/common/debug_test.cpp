#include "debug.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>

#include "support/support.hpp"

TEST(Heapify, CopiesABlockToTheHeap)
{
    const char original[] = {'a', '\0', 'b'};
    test::allocation_count blocks;
    void *copy = vela_heapify(original, sizeof original);
    EXPECT_EQ(blocks.live(), 1);
    EXPECT_EQ(std::memcmp(copy, original, sizeof original), 0);
    std::free(copy);
}

TEST(HeapifyDeathTest, NullIsABug)
{
    EXPECT_ABORTS_IN("vela_heapify", vela_heapify(NULL, 4), "p != NULL");
}

static void _heapify_without_memory()
{
    test::failing_allocation fails(0);
    vela_heapify("abc", 3);
}

TEST(HeapifyDeathTest, NoMemoryIsNotReportedButAborts)
{
    EXPECT_ABORTS(_heapify_without_memory(), "copy != NULL");
}

// The log is opened once in a process, so each test has a process of its own.
class SeedLogDeathTest : public test::InScratchFolder {
protected:
    // In the child: standard output goes to a file.
    static void redirect_output()
    {
        if (std::freopen("stdout", "w", stdout) == nullptr) std::abort();
    }
};

static void _log_two_seeds()
{
    _vela_srand(7, "a_test.c", 12);
    _vela_srand(-3, "b_test.c", 99);
    std::exit(0);
}

TEST_F(SeedLogDeathTest, TwoSeedsAreTwoLinesOfOneFile)
{
    test::write_file("srand.log", "from an earlier process\n");
    EXPECT_EXIT((redirect_output(), _log_two_seeds()),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(test::read_file("srand.log"),
              "a_test.c:12: seed=7\nb_test.c:99: seed=-3\n");
    EXPECT_EQ(test::read_file("stdout"),
              "\na_test.c:12: seed=7\n\nb_test.c:99: seed=-3\n");
}

static void _exit_with_size_of_unflushed_log()
{
    _vela_srand(7, "a_test.c", 12);
    std::exit(static_cast<int>(test::read_file("srand.log").size()));
}

TEST_F(SeedLogDeathTest, TheLogIsNotFlushed)
{
    EXPECT_EXIT((redirect_output(), _exit_with_size_of_unflushed_log()),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(test::read_file("srand.log"), "a_test.c:12: seed=7\n");
}

static void _exit_after_seed_of_the_generator()
{
    std::srand(5);
    const int expected = std::rand();
    std::srand(5);
    _vela_srand(7, "a_test.c", 12);
    std::exit(std::rand() == expected ? 0 : 1);
}

TEST_F(SeedLogDeathTest, NoGeneratorIsSeeded)
{
    EXPECT_EXIT((redirect_output(), _exit_after_seed_of_the_generator()),
                testing::ExitedWithCode(0), "");
}

static void _log_clock()
{
    _vela_srand_clock("clock_test.c", 5);
    std::exit(0);
}

TEST_F(SeedLogDeathTest, TheClockGivesSecondsAsTheSeed)
{
    const auto before = static_cast<int>(std::time(nullptr));
    EXPECT_EXIT((redirect_output(), _log_clock()), testing::ExitedWithCode(0),
                "");
    const auto after = static_cast<int>(std::time(nullptr));
    const std::string line = test::read_file("srand.log");
    const std::string start = "clock_test.c:5: seed=";
    ASSERT_EQ(line.substr(0, start.size()), start);
    const int seed = std::stoi(line.substr(start.size()));
    EXPECT_GE(seed, before);
    EXPECT_LE(seed, after);
}

TEST_F(SeedLogDeathTest, ALogThatCannotBeOpenedAborts)
{
    ASSERT_EQ(mkdir("srand.log", 0777), 0);
    EXPECT_ABORTS_IN("_vela_srand", _vela_srand(1, "x", 1), "fp != NULL");
}
