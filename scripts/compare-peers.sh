#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: compare-peers.sh [--quick]
# Installs other reverbs, builds ours, times all of them in one host, writes the figures into docs/performance.md and its
# chart, and removes what it has installed. Takes some minutes; leave the machine alone meanwhile. With --quick it takes
# half a minute, prints figures that are good for nothing but to see that it works, and writes nothing.
# Exits with 1 if one of the reverbs could not be measured; the figures then name it with the reason.
set -euo pipefail
cd "$(dirname "$0")/.."

quick=()
case ${1:-} in
    '') ;;
    --quick) quick=(--quick) ;;
    *) echo "usage: compare-peers.sh [--quick]" >&2; exit 2 ;;
esac

# The figures name the versions, so all that follows runs while the other reverbs are here.
[ -n "${VARNEL_WITH_PEERS:-}" ] || exec scripts/with-peers.sh env VARNEL_WITH_PEERS=1 scripts/compare-peers.sh "$@"

scripts/setup.sh

echo "compare-peers: building (a few minutes the first time)"
mkdir -p build
{ cmake --preset release && cmake --build build --target varnel-peers; } >build/peers.log 2>&1 ||
    { cat build/peers.log; exit 2; }

results=build/benchmarks/peers/results.json
rm -f "$results"
status=0
build/benchmarks/peers/varnel-peers "${quick[@]}" "$results" || status=$?
[ -f "$results" ] || { echo "compare-peers: there are no figures" >&2; exit 2; }

if [ ${#quick[@]} -gt 0 ]; then
    benchmarks/peers/report.py --print "$results"
else
    benchmarks/peers/report.py "$results"
    echo "compare-peers: written into docs/performance.md and docs/images/performance.svg"
fi

exit "$status"
