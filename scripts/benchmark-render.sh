#!/usr/bin/env bash
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: benchmark-render.sh [PROGRAM]
# Times varnel-render, that of the build unless another is named: ten minutes of stereo at 48 kHz from file to file in three
# formats, and a thousand clips of 5 s at 16 kHz one at a time and on all cores. Prints elapsed and processor seconds.
set -euo pipefail
program=$(realpath "${1:-$(dirname "$0")/../build/source/render/varnel-render}")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
TIMEFORMAT='%R s elapsed, %U s of processor time'

sox -R -n -r 48000 -c 2 -b 24 long.wav synth 600 pinknoise tremolo 0.2 vol 0.3
sox -R -n -r 16000 -c 1 -b 16 clip.wav synth 5 pinknoise tremolo 1 vol 0.3
sox long.wav long.aiff
sox long.wav long.flac

for kind in wav aiff flac; do
    printf '10 minutes of %-5s ' "$kind:"
    time "$program" --quiet --tail 0 "long.$kind" "wet.$kind"
done

mkdir clips
for number in $(seq -w 1 1000); do cp clip.wav "clips/$number.wav"; done

if "$program" --help | grep -q -e --output-folder; then
    for jobs in 1 "$(nproc)"; do
        printf '1000 clips, %d at a time: ' "$jobs"
        time "$program" --quiet --same-length --jobs "$jobs" --recursive --output-folder "wet-$jobs" clips
    done
else
    mkdir wet
    printf '1000 clips, a process each: '
    time for clip in clips/*; do "$program" --quiet --tail 0 "$clip" "wet/${clip##*/}"; done
fi
