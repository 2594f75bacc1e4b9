#!/bin/sh
# Refuses C and C++ files that clang-format would change.
git ls-files '*.c' '*.h' '*.cpp' '*.hpp' |
    xargs clang-format --dry-run -Werror
