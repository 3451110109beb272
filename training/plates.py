"""Draws Japanese licence plates with known text.

Photographs of plates carry other people's numbers and cannot travel with the
sources.  Everything the networks of this repository learn from is drawn here:
the plate in its published proportions, its characters by lettering.py and
kanji.py, its life by plate_life.py.  Pictures are RGB, uint8, rows first.

Sizes are mm of the medium plate, 330 x 165.  Large plates (440 x 220) have the
same proportions and are drawn in the same mm.

Debian packages: python3-pil python3-numpy python3-opencv and those of kanji.py.
"""
import functools
import json
import zlib
from dataclasses import asdict, dataclass, replace
from pathlib import Path

import cv2
import numpy as np

import kanji
import lettering
import pen
import plate_life
from camera import degrade  # noqa: F401 - plates are drawn to be photographed
from kanji import OPENTYPE, TRUETYPE, require_fonts  # noqa: F401
from plate_text import (ANY_DIGIT, CLASS_LETTERS, KIND_SHARES, KINDS, MIDDLE_DOT,  # noqa: F401
                        PLATE_KANA, PlateText, format_serial, load_regions, pick,
                        random_class, random_plate_text, random_serial)

CACHE = Path(__file__).resolve().parent / "cache"

WIDTH, HEIGHT = 330, 165
MARGIN = 18      # mm around the plate, where holders and shadows lie

REGION, CLASS, KANA, SERIAL = range(4)


@dataclass(frozen=True)
class Style:
    """Which maker's way (None: anything between and a little beyond), and the
    font of the region."""
    way: float
    font: str

    @property
    def name(self):
        return f"{'any' if self.way is None else self.way}+{self.font}"

    def tile(self, cell, hand, px_per_mm):
        return tile_of(cell, hand, self.font, px_per_mm)


# No training sees these fonts; they tell reading plates from knowing the fonts.
HELD_OUT_FONTS = ("ume", "wqy")
STYLES_TRAIN = tuple(Style(None, font) for font in kanji.FONTS if font not in HELD_OUT_FONTS)
STYLES_HELD_OUT = tuple(Style(way, font) for way in (0.0, 1.0) for font in HELD_OUT_FONTS)
STYLE_PLAIN = Style(0.0, "maruberi")


@dataclass
class Character:
    group: int       # REGION, CLASS, KANA or SERIAL (hyphen and dots, too)
    char: str
    box: tuple       # left, top, right, bottom of the ink in mm on the plate


@dataclass
class Plate:
    picture: np.ndarray      # the plate and `margin` mm around it
    mask: np.ndarray         # 255 where the picture is opaque, less in shadows, 0 beyond
    margin: float
    characters: list
    text: PlateText = None   # None for plates with other contents

    @property
    def px_per_mm(self):
        return self.picture.shape[1] / (WIDTH + 2 * self.margin)

    def outline(self, px_per_mm=None):
        """The plate's corners TL TR BR BL in a picture of that scale, as cv2
        counts: the first pixel's middle is (0, 0)."""
        scale = px_per_mm or self.px_per_mm
        corners = np.float64([(0, 0), (WIDTH, 0), (WIDTH, HEIGHT), (0, HEIGHT)])
        return np.float32((corners + self.margin) * scale - 0.5)

    def cut(self):
        """Picture and mask of the plate's own rectangle."""
        left, top, right, bottom = np.round(self.outline()[[0, 2]].ravel() + 0.5).astype(int)
        return self.picture[top:bottom, left:right], self.mask[top:bottom, left:right]


# Where the characters stand

@dataclass(frozen=True)
class Layout:
    """In mm, boxes as (width, height)."""
    upper: float             # middle of the upper row
    region: tuple            # left and width of its field
    region_cells: dict       # characters of the region: (width, gap)
    region_height: float
    class_centres: tuple
    class_box: tuple
    lower: float
    kana: float
    kana_box: tuple
    serial_centres: tuple
    serial_box: tuple
    hyphen: float
    hyphen_box: tuple
    dot: float
    screws: tuple


# Down: 15, 40, 15, 80, 15.  Across the lower row: 20, kana 40, 15, digit 40, 15,
# digit 40, 12.5, hyphen 20, 12.5, digit 40, 15, digit 40, 20.
MEDIUM = Layout(upper=35, region=(78, 97), region_height=40,
                region_cells={1: (41, 0), 2: (41, 6), 3: (31, 2), 4: (23, 1)},
                class_centres=(190.5, 218, 245.5), class_box=(23.5, 40),
                lower=110, kana=40, kana_box=(40, 41), serial_centres=(95, 150, 235, 290),
                serial_box=(40, 80), hyphen=192.5, hyphen_box=(21, 13), dot=13, screws=((60, 25), (270, 25)))
