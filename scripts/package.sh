#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: package.sh [--arch arm64] [-DNAME=VALUE...]
# Installs what is needed, builds, and makes Debian packages and a tar archive in build/packages, or in build-arm64/packages
# for 64-bit ARM. Options with -D go to CMake. The same sources give the same Debian packages to the byte.
set -euo pipefail
cd "$(dirname "$0")/.."
umask 022 # CPack packs its own folders and archives with the rights that they happen to have

preset=release
build=build
setup=()
options=()

while [ $# -gt 0 ]; do
    case $1 in
        --arch) [ "${2:-}" = arm64 ] || { echo "package: --arch ${2:-}: only arm64 is built on another machine" >&2; exit 2; }
                preset=arm64 build=build-arm64 setup=(--arch arm64); shift ;;
        -D*) options+=("$1") ;;
        *) echo "usage: package.sh [--arch arm64] [-DNAME=VALUE...]" >&2; exit 2 ;;
    esac
    shift
done

# Archives have the release's date, not today's.
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(date -u -d "$(sed -n 's/^set (VARNEL_RELEASE_DATE \([^)]*\)).*/\1/p' cmake/Product.cmake)" +%s)}
export SOURCE_DATE_EPOCH

scripts/setup.sh "${setup[@]}"

# Libraries of several architectures lie side by side.
architecture=${preset/release/$(dpkg --print-architecture)}
cmake --preset $preset -DCMAKE_INSTALL_LIBDIR="lib/$(dpkg-architecture -a "$architecture" -q DEB_HOST_MULTIARCH 2>/dev/null)" "${options[@]}" >/dev/null
cmake --build $build
rm -rf $build/packages

# dpkg-shlibdeps does not look into another architecture's unpacked libraries unless it is told.
if [ -d ".sysroot-$preset" ]; then
    tools=$(mktemp -d)
    trap 'rm -rf "$tools"' EXIT
    printf '#!/bin/sh\nexec %s "-S%s" "$@"\n' "$(command -v dpkg-shlibdeps)" "$PWD/.sysroot-$preset" >"$tools/dpkg-shlibdeps"
    chmod +x "$tools/dpkg-shlibdeps"
    export PATH="$tools:$PATH" DEB_HOST_ARCH=$preset
fi

(cd $build && cpack -G "DEB;TGZ")
components=(library library-development)
[ $preset != release ] || components+=(python) # which is built for the machine's own interpreter
for component in "${components[@]}"; do
    (cd $build && COMPONENT=$component cpack -G DEB --config CPackLibraries.cmake)
done
rm -rf $build/packages/_CPack_Packages

echo
printf '  %s\n' "$PWD"/$build/packages/*
