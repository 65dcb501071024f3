# SPDX-License-Identifier: AGPL-3.0-only
"""The Varnel Reverb for Python: a stereo algorithmic reverb over numpy arrays, without impulse responses.

    import numpy, varnel

    wet = varnel.reverb(speech, 16000, preset="Rooms/Book Corner")         # (frames,) in, (frames + tail,) out
    wet = varnel.reverb(music, 48000, size=60, position=50, tail=2.5)      # (2, frames) in and out
    response = varnel.impulse_response(16000, size=40, insert_mode=False)  # (2, frames)

    stream = varnel.Reverb(48000, preset="Halls/Winter Abbey")
    for block in blocks:
        play(stream.process(block))

Audio
    An array of float32 or float64, 1.0 is full scale, of shape (frames,) or (channels, frames) with one or two channels,
    contiguous or not. Integers are a TypeError; other shapes, and samples that are no finite numbers, a ValueError.
    Results have the type of the input. The reverb itself works in 32 bits: a float64 result holds float32 values.

Settings, by keyword in all functions
    preset       a name of presets(), "Halls/Winter Abbey", or its last part, "Winter Abbey"; case does not count
    size         0 to 100: length, density and level of the room (default 33)
    spin         0 to 100 %: rate and depth of the modulation (33)
    lo, hi       -12 to 12 dB: level of lows and highs; cuts also shorten their decay (0, -1.5)
    position     0 (at the source) to 100 % (at the back): early against late and, in insert mode, dry against wet (33)
    insert_mode  True: the dry sound is in the output; False: all wet (True)
    What is not given is the preset's, or the default where there is no preset.

The samples are those of the plug-in and of varnel-render --bits 32, to the bit. The interpreter's lock is released while the
reverb works, so threads run side by side.
"""

from __future__ import annotations

import difflib
import math
import numbers
from typing import Literal, Union

import numpy as np

from . import _varnel

__all__ = ["Reverb", "impulse_response", "presets", "reverb", "tail_seconds"]
__version__: str = _varnel.version

Audio = np.ndarray
Setting = Union[float, None]

_NAMES = ("size", "spin", "lo", "hi", "position", "effect", "insert_mode")
_PARAMETERS = dict(zip(_NAMES, _varnel.parameters()))
_PRESETS = {f"{folder}/{name}" if folder else name: values for folder, name, values in _varnel.presets()}
_LOWEST_RATE, _HIGHEST_RATE = 1, 768000
_HIGHEST_SAMPLE = 1e10


def presets() -> dict[str, dict[str, float]]:
    """The presets of the factory's bank and their settings: {"Halls/Winter Abbey": {"size": 60.0, ...}, ...}.

    The settings are what reverb() and the others take as keywords.
    """
    return {name: {key: bool(value) if key == "insert_mode" else value
                   for key, value in zip(_NAMES, values) if key != "effect"}
            for name, values in _PRESETS.items()}


def reverb(audio: Audio, rate: float, *, preset: str | None = None, size: Setting = None, spin: Setting = None,
           lo: Setting = None, hi: Setting = None, position: Setting = None, insert_mode: bool | None = None,
           tail: float | Literal["auto"] = "auto", fade: float = 0.01, channels: int | None = None) -> Audio:
    """Puts the reverb on a sound.

    audio     (frames,) or (channels, frames) of float32 or float64
    rate      sample rate in Hz, 1 to 768000
    tail      seconds to go on after the sound ends, or "auto": until all channels stay under -96 dBFS for a second, 60 s
              at most. 0 gives as many frames as there were.
    fade      seconds of the fade at the end of a tail that is cut
    channels  of the result: 1 (the mean of both sides) or 2; without it 1 for audio of shape (frames,), else 2
    The other keywords are described in the module.

    Returns (frames,) if the audio is (frames,) and channels is not 2, otherwise (channels, frames).
    Raises TypeError or ValueError, and MemoryError. Any thread; several at once.
    """
    values = _values(preset, size=size, spin=spin, lo=lo, hi=hi, position=position, insert_mode=insert_mode)
    samples = _samples(audio)
    outputs = _outputs(audio, channels)
    seconds = -1.0 if isinstance(tail, str) and tail == "auto" else _number("tail", tail, 0, 86400, " seconds or \"auto\"")
    wet = _varnel.render(samples, _rate(rate), values, seconds, _number("fade", fade, 0, 3600, " seconds"), outputs)
    return _like(wet, audio, outputs)


