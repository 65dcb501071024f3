#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: check-everywhere.sh [--tests] [BUILD...]
# Builds the engine for other processors, systems and C libraries, runs it there under emulation, and fails unless all
# give the fingerprints of settings and samples that gcc gives on this machine. Each is built twice, the second time
# without vector types. Without names all are built, in some five minutes on two cores. Installs what they need, on
# Debian 12 and 13. With --tests the engine's tests are built and run as well, except with musl and as WebAssembly.
set -euo pipefail
cd "$(dirname "$0")/.."

all=(clang aarch64 armhf armhf-clang riscv64 s390x windows musl wasm wasm-simd)
usage() { echo "usage: check-everywhere.sh [--tests] [BUILD...], of: ${all[*]}" >&2; exit 2; }

with_tests=false
if [ "${1:-}" = --tests ]; then with_tests=true; shift; fi
[ $# -gt 0 ] || set -- "${all[@]}"
set -- gcc "$@"

folder=$(mktemp -d)
trap 'WINEPREFIX=$folder/wine wineserver -k 2>/dev/null || true; rm -rf "$folder"' EXIT
export PATH="$PATH:/usr/lib/wine" NODE_PATH=/usr/share/nodejs
export WINEPREFIX=$folder/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= DISPLAY=

sources=(tests/engine/fingerprint.cpp source/engine/*.cpp)
common=(-std=c++20 -O3 -ffp-contract=off -Isource -Itests)
googletest=/usr/src/googletest/googletest

# The build's compiler, its flags, what runs a program of it, how that is called, and the packages for all this.
describe() {
    compiler=g++ flags=() runner=() suffix='' packages=(g++)
    case $1 in
        gcc) ;;
        clang) compiler=clang++ packages=(clang) ;;
        aarch64 | riscv64 | s390x) of_debian "$1-linux-gnu" "qemu-$1" ;;
        armhf) of_debian arm-linux-gnueabihf qemu-arm ;;
        armhf-clang) # which uses the vector unit of this processor, if it may
            of_debian arm-linux-gnueabihf qemu-arm
            compiler=clang++ flags+=(--target=arm-linux-gnueabihf -mfpu=neon) packages+=(clang) ;;
        windows) compiler=x86_64-w64-mingw32-g++-posix flags=(-static) runner=(wine64) suffix=.exe packages=(g++-mingw-w64-x86-64-posix wine64) ;;
        musl) compiler=musl-g++ packages+=(musl-tools) ;;
        wasm | wasm-simd)
            compiler=em++ flags=(-sALLOW_MEMORY_GROWTH=1 -sENVIRONMENT=node) runner=(node) suffix=.js packages=(emscripten node-acorn nodejs)
            [ "$1" = wasm ] || flags+=(-msimd128)
            if node --no-experimental-fetch -e 0 2>/dev/null; then runner+=(--no-experimental-fetch); fi ;; # newer than what it gives
        *) usage ;;
    esac
}

of_debian() { compiler=$1-g++ flags=(-static) runner=("$2") packages=("g++-$1" qemu-user); }

# musl-tools are for C. g++'s library is built for another C library, of which it asks three things that musl lacks: whether
# there are threads, a seed, and a quicker way to find what an exception needs. It goes the slower way if told to.
musl-g++() {
    g++ -r -nostdlib -fno-stack-protector "${@:1:$#-1}" "${@: -1}.o"
    printf '%s\n' 'char __libc_single_threaded;' 'unsigned arc4random (void) { return 0; }' \
        'int _dl_find_object (void* address, void* result) { return -1; }' >"${@: -1}.c"
    musl-gcc -static "${@: -1}.c" "${@: -1}.o" -o "${@: -1}" "$(g++ -print-file-name=libstdc++.a)" "$(g++ -print-file-name=libgcc_eh.a)"
}

# Compiles into a program, and says how many seconds it took. Arguments: program, sources and further flags.
compile() {
    local start=${EPOCHREALTIME/[.,]/}
    "$compiler" "${common[@]}" "${@:2}" "${flags[@]}" -o "$1$suffix" >"$1.log" 2>&1 || { echo failed; return; }
    echo $(((${EPOCHREALTIME/[.,]/} - start + 500000) / 1000000)) s
}

needed=()
for build in "$@"; do
    describe "$build"
    needed+=("${packages[@]}")
done
scripts/setup.sh --also "${needed[@]}"

expected=
status=0
row() { printf '%-24s %8s %8s  %s\n' "$@"; }
row build compiled ran 'settings         samples'

for build in "$@"; do
    describe "$build"
    program=$folder/$build
    compile "$program" "${sources[@]}" >"$program.time" &
    compile "$program-plain" "${sources[@]}" -DVARNEL_PLAIN_LOOP >"$program-plain.time" &
    wait
    mkdir -p "$folder/wine"

    for each in "$program" "$program-plain"; do
        start=${EPOCHREALTIME/[.,]/}
        got=$(timeout 300 "${runner[@]}" "$each$suffix" 2>>"$each.log" | tr -d '\r') || got=
        took=$(((${EPOCHREALTIME/[.,]/} - start + 50000) / 100000))
        name=${each##*/}
        row "${name/%-plain/, no vectors}" "$(cat "$each.time")" "$((took / 10)).$((took % 10)) s" "${got:-failed}"

        if [ -z "$got" ]; then
            tail -n 20 "$each.log" >&2
            status=1
        fi
        expected=${expected:-$got}
        [ "$got" = "$expected" ] || status=1
    done

    case $with_tests$build in false* | *musl | *wasm*) continue ;; esac
    compile "$program-tests" tests/engine/*Test.cpp "$googletest"/src/gtest-all.cc "$googletest"/src/gtest_main.cc source/engine/*.cpp \
        -I"$googletest" -I"$googletest/include" -pthread >"$program-tests.time"
    if "${runner[@]}" "$program-tests$suffix" --gtest_brief=1 >>"$program-tests.log" 2>&1; then
        row "$build, tests" "$(cat "$program-tests.time")" '' "$(sed -n 's/^\[ *=* *\] //p' "$program-tests.log" | tr -d '\r')"
    else
        row "$build, tests" "$(cat "$program-tests.time")" '' failed
        tail -n 20 "$program-tests.log" >&2
        status=1
    fi
done

[ $status = 0 ] && echo "the same everywhere" || echo "check-everywhere: not the same everywhere" >&2
exit $status
