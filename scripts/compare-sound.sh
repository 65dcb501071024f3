#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: compare-sound.sh [--print]
# Installs other reverbs and what measuring needs, builds our renderer, measures impulse responses of all of them and of our
# presets, writes the figures into docs/sound.md and its pictures, and removes the other reverbs. Takes some ten minutes.
# With --print it writes nothing and prints the figures.
set -euo pipefail
cd "$(dirname "$0")/.."

case ${1:-} in
    '' | --print) ;;
    *) echo "usage: compare-sound.sh [--print]" >&2; exit 2 ;;
esac

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

scripts/setup.sh
as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends \
    python3-numpy python3-scipy python3-matplotlib liblilv-0-0 >/dev/null
[ -f build/build.ninja ] || cmake --preset release >/dev/null
cmake --build build --target varnel-render >/dev/null
scripts/with-peers.sh scripts/measure-sound.py "$@"
