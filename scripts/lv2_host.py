# SPDX-License-Identifier: AGPL-3.0-only
"""A host for LV2 plug-ins without a window or a clock, for measuring: sound in, sound out, as numpy arrays.

It finds plug-ins through liblilv (Debian's liblilv-0-0) and runs their audio and control ports. Atom ports are given
empty sequences; work that a plug-in asks for is refused, since nothing here sends it anything to work on.
"""

import ctypes
import ctypes.util
import functools

import numpy as np

BLOCK = 256  # frames

_CORE = "http://lv2plug.in/ns/lv2core#"
_ATOM = "http://lv2plug.in/ns/ext/atom#"
_BUFFER = "http://lv2plug.in/ns/ext/buf-size#"
_void = ctypes.c_void_p


class _Feature(ctypes.Structure):
    _fields_ = [("uri", ctypes.c_char_p), ("data", _void)]


class _Map(ctypes.Structure):
    _fields_ = [("handle", _void), ("map", ctypes.CFUNCTYPE(ctypes.c_uint32, _void, ctypes.c_char_p))]


class _Unmap(ctypes.Structure):
    _fields_ = [("handle", _void), ("unmap", ctypes.CFUNCTYPE(ctypes.c_char_p, _void, ctypes.c_uint32))]


class _Schedule(ctypes.Structure):
    _fields_ = [("handle", _void), ("schedule", ctypes.CFUNCTYPE(ctypes.c_int, _void, ctypes.c_uint32, _void))]


class _Option(ctypes.Structure):
    _fields_ = [("context", ctypes.c_int), ("subject", ctypes.c_uint32), ("key", ctypes.c_uint32), ("size", ctypes.c_uint32),
                ("type", ctypes.c_uint32), ("value", _void)]


class _Descriptor(ctypes.Structure):
    _fields_ = [("uri", ctypes.c_char_p), ("instantiate", _void), ("connect", ctypes.CFUNCTYPE(None, _void, ctypes.c_uint32, _void)),
                ("activate", ctypes.CFUNCTYPE(None, _void)), ("run", ctypes.CFUNCTYPE(None, _void, ctypes.c_uint32)),
                ("deactivate", ctypes.CFUNCTYPE(None, _void))]


class _Instance(ctypes.Structure):
    _fields_ = [("descriptor", ctypes.POINTER(_Descriptor)), ("handle", _void)]


@functools.cache
def _lilv():
    name = ctypes.util.find_library("lilv-0")
    if name is None:
        raise OSError("liblilv-0 is not installed")
    library = ctypes.CDLL(name)
    for call in ("lilv_world_new", "lilv_world_get_all_plugins", "lilv_new_uri", "lilv_plugins_get_by_uri", "lilv_plugin_instantiate",
                 "lilv_plugin_get_port_by_index", "lilv_port_get_symbol"):
        getattr(library, call).restype = _void
    library.lilv_node_as_string.restype = ctypes.c_char_p
    library.lilv_port_is_a.restype = ctypes.c_bool
    return library


@functools.cache
def _world():
    world = _void(_lilv().lilv_world_new())
    _lilv().lilv_world_load_all(world)
    return world


