#!/usr/bin/env python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Draws the images of the window into its own folder: background.png, dial.png and the two button faces.

    /usr/bin/python3 assets/draw.py [FOLDER]

Needs Debian's python3-cairo, python3-numpy, python3-pil, python3-fonttools and fonts-league-spartan. Two
runs on one machine give the same bytes. Lengths are design units, which are pixels of the background; the
geometry of knobs, lamps, buttons and the meters' track repeats what the editor lays out.
"""

import math
import pathlib
import sys

import cairo
import numpy as np
from fontTools.pens.recordingPen import DecomposingRecordingPen
from fontTools.ttLib import TTFont
from PIL import Image

# --- Colours -------------------------------------------------------------------------------------------

PANEL = (160, 40, 40)
TRACK = (27, 14, 21)  # the editor paints the meters' track in it as well
INK = (14, 5, 6)  # the name, ticks
PRINT = (244, 238, 236)  # small lettering and arrows, which ink would leave too dark to read
BAND = (48, 48, 48)
MARK = (255, 255, 255)
FACE_UP, FACE_UP_LINE = (17, 18, 18), (92, 92, 94)
FACE_DOWN, FACE_DOWN_LINE = (21, 22, 22), (58, 58, 60)
METAL_TINT = (0.985, 0.99, 1.015)

# --- Light ---------------------------------------------------------------------------------------------

LIGHT = (-0.56, -0.83)  # where it comes from: above, somewhat from the left
PANEL_GLOW_AT, PANEL_GLOW_REACH = (520, 170), (760, 520)
PANEL_BRIGHTEST, PANEL_DARKEST, PANEL_EDGE = 1.04, 0.96, 0.95
DIAL_SHADE, DIAL_SHADE_SOFTNESS = 0.34, 9.0  # the wide part of their shadows; the dial brings the narrow one
GRAIN = 2.6  # of 255, height of the enamel's texture

# --- Geometry ------------------------------------------------------------------------------------------

WIDTH, HEIGHT = 1200, 620
BAND_TOP = 570

KNOB_SWEEP = 2.626371  # radians either side of the top
SMALL_DIALS = ((100, 214), (260, 214), (940, 214), (1100, 214))
SMALL_DIAL_RADIUS = 60  # of the disc; the image reaches a sixth further
BIG_DIAL, BIG_DIAL_RADIUS = (600, 240), 120

# Ticks: number, number between two long ones, inner radius, length of short and long ones, their widths
SMALL_TICKS = (11, 5, 66.5, 5.5, 8, 2.0, 3.2)
BIG_TICKS = (21, 5, 132, 8, 12, 2.2, 3.8)

TRACK_CENTRE = (600, 248)
TRACK_INNER, TRACK_OUTER = 196, 239
TRACK_TOP = WIDTH / 21
TRACK_INNER_ANGLE, TRACK_OUTER_ANGLE, TRACK_CAP_ANGLE = 1.927, 1.98, 1.9265

FIELD_TOP, FIELD_HALF_WIDTH, FIELD_CORNER = 14, 200, 5  # its sides point to the centre of the track

BUTTONS = ((851, 7, 54, 60), (917, 7, 54, 60))  # previous, next
BUTTON_SEAT = 2.2  # round the faces
ARROW_TOP, ARROW_HEIGHT, ARROW_WIDTH = 7, 12.5, 22

SPIN_LAMP, SWITCHES = (940, 331), ((1100, 370), (1165, 529))
LAMP_RADIUS, LAMP_SEAT = 9, 2.5
BEZEL = (3, 2.6)  # of the lamps that switch: from the lamp's edge, width
TIE_TOP, TIE_HALF_WIDTH, TIE_LINE = 315, 30, 2  # from the caption of Spin to its lamp

NAME, NAME_CAPS_TOP, NAME_CAPS, NAME_SPACING = "VARNEL REVERB", 499.5, 16, 0.42
EFFECT_RIGHT = 1138
IN_AT, OUT_AT = (396, 352), (804, 352)
CAPS = 18
END_CAPS, END_ANGLE, SMALL_END_RADIUS, BIG_END_RADIUS = 12.5, 2.40, 86, 163  # numbers at the ends of the ticks
ENDS = ("\u221212", "+12"), ("\u221212", "+12"), ("0", "100"), ("0", "100")  # of the small dials
LETTER_FONT = "/usr/share/fonts/opentype/league-spartan/LeagueSpartan-Bold.otf"

# An impulse and its tail, as the mark and on either side of the name: step, width, number, height, decay
MARK_AT, MARK_TAIL = (1090, 595), (6, 2, 10, 26, 0.76)
NAME_TAIL_GAP, NAME_TAIL = 24, (8, 2, 17, 16, 0.83)

FACE_WIDTH, FACE_HEIGHT = 34, 26
FACE_UP_BOX = (3, 5, 28, 20)
FACE_DOWN_BOX = (4, 6, 26, 19)

DIAL = 280
DIAL_RADIUS = 120
OVERSAMPLE = 4


# --- Tools ---------------------------------------------------------------------------------------------

def cover(width, height, draw):
    """How much of each pixel a drawing covers, 0 to 1."""
    surface = cairo.ImageSurface(cairo.FORMAT_A8, width * OVERSAMPLE, height * OVERSAMPLE)
    context = cairo.Context(surface)
    context.scale(OVERSAMPLE, OVERSAMPLE)
    draw(context)
    surface.flush()
    rows = np.frombuffer(surface.get_data(), np.uint8).reshape(height * OVERSAMPLE, surface.get_stride())
    return shrink(rows[:, :width * OVERSAMPLE].astype(np.float32) / 255)


def shrink(array):
    height, width = array.shape[0] // OVERSAMPLE, array.shape[1] // OVERSAMPLE
    return array.reshape(height, OVERSAMPLE, width, OVERSAMPLE, *array.shape[2:]).mean(axis=(1, 3))


def blur(array, sigma):
    reach = max(1, math.ceil(3 * sigma))
    weights = np.exp(-0.5 * (np.arange(-reach, reach + 1) / sigma) ** 2)
    weights /= weights.sum()

    for axis in (0, 1):
        padding = [(0, 0), (0, 0)]
        padding[axis] = (reach, reach)
        padded = np.pad(array, padding, mode="edge")
        length = array.shape[axis]
        array = sum(weight * np.take(padded, range(i, i + length), axis) for i, weight in enumerate(weights))

    return array


def smooth(low, high, value):
    t = np.clip((value - low) / (high - low), 0, 1)
    return t * t * (3 - 2 * t)


def facing_light(height):
    """Slope of a height map towards the light."""
    down, right = np.gradient(height)
    return -(right * LIGHT[0] + down * LIGHT[1])


def paint(canvas, mask, colour, opacity=1.0):
    share = (mask * opacity)[..., None]
    canvas *= 1 - share
    canvas += share * np.asarray(colour, np.float32)


def save(path, rgb, alpha=None):
    height, width = rgb.shape[:2]
    pixels = np.full((height, width, 4), 255, np.uint8)
    pixels[..., :3] = np.clip(np.rint(rgb), 0, 255)
    if alpha is not None:
        pixels[..., 3] = np.clip(np.rint(alpha * 255), 0, 255)
        pixels[pixels[..., 3] == 0] = 0
    Image.fromarray(pixels, "RGBA").save(path, optimize=True)


# --- Shapes --------------------------------------------------------------------------------------------

def on_circle(centre, radius, angle):
    """Angles run clockwise from the top."""
    return centre[0] + radius * math.sin(angle), centre[1] - radius * math.cos(angle)


def quadratic_to(context, control, end):
    start = context.get_current_point()
    context.curve_to(*(s + (c - s) * 2 / 3 for s, c in zip(start, control)),
                     *(e + (c - e) * 2 / 3 for e, c in zip(end, control)), *end)


def track(context):
    top = math.pi / 2
    context.rectangle(0, TRACK_TOP, WIDTH, HEIGHT)
    context.clip()
    context.arc_negative(*TRACK_CENTRE, TRACK_INNER, TRACK_INNER_ANGLE - top, -TRACK_INNER_ANGLE - top)
    middle = (TRACK_INNER + TRACK_OUTER) / 2
    quadratic_to(context, on_circle(TRACK_CENTRE, middle, -TRACK_CAP_ANGLE), on_circle(TRACK_CENTRE, TRACK_OUTER, -TRACK_OUTER_ANGLE))
    context.arc(*TRACK_CENTRE, TRACK_OUTER, -TRACK_OUTER_ANGLE - top, TRACK_OUTER_ANGLE - top)
    quadratic_to(context, on_circle(TRACK_CENTRE, middle, TRACK_CAP_ANGLE), on_circle(TRACK_CENTRE, TRACK_INNER, TRACK_INNER_ANGLE))
    context.close_path()
    context.fill()


def field(context):
    """The keystone behind the selector, standing on the track."""
    x, y = TRACK_CENTRE
    angle = math.atan2(FIELD_HALF_WIDTH, y - FIELD_TOP)
    inset = FIELD_CORNER * math.tan((math.pi / 2 + angle) / 2)
    left, right = x - FIELD_HALF_WIDTH, x + FIELD_HALF_WIDTH
    top = math.pi / 2

    context.move_to(left + inset, FIELD_TOP)
    context.line_to(right - inset, FIELD_TOP)
    context.arc(right - inset, FIELD_TOP + FIELD_CORNER, FIELD_CORNER, -top, angle)
    context.line_to(*on_circle(TRACK_CENTRE, TRACK_OUTER - 2, angle))
    context.arc_negative(x, y, TRACK_INNER, angle - top, -angle - top)
    context.line_to(*on_circle(TRACK_CENTRE, TRACK_OUTER - 2, -angle))
    context.arc(left + inset, FIELD_TOP + FIELD_CORNER, FIELD_CORNER, math.pi - angle, 3 * top)
    context.close_path()
    context.fill()


def tail(context, x, middle, direction, first, step, width, count, height, decay):
    """Upright strokes, the first one long and the rest dying away."""
    context.set_line_width(width)
    for i in range(count):
        half = height * decay ** i / 2
        context.move_to(x + direction * (first + i * step), middle - half)
        context.line_to(x + direction * (first + i * step), middle + half)
        context.stroke()


def dial_discs(context, right, down):
    """The discs of all dials, moved by shares of their radius."""
    for (x, y), radius in [(at, SMALL_DIAL_RADIUS) for at in SMALL_DIALS] + [(BIG_DIAL, BIG_DIAL_RADIUS)]:
        context.new_sub_path()
        context.arc(x + right * radius, y + down * radius, radius, 0, 2 * math.pi)
    context.fill()


def rounded(context, x, y, width, height, radius):
    left, right, top, bottom = x + radius, x + width - radius, y + radius, y + height - radius
    context.new_sub_path()
    for i, at in enumerate(((right, bottom), (left, bottom), (left, top), (right, top))):
        context.arc(*at, radius, i * math.pi / 2, (i + 1) * math.pi / 2)
    context.close_path()
    context.fill()


def bezel(context, centre):
    gap, width = BEZEL
    context.set_line_width(width)
    context.arc(*centre, LAMP_RADIUS + gap + width / 2, 0, 2 * math.pi)
    context.stroke()


def tie(context):
    x, y = SPIN_LAMP
    context.set_line_width(TIE_LINE)
    context.move_to(x - TIE_HALF_WIDTH, TIE_TOP)
    context.line_to(x + TIE_HALF_WIDTH, TIE_TOP)
    context.move_to(x, TIE_TOP)
    context.line_to(x, y - LAMP_RADIUS - LAMP_SEAT)
    context.stroke()


def ticks(context, centre, number, stride, inner, short, long, thin, thick):
    for i in range(number):
        angle = KNOB_SWEEP * (2 * i / (number - 1) - 1)
        is_long = i % stride == 0
        context.set_line_width(thick if is_long else thin)
        context.move_to(*on_circle(centre, inner, angle))
        context.line_to(*on_circle(centre, inner + (long if is_long else short), angle))
        context.stroke()


def arrow(context, button, direction):
    x, width = button[0], button[2]
    middle, half = x + width / 2, ARROW_WIDTH / 2
    context.move_to(middle + direction * half, ARROW_TOP + ARROW_HEIGHT / 2)
    context.line_to(middle - direction * half, ARROW_TOP)
    context.line_to(middle - direction * half, ARROW_TOP + ARROW_HEIGHT)
    context.close_path()
    context.fill()


class Lettering:
    """Text as outlines, so that no font system has a say in where a letter stands."""

    def __init__(self, path):
        self.font = TTFont(path)
        self.glyphs = self.font.getGlyphSet()
        self.names = self.font.getBestCmap()
        self.caps = self.font["OS/2"].sCapHeight

    def advance(self, text, caps, spacing):
        widths = sum(self.font["hmtx"][self.names[ord(c)]][0] for c in text)
        return caps * (widths / self.caps + spacing * (len(text) - 1))

    def draw(self, context, text, x, top, caps, spacing=0.22, align=0.5):
        x -= align * self.advance(text, caps, spacing)
        scale = caps / self.caps

        for character in text:
            name = self.names[ord(character)]
            pen = DecomposingRecordingPen(self.glyphs)
            self.glyphs[name].draw(pen)
            context.save()
            context.translate(x, top + caps)
            context.scale(scale, -scale)
            for operation, points in pen.value:
                flat = [coordinate for point in points for coordinate in point]
                {"moveTo": context.move_to, "lineTo": context.line_to, "curveTo": context.curve_to,
                 "closePath": context.close_path, "endPath": context.close_path}[operation](*flat)
            context.restore()
            x += self.font["hmtx"][name][0] * scale + spacing * caps

        context.fill()


# --- Pictures ------------------------------------------------------------------------------------------

def enamel(rows, columns, random):
    """Fine and coarse bumps of a baked finish, as brightness."""
    fine = blur(random.standard_normal((rows, columns)), 0.9)
    coarse = blur(random.standard_normal((rows, columns)), 2.2)
    shade = facing_light(fine / fine.std() + 0.8 * coarse / coarse.std())
    return shade / shade.std()


def background():
    random = np.random.RandomState(1969)
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH].astype(np.float32) + 0.5

    def mask(draw, *arguments):
        return cover(WIDTH, HEIGHT, lambda context: draw(context, *arguments))

    # The panel: a broad pool of light, edges that roll off, and the finish of the paint.
    distance = np.hypot((x - PANEL_GLOW_AT[0]) / PANEL_GLOW_REACH[0], (y - PANEL_GLOW_AT[1]) / PANEL_GLOW_REACH[1])
    light = PANEL_BRIGHTEST + (PANEL_DARKEST - PANEL_BRIGHTEST) * smooth(0, 1.15, distance)
    edge = np.minimum(np.minimum(x, WIDTH - x), np.minimum(y, BAND_TOP - y))
    light *= PANEL_EDGE + (1 - PANEL_EDGE) * smooth(0, 46, edge)
    canvas = light[..., None] * np.asarray(PANEL, np.float32)

    # Recesses: the track with the selector's field, and the seats of the lamps.
    def lamps(context):
        for centre in (SPIN_LAMP, *SWITCHES):
            context.new_sub_path()
            context.arc(*centre, LAMP_RADIUS + LAMP_SEAT, 0, 2 * math.pi)
        context.fill()

    def button_seats(context):
        for left, top, width, height in BUTTONS:
            zoom = width / FACE_WIDTH  # the editor fits the faces to the width
            box_left, box_top, box_width, box_height = (length * zoom for length in FACE_UP_BOX)
            rounded(context, left + box_left - BUTTON_SEAT, top + (height - FACE_HEIGHT * zoom) / 2 + box_top - BUTTON_SEAT,
                    box_width + 2 * BUTTON_SEAT, box_height + 2 * BUTTON_SEAT, 5)

    slot = np.maximum(mask(track), mask(field))
    seats = np.maximum(mask(lamps), mask(button_seats))
    texture = enamel(HEIGHT, WIDTH, random) * GRAIN

    for hole, softness, strength in ((slot, 1.5, 130), (seats, 1.2, 120)):
        slope = facing_light(-blur(hole, softness))
        canvas += (slope * strength)[..., None] * np.asarray((1.0, 0.55, 0.5), np.float32)

    fallen = mask(dial_discs, 0.10, 0.18)
    canvas *= (1 - DIAL_SHADE * blur(fallen, DIAL_SHADE_SOFTNESS))[..., None]

    canvas += texture[..., None] * np.asarray((1.0, 0.45, 0.45), np.float32)
    paint(canvas, slot, TRACK)
    paint(canvas, seats, (40, 9, 11))

    # The field lies deeper than the panel: its upper edge throws a shadow into it.
    shadow = slot * np.clip(blur(1 - slot, 4), 0, 1) * smooth(70, 40, y)
    paint(canvas, shadow, (8, 4, 6), 0.9)

    # What can be switched has a bezel, what only shines is tied to its caption.
    for centre in SWITCHES:
        angle = np.arctan2(y - centre[1], x - centre[0]) - math.atan2(LIGHT[1], LIGHT[0])
        metal = (176 + 62 * np.cos(angle))[..., None] * np.asarray(METAL_TINT, np.float32)
        ring = mask(bezel, centre)[..., None]
        canvas += ring * (metal - canvas)

    paint(canvas, mask(tie), INK)

    # Print.
    for centre in SMALL_DIALS:
        paint(canvas, mask(ticks, centre, *SMALL_TICKS), INK)
    paint(canvas, mask(ticks, BIG_DIAL, *BIG_TICKS), INK)

    for button, direction in zip(BUTTONS, (-1, 1)):
        paint(canvas, mask(arrow, button, direction), PRINT)

    letters = Lettering(LETTER_FONT)
    paint(canvas, mask(letters.draw, NAME, WIDTH / 2, NAME_CAPS_TOP, NAME_CAPS, NAME_SPACING), INK)
    for direction in (-1, 1):
        reach = round(letters.advance(NAME, NAME_CAPS, NAME_SPACING) / 2 + NAME_TAIL_GAP)  # whole pixels: even strokes
        paint(canvas, mask(tail, WIDTH / 2, NAME_CAPS_TOP + NAME_CAPS / 2, direction, reach, *NAME_TAIL), INK)
    paint(canvas, mask(letters.draw, "EFFECT", EFFECT_RIGHT, SWITCHES[1][1] - CAPS / 2, CAPS, 0.22, 1.0), PRINT)
    paint(canvas, mask(letters.draw, "IN", *IN_AT, CAPS), PRINT)
    paint(canvas, mask(letters.draw, "OUT", *OUT_AT, CAPS), PRINT)

    for centre, radius, texts in (*zip(SMALL_DIALS, [SMALL_END_RADIUS] * 4, ENDS), (BIG_DIAL, BIG_END_RADIUS, ("0", "100"))):
        for side, text in zip((-1, 1), texts):
            at = on_circle(centre, radius, side * (END_ANGLE if radius == SMALL_END_RADIUS else KNOB_SWEEP))
            paint(canvas, mask(letters.draw, text, at[0], at[1] - END_CAPS / 2, END_CAPS, 0.06), PRINT)

    # The band, with the panel's edge above it.
    canvas[BAND_TOP:] = BAND
    canvas[BAND_TOP - 2:BAND_TOP] *= 0.55
    canvas[BAND_TOP:] *= (0.72 + 0.28 * smooth(0, 9, y[BAND_TOP:] - BAND_TOP))[..., None]
    canvas[BAND_TOP:] += 0.18 * texture[BAND_TOP:, :, None]

    paint(canvas, mask(tail, *MARK_AT, 1, 0, *MARK_TAIL), MARK, 0.92)
    return canvas


def button_face(box, colour, line, depth):
    left, top, width, height = box

    def face(context):
        rounded(context, left, top, width, height, 2.2)

    def edge(context):
        context.set_line_width(1)
        context.move_to(left + 0.5, top + height - 1.5)
        context.line_to(left + 0.5, top + 1.6)
        context.curve_to(left + 0.5, top + 0.9, left + 0.9, top + 0.5, left + 1.6, top + 0.5)
        context.line_to(left + width - 1.5, top + 0.5)
        context.stroke()

    shape = cover(FACE_WIDTH, FACE_HEIGHT, face)
    # A face that stands out throws a shadow; a pressed one only has its dark edge.
    shadow = cover(FACE_WIDTH, FACE_HEIGHT, lambda c: rounded(c, left + depth * 0.5, top + depth * 0.7, width, height, 2.5))
    shadow = 0.75 * blur(shadow, 0.6 + depth * 0.3)
    canvas = np.zeros((FACE_HEIGHT, FACE_WIDTH, 3), np.float32)
    alpha = shape + (1 - shape) * shadow
    paint(canvas, shape / np.maximum(alpha, 1e-6), colour)
    paint(canvas, cover(FACE_WIDTH, FACE_HEIGHT, edge), line)
    return canvas, alpha


def dial():
    size = DIAL * OVERSAMPLE
    y, x = (np.mgrid[0:size, 0:size].astype(np.float32) + 0.5) / OVERSAMPLE - DIAL / 2
    radius = np.hypot(x, y)
    towards_light = (x * LIGHT[0] + y * LIGHT[1]) / np.maximum(radius, 1e-3)
    across_light = (x * -LIGHT[1] + y * LIGHT[0]) / np.maximum(radius, 1e-3)

    # A turned face shines in sectors that point to the light and away from it.
    shine = np.where(towards_light > 0, 1.0, 0.72) * np.abs(towards_light) ** 7 + 0.30 * np.abs(across_light) ** 10
    random = np.random.RandomState(42)
    grooves = np.convolve(random.standard_normal(700), np.exp(-0.5 * (np.arange(-9, 10) / 3.0) ** 2), "same")
    grooves /= grooves.std()
    turned = np.interp(radius * 4, np.arange(700), grooves)

    face = 50 + 78 * shine + turned * (1.2 + 3.0 * shine)
    cap = 58 + 84 * shine + turned * (1.2 + 3.0 * shine)
    value = face + (cap - face) * smooth(62.8, 61.2, radius)

    # Edge of the raised cap, groove inside the rim, the rim's bevel, and its dark outer edge.
    value += 46 * towards_light * smooth(59, 61.5, radius) * smooth(64, 62.5, radius)
    value *= 1 - 0.45 * smooth(62, 64, radius) * smooth(68, 64, radius)
    value *= 1 - 0.6 * smooth(104, 107, radius) * smooth(110.5, 108.5, radius)
    bevel = 118 + 92 * towards_light + 40 * np.abs(towards_light) ** 8
    value += (bevel - value) * smooth(108.5, 110, radius)
    value *= 1 - 0.62 * smooth(116, 120.5, radius)

    shape = smooth(DIAL_RADIUS + 1.2, DIAL_RADIUS - 1.2, radius)
    value, shape = shrink(value), shrink(shape)

    middle = DIAL / 2
    def disc(context, dx, dy, r):
        context.arc(middle + dx, middle + dy, r, 0, 2 * math.pi)
        context.fill()

    cast = blur(cover(DIAL, DIAL, lambda c: disc(c, 5.5, 8, DIAL_RADIUS - 1)), 4.2)
    contact = blur(cover(DIAL, DIAL, lambda c: disc(c, 0.6, 1, DIAL_RADIUS + 0.5)), 1.8)
    shadow = 1 - (1 - 0.62 * cast) * (1 - 0.6 * contact)
    py, px = np.mgrid[0:DIAL, 0:DIAL] + 0.5
    shadow *= smooth(0, 4, np.minimum(np.minimum(px, DIAL - px), np.minimum(py, DIAL - py)))

    alpha = shape + (1 - shape) * shadow
    rgb = value[..., None] * np.asarray(METAL_TINT, np.float32) * (shape / np.maximum(alpha, 1e-6))[..., None]
    return rgb, alpha


def main():
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else __file__).resolve()
    folder = folder if folder.is_dir() else folder.parent
    save(folder / "background.png", background())
    save(folder / "dial.png", *dial())
    save(folder / "buttonFaceUp.png", *button_face(FACE_UP_BOX, FACE_UP, FACE_UP_LINE, 1.6))
    save(folder / "buttonFaceDown.png", *button_face(FACE_DOWN_BOX, FACE_DOWN, FACE_DOWN_LINE, 0.4))


if __name__ == "__main__":
    main()
