"""Draws Japanese licence plates with known text.

Photographs of plates carry other people's numbers and cannot travel with the
sources.  Everything the networks of this repository learn from is drawn here:
the medium plate in its published proportions, lettered with fonts from Debian
packages.  Pictures are RGB, uint8, rows first.

Debian packages: python3-pil python3-numpy python3-opencv fonts-dejavu-core,
and FONT_PACKAGES.
"""
import functools
import json
import os
import sys
import zlib
from dataclasses import asdict, dataclass
from pathlib import Path

import cv2
import numpy as np
from PIL import Image, ImageDraw, ImageFont

from camera import degrade  # noqa: F401 - plates are drawn to be photographed

ROOT = Path(__file__).resolve().parents[1]
CACHE = Path(__file__).resolve().parent / "cache"
TRUETYPE, OPENTYPE = "/usr/share/fonts/truetype/", "/usr/share/fonts/opentype/"

# Fonts by the name the styles use: (path, Debian package).
FONTS = {
    "mplus": (OPENTYPE + "mplus/Mplus1-Thin.otf", "fonts-mplus"),
    "osifont": (TRUETYPE + "osifont/osifont.ttf", "fonts-osifont"),
    "dejavu": (TRUETYPE + "dejavu/DejaVuSans-ExtraLight.ttf", "fonts-dejavu-extra"),
    "quicksand": (TRUETYPE + "quicksand/Quicksand-Light.ttf", "fonts-quicksand"),
    "comfortaa": (TRUETYPE + "comfortaa/Comfortaa-Light.ttf", "fonts-comfortaa"),
    "maruberi": (TRUETYPE + "motoya-l-maruberi/MTLmr3m.ttf", "fonts-motoya-l-maruberi"),
    "cedar": (TRUETYPE + "motoya-l-cedar/MTLc3m.ttf", "fonts-motoya-l-cedar"),
    "vlgothic": (TRUETYPE + "vlgothic/VL-Gothic-Regular.ttf", "fonts-vlgothic"),
    "ipagothic": (OPENTYPE + "ipafont-gothic/ipag.ttf", "fonts-ipafont-gothic"),
    "ume": (TRUETYPE + "horai-umefont/ume-tgo5.ttf", "fonts-horai-umefont"),
    "notosans": (OPENTYPE + "noto/NotoSansCJK-Regular.ttc", "fonts-noto-cjk"),
    "bizud": (TRUETYPE + "bizud-gothic/BIZUDGothic-Regular.ttf",
              "fonts-morisawa-bizud-gothic"),
    "sawarabi": (TRUETYPE + "sawarabi-gothic/sawarabi-gothic-medium.ttf",
                 "fonts-sawarabi-gothic"),
}
FONT_PACKAGES = tuple(sorted({package for _, package in FONTS.values()}))

# Plate digits are one even pressed line with round ends: a thin digit drawn
# over with a wide pen.  Region and kana are round gothic, a bit heavier than
# the fonts have them.  The pen makes up for the font's own line, so that the
# serial comes to about 12 mm and the small digits to about half of it.
# font: (pen of the serial, pen of the class number), mm
DIGIT_PENS = {
    "mplus": (11.0, 5.0),
    "osifont": (5.5, 1.6),
    "dejavu": (8.5, 3.4),
    "quicksand": (8.5, 3.6),
    "comfortaa": (8.0, 3.2),
}
# font: (pen of the kana, pen of the region), mm
LETTER_PENS = {
    "maruberi": (1.8, 1.0),
    "cedar": (1.8, 1.0),
    "vlgothic": (2.4, 1.4),
    "ipagothic": (2.8, 1.6),
    "ume": (1.4, 0.7),
    "notosans": (2.2, 1.3),
    "bizud": (2.4, 1.4),
    "sawarabi": (2.4, 1.4),
}
# No training sees these; they tell reading plates from knowing the fonts.
HELD_OUT_DIGITS = ("comfortaa",)
HELD_OUT_LETTERS = ("bizud", "sawarabi")