class Plugin:
    """An LV2 plug-in of this system, by its URI. @raises LookupError if it is not installed."""

    def __init__(self, uri):
        lilv, world = _lilv(), _world()
        node = lambda text: _void(lilv.lilv_new_uri(world, text.encode()))
        found = lilv.lilv_plugins_get_by_uri(_void(lilv.lilv_world_get_all_plugins(world)), node(uri))
        if not found:
            raise LookupError(f"{uri}: not installed")

        self.uri, self._plugin = uri, _void(found)
        count = lilv.lilv_plugin_get_num_ports(self._plugin)
        lows, highs, defaults = ((ctypes.c_float * count)() for _ in range(3))
        lilv.lilv_plugin_get_port_ranges_float(self._plugin, lows, highs, defaults)

        is_input, is_audio, is_control = node(_CORE + "InputPort"), node(_CORE + "AudioPort"), node(_CORE + "ControlPort")
        self.inputs, self.outputs, self._others = [], [], []  # indices
        self.controls = {}  # by symbol: index, lowest, highest, default; those that the host sets
        self._control_outputs = []

        for index in range(count):
            port = _void(lilv.lilv_plugin_get_port_by_index(self._plugin, ctypes.c_uint32(index)))
            incoming = lilv.lilv_port_is_a(self._plugin, port, is_input)
            if lilv.lilv_port_is_a(self._plugin, port, is_audio):
                (self.inputs if incoming else self.outputs).append(index)
            elif not lilv.lilv_port_is_a(self._plugin, port, is_control):
                self._others.append(index)
            elif incoming:
                symbol = lilv.lilv_node_as_string(_void(lilv.lilv_port_get_symbol(self._plugin, port))).decode()
                self.controls[symbol] = index, lows[index], highs[index], defaults[index]
            else:
                self._control_outputs.append(index)

    def process(self, sound, rate, settings, blocks_ahead=40):
        """Runs a fresh instance over a sound of shape (channels, frames), after some blocks of silence in which its
        controls settle. @returns its outputs, float64, (channels, frames)"""
        numbers, names = {}, []

        def number(_, uri):
            if uri not in numbers:
                numbers[uri] = len(names) + 1
                names.append(uri)
            return numbers[uri]

        mapping = _Map(None, _Map._fields_[1][1](number))
        unmapping = _Unmap(None, _Unmap._fields_[1][1](lambda _, n: names[n - 1] if 0 < n <= len(names) else None))
        refusal = _Schedule(None, _Schedule._fields_[1][1](lambda *_: 1))
        integer, real = (number(None, (_ATOM + name).encode()) for name in ("Int", "Float"))
        length, speed = ctypes.c_int32(BLOCK), ctypes.c_float(rate)
        keys = [(_BUFFER + key, integer, length) for key in ("minBlockLength", "maxBlockLength", "nominalBlockLength")]
        keys.append(("http://lv2plug.in/ns/ext/parameters#sampleRate", real, speed))
        options = (_Option * (len(keys) + 1))(*[_Option(0, 0, number(None, key.encode()), 4, kind, ctypes.addressof(value)) for key, kind, value in keys])

        lv2 = "http://lv2plug.in/ns/ext/"
        features = [_Feature(uri.encode(), data and ctypes.cast(ctypes.pointer(data), _void)) for uri, data in (
            (lv2 + "urid#map", mapping), (lv2 + "urid#unmap", unmapping), (lv2 + "worker#schedule", refusal), (lv2 + "options#options", options),
            (_BUFFER + "boundedBlockLength", None), (_BUFFER + "fixedBlockLength", None))]
        pointers = (ctypes.POINTER(_Feature) * (len(features) + 1))(*[ctypes.pointer(feature) for feature in features], None)

        made = _lilv().lilv_plugin_instantiate(self._plugin, ctypes.c_double(rate), pointers)
        if not made:
            raise RuntimeError(f"{self.uri}: cannot be started")
        instance = ctypes.cast(made, ctypes.POINTER(_Instance)).contents
        descriptor, handle = instance.descriptor.contents, instance.handle

        incoming = np.zeros((len(self.inputs), BLOCK), np.float32)
        outgoing = np.zeros((len(self.outputs), BLOCK), np.float32)
        sequences = [ctypes.create_string_buffer(8192) for _ in self._others]
        values = {index: ctypes.c_float(settings.get(symbol, default)) for symbol, (index, _, _, default) in self.controls.items()}
        values |= {index: ctypes.c_float() for index in self._control_outputs}
        unknown = set(settings) - set(self.controls)
        if unknown:
            raise LookupError(f"{self.uri}: has no control {', '.join(sorted(unknown))}")

        for index, value in values.items():
            descriptor.connect(handle, index, ctypes.addressof(value))
        for indices, buffer in ((self.inputs, incoming), (self.outputs, outgoing)):
            for row, index in enumerate(indices):
                descriptor.connect(handle, index, buffer[row].ctypes.data)

        def refresh():
            for buffer in sequences:  # an atom: size, type; then the sequence's unit and padding
                ctypes.memmove(buffer, np.array([8, number(None, (_ATOM + "Sequence").encode()), 0, 0], np.uint32).tobytes(), 16)

        for index, buffer in zip(self._others, sequences):
            descriptor.connect(handle, index, ctypes.addressof(buffer))

        descriptor.activate(handle)  # lilv gives each plug-in one, if only in name
        silence = np.zeros((sound.shape[0], blocks_ahead * BLOCK))
        source = np.concatenate([silence, sound], axis=1)
        result = np.zeros((len(self.outputs), source.shape[1] + BLOCK))

        for start in range(0, source.shape[1], BLOCK):
            piece = source[:, start:start + BLOCK]
            incoming[:] = 0
            incoming[:, :piece.shape[1]] = piece[:len(self.inputs)]
            refresh()
            descriptor.run(handle, BLOCK)
            result[:, start:start + BLOCK] = outgoing

        if descriptor.deactivate:
            descriptor.deactivate(handle)
        _lilv().lilv_instance_free(_void(made)) if hasattr(_lilv(), "lilv_instance_free") else None
        return result[:, silence.shape[1]:source.shape[1]]