def impulse_response(rate: float, seconds: float | None = None, *, preset: str | None = None, size: Setting = None,
                     spin: Setting = None, lo: Setting = None, hi: Setting = None, position: Setting = None,
                     insert_mode: bool | None = None, fade: float = 0.01, channels: int = 2) -> Audio:
    """The response to a single sample of 1.0 on both sides: (channels, frames) of float32.

    rate      sample rate in Hz
    seconds   length, up to 3600; without it tail_seconds() of the settings
    fade      seconds of the fade at the end of a response that is cut
    channels  1 (the mean of both sides) or 2

    With insert_mode the first sample is the dry sound. Modulated as it is, the reverb is more than this response: at another
    moment it answers a little differently.
    """
    settings = dict(preset=preset, size=size, spin=spin, lo=lo, hi=hi, position=position, insert_mode=insert_mode)
    if seconds is None:
        seconds = min(3600.0, max(0.001, tail_seconds(rate, **settings)))
    frames = max(1, math.floor(_number("seconds", seconds, 0, 3600) * _rate(rate) + 0.5))
    return reverb(np.ones((2, 1), np.float32), rate, tail=(frames - 1) / rate, fade=fade, channels=channels, **settings)


def tail_seconds(rate: float = 48000, *, preset: str | None = None, size: Setting = None, spin: Setting = None,
                 lo: Setting = None, hi: Setting = None, position: Setting = None,
                 insert_mode: bool | None = None) -> float:
    """The seconds until the energy that is left of the wet part of the response has fallen by 60 dB.

    They are worked out by a rule: at least what a measurement gives and, on the factory's presets, at most 1.3 times that.
    """
    values = _values(preset, size=size, spin=spin, lo=lo, hi=hi, position=position, insert_mode=insert_mode)
    return _varnel.Stream(_rate(rate), 2, values).tail_seconds()


class Reverb:
    """The reverb for a stream of blocks; the tail of one block goes on in the next.

    rate      sample rate in Hz, 1 to 768000
    channels  of the input: 1, which feeds both sides, or 2
    The other keywords are described in the module. The settings are attributes as well, which may be set at any time: the
    sound glides there.

    Any thread, and several at once: whoever comes while another thread is in process() waits.
    """

    def __init__(self, rate: float, channels: int = 2, *, preset: str | None = None, size: Setting = None,
                 spin: Setting = None, lo: Setting = None, hi: Setting = None, position: Setting = None,
                 insert_mode: bool | None = None) -> None:
        if channels not in (1, 2):
            raise ValueError(f"channels has to be 1 or 2, not {channels!r}")
        values = _values(preset, size=size, spin=spin, lo=lo, hi=hi, position=position, insert_mode=insert_mode)
        object.__setattr__(self, "_values", dict(zip(_NAMES, values)))
        object.__setattr__(self, "_channels", channels)
        object.__setattr__(self, "_rate", _rate(rate))
        object.__setattr__(self, "_stream", _varnel.Stream(self._rate, channels, values))

    def process(self, audio: Audio, *, channels: int | None = None) -> Audio:
        """A block of any length through the reverb. Shapes, types and channels as for reverb(), without a tail."""
        samples, outputs = _samples(audio), _outputs(audio, channels)
        if samples.shape[0] != self._channels:
            raise ValueError(f"audio has {samples.shape[0]} channel(s); this Reverb was made for {self._channels}")
        return _like(self._stream.process(samples, outputs), audio, outputs)

    def reset(self) -> None:
        """Forgets all sound. The settings stay."""
        self._stream.reset()

    def load_preset(self, name: str) -> None:
        """Takes all settings of a preset."""
        values = _values(name)
        self._stream.set(values)
        self._values.update(zip(_NAMES, values))

    @property
    def rate(self) -> float:
        """Sample rate in Hz."""
        return self._rate

    @property
    def tail_seconds(self) -> float:
        """As the function tail_seconds(), with the settings as they are."""
        return self._stream.tail_seconds()

    def __getattr__(self, name: str) -> float | bool:
        values = self.__dict__.get("_values", {})
        if name not in values or name == "effect":
            raise AttributeError(f"a Reverb has no attribute {name!r}")
        return bool(values[name]) if name == "insert_mode" else values[name]

    def __setattr__(self, name: str, value: float | bool) -> None:
        if name not in _NAMES or name == "effect":
            raise AttributeError(f"a Reverb has no setting {name!r}")
        changed = {**self._values, name: _setting(name, value)}
        self._stream.set(list(changed.values()))
        self._values.update(changed)

    def __dir__(self) -> list[str]:
        return sorted({*super().__dir__(), *_NAMES} - {"effect"})

    def __repr__(self) -> str:
        settings = ", ".join(f"{name}={getattr(self, name):g}" for name in _NAMES if name != "effect")
        return f"varnel.Reverb({self._rate:g}, {self._channels}, {settings})"


