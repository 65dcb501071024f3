#!/usr/bin/python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Measures the impulse responses of our presets and of other reverbs at matched decay times, and writes the figures
into docs/sound.md and its pictures. scripts/compare-sound.sh installs what it needs and runs it.

With --print it writes nothing and prints the figures. With --presets it measures the bank alone and prints that.
"""

import argparse
import dataclasses
import math
import pathlib
import subprocess
import sys
import tempfile

import numpy as np
from scipy import signal, special
from scipy.io import wavfile

import lv2_host

ROOT = pathlib.Path(__file__).resolve().parent.parent
BANK = ROOT / "presets" / "factory"
DOCUMENT = ROOT / "docs" / "sound.md"
RATE = 48000
OCTAVES = (125, 250, 500, 1000, 2000, 4000, 8000)  # Hz

GUITARIX = "http://guitarix.sourceforge.net/plugins/"
SWH = "http://plugin.org.uk/swh-plugins/"


@dataclasses.dataclass
class Peer:
    """Another reverb: what makes it all wet, and the control that sets its decay. Everything else is at its default."""
    name: str
    uri: str
    wet: dict
    decay: str
    follows: dict = dataclasses.field(default_factory=dict)  # controls that go with the decay, and their ratio to it


PEERS = (
    Peer("Dragonfly Hall", "https://github.com/michaelwillis/dragonfly-reverb", {"dry_level": 0}, "decay"),
    Peer("Dragonfly Room", "urn:dragonfly:room", {"dry_level": 0}, "decay"),
    Peer("Dragonfly Plate", "urn:dragonfly:plate", {"dry_level": 0}, "decay"),
    Peer("Calf Reverb", "http://calf.sourceforge.net/plugins/Reverb", {"dry": 0, "amount": 1}, "decay_time"),
    Peer("GxZita_rev1", GUITARIX + "gx_zita_rev1_stereo#_zita_rev1_stereo", {"DRY_WET_MIX": 1}, "MID_RT60", {"LOW_RT60": 1.5}),
    Peer("GxReverb-Stereo", GUITARIX + "gx_reverb_stereo#_reverb_stereo", {"dry_wet": 100}, "roomsize"),
    Peer("GVerb", SWH + "gverb", {"drylevel": -70}, "revtime"),
    Peer("MVerb", "http://distrho.sf.net/plugins/MVerb", {"mix": 100}, "decay"),
    Peer("SWH Plate", SWH + "plate", {"wet": 1}, "time"),
)

PACKAGES = ("calf-plugins", "dpf-plugins-lv2", "dragonfly-reverb-lv2", "guitarix-lv2", "swh-lv2")

# A kind of room, and those of our presets that stand for it. The first one's decay is what the others are set to.
KINDS = (
    ("A room", ("Rooms/Carpeted Parlour", "Drums/Kit in the Barn", "Rooms/Long Corridor")),
    ("A plate", ("Send Effects/Send Plate", "Plates/Bright Sheet", "Plates/Heavy Steel")),
    ("A hall", ("Send Effects/Send Hall", "Halls/Great Hall", "Voices/Choir Loft")),
)


# ======================================================================================================
# Responses: float64, (2, frames), the dry sound left out

def impulse(seconds):
    sound = np.zeros((2, int(seconds * RATE)))
    sound[:, 0] = 1
    return sound


class Renderer:
    def __init__(self, program, folder):
        self.program, self.folder = program, folder

    def render(self, arguments):
        result = self.folder / "response.wav"
        command = [str(self.program), "--quiet", *arguments, str(result)]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            sys.exit(f"measure: {' '.join(command)}\n{done.stdout}")
        return wavfile.read(result)[1].T.astype(float)

    def impulse(self, arguments, seconds, rate=RATE):
        """The response without the dry sound, which is in sample 0 and nowhere else."""
        samples = self.render([*arguments, "--impulse", str(seconds), "--rate", str(rate)])
        samples[:, 0] = 0
        return samples


def noise(seconds, t30, seed):
    """The yardstick: two independent Gaussian noises that decay, as ideal late reverberation does."""
    time = np.arange(int(seconds * RATE)) / RATE
    return np.random.RandomState(seed).standard_normal((2, len(time))) * 10 ** (-3 * time / t30)


def long_enough(get, least=4.0, longest=60.0):
    """get (seconds) until the last tenth holds less than -60 dB of the energy, or the longest is reached."""
    seconds = least
    while True:
        response = get(seconds)
        energy = np.sum(response ** 2, axis=0)
        if seconds >= longest or np.sum(energy[len(energy) * 9 // 10:]) < 1e-6 * np.sum(energy):
            return response
        seconds = min(3 * seconds, longest)


def peer_response(peer, plugin, value, seconds):
    low, high = plugin.controls[peer.decay][1:3]
    settings = peer.wet | {peer.decay: value}
    for symbol, ratio in peer.follows.items():
        settings[symbol] = min(max(ratio * value, plugin.controls[symbol][1]), plugin.controls[symbol][2])
    assert low <= value <= high
    return plugin.process(impulse(seconds), RATE, settings)


def matched(peer, t30):
    """The response of a peer whose T30 is as near to the one that is asked for as its decay control allows."""
    plugin = lv2_host.Plugin(peer.uri)
    low, high = plugin.controls[peer.decay][1:3]

    for _ in range(9):
        middle = (low + high) / 2 if low <= 0 else math.sqrt(low * high)
        response = peer_response(peer, plugin, middle, max(4, 2.5 * t30))
        reached = decay(per_millisecond(response))[0]
        low, high = (middle, high) if not reached >= t30 else (low, middle)

    return long_enough(lambda seconds: peer_response(peer, plugin, (low + high) / 2, seconds), max(4, 2.5 * t30))


# ======================================================================================================
# Measures. Each names its source; docs/sound.md tells what they mean.

def decibels(ratio):
    return 10 * np.log10(np.maximum(ratio, 1e-30))


def from_first_sound(response):
    loud = np.max(np.abs(response), axis=0)
    return response[:, np.argmax(loud > 1e-3 * np.max(loud)):]


def per_millisecond(response, rate=RATE):
    power = np.sum(response ** 2, axis=0)
    size = rate // 1000
    return power[:len(power) // size * size].reshape(-1, size).sum(axis=1)


def to_come(energy):
    return decibels(np.cumsum(energy[::-1])[::-1] / np.sum(energy))


def decay(energy, step=0.001):
    """T30 in seconds by backward integration (Schroeder 1965) over -5 to -35 dB, and its non-linearity in per mille
    (ISO 3382-2, annex B): 1000 (1 - r^2)."""
    curve = to_come(energy)
    span = np.flatnonzero((curve <= -5) & (curve >= -35))
    if len(span) < 10:
        return float("nan"), float("nan")
    slope, r = np.polyfit(span * step, curve[span], 1)[0], np.corrcoef(span, curve[span])[0, 1]
    return -60 / slope, 1000 * (1 - r * r)


def octaves(response, centres=OCTAVES, rate=RATE):
    """The response in bands of an octave, whose powers overlap and add up to 1."""
    size = 1 << (response.shape[1] + rate // 2).bit_length()
    spectrum, frequencies = np.fft.rfft(response, size), np.fft.rfftfreq(size, 1 / rate)
    for centre in centres:
        distance = np.log2(np.maximum(frequencies, 1e-3) / centre)
        mask = np.where(np.abs(distance) < 1, np.cos(distance * np.pi / 2), 0)
        yield np.fft.irfft(spectrum * mask, size)[:, :response.shape[1]]


def echo_density(response, seconds=0.8):
    """Normalised echo density (Abel and Huang 2006) each millisecond, the mean of both sides: how large a share of a
    window of 20 ms lies beyond its standard deviation, over the share that Gaussian noise has there."""
    window = signal.windows.hann(RATE // 50 + 1)
    window /= np.sum(window)
    padded = np.pad(response[:, :int(seconds * RATE)], ((0, 0), (len(window) // 2, len(window))))
    pieces = np.lib.stride_tricks.sliding_window_view(padded, len(window), axis=1)[:, ::RATE // 1000]
    deviation = np.sqrt(pieces ** 2 @ window)[..., None]
    return np.mean((np.abs(pieces) > deviation) @ window, axis=0) / special.erfc(1 / math.sqrt(2))


def between(response, high, low):
    """What lies between two levels of the backward-integrated curve, in dB."""
    curve = to_come(per_millisecond(response))
    start, end = np.argmax(curve <= high), np.argmax(curve <= low)
    end = end if end > start else len(curve)
    return response[:, start * RATE // 1000:end * RATE // 1000]


def power_spectrum(response, window="boxcar"):
    shape = signal.get_window(window, response.shape[1])
    size = 1 << response.shape[1].bit_length()
    return np.fft.rfftfreq(size, 1 / RATE), np.abs(np.fft.rfft(response * shape, size)) ** 2


def flatness(response):
    """Spectral flatness (Johnston 1988) of the late field in dB, the mean over third octaves from 100 Hz to 8 kHz and
    both sides: geometric over arithmetic mean of the power. So slopes of the spectrum do not count, single tones do."""
    late = between(response[:, RATE // 10:], 0, -45)
    frequencies, power = power_spectrum(late)
    found = []
    for centre in 1000 * 2 ** (np.arange(-10, 10) / 3):
        band = power[:, (frequencies > centre * 2 ** (-1 / 6)) & (frequencies < centre * 2 ** (1 / 6))]
        found.append(np.mean(np.log(band + 1e-30), axis=1) - np.log(np.mean(band + 1e-30, axis=1)))
    return 10 / math.log(10) * np.mean(found)


def late_spectrum(response):
    """Power by frequency, the mean of both sides, from -15 to -45 dB of the decay."""
    frequencies, power = power_spectrum(between(response, -15, -45), "hann")
    return frequencies, np.mean(power, axis=0)


def modes(frequencies, power):
    """What rings longer than its surroundings: (Hz, dB) of the peaks between 60 Hz and 8 kHz of a late spectrum that stand
    10 dB and more above the median of the half octave around them; the strongest first. Decaying noise has hardly any."""
    grid = 60 * 2 ** np.arange(0, 7.1, 1 / 24)
    medians = [np.median(power[(frequencies > f * 2 ** -0.25) & (frequencies < f * 2 ** 0.25)]) for f in grid]
    peaks = signal.argrelmax(power, order=4)[0]
    peaks = peaks[(frequencies[peaks] >= 60) & (frequencies[peaks] <= 8000)]
    above = decibels(power[peaks]) - np.interp(frequencies[peaks], grid, decibels(np.array(medians)))
    found = [(f, level) for f, level in zip(frequencies[peaks], above) if level >= 10]
    return sorted(found, key=lambda mode: -mode[1])


def hum(frequencies, power):
    """The strongest tone between 60 and 300 Hz of a late spectrum in dB against its middle, the median of 500 Hz to 2 kHz."""
    return decibels(np.max(power[(frequencies > 60) & (frequencies < 300)]) / np.median(power[(frequencies > 500) & (frequencies < 2000)]))


def correlation(response, start, end):
    left, right = response[:, int(start * RATE):int(end * RATE)]
    return np.sum(left * right) / math.sqrt(np.sum(left ** 2) * np.sum(right ** 2) + 1e-30)


def flutter(response):
    """How periodic the envelope is: the highest autocorrelation of the energy per 2 ms at a lag of 15 to 250 ms, and that
    lag in ms. The decay is taken out first. After Kuttruff's temporal diffusion (Room Acoustics, chapter 8), which is
    taken of the response itself."""
    late = between(response[:, RATE // 20:], 0, -40)
    energy = signal.convolve(np.sum(late ** 2, axis=0), signal.windows.hann(RATE // 500), "same")[::RATE // 1000]
    time = np.arange(len(energy))
    level = np.log(energy + 1e-30)
    envelope = energy * np.exp(-np.polyval(np.polyfit(time, level, 2), time))
    envelope -= np.mean(envelope)
    own = np.sum(envelope ** 2)
    lags = np.arange(15, min(250, len(energy) // 3))
    if len(lags) == 0:
        return float("nan"), float("nan")
    found = [np.sum(envelope[lag:] * envelope[:-lag]) / own for lag in lags]
    return max(found), lags[int(np.argmax(found))]


@dataclasses.dataclass
class Measures:
    name: str
    t30: float         # seconds
    decays: list       # the same by octave
    bend: float        # per mille, the mean over octaves
    dense: float       # ms after the first sound until the echo density is 0.9
    density: np.ndarray
    flat: float        # dB
    spectrum: tuple    # late
    modes: list
    hum: float         # dB
    early: float       # correlation of the sides in the first 80 ms
    late: float        # and from then on
    low: float         # and of that, below 250 Hz
    over_time: list    # and in each 25 ms
    flutter: float
    lag: float         # ms
    level: float       # dB, energy of a side over that of the impulse


def measure(name, response):
    level = decibels(np.mean(np.sum(response ** 2, axis=1)))
    response = from_first_sound(response)
    t30, bends = decay(per_millisecond(response))[0], [decay(per_millisecond(band)) for band in octaves(response)]
    density = echo_density(response)
    dense = np.flatnonzero(density >= 0.9)
    end = max(0.2, between(response, 0, -40).shape[1] / RATE)
    low = signal.sosfiltfilt(signal.butter(4, 250, fs=RATE, output="sos"), response)
    spectrum = late_spectrum(response)
    return Measures(name, t30, [time for time, _ in bends], float(np.nanmean([bend for _, bend in bends])),
                    float(dense[0]) if len(dense) else float("nan"), density, flatness(response), spectrum, modes(*spectrum), hum(*spectrum),
                    correlation(response, 0, 0.08), correlation(response, 0.08, end), correlation(low, 0.08, end),
                    [correlation(response, start / 40, (start + 1) / 40) for start in range(24)], *flutter(response), level)


# ======================================================================================================
# Tables and pictures

def number(value, places):
    return "-" if math.isnan(value) else f"{value:.{places}f}"


def mode_text(found):
    return f"{found[0][0]:.0f} Hz, {found[0][1]:.0f} dB" if found else "none"


HEAD = ["Reverb", "T30, s", "bend, ‰", "dense after, ms", "flatness, dB", "modes", "strongest", "hum, dB", "sides: early", "late", "late bass",
        "flutter", "at, ms", "level, dB"]


def cells(m):
    return [m.name, number(m.t30, 2), number(m.bend, 1), number(m.dense, 0), number(m.flat, 1), str(len(m.modes)), mode_text(m.modes), number(m.hum, 0),
            number(m.early, 2), number(m.late, 2), number(m.low, 2), number(m.flutter, 2), number(m.lag, 0), number(m.level, 0)]


def table(head, rows):
    return "\n".join("| " + " | ".join(row) + " |" for row in [head, ["---"] + ["--:"] * (len(head) - 1), *rows]) + "\n"


# What is compared between ours and the others: a name, the measure, and what is best.
COMPARED = (
    ("straight decay: bend, ‰", lambda m: m.bend, 1),
    ("dense after, ms", lambda m: m.dense, 0),
    ("little colour: flatness, dB", lambda m: -m.flat, 1),
    ("no ringing: modes", lambda m: float(len(m.modes)), 0),
    ("hum, dB", lambda m: m.hum, 0),
    ("wide tail: correlation", lambda m: abs(m.late), 2),
    ("wide bass: correlation", lambda m: abs(m.low), 2),
    ("flutter", lambda m: m.flutter, 2),
)


def heads(kinds):
    """For each measure ours, the first of its kind, and the best of the others."""
    rows = []
    for name, of, places in COMPARED:
        row = [name]
        for _, ours, _, others in kinds:
            best = min((m for m in others if not math.isnan(of(m))), key=of)
            own = of(ours[0])
            sign = -1 if "flatness" in name else 1
            shown, beside = number(sign * own, places), number(sign * of(best), places)
            row += [f"**{shown}**" if own <= of(best) or shown == beside else shown, f"{beside} {best.name}"]
        rows.append(row)
    head = ["Measure"]
    for title, ours, _, _ in kinds:
        head += [f"{title}: {ours[0].name.split('/')[-1]}", "best other"]
    return table(head, rows)


def draw(kinds, folder):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plot
    plot.rcParams.update({"font.size": 8, "axes.spines.top": False, "axes.spines.right": False})

    def panels(name, paint, size=(9, 8)):
        figure, axes = plot.subplots(len(kinds), 1, figsize=size, constrained_layout=True)
        for axis, kind in zip(axes, kinds):
            axis.set_title(f"{kind[0]}: {kind[1][0].t30:.1f} s", loc="left", fontsize=9)
            paint(axis, *kind[1:])
        figure.savefig(folder / name, dpi=100, metadata={"Software": None})
        plot.close(figure)

    def lines(axis, ours, noise_like, others, curve, label, legend="lower right"):
        for i, m in enumerate(others):
            axis.plot(*curve(m), lw=0.9, color=plot.cm.tab10(i % 10), label=label(m))
        axis.plot(*curve(noise_like), lw=1, color="grey", ls=":", label=label(noise_like))
        axis.plot(*curve(ours[0]), lw=2.2, color="black", label=label(ours[0]))
        axis.legend(fontsize=6.5, ncol=2, frameon=False, loc=legend)

    def density(axis, ours, noise_like, others):
        lines(axis, ours, noise_like, others, lambda m: (np.arange(500), m.density[:500]), lambda m: f"{m.name.split('/')[-1]}: {number(m.dense, 0)} ms")
        axis.axhline(0.9, color="grey", lw=0.6)
        axis.set(xlabel="ms after the first sound", ylabel="normalised echo density", xlim=(0, 500), ylim=(0, 1.2))

    def sides(axis, ours, noise_like, others):
        lines(axis, ours, noise_like, others, lambda m: (np.arange(24) * 25 + 12, m.over_time), lambda m: f"{m.name.split('/')[-1]}: late {m.late:.2f}")
        axis.set(xlabel="ms after the first sound", ylabel="correlation of the sides", xlim=(0, 600), ylim=(-1, 1.05))

    def decays(axis, ours, noise_like, others):
        lines(axis, ours, noise_like, others, lambda m: (OCTAVES, m.decays), lambda m: f"{m.name.split('/')[-1]}: {number(m.decays[0], 1)} to {number(m.decays[-1], 1)} s", "lower left")
        axis.set(xlabel="octave, Hz", ylabel="T30, s", xscale="log", xticks=OCTAVES, xticklabels=OCTAVES, ylim=(0, None))
        axis.minorticks_off()

    def ringing(axis, ours, _, others):
        best = min(others, key=lambda m: len(m.modes) if m.modes else 1000)
        for m, colour, shift in ((best, "tab:orange", -40), (ours[0], "black", 0)):
            frequencies, power = m.spectrum
            level = decibels(power / np.median(power[(frequencies > 500) & (frequencies < 2000)]))
            shown = (frequencies > 60) & (frequencies < 4000)
            axis.plot(frequencies[shown], level[shown] + shift, lw=0.4, color=colour,
                      label=f"{m.name.split('/')[-1]}: {len(m.modes)} modes, {mode_text(m.modes)}" + (", 40 dB down" if shift else ""))
            for f, _ in m.modes[:5]:
                if f < 4000:
                    at = level[np.argmin(np.abs(frequencies - f))] + shift
                    axis.annotate(f"{f:.0f}", (f, at), fontsize=6, ha="center", va="bottom", color=colour)
        axis.legend(fontsize=6.5, frameon=False, loc="upper right")
        axis.set(xlabel="Hz", ylabel="late spectrum, dB", xscale="log", xlim=(60, 4000), ylim=(-75, 35))

    panels("sound-density.png", density)
    panels("sound-sides.png", sides)
    panels("sound-decay.png", decays)
    panels("sound-modes.png", ringing)
    check_pictures([folder / f"sound-{name}.png" for name in ("density", "sides", "decay", "modes")])


def check_pictures(paths):
    subprocess.run([sys.executable, str(ROOT / "scripts/check-documents.py"), "--pictures", *map(str, paths)], check=True)


def bank_table(results):
    head = ["Preset", "T30, s", "dense after, ms", "flutter", "modes", "strongest", "hum, dB", "flatness, dB"]
    return table(head, [[m.name, number(m.t30, 2 if m.t30 < 1 else 1), number(m.dense, 0), number(m.flutter, 2), str(len(m.modes)), mode_text(m.modes), number(m.hum, 0),
                         number(m.flat, 1)] for m in results])


def versions():
    query = subprocess.run(["dpkg-query", "--show", "--showformat=${Package} ${Version}\\n", *PACKAGES], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    return "The others are from the packages " + ", ".join(query.stdout.split("\n")[:-1]) + ".\n"


def write_parts(path, parts, script):
    """Puts tables between the marks that name them and the script."""
    text = path.read_text(encoding="utf-8")
    for name, part in parts.items():
        start, end = f"<!-- {name}: written by scripts/{script}.py -->", f"<!-- end of {name} -->"
        before, rest = text.split(start)
        text = before + start + "\n\n" + part + "\n" + end + rest.split(end)[1]
    path.write_text(text, encoding="utf-8", newline="\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--print", action="store_true", dest="show", help="write nothing; print the figures")
    parser.add_argument("--presets", action="store_true", help="measure our bank alone, and print it")
    parser.add_argument("--program", type=pathlib.Path, default=ROOT / "build/source/render/varnel-render", help="the varnel-render to use")
    parser.add_argument("--bank", type=pathlib.Path, default=BANK, help="the folder of presets to measure")
    options = parser.parse_args()
    if not options.program.is_file():
        sys.exit(f"measure-sound: {options.program}: no such file")

    parts, missing = {}, []
    with tempfile.TemporaryDirectory() as folder:
        renderer = Renderer(options.program.resolve(), pathlib.Path(folder))
        ours_of = lambda path, name: measure(name, long_enough(lambda seconds: renderer.impulse(["--preset", str(path)], seconds)))

        kinds = []
        for title, names in () if options.presets else KINDS:
            ours, others = [ours_of(options.bank / f"{name}.xml", name) for name in names], []
            t30 = ours[0].t30
            for peer in PEERS:
                print(f"measure-sound: {title}: {peer.name}", file=sys.stderr, flush=True)
                try:
                    found = measure(peer.name, matched(peer, t30))
                except (LookupError, RuntimeError) as error:
                    missing.append(str(error))
                    continue
                if any(math.isnan(time) for time in found.decays):
                    missing.append(f"{title}, {peer.name}: set as near to {t30:.2f} s as it can be, it has no decay that can be measured in some octaves")
                elif not 0.5 * t30 < found.t30 < 1.6 * t30:
                    missing.append(f"{title}, {peer.name}: its decay cannot be set to {t30:.2f} s; the nearest was {found.t30:.2f} s")
                else:
                    others.append(found)
            kinds.append((title, ours, measure("Decaying noise", noise(max(4, 2.5 * t30), t30, 1)), others))

        for title, ours, yardstick, others in kinds:
            rows = [["**" + cells(m)[0] + "**", *cells(m)[1:]] for m in ours] + [cells(m) for m in others + [yardstick]]
            octave_rows = [[m.name] + [number(time, 2) for time in m.decays] for m in ours + others + [yardstick]]
            parts[title] = table(HEAD, rows) + "\nT30 in the octaves, in seconds:\n\n" + table(["Reverb"] + [f"{f} Hz" for f in OCTAVES], octave_rows)
        if kinds:
            parts["The heads"] = heads(kinds)
            parts["Versions"] = versions()
            parts["Left out"] = "".join(f"- {line}\n" for line in sorted(set(missing))) or "Nothing.\n"

        results = []
        for path in sorted(options.bank.rglob("*.xml")):
            print(f"measure-sound: {path.stem}", file=sys.stderr, flush=True)
            results.append(ours_of(path, path.relative_to(options.bank).as_posix()[:-4]))
        parts["The bank"] = bank_table(results)

    if options.show or options.presets:
        for name, part in parts.items():
            print(f"## {name}\n\n{part}")
        return

    draw(kinds, DOCUMENT.parent / "images")
    write_parts(DOCUMENT, parts, "measure-sound")


if __name__ == "__main__":
    main()
