"""Screws, their caps, and the seal of rear plates.  Sizes in mm on the plate."""
from dataclasses import dataclass

import cv2
import numpy as np

METALS = ((70, 177, 141), (50, 120, 90), (40, 90, 65), (90, 215, 170))   # dark, top, ring


@dataclass
class Screw:
    x: float
    y: float
    radius: float = 6.5
    metal: tuple = tuple((grey,) * 3 for grey in METALS[0])
    slots: tuple = (0.0,)        # radians


def random_screw(x, y, sealed, rng):
    metal = np.float64(METALS[int(rng.integers(4))])[:, None] * rng.uniform(0.5, 1.2)
    if rng.random() < 0.25:      # brass and rust
        metal = metal * (1.1, 0.9, rng.uniform(0.4, 0.75))
    capped = rng.random() < 0.15
    radius = rng.uniform(9, 15) if sealed or capped else rng.uniform(4.5, 7.5)
    turn = rng.uniform(0, np.pi)
    slots = () if sealed else (turn, turn + np.pi / 2)[:int(rng.integers(0, 3))]
    return Screw(x + rng.normal(0, 0.9), y + rng.normal(0, 0.9), radius,
                 np.broadcast_to(metal, (3, 3)), slots)


def clear_of_text(screw):
    """Caps stand beside the upper row, and none fits below the lower one."""
    if screw.y > 120:
        screw.radius = min(screw.radius, 6)
    elif abs(screw.x - 165) > 80:
        screw.x = 165 + np.sign(screw.x - 165) * max(abs(screw.x - 165), 88 + screw.radius)
    return screw


def draw_screw(plate, screw, px_per_mm):
    def px(mm):
        return round(mm * px_per_mm)
    colours = np.clip(screw.metal, 0.0, 255.0).tolist()
    for shift, radius, colour, line in ((0.8, screw.radius + 0.6, colours[0], -1),
                                        (0, screw.radius, colours[1], -1),
                                        (0, screw.radius * 0.7, colours[2], max(1, px(0.8)))):
        cv2.circle(plate, (px(screw.x + shift), px(screw.y + shift)), px(radius),
                   colour, line, cv2.LINE_AA)
    for angle in screw.slots:
        x, y = (screw.radius * 0.5 * f(angle) for f in (np.cos, np.sin))
        cv2.line(plate, (px(screw.x - x), px(screw.y - y)), (px(screw.x + x), px(screw.y + y)),
                 colours[0], max(1, px(1.2)), cv2.LINE_AA)


def draw_streak(plate, screw, length, px_per_mm, rng):
    """Rust that ran down from a screw."""
    x, y, half, end = (round(mm * px_per_mm) for mm in (screw.x, screw.y, screw.radius / 2,
                                                        screw.y + length))
    area = plate[max(y, 0):end, max(x - half, 0):x + half]
    fade = np.linspace(rng.uniform(0.2, 0.5), 0, len(area))[:, None, None]
    area[:] = area * (1 - fade) + np.float64((110, 60, 25)) * fade


def draw_screws(plate, places, sealed, px_per_mm, rng):
    """`sealed`: vehicles of the kind have a seal over the left screw of the rear plate."""
    if rng is None:
        for number, (x, y) in enumerate(places):
            screw = Screw(x, y, 11, slots=()) if sealed and number == 0 else Screw(x, y)
            draw_screw(plate, screw, px_per_mm)
        return
    sealed = sealed and rng.random() < 0.45
    for number, (x, y) in enumerate(places):
        if rng.random() < (0.4 if y > 120 else 0.04):
            continue
        screw = clear_of_text(random_screw(x, y, sealed and number == 0, rng))
        draw_screw(plate, screw, px_per_mm)
        if rng.random() < 0.05:
            draw_streak(plate, screw, rng.uniform(8, 40), px_per_mm, rng)
