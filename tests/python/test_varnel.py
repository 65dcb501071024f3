# SPDX-License-Identifier: AGPL-3.0-only
"""The Python module and examples/augment.py. VARNEL_RENDER names varnel-render, where there is one to compare with."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest
import soundfile

import varnel

ROOT = pathlib.Path(__file__).resolve().parents[2]
AUGMENT = ROOT / "examples/augment.py"
RENDERER = os.environ.get("VARNEL_RENDER")
needs_renderer = pytest.mark.skipif(not RENDERER, reason="no varnel-render")
NOISE = np.random.default_rng(1).uniform(-0.5, 0.5, (2, 6000)).astype(np.float32)


def render(*arguments):
    subprocess.run([RENDERER, "--quiet", *map(str, arguments)], check=True)


def augment(*arguments, status=0):
    done = subprocess.run([sys.executable, AUGMENT, *map(str, arguments)], stderr=subprocess.PIPE, text=True)
    assert done.returncode == status, done.stderr
    return done.stderr


@needs_renderer
@pytest.mark.parametrize("name", varnel.presets())
def test_every_preset_is_the_renderers_to_the_bit(name, tmp_path):
    # A tail that ends by itself where it does so soon, otherwise one that is cut and fades
    tail = "auto" if varnel.tail_seconds(16000, preset=name) < 4 else 0.3
    for audio, channels in (NOISE, 2), (NOISE[0], 1), (NOISE, 1):
        soundfile.write(tmp_path / "in.wav", audio.T, 16000, subtype="FLOAT")
        render(tmp_path / "in.wav", tmp_path / "out.wav", "--overwrite", "--bits", 32, "--tail", tail,
               "--preset", ROOT / f"presets/factory/{name}.xml", *(["--mono"] if channels == 1 else []))
        expected = soundfile.read(tmp_path / "out.wav", dtype="float32")[0].T
        wet = varnel.reverb(audio, 16000, preset=name.upper(), tail=tail, channels=channels)
        assert np.array_equal(np.squeeze(wet), expected), f"{channels} channel(s)"
        if tail != "auto":
            break


def test_settings_streams_and_layouts_agree():
    settings = dict(size=61.5, spin=0, lo=-3.4, hi=2.2, position=70, insert_mode=False)
    whole = varnel.reverb(NOISE, 48000, tail=0, fade=0, **settings)
    assert whole.dtype == np.float32 and whole.shape == NOISE.shape

    stream = varnel.Reverb(48000, preset="new sound")
    for name, value in settings.items():
        setattr(stream, name, value)
    stream.reset()
    assert {name: getattr(stream, name) for name in settings} == settings
    pieces = [stream.process(NOISE[:, start:start + 700]) for start in range(0, 6000, 700)]
    assert np.array_equal(np.hstack(pieces), whole)
    stream.load_preset("Winter Abbey")
    assert stream.size == varnel.presets()["Halls/Winter Abbey"]["size"] and stream.insert_mode is True
    assert stream.tail_seconds == varnel.tail_seconds(48000, preset="Winter Abbey")

    double = NOISE.astype(float)
    for same in double, np.asfortranarray(double), np.repeat(double, 2, axis=1)[:, ::2], double.astype(">f8"), double[:, ::-1][:, ::-1]:
        wet = varnel.reverb(same, 48000, tail=0, fade=0, **settings)
        assert wet.dtype == np.float64 and np.array_equal(wet, whole)

    mono = varnel.reverb(NOISE[0], 48000, tail=0, fade=0, **settings)
    assert mono.shape == (6000,)
    assert np.array_equal(varnel.reverb(NOISE[:1], 48000, tail=0, fade=0, channels=1, **settings)[0], mono)

    response = varnel.impulse_response(48000, 0.1, fade=0, **settings)
    impulse = np.zeros((2, 4800), np.float32)
    impulse[:, 0] = 1
    assert np.array_equal(response, varnel.reverb(impulse, 48000, tail=0, fade=0, **settings))
    assert varnel.impulse_response(8000, size=20).shape[1] == round(8000 * varnel.tail_seconds(8000, size=20))
    assert varnel.reverb(NOISE[:, :0], 48000, tail=0).shape == (2, 0)
    assert varnel.reverb(np.zeros((2, 20000)), 8000).shape == (2, 28000), "silence in the sound is not its tail's end"
    assert varnel.reverb(impulse, 8000, size=100).shape == (2, 4800 + 60 * 8000), "what rings on is ended after a minute"


@pytest.mark.parametrize("error, words, call", [
    (TypeError, "int16", lambda: varnel.reverb(np.zeros(9, np.int16), 48000)),
    (TypeError, "list", lambda: varnel.reverb([0.0], 48000)),
    (TypeError, "complex", lambda: varnel.reverb(np.zeros(9, complex), 48000)),
    (ValueError, r"\.T", lambda: varnel.reverb(np.zeros((9, 2)), 48000)),
    (ValueError, "one or two", lambda: varnel.reverb(np.zeros((3, 9)), 48000)),
    (ValueError, "one or two", lambda: varnel.reverb(np.zeros((0, 9)), 48000)),
    (ValueError, "frames", lambda: varnel.reverb(np.zeros(()), 48000)),
    (ValueError, "finite", lambda: varnel.reverb(np.array([0, np.nan]), 48000)),
    (ValueError, "finite", lambda: varnel.reverb(np.array([0, -np.inf], np.float32), 48000)),
    (ValueError, "rate", lambda: varnel.reverb(NOISE, 0)),
    (ValueError, "rate", lambda: varnel.reverb(NOISE, float("nan"))),
    (TypeError, "rate", lambda: varnel.reverb(NOISE, "48000")),
    (ValueError, "size", lambda: varnel.reverb(NOISE, 48000, size=100.5)),
    (ValueError, "lo has to be from -12 to 12 dB", lambda: varnel.reverb(NOISE, 48000, lo=float("nan"))),
    (TypeError, "hi", lambda: varnel.reverb(NOISE, 48000, hi="loud")),
    (TypeError, "insert_mode", lambda: varnel.reverb(NOISE, 48000, insert_mode=0.5)),
    (ValueError, "tail", lambda: varnel.reverb(NOISE, 48000, tail=-1)),
    (TypeError, "tail", lambda: varnel.reverb(NOISE, 48000, tail="long")),
    (ValueError, "channels", lambda: varnel.reverb(NOISE, 48000, channels=3)),
    (ValueError, "near it: Halls/Winter Abbey", lambda: varnel.reverb(NOISE, 48000, preset="Winter Abby")),
    (TypeError, "preset", lambda: varnel.reverb(NOISE, 48000, preset=3)),
    (ValueError, "channel", lambda: varnel.Reverb(48000, 1).process(NOISE)),
    (ValueError, "size", lambda: setattr(varnel.Reverb(48000), "size", -1)),
    (AttributeError, "wetness", lambda: setattr(varnel.Reverb(48000), "wetness", 1)),
])
def test_wrong_calls_are_told_apart(error, words, call):
    with pytest.raises(error, match=words):
        call()


def test_threads_share_a_stream_without_mixing_its_blocks():
    stream, alone, results = varnel.Reverb(48000), varnel.Reverb(48000), []
    threads = [threading.Thread(target=lambda: results.append(stream.process(NOISE))) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    expected = [alone.process(NOISE) for _ in range(4)]
    assert all(any(np.array_equal(result, block) for result in results) for block in expected)


@pytest.fixture
def speech(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    for name in "a.wav", "deep/b #1.flac", "deep/ü~$&.wav":
        path = pathlib.Path("speech", name)
        path.parent.mkdir(parents=True, exist_ok=True)
        soundfile.write(path, (NOISE if name == "a.wav" else NOISE[0]).T, 16000)
    pathlib.Path("speech/notes.txt").write_text("no sound")
    return tmp_path


def files(folder):
    return {path.relative_to(folder): path.read_bytes() for path in pathlib.Path(folder).rglob("*.wav")}


def test_augment_goes_on_where_it_was_stopped(speech):
    options = ["speech", "wet", "--size", "10:60", "--lo", "-6:0", "--tail", "0.2", "--seed", "7"]
    assert "3 made, 0 kept" in augment(*options)
    made = files("wet")
    assert len({len(data) for data in made.values()}) == 2 and len(made) == 3
    lines = pathlib.Path("wet/manifest.jsonl").read_bytes().splitlines(keepends=True)
    assert len({json.loads(line)["settings"]["ReverbSize"] for line in lines}) == 3

    # A run that was stopped: one file without its line, one line cut short
    pathlib.Path("wet/manifest.jsonl").write_bytes(lines[0] + lines[1][:50])
    assert "2 made, 1 kept" in augment(*options)
    assert "0 made, 3 kept" in augment(*options)
    assert files("wet") == made and len(pathlib.Path("wet/manifest.jsonl").read_bytes().splitlines()) == 3
    assert "3 made" in augment(*options[:-1], "8") and files("wet") != made

    # Stopped by the keyboard in the middle of many
    for i in range(60):
        shutil.copy("speech/a.wav", f"speech/c{i}.wav")
    process = subprocess.Popen([sys.executable, AUGMENT, "speech", "many", "--tail", "20", "--size", "90"], stderr=subprocess.PIPE, text=True)
    while process.poll() is None and len(files("many")) < 3:
        time.sleep(0.01)
    process.send_signal(signal.SIGINT)
    assert "the same command goes on" in process.communicate()[1] and process.returncode == 1
    assert not list(pathlib.Path("many").rglob(".augment*")) and 3 <= len(files("many")) < 63


@needs_renderer
def test_augment_and_the_renderer_make_each_others_files(speech):
    augment("speech", "wet", "--size", "10:60", "--hi", "-6:3", "--tail", "auto", "--seed", 7)
    render("--from-manifest", "wet/manifest.jsonl", "--output-folder", "again")
    assert files("again/wet") == files("wet")
    render("--output-folder", "rendered", "--recursive", "--format", "wav", "--bits", 32, "--random", "Size=10:60", "--random", "Hi=-6:3", "--seed", 7,
           "--manifest", "rendered.jsonl", "speech/a.wav", "speech/deep")
    augment("--from-manifest", "rendered.jsonl", "back")
    assert files("back/rendered") == files("rendered")
    settings = [{json.loads(line)["input"]: json.loads(line)["settings"] for line in pathlib.Path(name).read_text().splitlines()}
                for name in ("wet/manifest.jsonl", "rendered.jsonl")]
    assert settings[0] == settings[1], "drawn alike"


def test_augment_refuses_in_one_line(speech):
    for words, arguments in {"no such folder": ["nowhere", "wet"], "LOW:HIGH from 0 to 100": ["speech", "wet", "--size", "60:10"],
                             "a folder to read": ["speech"], "no preset": ["speech", "wet", "--preset", "Nope"],
                             "no such file": ["--from-manifest", "none.jsonl"], "seconds": ["speech", "wet", "--tail", "nan"]}.items():
        assert words in augment(*arguments, status=2)
    pathlib.Path("broken.jsonl").write_text("{}\n")
    assert "line 1" in augment("--from-manifest", "broken.jsonl", status=1)
    assert not pathlib.Path("wet").exists()
    soundfile.write("speech/quad.wav", np.zeros((100, 4)), 16000)
    assert "quad.wav: has 4 channels" in augment("speech", "wet", status=1)
    assert len(files("wet")) == 3
