#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: validate-lv2.sh PROGRAM BUNDLE FILE...
# Fails if lv2_validate finds anything wrong with files of a bundle's data.
set -eu

# The program does not see paths with blanks in them: it skips the parts that it takes them for.
program=$1
cd "$2"
shift 2
out=$("$program" "$@" 2>&1) || true
printf '%s\n' "$out"
printf '%s\n' "$out" | grep -q '^Found 0 errors among'
! printf '%s\n' "$out" | grep -i -e 'warning' -e 'error:' -e 'Skipping file \(manifest\|dsp\|ui\|presets\)\.ttl'
