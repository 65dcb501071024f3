#!/usr/bin/python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Times the Python module on clips of 5 s at 16 kHz: processor time a clip, two threads against one, and beside it sox's reverb and,
where they are installed, pedalboard and pyroomacoustics. PYTHONPATH names the module's folder: build/source/python.
"""

import concurrent.futures
import statistics
import subprocess
import tempfile
import time

import numpy as np

import varnel

RATE = 16000
CLIP = np.random.default_rng(1).uniform(-0.3, 0.3, 5 * RATE).astype(np.float32)


def processor_ms(function, rounds=40):
    function()
    times = []
    for _ in range(rounds):
        start = time.process_time()
        function()
        times.append((time.process_time() - start) * 1e3)
    return statistics.median(times)


def show(name, milliseconds):
    print(f"{name:52} {milliseconds:8.2f} ms")


def threads(function, number, rounds=200):
    """Seconds for so many calls, shared by threads."""
    with concurrent.futures.ThreadPoolExecutor(number) as pool:
        start = time.perf_counter()
        list(pool.map(lambda _: function(), range(rounds)))
        return time.perf_counter() - start


for name, settings in {"same length": {"tail": 0}, "1 s of tail": {"tail": 1}, "tail until it is inaudible": {}}.items():
    show(f"varnel.reverb, default settings, {name}", processor_ms(lambda: varnel.reverb(CLIP, RATE, **settings)))

ratios = [threads(lambda: varnel.reverb(CLIP, RATE, tail=0), 1) / threads(lambda: varnel.reverb(CLIP, RATE, tail=0), 2) for _ in range(5)]
print(f"{'two threads against one, best of five':52} {max(ratios):8.2f} times as fast")

try:
    with tempfile.TemporaryDirectory() as folder:
        CLIP.tofile(f"{folder}/in.f32")
        command = ["sox", "-t", "f32", "-r", str(RATE), "-c", "1", f"{folder}/in.f32", "-t", "f32", f"{folder}/out.f32", "reverb"]
        start = time.perf_counter()
        for _ in range(20):
            subprocess.run(command, check=True)
        show("sox reverb, a process for each clip, elapsed", (time.perf_counter() - start) / 20 * 1e3)
        np.tile(CLIP, 100).tofile(f"{folder}/in.f32")
        start = time.perf_counter()
        subprocess.run(command, check=True)
        show("sox reverb, within one process, elapsed", (time.perf_counter() - start) / 100 * 1e3)
except (FileNotFoundError, subprocess.CalledProcessError) as error:
    print(f"sox: {error}")

try:
    import pedalboard
    show("pedalboard.Reverb, same length", processor_ms(lambda: pedalboard.Pedalboard([pedalboard.Reverb()])(CLIP, RATE)))
except ImportError:
    print("pedalboard is not installed")

try:
    import pyroomacoustics

    def room():
        shoebox = pyroomacoustics.ShoeBox([6, 5, 3], fs=RATE, materials=pyroomacoustics.Material(0.2), max_order=12)
        shoebox.add_source([2, 2, 1.5], signal=CLIP)
        shoebox.add_microphone([4, 3, 1.5])
        shoebox.simulate()

    show("pyroomacoustics, a room of 6 x 5 x 3 m", processor_ms(room, 3))
except ImportError:
    print("pyroomacoustics is not installed")
