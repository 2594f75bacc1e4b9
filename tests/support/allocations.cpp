// The test program is linked with --wrap for the allocation functions, so
// every allocation that the library makes passes here.  Nothing happens until
// a test arms a countdown or a count.
#include <cerrno>
#include <cstdlib>

#include "support/support.hpp"

namespace {
constexpr int never = -1;
int countdown = never;  // allocations until the failing one
bool watching = false;
bool was_reached = false;
int live_blocks = 0;
int all_blocks = 0;

// Blocks made while watching; a block made before must not count as freed.
constexpr size_t table_size = 1u << 17;
void *table[table_size];

size_t slot_of(const void *block)
{
    return (reinterpret_cast<size_t>(block) >> 4) * 2654435761u % table_size;
}
void remember(void *block)
{
    size_t i = slot_of(block);
    while (table[i] != nullptr && table[i] != &table) i = (i + 1) % table_size;
    table[i] = block;
    ++live_blocks;
}
void forget(const void *block)
{
    for (size_t i = slot_of(block); table[i] != nullptr;
         i = (i + 1) % table_size) {
        if (table[i] != block) continue;
        table[i] = &table;  // a tombstone
        --live_blocks;
        return;
    }
}
bool must_fail()
{
    if (!watching) return false;
    ++all_blocks;
    if (countdown == never || countdown-- > 0) return false;
    countdown = never;
    was_reached = true;
    errno = ENOMEM;
    return true;
}
void *made(void *block)
{
    if (watching && block != nullptr) remember(block);
    return block;
}
void watch(int failing)
{
    std::memset(table, 0, sizeof table);
    countdown = failing;
    was_reached = false;
    live_blocks = 0;
    all_blocks = 0;
    watching = true;
}
void unwatch()
{
    watching = false;
    countdown = never;
}
}  // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
char *__real_strdup(const char *text);
void __real_free(void *block);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);
char *__wrap_strdup(const char *text);
void __wrap_free(void *block);

void *__wrap_malloc(size_t size)
{
    return must_fail() ? nullptr : made(__real_malloc(size));
}
void *__wrap_calloc(size_t count, size_t size)
{
    return must_fail() ? nullptr : made(__real_calloc(count, size));
}
void *__wrap_realloc(void *block, size_t size)
{
    if (must_fail()) return nullptr;
    if (watching && block != nullptr) forget(block);
    return made(__real_realloc(block, size));
}
char *__wrap_strdup(const char *text)
{
    return must_fail() ? nullptr
                       : static_cast<char *>(made(__real_strdup(text)));
}
void __wrap_free(void *block)
{
    if (watching && block != nullptr) forget(block);
    __real_free(block);
}
}

namespace test {

failing_allocation::failing_allocation(int n)
{
    watch(n);
}
failing_allocation::~failing_allocation()
{
    unwatch();
}
bool failing_allocation::reached() const
{
    return was_reached;
}
int failing_allocation::live() const
{
    return live_blocks;
}

allocation_count::allocation_count()
{
    watch(never);
}
allocation_count::~allocation_count()
{
    unwatch();
}
int allocation_count::live() const
{
    return live_blocks;
}
int allocation_count::total() const
{
    return all_blocks;
}

void expect_every_allocation_failure_is_clean(
    const std::function<int()> &attempt, int code)
{
    for (int failing = 0;; ++failing) {
        SCOPED_TRACE("allocation " + std::to_string(failing) + " fails");
        watch(failing);
        const int result = attempt();
        unwatch();
        EXPECT_EQ(live_blocks, 0);
        if (!was_reached) {  // the attempt makes fewer allocations than that
            EXPECT_EQ(result, KOR_OK);
            EXPECT_GT(failing, 0) << "the attempt allocates nothing";
            return;
        }
        EXPECT_EQ(result, code);
    }
}

}  // namespace test
