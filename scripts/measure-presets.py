#!/usr/bin/python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Measures every factory preset with varnel-render and writes docs/presets.md.

With --check it writes nothing: it measures again, prints one line per fault and exits with 1 if there is any.
Needs Debian's python3-numpy, and alsa-utils for the recorded voice.
"""

import argparse
import dataclasses
import io
import math
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import wave

import numpy as np

ROOT = pathlib.Path(__file__).resolve().parent.parent
BANK = ROOT / "presets" / "factory"
DOCUMENT = ROOT / "docs" / "presets.md"

RATE = 48000  # the rate of the recorded voice

# ID, lowest, highest, step, in tenths: whole numbers keep the grid exact.
PARAMETERS = [
    ("ReverbSize", 0, 1000, 10),
    ("ReverbMod", 0, 1000, 10),
    ("ReverbLo", -120, 120, 2),
    ("ReverbHi", -120, 120, 2),
    ("Position", 0, 1000, 10),
    ("Bypass", 10, 10, 10),
    ("ReverbInsertMode", 0, 10, 10),
]

SEND_FOLDER = "Send Effects"
CEILING = 0.0  # dBFS, for the peak of any programme
START = BANK / "New Sound.xml"
INSTALLED_START = "/opt/Application Support/Ostry/Varnel Reverb/Factory Presets/New Sound.xml"
LEVEL_SPAN = 3.0  # dB between the softest and the loudest of a folder
LEAST_DISTANCE = 2.5  # see distance()

LENGTHS = (4, 12, 48)  # seconds of response: the first that is long enough counts
LONGEST_DECAY = 50.0  # seconds; what rings longer is not told apart


# ======================================================================================================
# The files

@dataclasses.dataclass
class Preset:
    path: pathlib.Path
    values: dict  # by ID

    @property
    def name(self):
        return self.path.stem

    @property
    def folder(self):
        return "" if self.path.parent == BANK else self.path.parent.name

    @property
    def is_insert(self):
        return self.values["ReverbInsertMode"] == 1.0

    @property
    def is_in_range(self):
        return all(low <= self.values[id] * 10 <= high for id, low, high, _ in PARAMETERS)

    def __str__(self):
        return self.path.relative_to(ROOT).as_posix()


def text_of(values, path):
    """The only text that a preset with these values may have: the form that the plug-in writes, with one decimal."""
    name = INSTALLED_START if path == START else ""  # a new instance passes on the name that it finds
    lines = ['<?xml version="1.0" encoding="UTF-8"?>', "", f'<ReverbParams presetName="{name}">']
    lines += [f'  <PARAM id="{row[0]}" value="{values[row[0]]:.1f}"/>' for row in PARAMETERS]
    return "\r\n".join(lines + ["</ReverbParams>", ""]).encode("ascii")


def read(path):
    """Returns a preset, or None, and the faults of its name, form and values."""
    faults = []
    data = path.read_bytes()
    text = data.decode("utf-8", "replace")
    found = {id: float(value) for id, value in re.findall(r'<PARAM id="(\w+)" value="(-?[0-9]+(?:\.[0-9]+)?)"/>', text)}

    # Names have to be good on every system, and to survive a menu.
    stem = path.stem
    if not re.fullmatch(r"[A-Za-z0-9][A-Za-z0-9 '&,()-]*[A-Za-z0-9)]", stem) or "  " in stem or path.suffix != ".xml":
        faults.append("its name has to be plain ASCII, safe on every system, and end in .xml")
    if stem.upper() in {"CON", "PRN", "AUX", "NUL"} | {f"{port}{n}" for port in ("COM", "LPT") for n in range(10)}:
        faults.append("its name is a device's on some systems")

    if set(found) != {row[0] for row in PARAMETERS}:
        return None, faults + ["does not hold the seven parameters, once each"]

    if data != text_of(found, path):
        faults.append("has not the form that the plug-in writes, with one decimal in each value and CRLF line ends")

    for id, low, high, step in PARAMETERS:
        tenths = found[id] * 10
        if not low <= tenths <= high:
            faults.append(f"{id} is {found[id]}, out of its range")
        elif abs(tenths - round(tenths)) > 1e-9 or (round(tenths) - low) % step != 0:
            faults.append(f"{id} is {found[id]}, between two of its steps")

    if path.parent != BANK and path.parent.parent != BANK or path.parent == BANK and path != START:
        faults.append("belongs into a folder below presets/factory, one deep")

    preset = Preset(path, found)
    if preset.folder == SEND_FOLDER and preset.is_insert:
        faults.append("is in insert mode among the send effects")

    return preset, faults


# ======================================================================================================
# Sound files: mono or stereo, 32-bit float

def write_sound(path, samples):
    data = samples.astype("<f4").tobytes()
    head = b"WAVEfmt " + struct.pack("<IHHIIHH", 16, 3, 1, RATE, 4 * RATE, 4, 32) + b"data" + struct.pack("<I", len(data))
    path.write_bytes(b"RIFF" + struct.pack("<I", len(head) + len(data)) + head + data)


def read_sound(path):
    """Returns the channels of a float file as rows."""
    data = path.read_bytes()
    position, channels = 12, 0

    while position + 8 <= len(data):
        kind, size = data[position:position + 4], struct.unpack_from("<I", data, position + 4)[0]
        if kind == b"fmt ":
            channels, bits = struct.unpack_from("<H", data, position + 10)[0], struct.unpack_from("<H", data, position + 22)[0]
            assert bits == 32, "the renderer was asked for float samples"
        elif kind == b"data":
            return np.frombuffer(data, "<f4", size // 4, position + 8).reshape(-1, channels).T.astype(float)
        position += 8 + size + size % 2

    raise ValueError(f"{path.name} holds no audio")


# ======================================================================================================
# The full-scale programmes, all mono. The legacy generator of numpy is frozen, so they are the same everywhere.

def full_scale(samples):
    return samples / np.max(np.abs(samples))


def pink_noise(seconds):
    random = np.random.RandomState(1)
    bins = np.fft.rfftfreq(int(seconds * RATE), 1 / RATE)
    heard = (bins >= 20) & (bins <= 20000)
    size = np.where(heard, 1 / np.sqrt(np.maximum(bins, 1)), 0)
    return full_scale(np.fft.irfft(size * np.exp(2j * np.pi * random.random_sample(len(bins)))))


def drums():
    """Two bars of kick, snare and hat at 120 beats a minute."""
    random = np.random.RandomState(2)
    t = np.arange(int(0.4 * RATE)) / RATE
    noise = 2 * random.random_sample(len(t)) - 1
    bright = np.diff(noise, prepend=0)

    kick = np.sin(2 * np.pi * (50 * t + 8 * (1 - np.exp(-t / 0.03)))) * np.exp(-t / 0.12)
    snare = (0.6 * noise + 0.5 * np.sin(2 * np.pi * 190 * t)) * np.exp(-t / 0.06)
    hat = 0.25 * bright * np.exp(-t / 0.02)

    pattern = np.zeros(int(4.5 * RATE))
    for eighth in range(16):
        for sound, plays in ((kick, eighth % 8 in (0, 3, 4)), (snare, eighth % 4 == 2), (hat, True)):
            if plays:
                start = eighth * RATE // 4
                pattern[start:start + len(t)] += sound
    return full_scale(pattern)


def voice(folder):
    """Eight short phrases at three speeds, each at full scale, with half a second between them. The speeds are for
    early reflections, which add to the dry sound at some pitches and take from it at others."""
    parts = []
    for place in ("Front_Center", "Front_Left", "Front_Right", "Rear_Center", "Rear_Left", "Rear_Right", "Side_Left", "Side_Right"):
        with wave.open(str(folder / f"{place}.wav")) as file:
            assert (file.getframerate(), file.getnchannels(), file.getsampwidth()) == (RATE, 1, 2), f"{place}.wav is not the recording that is meant"
            phrase = np.frombuffer(file.readframes(file.getnframes()), "<i2").astype(float)
        for speed in (0.93, 1.0, 1.08):
            parts.append(full_scale(np.interp(np.arange(0, len(phrase) - 1, speed), np.arange(len(phrase)), phrase)))
            parts.append(np.zeros(RATE // 2))
    return np.concatenate(parts)


# ======================================================================================================
# Measuring

class Renderer:
    def __init__(self, program, folder):
        self.program, self.folder = str(program), folder

    def output_of(self, *arguments):
        done = subprocess.run([self.program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            sys.exit(f"measure-presets: {' '.join(done.args)}\n{done.stdout}")
        return done.stdout

    def response(self, preset, seconds):
        return self.run(preset, "--impulse", str(seconds), "--rate", str(RATE))

    def processed(self, preset, file):
        return self.run(preset, str(file), "--tail", "1", "--bits", "32")

    def run(self, preset, *arguments):
        result = self.folder / "out.wav"
        self.output_of("--quiet", "--preset", str(preset.path), *arguments, str(result))
        return read_sound(result)


def decibels(ratio):
    return 10 * np.log10(np.maximum(ratio, 1e-30))


def octave_mask(frequencies, centre):
    """Power weights of an octave band: neighbours overlap and add up to 1."""
    octaves = np.log2(np.maximum(frequencies, 1e-3) / centre)
    return np.where(np.abs(octaves) < 1, np.cos(octaves * np.pi / 2) ** 2, 0)


def decay_time(energy):
    """T30 of energies per millisecond: a straight line through -5 to -35 dB of what is still to come."""
    if not is_long_enough(energy):
        return LONGEST_DECAY
    to_come = decibels(np.cumsum(energy[::-1])[::-1] / np.sum(energy))
    span = np.flatnonzero((to_come <= -5) & (to_come >= -35))
    if len(span) < 10:
        return float("nan")
    slope = np.polyfit(span / 1000, to_come[span], 1)[0]
    return min(-60 / slope, LONGEST_DECAY)


def per_millisecond(samples):
    power = np.sum(samples ** 2, axis=0)
    return np.add.reduceat(power, np.arange(0, len(power), RATE // 1000))


def is_long_enough(energy):
    last = energy[len(energy) * 9 // 10:]
    return np.sum(last) < 1e-5 * np.sum(energy)


@dataclasses.dataclass
class Measures:
    t30: float
    t30_low: float
    t30_high: float
    c80: float
    low: float
    high: float
    level: float
    peaks: tuple

    @property
    def peak(self):
        return max(self.peaks)


def measure(renderer, preset, programmes):
    # The response. Without sample 0 it is the wet part alone: the dry sound is there and nowhere else.
    for seconds in LENGTHS:
        whole = renderer.response(preset, seconds)
        wet = whole.copy()
        wet[:, 0] = 0
        size = 1 << (wet.shape[1] + RATE // 2).bit_length()
        spectrum = np.fft.rfft(wet, size)
        frequencies = np.fft.rfftfreq(size, 1 / RATE)

        def band(centre):
            return np.fft.irfft(spectrum * np.sqrt(octave_mask(frequencies, centre)), size)[:, :wet.shape[1]]

        decays = [per_millisecond(part) for part in (wet, band(125), band(4000))]
        if all(is_long_enough(energy) for energy in decays):
            break

    energy = per_millisecond(whole)
    c80 = decibels(np.sum(energy[:80]) / np.sum(energy[80:]))
    power = np.sum(np.abs(spectrum) ** 2, axis=0)

    def density(centre):
        mask = octave_mask(frequencies, centre)
        return decibels(np.sum(power * mask) / np.sum(mask))

    # The programmes.
    peaks = []
    for name, (file, samples) in programmes.items():
        out = renderer.processed(preset, file)
        peaks.append(20 * math.log10(np.max(np.abs(out))))
        if name == "noise":
            steady = slice(len(samples) // 2, len(samples))
            level = decibels(np.mean(out[:, steady] ** 2) / np.mean(samples[steady] ** 2))

    return Measures(*map(decay_time, decays), c80,
                    density(125) - density(1000), density(8000) - density(1000), level, tuple(peaks))


def distance(a, b):
    """How differently two presets measure: 1 is about the least difference that a listener notices in one column
    when it alone changes; columns add up like the sides of a right angle."""
    def ratio(x, y, step):
        return math.log(x / y) / math.log(1 + step)

    return math.sqrt(ratio(a.t30, b.t30, 0.1) ** 2 + ratio(a.t30_low, b.t30_low, 0.2) ** 2 + ratio(a.t30_high, b.t30_high, 0.2) ** 2
                     + (a.c80 - b.c80) ** 2 + (a.low - b.low) ** 2 + (a.high - b.high) ** 2 + (a.level - b.level) ** 2)


# ======================================================================================================
# The bank as a whole

def order(preset):
    return preset.folder, preset.name.lower()


def faults_of_names(paths):
    seen = {}
    for path in paths:
        other = seen.setdefault(path.stem.lower(), path)
        if other is not path:
            yield f"{path.relative_to(ROOT).as_posix()}: has the same name as {other.relative_to(ROOT).as_posix()}"


def faults_of_measures(results):
    for preset, result in results:
        if result.peak > CEILING:
            yield f"{preset}: clips: {result.peak:+.2f} dBFS on full-scale programme"

    for i, (preset, result) in enumerate(results):
        for other, other_result in results[:i]:
            apart = distance(result, other_result)
            if not apart >= LEAST_DISTANCE:
                yield f"{preset}: measures like {other}: distance {apart:.1f}, at least {LEAST_DISTANCE} is needed"

    for folder in sorted({preset.folder for preset, _ in results}):
        levels = [(result.level, preset.name) for preset, result in results if preset.folder == folder]
        softest, loudest = min(levels), max(levels)
        if loudest[0] - softest[0] > LEVEL_SPAN:
            yield (f"{(BANK / folder).relative_to(ROOT).as_posix()}: {loudest[1]} is {loudest[0] - softest[0]:.1f} dB louder than "
                   f"{softest[1]}, more than {LEVEL_SPAN:.0f} dB")


# ======================================================================================================
# The document

INTRODUCTION = """\
# Factory presets

