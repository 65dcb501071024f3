#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: check-package.sh [PACKAGE.deb]
# Has lintian look at the Debian package and at those beside it, and installs, upgrades and removes it in a system of its own,
# made by debootstrap from this system's mirror. Root is needed. VARNEL_CHECK_ROOT may name a tar archive of such a system,
# which is made if it is not there.
set -euo pipefail
cd "$(dirname "$0")/.."

fail() { echo "check-package: $*" >&2; exit 1; }
step() { printf '\n== %s\n' "$*"; }

package=$(realpath "${1:-$(ls build/packages/varnel-reverb_*.deb)}")
[ "$(id -u)" = 0 ] || fail "root is needed"

step "Lintian"
scripts/setup.sh --also lintian debootstrap
lintian --allow-root --fail-on error,warning "$(dirname "$package")"/*.deb

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
inside() { env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C HOME=/root DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"; }

step "A clean system"
codename=$(. /etc/os-release && echo "${VERSION_CODENAME:?}")
mirror=$(cat /etc/apt/sources.list.d/debian.sources /etc/apt/sources.list 2>/dev/null |
    sed -n -e 's/^URIs: *//p' -e 's/^deb \(\[[^]]*\] \)\?\([^ ]*\) .*/\2/p' | head -n 1) || true
[ -n "$mirror" ] || fail "no mirror in apt's sources"

if [ -f "${VARNEL_CHECK_ROOT:-}" ]; then
    tar -C "$root" -xf "$VARNEL_CHECK_ROOT"
else
    debootstrap --variant=minbase "$codename" "$root" "$mirror" >"$root.log" 2>&1 || { tail "$root.log" >&2; rm -f "$root.log"; fail "debootstrap"; }
    rm -f "$root.log"
    [ -z "${VARNEL_CHECK_ROOT:-}" ] || tar -C "$root" -cf "$VARNEL_CHECK_ROOT" .
fi

cp /etc/resolv.conf "$root/etc/" 2>/dev/null || true
inside apt-get -qq update

step "Its dependencies, and nothing else"
depends=$(dpkg-deb -f "$package" Depends)
echo "$depends"
for library in libasound2 libfreetype6 libfontconfig1 libsndfile1 libx11-6; do
    case $depends in *"$library"*) ;; *) fail "no dependency on $library" ;; esac
done
cp "$package" "$root/tmp/package.deb"
inside sh -c "apt-get -qq install -y --no-install-recommends \$(dpkg-deb -f /tmp/package.deb Depends | sed 's/ *([^)]*)//g; s/ *|[^,]*//g; s/,/ /g')" >/dev/null 2>&1
files() { (cd "$root" && find . -xdev \( -path ./tmp -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./var/cache -o -path ./var/log -o -path ./proc -o -path ./sys -o -path ./dev \) -prune -o -print | sort); }
files >"$root/tmp/before"

step "Installation"
inside dpkg --install /tmp/package.deb >/dev/null
for file in bin/varnel-render bin/varnel-reverb "lib/lv2/Varnel Reverb.lv2/manifest.ttl" "lib/clap/Varnel Reverb.clap" \
            "lib/vst3/Varnel Reverb.vst3/Contents/Resources/moduleinfo.json" share/applications/varnel-reverb.desktop \
            share/icons/hicolor/scalable/apps/varnel-reverb.svg share/man/man1/varnel-render.1.gz \
            share/bash-completion/completions/varnel-render share/zsh/vendor-completions/_varnel-render \
            share/fish/vendor_completions.d/varnel-render.fish share/doc/varnel-reverb/copyright; do
    [ -f "$root/usr/$file" ] || fail "/usr/$file is missing"
done

[ -f "$root/opt/Application Support/Ostry/Varnel Reverb/Factory Presets/New Sound.xml" ] || fail "there are no factory presets"

version=$(dpkg-deb -f "$package" Version)
[ "$(inside varnel-render --version)" = "varnel-render ${version%%-*}" ] || fail "varnel-render --version"
inside varnel-render --quiet --impulse 1 /tmp/response.wav
[ -s "$root/tmp/response.wav" ] || fail "varnel-render wrote nothing"
[ "$(inside varnel-reverb --version)" = "varnel-reverb ${version%%-*}" ] || fail "varnel-reverb --version"
! inside varnel-reverb 2>/dev/null || fail "varnel-reverb has found a display"

# Whatever the bundles need is there.
while read -r library; do
    missing=$(inside ldd "${library#"$root"}" | grep 'not found' || true)
    [ -z "$missing" ] || fail "${library#"$root"}: $missing"
done < <(find "$root/usr/lib/vst3/Varnel Reverb.vst3" "$root/usr/lib/lv2/Varnel Reverb.lv2" "$root/usr/lib/clap" -name '*.so' -o -name '*.clap')

step "Upgrade"
mkdir "$root/tmp/next"
dpkg-deb -R "$package" "$root/tmp/next"
sed -i "s/^Version: .*/Version: $version+next/" "$root/tmp/next/DEBIAN/control"
dpkg-deb -b "$root/tmp/next" "$root/tmp/next.deb" >/dev/null
inside dpkg --install /tmp/next.deb >/dev/null
[ "$(inside dpkg-query -W -f '${Version}' varnel-reverb)" = "$version+next" ] || fail "the upgrade has not come"
inside varnel-render --version >/dev/null

step "Removal, with a user's files about"
mkdir -p "$root/root/.config/Application Support/Ostry/Varnel Reverb" "$root/root/Documents/Ostry/Varnel Reverb/User Presets"
echo kept >"$root/root/.config/Application Support/Ostry/Varnel Reverb/Varnel Reverb.settings"
echo kept >"$root/root/Documents/Ostry/Varnel Reverb/User Presets/Mine.xml"
inside dpkg --purge varnel-reverb >/dev/null
files >"$root/tmp/after"
left=$(comm -13 "$root/tmp/before" "$root/tmp/after" | grep -v -e '^\./root/' || true)
gone=$(comm -23 "$root/tmp/before" "$root/tmp/after" | grep -v -x -e '\./opt' || true) # which dpkg takes along when it is empty
[ -z "$left" ] || fail "left behind: $left"
[ -z "$gone" ] || fail "not ours to remove: $gone"
[ "$(find "$root/root" -name Mine.xml -o -name '*.settings' | wc -l)" = 2 ] || fail "the user's files are gone"

step "The package is in order"
