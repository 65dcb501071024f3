#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: validate-desktop.sh FOLDER METAINFO
# Checks the desktop entry and the manual pages in a folder, and AppStream data, with the programs made for them.
set -eu

desktop-file-validate "$1"/*.desktop
# There is no homepage that could be named. Newer versions would warn of that; older ones do not know the word.
appstreamcli validate --no-net --pedantic --override=url-homepage-missing=info "$2" 2>/dev/null ||
    appstreamcli validate --no-net --pedantic "$2"

for page in "$1"/*.1; do
    mandoc -T lint -W warning "$page"
    warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || { printf '%s\n' "$warnings"; exit 1; }
done
