// contract.hpp: how a provocation of a promised abort or code is written.
//
// The tables below assertions/ and errors/ name, function by function, what
// the library promises: which broken preconditions abort, with which words,
// and which failures come back as which code.  Each row needs a provocation:
//
//     ABORTS(timestamp_array_get, "i >= 0")
//     {
//         timestamp_array_get(two_timestamps(), -1);
//     }
//
//     FAILS(timestamp_init_from_string, -11)
//     {
//         struct timestamp t;
//         return timestamp_init_from_string(&t, "yesterday");
//     }
//
// An ABORTS body runs in a process of its own and must end in that abort,
// named with that function.  A FAILS body returns the code it got; for
// functions that return a pointer use last_error_of.  Several provocations of
// one row are fine: all must succeed.
#ifndef KOR_TESTS_CONTRACT_HPP
#define KOR_TESTS_CONTRACT_HPP

#include "libkor.h"
#include "support/support.hpp"

namespace contract {

struct abort_provocation {
    const char *function;
    const char *expression;
    void (*run)();
};
struct failure_provocation {
    const char *function;
    int code;
    int (*run)();
};

int add(const abort_provocation &provocation);
int add(const failure_provocation &provocation);

// The code behind a null result; 1 when the result is not null.
template <class T>
int last_error_of(const T *made)
{
    return made != nullptr ? 1 : vela_get_last_error();
}

// What `attempt` gives when its n-th allocation fails.
template <class Attempt>
int with_failing_allocation(int n, Attempt attempt)
{
    const test::failing_allocation failing(n);
    return attempt();
}

}  // namespace contract

#define CONTRACT_JOIN2(a, b) a##b
#define CONTRACT_JOIN(a, b) CONTRACT_JOIN2(a, b)

#define ABORTS(function, expression) \
    CONTRACT_ABORTS(#function, expression, CONTRACT_JOIN(provoke_, __COUNTER__))
#define CONTRACT_ABORTS(function, expression, name)                   \
    static void name();                                               \
    [[maybe_unused]] static const int CONTRACT_JOIN(name, _added) =   \
        contract::add(                                                \
            contract::abort_provocation{function, expression, name}); \
    static void name()

#define FAILS(function, code) \
    CONTRACT_FAILS(#function, code, CONTRACT_JOIN(provoke_, __COUNTER__))
#define CONTRACT_FAILS(function, code, name)                                \
    static int name();                                                      \
    [[maybe_unused]] static const int CONTRACT_JOIN(name, _added) =         \
        contract::add(contract::failure_provocation{function, code, name}); \
    static int name()

#endif
