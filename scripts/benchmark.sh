#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: benchmark.sh [options of Google Benchmark]
# Builds the benchmarks and prints nanoseconds per stereo frame.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build build --target varnel-benchmarks >/dev/null
build/benchmarks/varnel-benchmarks "$@"
