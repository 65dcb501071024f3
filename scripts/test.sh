#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: test.sh [--all]
# Installs what is needed, builds in build/, runs all tests. The engine's tests run under the address,
# undefined-behaviour and thread sanitizers as well; with --all everything does, and once more with
# JUCE's assertions on.
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n== %s\n' "$*"; }

juce=()
[ -z "${VARNEL_JUCE_DIR:-}" ] || juce=(-DVARNEL_JUCE_DIR="$VARNEL_JUCE_DIR")

step "Setup"
scripts/setup.sh

step "Formatting"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
echo "as .clang-format has it"

step "Build"
cmake --preset release "${juce[@]}"
cmake --build build

step "Tests"
ctest --preset release

step "Installation"
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install build --prefix "$prefix" >/dev/null
"$prefix/bin/varnel-reverb" --version
[ -f "$prefix/lib/vst3/Varnel Reverb.vst3/Contents/Resources/moduleinfo.json" ]
[ -f "$prefix/lib/lv2/Varnel Reverb.lv2/manifest.ttl" ]
"$prefix/bin/varnel-render" --version
DESTDIR="$prefix/root" cmake --install build --component presets >/dev/null
installed="$prefix/root/opt/Application Support/Ostry/Varnel Reverb/Factory Presets"
diff -r presets/factory "$installed" && echo "all presets installed"

for sanitizers in address,undefined thread; do
    step "Engine under the sanitizers: $sanitizers"
    folder=build/engine-${sanitizers%%,*}
    cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVARNEL_ENGINE_ONLY=ON -DVARNEL_TESTS=ON -DVARNEL_SANITIZERS=$sanitizers >/dev/null
    cmake --build "$folder"
    ctest --test-dir "$folder" --output-on-failure -j2
done

if [ "${1:-}" = --all ]; then
    for preset in asan tsan debug; do
        step "All tests, preset $preset"
        cmake --preset $preset "${juce[@]}"
        cmake --build --preset $preset
        ctest --preset $preset
    done
fi

step "All passed"
