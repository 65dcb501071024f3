#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Installs what is needed, builds, and makes Debian packages and a tar archive in build/packages.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build build
rm -rf build/packages
(cd build && cpack -G "DEB;TGZ")
for component in library library-development python; do
    (cd build && COMPONENT=$component cpack -G DEB --config CPackLibraries.cmake)
done
rm -rf build/packages/_CPack_Packages

echo
printf '  %s\n' "$PWD"/build/packages/*
