#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: check-library.sh [--record]
# Builds and installs the C library without JUCE in a folder of its own, builds a program in C99 against it in each way that
# there is, and compares its binary interface with the one in source/library/interface.abi. --record writes that file.
set -euo pipefail
cd "$(dirname "$0")/.."

record=false
case ${1:-} in
    '') ;;
    --record) record=true ;;
    *) echo "usage: check-library.sh [--record]" >&2; exit 2 ;;
esac

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
prefix=$folder/prefix
consumer=$PWD/tests/library/consumer.c
interface=$PWD/source/library/interface.abi

cmake -S . -B "$folder/build" -G Ninja -DVARNEL_ENGINE_ONLY=ON -DVARNEL_TESTS=OFF -DVARNEL_PYTHON=OFF \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_INSTALL_PREFIX="$prefix" >"$folder/log" || { cat "$folder/log"; exit 1; }
cmake --build "$folder/build" >"$folder/log" || { cat "$folder/log"; exit 1; }
cmake --install "$folder/build" >/dev/null

try() {
    echo "check-library: $1: $(LD_LIBRARY_PATH=$prefix/lib "$2")"
}

export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
# shellcheck disable=SC2046 # these are several words
cc -std=c99 -pedantic -Wall -Wextra -Werror "$consumer" $(pkg-config --cflags --libs varnel-reverb) -o "$folder/shared"
# shellcheck disable=SC2046
cc -std=c99 "$consumer" $(pkg-config --cflags varnel-reverb) "$prefix/lib/libvarnel-reverb.a" -lstdc++ -lm -o "$folder/static"
try "pkg-config, shared" "$folder/shared"
try "static" "$folder/static"

mkdir "$folder/consumer"
cat >"$folder/consumer/CMakeLists.txt" <<EOF
cmake_minimum_required (VERSION 3.22)
project (consumer LANGUAGES C CXX)
find_package (varnel-reverb 1 REQUIRED)
foreach (kind reverb reverb-static)
    add_executable (with-\${kind} "$consumer")
    target_link_libraries (with-\${kind} varnel::\${kind})
endforeach()
EOF
cmake -S "$folder/consumer" -B "$folder/consumer/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$folder/consumer/build" >/dev/null
try "CMake, shared" "$folder/consumer/build/with-reverb"
try "CMake, static" "$folder/consumer/build/with-reverb-static"

foreign=$(ldd "$prefix"/lib/libvarnel-reverb.so "$prefix"/lib/lv2/*plain.lv2/*.so | sed -n 's/^\t\([^ ]*\) .*/\1/p' | grep -v -E '^(linux-vdso|libstdc\+\+|libm|libgcc_s|libc)\.so|ld-linux' || true)
[ -z "$foreign" ] || { echo "check-library: more is needed than the language's run-time library: $foreign" >&2; exit 1; }

if $record; then
    abidw --no-corpus-path --no-comp-dir-path --no-show-locs --headers-dir "$prefix/include" --drop-private-types --exported-interfaces-only --out-file "$interface" "$prefix/lib/libvarnel-reverb.so.1"
    sed -i "s|path='[^']*source/|path='source/|" "$interface" # no folder of this machine
    echo "check-library: the interface is recorded"
else
    abidiff --headers-dir2 "$prefix/include" "$interface" "$prefix/lib/libvarnel-reverb.so.1" ||
        { echo "check-library: the interface has changed; if programs built before still run, record it with --record" >&2; exit 1; }
    echo "check-library: the interface is as recorded"
fi
