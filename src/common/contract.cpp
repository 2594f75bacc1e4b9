#include "common/contract.hpp"

#include <cstdio>
#include <cstdlib>

#ifdef KOR_COVERAGE
extern "C" void __gcov_dump(void);
#endif

#ifdef KOR_FUZZING
void (*vela::contract_hook)(const char *expression) = nullptr;
#endif

void vela::contract_broken(const char *expression, const char *file, int line,
                           const char *function) noexcept
{
#ifdef KOR_FUZZING
    if (contract_hook != nullptr) contract_hook(expression);
#endif
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line,
                 function, expression);
#ifdef KOR_COVERAGE
    __gcov_dump();  // abort() would lose what this process has counted
#endif
    std::abort();
}
