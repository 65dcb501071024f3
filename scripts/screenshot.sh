#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Records the pictures of the window anew: those of the documents and the rest of what the tests compare it with.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
[ -f build/build.ninja ] || cmake --preset release >/dev/null
cmake --build build --target varnel-editor-tests >/dev/null
VARNEL_RECORD_PICTURES=1 build/tests/varnel-editor-tests --gtest_brief=1 --gtest_filter='Pictures.*' 2>/dev/null
scripts/caption-pictures.py
scripts/check-documents.py --pictures docs/images/{window,manual}-*.png docs/images/menu.png tests/editor/pictures/*.png
git status --short docs/images tests/editor/pictures
