"""Draws vehicles around the place of a plate.

Vehicles are few flat shapes in millimetres, seen through the camera that also
sees the plate: x to the right, y down, z away from the camera, the plate's
centre at the origin.  Their lamps, grilles, edges and stickers stand where
they stand on the road.
"""
from dataclasses import dataclass

import numpy as np

from plates import pick
from street import board_pool, fill, paste_flat

def rounded_box(x0, y0, x1, y1, radius, z=0.0):
    """Corners of a box with cut-off corners, as N x 3 mm."""
    radius = min(radius, (x1 - x0) / 2, (y1 - y0) / 2)
    points, turns = [], np.linspace(0, np.pi / 2, 4)
    for cx, cy, start in ((x1 - radius, y0 + radius, -np.pi / 2), (x1 - radius, y1 - radius, 0),
                          (x0 + radius, y1 - radius, np.pi / 2), (x0 + radius, y0 + radius, np.pi)):
        points += [(cx + radius * np.cos(start + t), cy + radius * np.sin(start + t), z)
                   for t in turns]
    return np.array(points)


def disc(x, y, radius_x, radius_y, z=0.0):
    turns = np.linspace(0, 2 * np.pi, 20, endpoint=False)
    return np.stack([x + radius_x * np.cos(turns), y + radius_y * np.sin(turns),
                     np.full(20, z)], 1)


PAINTS = ((230, 230, 228), (200, 202, 205), (150, 153, 158), (30, 31, 34), (60, 62, 66),
          (150, 25, 28), (28, 52, 110), (70, 95, 75), (190, 170, 130), (225, 190, 60),
          (120, 160, 180), (90, 60, 45), (240, 240, 240), (35, 75, 60), (200, 110, 50))


@dataclass
class Vehicle:
    """Sizes in mm; heights are above the road."""
    rear: bool
    van: bool
    width: float
    bonnet: float             # height where the windscreen begins
    roof: float
    plate_height: float       # of the plate's centre
    plate_aside: float        # plate's centre right of the vehicle's middle
    slope: float              # degrees that the plate leans; below 0 it looks up
    paint: tuple
    trim: tuple
    grille: str               # bars, slats, mesh, none
    recess: str               # dark, body, none
    holder: float             # mm that a plate holder stands out
    lamp_level: float
    lit: bool                 # lamps on at night
    badge: object = None      # board on the panel
    seeds: int = 0            # for small irregularities that stay with the vehicle


def random_vehicle(rng):
    rear, van = rng.random() < 0.45, rng.random() < 0.4
    bonnet = rng.uniform(1000, 1250) if van else rng.uniform(750, 980)
    lowest, highest = (420, 0.8 * bonnet) if rear else (330, 0.6 * bonnet)
    return Vehicle(
        rear=rear, van=van, width=rng.uniform(1450, 1900), bonnet=bonnet,
        roof=bonnet + rng.uniform(500, 800),
        plate_height=rng.uniform(lowest, highest),
        plate_aside=pick(rng, (0, 0, 0, rng.uniform(-450, 450))),
        slope=rng.uniform(-10, 3) if rear else rng.uniform(-4, 4),
        paint=tuple(np.clip(np.array(pick(rng, PAINTS)) + rng.normal(0, 12, 3), 8, 245)),
        trim=tuple(np.full(3, rng.uniform(14, 60))),
        grille=pick(rng, ("bars", "slats", "mesh", "none")),
        recess=pick(rng, ("dark", "body", "none")),
        holder=pick(rng, (0, 0, 4, 9)), lamp_level=rng.uniform(0.72, 0.92),
        lit=rng.random() < 0.7,
        badge=pick(rng, board_pool()) if rng.random() < 0.4 else None,
        seeds=int(rng.integers(1 << 30)))


class Stage:
    """Draws one vehicle's shapes; heights above the road, x from its middle."""

    def __init__(self, image, vehicle, view):
        self.image, self.vehicle, self.view = image, vehicle, view

    def place(self, points):
        """N x 3 of (x, height, z) to pixels."""
        points = np.array(points, np.float64)
        points[:, 0] -= self.vehicle.plate_aside
        points[:, 1] = self.vehicle.plate_height - points[:, 1]
        return self.view.project(points)

    def shape(self, points, top, bottom=None, alpha=1.0):
        fill(self.image, self.place(points), top, bottom, alpha)

    def box(self, x0, low, x1, high, z, top, bottom=None, radius=0.0, alpha=1.0):
        self.shape(rounded_box(x0, low, x1, high, radius, z), top, bottom, alpha)

    def pair(self, x0, low, x1, high, z, top, bottom=None, radius=0.0, alpha=1.0):
        """A box and its mirror image."""
        self.box(x0, low, x1, high, z, top, bottom, radius, alpha)
        self.box(-x1, low, -x0, high, z, top, bottom, radius, alpha)

    def board(self, board, x, low, height, z):
        width = height * board.shape[1] / board.shape[0]
        paste_flat(self.image, board, self.place(
            [(x, low + height, z), (x + width, low + height, z), (x + width, low, z),
             (x, low, z)]))


