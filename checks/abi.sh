#!/bin/sh
# abi.sh LIBRARY [--renew]: the functions, data and types of the public headers
# are those of packaging/libkor.abi; any change fails, an addition as well.
#
# A change that is meant is written down by
#
#     checks/abi.sh build/release/libkor.so --renew
#
# and one that breaks programs needs another soname besides.
set -eu
library=$1
baseline=packaging/libkor.abi

# What the baseline holds is the ABI of one kind of machine.
machine=$(readelf -h "$library" | sed -n 's/ *Machine: *//p')
case $machine in
    *X86-64*) ;;
    *) echo "there is no baseline for $machine"; exit 77 ;;
esac
readelf -SW "$library" | grep -q ' \.debug_info' || {
    echo "$library has no debug information to tell its types" >&2
    exit 1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Neither places in the sources nor what the headers do not show.
abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed \
    --no-parameter-names --no-write-default-sizes --exported-interfaces-only \
    --drop-private-types --headers-dir include \
    --out-file "$work/whole.abi" "$library"
sed "s: path='[^']*/src/: path=':" "$work/whole.abi" > "$work/libkor.abi"
if [ "${2:-}" = --renew ]; then
    cp "$work/libkor.abi" "$baseline"
fi
# abidiff takes a baseline that is no XML for one without changes.
python3 -c 'import sys, xml.etree.ElementTree as x; x.parse(sys.argv[1])' \
    "$baseline"
abidiff --harmless "$baseline" "$work/libkor.abi" || {
    echo "the binary interface has changed; if that is meant: $0 LIBRARY --renew"
    exit 1
}