# ----------------------------------------------------------------------------------------------------------------------
# What callers hand over


def _number(name: str, value: object, lowest: float, highest: float, unit: str = "") -> float:
    if isinstance(value, (bool, np.bool_)) or not isinstance(value, numbers.Real):
        raise TypeError(f"{name} has to be a number from {lowest:g} to {highest:g}{unit}, not {value!r}")
    if not lowest <= value <= highest:
        raise ValueError(f"{name} has to be from {lowest:g} to {highest:g}{unit}, not {value!r}")
    return float(value)


def _rate(rate: object) -> float:
    return _number("rate", rate, _LOWEST_RATE, _HIGHEST_RATE, " Hz")


def _setting(name: str, value: object) -> float:
    _, _, unit, lowest, highest, _, _ = _PARAMETERS[name]
    if name == "insert_mode":
        if not isinstance(value, (bool, np.bool_)) and not (isinstance(value, numbers.Real) and value in (0, 1)):
            raise TypeError(f"insert_mode has to be True or False, not {value!r}")
        return float(value)
    return _number(name, value, lowest, highest, f" {unit}" if unit else "")


def _values(preset: str | None, **settings: object) -> list[float]:
    """The values of all parameters, in the library's order."""
    values = dict(zip(_NAMES, _preset(preset) if preset is not None else [row[6] for row in _PARAMETERS.values()]))
    values.update((name, _setting(name, value)) for name, value in settings.items() if value is not None)
    return list(values.values())


def _preset(name: object) -> list[float]:
    if not isinstance(name, str):
        raise TypeError(f"preset has to be a name, not {name!r}")
    for path, values in _PRESETS.items():
        if name.lower() in (path.lower(), path.rpartition("/")[2].lower()):
            return values
    ends = {path.rpartition("/")[2].lower(): path for path in _PRESETS}
    near = [ends[end] for end in difflib.get_close_matches(name.rpartition("/")[2].lower(), ends, 3)]
    hint = f"; near it: {', '.join(near)}" if near else "; varnel.presets() has them all"
    raise ValueError(f"there is no preset {name!r}{hint}")


def _samples(audio: object) -> Audio:
    """The audio as (channels, frames) of float32, contiguous."""
    if not isinstance(audio, np.ndarray) or audio.dtype.type not in (np.float32, np.float64):
        kind = audio.dtype if isinstance(audio, np.ndarray) else type(audio).__name__
        hint = "; x / 32768 makes it so of 16-bit integers" if kind == np.int16 else ""
        raise TypeError(f"audio has to be a numpy array of float32 or float64, not {kind}{hint}")
    if audio.ndim not in (1, 2) or audio.ndim == 2 and audio.shape[0] not in (1, 2):
        hint = "; .T exchanges the two" if audio.ndim == 2 and audio.shape[1] in (1, 2) else ""
        raise ValueError(f"audio has to be (frames,) or (channels, frames) with one or two channels, not {audio.shape}{hint}")
    if audio.size and not np.abs(audio).max() <= _HIGHEST_SAMPLE:  # not so for NaN
        raise ValueError("audio holds samples that are no finite numbers, or beyond 1e10")
    return np.ascontiguousarray(np.atleast_2d(audio), dtype=np.float32)


def _outputs(audio: Audio, channels: object) -> int:
    if channels is None:
        return 1 if audio.ndim == 1 else 2
    if channels not in (1, 2):
        raise ValueError(f"channels has to be 1 or 2, not {channels!r}")
    return channels


def _like(wet: Audio, audio: Audio, outputs: int) -> Audio:
    wet = wet.astype(audio.dtype.newbyteorder("="), copy=False)
    return wet[0] if audio.ndim == 1 and outputs == 1 else wet
