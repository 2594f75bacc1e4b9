#!/bin/sh
# cppcheck over the library, as the target's compiler sees it.
exec cppcheck --quiet --error-exitcode=1 --inline-suppr --language=c++ \
    --std=c++20 --platform=arm32-wchar_t4 \
    --enable=warning,performance,portability \
    --suppress=missingIncludeSystem -I include -I src -j "$(nproc)" src
