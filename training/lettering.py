"""The characters of Japanese licence plates as strokes of a pen.

No font has them: plates are pressed with dies of their own, cut by the makers
of the districts, of whom two ways are told apart here.  Digits and class
letters are one even line with cut ends, kana are written with a brush.  A Hand
is one die maker's way: weights, ends, bends and the mixture of the two ways.

Tiles are uint8 at FINE px per mm, 255 where there is paint.  All sizes in mm.
"""
import functools
from dataclasses import dataclass

import cv2
import numpy as np

from kana_strokes import KANA

FINE = 4         # px per mm that tiles are drawn at; plates shrink them
PAD = 3.0        # mm around the box, for strokes that bend out of it
SHIFT = 4        # bits behind the point in cv2's coordinates

BOXES = {"serial": (40.0, 80.0), "class": (23.5, 40.0), "kana": (40.0, 41.0)}
CLASS_LETTERS = "ACFHKLMPXY"


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


# Lines

@dataclass
class Line:
    """The pen's way.  `start` and `end`: "cut" at the last point, "square" or
    "round" half a pen beyond it."""
    points: np.ndarray
    start: str = "square"
    end: str = "square"
    widths: np.ndarray = None     # of the pen, at each point; None: 1


def arc(cx, cy, rx, ry, first, last, steps=18):
    """Part of an ellipse; 0 is right, 90 down (degrees)."""
    turn = np.radians(np.linspace(first, last, steps))
    return np.stack([cx + rx * np.cos(turn), cy + ry * np.sin(turn)], 1)


def curve(*points, steps=14):
    """A Bezier curve of any degree."""
    points = np.float64(points)
    t = np.linspace(0, 1, steps)[:, None, None]
    points = np.repeat(points[None], steps, 0)
    while points.shape[1] > 1:
        points = points[:, :-1] * (1 - t) + points[:, 1:] * t
    return points[:, 0]


def path(*parts):
    return np.concatenate([np.atleast_2d(np.float64(part)) for part in parts])


# Digits.  Each in a field of w x h for the middle of the pen (width p).

def zero(w, h, p, hand):
    ry = w / 2 * (1.25 + 0.75 * (1 - hand.square))
    loop = path(arc(w / 2, ry, w / 2, ry, 180, 360), arc(w / 2, h - ry, w / 2, ry, 0, 180))
    return [Line(path(loop, loop[:2]), "cut", "cut")]


def one(w, h, p, hand):
    return [Line(path((w / 2, 0), (w / 2, h)))]


def two(w, h, p, hand):
    ry = w * (0.52 + 0.06 * hand.way)
    bow = arc(w / 2, ry, w / 2, ry, 198 - 8 * hand.way, 372)
    slant = curve(bow[-1], (0.86 * w, 1.35 * ry), (0.35 * w, 0.78 * h), (0, h))
    return [Line(path(bow, slant[1:]), "cut", "round"), Line(path((0, h), (w, h)))]


def lower_bowl(w, h, top, first, last):
    ry = (h - top) / 2
    rx = min(w / 2, ry * 1.15)
    return arc(w - rx, top + ry, rx, ry, first, last)


def three(w, h, p, hand):
    y = hand.waist * h
    bowl = path((0.42 * w, y), lower_bowl(w, h, y, -90, 130))
    start = arc(0.5 * w, h - 0.42 * w, 0.5 * w, 0.42 * w, 90, 158 + 8 * hand.way)
    bowl = path(bowl[:-5], start[1:])
    if hand.flat_three:
        top = path((0.03 * w, 0), (0.95 * w, 0), (0.42 * w, y))
        return [Line(top, "square", "round"), Line(bowl, "round", "cut")]
    ry = y / 2
    rx = 0.47 * w
    top = path(arc(0.5 * w, 0.42 * w, 0.48 * w, 0.42 * w, 200 - 10 * hand.way, 270),
               arc(0.96 * w - rx, ry, rx, ry, -90, 90)[1:], (0.42 * w, y))
    return [Line(top, "cut", "cut"), Line(bowl, "cut", "cut")]


