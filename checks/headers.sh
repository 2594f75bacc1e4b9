#!/bin/sh
# headers.sh CC CXX: every public header compiles alone and twice in one unit,
# as strict C11, C++17 and C++20, with the C library's <error.h> and
# <memory.h> before and after it; libkor.hpp, as C++ only, without exceptions.
set -eu
cc=$1
cxx=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
flags="-Wall -Wextra -pedantic -Werror -fsyntax-only"
unit() {
    printf '#include "%s"\n#include "%s"\nextern int unit;\n' "$1" "$1"
}
surrounded() {
    printf '#include <error.h>\n#include <memory.h>\n#include "%s"\n' "$1"
    printf '#include <error.h>\n#include <memory.h>\nextern int unit;\n'
}
compile_c() { $cc -std=c11 $flags "$@" include "$work/unit.c"; }
compile_cxx() {
    for standard in c++17 c++20; do
        $cxx -std=$standard -fno-exceptions -fno-rtti $flags "$@" include \
            "$work/unit.cpp"
    done
}
for path in include/*.h include/*.hpp; do
    header=$(basename "$path")
    for form in unit surrounded; do
        $form "$header" > "$work/unit.c"
        cp "$work/unit.c" "$work/unit.cpp"
        # Both ways in which a caller may have put our folder on the path.
        for option in -iquote -I; do
            [ "$header" = libkor.hpp ] || compile_c $option
            compile_cxx $option
        done
    done
done