@dataclass(frozen=True)
class Style:
    digits: str      # names of FONTS
    letters: str

    @property
    def name(self):
        return f"{self.digits}+{self.letters}"

    def font_and_pen(self, use):
        if use in ("serial", "class"):
            return self.digits, DIGIT_PENS[self.digits][use == "class"]
        return self.letters, LETTER_PENS[self.letters][use == "region"]


STYLES_TRAIN = tuple(Style(d, l) for d in DIGIT_PENS if d not in HELD_OUT_DIGITS
                     for l in LETTER_PENS if l not in HELD_OUT_LETTERS)
STYLES_HELD_OUT = tuple(Style(d, l) for d in HELD_OUT_DIGITS for l in HELD_OUT_LETTERS)
STYLE_PLAIN = Style("mplus", "maruberi")

# Medium plate in mm.  Down: 15, 40, 15, 80, 15.  Across the lower row: 20,
# kana 40, 15, digit 40, 15, digit 40, 12.5, hyphen 20, 12.5, digit 40, 15,
# digit 40, 20.
WIDTH, HEIGHT, CORNER = 330, 165, 10
RIM_INSET, RIM_WIDTH = 2, 4
UPPER_TOP, UPPER_HEIGHT = 15, 40
LOWER_TOP, LOWER_HEIGHT = 70, 80
KANA_CENTRE, KANA_SIZE = 40, 40
SERIAL_CENTRES = (95, 150, 235, 290)
SERIAL_WIDTH = 40
HYPHEN = (182.5, 104, 202.5, 116)
DOT_RADIUS = 6
REGION_LEFT, REGION_FIELD = 78, 85
REGION_CELLS = {1: (40, 0), 2: (40, 5), 3: (27, 2), 4: (20.5, 1)}   # width, gap
CLASS_CENTRES = (189, 216, 243)
CLASS_WIDTH = 22
BOLTS = ((60, 25), (270, 25))
BOLT_RADIUS, SEAL_RADIUS = 6.5, 11

PLATE_KANA = "あいうえおかきくけこさすせそたちつてとなにぬねのはひふほまみむめもやゆよらりるれろわ"
CLASS_LETTERS = "ACFHKLMPXY"
MIDDLE_DOT = "・"


@dataclass(frozen=True)
class Kind:
    ground: tuple             # RGB
    text: tuple               # RGB
    seal: bool                # on the left bolt; kei plates have none
    kana: str
    class_first: str          # first digits that vehicles of the kind have
    class_second: str         # kei numbers keep to the eighties
    frame: tuple = None       # coloured rim of pictorial plates
    pictures: bool = False


WHITE, GREEN = (222, 224, 219), (20, 86, 50)
YELLOW, BLACK = (240, 196, 24), (22, 22, 22)
ANY_DIGIT = "0123456789"
PRIVATE_KANA = "さすせそたちつてとなにぬねのはひふほまみむめもやゆよらりるれろわ"
BUSINESS_KANA = "あいうえおかきくけこ"
KINDS = {
    "private": Kind(WHITE, GREEN, True, PRIVATE_KANA, "1345789", ANY_DIGIT),
    "business": Kind(GREEN, WHITE, True, BUSINESS_KANA, "123589", ANY_DIGIT),
    "kei": Kind(YELLOW, BLACK, False, BUSINESS_KANA + PRIVATE_KANA, "4578", "89"),
    "kei_business": Kind((26, 26, 26), YELLOW, False, "りれ", "45", "89"),
    "pictorial": Kind(WHITE, GREEN, True, PRIVATE_KANA, "1345789", ANY_DIGIT,
                      None, True),
    "pictorial_kei": Kind(WHITE, GREEN, False, BUSINESS_KANA + PRIVATE_KANA, "4578",
                          "89", YELLOW, True),
}
KIND_SHARES = {"private": 0.36, "business": 0.14, "kei": 0.22, "kei_business": 0.08,
               "pictorial": 0.12, "pictorial_kei": 0.08}


