#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: validate-lv2.sh PROGRAM BUNDLE
# Fails if lv2_validate finds anything wrong with a bundle's data.
set -eu

out=$("$1" "$2"/*.ttl 2>&1) || true
printf '%s\n' "$out"
printf '%s\n' "$out" | grep -q '^Found 0 errors among'
! printf '%s\n' "$out" | grep -qi 'warning\|error:'