def draw_shadow_and_wheels(stage):
    half = stage.vehicle.width / 2
    for grow, alpha in ((1.12, 0.35), (1.0, 0.6)):
        stage.shape([(-half * grow, 0, -200 * grow), (half * grow, 0, -200 * grow),
                     (half * grow, 0, 4200), (-half * grow, 0, 4200)], (25, 25, 28),
                    alpha=alpha)
    stage.pair(half - 240, 0, half - 30, 620, 420, (18, 18, 20), (34, 34, 36), 30)


def cabin_depth(vehicle):
    """Where the windscreen begins and ends, mm behind the face."""
    return (80, 350) if vehicle.van else (700, 1300)


def draw_sides(stage):
    vehicle, paint = stage.vehicle, np.array(stage.vehicle.paint)
    half, eye = vehicle.width / 2, stage.view.eye()[0] + vehicle.plate_aside
    near, far = cabin_depth(vehicle)
    for side in (-half, half):
        if abs(eye) < half or eye * side < 0:
            continue
        stage.shape([(side, 220, 60), (side, vehicle.bonnet * 0.95, 60),
                     (side * 0.97, vehicle.bonnet, 3900), (side, 220, 4000)],
                    paint * 0.8, paint * 0.4)
        stage.shape([(side * 0.96, vehicle.bonnet, near), (side * 0.8, vehicle.roof, far),
                     (side * 0.8, vehicle.roof, 3700), (side * 0.96, vehicle.bonnet, 3900)],
                    paint * 0.75, paint * 0.65)
        stage.shape([(side * 0.94, vehicle.bonnet + 40, near + 250),
                     (side * 0.82, vehicle.roof - 60, far + 250),
                     (side * 0.82, vehicle.roof - 60, 3500),
                     (side * 0.94, vehicle.bonnet + 40, 3700)], (45, 52, 58), (25, 28, 32))


def draw_cabin(stage):
    vehicle, paint = stage.vehicle, np.array(stage.vehicle.paint)
    half = vehicle.width / 2
    near, far = cabin_depth(vehicle)
    stage.shape([(-half * 0.97, vehicle.bonnet * 0.93, 40),
                 (half * 0.97, vehicle.bonnet * 0.93, 40),
                 (half * 0.95, vehicle.bonnet, near), (-half * 0.95, vehicle.bonnet, near)],
                paint * 1.12, paint)
    stage.shape([(-half * 0.95, vehicle.bonnet, near), (half * 0.95, vehicle.bonnet, near),
                 (half * 0.8, vehicle.roof, far), (-half * 0.8, vehicle.roof, far)],
                paint * 1.05, paint * 0.9)
    stage.shape([(-half * 0.88, vehicle.bonnet + 30, near + 20),
                 (half * 0.88, vehicle.bonnet + 30, near + 20),
                 (half * 0.73, vehicle.roof - 60, far - 40),
                 (-half * 0.73, vehicle.roof - 60, far - 40)], (110, 125, 135), (38, 44, 50))


def draw_panel(stage, rng):
    """The painted face with its creases, and the bumper below."""
    vehicle, paint = stage.vehicle, np.array(stage.vehicle.paint)
    half, top = vehicle.width / 2, vehicle.bonnet * 0.95
    # The corners are rounded off the face, the body behind it closes them.
    stage.box(-half, 220, half, top, 60, paint * 0.85, paint * 0.5, 40)
    stage.box(-half, 190, half, top, 30, paint * 1.06, paint * 0.72, 160)
    for level in rng.uniform(0.3, 0.95, int(rng.integers(1, 4))) * top:
        stage.box(-half * 0.95, level, half * 0.95, level + 14, 24, paint * 0.6, paint * 1.2,
                  alpha=0.8)
    split = rng.uniform(260, 420)
    stage.box(-half * 0.97, 190, half * 0.97, split, 20, vehicle.trim, np.array(vehicle.trim) * 0.6,
              80)


def draw_bar_field(stage, x0, low, x1, high, kind, bright):
    count = {"bars": 14, "slats": 5, "mesh": 9}.get(kind, 0)
    for i in range(count):
        at, thick = (i + 0.3) / count, 0.35 / count
        if kind != "slats":
            x = x0 + (x1 - x0) * at
            stage.box(x, low, x + (x1 - x0) * thick, high, 12, bright, bright * 0.6)
        if kind != "bars":
            y = low + (high - low) * at
            stage.box(x0, y, x1, y + (high - low) * thick, 11, bright, bright * 0.6)