def four(w, h, p, hand):
    x, y = (0.74 - 0.04 * hand.way) * w, (0.73 + 0.03 * hand.way) * h
    if hand.open_four:
        return [Line(path((0.42 * w, -p), (0, y), (w, y)), "cut", "square"),
                Line(path((x, 0.32 * h), (x, h)))]
    return [Line(path((x - 0.08 * w, -0.02 * h), (0, y)), "round", "round"),
            Line(path((0, y), (w, y))), Line(path((x, 0), (x, h)))]


def five(w, h, p, hand):
    x, y = 0.08 * w, (0.40 + 0.03 * hand.way) * h
    ry = (h - y) / 2
    rx = min(w / 2, ry * 1.1)
    stem = path((x + 0.04 * w, 0), (x, y + 0.06 * h))
    bowl = path((x, y + 0.07 * h), arc(w - rx, y + ry, rx, ry, -112, 60),
                arc(0.5 * w, h - 0.42 * w, 0.5 * w, 0.42 * w, 80, 156 + 8 * hand.way))
    return [Line(path((x + 0.04 * w, 0), (0.97 * w, 0))), Line(stem, "square", "cut"),
            Line(bowl, "cut", "cut")]


def six(w, h, p, hand):
    r = w / 2
    ry = r * (1.12 + 0.1 * hand.way)
    cy = h - ry
    ring = arc(r, cy, r, ry, 180, -180, 30)
    straight = np.float64([(0.74 * w, -0.25 * p), (0.16 * w, 0.42 * h), (0, 0.5 * h), (0, cy)])
    curled = np.float64([(0.98 * w, 0.16 * h), (0.75 * w, -0.16 * h), (0, -0.1 * h), (0, cy)])
    tail = curve(*(straight + hand.tail * 0.9 * (curled - straight)), steps=20)
    return [Line(path(tail, ring), "cut", "cut")]


def seven(w, h, p, hand):
    low, kink = (0.36 - 0.05 * hand.way) * w, hand.leg
    leg = curve((w, 0), ((0.98 - 0.3 * kink) * w, (0.12 + 0.2 * kink) * h),
                (low + 0.06 * w, (0.5 - 0.1 * kink) * h), (low, h + p))
    lines = [Line(path((0, 0), (w, 0))), Line(leg, "round", "cut")]
    if hand.seven_serif:
        lines.append(Line(path((0, 0), (0, 0.14 * h))))
    return lines


def eight(w, h, p, hand):
    y = hand.waist * h
    narrow = (0.90 + 0.04 * hand.way) * w
    upper = arc(w / 2, y / 2, narrow / 2, y / 2, 0, 372, 32)
    lower = arc(w / 2, (y + h) / 2, w / 2, (h - y) / 2, 0, 372, 32)
    return [Line(upper, "cut", "cut"), Line(lower, "cut", "cut")]


def nine(w, h, p, hand):
    return [Line(np.float64((w, h)) - line.points, line.start, line.end)
            for line in six(w, h, p, hand)]


DIGITS = dict(zip("0123456789", (zero, one, two, three, four, five, six, seven, eight, nine)))

# Class letters in a field of 1 x 1: lines of corners, "C" and "P" have bows.
LETTERS = {
    "A": [[(0, 1), (.5, 0), (1, 1)], [(.2, .66), (.8, .66)]],
    "F": [[(1, 0), (0, 0), (0, 1)], [(0, .47), (.85, .47)]],
    "H": [[(0, 0), (0, 1)], [(1, 0), (1, 1)], [(0, .47), (1, .47)]],
    "K": [[(0, 0), (0, 1)], [(1, 0), (0, .58)], [(.36, .38), (1, 1)]],
    "L": [[(0, 0), (0, 1), (1, 1)]],
    "M": [[(0, 1), (0, 0), (.5, .62), (1, 0), (1, 1)]],
    "X": [[(0, 0), (1, 1)], [(1, 0), (0, 1)]],
    "Y": [[(0, 0), (.5, .5), (1, 0)], [(.5, .5), (.5, 1)]],
}


