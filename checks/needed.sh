#!/bin/sh
# needed.sh READELF LIBRARY: at run time the library needs zlib, the
# mathematical and the C library, and nothing else.
set -eu
"$1" -d "$2" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
    grep -vE '^(libz|libm|libc)\.so\.[0-9]+$|^ld-linux.*\.so\.[0-9]+$' && {
    echo "these libraries are not to be needed" >&2
    exit 1
}
exit 0
