#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: check-hardening.sh FILE...
# Fails unless each program or library can be loaded anywhere, has read-only relocations that are bound at the start, no
# executable stack, guarded stack frames and checked library calls.
set -eu

status=0
fault() { echo "check-hardening: $1: $2" >&2; status=1; }

for file in "$@"; do
    head=$(LC_ALL=C readelf --wide --file-header --program-headers --dynamic "$file")
    symbols=$(LC_ALL=C readelf --wide --dyn-syms "$file")

    case $head in *'DYN ('*) ;; *) fault "$file" "is bound to one address" ;; esac
    case $head in *GNU_RELRO*) ;; *) fault "$file" "relocations stay writable" ;; esac
    case $head in *BIND_NOW* | *'Flags: NOW'*) ;; *) fault "$file" "relocations are bound late" ;; esac
    case $(echo "$head" | grep GNU_STACK) in *RWE*) fault "$file" "the stack is executable" ;; *RW*) ;; *) fault "$file" "nothing is said of the stack" ;; esac
    case $symbols in *__stack_chk_fail*) ;; *) fault "$file" "stack frames are not guarded" ;; esac
    case $symbols in *_chk@*) ;; *) fault "$file" "library calls are not checked" ;; esac
done

[ $status -ne 0 ] || echo "check-hardening: $# files are as they should be"
exit $status
