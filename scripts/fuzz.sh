#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: fuzz.sh [SECONDS [FUZZER...]]
# Builds the fuzzers and runs each of them, two at a time, for so many seconds (60 unless said otherwise).
# What they learn stays in build-asan/fuzz/corpus, and is where the next run goes on. An input that breaks something is
# kept in build-asan/fuzz/findings; run the fuzzer on it again with
#     build-asan/tests/fuzz/fuzz-NAME FILE
# and, once mended, add it to tests/fuzz/corpus/NAME, where the tests find it.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
mapfile -t all < <(ls tests/fuzz/corpus)
[ $# -gt 0 ] || set -- "${all[@]}"

case $seconds in
    '' | *[!0-9]*) echo "fuzz: \"$seconds\" is no number of seconds" >&2; exit 2 ;;
esac

for name in "$@"; do
    [ -d "tests/fuzz/corpus/$name" ] || { echo "fuzz: there is no fuzzer \"$name\"; there are: ${all[*]}" >&2; exit 2; }
done

[ -f build-asan/build.ninja ] || { scripts/setup.sh && cmake --preset asan; }
cmake --build build-asan --target varnel-fuzzers

work=build-asan/fuzz
export work seconds

run() {
    local name=$1 log=$work/$1.log dictionary=() seed=()
    [ "$seconds" -gt 60 ] || seed=(-seed=1) # a short run is to be much the same each time
    mkdir -p "$work/corpus/$name" "$work/findings"
    case $name in chunk | clap-state | preset | settings) dictionary=(-dict=tests/fuzz/xml.dict) ;; esac

    # Standard output (the plug-in's, not the fuzzer's) goes nowhere.
    if "build-asan/tests/fuzz/fuzz-$name" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=2048 -close_fd_mask=1 \
        -print_final_stats=1 "${seed[@]}" -artifact_prefix="$work/findings/$name-" "${dictionary[@]}" \
        "$work/corpus/$name" "tests/fuzz/corpus/$name" 2>"$log"; then
        verdict="nothing found"
    else
        verdict="FOUND: $(grep -m1 -E 'SUMMARY|does not hold|ERROR' "$log" || echo "see $log")"
    fi

    awk -v name="$name" -v verdict="$verdict" '
        /stat::number_of_executed_units/ { runs = $2 }
        /cov: / { for (i = 1; i < NF; ++i) if ($i == "cov:") coverage = $(i + 1) }
        END { printf "%-14s %12d runs, %6d edges, %s\n", name, runs, coverage, verdict }' "$log"
    [ "$verdict" = "nothing found" ]
}
export -f run

printf '%s\n' "$@" | xargs -P 2 -I {} bash -c 'run {}'
