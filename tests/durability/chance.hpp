// chance.hpp: numbers that a seed determines, on every machine the same.
#ifndef KOR_TESTS_DURABILITY_CHANCE_HPP
#define KOR_TESTS_DURABILITY_CHANCE_HPP

#include <cstddef>
#include <cstdint>

namespace durability {

inline uint64_t mix(uint64_t x)
{
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
}

class chance {
public:
    explicit chance(uint64_t seed) : state_(mix(seed + 1)) {}

    uint64_t next()
    {
        state_ += 0x9E3779B97F4A7C15u;
        return mix(state_);
    }
    // A number from 0 to n - 1.
    size_t below(size_t n) { return static_cast<size_t>(next() % n); }
    // True in one of n cases.
    bool one_in(size_t n) { return below(n) == 0; }

private:
    uint64_t state_;
};

}  // namespace durability

#endif
