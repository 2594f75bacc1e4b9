#!/bin/sh
# consumer.sh pkg-config|cmake PREFIX [ROOT]: builds and runs a C and a C++
# program against the libkor that is installed in PREFIX, or in PREFIX below
# ROOT, where nothing else is.
#
# CC, CXX and EMULATOR may name the compilers and what runs their programs.
set -eu
way=$1
prefix=$2
root=${3:-}
project=$(cd "$(dirname "$0")/project" && pwd)
warnings="-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"
: "${CC:=cc}" "${CXX:=c++}" "${EMULATOR:=}"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

library=$(find "$root$prefix" -name libkor.so -print -quit)
[ -n "$library" ] || { echo "there is no libkor in $root$prefix" >&2; exit 1; }
libraries=$(dirname "$library")

# PKG_CONFIG_LIBDIR, not _PATH: no other libkor may stand in.
with_pkg_config() {
    PKG_CONFIG_LIBDIR=$libraries/pkgconfig
    export PKG_CONFIG_LIBDIR
    if [ -n "$root" ]; then
        PKG_CONFIG_SYSROOT_DIR=$root
        export PKG_CONFIG_SYSROOT_DIR
    fi
    pkg-config --exists 'libkor >= 1.0'
    flags=$(pkg-config --cflags --libs libkor)
    echo "pkg-config: $flags"
    # Where the linker finds what the library itself needs, if not with it.
    flags="$flags -Wl,-rpath-link,$libraries"
    $CC -std=c11 $warnings "$project/client.c" $flags -o c_client
    $CXX -std=c++17 $warnings "$project/client.cpp" $flags -o cpp_client
}

with_cmake() {
    cmake -S "$project" -B . -G Ninja -DCMAKE_PREFIX_PATH="$root$prefix" \
        -DCMAKE_C_FLAGS="$warnings" -DCMAKE_CXX_FLAGS="$warnings"
    grep "^libkor_DIR:PATH=$root$prefix/" CMakeCache.txt
    cmake --build .
}

case $way in
    pkg-config) with_pkg_config ;;
    cmake) with_cmake ;;
    *) echo "usage: consumer.sh pkg-config|cmake PREFIX [ROOT]" >&2; exit 2 ;;
esac
for client in c_client cpp_client; do
    LD_LIBRARY_PATH=$libraries $EMULATOR "./$client"
done