def draw_front(stage, rng):
    vehicle = stage.vehicle
    half, top = vehicle.width / 2, vehicle.bonnet * 0.95
    high = top * rng.uniform(0.85, 0.95)
    low = high - rng.uniform(0.12, 0.4) * top
    wide = half * rng.uniform(0.35, 0.7)
    bright = np.full(3, rng.choice((45.0, 90.0, 190.0)))
    if vehicle.grille != "none":
        stage.box(-wide, low, wide, high, 15, (24, 24, 26), (12, 12, 14), 40)
        draw_bar_field(stage, -wide, low, wide, high, vehicle.grille, bright)
    stage.shape(disc(0, high - 50, 42, 34, 8), (225, 226, 230), (110, 112, 118))
    lamp, level = rng.uniform(120, 260), top * vehicle.lamp_level
    stage.pair(half - rng.uniform(330, 520), level - lamp, half - 30, level, 14, (60, 64, 70),
               (170, 176, 182), 60)
    stage.pair(half - 250, level - lamp * 0.8, half - 110, level - lamp * 0.2, 8,
               (250, 250, 248), (190, 195, 205), 70)
    if rng.random() < 0.7:
        stage.box(-half * 0.6, 230, half * 0.6, rng.uniform(300, 400), 12, (16, 16, 18), None, 30)
    if rng.random() < 0.5:
        stage.pair(half - 330, 330, half - 210, 430, 10, (220, 222, 220), (120, 122, 126), 50)


def draw_rear(stage, rng):
    vehicle, paint = stage.vehicle, np.array(stage.vehicle.paint)
    half, top = vehicle.width / 2, vehicle.bonnet * 0.95
    lamp, wide = rng.uniform(150, 420), rng.uniform(120, 380)
    stage.pair(half - 20 - wide, top - 40 - lamp, half - 20, top - 40, 14, (190, 25, 28),
               (120, 10, 14), 40)
    stage.pair(half - 20 - wide * 0.6, top - 40 - lamp, half - 20, top - 40 - lamp * 0.7, 8,
               (235, 150, 60), (200, 110, 30), 10)
    if rng.random() < 0.5:
        level = vehicle.plate_height + rng.uniform(110, 200)
        stage.box(-half * 0.4, level, half * 0.4, level + 35, 6, (225, 226, 230),
                  (120, 122, 128), 15)
    stage.shape(disc(0, top - 60, 38, 32, 8), (215, 216, 220), (110, 112, 118))
    if rng.random() < 0.4:
        stage.shape(disc(half * 0.5, 210, 60, 40, 5), (90, 90, 92), (20, 20, 20))
    stage.box(-half * 0.9, 330, half * 0.9, 350, 8, paint * 0.55, paint * 0.9)


def draw_plate_place(stage, rng):
    """What a plate is fixed to."""
    vehicle, paint = stage.vehicle, np.array(stage.vehicle.paint)
    x, y = vehicle.plate_aside, vehicle.plate_height
    if vehicle.recess != "none":
        wide, high = rng.uniform(185, 300), rng.uniform(95, 150)
        top = np.full(3, rng.uniform(15, 60)) if vehicle.recess == "dark" else paint * 0.7
        stage.box(x - wide, y - high, x + wide, y + high, 6, top, top * rng.uniform(0.7, 1.3), 25)


def draw_badges(stage, rng):
    """Names, stickers and fleet numbers on the bodywork."""
    vehicle = stage.vehicle
    half, top = vehicle.width / 2, vehicle.bonnet * 0.95
    if vehicle.badge is not None:
        x = pick(rng, (-half * 0.9, half * 0.35, -half * 0.4))
        stage.board(vehicle.badge, x, rng.uniform(0.55, 0.9) * top, rng.uniform(40, 110), 5)
    for _ in range(int(rng.integers(0, 3))):
        stage.board(pick(rng, board_pool()), rng.uniform(-0.7, 0.4) * half,
                    vehicle.bonnet + rng.uniform(40, 200), rng.uniform(50, 130), 300)


def draw_vehicle(image, vehicle, view):
    """Draws the vehicle around the place of its plate; the plate comes later.

    `view.project` takes N x 3 mm around the plate's centre to N x 2 px,
    `view.eye` tells where the camera is among them.
    """
    rng = np.random.default_rng(vehicle.seeds)
    stage = Stage(image, vehicle, view)
    draw_shadow_and_wheels(stage)
    draw_sides(stage)
    draw_cabin(stage)
    draw_panel(stage, rng)
    (draw_rear if vehicle.rear else draw_front)(stage, rng)
    draw_badges(stage, rng)
    draw_plate_place(stage, rng)
