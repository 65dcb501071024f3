#!/usr/bin/env python3
# SPDX-License-Identifier: AGPL-3.0-only
"""A second, slow engine that gives the expected values of ReverbEngineTest.

It is written for comparison, not for use: one Python float per number, rounded to binary32 after each
operation, in the order that the engine promises. Nothing here is derived from the C++ source, so a slip
in one of the two shows. Run it to print what the walks of the test come to; it takes some minutes.
"""
import math
import struct


def f(x):
    """Rounds to the nearest binary32 number."""
    return struct.unpack("<f", struct.pack("<f", x))[0]


def exp2(x):
    """The float nearest to the power: a double is nearer to it than any middle between two floats."""
    return f(2.0**x)


class F:
    """A binary32 number."""

    __slots__ = ("v",)

    def __init__(self, v):
        self.v = v.v if isinstance(v, F) else f(v)

    def __add__(self, o): return F(self.v + F(o).v)
    def __sub__(self, o): return F(self.v - F(o).v)
    def __mul__(self, o): return F(self.v * F(o).v)
    def __truediv__(self, o): return F(self.v / F(o).v)
    def __neg__(self): return F(-self.v)


GUARD = F(1e-18)
PERCENT = F(0.00999999978)
MS = F(0.00100000005)


class Line:
    def __init__(self, rate, capacity):
        size = 2 ** math.ceil(math.log2((F(capacity) * rate + 2).v))
        self.rate, self.mask, self.buffer, self.write = F(rate), size - 1, [F(0)] * size, 0

    def set(self, seconds):
        samples = self.rate * seconds
        self.whole = math.floor(samples.v)
        self.fraction = samples - self.whole

    def at(self, i):
        return self.buffer[i & self.mask]

    def push(self, x, hermite):
        self.buffer[self.write] = x
        r = self.write - self.whole
        self.write = (self.write + 1) & self.mask
        x0 = self.at(r)
        if not hermite:
            return x0
        x1, x2 = self.at(r - 1), self.at(r - 2)
        newer = self.at(r + 1) if self.whole > 0 else x0
        v = x0 - x1
        c = (x1 - newer) * 0.5
        w = v + c
        a = (x2 - x0) * 0.5 + (v + w)
        b = w + a
        return ((a * self.fraction - b) * self.fraction + c) * self.fraction + x0


class Shelf:
    def __init__(self, high):
        self.high, self.state = high, F(0)

    def design(self, rate, db):
        high = self.high
        gain = F(exp2((F(db) * 0.0830482021).v))
        corner = F(4185) * gain if high else F(130.820999) / gain
        w = corner * (F(3.14159274) / rate)
        w = F(max(min(w.v, f(1.48)), f(0.000128)))
        w2 = w * w
        w3 = w * w2
        t = (w2 * w3) * 0.133332998 + (w3 * 0.333332986 + w)
        r = F(1) / (t + 1)
        self.a1 = (F(1) - t) * r
        k = (gain * gain - 1) * (r if high else r * t)
        self.b0 = k + 1
        self.b1 = -(self.a1 + k) if high else k - self.a1

    def run(self, x):
        y = self.b0 * x + self.state
        self.state = (self.b1 * x + self.a1 * y) + GUARD
        return y


class Pair:
    def __init__(self):
        self.low, self.high = Shelf(False), Shelf(True)

    def clear(self):
        self.low.state = self.high.state = F(0)

    def run(self, x):
        return self.high.run(self.low.run(x))


class Stage:
    def __init__(self, rate, capacity, hermite):
        self.line, self.g, self.shelves, self.hermite = Line(rate, capacity), F(-0.667), Pair(), hermite
        self.last = F(0)

    def run(self, x):
        y = self.last - x * self.g
        z = self.g * y + x
        self.last = self.shelves.run(self.line.push(z, self.hermite)) + GUARD
        return y


def note_delay(note):
    return F(1) / (F(8.17579937) * exp2((note * 0.0833332986).v))


