"""Characters of plates: digits as strokes of our own, kana and kanji cut from fonts.

A glyph is an 8-bit coverage picture that fills its box: 255 is ink.
"""
from functools import lru_cache

import cv2
import numpy as np
from PIL import Image, ImageDraw, ImageFont

import packages

# Paths of the digits' middle lines in a box of 40 x 80 mm whose strokes are STROKE wide:
# lists of points; "A" is an arc (centre x, y, radius x, y, from, to in degrees, clockwise
# from the right as y points down).
STROKE = 12.0
MOST_INK = 0.52                        # of a kanji's box; beyond, its strokes close up
DIGITS = {
    "0": [[("A", 20, 20, 14, 14, 180, 360), ("A", 20, 60, 14, 14, 0, 180), (6, 20)]],
    "1": [[(22, 5), (22, 75)]],
    "2": [[("A", 20, 20.5, 13.5, 14.5, 190, 385), (8, 64), (6.5, 74), (35, 74)]],
    "3": [[("A", 19.5, 21, 13, 15.5, 195, 450), (13, 36.5)],
          [(13, 37), ("A", 19.5, 55.5, 14.5, 18.5, 270, 525)]],
    "4": [[(21, 5), (5.5, 55), (36, 55)], [(27.5, 34), (27.5, 75)]],
    "5": [[(33, 6), (10, 6), (7.5, 38), ("A", 20, 53, 14, 21, 235, 510)]],
    "6": [[(28, 5), (22, 14), ("A", 20, 54, 14, 20, 200, 560)]],
    "7": [[(5.5, 6), (34, 6), (33, 15), (20, 42), (17, 60), (16.5, 75)]],
    "8": [[("A", 20, 22, 12, 16, 90, 450)], [("A", 20, 56, 14, 18, -90, 270)]],
    "9": [[(12, 75), (18, 66), ("A", 20, 26, 14, 20, 20, 380)]],
}


def points_of(path):
    points = []
    for step in path:
        if step[0] != "A":
            points.append(step)
            continue
        x, y, rx, ry, start, end = step[1:]
        turn = np.radians(np.linspace(start, end, 40))
        points += list(zip(x + rx * np.cos(turn), y + ry * np.sin(turn)))
    return np.array(points, float)


def strokes(char, box, weight, px_per_mm):
    """A digit in a box of (width, height) mm with strokes of `weight` mm."""
    fine = 2 * px_per_mm
    size = np.ceil(np.array(box) * fine).astype(int)
    picture = np.zeros((size[1], size[0]), np.uint8)
    inner = (np.array(box) - weight) / (np.array((40.0, 80.0)) - STROKE)
    for path in DIGITS[char]:
        middle = (points_of(path) - STROKE / 2) * inner + weight / 2
        cv2.polylines(picture, [np.rint(middle * fine * 16).astype(np.int32)], False, 255,
                      max(1, round(weight * fine)), cv2.LINE_AA, 4)
    return cv2.resize(picture, (round(box[0] * px_per_mm), round(box[1] * px_per_mm)),
                      interpolation=cv2.INTER_AREA)


@lru_cache(maxsize=None)
def face(name, size):
    return ImageFont.truetype(str(packages.font(name)), size)


def ink(char, name):
    """A character of a font, large, cut to its ink."""
    picture = Image.new("L", (400, 400))
    ImageDraw.Draw(picture).text((60, 20), char, 255, face(name, 280))
    picture = np.array(picture)
    rows, columns = np.flatnonzero(picture.any(1)), np.flatnonzero(picture.any(0))
    return picture[rows[0]:rows[-1] + 1, columns[0]:columns[-1] + 1]


def stroke_width(picture):
    """Mean width of the strokes in pixels: ink over the length of its middle lines."""
    solid = (picture > 127).astype(np.uint8)
    depth = cv2.distanceTransform(solid, cv2.DIST_L2, 5)
    ridge = (depth >= cv2.dilate(depth, np.ones((3, 3)))) & (depth > 1)
    return 2 * float(np.median(depth[ridge])) if ridge.any() else 1.0


def cut(char, name, box, weight, px_per_mm):
    """A font's character filling box (width, height) mm, strokes near `weight` mm, ends rounded.

    Kana keep their proportions: they are as wide as the box or as high, not both.
    """
    fine = 3 * px_per_mm
    glyph = ink(char, name)
    size = np.array(box) * fine
    if "ぁ" <= char <= "ん" and max(glyph.shape) < 2.5 * min(glyph.shape):
        size = np.array(glyph.shape[::-1]) * min(size / glyph.shape[::-1])
    size = np.rint(size).astype(int)
    spare = round(weight * fine)
    glyph = cv2.resize(glyph, tuple(np.maximum(size - spare, 4)), interpolation=cv2.INTER_AREA)
    glyph = cv2.copyMakeBorder(glyph, *[spare // 2 + 1] * 4, cv2.BORDER_CONSTANT)
    solid = (glyph > 110).astype(np.uint8)
    # Distance to the ink's edge, positive inside: moving the edge thickens or thins the strokes.
    edge = (cv2.distanceTransform(solid, cv2.DIST_L2, 5)
            - cv2.distanceTransform(1 - solid, cv2.DIST_L2, 5))
    edge = cv2.GaussianBlur(edge, (0, 0), 0.12 * weight * fine)
    had = stroke_width(glyph)
    for thinner in (1, 0.88, 0.77, 0.68, 0.6):          # dense kanji have finer strokes
        change = max((thinner * weight * fine - had) / 2, -0.3 * had)
        if np.mean(edge > -change) < MOST_INK:
            break
    glyph = np.clip((edge + change) * 255 + 127, 0, 255).astype(np.uint8)
    return cv2.resize(glyph, None, fx=1 / 3, fy=1 / 3, interpolation=cv2.INTER_AREA)
