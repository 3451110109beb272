"""Plates as they are pressed and painted: 330 x 165 mm, everything in mm from their top left.

Published: plate 330 x 165 mm, serial digits 80 x 40 mm, upper row 40 mm high, kana 40 mm.
Measured on photographs: where the rows stand and how far apart characters are.
"""
from dataclasses import dataclass

import cv2
import numpy as np

import glyphs

WIDTH, HEIGHT = 330.0, 165.0
SCALE = 4                              # pixels per mm of the pictures drawn here
MARGIN = 14.0                          # mm around the plate, for a holder

# Middle of the serial's places and of the kana; tops of the rows.
SERIAL_X = (89.0, 142.0, 234.0, 287.0)
HYPHEN_X, SERIAL_Y = 188.0, 68.0
KANA_X, KANA_Y = 37.0, 93.0
UPPER_Y, UPPER_X = 15.0, 165.0
BOLTS = ((60.0, 36.0), (270.0, 36.0))

# Paint in linear light, background and characters.
COLOURS = {
    "private": ((0.76, 0.77, 0.74), (0.02, 0.10, 0.045)),
    "commercial": ((0.012, 0.105, 0.055), (0.78, 0.80, 0.76)),
    "kei": ((0.75, 0.40, 0.012), (0.018, 0.018, 0.018)),
    "kei commercial": ((0.016, 0.016, 0.017), (0.78, 0.46, 0.02)),
}
KANA = {
    "private": "さすせそたちつてとなにぬねのはひふほまみむめもやゆらりるろわれ",
    "commercial": "あいうえかきくけこを",
    "kei": "あいうえかきくけこさすせそたちつてとなにぬねのはひふほまみむめもやゆよらるろわ",
    "kei commercial": "りれ",
}
CLASSES = {"private": "3335551", "commercial": "1122", "kei": "55544", "kei commercial": "44"}
FONTS = ("BIZUDGothic-Regular", "BIZUDGothic-Bold", "sawarabi-gothic-medium", "Konatu")
HOLDERS = (None, None, None, (0.02, 0.02, 0.02), (0.45, 0.46, 0.47), (0.015, 0.015, 0.02))


@dataclass
class Lettering:
    """What differs between the makers' stamps and the plates' ages."""
    kana_font: str
    kanji_font: str
    serial_weight: float
    upper_weight: float
    kana_weight: float
    holder: tuple
    dirt: float
    seal: float
    press: float                       # depth of the relief
    caps: float                        # radius of the bolts' caps, mm


@dataclass
class Plate:
    paint: np.ndarray                  # linear light, rows x columns x 3
    height: np.ndarray                 # relief in mm
    cover: np.ndarray                  # 0..1, where plate or holder is
    gloss: np.ndarray                  # 0..1


def random_text(kind, regions, rng):
    """Region, class, kana and serial of one plate of this kind."""
    first = rng.choice(list(CLASSES[kind]))
    rest = f"{rng.integers(0, 100):02d}" if rng.random() < 0.75 else rng.choice(("00", "01", "30"))
    if kind.startswith("kei") and first == "5":
        rest = f"{rng.integers(80, 84)}"
    if kind.startswith("kei") and first == "4":
        rest = f"{rng.integers(80, 99)}"
    if kind == "kei" and rng.random() < 0.1:
        first, rest = "8", f"{rng.integers(80, 84)}"
    number = int(rng.integers(1000, 10000) if rng.random() < 0.85 else rng.integers(100, 1000))
    serial = f"{number // 100}-{number % 100:02d}" if number > 999 else str(number)
    return (str(rng.choice(regions)), str(first) + str(rest),
            str(rng.choice(list(KANA[kind]))), serial)


def random_lettering(rng):
    return Lettering(
        kana_font=str(rng.choice(FONTS)), kanji_font=str(rng.choice(FONTS)),
        serial_weight=rng.uniform(10.8, 12.6), upper_weight=rng.uniform(4.3, 5.6),
        kana_weight=rng.uniform(4.6, 6.2), holder=HOLDERS[rng.integers(len(HOLDERS))],
        dirt=rng.uniform(0, 1) ** 2, seal=rng.uniform(0, 1), press=rng.uniform(0.7, 1.5),
        caps=rng.uniform(6, 11) if rng.random() < 0.8 else 13.5)


def to_pixels(x, y):
    return (x + MARGIN) * SCALE, (y + MARGIN) * SCALE


def stamp(ink, glyph, middle, top, rng):
    """Press a glyph into the plate; real stamps sit a fraction of a mm off."""
    x, y = to_pixels(middle + rng.normal(0, 0.5), top + rng.normal(0, 0.4))
    left, top = round(x - glyph.shape[1] / 2), round(y)
    under = ink[top:top + glyph.shape[0], left:left + glyph.shape[1]]
    np.maximum(under, glyph, out=under)


