#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Writes pictures of the window, at three sizes and with its menu open, to docs/images.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
[ -f build/build.ninja ] || cmake --preset release >/dev/null
cmake --build build --target varnel-screenshot >/dev/null
mkdir -p docs/images
build/tests/varnel-screenshot docs/images presets/factory 2>/dev/null
scripts/check-documents.py --pictures docs/images/{window,manual}-*.png docs/images/menu.png
ls docs/images/{window,manual}-*.png docs/images/menu.png
