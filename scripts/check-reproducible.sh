#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: check-reproducible.sh [OPTIONS OF package.sh...]
# Makes the Debian package twice: in folders of other names and depths, on days a year apart, under another user's name, with
# another umask, language and time zone, never out of a compiler's cache. Fails unless both are the same to the byte. Only root
# can really become another user. Takes as long as two builds of everything that is packaged.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --also faketime
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
chmod 755 "$folder"

juce=${VARNEL_JUCE_DIR:-.juce}
for place in one two/of/them; do
    mkdir -p "$folder/$place"
    git ls-files -z | xargs -0 cp -a --parents -t "$folder/$place"
    for tree in "$juce" .sysroot-*; do
        [ ! -d "$tree" ] || cp -a "$tree" "$folder/$place/$([ "$tree" = "$juce" ] && echo .juce || basename "$tree")"
    done
done
unset VARNEL_JUCE_DIR

export CCACHE_DISABLE=1
options=("$@" -DVARNEL_TESTS=OFF -DVARNEL_BENCHMARKS=OFF)

echo "check-reproducible: the first build"
(cd "$folder/one" && umask 022 && TZ=UTC LC_ALL=C.UTF-8 scripts/package.sh "${options[@]}" >"$folder/one.log" 2>&1) || { tail "$folder/one.log" >&2; exit 1; }

echo "check-reproducible: the second"
other=(env USER=somebody LOGNAME=somebody)
if [ "$(id -u)" = 0 ]; then
    chown -R nobody "$folder/two"
    other=(runuser -u nobody -- env USER=nobody LOGNAME=nobody)
fi
(cd "$folder/two/of/them" && umask 077 && TZ=Asia/Kathmandu LC_ALL=C HOME="$folder/two" "${other[@]}" \
    faketime '+400 days' scripts/package.sh "${options[@]}" >"$folder/two.log" 2>&1) || { tail "$folder/two.log" >&2; exit 1; }

status=0
for first in "$folder"/one/build*/packages/*.deb; do
    second=$(echo "$folder"/two/of/them/build*/packages/"${first##*/}")
    sha256sum "$first" "$second" | sed "s|$folder/||"
    cmp "$first" "$second" || { diff <(dpkg-deb -c "$first") <(dpkg-deb -c "$second") | head -20 || true; status=1; }
done

[ $status -eq 0 ] || { echo "check-reproducible: the packages differ" >&2; exit 1; }
echo "check-reproducible: the same to the byte"
