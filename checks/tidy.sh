#!/bin/sh
# tidy.sh BUILD: clang-tidy over the library and the tool.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The other compiler's own tuning means nothing to this one.
sed 's/ -fvect-cost-model=[a-z]*//' "$1/compile_commands.json" \
    > "$work/compile_commands.json"
# It counts on standard error what it does not show; that is of interest only
# where it fails.
git ls-files 'src/*.cpp' 'tool/*.cpp' |
    xargs -P "$(nproc)" -n 1 clang-tidy -p "$work" --quiet \
        --warnings-as-errors='*' 2> "$work/errors" || {
    grep -v 'warnings\? \(generated\|treated\)' "$work/errors" >&2
    exit 1
}
