#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: test.sh [--quick]
# Installs what is needed, builds and runs all tests: of the release build, under valgrind, with the address and
# undefined-behaviour sanitizers, with the thread sanitizer, JUCE's assertions and leak detector; and each fuzzer for a
# while. From nothing a quarter of an hour on two cores. With --quick the release build's tests only, in six minutes.
set -euo pipefail
cd "$(dirname "$0")/.."

case ${1:-} in
    '' | --quick) ;;
    *) echo "usage: test.sh [--quick]" >&2; exit 2 ;;
esac

step() { printf '\n== %s (after %d min)\n' "$*" $((SECONDS / 60)); }

step "Setup"
scripts/setup.sh

step "Formatting"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
echo "as .clang-format has it"

# From nothing, several files of ours at once: most of the time goes into JUCE's headers. Who has built before keeps that.
build_all() {
    local folder=$1 preset=$2 together=
    [ -f "$folder/build.ninja" ] || together=-DCMAKE_UNITY_BUILD=ON
    cmake --preset "$preset" $together
    cmake --build "$folder"
}

step "Build"
build_all build release

step "Tests"
ctest --preset release

step "Installation"
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install build --prefix "$prefix" >/dev/null
"$prefix/bin/varnel-reverb" --version
[ -f "$prefix/lib/vst3/Varnel Reverb.vst3/Contents/Resources/moduleinfo.json" ]
[ -f "$prefix/lib/lv2/Varnel Reverb.lv2/manifest.ttl" ]
[ -f "$prefix/lib/lv2/Varnel Reverb plain.lv2/presets.ttl" ]
[ -f "$prefix/lib/clap/Varnel Reverb.clap" ]
"$prefix/bin/varnel-render" --version
DESTDIR="$prefix/root" cmake --install build --component presets >/dev/null
installed="$prefix/root/opt/Application Support/Ostry/Varnel Reverb/Factory Presets"
diff -r presets/factory "$installed" && echo "all presets installed"

step "C library without JUCE"
scripts/check-library.sh

step "Documents"
scripts/check-documents.py

if [ "${1:-}" = --quick ]; then
    step "All passed"
    exit
fi

step "The engine for 64-bit ARM and Windows"
scripts/check-everywhere.sh aarch64 windows

# Slow as it is, valgrind gets the tests that are not about endurance.
step "Engine and processor under valgrind"
printf '%s\n' varnel-engine-tests varnel-plugin-tests | xargs -P 2 -I {} \
    valgrind --quiet --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
    build/tests/{} --gtest_brief=1 --gtest_filter=-Extremes.*:Threads.*:*May*

step "Address and undefined-behaviour sanitizers"
build_all build-asan asan
ctest --preset asan

step "Fuzzers"
scripts/fuzz.sh 20

step "Thread sanitizer, JUCE's assertions and leak detector"
build_all build-tsan tsan
ctest --preset tsan

step "All passed"