class Sizes:
    def __init__(self, v):
        v = F(v)
        s = (v * 0.0299999993 + v * v * -0.0000999999975) * 50
        self.pre = [(F(0.219999999) * s + 2) * MS] * 2
        note = F(60) + s * -0.5
        self.diffuser = [note_delay(note - k - o) for k in (-1, 1) for o in (0, 4, 8)]
        note = F(48) + s * -0.5
        self.tank = [note_delay(note - k - o) for k in (0.75, -0.75) for o in (0, 3, 6, 9)]
        self.g = F(0.00332999998) * s + 0.333000004
        d = s * s * s * 0.000079999998 + 40
        time = F(exp2((d * 0.166096404).v)) * MS
        loss = note_delay(note - 9) / time * -60
        self.decay = F(exp2((loss * 0.166096404).v))
        self.trim = F(exp2(((d * -0.0666999966) * 0.166096404).v))


def wrap(p):
    return p - 1 if p.v > 0.5 else p


class Engine:
    def __init__(self):
        self.was_bypassed = False
        self.feedback, self.now, self.peaks = [F(0), F(0)], [F(0)] * 18, [F(0)] * 4

    def prepare(self, rate, num_inputs):
        """Builds all anew but for what the first sample replaces, the feedback and the peaks."""
        self.rate, self.num_inputs = rate, num_inputs
        self.pre = [Line(rate, 0.025), Line(rate, 0.025)]
        self.diffusers = [[Stage(rate, c, False) for c in cs] for cs in ((0.07, 0.09, 0.11), (0.08, 0.10, 0.12))]
        self.tanks = [[Stage(rate, c, True) for c in cs] for cs in ((0.15, 0.18, 0.21), (0.14, 0.16, 0.19))]
        self.ends = [Line(rate, 0.25), Line(rate, 0.23)]
        self.tank_shelves, self.out_shelves = [Pair(), Pair()], [Pair(), Pair()]
        self.phase, self.c = F(0), F(1)
        n = F(0.100000001) * rate
        self.steady = F(1) if n.v < 1 else F(1) / n

    def stages(self):
        return self.diffusers[0] + self.diffusers[1] + self.tanks[0] + self.tanks[1]

    def set(self, number, value):
        value = F(value)
        if number == 0:
            self.sizes = Sizes(value)
            for stage in self.tanks[0] + self.tanks[1]:
                stage.g = self.sizes.g
        elif number == 1:
            spin = value * PERCENT
            self.step, self.depth = (F(1) / self.rate) * spin, spin * MS
        elif number in (2, 3):
            inside = F(0) if value.v > 0 else value * 0.5
            for pair in [stage.shelves for stage in self.stages()] + self.tank_shelves:
                (pair.low, pair.high)[number - 2].design(self.rate, inside)
            for pair in self.out_shelves:
                (pair.low, pair.high)[number - 2].design(self.rate, value)
        elif number == 4:
            self.position = value
        elif number == 5:
            self.bypassed = value.v == 0
        else:
            self.insert = value.v >= 0.5

    def weights(self):
        x = self.position * PERCENT
        y = (F(-1) + x) + x
        z = x if self.insert else ((F(1) - F(abs(y.v)) * 0.5) * y) + 0.5
        a = (F(2) - (F(1) - z)) * (F(1) - z)
        b = z * (F(2) - z)
        return (a, b, a, b) if self.insert else (a, b, F(0), F(1))

    def clear(self):
        for line in self.pre + self.ends + [stage.line for stage in self.stages()]:
            line.buffer = [F(0)] * (line.mask + 1)
        for stage in self.stages():
            stage.last = F(0)
        for pair in [stage.shelves for stage in self.stages()] + self.tank_shelves + self.out_shelves:
            pair.clear()
        self.phase, self.feedback = F(0), [F(0), F(0)]

    def block(self, channels):
        """Processes one or two lists of samples in place."""
        if self.bypassed and not self.was_bypassed:
            self.clear()
        if not self.bypassed:
            for i in range(len(channels[0])):
                self.sample(channels, i)
        self.was_bypassed = self.bypassed

    def meet(self, meter, sample):
        if abs(sample.v) > self.peaks[meter].v:
            self.peaks[meter] = F(abs(sample.v))

    def sample(self, channels, i):
        stereo = len(channels) > 1
        ins = [channels[0][i], channels[1 if stereo and self.num_inputs > 1 else 0][i]]
        early_gain, late_gain, dry, wet = self.weights()

        goals = self.sizes.pre + self.sizes.diffuser + [self.depth] + self.sizes.tank + [self.sizes.trim]
        self.now = [((g - v) * self.c + v) + GUARD for g, v in zip(goals, self.now)]
        self.c = self.steady
        delays, depth, trim = self.now[:8] + self.now[9:17], self.now[8], self.now[17]

        self.phase = q = wrap(self.phase + self.step)
        taps = []
        for _ in range(4):
            taps.append(((F(abs(q.v)) - 0.25) * 4) * depth)
            q = wrap(q + 0.125)

        wets = []
        entering = list(self.feedback)
        for side in (0, 1):
            self.meet(side, ins[side])
            self.pre[side].set(delays[side])
            early = self.pre[side].push(ins[side], False)
            for k, stage in enumerate(self.diffusers[side]):
                stage.line.set(delays[2 + 3 * side + k])
                early = stage.run(early)

            branch = (entering[1 - side] * self.sizes.decay + early) + GUARD
            for k, line in enumerate([stage.line for stage in self.tanks[side]] + [self.ends[side]]):
                base = delays[8 + 4 * side + k]
                line.set(base - taps[k] if side else base + taps[k])
            for stage in self.tanks[side]:
                branch = stage.run(branch)
            late = self.tank_shelves[side].run(branch)
            self.feedback[side] = self.ends[side].push(late, True)
            wets.append(self.out_shelves[side].run(early * early_gain + late * late_gain))

        left, right = wets[0] * trim, trim * wets[1]
        mid, diff = (left + right) * 0.5, (left - right) * 0.5
        outs = [ins[0] * dry + (mid + diff) * wet, ins[1] * dry + (mid - diff) * wet]
        if not stereo:
            outs = [(outs[0] + outs[1]) * 0.5] * 2
        for side, out in enumerate(outs):
            channels[side if stereo else 0][i] = out
            self.meet(2 + side, out)


