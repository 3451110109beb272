"""The characters of Japanese licence plates as strokes of a pen.

No font has them: plates are pressed with dies of their own, cut by the makers
of the districts, of whom two ways are told apart here.  Digits and class
letters are one even line with cut ends, kana are written with a brush.  A Hand
is one die maker's way: weights, ends, bends and the mixture of the two ways.

Sizes in mm.
"""
import functools
from dataclasses import dataclass

import numpy as np

from digit_strokes import DIGITS, letter
from kana_strokes import KANA
from pen import FINE, PAD, Line, draw_line, kept_tiles, path, smooth, softened

BOXES = {"serial": (40.0, 80.0), "class": (23.5, 40.0), "kana": (40.0, 41.0)}


@dataclass(frozen=True)
class Hand:
    """How one set of dies was cut.  The default is the plain one."""
    serial: float = 11.8       # pen in mm
    small: float = 5.2         # pen of the class number
    brush: float = 4.6         # pen of the kana
    kanji: float = 4.3         # pen of the region
    soft: float = 0.6          # mm by which corners and ends are rounded
    round_ends: bool = False   # the digits' lines end round, not cut
    contrast: float = 0.6      # of the brush: 0 even line, 1 strong
    entry: float = 0.3         # how pointed the brush comes down
    way: float = 0.0           # 0 and 1 are the two makers', others lie around
    tail: float = 0.25         # of 6 and 9: 0 straight, 1 curled round
    waist: float = 0.455       # height of the middle of 3 and 8
    leg: float = 0.35          # of 7: how far down the kink lies and how strong
    flat_three: bool = False
    seven_serif: bool = False
    open_four: bool = False
    square: float = 0.5        # sides of 0: 0 an ellipse, 1 straight
    wide: float = 1.0          # of the kana
    lean: float = 0.0          # of the kana, to the right
    joined: float = 1.0        # below a kana's share its strokes are joined
    bend: float = 0.0          # mm that points of a line stray
    seed: int = 0              # of the bends


PLAIN = Hand()


def random_hand(rng, way=None):
    way = rng.uniform(-0.15, 1.15) if way is None else way + rng.normal(0, 0.12)
    weight = rng.normal(1, 0.07)
    return Hand(
        serial=round(float(np.clip(11.7 * weight * rng.normal(1, 0.03), 9, 16)), 2),
        small=round(float(np.clip(5.1 * weight * rng.normal(1, 0.09), 3.6, 7.5)), 2),
        brush=round(float(np.clip(4.5 * weight * rng.normal(1, 0.14), 2.9, 7)), 2),
        kanji=float(rng.choice((3.2, 3.9, 4.6, 5.3), p=(0.3, 0.3, 0.25, 0.15))),
        soft=float(rng.uniform(0.2, 1.6)), round_ends=bool(rng.random() < 0.2),
        contrast=float(rng.uniform(0, 1.3)), entry=float(rng.uniform(-0.3, 1)), way=float(way),
        tail=float(np.clip(0.15 + 0.7 * way * rng.uniform(0.3, 1.2), 0, 1)),
        waist=float(rng.normal(0.455, 0.015)), leg=float(rng.uniform(0.1, 0.7)),
        flat_three=bool(rng.random() < 0.08), seven_serif=bool(rng.random() < 0.12),
        open_four=bool(rng.random() < 0.1), square=float(rng.uniform(0, 1)),
        wide=float(rng.uniform(0.84, 1.05)), lean=float(rng.normal(0, 0.04)),
        joined=float(rng.random()), bend=float(abs(rng.normal(0, 0.5))),
        seed=int(rng.integers(1 << 30)))


# Kana

@functools.lru_cache(maxsize=None)
def parsed(stroke):
    """"x,y x,y* x,y>": points in hundredths of the box; * is a corner, > a tapered end."""
    tapers, corners, points = stroke.endswith(">"), [], []
    for i, word in enumerate(stroke.rstrip(">").split()):
        if word.endswith("*"):
            corners.append(i)
        points.append([float(number) for number in word.rstrip("*").split(",")])
    return np.float64(points), tuple(corners), tapers


def brush_widths(length, count, tapers, hand):
    """Comes down pointed or not, is lighter on the way, and is lifted at a tapered end."""
    t = np.linspace(0, 1, count)
    width = 1 + hand.contrast * (0.13 * np.cos(2 * np.pi * t) - 0.07)
    width *= 1 - 0.4 * hand.entry * np.clip(1 - t * length / 12, 0, 1)
    if tapers:
        lift = np.clip((1 - t) * length / 36, 0, 1)
        width *= 1 - (0.25 + 0.35 * hand.contrast) * (1 - lift)
    return width


def leaning(points, hand):
    x, y = (points - 50).T
    return np.stack([50 + hand.wide * x - hand.lean * y, 50 + y], 1)


def kana_lines(char, w, h, hand, rng):
    table = KANA[char]
    strokes = table["joined" if hand.joined < table.get("share", 0) else "strokes"]
    lines = []
    swing = rng.normal(0, 3 * hand.bend, 2) if hand.bend else None
    for stroke in strokes:
        points, corners, tapers = parsed(stroke)
        points = leaning(points, hand)
        if hand.bend:
            points = points + rng.normal(0, 2 * hand.bend, points.shape) + np.stack(
                [swing[0] * np.sin(points[:, 1] / 32), swing[1] * np.sin(points[:, 0] / 32)], 1)
        way, begin = [], 0
        for corner in tuple(corners) + (len(points) - 1,):
            way.append(smooth(points[begin:corner + 1]))
            begin = corner
        way = path(*way)
        length = np.linalg.norm(np.diff(way, axis=0), axis=1).sum()
        lines.append(Line(way / 100 * (w, h), "round", "round",
                          brush_widths(length, len(way), tapers, hand)))
    return lines


# Drawing

def digit_lines(use, char, hand, rng):
    width, height = BOXES[use]
    pen = hand.serial if use == "serial" else hand.small
    w, h = width - pen, height - pen
    lines = DIGITS[char](w, h, pen, hand) if char in DIGITS else letter(char, w, h)
    if hand.round_ends:
        for line in lines:
            line.start = "round" if line.start != "cut" or len(lines) == 1 else line.start
            line.end = "round" if line.end == "square" else line.end
    if hand.bend:
        warp = rng.normal(0, hand.bend, 4)
        for line in lines:
            u, v = (line.points / (w, h)).T
            line.points = line.points + np.stack([warp[0] * (v - 0.5) + warp[1] * np.sin(3 * v),
                                                  warp[2] * np.sin(3 * u)], 1)
    return lines, pen


def draw(use, char, hand):
    """The character's tile, PAD mm larger than its box on every side."""
    width, height = BOXES[use]
    rng = np.random.default_rng([hand.seed, ord(char), len(use)]) if hand.bend else None
    tile = np.zeros((round((height + 2 * PAD) * FINE), round((width + 2 * PAD) * FINE)), np.uint8)
    if use == "kana":
        pen = hand.brush
        lines = kana_lines(char, width - pen, height - pen, hand, rng)
    else:
        lines, pen = digit_lines(use, char, hand, rng)
    for line in lines:
        draw_line(tile, line, pen, PAD + pen / 2)
    if use != "kana":
        # Legs and tails are cut level with the box.
        edge = round((PAD - 0.5) * FINE)
        tile[:edge] = 0
        tile[-edge:] = 0
    return softened(tile, hand.soft if use == "serial" else hand.soft * 0.5)


glyph = kept_tiles(draw)
