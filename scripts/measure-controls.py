#!/usr/bin/python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Measures with varnel-render what Size, Lo and Hi, the manual's recipes, a source on one side and the sample rate do, and
writes the tables of docs/numbers.md and the picture of the decay. With --print it prints the tables and writes nothing.

Needs Debian's python3-numpy, python3-scipy and python3-matplotlib. Takes some minutes, for the tails of minutes.
"""

import argparse
import importlib.machinery
import pathlib
import sys
import tempfile

import numpy as np
from scipy.io import wavfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
sound = importlib.machinery.SourceFileLoader("measure_sound", str(ROOT / "scripts/measure-sound.py")).load_module()

DOCUMENT = ROOT / "docs" / "numbers.md"
SIZES = (0, 10, 20, 25, 30, 33, 40, 45, 50, 55, 60, 65, 70, 75, 80)  # of the picture; the table has some of them
IN_TABLE = (0, 20, 33, 40, 50, 60, 70, 80)
RECIPES = (
    ("A touch of air", {"Size": 12, "Spin": 15, "Lo": -6, "Hi": -1, "Position": 40}),
    ("Short room for drums", {"Size": 20, "Spin": 5, "Lo": -6, "Hi": -1, "Position": 50}),
    ("Vocal plate", {"Size": 42, "Spin": 45, "Lo": -6, "Hi": 2, "Position": 46}),
    ("Long hall", {"Size": 56, "Spin": 30, "Lo": -2, "Hi": -4, "Position": 56}),
    ("Send effect bus", {"Size": 47, "Spin": 28, "Lo": -3, "Hi": -3, "Position": 72, "Insert Mode": "off"}),
)
LATE = {"Position": 100, "Insert Mode": "off"}  # the late sound alone


def options_of(settings):
    return [part for name, value in settings.items() for part in ("--set", f"{name}={value}")]


def times(controls, settings):
    """T30 of the whole, of the octave at 125 Hz and of that at 4 kHz, in seconds."""
    response = sound.long_enough(lambda seconds: controls.impulse(options_of(settings), seconds), longest=200)
    by_octave = dict(zip(sound.OCTAVES, sound.octaves(response)))
    return [sound.decay(sound.per_millisecond(part))[0] for part in (response, by_octave[125], by_octave[4000])]


def seconds_text(seconds):
    return f"{seconds / 60:.1f} min" if seconds >= 100 else f"{seconds:.0f} s" if seconds >= 10 else f"{seconds:.1f} s" if seconds >= 0.995 else f"{seconds:.2f} s"


def lo_and_hi(controls):
    rows = []
    for gain in (6, 0, -3, -6, -9, -12):
        row = [f"{gain:+d} dB" if gain else "0"]
        for name, which in (("Lo", 1), ("Hi", 2)):
            row += [seconds_text(times(controls, {"Lo": 0, "Hi": 0, name: gain, "Size": size})[which]) for size in (33, 50)]
        rows.append(row)
    return sound.table(["Setting", "Lo: 125 Hz, Size 33", "Size 50", "Hi: 4 kHz, Size 33", "Size 50"], rows)


def one_side(controls):
    spans = ((0.1, 0.2), (0.2, 0.4), (0.4, 0.8), (0.8, 1.6))
    source = controls.folder / "left.wav"
    wavfile.write(source, sound.RATE, (sound.impulse(2.0) * [[1], [0]]).T.astype(np.float32))
    rows = []
    for size in (0, 20, 33, 50, 70, 100):
        response = controls.render([*options_of(LATE | {"Size": size}), "--tail", "0.1", str(source)])
        begins = np.argmax(np.abs(response[1]) > 1e-6) / sound.RATE
        row = [str(size), f"{1000 * begins:.0f} ms"]
        for start, end in spans:
            energies = np.sum(response[:, int(start * sound.RATE):int(end * sound.RATE)] ** 2, axis=1)
            row.append("gone" if energies[0] < 1e-6 * np.sum(response ** 2) else "all" if energies[1] < 1e-12 * energies[0]
                       else f"{round(sound.decibels(energies[0] / energies[1])) + 0} dB")
        rows.append(row)
    return sound.table(["Size", "The right begins after"] + [f"{start} to {end} s" for start, end in spans], rows)


def sample_rates(controls):
    rates = (44100, 48000, 96000, 192000)
    rows = []
    for size, seconds in ((33, 4), (50, 8), (60, 24)):
        for centre in (4000, 8000, 16000):
            row = [f"Size {size}, {centre // 1000} kHz"]
            for rate in rates:
                response = controls.impulse(options_of(LATE | {"Size": size, "Hi": 0}), seconds, rate)
                band = next(sound.octaves(response, [centre], rate))
                row.append(seconds_text(sound.decay(sound.per_millisecond(band, rate), rate // 1000 / rate)[0]))
            rows.append(row)
    return sound.table(["Decay at"] + [f"{rate / 1000:g} kHz" for rate in rates], rows)


def draw(decays, path):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plot
    figure, axis = plot.subplots(figsize=(8.6, 4.7), constrained_layout=True)
    for which, name, colour in ((1, "octave at 125 Hz", "tab:blue"), (0, "whole tail", "black"), (2, "octave at 4 kHz", "tab:red")):
        axis.plot(SIZES, [decays[size][which] for size in SIZES], "o-", color=colour, label=name)
    for size in IN_TABLE:
        axis.annotate(seconds_text(decays[size][0]), (size, decays[size][0]), xytext=(4, -12), textcoords="offset points", fontsize=8)
    ticks = (0.2, 0.5, 1, 2, 5, 10, 20, 50, 100, 200)
    axis.set(xlabel="Size", ylabel="decay (T30)", yscale="log", yticks=ticks, yticklabels=[f"{tick:g} s" for tick in ticks], xlim=(0, 82))
    axis.minorticks_off()
    axis.grid(color="0.9")
    axis.legend(frameon=False)
    figure.savefig(path, dpi=100, metadata={"Software": None})
    sound.check_pictures([path])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--print", action="store_true", dest="show", help="write nothing; print the tables")
    parser.add_argument("--program", type=pathlib.Path, default=ROOT / "build/source/render/varnel-render", help="the varnel-render to use")
    options = parser.parse_args()
    if not options.program.is_file():
        sys.exit(f"measure-controls: {options.program}: no such file")

    with tempfile.TemporaryDirectory() as folder:
        controls = sound.Renderer(options.program.resolve(), pathlib.Path(folder))
        decays = {size: times(controls, {"Size": size}) for size in SIZES}
        parts = {
            "Size": sound.table(["Size", "Decay (T30)", "at 125 Hz", "at 4 kHz"], [[str(size), *map(seconds_text, decays[size])] for size in IN_TABLE]),
            "Lo and Hi": lo_and_hi(controls),
            "Recipes": sound.table(["", "Decay (T30)", "at 125 Hz", "at 4 kHz"], [[name, *map(seconds_text, times(controls, settings))] for name, settings in RECIPES]),
            "A source on one side": one_side(controls),
            "Sample rates": sample_rates(controls),
        }

    if options.show:
        for name, part in parts.items():
            print(f"## {name}\n\n{part}")
        return
    draw(decays, ROOT / "docs/images/manual-decay.png")
    sound.write_parts(DOCUMENT, parts, "measure-controls")


if __name__ == "__main__":
    main()
