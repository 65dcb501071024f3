#!/usr/bin/env python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Makes the caption face of the window out of an openly licensed font.

    make_caption_face.py SOURCE.otf OUTPUT.otf

The output is an OpenType font with CFF outlines, 1000 units per em, under the names that the window asks
for. The line is exactly one em high, so a caption of height 34 is 34 units from ascent to descent, and the
glyphs are scaled to a given height of the capitals. The same source always gives the same bytes.
"""

import argparse
import os
import sys

from fontTools.fontBuilder import FontBuilder
from fontTools.pens.boundsPen import BoundsPen
from fontTools.pens.t2CharStringPen import T2CharStringPen
from fontTools.ttLib import TTFont, TTLibError
from fontTools.ttLib.scaleUpem import scale_upem

FAMILY = "Avenir"
STYLE = "Heavy"
WEIGHT = 800  # of 1000, "heavy" in OS/2 terms

UNITS_PER_EM = 1000
CAP_HEIGHT = 640  # any larger, and POSITION would have to be squeezed below its knob
ASCENT = 756
DESCENT = -244  # with the ascent, one em

DATE = 3786912000  # 2024-01-01 in seconds since 1904, so that two runs agree

KEPT_TABLES = {"GlyphOrder", "head", "hhea", "maxp", "OS/2", "name", "cmap", "post", "CFF ", "glyf", "loca", "hmtx",
               "GDEF", "GPOS", "GSUB"}

# Who made the design and under what terms must stay readable in the derived font.
NAME_COPYRIGHT, NAME_DESCRIPTION = 0, 10
KEPT_NAMES = {NAME_COPYRIGHT, 8, 9, 11, 12, 13, 14}

# For fonts whose own copyright record names nobody.
COPYRIGHTS = {
    "League Spartan": "Copyright 2011-2020 Micah Rich, 2011-2018 Caroline Hadilaksono, 2011-2020 Tyler Finck. "
                      "SIL Open Font License, Version 1.1.",
}


def draw_as_cff(font):
    """Replaces quadratic outlines by CFF ones."""
    order, glyphs, metrics = font.getGlyphOrder(), font.getGlyphSet(), font["hmtx"]
    strings = {}

    for name in order:
        pen = T2CharStringPen(metrics[name][0], glyphs)
        glyphs[name].draw(pen)
        strings[name] = pen.getCharString()

    builder = FontBuilder(font=font)
    builder.isTTF = False
    builder.setupCFF(FAMILY, {}, strings, {})

    for tag in ("glyf", "loca"):
        del font[tag]

    font["maxp"].tableVersion = 0x00005000
    font.sfntVersion = "OTTO"


def bounds(font, character):
    glyphs = font.getGlyphSet()
    pen = BoundsPen(glyphs)
    glyphs[font.getBestCmap()[ord(character)]].draw(pen)
    return pen.bounds


def scale(font):
    cap_share = bounds(font, "H")[3] / font["head"].unitsPerEm

    # Scaled to another em and then said to be 1000 units all the same: the glyphs change against the em.
    scale_upem(font, round(CAP_HEIGHT / cap_share))
    font["head"].unitsPerEm = UNITS_PER_EM


def set_metrics(font):
    hhea, os2, head, post = font["hhea"], font["OS/2"], font["head"], font["post"]

    # Every reader of metrics has its own favourite of these three pairs.
    hhea.ascent, hhea.descent, hhea.lineGap = ASCENT, DESCENT, 0
    os2.sTypoAscender, os2.sTypoDescender, os2.sTypoLineGap = ASCENT, DESCENT, 0
    os2.usWinAscent, os2.usWinDescent = ASCENT, -DESCENT

    if os2.version < 4:
        os2.sxHeight, os2.sCapHeight = round(bounds(font, "x")[3]), round(bounds(font, "H")[3])
        os2.usDefaultChar, os2.usBreakChar, os2.usMaxContext = 0, 32, 0
        os2.version = 4

    os2.usWeightClass = WEIGHT
    os2.fsSelection = 0x40 | 0x80  # one regular face of its own, with the typographic line height
    os2.achVendID = "NONE"
    head.macStyle = 0
    head.created = head.modified = DATE
    post.formatType = 3.0  # CFF has the glyph names


def set_names(font):
    table = font["name"]
    source_family = table.getDebugName(16) or table.getDebugName(1)
    source_name = table.getDebugName(4) or source_family
    version = (table.getDebugName(5) or "Version 1").split(";")[0]
    copyright_text = table.getDebugName(NAME_COPYRIGHT) or ""

    table.names = [record for record in table.names
                   if record.nameID in KEPT_NAMES and record.platformID == 3 and record.langID == 0x409]

    if not any(character.isdigit() for character in copyright_text):
        copyright_text = COPYRIGHTS.get(source_family, copyright_text)

    full_name, postscript_name = f"{FAMILY} {STYLE}", f"{FAMILY}-{STYLE}"
    names = {
        NAME_COPYRIGHT: copyright_text,
        1: FAMILY, 2: STYLE, 3: f"{postscript_name}; {source_name}, {version}", 4: full_name, 5: version,
        6: postscript_name, 16: FAMILY, 17: STYLE,
        NAME_DESCRIPTION: f"Derived from {source_name}: renamed, scaled, vertical metrics changed.",
    }

    for identifier, text in names.items():
        table.setName(text, identifier, 3, 1, 0x409)

    cff = font["CFF "].cff
    top = cff.topDictIndex[0]
    cff.fontNames = [postscript_name]
    top.FamilyName, top.FullName, top.Weight = FAMILY, full_name, STYLE
    top.FontMatrix = [1 / UNITS_PER_EM, 0, 0, 1 / UNITS_PER_EM, 0, 0]
    top.Notice = copyright_text.encode("ascii", "replace").decode()

    for outdated in ("Copyright", "version", "UniqueID", "XUID"):
        if outdated in top.rawDict:
            del top.rawDict[outdated]
        if hasattr(top, outdated):
            delattr(top, outdated)


def make(source, output):
    font = TTFont(source, recalcTimestamp=False)

    if "fvar" in font or "CFF2" in font:
        raise ValueError("is a variable font; a static one is needed")

    if "glyf" not in font and "CFF " not in font:
        raise ValueError("has no scalable outlines")

    for tag in [tag for tag in font.keys() if tag not in KEPT_TABLES]:
        del font[tag]

    scale(font)

    if "glyf" in font:
        draw_as_cff(font)

    set_metrics(font)
    set_names(font)

    # A broken run must not leave half a font that looks up to date.
    partial = output + ".part"
    font.save(partial)
    os.replace(partial, output)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("source", help="static OpenType or TrueType font")
    parser.add_argument("output", help="font to write")
    arguments = parser.parse_args()

    try:
        make(arguments.source, arguments.output)
    except (OSError, TTLibError, ValueError) as error:
        sys.exit(f"make_caption_face: {arguments.source}: {error}")


if __name__ == "__main__":
    main()
