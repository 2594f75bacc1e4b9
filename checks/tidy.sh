#!/bin/sh
# tidy.sh BUILD: clang-tidy over the library and the tool.
set -eu
git ls-files 'src/*.cpp' 'tool/*.cpp' |
    xargs -P "$(nproc)" -n 1 clang-tidy -p "$1" --quiet \
        --warnings-as-errors='*' 2> /dev/null