def require_fonts(names=tuple(FONTS)):
    """Ends the program with one line when fonts are missing."""
    missing = sorted({FONTS[name][1] for name in names
                      if not os.path.exists(FONTS[name][0])})
    if missing:
        sys.exit(f"{Path(sys.argv[0]).name}: fonts are missing, install {' '.join(missing)}")


# Text

@dataclass(frozen=True)
class PlateText:
    kind: str        # of KINDS
    region: str
    class_no: str    # "330", rarely with letters: "30A"
    kana: str
    serial: str      # "12-34", below 1000 the digits alone: "503"

    def expected(self):
        """As kavrel reports the number: the dots of a short serial are no part of it."""
        return f"{self.region} {self.class_no} {self.kana} {self.serial}"

    def upper_row_text(self):
        return self.region + self.class_no

    def lower_row_text(self):
        return self.kana + self.serial.rjust(4, MIDDLE_DOT)


def load_regions():
    words = (ROOT / "dict/region_words.txt").read_text(encoding="utf-8").split()
    return tuple(words)


def format_serial(number):
    """1234 is printed with a hyphen, shorter numbers without."""
    digits = str(number)
    return f"{digits[:2]}-{digits[2:]}" if len(digits) == 4 else digits


def pick(rng, options):
    return options[int(rng.integers(len(options)))]


def random_class(rng, kind, letters, uniform):
    if uniform:
        digits = [pick(rng, ANY_DIGIT) for _ in range(3)]
    else:
        digits = [pick(rng, kind.class_first), pick(rng, kind.class_second),
                  pick(rng, ANY_DIGIT)]
    if rng.random() < letters:
        digits[2] = pick(rng, CLASS_LETTERS)
        if rng.random() < 0.3:
            digits[1] = pick(rng, CLASS_LETTERS)
    return "".join(digits)


def random_serial(rng, short):
    """`short`: chances of one, two and three digits."""
    one, two, three = np.cumsum(short)
    chance = rng.random()
    digits = 1 if chance < one else 2 if chance < two else 3 if chance < three else 4
    return format_serial(int(rng.integers(10 ** (digits - 1), 10 ** digits)))


def random_plate_text(rng, regions, kinds=None, letters=0.03, uniform=0.5,
                      short=(0.02, 0.03, 0.15)):
    """A plate that might drive about.

    With chance `uniform` kana and class number come from all there are, not
    from those of the kind: readers need every one of them often enough.
    """
    names = tuple(kinds or KIND_SHARES)
    shares = np.array([KIND_SHARES[name] for name in names])
    name = names[int(rng.choice(len(names), p=shares / shares.sum()))]
    kana = PLATE_KANA if rng.random() < uniform else KINDS[name].kana
    class_no = random_class(rng, KINDS[name], letters, rng.random() < uniform)
    return PlateText(name, pick(rng, regions), class_no, pick(rng, kana),
                     random_serial(rng, short))


# Glyphs

GLYPH_PX = 800
FINE = 4         # px per mm that glyphs are drawn at; smaller plates shrink them


@functools.lru_cache(maxsize=None)
def load_font(name):
    require_fonts((name,))
    return ImageFont.truetype(FONTS[name][0], GLYPH_PX)


