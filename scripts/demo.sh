#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Installs what is needed, builds, and puts the reverb on a real recording: a voice, from Debian's alsa-utils.
# Results are in demo/: sounds, and a spectrogram of each.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

recording=/usr/share/sounds/alsa/Front_Center.wav
render=build/source/render/varnel-render

if [ ! -f build/build.ninja ]; then
    echo "demo: configuring"
    cmake --preset release -DCMAKE_UNITY_BUILD=ON >build-demo.log 2>&1 || { cat build-demo.log; exit 1; }
    mv build-demo.log build/demo.log
fi

echo "demo: building (a few minutes the first time)"
cmake --build build --target varnel-render >build/demo.log 2>&1 || { cat build/demo.log; exit 1; }

mkdir -p demo
$render $recording demo/dry.wav --set Effect=off
$render $recording demo/small-room.wav --set Size=15 --set Position=45 --set Spin=10
$render $recording demo/concert-hall.wav --set Size=58 --set Position=62 --set Lo=-2 --set Hi=-3 --set Spin=40
$render $recording demo/endless-space.wav --set Size=82 --set Position=80 --set Spin=80 --set Hi=-6 --set Lo=-4 --set "Insert Mode=off" --tail 10
$render --impulse 3 demo/impulse-response.wav --set Size=58 --set Position=62 --set Lo=-2 --set Hi=-3 --set Spin=40

for name in dry small-room concert-hall endless-space impulse-response; do
    sox -V1 demo/$name.wav -n remix 1,2 rate 22050 spectrogram -x 800 -Y 300 -z 100 -t "$name" -c "Varnel Reverb" -o demo/$name.png
done

echo
echo "Listen to and look at:"
printf '  %s\n' "$PWD"/demo/*
