#!/bin/sh
# man.sh BUILD: the manual pages are free of errors.
set -eu
for page in docs/*.scd; do
    scdoc < "$page" > "$1/$(basename "$page" .scd)"
    mandoc -T lint -W error "$1/$(basename "$page" .scd)"
done
