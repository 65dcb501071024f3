#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: validate-lv2.sh PROGRAM BUNDLE
# Fails if lv2_validate finds anything wrong with a bundle's data.
set -eu

# The program does not see paths with blanks in them: it skips the parts that it takes them for.
cd "$2"
out=$("$1" manifest.ttl dsp.ttl ui.ttl 2>&1) || true
printf '%s\n' "$out"
printf '%s\n' "$out" | grep -q '^Found 0 errors among'
! printf '%s\n' "$out" | grep -i -e 'warning' -e 'error:' -e 'Skipping file.*\(manifest\|dsp\|ui\)\.ttl'