def upper_row(ink, region, number, style, rng):
    """Region and class number side by side, squeezed to what is free between the bolts."""
    width = {1: 42, 2: 40, 3: 31, 4: 24}.get(len(region), 21)
    gap = 3.0 if len(region) < 3 else 1.5
    digits, spacing = 22.0, 5.0
    whole = len(region) * (width + gap) + 5 + len(number) * (digits + spacing) - spacing
    x = UPPER_X - whole / 2
    for char in region:
        box = (0.84 * width, 32) if "ぁ" <= char <= "ん" else (width, 40)
        glyph = glyphs.cut(char, style.kanji_font, box, style.upper_weight, SCALE)
        stamp(ink, glyph, x + width / 2, UPPER_Y + 20 - glyph.shape[0] / 2 / SCALE, rng)
        x += width + gap
    x += 5
    for char in number:
        glyph = glyphs.strokes(char, (digits, 40), 1.1 * style.upper_weight, SCALE)
        stamp(ink, glyph, x + digits / 2, UPPER_Y, rng)
        x += digits + spacing


def serial_row(ink, serial, style, rng):
    places = serial.replace("-", "").rjust(4, ".")
    for char, x in zip(places, SERIAL_X):
        if char == ".":
            radius = 0.62 * style.serial_weight
            glyph = disc(radius)
            stamp(ink, glyph, x, SERIAL_Y + 42 - radius, rng)
        else:
            stamp(ink, glyphs.strokes(char, (40, 80), style.serial_weight, SCALE), x, SERIAL_Y, rng)
    if "-" in serial:
        size = np.rint(np.array((23, style.serial_weight)) * SCALE).astype(int)
        stamp(ink, np.full(size[::-1], 255, np.uint8), HYPHEN_X,
              SERIAL_Y + 42 - style.serial_weight / 2, rng)


