#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Compares the engine's exp2 with MPFR's at every finite float, and says which come closest to a wrong rounding. Some ten
# minutes on two cores; installs libmpfr-dev.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --also libmpfr-dev
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
${CXX:-g++} -std=c++20 -O2 -ffp-contract=off -Isource benchmarks/Exp2Check.cpp source/engine/Exp2.cpp -lmpfr -lgmp -pthread -o "$folder/check"
"$folder/check"
