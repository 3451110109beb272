"""Plates lettered with fonts, as any sign is: digits and kana of no plate's dies.

A reader that knows the dies alone takes every unusual die for another character; and
plates are lettered anew now and then.

Debian packages: those of kanji.py and PACKAGES.
"""
import functools
from dataclasses import dataclass

import cv2
import numpy as np
from PIL import Image, ImageDraw, ImageFont

import kanji
import plates
from lettering import BOXES, FINE, PAD

# Name: (path, index in a collection, Debian package).
FONTS = {
    **kanji.FONTS,
    "osifont": (kanji.TRUETYPE + "osifont/osifont.ttf", 0, "fonts-osifont"),
    "dejavu": (kanji.TRUETYPE + "dejavu/DejaVuSans-ExtraLight.ttf", 0, "fonts-dejavu-extra"),
    "quicksand": (kanji.TRUETYPE + "quicksand/Quicksand-Light.ttf", 0, "fonts-quicksand"),
}
PACKAGES = ("fonts-dejavu-extra", "fonts-osifont", "fonts-quicksand")
# The pen drawn over a font's line, so that the serial comes to about 12 mm and the class
# number to about half of it: (serial, class), mm.
DIGIT_PENS = {"mplus": (11.0, 5.0), "osifont": (5.5, 1.6), "dejavu": (8.5, 3.4),
              "quicksand": (8.5, 3.6), "maruberi": (5.5, 2.6), "cedar": (5.5, 2.6),
              "notosans": (5.5, 2.6)}
KANA_PENS = {"maruberi": 1.8, "cedar": 1.8, "vlgothic": 2.4, "ipagothic": 2.8, "migmix": 2.4,
             "notosans": 2.2}
DRAWN = 480      # px of the em


@functools.lru_cache(maxsize=None)
def load_font(name):
    path, index, _ = FONTS[name]
    return ImageFont.truetype(path, DRAWN, index=index)


@functools.lru_cache(maxsize=512)
def ink_of(name, char):
    """The character's ink alone, and its top against the baseline."""
    tile = Image.new("L", (2 * DRAWN, 2 * DRAWN))
    baseline = 3 * DRAWN // 2
    ImageDraw.Draw(tile).text((DRAWN // 2, baseline), char, font=load_font(name), fill=255,
                              anchor="ls")
    box = tile.getbbox()
    return np.array(tile.crop(box)), box[1] - baseline


@functools.lru_cache(maxsize=4096)
def glyph(name, char, filler, box, pen):
    """The character for a box of mm that `filler` fills, PAD around it, at FINE px per mm."""
    full, full_top = ink_of(name, filler)
    ink, top = ink_of(name, char)
    scale = (np.float64(box) - pen) * FINE / full.shape[::-1]
    size = np.maximum(1, np.round(ink.shape[::-1] * scale)).astype(int)
    small = cv2.resize(ink, tuple(size.tolist()), interpolation=cv2.INTER_AREA)
    tile = np.zeros([round((side + 2 * PAD) * FINE) for side in box[::-1]], np.uint8)
    left = max(0, (tile.shape[1] - size[0]) // 2)
    down = max(0, round((PAD + pen / 2) * FINE + (top - full_top) * scale[1]))
    area = tile[down:down + size[1], left:left + size[0]]
    # A hairline is greyer than white after the shrink, the pen needs it whole.
    area[:] = np.where(small[:area.shape[0], :area.shape[1]] > 40, 255, 0)
    return cv2.dilate(tile, cv2.getStructuringElement(cv2.MORPH_ELLIPSE,
                                                      (round(pen * FINE) | 1,) * 2))


@dataclass(frozen=True)
class FontStyle(plates.Style):
    digits: str = "mplus"

    @property
    def name(self):
        return f"{self.digits}+{self.font}"

    def tile(self, cell, hand, px_per_mm):
        if cell.use in ("serial", "class"):
            # 1 is narrower than its box and goes by the 0.
            return glyph(self.digits, cell.char, "0" if cell.char == "1" else cell.char,
                         BOXES[cell.use], DIGIT_PENS[self.digits][cell.use == "class"])
        if cell.use == "kana":
            return glyph(self.font, cell.char, "あ", BOXES["kana"], KANA_PENS[self.font])
        return super().tile(cell, hand, px_per_mm)


STYLES = tuple(FontStyle(None, letters, digits) for digits in DIGIT_PENS for letters in KANA_PENS)


def require_fonts():
    kanji.require_fonts(tuple(KANA_PENS))
    kanji.require_fonts(tuple(DIGIT_PENS), FONTS)