def disc(radius):
    side = round(2 * radius * SCALE) + 3
    picture = np.zeros((side, side), np.uint8)
    cv2.circle(picture, (side // 2, side // 2), round(radius * SCALE), 255, -1, cv2.LINE_AA)
    return picture


def characters(text, style, rng):
    region, number, kana, serial = text
    ink = np.zeros(picture_size()[::-1], np.uint8)
    upper_row(ink, region, number, style, rng)
    glyph = glyphs.cut(kana, style.kana_font, (40, 40), style.kana_weight, SCALE)
    stamp(ink, glyph, KANA_X, KANA_Y + 20 - glyph.shape[0] / 2 / SCALE, rng)
    serial_row(ink, serial, style, rng)
    return ink.astype(np.float32) / 255


def picture_size():
    return round((WIDTH + 2 * MARGIN) * SCALE), round((HEIGHT + 2 * MARGIN) * SCALE)


def rounded(low, high, radius):
    """Coverage of a rectangle with round corners, in mm on the plate."""
    columns, rows = picture_size()
    x = (np.arange(columns) + 0.5) / SCALE - MARGIN
    y = (np.arange(rows) + 0.5) / SCALE - MARGIN
    middle, half = (np.array(low) + high) / 2, (np.array(high) - low) / 2 - radius
    dx = np.maximum(np.abs(x - middle[0]) - half[0], 0)
    dy = np.maximum(np.abs(y - middle[1]) - half[1], 0)
    distance = np.hypot(dx[None, :], dy[:, None]) - radius
    return np.clip(0.5 - distance * SCALE, 0, 1).astype(np.float32)


def clouds(shape, grain, rng):
    """Smooth noise of mean 0 and deviation about 1, with lumps of `grain` pixels."""
    small = rng.normal(0, 1, (int(shape[0] / grain) + 3, int(shape[1] / grain) + 3))
    return cv2.resize(small.astype(np.float32), shape[::-1], interpolation=cv2.INTER_CUBIC)


def bolts(paint, height, gloss, style, rng):
    """Two screws or caps; the left rear one lies under the seal, an aluminium disc."""
    for place, (x, y) in enumerate(BOLTS):
        centre = tuple(round(value * 16) for value in to_pixels(x, y))
        sealed = place == 0 and style.seal > 0.45
        radius = 15.0 if sealed else style.caps
        tone = rng.uniform(0.12, 0.5)
        colour = np.array((tone, tone, tone)) * (1, 0.99, 0.97) if not sealed or style.seal < 0.8 \
            else np.array((0.45, 0.42, 0.38))
        area = np.zeros(paint.shape[:2], np.uint8)
        cv2.circle(area, centre, round(radius * SCALE * 16), 255, -1, cv2.LINE_AA, 4)
        area = area.astype(np.float32)[..., None] / 255
        paint += (colour - paint) * area
        slot = np.zeros(paint.shape[:2], np.uint8)
        cv2.circle(slot, centre, round(0.5 * radius * SCALE * 16), 255,
                   round(1.2 * SCALE), cv2.LINE_AA, 4)
        paint *= 1 - 0.45 * slot[..., None].astype(np.float32) / 255
        height += 1.8 * cv2.GaussianBlur(area[..., 0], (0, 0), 1.5 * SCALE)
        gloss += (0.9 - gloss) * area[..., 0]


def soil(paint, ink, style, rng):
    """Dust that dulls the paint, rain streaks and grime that stays along the relief."""
    shape = paint.shape[:2]
    dust = np.clip(0.5 + 0.4 * clouds(shape, 160, rng) + 0.15 * clouds(shape, 12, rng), 0, 1)
    streaks = np.clip(clouds(shape, 10, rng), 0, 3)
    streaks = cv2.blur(streaks, (3, 60 * SCALE))
    edges = np.abs(cv2.GaussianBlur(ink, (0, 0), 2.2 * SCALE) - ink)
    amount = style.dirt * np.clip(0.22 * dust + 0.12 * streaks + 0.25 * edges, 0, 0.6)
    brown = np.array(rng.choice(([0.16, 0.13, 0.10], [0.12, 0.12, 0.12])))
    paint += (brown - paint) * amount[..., None]


def wear(ink, style, rng):
    """The raised characters lose paint at their tops."""
    lost = clouds(ink.shape, 9, rng) + 0.6 * clouds(ink.shape, 60, rng)
    return ink * (1 - np.clip(0.5 * (lost - 3.4 + style.dirt), 0, 0.7))


def draw(text, kind, style, rng, picture=None):
    """The plate of a kind with its text; `picture` is a pale motif behind the characters."""
    ink = characters(text, style, rng)
    body = rounded((0, 0), (WIDTH, HEIGHT), 9.0)
    base, letters = (np.array(colour, np.float32) for colour in COLOURS[kind])
    base = base * rng.uniform(0.9, 1.08)
    paint = np.broadcast_to(base, ink.shape + (3,)).astype(np.float32).copy()
    if picture is not None:
        motif = cv2.resize(picture, picture_size()) * 0.4 + 0.42
        paint = motif.astype(np.float32)
    worn = wear(ink, style, rng)
    paint += (letters - paint) * worn[..., None]
    height = style.press * cv2.GaussianBlur(ink, (0, 0), 1.1 * SCALE)
    rim = rounded((3.5, 3.5), (WIDTH - 3.5, HEIGHT - 3.5), 7) \
        - rounded((6.5, 6.5), (WIDTH - 6.5, HEIGHT - 6.5), 5)
    height += 0.9 * cv2.GaussianBlur(np.maximum(rim, 0), (0, 0), 0.9 * SCALE)
    gloss = np.full(ink.shape, 0.30, np.float32)
    soil(paint, ink, style, rng)
    bolts(paint, height, gloss, style, rng)
    cover = body
    if style.holder:
        cover = rounded((-8, -8), (WIDTH + 8, HEIGHT + 8), 8)
        hole = rounded((2.2, 2.2), (WIDTH - 2.2, HEIGHT - 2.2), 6)
        paint = paint * hole[..., None] + np.float32(style.holder) * (1 - hole[..., None])
        height += 3.0 * cv2.GaussianBlur(cover - hole, (0, 0), 1.2 * SCALE)
        gloss = gloss * hole + 0.7 * (1 - hole)
    return Plate(np.clip(paint, 0.004, 0.9), height, cover, gloss)


def corners():
    """The plate's own corners in mm, top left, top right, bottom right, bottom left."""
    return np.array(((0, 0), (WIDTH, 0), (WIDTH, HEIGHT), (0, HEIGHT)), float)


def lit(plate, light, diffuse, strength, sky):
    """The plate's radiance under a lamp from `light` (x right, y down, z off the plate).

    `diffuse` is light from everywhere, `strength` the lamp's, both RGB; `sky` is what the
    gloss mirrors.
    """
    light = np.array(light, np.float32) / np.linalg.norm(light)
    slope = [cv2.Sobel(plate.height, cv2.CV_32F, *axis, ksize=3) / 8 * SCALE
             for axis in ((1, 0), (0, 1))]
    length = np.sqrt(1 + slope[0] ** 2 + slope[1] ** 2)
    facing = (light[2] - slope[0] * light[0] - slope[1] * light[1]) / length
    lamp = np.clip(facing, 0, None)[..., None] * np.float32(strength)
    around = (1 - 0.22 * np.clip(slope[1], -1, 1))[..., None] * np.float32(diffuse)
    half = light + np.array((0, 0, 1), np.float32)
    half /= np.linalg.norm(half)
    mirror = np.clip((half[2] - slope[0] * half[0] - slope[1] * half[1]) / length, 0, 1) ** 60
    shine = plate.gloss[..., None] * (0.25 * mirror[..., None] * np.float32(strength)
                                      + 0.05 * np.float32(sky))
    return plate.paint * (lamp + around) + shine
