#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: test.sh [--quick]
# Installs what is needed, builds and runs all tests: of the release build, under valgrind, with the address and
# undefined-behaviour sanitizers, with the thread sanitizer, with JUCE's assertions and leak detector; and each fuzzer for
# a while. Half an hour on two cores. With --quick the release build's tests only.
set -euo pipefail
cd "$(dirname "$0")/.."

case ${1:-} in
    '' | --quick) ;;
    *) echo "usage: test.sh [--quick]" >&2; exit 2 ;;
esac

step() { printf '\n== %s (after %d min)\n' "$*" $((SECONDS / 60)); }

juce=()
[ -z "${VARNEL_JUCE_DIR:-}" ] || juce=(-DVARNEL_JUCE_DIR="$VARNEL_JUCE_DIR")

step "Setup"
scripts/setup.sh

step "Formatting"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
echo "as .clang-format has it"

# All at once: each of them builds a tool of JUCE's, one file after the other. Line numbers are enough in a debug build.
step "Configuration"
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
presets=(release asan tsan debug)
[ -z "${1:-}" ] || presets=(release)
configure() {
    local flags=()
    [ "$1" != debug ] || flags=(-DCMAKE_CXX_FLAGS_DEBUG=-g1)
    cmake --preset "$1" "${juce[@]}" "${flags[@]}" >"$logs/$1" 2>&1
}
for preset in "${presets[@]}"; do configure "$preset" & done
for preset in "${presets[@]}"; do
    wait -n || { tail -n 30 "$logs"/* >&2; exit 1; }
done
echo "${presets[*]}"

step "Build"
cmake --build build

step "Tests"
ctest --preset release

step "Installation"
prefix=$(mktemp -d)
trap 'rm -rf "$logs" "$prefix"' EXIT
cmake --install build --prefix "$prefix" >/dev/null
"$prefix/bin/varnel-reverb" --version
[ -f "$prefix/lib/vst3/Varnel Reverb.vst3/Contents/Resources/moduleinfo.json" ]
[ -f "$prefix/lib/lv2/Varnel Reverb.lv2/manifest.ttl" ]
"$prefix/bin/varnel-render" --version
DESTDIR="$prefix/root" cmake --install build --component presets >/dev/null
installed="$prefix/root/opt/Application Support/Ostry/Varnel Reverb/Factory Presets"
diff -r presets/factory "$installed" && echo "all presets installed"

if [ "${1:-}" = --quick ]; then
    step "All passed"
    exit
fi

# Slow as it is, valgrind gets the tests that are not about endurance.
step "Engine and processor under valgrind"
for tests in varnel-engine-tests varnel-plugin-tests; do
    valgrind --quiet --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
        "build/tests/$tests" --gtest_brief=1 --gtest_filter=-Extremes.*:Threads.*:*May*
done

step "Address and undefined-behaviour sanitizers"
cmake --build --preset asan
ctest --preset asan

step "Fuzzers"
scripts/fuzz.sh 20

step "Thread sanitizer"
cmake --build --preset tsan --target varnel-engine-tests varnel-plugin-tests
ctest --preset tsan -R '^Threads|^Host\.|\.May|\.Knows'

step "JUCE's assertions and leak detector"
cmake --build --preset debug
ctest --preset debug

step "All passed"