## Which preset for what

| For | Start with | Then |
|---|---|---|
| a lead voice that stays in front | Lead in Front | Close Singer for less, Whispered Halo for more air |
| speech | Spoken Word | Story by the Fire, if it has to be warm |
| backing voices, a choir | Backing Blend, Choir Loft | Duet in the Nave for a slow piece |
| a drum kit | Kit in the Barn | Tight Overheads for less, Slow Thunder for a ballad |
| one drum | Snare Cupboard, Hand Drums by the Wall | Rim and Stone for a bright one |
| acoustic guitar, piano at home | Nylon Parlour, Upright at Home | |
| electric guitar, electric piano | Clean Strum, Tine Garden | Wide Twang |
| grand piano, organ | Grand on Stage, Organ Gallery | |
| strings, an orchestra | Evening Recital | Timber Concert Hall, Great Hall, by size |
| a whole mix that is too dry | Air Around It | Two Steps Back |
| a plate | Copper Skin | Bright Sheet for more top, Long Sheet for longer |
| an effect bus | Send Room, Send Plate, Send Hall | |
| film, ambient, effects | Cathedral Nave, Slow Bloom | all of Sound Design |

Anything too far away: Position down. Too long: Size down. Boomy: Lo down. Hissing tail: Hi down.

## How to read the tables

