#!/usr/bin/env bash
# Looks at an installed tree as a user does who has nothing but that tree, a compiler and pkg-config.
#   check_prefix.sh headers|programs|examples|symbols|units PREFIX
#   check_prefix.sh keep_symbols PREFIX     takes what that library exports as what it should
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
check=$1
prefix=$2

# Only the installed description is seen: a flag that needs another package would be an error here.
pc=$(find "$prefix" -name tavix.pc)
export PKG_CONFIG_LIBDIR=${pc%/*}
cflags=$(pkg-config --cflags tavix)
libs=$(pkg-config --libs tavix)
strict="-Wall -Wextra -Wpedantic -Werror"
work=$(mktemp -d)
started=()
finish() {
    [ ${#started[@]} -eq 0 ] || kill "${started[@]}" 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT

# Each header compiles alone: it includes what it uses, and nothing that is not installed.
headers() {
    local include
    include=$(pkg-config --variable=includedir tavix)
    (cd "$include" && find tavix -name '*.h') | sort >"$work/list"
    [ -s "$work/list" ]
    xargs -a "$work/list" -n 1 -P 2 sh -c 'echo "#include <$4>" |
        $0 $1 $2 $3 -fsyntax-only -x c++ - || { echo "in $4"; exit 255; }' "${CXX:-g++}" -std=c++17 "$strict" "$cflags"
    for c_header in capi.h TvxPollLoopFunctions.h elements/TvxResult.h foundation/Export.h; do
        printf '#include <tavix/%s>\nextern int something;\n' "$c_header" |
            ${CC:-gcc} -std=c99 $strict $cflags -fsyntax-only -x c -
    done
    echo "$(wc -l <"$work/list") headers"
}

# Starts the installed bus, which finds its library itself. What is compiled here has to be told where that is.
start_bus() {
    export QZV_RUNTIME_DIR=$work
    exec 3< <(exec timeout 60 "$prefix/bin/tavix-bus")
    started+=($!)
    read -r bus_ready <&3
    export LD_LIBRARY_PATH
    LD_LIBRARY_PATH=$(pkg-config --variable=libdir tavix)
}

# Starts a service and waits for the line that says that it serves.
start_service() {
    exec 4< <(exec timeout 60 "$@")
    started+=($!)
    read -r object_ready <&4
    echo "bus: $bus_ready; object: $object_ready"
}

# A program in C++ and one in C99 compile with the flags of pkg-config and nothing else, build trees, and call
# an object through the installed bus.
programs() {
    ${CXX:-g++} -std=c++17 $strict "$here/class_program.cpp" -o "$work/class_program" $cflags $libs
    ${CC:-gcc} -std=c99 $strict "$here/flat_program.c" -o "$work/flat_program" $cflags $libs
    start_bus
    start_service "$work/class_program" serve
    "$work/class_program" call
    "$work/flat_program" call
    unset LD_LIBRARY_PATH
    [ "$("$prefix/bin/tavixctl" call mirror show '[1, "two"]' | tr -d ' \n')" = '[1,"two"]' ]
}

# The examples' own Makefile asks pkg-config and nobody else.
examples() {
    make -s -j 2 -C "$work" -f "$here/../../examples/Makefile" CC="${CC:-gcc}" CXX="${CXX:-g++}" \
        CFLAGS="-O0 $strict" CXXFLAGS="-O0 $strict"
    start_bus
    start_service "$work/kettle_service"
    "$work/kettle_client" 22 >"$work/boiled"
    grep -q '^  boil: 22\.0' "$work/boiled"
}

# What a program is linked against, as the linker sees it. Left out is what each compiler settles as it likes, and
# exports as weak or unique: inline functions and variables, instances of templates, tables of classes.
exported() {
    nm -D --defined-only "$library" | awk '$2 !~ /[VWu]/ { print $3 }' | LC_ALL=C sort
}
library=$(pkg-config --variable=libdir tavix)/libtavix.so
kept=$here/exported_symbols.txt
keep_symbols() { exported >"$kept"; }

# The library exports what the kept list names: what is missing breaks programs, and what is new is a promise. It has
# every function that capi.h declares, which some test uses, and no other of that prefix, and shows its users nothing
# of the libraries that it is made with.
symbols() {
    exported >"$work/exported"
    if ! diff "$kept" "$work/exported" >"$work/changes"; then
        grep '^[<>]' "$work/changes" | c++filt
        echo "libtavix.so does not export what $kept names (above: < it lacks, > it has beyond)."
        echo "If that is meant: $0 keep_symbols $prefix"
        return 1
    fi
    nm -DC --defined-only "$library" | cut -d ' ' -f 3- | sort >"$work/symbols"
    grep -oE '\btvx_[a-z_]+\(' "$(pkg-config --variable=includedir tavix)/tavix/capi.h" | tr -d '(' | sort -u >"$work/declared"
    diff "$work/declared" <(grep -oE '^tvx_[a-z_]+' "$work/symbols" | sort -u)
    grep -rhoE '\btvx_[a-z_]+\b' "$here/.." --include='*.c' --include='*.cpp' --include='*.h' | sort -u >"$work/used"
    if comm -23 "$work/declared" "$work/used" | grep .; then
        echo "no test uses these functions of capi.h"
        return 1
    fi
    if grep -E 'nlohmann|CLI::' "$work/symbols"; then
        echo "libtavix.so exports these, which are not its own"
        return 1
    fi
    readelf -d "$library" | grep -q 'SONAME.*\[libtavix\.so\.1\]'
}

# The units are as systemd wants them; they name the program where it was installed, before the tree was moved.
units() {
    command -v systemd-analyze >/dev/null || { echo "systemd-analyze is missing: nothing is checked"; return 0; }
    cp "$prefix"/lib/systemd/system/tavix-bus.* "$work"
    grep -q "^ExecStart=${prefix%/*}/made/bin/tavix-bus " "$work"/tavix-bus.service
    sed -i "s,^ExecStart=.*/bin/tavix-bus,ExecStart=$prefix/bin/tavix-bus," "$work"/tavix-bus.service
    systemd-analyze verify --recursive-errors=no "$work"/tavix-bus.service "$work"/tavix-bus.socket 2>&1 | tee "$work/said"
    [ ! -s "$work/said" ]
}

"$check"
