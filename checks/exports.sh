#!/bin/sh
# exports.sh NM LIBRARY: the library exports exactly what its headers declare,
# which is what the version script lists.
set -eu
nm=$1
library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$nm" -D --defined-only "$library" | awk '$2 != "A" { print $3 }' |
    sed 's/@.*//' | sort -u > "$work/exported"
python3 checks/declared.py include | sort -u > "$work/declared"
sed -n 's/^ *\([A-Za-z_0-9]*\);$/\1/p' packaging/libkor.map |
    sort -u > "$work/listed"
diff -u "$work/declared" "$work/exported"
diff -u "$work/declared" "$work/listed"
echo "$(wc -l < "$work/exported") symbols"
