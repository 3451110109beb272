"""Region names from fonts, squeezed into their cells and brought to a pressed stroke.

Debian packages: PACKAGES.
"""
import functools
import os
import sys
from pathlib import Path

import cv2
import numpy as np
from PIL import Image, ImageDraw, ImageFont

from pen import FINE, PAD, kept_tiles

TRUETYPE, OPENTYPE = "/usr/share/fonts/truetype/", "/usr/share/fonts/opentype/"
# Name: (path, index in a collection, Debian package).
FONTS = {
    "maruberi": (TRUETYPE + "motoya-l-maruberi/MTLmr3m.ttf", 0, "fonts-motoya-l-maruberi"),
    "cedar": (TRUETYPE + "motoya-l-cedar/MTLc3m.ttf", 0, "fonts-motoya-l-cedar"),
    "vlgothic": (TRUETYPE + "vlgothic/VL-Gothic-Regular.ttf", 0, "fonts-vlgothic"),
    "ipagothic": (OPENTYPE + "ipafont-gothic/ipag.ttf", 0, "fonts-ipafont-gothic"),
    "migmix": (TRUETYPE + "migmix/migmix-1p-regular.ttf", 0, "fonts-migmix"),
    "mplus": (OPENTYPE + "mplus/Mplus1-Thin.otf", 0, "fonts-mplus"),
    "notosans": (OPENTYPE + "noto/NotoSansCJK-Regular.ttc", 0, "fonts-noto-cjk"),
    "ume": (TRUETYPE + "horai-umefont/ume-tgo5.ttf", 0, "fonts-horai-umefont"),
    "wqy": (TRUETYPE + "wqy/wqy-microhei.ttc", 0, "fonts-wqy-microhei"),
}
PACKAGES = tuple(sorted({package for _, _, package in FONTS.values()}))
DRAWN = 160      # px of the em that characters are drawn at
FULL = "東"      # fills its cell; others keep their size beside it


def require_fonts(names=tuple(FONTS), fonts=None):
    """Ends the program with one line when fonts are missing."""
    fonts = fonts or FONTS
    missing = sorted({fonts[name][2] for name in names if not os.path.exists(fonts[name][0])})
    if missing:
        sys.exit(f"{Path(sys.argv[0]).name}: fonts are missing, install {' '.join(missing)}")


@functools.lru_cache(maxsize=None)
def load_font(name):
    require_fonts((name,))
    path, index, _ = FONTS[name]
    return ImageFont.truetype(path, DRAWN, index=index)


@functools.lru_cache(maxsize=4096)
def in_em(name, char):
    """The character with an eighth of an em around it, and the box of its ink."""
    around = DRAWN // 8
    tile = Image.new("L", (DRAWN + 2 * around, DRAWN + 2 * around))
    ImageDraw.Draw(tile).text((around, DRAWN), char, font=load_font(name), fill=255, anchor="ls")
    return np.array(tile), tile.getbbox()


def squeezed(name, char, width, height):
    """The character for a cell of mm, PAD around it, in the font's own weight."""
    tile, _ = in_em(name, char)
    left, top, right, bottom = in_em(name, FULL)[1]
    scale_x, scale_y = width * FINE / (right - left), height * FINE / (bottom - top)
    move = np.float32([(scale_x, 0, PAD * FINE - left * scale_x),
                       (0, scale_y, PAD * FINE - top * scale_y)])
    size = (round((width + 2 * PAD) * FINE), round((height + 2 * PAD) * FINE))
    return cv2.warpAffine(tile, move, size, flags=cv2.INTER_LINEAR)


@functools.lru_cache(maxsize=4096)
def strokes(name, char, width, height):
    """The length of all strokes and how wide the font has them, mm."""
    ink = squeezed(name, char, width, height) > 127
    outlines, _ = cv2.findContours(np.uint8(ink), cv2.RETR_LIST, cv2.CHAIN_APPROX_NONE)
    length = sum(cv2.arcLength(outline, True) for outline in outlines) / FINE / 2
    return max(length, 1), np.count_nonzero(ink) / FINE ** 2 / max(length, 1)


def draw(name, char, width, height, pen):
    """The tile, PAD mm larger than its cell on every side, its strokes brought to
    `pen` mm, thinner where they stand dense."""
    length, own = strokes(name, char, width, height)
    change = min(pen, 0.62 * width * height / length) - own
    size = abs(round(change * FINE)) + 1
    kernel = cv2.getStructuringElement(cv2.MORPH_ELLIPSE, (size, size))
    tile = squeezed(name, char, width, height)
    tile = cv2.dilate(tile, kernel) if change > 0 else cv2.erode(tile, kernel)
    # The press rounds what the kernel leaves in steps.
    return cv2.threshold(cv2.GaussianBlur(tile, (0, 0), 1.3), 127, 255, cv2.THRESH_BINARY)[1]


glyph = kept_tiles(draw)