class Noise:
    """The generator that the test uses: x = 1664525 x + 1013904223 modulo 2^32, starting at 1."""

    def __init__(self):
        self.x = 1

    def next(self):
        self.x = (1664525 * self.x + 1013904223) % 2**32
        return self.x >> 8

    def sample(self):
        return F((self.next() - 2**23) / 2**24)

    def pick(self, number):
        return self.next() % number


class Hash:
    """FNV-1a, over 32 bits at a time."""

    def __init__(self):
        self.state = 14695981039346656037

    def add(self, x):
        self.state = ((self.state ^ struct.unpack("<I", struct.pack("<f", x.v))[0]) * 1099511628211) % 2**64


# Start, step and number of steps of each control, and the default
CONTROLS = [(0, 1, 100, 33), (0, 1, 100, 33), (-12, 0.2, 120, 0), (-12, 0.2, 120, -1.5), (0, 1, 100, 33), (0, 1, 1, 1), (0, 1, 1, 1)]


def walk(rate):
    """Sound through an engine in blocks of all lengths while controls, channels and the preparation change at random."""
    noise, heard, engine = Noise(), Hash(), Engine()
    values = [F(control[3]) for control in CONTROLS]

    for block in range(60):
        if block == 0 or noise.pick(15) == 0:
            engine.prepare(rate, 1 + noise.pick(2))
            for number, value in enumerate(values):
                engine.set(number, value)

        number = noise.pick(10)
        if number < len(CONTROLS):
            start, step, steps, _ = CONTROLS[number]
            values[number] = F(start) + F(step) * noise.pick(steps + 1)
            engine.set(number, values[number])

        channels = [[], []][: 2 if noise.pick(5) else 1]
        level = F((1, 0, 1e-6)[noise.pick(3)])
        for _ in range(noise.pick(100)):
            for channel in channels:
                channel.append(noise.sample() * level)

        engine.block(channels)
        for x in [x for channel in channels for x in channel] + engine.peaks + [engine.phase]:
            heard.add(x)
        if noise.pick(4) == 0:
            engine.peaks = [F(0)] * 4

    return heard.state


if __name__ == "__main__":
    for rate in (100, 8000, 44100, 48000, 192000, 5000000):
        print(f"{{ {rate}.0, 0x{walk(rate):016x} }},", flush=True)
