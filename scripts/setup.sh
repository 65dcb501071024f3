#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: setup.sh [--also PACKAGE...]
# Installs what building, testing and the demo need, on Debian 12 and 13, and what --also names. May be run any number of times.
#
# JUCE 8 comes from the package where the release carries it. Where it does not (Debian 12), the source
# package of the next release is unpacked into .juce; the system's own package lists stay as they are.
# Set VARNEL_JUCE_DIR to a JUCE 8 tree to use that instead.
set -euo pipefail
cd "$(dirname "$0")/.."

next_release=trixie

packages=(
    build-essential binutils cmake ninja-build pkg-config clang-format git
    clang libclang-rt-dev valgrind # sanitizers, fuzzers
    libcli11-dev nlohmann-json3-dev libgtest-dev libbenchmark-dev
    libsndfile1-dev libogg-dev zlib1g-dev libpng-dev libjpeg-dev
    libfreetype-dev libfontconfig1-dev
    libasound2-dev libjack-jackd2-dev
    libx11-dev libxext-dev libxinerama-dev libxrandr-dev libxcursor-dev libxcomposite-dev
    fonts-dejavu-core
    fonts-league-spartan python3-fonttools # what the caption face is made of, and with
    xvfb libxres-dev libxtst-dev # a screen for the tests of the window
    alsa-utils sox # a recording for the demo, and its spectrograms
    python3-pil # reads the documents' pictures as strictly as the strictest viewer
    jackd2 jalv lv2-dev sordi # hosts and validators for the tests
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

# Unpacks the next release's JUCE source package, with package lists and a cache of its own.
fetch_juce() {
    local codename folder
    codename=$(. /etc/os-release && echo "${VERSION_CODENAME:?}")
    folder=$(mktemp -d "$PWD/.juce-fetch.XXXXXX")
    trap "rm -rf '$folder'" EXIT # expanded now: the variable is gone when the trap runs
    mkdir -p "$folder"/{lists/partial,cache/archives/partial,sources,tree}

    if [ -f /etc/apt/sources.list.d/debian.sources ]; then
        sed -e 's/^Types:.*/Types: deb-src/' -e "s/\b$codename\b/$next_release/g" \
            /etc/apt/sources.list.d/debian.sources >"$folder/sources/next.sources"
    else
        sed -n -e "s/\b$codename\b/$next_release/g" -e 's/^deb /deb-src /p' /etc/apt/sources.list >"$folder/sources/next.list"
    fi

    local apt=(apt-get -qq -o Dir::State::lists="$folder/lists" -o Dir::Etc::sourcelist=/dev/null
               -o Dir::Etc::sourceparts="$folder/sources" -o Dir::Cache="$folder/cache" -o APT::Sandbox::User="$(id -un)")
    echo "setup: unpacking JUCE 8 from Debian's source package"
    "${apt[@]}" update
    (cd "$folder/tree" && "${apt[@]}" source juce >/dev/null)
    rm -rf .juce
    mv "$folder"/tree/juce-8*/ .juce
}

install_missing "${packages[@]}" "${@:2}"

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
