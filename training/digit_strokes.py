"""The digits and class letters of licence plates as lines of an even pen.

Each has a field of w x h for the middle of the pen, whose width is p.  `hand` is
a lettering.Hand: it says how the die maker varies them.
"""
import numpy as np

from pen import Line, arc, curve, path


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
