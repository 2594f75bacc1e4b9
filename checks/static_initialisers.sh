#!/bin/sh
# static_initialisers.sh READELF LIBRARY: nothing of ours runs at load time.
# The compiler's own start files account for one entry.
set -eu
sections=$("$1" -SW "$2")
header=$("$1" -h "$2")
size=$(printf '%s\n' "$sections" | sed -n \
    's/.* \.init_array *INIT_ARRAY *[0-9a-f]* [0-9a-f]* \([0-9a-f]*\).*/\1/p')
case $header in
    *ELF64*) pointer=8 ;;
    *) pointer=4 ;;
esac
[ $((0x${size:-0})) -le "$pointer" ] || {
    echo "the library has static initialisers" >&2
    exit 1
}