# Those of trucks and buses have larger digits, the other characters are smaller beside them.
LARGE = Layout(upper=33.5, region=(80, 72), region_height=33,
               region_cells={1: (34, 0), 2: (33, 2), 3: (23, 1), 4: (17.5, 0.5)},
               class_centres=(166, 192, 218), class_box=(23, 32.5),
               lower=104, kana=31, kana_box=(31, 32), serial_centres=(84, 143.5, 229, 288),
               serial_box=(48.5, 94), hyphen=187, hyphen_box=(21, 15), dot=15,
               screws=((55, 27), (260, 27), (52, 151), (258, 151)))


@dataclass
class Cell:
    group: int
    use: str         # of lettering.BOXES, "region", "hyphen" or "dot"
    char: str
    centre: np.ndarray
    box: tuple           # width and height in which the character is designed
    scale: tuple = (1.0, 1.0)           # at which it stands on the plate


def lettered_cell(group, use, char, centre, box):
    drawn = lettering.BOXES[use]
    return Cell(group, use, char, centre, drawn, (box[0] / drawn[0], box[1] / drawn[1]))


def upper_cells(layout, region, class_no):
    width, gap = layout.region_cells[min(len(region), 4)]
    left, field = layout.region
    used = len(region) * width + (len(region) - 1) * gap
    first = left + (field - used + width) / 2
    for i, char in enumerate(region):
        yield Cell(REGION, "region", char, (first + i * (width + gap), layout.upper),
                   (width, layout.region_height))
    for char, centre in zip(class_no, layout.class_centres):
        yield lettered_cell(CLASS, "class", char, (centre, layout.upper), layout.class_box)


def lower_cells(layout, kana, serial):
    yield lettered_cell(KANA, "kana", kana, (layout.kana, layout.lower), layout.kana_box)
    # Serials below 1000 have a dot for every missing digit and no hyphen.
    characters = serial.replace("-", "").rjust(4, MIDDLE_DOT)
    for i, (char, x) in enumerate(zip(characters, layout.serial_centres)):
        centre = (x, layout.lower)
        if char == MIDDLE_DOT:
            yield Cell(SERIAL, "dot", char, centre, (layout.dot, layout.dot))
        else:
            yield lettered_cell(SERIAL, "serial", char, centre, layout.serial_box)
        if i == 1 and "-" in serial:
            yield Cell(SERIAL, "hyphen", "-", (layout.hyphen, layout.lower), layout.hyphen_box)


def moved(cells, rng, about, far):
    """A row's cells shifted and scaled together and each a little by itself."""
    scale = rng.uniform(1 - 0.03 * far, 1 + 0.025 * far, 2)
    shift = np.clip(rng.normal(0, (1.2 * far, 0.9 * far)), -8, 8)
    for cell in cells:
        own = rng.normal(0, 0.4 * min(far, 2), 2)
        centre = about + (np.float64(cell.centre) - about) * scale + shift + own
        yield replace(cell, centre=centre,
                      scale=cell.scale * scale * rng.normal(1, 0.012, 2))


def varied(cells, rng):
    """The layout as makers vary it, now and then far beyond: a reader must not
    count on places that a crop or a bent plate shifts."""
    far = rng.choice((1.0, 2.0, 4.0), p=(0.6, 0.28, 0.12))
    near = {REGION: 0.6, CLASS: 0.6, KANA: 1.8, SERIAL: 0.8}
    for group in range(4):
        row = [cell for cell in cells if cell.group == group]
        about = np.mean([cell.centre for cell in row], axis=0)
        yield from moved(row, rng, about, near[group] * far)


# Ink

def bare_ink(px_per_mm):
    return np.zeros((round(HEIGHT * px_per_mm), round(WIDTH * px_per_mm)), np.uint8)


