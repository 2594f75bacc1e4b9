#!/bin/sh
# needed.sh READELF LIBRARY: at run time the library needs zlib, the
# mathematical and the C library, and nothing else.
set -eu
dynamic=$("$1" -dW "$2")
needed=$(printf '%s\n' "$dynamic" |
    sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
[ -n "$needed" ] || {
    echo "$2 needs nothing, not even the C library" >&2
    exit 1
}
if printf '%s\n' "$needed" |
    grep -vE '^(libz|libm|libc)\.so\.[0-9]+$|^ld-linux.*\.so\.[0-9]+$'; then
    echo "these libraries are not to be needed" >&2
    exit 1
fi