def letter(char, w, h):
    if char == "C":
        return [Line(path(arc(w / 2, .3 * h, w / 2, .3 * h, -20, -180),
                          arc(w / 2, .7 * h, w / 2, .3 * h, 180, 20)), "cut", "cut")]
    if char == "P":
        bow = path((0, 0), arc(.55 * w, .27 * h, .45 * w, .27 * h, -90, 90), (0, .54 * h))
        return [Line(path((0, 0), (0, h))), Line(bow)]
    return [Line(np.float64(line) * (w, h)) for line in LETTERS[char]]


# Kana

def smooth(points, steps=7):
    """A line through the points without corners (Catmull-Rom)."""
    if len(points) == 2:
        return curve(*points, steps=steps)
    ends = path(2 * points[0] - points[1], points, 2 * points[-1] - points[-2])
    t = np.linspace(0, 1, steps, endpoint=False)[:, None]
    parts = []
    for a, b, c, d in zip(ends, ends[1:], ends[2:], ends[3:]):
        parts.append(0.5 * (2 * b + (c - a) * t + (2 * a - 5 * b + 4 * c - d) * t ** 2
                            + (3 * b - a - 3 * c + d) * t ** 3))
    return path(*parts, points[-1])


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

def fixed(points):
    return np.round(points * (1 << SHIFT)).astype(np.int32)


def extended(line, reach):
    """The line's points with square ends drawn out."""
    points = line.points
    if line.start == "square":
        way = points[0] - points[1]
        points = path(points[0] + reach * way / max(np.linalg.norm(way), 1e-6), points[1:])
    if line.end == "square":
        way = points[-1] - points[-2]
        points = path(points[:-1], points[-1] + reach * way / max(np.linalg.norm(way), 1e-6))
    return points


def draw_brush(tile, points, widths):
    for a, b, width in zip(fixed(points[:-1]).tolist(), fixed(points[1:]).tolist(),
                           np.round((widths[:-1] + widths[1:]) / 2).astype(int).tolist()):
        cv2.line(tile, a, b, 255, max(width, 1), cv2.LINE_8, SHIFT)


def draw_line(tile, line, pen, origin):
    """Quads from point to point, and round joints between."""
    points, pen = (extended(line, pen / 2) + origin) * FINE, pen * FINE
    if line.widths is not None:
        draw_brush(tile, points, line.widths * pen)
        return
    step = np.diff(points, axis=0)
    length = np.linalg.norm(step, axis=1)
    side = np.stack([-step[:, 1], step[:, 0]], 1) * (pen / 2 / np.maximum(length, 1e-3))[:, None]
    quads = fixed(np.stack([points[:-1] + side, points[1:] + side, points[1:] - side,
                            points[:-1] - side], 1))
    for quad in quads[length > 1e-3]:
        cv2.fillConvexPoly(tile, quad, 255, cv2.LINE_8, SHIFT)
    # Joints near a cut end would stand out of it.
    run = np.concatenate([[0], np.cumsum(length)])
    inner = (line.start == "round") | (run >= pen / 2)
    inner &= (line.end == "round") | (run[-1] - run >= pen / 2)
    if inner.sum() > 1:
        cv2.polylines(tile, [fixed(points[inner])], False, 255, max(1, round(pen)),
                      cv2.LINE_8, SHIFT)


def softened(tile, soft):
    """Corners rounded by about `soft` mm, as a press leaves them."""
    blurred = cv2.GaussianBlur(tile, (0, 0), max(soft * FINE * 0.7, 0.5))
    return cv2.threshold(blurred, 127, 255, cv2.THRESH_BINARY)[1]


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


def kept_tiles(drawn):
    """`drawn` with a memory.  Called with px_per_mm before the others: small plates
    get tiles of half the size.  They are shared between calls: do not write to them."""
    @functools.lru_cache(maxsize=8000)
    def small(*what):
        return cv2.resize(drawn(*what), None, fx=0.5, fy=0.5, interpolation=cv2.INTER_AREA)
    large = functools.lru_cache(maxsize=1000)(drawn)
    return lambda px_per_mm, *what: (small if px_per_mm < 0.4 * FINE else large)(*what)


glyph = kept_tiles(draw)
