#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Runs the given fingerprint programs and fails unless all print the same. One that needs a newer
# processor than this is left out, and said to be.
expected=
status=1
for program in "$@"; do
    case $program in
        *x86-64-v3) grep -qw avx2 /proc/cpuinfo 2>/dev/null || { echo "skipped, no AVX2: $program"; continue; } ;;
    esac
    got=$("$program") || { echo "failed: $program"; exit 1; }
    echo "$got  ${program##*/}"
    if [ -z "$expected" ]; then
        expected=$got
    elif [ "$got" != "$expected" ]; then
        echo "differs from the first: ${program##*/}"
        exit 1
    else
        status=0
    fi
done
[ $status = 0 ] || echo "fewer than two programs were compared"
exit $status
