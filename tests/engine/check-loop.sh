#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: check-loop.sh LIBRARY
# Disassembles the engine's two sample loops and fails if they call, or jump into, any other function.
set -eu

loops=$("${OBJDUMP:-objdump}" --disassemble --reloc --no-show-raw-insn --demangle "$1" |
    awk '/^[0-9a-f]+ <.*ReverbEngine::(plain|fast)Loop\(.*>:$/ { inside = 1 } /^$/ { inside = 0 } inside')

count=$(printf '%s\n' "$loops" | grep -c '>:$' || true)
if [ "$count" -ne 2 ]; then
    echo "check-loop: $1 has $count sample loops instead of two, the plain and the fast one" >&2
    exit 1
fi

# Calls, and jumps that need a relocation: those leave the function.
found=$(printf '%s\n' "$loops" | awk '
    /\tR_[A-Z0-9_]*(PLT|PC)32/ && previous ~ /\t(call|j[a-z]+) / { print previous }
    /\t(callq?|blr?|blx) / { print }
    /\tR_AARCH64_(CALL|JUMP)26/ { print }
    { previous = $0 }')

if [ -n "$found" ]; then
    echo "check-loop: a sample loop calls other functions:" >&2
    printf '%s\n' "$found" >&2
    exit 1
fi

echo "check-loop: $(printf '%s\n' "$loops" | grep -c '^ ') instructions, no call"
