#!/usr/bin/env python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Measures how well the small lettering of background.png stands out, and how far the panel darkens to its edges.

    /usr/bin/python3 assets/contrast.py [BACKGROUND]

Ratios are those of the Web Content Accessibility Guidelines 2.1: of the letters' lightest quarter to the median of
the panel round them. The exit status is 1 if any is below 4.5. Needs Debian's python3-numpy and python3-pil.
"""

import pathlib
import sys

import numpy as np
from PIL import Image

LIMIT = 4.5

# Left, top, right, bottom of boxes that hold one text and panel, no more
TEXTS = {
    "IN": (376, 350, 416, 373), "OUT": (772, 350, 836, 373), "EFFECT": (1028, 518, 1142, 541),
    "Lo -12": (26, 270, 58, 285), "Lo +12": (142, 270, 175, 285), "Hi -12": (186, 270, 218, 285), "Hi +12": (302, 270, 335, 285),
    "Size 0": (511, 374, 528, 391), "Size 100": (663, 374, 698, 391), "Spin 0": (874, 270, 890, 285), "Spin 100": (980, 270, 1016, 285),
    "Position 0": (1034, 270, 1050, 285), "Position 100": (1141, 270, 1176, 285),
}


def luminance(rgb):
    share = np.asarray(rgb, float) / 255
    linear = np.where(share <= 0.03928, share / 12.92, ((share + 0.055) / 1.055) ** 2.4)
    return linear @ (0.2126, 0.7152, 0.0722)


def main():
    path = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).with_name("background.png")
    picture = np.asarray(Image.open(path).convert("RGB"))
    failed = False

    for text, (left, top, right, bottom) in TEXTS.items():
        box = luminance(picture[top:bottom, left:right]).ravel()
        panel = np.median(luminance(picture[top - 8:top - 1, left:right]))
        letters = box[np.abs(box - panel) > 0.5 * np.abs(box - panel).max()]
        # Light letters are lighter than the panel, ink is darker; either way, the quarter that stands out most.
        letter = np.quantile(letters, 0.75 if letters.mean() > panel else 0.25)
        ratio = (max(letter, panel) + 0.05) / (min(letter, panel) + 0.05)
        failed |= bool(ratio < LIMIT)
        print(f"{text:>13} {ratio:5.1f} : 1{'' if ratio >= LIMIT else '  below %.1f' % LIMIT}")

    red = picture[:565, :, 0].astype(float)
    brightest = np.median(red[420:480, 440:760])
    edges = {"left": red[150:450, 2:10], "right": red[150:450, -10:-2], "bottom": red[552:562, 200:1000]}
    for edge, strip in edges.items():
        print(f"{edge:>13} edge {100 * (1 - np.median(strip) / brightest):.0f} % darker than the middle")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
