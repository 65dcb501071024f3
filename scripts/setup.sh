#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: setup.sh [--arch ARCHITECTURE | --also PACKAGE...]
# Installs what building, testing and the demo need, on Debian 12 and 13, and what --also names. May be run any number of times.
# With --arch also what a build for another of Debian's architectures needs: its compiler and an emulator, which are
# installed, and its libraries, which are unpacked into .sysroot-ARCHITECTURE: nothing of this system makes room for them.
#
# JUCE 8 comes from the package where the release carries it. Where it does not (Debian 12), the source
# package of the next release is unpacked into .juce; the system's own package lists stay as they are.
# Set VARNEL_JUCE_DIR to a JUCE 8 tree to use that instead.
set -euo pipefail
cd "$(dirname "$0")/.."

next_release=trixie

architecture=
also=()

case $#${1:-} in
    0) ;;
    2--arch) architecture=$2 ;;
    *--also) also=("${@:2}") ;;
    *) echo "usage: setup.sh [--arch ARCHITECTURE | --also PACKAGE...]" >&2; exit 2 ;;
esac

libraries=(
    libcli11-dev nlohmann-json3-dev libgtest-dev libbenchmark-dev
    libsndfile1-dev libogg-dev zlib1g-dev libpng-dev libjpeg-dev
    libfreetype-dev libfontconfig1-dev
    libasound2-dev libjack-jackd2-dev lv2-dev
    dpf-source # the headers of CLAP, and no more of it
    libx11-dev libxext-dev libxinerama-dev libxrandr-dev libxcursor-dev libxcomposite-dev
    libxtst-dev # the tests' screen
)

packages=(
    build-essential binutils cmake ninja-build pkg-config clang-format git
    clang libclang-rt-dev valgrind # sanitizers, fuzzers
    "${libraries[@]}"
    fonts-dejavu-core
    fonts-league-spartan python3-fonttools # what the caption face is made of, and with
    xvfb # a screen for the tests of the window
    alsa-utils sox # a recording for the demo, and its spectrograms
    python3-pil # reads the documents' pictures as strictly as the strictest viewer
    jackd2 jalv qtractor sordi # hosts and validators for the tests
    python3-dev pybind11-dev python3-numpy python3-pytest python3-soundfile # the Python module and its tests
    abigail-tools # compares the C library's binary interface with the recorded one
    appstream desktop-file-utils mandoc man-db # validators
    dpkg-dev file # for the package
)

if ! command -v apt-get >/dev/null; then
    echo "setup: this is not a Debian system; install the likes of: ${packages[*]}, and JUCE 8" >&2
    exit 1
fi

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"
    elif command -v sudo >/dev/null; then sudo "$@"
    else
        echo "setup: root is needed for: $*" >&2
        exit 1
    fi
}

missing() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || echo "$package"
    done
}

updated=false
install_missing() {
    local absent
    mapfile -t absent < <(missing "$@")
    [ ${#absent[@]} -gt 0 ] || return 0
    echo "setup: installing ${absent[*]}"
    $updated || as_root apt-get -qq update
    updated=true
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends "${absent[@]}" >/dev/null
}

# Makes $folder, and $apt: an apt-get with lists and a cache there, so that the system's own stay as they are.
# Arguments: what is fetched (deb or deb-src), and of which release, by this system's servers.
set_apart() {
    local codename
    codename=$(. /etc/os-release && echo "${VERSION_CODENAME:?}")
    folder=$(mktemp -d "$PWD/.setup.XXXXXX")
    trap 'rm -rf "$folder"' EXIT
    mkdir -p "$folder"/{lists/partial,cache/archives/partial,sources,tree}

    if [ -f /etc/apt/sources.list.d/debian.sources ]; then
        sed -e "s/^Types:.*/Types: $1/" -e "s/\b$codename\b/${2:-$codename}/g" \
            /etc/apt/sources.list.d/debian.sources >"$folder/sources/debian.sources"
    else
        sed -n -e "s/\b$codename\b/${2:-$codename}/g" -e "s/^deb /$1 /p" /etc/apt/sources.list >"$folder/sources/debian.list"
    fi

    apt=(apt-get -qq -o Dir::State::lists="$folder/lists" -o Dir::Etc::sourcelist=/dev/null
         -o Dir::Etc::sourceparts="$folder/sources" -o Dir::Cache="$folder/cache" -o APT::Sandbox::User="$(id -un)")
}

fetch_juce() {
    set_apart deb-src "$next_release"
    echo "setup: unpacking JUCE 8 from Debian's source package"
    "${apt[@]}" update
    (cd "$folder/tree" && "${apt[@]}" source juce >/dev/null)
    rm -rf .juce
    mv "$folder"/tree/juce-8*/ .juce
    rm -rf "$folder"
}

# Unpacks the libraries, and what they need, into a system that is only read from and never installed.
fetch_sysroot() {
    local system=.sysroot-$architecture package link target
    set_apart deb
    apt+=(-o APT::Architecture="$architecture" -o APT::Architectures="$architecture" -o Dir::State::status="$folder/status"
          -o Dir::State::extended_states="$folder/extended" -o Debug::NoLocking=true)
    touch "$folder/status"
    echo "setup: unpacking libraries for $architecture into $system"
    "${apt[@]}" update
    "${apt[@]}" install -y --no-install-recommends --download-only "${libraries[@]}" >/dev/null

    mkdir -p "$folder"/tree/{DEBIAN,usr/lib}
    ln -s usr/lib "$folder/tree/lib"
    for package in "$folder"/cache/archives/*.deb; do
        dpkg-deb --fsys-tarfile "$package" | tar -C "$folder/tree" -x --no-same-owner --keep-directory-symlink
        # What dpkg-shlibdeps reads of a package beside the one that it works for
        for file in shlibs symbols; do
            dpkg-deb --info "$package" "$file" >>"$folder/tree/DEBIAN/$file" 2>/dev/null || true
        done
    done

    # Links that lead to a root lead to this one.
    find "$folder/tree" -type l -lname '/*' | while read -r link; do
        target=$(readlink "$link")
        ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$folder/tree$target")" "$link"
    done

    rm -rf "$system"
    printf '%s\n' "${libraries[@]}" >"$folder/tree/packages" # last: a whole sysroot has it
    mv "$folder/tree" "$system"
    rm -rf "$folder"
}

install_missing "${packages[@]}" "${also[@]}"

if [ -n "${VARNEL_JUCE_DIR:-}" ]; then
    echo "setup: using the JUCE tree in $VARNEL_JUCE_DIR"
elif [ ! -f .juce/CMakeLists.txt ] && [ -n "$(missing juce-modules-source)" ]; then
    $updated || [ -n "$(apt-cache show juce-modules-source 2>/dev/null)" ] || { as_root apt-get -qq update; updated=true; }
    candidate=$(LC_ALL=C apt-cache policy juce-modules-source | sed -n 's/^ *Candidate: //p')

    if dpkg --compare-versions "${candidate/(none)/0}" ge 8; then
        install_missing juce-modules-source
    else
        install_missing dpkg-dev
        fetch_juce
    fi
fi

if [ -n "$architecture" ]; then
    machine=$(dpkg-architecture -a "$architecture" -q DEB_HOST_GNU_TYPE 2>/dev/null) || { echo "setup: Debian has no architecture $architecture" >&2; exit 1; }
    install_missing "g++-$machine" qemu-user
    printf '%s\n' "${libraries[@]}" | cmp -s - ".sysroot-$architecture/packages" || fetch_sysroot
fi
