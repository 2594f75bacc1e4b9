#!/bin/sh
# static_initialisers.sh READELF LIBRARY: nothing of ours runs at load time.
# The compiler's own start files account for one entry.
set -eu
size=$("$1" -SW "$2" |
    sed -n 's/.* \.init_array *INIT_ARRAY *[0-9a-f]* [0-9a-f]* \([0-9a-f]*\).*/\1/p')
pointer=$("$1" -h "$2" | grep -q ELF64 && echo 8 || echo 4)
[ $((0x${size:-0})) -le "$pointer" ] || {
    echo "the library has static initialisers" >&2
    exit 1
}
