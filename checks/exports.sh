#!/bin/sh
# exports.sh NM LIBRARY: the library exports exactly what its headers declare,
# which is what the version script lists, and what the table promises that
# stands apart from all three.
set -eu
LC_ALL=C
export LC_ALL
nm=$1
library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$nm" -D --defined-only "$library" | awk '$2 != "A" { print $3 }' |
    sed 's/@.*//' | sort -u > "$work/exported"
python3 checks/declared.py include | sort -u > "$work/declared"
sed -n 's/^ *\([A-Za-z_0-9]*\);$/\1/p' packaging/libkor.map |
    sort -u > "$work/listed"
for found in exported declared listed; do
    diff -u tests/contract/exports.txt "$work/$found"
done
echo "$(wc -l < tests/contract/exports.txt) symbols"