@functools.lru_cache(maxsize=64)
def glyph_ink(font, char):
    """The character's ink alone, and its top against the baseline."""
    tile = Image.new("L", (2 * GLYPH_PX, 2 * GLYPH_PX))
    baseline = 3 * GLYPH_PX // 2
    ImageDraw.Draw(tile).text((GLYPH_PX // 2, baseline), char, font=load_font(font),
                              fill=255, anchor="ls")
    box = tile.getbbox()
    return tile.crop(box), box[1] - baseline


def pen_line(tile, scale_x, scale_y, border):
    """The tile at plate size, drawn over with a round pen as wide as `border`."""
    tile = tile.resize((max(1, round(tile.width * scale_x)),
                        max(1, round(tile.height * scale_y))), Image.BOX)
    # A hairline is greyer than white after the shrink, the pen needs it whole.
    line = np.where(np.pad(np.asarray(tile), border) > 40, 255, 0).astype(np.uint8)
    return cv2.dilate(line, cv2.getStructuringElement(
        cv2.MORPH_ELLIPSE, (border | 1, border | 1)))


@functools.lru_cache(maxsize=8192)
def glyph_tile(font, char, filler, size, pen):
    """The lettered character for a box of `size` mm at FINE px per mm, and the
    tile's first row against the box's top.

    A box is filled by `filler` (None: by the character), others keep its scale.
    """
    full, full_top = glyph_ink(font, filler or char)
    tile, tile_top = glyph_ink(font, char)
    scale_x = round((size[0] - pen) * FINE) / full.width
    scale_y = round((size[1] - pen) * FINE) / full.height
    border = round(pen * FINE)
    line = pen_line(tile, scale_x, scale_y, border)
    return line, round((tile_top - full_top) * scale_y) - border


# What fills a character's box.  1 is narrower than its box and goes by the 0.
FILLERS = {"kana": "あ", "region": "東"}


class Sheet:
    """The plate's lettering while it is drawn: 255 where there is paint.

    Without `rng` everything stands where the layout has it; with it a plate has
    its own pen, size and offsets of a millimetre or two.
    """

    def __init__(self, style, px_per_mm, rng=None):
        self.style, self.px_per_mm, self.rng = style, px_per_mm, rng
        self.ink = np.zeros((self.px(HEIGHT), self.px(WIDTH)), np.uint8)
        self.pen_factor = 1.0 if rng is None else pick(rng, (0.8, 0.9, 1.0, 1.1))
        self.size_factor = 1.0 if rng is None else rng.uniform(0.95, 1.03)
        self.row_shift = (0.0, 0.0)

    def px(self, mm):
        return round(mm * self.px_per_mm)

    def new_row(self):
        if self.rng is not None:
            self.row_shift = tuple(self.rng.uniform(-1.2, 1.2, 2))

    def _own_size_and_place(self):
        if self.rng is None:
            return 1.0, 1.0, 0.0, 0.0
        scale_x, scale_y = self.size_factor * self.rng.uniform(0.97, 1.02, 2)
        shift_x, shift_y = self.row_shift + self.rng.uniform(-0.6, 0.6, 2)
        return scale_x, scale_y, shift_x, shift_y

    def glyph(self, use, char, centre, top, size):
        """Puts one character into the box of `size` mm; thin ones keep their width."""
        font, pen = self.style.font_and_pen(use)
        pen = round(pen * self.pen_factor, 1)
        filler = FILLERS.get(use, "0" if char == "1" else None)
        tile, first_row = glyph_tile(font, char, filler, size, pen)
        scale_x, scale_y, shift_x, shift_y = self._own_size_and_place()
        zoom = self.px_per_mm / FINE
        row = (top + pen / 2 + shift_y + size[1] * (1 - scale_y) / 2) * self.px_per_mm
        row = round(row) + round(first_row * zoom * scale_y)
        if (zoom * scale_x, zoom * scale_y) != (1.0, 1.0):
            tile = cv2.resize(tile, None, fx=zoom * scale_x, fy=zoom * scale_y,
                              interpolation=cv2.INTER_AREA)
        left = self.px(centre + shift_x) - tile.shape[1] // 2
        self._lay(tile, max(row, 0), max(left, 0))

    def _lay(self, tile, row, left):
        area = self.ink[row:row + tile.shape[0], left:left + tile.shape[1]]
        np.maximum(area, tile[:area.shape[0], :area.shape[1]], out=area)

    def dot(self, centre, middle):
        centre, middle = centre + self.row_shift[0], middle + self.row_shift[1]
        cv2.circle(self.ink, (round(centre * self.px_per_mm), self.px(middle)),
                   self.px(DOT_RADIUS), 255, -1)

    def hyphen(self):
        x0, y0, x1, y1 = HYPHEN
        dx, dy = self.row_shift
        cv2.rectangle(self.ink, (self.px(x0 + dx), self.px(y0 + dy)),
                      (self.px(x1 + dx), self.px(y1 + dy)), 255, -1)


def draw_upper_row(sheet, region, class_no):
    sheet.new_row()
    width, gap = REGION_CELLS[len(region)]
    used = len(region) * width + (len(region) - 1) * gap
    first = REGION_LEFT + (REGION_FIELD - used + width) / 2
    for i, char in enumerate(region):
        sheet.glyph("region", char, first + i * (width + gap), UPPER_TOP,
                    (width, UPPER_HEIGHT))
    for char, centre in zip(class_no, CLASS_CENTRES):
        sheet.glyph("class", char, centre, UPPER_TOP, (CLASS_WIDTH, UPPER_HEIGHT))


def draw_lower_row(sheet, kana, serial):
    middle = LOWER_TOP + LOWER_HEIGHT / 2
    sheet.new_row()
    sheet.glyph("kana", kana, KANA_CENTRE, middle - KANA_SIZE / 2, (KANA_SIZE, KANA_SIZE))
    # Serials below 1000 have a dot for every missing digit and no hyphen.
    sheet.new_row()
    for char, centre in zip(serial.replace("-", "").rjust(4, "."), SERIAL_CENTRES):
        if char == ".":
            sheet.dot(centre, middle)
        else:
            sheet.glyph("serial", char, centre, LOWER_TOP, (SERIAL_WIDTH, LOWER_HEIGHT))
    if "-" in serial:
        sheet.hyphen()


# The plate

@functools.lru_cache(maxsize=None)
def rounded(inset, px_per_mm):
    """Mask of the plate's outline, moved inwards by `inset` mm."""
    def px(mm):
        return round(mm * px_per_mm)
    mask = Image.new("L", (px(WIDTH), px(HEIGHT)))
    ImageDraw.Draw(mask).rounded_rectangle(
        (px(inset), px(inset), px(WIDTH - inset) - 1, px(HEIGHT - inset) - 1),
        px(max(CORNER - inset, 3)), fill=255)
    return np.array(mask)


@functools.lru_cache(maxsize=None)
def rim(px_per_mm):
    return rounded(RIM_INSET, px_per_mm) - rounded(RIM_INSET + RIM_WIDTH, px_per_mm)


def relief(height, px_per_mm):
    """Light from the upper left: pressed edges get a bright and a dark side."""
    soft = cv2.GaussianBlur(height, (0, 0), 0.35 * px_per_mm).astype(np.float32) / 255
    step = max(1, round(0.5 * px_per_mm))
    slope = np.roll(soft, (-step, -step), (0, 1)) - np.roll(soft, (step, step), (0, 1))
    return 45 * slope


def paint(ground, colour, cover, light):
    """Letters of `colour` over `ground` (a colour or a picture), lit by `light`."""
    bare, planes = 1 - cover, []
    for channel in range(3):
        plane = bare * ground[..., channel] + cover * colour[channel] + light
        planes.append(np.maximum(np.minimum(plane, 255), 0).astype(np.uint8))
    return cv2.merge(planes)


def draw_bolts(plate, px_per_mm, seal, rng=None):
    def px(mm):
        return round(mm * px_per_mm)
    greys = (70, 177, 141) if rng is None else rng.integers((30, 110, 70), (90, 215, 170)).tolist()
    for (x, y), sealed in zip(BOLTS, (seal, False)):
        if rng is not None:
            x, y = (x, y) + rng.uniform(-1.5, 1.5, 2)
        outer = SEAL_RADIUS if sealed else BOLT_RADIUS
        rings = ((0.8, outer, greys[0], -1), (0, outer, greys[1], -1),
                 (0, outer * 0.7, greys[2], max(1, px(0.8))))
        for shift, radius, grey, width in rings:
            cv2.circle(plate, (px(x + shift), px(y + shift)), px(radius), (grey,) * 3,
                       width, cv2.LINE_AA)
        if not sealed:
            slot = outer * 0.5
            cv2.line(plate, (px(x - slot), px(y)), (px(x + slot), px(y)), (80,) * 3,
                     max(1, px(1.2)), cv2.LINE_AA)


def hill(rng, shape):
    """One ridge across the plate, as a polygon."""
    height, width = shape[:2]
    x = np.linspace(0, width, 24)
    phase, waves = rng.uniform(0, 6, 2), rng.uniform(0.5, 3, 2)
    y = sum(np.sin(p + 6.28 * w * x / width) for p, w in zip(phase, waves))
    y = height * (rng.uniform(0.45, 0.95) - 0.12 * y)
    return np.concatenate([np.stack([x, y], 1), [(width, height), (0, height)]]).astype(np.int32)


def draw_pictures(ground, rng):
    """Pale hills, suns and blossoms over the ground of a pictorial plate."""
    height, width = ground.shape[:2]
    full = ground.copy()
    for _ in range(int(rng.integers(1, 4))):
        cv2.fillPoly(full, [hill(rng, full.shape)], rng.integers(60, 255, 3).tolist(),
                     cv2.LINE_AA)
    for _ in range(int(rng.integers(2, 9))):
        centre = (int(rng.integers(width)), int(rng.integers(height)))
        axes = (rng.uniform(0.05, 0.25, 2) * height).astype(int).tolist()
        cv2.ellipse(full, centre, axes, rng.uniform(0, 180), 0, 360,
                    rng.integers(40, 255, 3).tolist(), -1, cv2.LINE_AA)
    full = cv2.GaussianBlur(full, (0, 0), height / 330 * rng.uniform(0.5, 6))
    strength = rng.uniform(0.12, 0.5)
    return cv2.addWeighted(full, strength, ground, 1 - strength, 0)


def plate_colours(kind, rng):
    ground, text = np.float32(kind.ground), np.float32(kind.text)
    if rng is None:
        return ground, text
    ground = ground * rng.uniform(0.86, 1.1) * rng.uniform(0.95, 1.04, 3)
    # Paint fades towards grey.
    text = text + rng.uniform(0, 0.25) * (90 - text) * (text < 90)
    text = text * rng.uniform(0.85, 1.1) * rng.uniform(0.94, 1.05, 3)
    return np.float32(np.clip(ground, 0, 250)), np.float32(np.clip(text, 0, 250))


def draw_ground(kind, ground, shape, rng):
    if not kind.pictures:
        return ground
    picture = np.empty(shape + (3,), np.uint8)
    picture[:] = ground
    return draw_pictures(picture, rng or np.random.default_rng(0)).astype(np.float32)


def draw_rim_frame(plate, kind, px_per_mm, rng):
    """The coloured rim of a kei picture plate, or a holder's edge over the plate."""
    colour, width = kind.frame, 6.0
    if colour is None:
        if rng is None or rng.random() > 0.15:
            return
        grey = rng.uniform(10, 70) if rng.random() < 0.6 else rng.uniform(140, 220)
        colour, width = grey + rng.uniform(-8, 8, 3), rng.uniform(2, 6)
    cv2.copyTo(np.full_like(plate, colour), 255 - rounded(round(width), px_per_mm), plate)


def soil(plate, rng):
    """Road dirt: soft brown clouds, thicker towards the lower edge, and splashes."""
    height, width = plate.shape[:2]
    clouds = rng.uniform(0, 1, (6, 10)).astype(np.float32) ** 2
    clouds[-2:] += rng.uniform(0, 0.5)
    cover = cv2.resize(clouds, (width, height), interpolation=cv2.INTER_CUBIC)
    for _ in range(int(rng.integers(0, 12))):
        centre = (int(rng.integers(width)), int(rng.integers(height)))
        cv2.circle(cover, centre, max(1, int(height * rng.uniform(0.003, 0.02))), 1.0, -1)
    cover = np.clip(cover * rng.uniform(0.1, 0.45), 0, 0.6)
    mud = np.float32((110, 95, 75)) * rng.uniform(0.4, 1.1)
    plate[:] = cv2.blendLinear(plate, np.full_like(plate, mud), 1 - cover, cover)


def draw_plate(text, style, px_per_mm=2.0, rng=None):
    """The flat plate in RGB and the mask (0 or 255) of its outline.

    Without `rng` a plate as new, with it one with a life of its own.  The mask
    is shared between calls: do not write to it.
    """
    kind = KINDS[text.kind]
    sheet = Sheet(style, px_per_mm, rng)
    draw_upper_row(sheet, text.region, text.class_no)
    draw_lower_row(sheet, text.kana, text.serial)
    ground, colour = plate_colours(kind, rng)
    ground = draw_ground(kind, ground, sheet.ink.shape, rng)
    # Drawn at FINE the edges are stairs and need smoothing, below they are grey.
    cover = cv2.GaussianBlur(sheet.ink, (0, 0), px_per_mm / FINE).astype(np.float32) / 255
    light = relief(np.maximum(sheet.ink, rim(px_per_mm)), px_per_mm)
    plate = paint(ground, colour, cover, light)
    draw_rim_frame(plate, kind, px_per_mm, rng)
    draw_bolts(plate, px_per_mm, kind.seal, rng)
    if rng is not None and rng.random() < 0.25:
        soil(plate, rng)
    return plate, rounded(0, px_per_mm)


# Pools: plates drawn once, warped many times

def render_pool(count, seed, styles=STYLES_TRAIN, px_per_mm=1.0, **text_options):
    """`count` plates as a list of (rgb, mask, PlateText); 330 px wide at 1 px per mm.

    Plate `i` depends on the seed and `i` alone, so a longer pool begins with
    the shorter one.
    """
    require_fonts()
    regions, pool = load_regions(), []
    for index in range(count):
        rng = np.random.default_rng([seed, index])
        text = random_plate_text(rng, regions, **text_options)
        rgb, mask = draw_plate(text, pick(rng, styles), px_per_mm, rng)
        pool.append((rgb, mask, text))
    return pool


def make_cache_folder(folder):
    """A folder whose contents git leaves alone: it can be drawn again at any time."""
    folder.mkdir(parents=True, exist_ok=True)
    (folder / ".gitignore").write_text("*\n")


def save_pool(pool, path):
    """`path`.npy holds the pictures, `path`.json the texts; all plates share a mask."""
    path = Path(path)
    make_cache_folder(path.parent)
    np.save(path.with_suffix(".npy"), np.stack([rgb for rgb, _, _ in pool]))
    texts = [asdict(text) for _, _, text in pool]
    path.with_suffix(".json").write_text(json.dumps(texts, ensure_ascii=False),
                                         encoding="utf-8")


def load_pool(path):
    """The pool as saved.  Pictures stay on disk until used, workers share them."""
    path = Path(path)
    pictures = np.load(path.with_suffix(".npy"), mmap_mode="r")
    texts = json.loads(path.with_suffix(".json").read_text(encoding="utf-8"))
    mask = rounded(0, pictures.shape[2] / WIDTH)
    return [(rgb, mask, PlateText(**text)) for rgb, text in zip(pictures, texts)]


def cached_pool(name, count, seed, styles=STYLES_TRAIN, px_per_mm=1.0, **text_options):
    """`render_pool` that keeps its result in training/cache, until this file changes."""
    drawn_by = Path(__file__).read_text(encoding="utf-8")
    digest = zlib.crc32(repr((drawn_by, styles, text_options)).encode())
    path = CACHE / f"{name}_{count}_{seed}_{px_per_mm:g}_{digest:08x}"
    if not path.with_suffix(".json").exists():
        save_pool(render_pool(count, seed, styles, px_per_mm, **text_options), path)
    return load_pool(path)
