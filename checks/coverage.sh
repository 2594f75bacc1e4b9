#!/bin/sh
# coverage.sh BUILD: how much of src/ the tests of this build have executed;
# fails below the thresholds.
set -eu
exec gcovr -r . -f src/ --exclude-unreachable-branches \
    --exclude-throw-branches --print-summary \
    --html-details "$1/report.html" -j "$(nproc)" \
    --fail-under-line 98 --fail-under-branch 90 "$1"
