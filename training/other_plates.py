"""What stands where a plate would be and is none: foreign plates, advertisements, bare fields.

Pictures are RGB, uint8.
"""
import functools

import cv2
import numpy as np

import backgrounds
from pasting import paste, random_start, write
from plates import HEIGHT, WIDTH, pick
from street import BOARD_WORDS, LATIN_WORDS, board_pool, text_strip

FOREIGN_GROUNDS = ((235, 235, 232), (240, 205, 40), (28, 60, 130), (25, 25, 28), (20, 90, 60),
                   (200, 40, 40))


def foreign_text(rng):
    form = pick(rng, ("AA 000 AA", "AAA 000", "A 000 AA", "AA-AA 000", "000 AAA", "A-AA 0000",
                      "AA 00000", "0AAA000", "A·00000", "00-AAA-0", "00 A 0000"))
    return "".join(pick(rng, "ABCDEHKLMNPRSTVXY") if c == "A" else
                   pick(rng, "0123456789") if c == "0" else c for c in form)


def foreign_plate(rng):
    """A number plate of another country's kind, most of them long ones."""
    height = 110
    width = int(height * pick(rng, (4.7, 4.7, 4.2, 3.0, 2.0)))
    ground = np.array(pick(rng, FOREIGN_GROUNDS))
    ink = (20, 20, 25) if ground.sum() > 380 else (240, 240, 240)
    plate = np.full((height, width, 3), ground, np.uint8)
    left = 0
    if rng.random() < 0.6:
        left = int(0.09 * width)
        plate[:, :left] = (20, 50, 150)
    strip = text_strip(foreign_text(rng), int(height * rng.uniform(0.55, 0.72)), rng)
    room = width - left - 16
    strip = cv2.resize(strip, (min(room, strip.shape[1] * 2), strip.shape[0]))
    x, y = left + (width - left - strip.shape[1]) // 2, (height - strip.shape[0]) // 2
    write(plate[y:, x:], strip, ink)
    cv2.rectangle(plate, (2, 2), (width - 3, height - 3), ink, 3)
    return plate


def sticker(rng):
    """An advertisement: a photograph with words on it."""
    board = backgrounds.cover(rng, (int(rng.uniform(120, 300)), 96))
    strip = text_strip(pick(rng, BOARD_WORDS + LATIN_WORDS), int(rng.uniform(20, 60)), rng)
    x, y = random_start(rng, board, strip)
    write(board[y:, x:], strip, rng.integers(0, 256, 3).tolist())
    return board


def bare_plate(rng):
    """Where a plate was taken off or not yet put on: a plain field with two holes."""
    ground = np.full((80, 160, 3), rng.uniform(20, 235) + rng.uniform(-12, 12, 3), np.uint8)
    for x in (29, 131):
        cv2.circle(ground, (x, 12), 4, (30, 30, 30), -1, cv2.LINE_AA)
    return ground


@functools.lru_cache(maxsize=1)
def others_pool():
    """Foreign plates, advertisements, bare fields."""
    makers = (foreign_plate, foreign_plate, sticker, bare_plate)
    return [makers[i % 4](np.random.default_rng([43, i])) for i in range(240)]


def random_other(rng):
    return pick(rng, others_pool() if rng.random() < 0.5 else board_pool())


def lay_other(image, rng, homography, light):
    """Something else where a plate would be: its size, or anything alike."""
    board = random_other(rng)
    w = WIDTH * rng.uniform(0.5, 1.6)
    h = np.clip(w * board.shape[0] / board.shape[1], 40, 400)
    x, y = (WIDTH - w) / 2, (HEIGHT - h) / 2
    to_mm = np.array([(w / board.shape[1], 0, x), (0, h / board.shape[0], y), (0, 0, 1)])
    mask = np.full(board.shape[:2], 255, np.uint8)
    paste(image, board, mask, homography @ to_mm, light)
