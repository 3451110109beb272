"""Bodywork around the place of a plate, drawn flat: paint, grilles, lamps, a recess.

Pictures are RGB, uint8.
"""
import cv2
import numpy as np

import backgrounds
from other_plates import random_other
from pasting import paste
from plates import HEIGHT, WIDTH, pick
from street import fill, paste_flat

PANEL = (640, 360)       # mm, and px: one each


def reflections(rng, size):
    """What paint and chrome mirror: a photograph drawn out sideways, soft or sharp."""
    picture = backgrounds.cover(rng, (max(8, size[0] // 3), max(8, size[1] // 3)))
    blur = rng.uniform(0.3, 6)
    picture = cv2.GaussianBlur(picture, (0, 0), blur * rng.uniform(1, 4), sigmaY=blur)
    return cv2.resize(picture, tuple(size), interpolation=cv2.INTER_LINEAR)


def shade_with(image, mask, rng):
    """Mixes reflections into what the mask covers."""
    share = mask.astype(np.float32) * np.float32(rng.uniform(0.05, 0.5) / 255)
    image[:] = cv2.blendLinear(image, reflections(rng, image.shape[1::-1]), 1 - share, share)


def random_paint(rng):
    way = rng.random()
    if way < 0.35:
        return np.full(3, rng.uniform(185, 250)) + rng.uniform(-6, 6, 3)
    if way < 0.65:
        return np.full(3, rng.uniform(10, 160)) + rng.uniform(-6, 6, 3)
    colour = rng.uniform(0, 255, 3)
    return colour * rng.uniform(0.4, 1)


def draw_bars(panel, rng):
    """A grille, above or below or behind the plate."""
    width, height = PANEL
    y0 = rng.uniform(-0.1, 0.8) * height
    y1 = y0 + rng.uniform(0.1, 0.6) * height
    fill(panel, [(0, y0), (width, y0), (width, y1), (0, y1)], (14, 14, 16), (34, 34, 36))
    bright = np.full(3, rng.uniform(40, 240))
    count, thick = int(rng.integers(3, 22)), rng.uniform(0.2, 0.6)
    upright = rng.random() < 0.4
    for i in range(count):
        if upright:
            x = width * (i + 0.2) / count
            w = width * thick / count
            bar = [(x, y0), (x + w, y0), (x + w, y1), (x, y1)]
        else:
            y = y0 + (y1 - y0) * (i + 0.2) / count
            h = (y1 - y0) * thick / count
            bar = [(0, y), (width, y), (width, y + h), (0, y + h)]
        fill(panel, bar, bright, bright * rng.uniform(0.3, 1))


def draw_lamp(panel, rng):
    centre = np.array(PANEL) * (pick(rng, (rng.uniform(0, 0.2), rng.uniform(0.8, 1))),
                                rng.uniform(0, 1))
    axes = rng.uniform(15, 90, 2)
    glass = pick(rng, ((235, 235, 240), (190, 25, 25), (240, 150, 40), (90, 95, 100)))
    for grow, shade in ((1.15, 0.3), (1.0, 1.0), (0.5, 1.3)):
        cv2.ellipse(panel, tuple(np.int32(centre).tolist()),
                    tuple(np.int32(axes * grow).tolist()), 0, 0, 360,
                    np.clip(np.array(glass) * shade, 0, 255).tolist(), -1, cv2.LINE_AA)


def draw_panel(rng):
    """Bodywork around the place of a plate, and its mask."""
    width, height = PANEL
    paint = random_paint(rng)
    panel = np.zeros((height, width, 3), np.uint8)
    fill(panel, [(0, 0), (width, 0), (width, height), (0, height)], paint * rng.uniform(0.9, 1.3),
         paint * rng.uniform(0.4, 1))
    for _ in range(int(rng.integers(0, 3))):
        y = rng.uniform(0, height)
        fill(panel, [(0, y), (width, y + rng.normal(0, 20)), (width, y + 30), (0, y + 14)],
             paint * 0.5, paint * 1.2, 0.7)
    if rng.random() < 0.4:
        draw_bars(panel, rng)
    for _ in range(int(rng.integers(0, 3))):
        draw_lamp(panel, rng)
    if rng.random() < 0.7:
        shade_with(panel, np.full(panel.shape[:2], 255, np.uint8), rng)
    if rng.random() < 0.5:
        draw_recess(panel, rng, paint)
    for _ in range(int(rng.integers(0, 3))):
        x, y, h = rng.uniform((0, 0, 15), (0.8 * width, 0.9 * height, 60))
        board = random_other(rng)
        w = h * board.shape[1] / board.shape[0]
        paste_flat(panel, board, [(x, y), (x + w, y), (x + w, y + h), (x, y + h)])
    return panel, panel_mask(rng)


def draw_recess(panel, rng, paint):
    middle = np.array(PANEL) / 2
    half = np.array((WIDTH, HEIGHT)) / 2 * rng.uniform(1.05, 1.6, 2)
    lean = rng.uniform(0, 60)
    quad = middle + np.array([(-1, -1), (1, -1), (1, 1), (-1, 1)]) * half
    quad[2:, 0] += (-lean, lean)
    dark = np.full(3, rng.uniform(8, 60)) if rng.random() < 0.6 else paint * rng.uniform(0.5, 0.9)
    fill(panel, quad, dark, dark * rng.uniform(0.7, 1.6))


def panel_mask(rng):
    """A part of the panel of any shape around its middle, sharp or soft at the edge."""
    width, height = PANEL
    mask = np.zeros((height, width), np.uint8)
    turns = np.linspace(0, 2 * np.pi, 14, endpoint=False) + rng.uniform(0, 0.3, 14)
    reach = rng.uniform(0.6, 1.4, 14)[:, None]
    shape = np.array(PANEL) / 2 * (1 + reach * np.stack([np.cos(turns), np.sin(turns)], 1))
    cv2.fillPoly(mask, [np.int32(shape)], 255, cv2.LINE_AA)
    if rng.random() < 0.5:
        mask = cv2.GaussianBlur(mask, (0, 0), rng.uniform(1, 25))
    return mask


def lay_panel(image, rng, homography, light):
    panel, mask = draw_panel(rng)
    to_mm = np.array([(1, 0, (WIDTH - PANEL[0]) / 2), (0, 1, (HEIGHT - PANEL[1]) / 2),
                      (0, 0, 1.0)])
    paste(image, panel, mask, homography @ to_mm, light)
