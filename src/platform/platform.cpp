// platform.cpp: what stands in until the product supplies its own.
//
// All three functions are weak, and alone in this unit: a program that defines
// one of them replaces it everywhere in the library.
#include "platform.h"

namespace {

// A full-period counter whose every state is mixed into one random number.
constexpr uint64_t counter_step = 0x9E3779B97F4A7C15;
constexpr uint64_t first_mix = 0xBF58476D1CE4E5B9;
constexpr uint64_t second_mix = 0x94D049BB133111EB;

}  // namespace

[[gnu::weak]] void sp_trace_printf(int, int, int, int, const char *, ...) {}

[[gnu::weak]] void sp_trace_string(int, int, int, int, const char *) {}

[[gnu::weak]] uint32_t random_uint(void)
{
    static constinit uint64_t counter = 0;
    counter += counter_step;
    uint64_t mixed = (counter ^ (counter >> 30)) * first_mix;
    mixed = (mixed ^ (mixed >> 27)) * second_mix;
    return static_cast<uint32_t>(mixed >> 32);
}
