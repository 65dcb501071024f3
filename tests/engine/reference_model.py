#!/usr/bin/env python3
# SPDX-License-Identifier: AGPL-3.0-only
"""A second, slow engine that gives the expected values of ReverbEngineTest.

It is written for comparison, not for use: one Python float per number, rounded to binary32 after each
operation, in the order that the engine promises. Nothing here is derived from the C++ source, so a slip
in one of the two shows. Run it to print the table of expected samples.
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
        size = 2 ** math.ceil(math.log2(f(f(capacity) * rate + 2)))
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
    def __init__(self, rate, high, db):
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
        self.state = F(0)

    def run(self, x):
        y = self.b0 * x + self.state
        self.state = (self.b1 * x + self.a1 * y) + GUARD
        return y


class Pair:
    def __init__(self, rate, low, high):
        self.low, self.high = Shelf(rate, False, low), Shelf(rate, True, high)

    def run(self, x):
        return self.high.run(self.low.run(x))


class Stage:
    def __init__(self, rate, capacity, coefficient, low, high, hermite):
        self.line, self.g, self.shelves, self.hermite = Line(rate, capacity), coefficient, Pair(rate, low, high), hermite
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


def engine(rate, size, spin, low, high, position, insert, frames, resize=None):
    """Yields an output frame for each input frame; at resize[0] the size becomes resize[1]."""
    cut_low, cut_high = min(low, 0) * 0.5, min(high, 0) * 0.5
    sizes = Sizes(size)
    pre = [Line(rate, 0.025), Line(rate, 0.025)]
    diffusers = [[Stage(rate, c, F(-0.667), cut_low, cut_high, False) for c in cs] for cs in ((0.07, 0.09, 0.11), (0.08, 0.10, 0.12))]
    tanks = [[Stage(rate, c, sizes.g, cut_low, cut_high, True) for c in cs] for cs in ((0.15, 0.18, 0.21), (0.14, 0.16, 0.19))]
    shelves = [Pair(rate, cut_low, cut_high) for _ in range(2)]
    out_shelves = [Pair(rate, low, high) for _ in range(2)]
    ends = [Line(rate, 0.25), Line(rate, 0.23)]
    feedback = [F(0), F(0)]

    x = F(position) * PERCENT
    y = (F(-1) + x) + x
    z = x if insert else ((F(1) - F(abs(y.v)) * 0.5) * y) + 0.5
    a = (F(2) - (F(1) - z)) * (F(1) - z)
    b = z * (F(2) - z)
    dry, wet = (a, b) if insert else (F(0), F(1))

    spin = F(spin) * PERCENT
    step, depth_goal, phase = (F(1) / rate) * spin, spin * MS, F(0)
    tenth = F(0.100000001) * rate
    steady = F(1) / tenth
    c = F(1)
    now = [F(0)] * 18

    for n, frame in enumerate(frames):
        if resize and n == resize[0]:
            sizes = Sizes(resize[1])
            for stage in tanks[0] + tanks[1]:
                stage.g = sizes.g

        goals = sizes.pre + sizes.diffuser + [depth_goal] + sizes.tank + [sizes.trim]
        now = [((g - v) * c + v) + GUARD for g, v in zip(goals, now)]
        delays, depth, trim = now[:8] + now[9:17], now[8], now[17]

        phase = q = wrap(phase + step)
        taps = []
        for _ in range(4):
            taps.append(((F(abs(q.v)) - 0.25) * 4) * depth)
            q = wrap(q + 0.125)

        wets = []
        ins = [F(v) for v in frame]
        entering = list(feedback)
        for side in (0, 1):
            pre[side].set(delays[side])
            early = pre[side].push(ins[side], False)
            for i, stage in enumerate(diffusers[side]):
                stage.line.set(delays[2 + 3 * side + i])
                early = stage.run(early)

            branch = (entering[1 - side] * sizes.decay + early) + GUARD
            for i, line in enumerate([stage.line for stage in tanks[side]] + [ends[side]]):
                base = delays[8 + 4 * side + i]
                line.set(base - taps[i] if side else base + taps[i])
            for stage in tanks[side]:
                branch = stage.run(branch)
            late = shelves[side].run(branch)
            feedback[side] = ends[side].push(late, True)
            wets.append(out_shelves[side].run(early * a + late * b))

        left, right = wets[0] * trim, trim * wets[1]
        mid, diff = (left + right) * 0.5, (left - right) * 0.5
        yield (ins[0] * dry + (mid + diff) * wet).v, (ins[1] * dry + (mid - diff) * wet).v
        c = steady


def noise(count):
    """Frames of the generator that the test uses: x = 1664525 x + 1013904223 modulo 2^32, starting at 1."""
    x = 1
    for _ in range(count):
        frame = []
        for _ in range(2):
            x = (1664525 * x + 1013904223) % 2**32
            frame.append(((x >> 8) - 2**23) / 2**24)
        yield frame


if __name__ == "__main__":
    settings = [
        (44100, 33, 33, 0, -1.5, 33, True, None),
        (48000, 62, 80, -6, 4, 71, False, (3000, 20)),
        (8000, 5, 100, 12, -12, 50, True, None),
    ]
    for s in settings:
        out = list(engine(*s[:7], noise(6001), resize=s[7]))
        for n in (0, 1, 700, 3500, 6000):
            print("%-50s %5d  %s  %s" % (s, n, out[n][0].hex(), out[n][1].hex()))