@functools.lru_cache(maxsize=256)
def block_tile(use, box, soft):
    """Hyphen and dot at FINE px per mm, PAD around."""
    width, height = (round(side * pen.FINE) for side in box)
    pad = round(pen.PAD * pen.FINE)
    tile = np.zeros((height + 2 * pad, width + 2 * pad), np.uint8)
    if use == "hyphen":
        tile[pad:-pad, pad:-pad] = 255
    else:
        cv2.circle(tile, (tile.shape[1] // 2, tile.shape[0] // 2), width // 2, 255, -1)
    return pen.softened(tile, soft)


def tile_of(cell, hand, font, px_per_mm):
    if cell.use in ("hyphen", "dot"):
        return block_tile(cell.use, cell.box, hand.soft)
    if cell.use == "region":
        return kanji.glyph(px_per_mm, font, cell.char, *cell.box, hand.kanji)
    return lettering.glyph(px_per_mm, cell.use, cell.char, hand)


def ink_box(tile):
    """Left, top, right, bottom of what is drawn, in px."""
    left, top, width, height = cv2.boundingRect(cv2.compare(tile, 100, cv2.CMP_GT))
    return left, top, left + width, top + height


def lay(ink, tile, cell, px_per_mm):
    """Puts the tile's box on the cell; the ink's own box in mm comes back."""
    size = [max(1, round((side + 2 * pen.PAD) * scale * px_per_mm))
            for side, scale in zip(cell.box, cell.scale)]
    shape = tile.shape[::-1]
    way = cv2.INTER_AREA if 2 * size[0] < shape[0] else cv2.INTER_LINEAR
    small = cv2.resize(tile, size, interpolation=way)
    x, y = (round(middle * px_per_mm - side / 2) for middle, side in zip(cell.centre, size))
    area = ink[max(y, 0):y + size[1], max(x, 0):x + size[0]]
    if not area.size:
        return None
    seen = small[max(-y, 0):, max(-x, 0):][:area.shape[0], :area.shape[1]]
    np.maximum(area, seen, out=area)
    fx, fy = size[0] / shape[0], size[1] / shape[1]
    left, top, right, bottom = ink_box(tile)
    return tuple(round(edge / px_per_mm, 2) for edge in (x + left * fx, y + top * fy,
                                                         x + right * fx, y + bottom * fy))


@functools.lru_cache(maxsize=None)
def hands(way):
    """Sets of dies that plates share, as those of a district do."""
    rng = np.random.default_rng([7, 0 if way is None else 1 + round(way * 10)])
    return tuple(lettering.random_hand(rng, way) for _ in range(HANDS))


HANDS = 96       # more of them cost memory: their tiles are kept


def large_share(text):
    """Trucks and buses have large plates; they begin with 1 and 2, and some with 8, 9, 0."""
    if "kei" in text.kind:
        return 0.02
    of_trucks = text.class_no[0] in "12" or text.class_no[0] in "890" and "business" in text.kind
    return (0.5 if "business" in text.kind else 0.3) if of_trucks else 0.06


def letter_plate(text, layout, style, px_per_mm, rng):
    ink = bare_ink(px_per_mm)
    cells = [*upper_cells(layout, text.region, text.class_no),
             *lower_cells(layout, text.kana, text.serial)]
    hand = replace(lettering.PLAIN, way=style.way or 0.0)
    if rng is not None:
        hand, cells = pick(rng, hands(style.way)), list(varied(cells, rng))
    characters = []
    for cell in cells:
        box = lay(ink, style.tile(cell, hand, px_per_mm), cell, px_per_mm)
        if box is not None:
            characters.append(Character(cell.group, cell.char, box))
    return ink, characters


# Other contents: for networks that must see the plate whatever stands on it

def odd_cells(rng):
    """Rows of any characters in any size, not two plates alike."""
    for _ in range(int(rng.integers(1, 4))):
        use = pick(rng, ("serial", "class", "kana", "region"))
        height = rng.uniform(14, 120)
        width = height * rng.uniform(0.35, 1.1)
        box = np.float64(lettering.BOXES.get(use, (41, 40)))
        y, x = rng.uniform(20, HEIGHT - 20), rng.uniform(10, 160)
        for i in range(int(rng.integers(1, 9))):
            chars = {"serial": ANY_DIGIT, "class": ANY_DIGIT + CLASS_LETTERS,
                     "kana": PLATE_KANA, "region": "".join(load_regions())}[use]
            centre = (x + i * width * rng.uniform(1.05, 1.2), y)
            if centre[0] < WIDTH - 10:
                yield Cell(SERIAL, use, pick(rng, chars), centre, box, (width, height) / box)


def odd_ink(style, px_per_mm, rng):
    ink = bare_ink(px_per_mm)
    for cell in odd_cells(rng):
        lay(ink, tile_of(cell, pick(rng, hands(None)), style.font, px_per_mm), cell, px_per_mm)
    for _ in range(int(rng.integers(0, 4))):
        centre = (rng.uniform(0, 1, 2) * ink.shape[::-1]).astype(int).tolist()
        axes = (rng.uniform(0.02, 0.3, 2) * ink.shape[0]).astype(int).tolist()
        cv2.ellipse(ink, centre, axes, rng.uniform(0, 180), 0, 360, 255,
                    -1 if rng.random() < 0.4 else max(1, round(2 * px_per_mm)))
    return ink


# The plate

def draw_plate(text, style, px_per_mm=2.0, rng=None, contents="plate"):
    """A Plate, without `rng` as new, with it one with a life of its own.

    `contents`: "plate" has the text, "odd" something else and "empty" nothing;
    `text` then says the kind of the plate alone (None: any).
    """
    kind = KINDS[text.kind if text else pick(rng, tuple(KINDS))]
    characters, screws = [], None
    if contents == "plate":
        layout = LARGE if rng is not None and rng.random() < large_share(text) else MEDIUM
        ink, characters = letter_plate(text, layout, style, px_per_mm, rng)
        screws = layout.screws
    else:
        ink = odd_ink(style, px_per_mm, rng) if contents == "odd" else bare_ink(px_per_mm)
    margin = round(MARGIN * px_per_mm)
    picture, mask = plate_life.live(kind, ink, px_per_mm, margin, screws, rng)
    return Plate(picture, mask, margin * WIDTH / ink.shape[1], characters,
                 text if contents == "plate" else None)


# Pools: plates drawn once, warped many times

def random_plate(seed, index, styles, regions, px_per_mm, odd=0.0, **text_options):
    """`odd` is the share of plates with other contents or none."""
    rng = np.random.default_rng([seed, index])
    text = random_plate_text(rng, regions, **text_options)
    contents = "plate"
    if rng.random() < odd:
        contents = "odd" if rng.random() < 0.7 else "empty"
    return draw_plate(text, pick(rng, styles), px_per_mm, rng, contents)


def render_pool(count, seed, styles=STYLES_TRAIN, px_per_mm=1.0, **options):
    """`count` Plates.  Plate `i` depends on the seed and `i` alone, so a longer
    pool begins with the shorter one."""
    require_fonts({style.font for style in styles})
    regions = load_regions()
    return [random_plate(seed, index, styles, regions, px_per_mm, **options)
            for index in range(count)]


def without_margins(pool):
    """The pool as (picture, mask, PlateText) of the plates' own rectangles."""
    return [(*plate.cut(), plate.text) for plate in pool]


def make_cache_folder(folder):
    """A folder whose contents git leaves alone: it can be drawn again at any time."""
    folder.mkdir(parents=True, exist_ok=True)
    (folder / ".gitignore").write_text("*\n")


def save_pool(pool, path):
    """`path`.npy holds the pictures, `path`_masks.npy the masks, `path`.json the rest."""
    path = Path(path)
    make_cache_folder(path.parent)
    np.save(f"{path}.npy", np.stack([plate.picture for plate in pool]))
    np.save(f"{path}_masks.npy", np.stack([plate.mask for plate in pool]))
    rest = [{"text": plate.text and asdict(plate.text), "margin": plate.margin,
             "characters": [asdict(character) for character in plate.characters]}
            for plate in pool]
    Path(f"{path}.json").write_text(json.dumps(rest, ensure_ascii=False), encoding="utf-8")


def load_pool(path):
    """The pool as saved.  Pictures stay on disk until used, workers share them."""
    pictures = np.load(f"{path}.npy", mmap_mode="r")
    masks = np.load(f"{path}_masks.npy", mmap_mode="r")
    pool = []
    for picture, mask, rest in zip(pictures, masks,
                                   json.loads(Path(f"{path}.json").read_text(encoding="utf-8"))):
        characters = [Character(one["group"], one["char"], tuple(one["box"]))
                      for one in rest["characters"]]
        pool.append(Plate(picture, mask, rest["margin"], characters,
                          rest["text"] and PlateText(**rest["text"])))
    return pool


DRAWN_BY = ("plates.py", "plate_text.py", "plate_life.py", "plate_mount.py", "plate_screws.py",
            "lettering.py", "kana_strokes.py", "digit_strokes.py", "pen.py", "kanji.py")


def cached_pool(name, count, seed, styles=STYLES_TRAIN, px_per_mm=1.0, **options):
    """`render_pool` that keeps its result in training/cache, until its files change."""
    here = Path(__file__).parent
    sources = [(here / file).read_text(encoding="utf-8") for file in DRAWN_BY]
    digest = zlib.crc32(repr((sources, styles, options)).encode())
    path = CACHE / f"{name}_{count}_{seed}_{px_per_mm:g}_{digest:08x}"
    if not Path(f"{path}.json").exists():
        save_pool(render_pool(count, seed, styles, px_per_mm, **options), path)
    return load_pool(path)
