#!/usr/bin/python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Makes a folder of reverberant speech of a folder of speech, each file in a room of its own.

    augment.py speech wet --size 10:60 --position 30:80 --seed 7
    augment.py --from-manifest wet/manifest.jsonl again       # makes again/wet/...

The settings are drawn for each file from the ranges given, by the seed and by the file's path as given. What is given no range
stays at --preset or at the default. Results are WAV files of 32-bit floats, as long as the input unless --tail says else. The
manifest has a line of JSON for each file, with the keys of varnel-render's: either program makes the files of the other's
manifest again, to the bit. An interrupted run goes on where it stopped.

Needs the module varnel, and soundfile (Debian: python3-soundfile).
"""

import argparse
import concurrent.futures
import json
import math
import os
import pathlib
import struct
import sys
import tempfile

import numpy as np
import soundfile

import varnel

# Name of the keyword and of the manifest, and the grid: lowest value and step, in 32 bits as the reverb has them
PARAMETERS = {"size": ("ReverbSize", 0, 1, 100), "spin": ("ReverbMod", 0, 1, 100), "lo": ("ReverbLo", -12, 0.2, 12),
              "hi": ("ReverbHi", -12, 0.2, 12), "position": ("Position", 0, 1, 100)}
DEFAULTS = {"size": 33.0, "spin": 33.0, "lo": 0.0, "hi": -1.5, "position": 33.0, "insert_mode": True}
MASK = (1 << 64) - 1


class Refused(Exception):
    """A file that cannot be made, and why."""


# ----------------------------------------------------------------------------------------------------------------------
# What a file gets


def mixed(number):
    """A number in which every bit of the seed has a say (S. Vigna's splitmix64, 2015)."""
    number = (number + 0x9E3779B97F4A7C15) & MASK
    number = ((number ^ number >> 30) * 0xBF58476D1CE4E5B9) & MASK
    number = ((number ^ number >> 27) * 0x94D049BB133111EB) & MASK
    return number ^ number >> 31


def draw(name, low, high, seed, path):
    """The value that varnel-render --random draws: all steps of the range alike likely."""
    key, start, step, _ = PARAMETERS[name]
    start, step = np.float32(start), np.float32(step)
    first, last = (math.ceil((float(np.float32(low)) - float(start)) / float(step) - 1e-4),
                   math.floor((float(np.float32(high)) - float(start)) / float(step) + 1e-4))
    hashed = 0xCBF29CE484222325  # Fowler, Noll and Vo's, 1991
    for byte in os.fsencode(os.path.normpath(path)) + b"\0" + key.encode():
        hashed = ((hashed ^ byte) * 0x100000001B3) & MASK
    uniform = (mixed(mixed(seed) ^ hashed) >> 11) * 2.0**-53
    number = first + math.floor(uniform * (last - first + 1))
    return start + step * np.float32(number)


def settings_of(options, path):
    settings = {**DEFAULTS, **(varnel.presets()[options.preset] if options.preset else {})}
    settings["insert_mode"] = settings["insert_mode"] and not options.wet
    for name in PARAMETERS:
        if span := getattr(options, name):
            settings[name] = draw(name, *span, options.seed, path)
    return settings


def decimal(value):
    """A 32-bit value in the fewest digits that lead back to it."""
    return float(str(np.float32(value)))


def path_json(path):
    try:
        return str(path).encode("utf-8").decode("utf-8")
    except UnicodeEncodeError:  # no text: its bytes
        return list(os.fsencode(path))


def path_of(data):
    return pathlib.Path(data if isinstance(data, str) else os.fsdecode(bytes(data)))


def job_of(source, target, settings, tail, mono, seed):
    values = {key: decimal(settings[name]) for name, (key, *_) in PARAMETERS.items()}
    values.update(Bypass=1.0, ReverbInsertMode=float(settings["insert_mode"]))
    treatment = {"tail": None if tail == "auto" else float(tail), "sameLength": False, "gain": None, "normalise": None, "fade": 0.01,
                 "dither": True, "mono": mono, "channels": [], "bits": "32", "format": "wav", "impulse": None, "rate": 48000,
                 "trueStereo": False}
    return {"input": path_json(source), "output": path_json(target), "settings": values, "treatment": treatment,
            "frames": 0, "seed": seed, "version": varnel.__version__}


# ----------------------------------------------------------------------------------------------------------------------
# Files


def write_wave(path, samples, rate):
    """Channels of float32 into a file as varnel-render writes it, which gets its name when it is complete."""
    data = samples.T.astype("<f4").tobytes()
    channels, frames = samples.shape
    head = (b"WAVEfmt " + struct.pack("<IHHIIHH", 16, 3, channels, rate, rate * 4 * channels, 4 * channels, 32)
            + b"fact" + struct.pack("<II", 4, frames) + b"PAD " + struct.pack("<I", 8 + 8 * channels) + bytes(8 + 8 * channels) + b"data" + struct.pack("<I", len(data)))
    if len(head) + len(data) > 0xFFFFFFFF:
        raise Refused("is too long for a WAV file")
    path.parent.mkdir(parents=True, exist_ok=True)
    handle, temporary = tempfile.mkstemp(prefix=".augment-", dir=path.parent)
    try:
        with os.fdopen(handle, "wb") as file:
            file.write(b"RIFF" + struct.pack("<I", len(head) + len(data)) + head + data)
        umask = os.umask(0)
        os.umask(umask)
        os.chmod(temporary, 0o666 & ~umask)
        os.replace(temporary, path)
    except BaseException:
        os.unlink(temporary)
        raise


def make(job):
    """Makes the file of a line of the manifest, and fills in its frames."""
    source, target, treatment = path_of(job["input"]), path_of(job["output"]), job["treatment"]
    if treatment["gain"] is not None or treatment["normalise"] is not None or treatment["channels"] or treatment["impulse"] is not None \
            or treatment["bits"] != "32" or treatment["format"] not in (None, "wav") or target.suffix.lower() != ".wav" or not job["settings"]["Bypass"]:
        raise Refused("is treated as only varnel-render can: varnel-render --from-manifest makes it")
    if target.exists() and source.samefile(target):
        raise Refused("is the input file, which is never overwritten")
    audio, rate = soundfile.read(os.fsencode(source), dtype="float64", always_2d=True)
    audio = audio.T
    if len(audio) > 2:
        raise Refused(f"has {len(audio)} channels; one or two are needed")
    audio = np.where(np.abs(audio) <= 1e10, audio, 0.0)  # what is no sound becomes silence
    settings = {name: job["settings"][key] for name, (key, *_) in PARAMETERS.items()}
    tail = 0 if treatment["sameLength"] else "auto" if treatment["tail"] is None else treatment["tail"]
    wet = varnel.reverb(audio, rate, **settings, insert_mode=job["settings"]["ReverbInsertMode"] >= 0.5, tail=tail,
                        fade=treatment["fade"], channels=1 if treatment["mono"] else 2)
    write_wave(target, np.atleast_2d(wet), rate)
    return {**job, "frames": wet.shape[-1]}


def lines_of(path):
    """The complete lines of a manifest, the last of each output."""
    jobs = {}
    for number, line in enumerate(path.read_bytes().splitlines(keepends=True), 1):
        if not line.endswith(b"\n"):
            break  # cut off when the run was interrupted
        if line.strip():
            try:
                job = json.loads(line)
                jobs[path_of(job["output"])] = job
            except (ValueError, KeyError, TypeError):
                raise SystemExit(f"augment.py: {path}: line {number} is none of a manifest")
    return jobs


# ----------------------------------------------------------------------------------------------------------------------
# The whole run


def jobs_of(options):
    """The jobs, and the folder that the results go to."""
    if options.from_manifest:
        for job in lines_of(options.from_manifest).values():
            target = path_of(job["output"])
            if options.output:
                target = options.output / target.relative_to(target.anchor)
            yield {**job, "output": path_json(target), "version": varnel.__version__}
        return
    types = {"." + name.lower() for name in soundfile.available_formats()} | {".aif"}
    for source in sorted(options.input.rglob("*")):
        target = options.output / source.relative_to(options.input).with_suffix(".wav")
        if source.is_file() and source.suffix.lower() in types and not source.name.startswith("."):
            mono = not options.stereo and soundfile.info(os.fsencode(source)).channels == 1
            yield job_of(source, target, settings_of(options, source), options.tail, mono, options.seed)


def run(options):
    jobs = {}
    for job in jobs_of(options):
        if jobs.setdefault(job["output"] if isinstance(job["output"], str) else tuple(job["output"]), job) is not job:
            raise SystemExit(f"augment.py: {path_of(job['output'])}: two inputs would have this output")
    if not jobs:
        raise SystemExit(f"augment.py: {options.input or options.from_manifest}: there is nothing to do")

    manifest = None if options.from_manifest else options.output / "manifest.jsonl"
    known = lines_of(manifest) if manifest and manifest.exists() else {}

    def is_made(job):
        line = known.get(path_of(job["output"]))
        return line is not None and {**line, "frames": 0} == job and path_of(job["output"]).exists()

    todo = [job for job in jobs.values() if not is_made(job)]
    made = failed = 0
    if manifest:
        manifest.parent.mkdir(parents=True, exist_ok=True)
        if manifest.exists() and not manifest.read_bytes().endswith(b"\n") and manifest.stat().st_size:
            with manifest.open("r+b") as file:  # what an interrupted run left of a line
                file.truncate(file.read().rfind(b"\n") + 1)
    pool = concurrent.futures.ThreadPoolExecutor(options.jobs or len(os.sched_getaffinity(0)))
    futures = {pool.submit(make, job): job for job in todo}
    try:
        for future in concurrent.futures.as_completed(futures):
            try:
                line = future.result()
            except (Refused, OSError, ValueError, RuntimeError, MemoryError) as error:
                reason = str(error) if isinstance(error, Refused) else f"cannot be made: {error or type(error).__name__}"
                print(f"augment.py: {path_of(futures[future]['input'])}: {reason}".encode("utf-8", "replace").decode(), file=sys.stderr)
                failed += 1
                continue
            if manifest:
                with manifest.open("ab") as file:
                    file.write(json.dumps(line, ensure_ascii=False, separators=(",", ":")).encode() + b"\n")
            made += 1
            if sys.stderr.isatty():
                print(f"\r{made + failed} of {len(todo)}", end="\n" if made + failed == len(todo) else "", file=sys.stderr, flush=True)
    except KeyboardInterrupt:
        pool.shutdown(cancel_futures=True)
        raise SystemExit(f"augment.py: interrupted with {made} of {len(todo)} made; the same command goes on")
    print(f"augment.py: {made} made, {len(jobs) - len(todo)} kept as they were, {failed} failed", file=sys.stderr)
    return 1 if failed else 0


def span(name):
    _, lowest, _, highest = PARAMETERS[name]

    def parse(text):
        low, _, high = text.partition(":")
        try:
            result = float(low), float(high or low)
        except ValueError:
            result = (math.nan, math.nan)
        if not lowest <= result[0] <= result[1] <= highest:
            raise argparse.ArgumentTypeError(f"LOW:HIGH from {lowest} to {highest} is needed, not {text!r}")
        return result

    return parse


def tail(text):
    try:
        if text == "auto" or 0 <= float(text) <= 86400:
            return text
    except ValueError:
        pass
    raise argparse.ArgumentTypeError(f"seconds from 0 to 86400 or auto are needed, not {text!r}")


def preset(text):
    names = varnel.presets()
    found = [name for name in names if text.lower() in (name.lower(), name.rpartition("/")[2].lower())]
    if not found:
        raise argparse.ArgumentTypeError(f"there is no preset {text!r}")
    return found[0]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("input", type=pathlib.Path, nargs="?", help="folder with the speech, in whatever libsndfile reads")
    parser.add_argument("output", type=pathlib.Path, nargs="?", help="folder for the results, which keeps the input's tree")
    for name, (_, lowest, _, highest) in PARAMETERS.items():
        parser.add_argument(f"--{name}", type=span(name), metavar="LOW:HIGH", help=f"range to draw from, within {lowest} to {highest}")
    parser.add_argument("--preset", type=preset, help="where the settings start that have no range")
    parser.add_argument("--wet", action="store_true", help="leave the dry sound out")
    parser.add_argument("--seed", type=int, default=0, help="another number, other draws")
    parser.add_argument("--tail", type=tail, default="0", metavar="SECONDS|auto", help="how long to go on after the input ends; auto: until it is inaudible")
    parser.add_argument("--stereo", action="store_true", help="make two channels of one")
    parser.add_argument("--jobs", type=int, choices=range(1, 257), metavar="N", help="files at a time; otherwise one for each core")
    parser.add_argument("--from-manifest", type=pathlib.Path, metavar="FILE", help="make the files of a manifest again; one argument is then their folder")
    words = sys.argv[1:]
    for i in range(len(words) - 1, 0, -1):  # "--lo -6:0": argparse takes what begins with - for an option
        if words[i - 1] in ("--lo", "--hi") and words[i].startswith("-"):
            words[i - 1:i + 1] = [f"{words[i - 1]}={words[i]}"]
    options = parser.parse_args(words)

    if options.from_manifest:
        if options.output:
            parser.error("with --from-manifest there is one folder, for the results")
        options.output, options.input = options.input, None
        if not options.from_manifest.is_file():
            parser.error(f"{options.from_manifest}: there is no such file")
    elif not options.output:
        parser.error("a folder to read and one to write are needed")
    elif not options.input.is_dir():
        parser.error(f"{options.input}: there is no such folder")
    elif not 0 <= options.seed < 1 << 64:
        parser.error("--seed has to be from 0 to 18446744073709551615")
    return run(options)


if __name__ == "__main__":
    sys.exit(main())
