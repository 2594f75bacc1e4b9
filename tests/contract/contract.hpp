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
// named with that function; what it leaves behind goes with the process.  A
// FAILS body returns the code it got and cleans up; for functions that return
// a pointer use last_error_of.  The last error is 0 when it starts.  Several
// provocations of one row are fine: all must succeed.
//
// Where one call does it, a line does it:
//
//     ABORTS_WITH(timestamp_array_get, "i >= 0", two_timestamps(), -1);
//     ABORTS_BY(sensor_init, "name != NULL", sensor_create(NULL));
//     FAILS_BY(timestamp_init_from_string, -11, parse("yesterday"));
#ifndef KOR_TESTS_CONTRACT_HPP
#define KOR_TESTS_CONTRACT_HPP

#include <cstdlib>

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

// The same, but a result that is not null is destroyed again.
template <class T>
int last_error_of(T *made, void (*destroy)(T **))
{
    if (made == nullptr) return vela_get_last_error();
    destroy(&made);
    return 1;
}

// What `init` gives for an object, which is destructed again after a success.
template <class T, class Init>
int result_of_init(Init init, void (*destruct)(T *))
{
    T object;
    const int result = init(&object);
    if (result == KOR_OK) destruct(&object);
    return result;
}

// A block of null pointers that an array may take over.
template <class T>
T **null_pointers(size_t count)
{
    return static_cast<T **>(std::calloc(count, sizeof(T *)));
}

// What `attempt` gives when its n-th allocation fails.
template <class Attempt>
int with_failing_allocation(int n, Attempt attempt)
{
    const test::failing_allocation failing(n);
    return attempt();
}

// Fails each allocation of `attempt` in turn: -22 if each failure comes back
// as that, else the first other result.  An attempt that succeeds cleans up.
template <class Attempt>
int with_each_allocation_failing(Attempt attempt)
{
    for (int n = 0;; ++n) {
        vela_set_last_error(KOR_OK);
        const test::failing_allocation failing(n);
        const int result = attempt();
        if (!failing.reached()) return n > 0 ? KOR_ERR_NO_MEMORY : result;
        if (result != KOR_ERR_NO_MEMORY) return result;
    }
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

// The call of `call` aborts in `function`, or that of `function` itself with
// these arguments.
#define ABORTS_BY(function, expression, call)                                  \
    [[maybe_unused]] static const int CONTRACT_JOIN(provoked_, __COUNTER__) =  \
        contract::add(contract::abort_provocation{#function, expression, [] {  \
                                                      static_cast<void>(call); \
                                                  }})
#define ABORTS_WITH(function, expression, ...) \
    ABORTS_BY(function, expression, function(__VA_ARGS__))

// The expression gives the code that `function` failed with.
#define FAILS_BY(function, code, ...)                                         \
    [[maybe_unused]] static const int CONTRACT_JOIN(provoked_, __COUNTER__) = \
        contract::add(                                                        \
            contract::failure_provocation{#function, code, []() -> int {      \
                                              return __VA_ARGS__;             \
                                          }})

#endif