{count} presets. All numbers are measured: `scripts/measure-presets.py` renders each preset with `varnel-render`
at 48 kHz and writes this file. To do it again, or to check the rules below:

    apt-get install python3-numpy alsa-utils
    scripts/measure-presets.py           # writes docs/presets.md
    scripts/measure-presets.py --check   # writes nothing; a line for each fault

`--program PATH` names another `varnel-render` than `build/source/render/varnel-render`.

| Column | What it is |
|---|---|
| Size, Spin, Lo, Hi, Position | the settings; Lo and Hi in dB |
| Insert | on: the dry sound is in the output; off: for a send |
| T30 | seconds for a decay of 60 dB: a straight line through -5 to -35 dB of the backward-integrated energy (Schroeder 1965) of the wet part |
| 125 Hz, 4 kHz | T30 of the low end and of the high end alone: the wet part, filtered to the octave around that frequency. Above T30 this end rings longer than the whole, below it dies first |
| C80 | dB, energy of the first 80 ms after the impulse against the rest. The dry sound is in it where Insert is on, so it tells how clearly the source stands in front of the room, and rises when Position goes down; it is no measure of the room alone |
| Low, High | dB, energy density of the wet part in the octave around 125 Hz, and 8 kHz, against 1 kHz; 0 is flat |
| Level | dB, output against input on pink noise: mean power of both sides in seconds 4 to 8, dry sound included |
| Peak | dBFS, the highest of three programmes at full scale |

