#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: with-peers.sh COMMAND [ARGUMENT...]
# Installs the other reverbs that ours is compared with, runs a command, and removes what it has installed. Exits as the
# command does.
set -euo pipefail

[ $# -gt 0 ] || { echo "usage: with-peers.sh COMMAND [ARGUMENT...]" >&2; exit 2; }

packages=(
    calf-plugins dpf-plugins-lv2 dragonfly-reverb-lv2 guitarix-lv2 invada-studio-plugins-lv2 mda-lv2 swh-lv2
)

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

# What is installed here goes again at the end: other programs that look at all plug-ins of the system, our own tests
# among them, are to find what they found before. dpkg removes nothing else along with it.
installed() { dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' | sed -n 's/^installed //p' | sort -u; }
added=()
# shellcheck disable=SC2317 # the trap calls it
remove_added() {
    [ ${#added[@]} -gt 0 ] || return 0
    echo "with-peers: removing what was installed" >&2
    as_root dpkg --remove "${added[@]}" >/dev/null || echo "with-peers: not all of these could be removed: ${added[*]}" >&2
}
trap remove_added EXIT

# One at a time: what this release does not have is missing from the figures alone.
for package in "${packages[@]}"; do
    before=$(installed)
    ! grep -qx "$package" <<<"$before" || continue
    echo "with-peers: installing $package" >&2
    [ ${#added[@]} -gt 0 ] || as_root apt-get -qq update
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends "$package" >/dev/null ||
        echo "with-peers: $package cannot be installed" >&2
    mapfile -t -O ${#added[@]} added < <(comm -13 <(echo "$before") <(installed))
done

"$@"
