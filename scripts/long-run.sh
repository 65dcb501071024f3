#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: long-run.sh [--hours N] [--gain]
# Runs 24 hours of audio through the plug-in while all its controls move, and compares the hours: level, offset, memory,
# and the answer to an impulse at the end with that after the first hour. Takes ten minutes or so. With --gain it looks for
# the setting that makes most of noise at full scale instead. Exits with 1 if anything is not as it should be.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build build --target varnel-long-run >/dev/null
exec build/benchmarks/varnel-long-run "$@"
