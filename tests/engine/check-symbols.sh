#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: check-symbols.sh LIBRARY
# Lists what the engine's library takes from others, and fails if that is more than memory, exceptions and the compiler's
# own guards and atomics. C libraries differ in the last bit of what they make of exp2f, say.
set -eu

taken=$("${NM:-nm}" -A "$1" | awk '
    { sub(/^.*:/, "") }
    NF == 2 && $1 == "U" { wanted[$2] }
    NF == 3 { defined[$3] }
    END { for (symbol in wanted) if (! (symbol in defined)) print symbol }')

if [ -z "$taken" ]; then
    echo "check-symbols: $1 takes nothing from any library, not even memory: is it the engine?" >&2
    exit 1
fi

found=$(printf '%s\n' "$taken" | grep -vE '^_?(_Zn[aw][jmy]|_Zd[al]Pv[jmy]?|_ZSt[0-9]*__throw_[a-z_]*|_?_cxa_[a-z_]*|__gxx_personality_[a-z0-9]*|_Unwind_Resume|mem(cpy|move|set)|bzero|__stack_chk_(fail|guard)|__aarch64_(cas|swp|ld[a-z]*)[0-9]*_[a-z_]*)$' || true)

if [ -n "$found" ]; then
    echo "check-symbols: the engine takes from other libraries:" $found >&2
    exit 1
fi

echo "check-symbols: the engine takes from other libraries only" $taken