How dense a tail is, how it rings and flutters is in [sound.md](sound.md#the-bank).

Both sides get the same impulse, and their energies are added. An octave is a band that falls to half its power half an
octave away and to nothing a whole octave away. The wet part is the impulse response without its
sample 0, for that is where the dry sound is, and nothing else. A response is rendered for 4 s, or 12 s, or 48 s,
until its last tenth holds less than -50 dB of its energy, in the whole and in both octaves. Where 48 s are too
short, the table has > 50. A dash stands for a decay with fewer than 10 ms between -5 and -35 dB.

The programmes are mono, with a peak of 0 dBFS: the eight spoken phrases that alsa-utils brings, at three speeds
(0.93, 1, 1.08), each at full scale; 8 s of pink noise from 20 Hz to 20 kHz; two bars of synthetic drums. A second of
tail follows each. Other sounds at full scale can peak higher: on the voice at other speeds up to +1 dBFS was seen.

## Rules

- Every file has the plug-in's own form, with one decimal; each value is in range and on a step of its control.
- No peak is above 0 dBFS.
- Levels within a folder lie within 3 dB.
- No two presets are alike, that is, nearer than {least}. The distance of two is the root of the sum of the squares of
  their differences in seven columns, in steps of 10 % (T30), 20 % (125 Hz, 4 kHz) and 1 dB (C80, Low, High, Level).
- This file is what the script would write. A number stays until the measured one is 3/4 of a last digit away.
"""

COLUMNS = ["Preset", "Size", "Spin", "Lo", "Hi", "Position", "Insert", "T30", "125 Hz", "4 kHz", "C80", "Low", "High", "Level", "Peak"]
MEASURED = COLUMNS.index("T30")


def step_of_time(seconds):
    return 0.01 if seconds < 1 else 0.1 if seconds < 10 else 1.0


def settled(value, step, old):
    """The value as text in whole steps, or the old text while that is near enough."""
    places = max(0, -math.floor(math.log10(step)))
    if math.isnan(value):
        return "-"
    if step == step_of_time(LONGEST_DECAY) and value >= LONGEST_DECAY:
        return f"> {LONGEST_DECAY:.0f}"
    if old is not None and re.fullmatch(r"-?\d+(\.\d+)?", old) and abs(float(old) - value) < 0.75 * step:
        return old
    return f"{round(value / step) * step + 0.0:.{places}f}"


def numbers_of(document):
    """The measured cells of the document by name of preset."""
    rows = (line.strip("| \n").split(" | ") for line in io.StringIO(document) if line.startswith("| "))
    return {row[0]: row[MEASURED:] for row in rows if len(row) == len(COLUMNS)}


def row_of(preset, result, old):
    values = preset.values
    cells = [preset.name, f"{values['ReverbSize']:.0f}", f"{values['ReverbMod']:.0f}", f"{values['ReverbLo']:.1f}", f"{values['ReverbHi']:.1f}",
             f"{values['Position']:.0f}", "on" if preset.is_insert else "off"]
    measured = [(time, step_of_time(time)) for time in (result.t30, result.t30_low, result.t30_high)]
    measured += [(value, 0.5) for value in (result.c80, result.low, result.high)] + [(result.level, 0.1), (result.peak, 0.1)]
    cells += [settled(value, step, old[i] if old else None) for i, (value, step) in enumerate(measured)]
    return "| " + " | ".join(cells) + " |\n"


def document_of(results, old_document):
    old = numbers_of(old_document)
    text = INTRODUCTION.format(count=len(results), least=LEAST_DISTANCE)
    folder = None

    for preset, result in results:
        if preset.folder != folder:
            folder = preset.folder
            text += f"\n## {folder or 'At the start'}\n\n| " + " | ".join(COLUMNS) + " |\n|---" + "|--:" * (len(COLUMNS) - 1) + "|\n"
        text += row_of(preset, result, old.get(preset.name))

    return text


# ======================================================================================================

def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--check", action="store_true", help="write nothing; exit with 1 and one line per fault if a rule is broken")
    parser.add_argument("--program", type=pathlib.Path, default=ROOT / "build/source/render/varnel-render", help="the varnel-render to use")
    parser.add_argument("--voice", type=pathlib.Path, default=pathlib.Path("/usr/share/sounds/alsa"), help="folder of the recorded voice")
    options = parser.parse_args()

    for file in (options.program, options.voice / "Front_Center.wav"):
        if not file.is_file():
            sys.exit(f"measure-presets: {file}: no such file")

    paths = sorted(path for path in BANK.rglob("*") if path.is_file())
    faults = list(faults_of_names(paths))
    presets = []

    for path in paths:
        preset, own_faults = read(path)
        faults += [f"{path.relative_to(ROOT).as_posix()}: {fault}" for fault in own_faults]
        if preset is not None:
            presets.append(preset)

    if not any(preset.path == START for preset in presets):
        faults.append("presets/factory/New Sound.xml: the plug-in starts with it, and it is missing or broken")

    results = []
    os.nice(10)

    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        renderer = Renderer(options.program.resolve(), folder)
        programmes = {}

        for name, samples in (("voice", voice(options.voice)), ("noise", pink_noise(8)), ("drums", drums())):
            write_sound(folder / f"{name}.wav", samples)
            programmes[name] = (folder / f"{name}.wav", samples)

        for i, preset in enumerate(sorted(presets, key=order)):
            print(f"[{i + 1}/{len(presets)}] {preset}", file=sys.stderr, flush=True)
            if preset.is_in_range:
                results.append((preset, measure(renderer, preset, programmes)))

    faults += faults_of_measures(results)
    old_document = DOCUMENT.read_text(encoding="utf-8") if DOCUMENT.is_file() else ""
    document = document_of(results, old_document)

    if options.check and document != old_document:
        faults.append("docs/presets.md: is not what scripts/measure-presets.py would write")
    elif not options.check:
        DOCUMENT.write_text(document, encoding="utf-8", newline="\n")

    for fault in faults:
        print(fault)
    print(f"{len(results)} presets measured, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
