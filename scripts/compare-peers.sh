#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: compare-peers.sh [--quick]
# Installs other reverbs, builds ours, times all of them in one host, writes the figures into docs/performance.md and its
# chart, and removes what it has installed. Takes some minutes; leave the machine alone meanwhile. With --quick it takes
# half a minute, prints figures that are good for nothing but to see that it works, and writes nothing.
# Exits with 1 if one of the reverbs could not be measured; the figures then name it with the reason.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
    calf-plugins dpf-plugins-lv2 dragonfly-reverb-lv2 guitarix-lv2 invada-studio-plugins-lv2 mda-lv2 swh-lv2
)

quick=()
case ${1:-} in
    '') ;;
    --quick) quick=(--quick) ;;
    *) echo "usage: compare-peers.sh [--quick]" >&2; exit 2 ;;
esac

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

scripts/setup.sh

# What is installed here goes again at the end: other programs that look at all plug-ins of the system, our own tests
# among them, are to find what they found before. dpkg removes nothing else along with it.
installed() { dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' | sed -n 's/^installed //p' | sort -u; }
added=()
# shellcheck disable=SC2317 # the trap calls it
remove_added() {
    [ ${#added[@]} -gt 0 ] || return 0
    echo "compare-peers: removing what was installed"
    as_root dpkg --remove "${added[@]}" >/dev/null || echo "compare-peers: not all of these could be removed: ${added[*]}" >&2
}
trap remove_added EXIT

# One at a time: what this release does not have is missing from the figures alone.
for package in "${packages[@]}"; do
    before=$(installed)
    ! grep -qx "$package" <<<"$before" || continue
    echo "compare-peers: installing $package"
    [ ${#added[@]} -gt 0 ] || as_root apt-get -qq update
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends "$package" >/dev/null ||
        echo "compare-peers: $package cannot be installed" >&2
    mapfile -t -O ${#added[@]} added < <(comm -13 <(echo "$before") <(installed))
done

echo "compare-peers: building (a few minutes the first time)"
mkdir -p build
{ cmake --preset release && cmake --build build --target varnel-peers; } >build/peers.log 2>&1 ||
    { cat build/peers.log; exit 2; }

results=build/benchmarks/peers/results.json
rm -f "$results"
status=0
build/benchmarks/peers/varnel-peers "${quick[@]}" "$results" || status=$?
[ -f "$results" ] || { echo "compare-peers: there are no figures" >&2; exit 2; }

if [ ${#quick[@]} -gt 0 ]; then
    benchmarks/peers/report.py --print "$results"
else
    benchmarks/peers/report.py "$results"
    echo "compare-peers: written into docs/performance.md and docs/images/performance.svg"
fi

exit "$status"
