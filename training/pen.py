"""A pen that draws lines into tiles, which are uint8, 255 where there is paint,
at FINE px per mm, with PAD mm around the box of a character.  Sizes in mm.
"""
import functools
from dataclasses import dataclass

import cv2
import numpy as np

FINE = 4         # plates shrink the tiles
PAD = 3.0        # for strokes that bend out of their box
SHIFT = 4        # bits behind the point in cv2's coordinates


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


def kept_tiles(drawn):
    """`drawn` with a memory.  Called with px_per_mm before the others: small plates
    get tiles of half the size.  They are shared between calls: do not write to them."""
    @functools.lru_cache(maxsize=8000)
    def small(*what):
        return cv2.resize(drawn(*what), None, fx=0.5, fy=0.5, interpolation=cv2.INTER_AREA)
    large = functools.lru_cache(maxsize=1000)(drawn)
    return lambda px_per_mm, *what: (small if px_per_mm < 0.4 * FINE else large)(*what)
