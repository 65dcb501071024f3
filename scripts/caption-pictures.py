#!/usr/bin/python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Makes the manual's pictures of the recorded ones: numbers beside the window's parts, captions below panels.

scripts/screenshot.sh records them and calls this. Needs Debian's python3-pil and fonts-dejavu-core.
"""

import pathlib

from PIL import Image, ImageDraw, ImageFont

ROOT = pathlib.Path(__file__).resolve().parent.parent
IMAGES, RECORDED = ROOT / "docs/images", ROOT / "tests/editor/pictures"
GAP, CAPTION_HEIGHT = 8, 40  # pixels
BACKGROUND = "#2a2a2a"

# Where the numbers of the manual's table stand, in a window of 1200 by 620
PARTS = [(467, 34), (990, 40), (600, 424), (56, 304), (214, 304), (352, 362), (860, 362), (878, 299), (968, 331),
         (1180, 180), (1132, 370), (1010, 529), (484, 592), (1168, 605), (140, 440)]

# What is recorded side by side: the panels' widths and captions
PANELS = {
    "knob": [(180, "at rest: the name"), (180, "mouse over it: the value"), (180, "caption clicked: type"), (180, "turned by a key")],
    "learn": [(372, "no controller yet"), (372, "waiting for a controller"), (372, "bound to controller 74")],
    "sizes": [(300, "right-click on the bare panel"), (550, "a tooltip, when the mouse rests on a dial")],
}
NAMES = {"knob": "manual-knob.png", "learn": "manual-midi-learn.png", "sizes": "manual-size-menu.png"}


def number_parts(window):
    draw = ImageDraw.Draw(window)
    font = ImageFont.truetype("DejaVuSans-Bold.ttf", 15)
    for number, (x, y) in enumerate(PARTS, 1):
        draw.ellipse((x - 14, y - 14, x + 14, y + 14), fill="#fff3a8", outline="black")
        draw.text((x, y), str(number), fill="black", font=font, anchor="mm")
    return window


def caption(sheet, panels):
    width = sum(width for width, _ in panels) + GAP * (len(panels) - 1)
    result = Image.new("RGB", (width, sheet.height + CAPTION_HEIGHT), BACKGROUND)
    draw = ImageDraw.Draw(result)
    font = ImageFont.truetype("DejaVuSans.ttf", 13)
    source = target = 0
    for width, text in panels:
        result.paste(sheet.crop((source, 0, source + width, sheet.height)), (target, 0))
        draw.text((target + width / 2, sheet.height + CAPTION_HEIGHT / 2), text, fill="white", font=font, anchor="mm")
        source, target = source + width, target + width + GAP
    return result


number_parts(Image.open(IMAGES / "window-1200.png").convert("RGB")).save(IMAGES / "manual-window.png")
for name, panels in PANELS.items():
    caption(Image.open(RECORDED / f"{name}.png").convert("RGB"), panels).save(IMAGES / NAMES[name])
