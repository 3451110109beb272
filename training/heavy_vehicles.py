"""Draws lorries and buses around the place of a plate, for scenes among photographs.

They are vehicles as in vehicles.py, in the same millimetres.  Their plates hang low on a
wide face, close to lamps, bumpers and boards, and most of them are green and large.
"""
import numpy as np

from plates import pick
from street import board_pool
from vehicles import PAINTS, Stage, Vehicle, disc, draw_bar_field

GLASS = ((95, 110, 120), (28, 33, 38))
DARK = (22, 22, 24)
RED, AMBER, WHITE = (195, 22, 26), (240, 150, 45), (238, 238, 235)


def random_heavy(rng):
    rear = rng.random() < 0.55
    low = rng.uniform(420, 780)
    # Its plate hangs on one side as often as in the middle.
    aside = 0.0 if rng.random() < 0.5 else rng.uniform(-850, 850)
    return Vehicle(
        rear=rear, van=bool(rng.random() < 0.45), width=rng.uniform(1900, 2500),
        bonnet=low + rng.uniform(350, 900), roof=rng.uniform(2300, 3700), plate_height=low,
        plate_aside=aside, slope=rng.uniform(-8, 3),
        paint=tuple(np.clip(np.array(pick(rng, PAINTS)) + rng.normal(0, 12, 3), 8, 245)),
        trim=tuple(np.full(3, rng.uniform(14, 200))),
        grille=pick(rng, ("bars", "slats", "mesh")), recess=pick(rng, ("dark", "body", "none")),
        holder=0, lamp_level=rng.uniform(0.5, 0.9), lit=rng.random() < 0.7,
        seeds=int(rng.integers(1 << 30)))


def draw_heavy(image, vehicle, view):
    """As draw_vehicle() does; a `van` is a bus, others are lorries."""
    rng = np.random.default_rng(vehicle.seeds)
    stage = Stage(image, vehicle, view)
    draw_body(stage, rng)
    if vehicle.van:
        draw_bus(stage, rng)
    elif vehicle.rear:
        draw_tail(stage, rng)
    else:
        draw_cab(stage, rng)
    draw_bumper(stage, rng)
    draw_beside(stage, rng)


def draw_body(stage, rng):
    """The long box with its side, wheels and shadow."""
    vehicle, paint = stage.vehicle, np.array(stage.vehicle.paint)
    half, eye = vehicle.width / 2, stage.view.eye()[0] + vehicle.plate_aside
    stage.shape([(-half, 0, -300), (half, 0, -300), (half, 0, 7000), (-half, 0, 7000)], DARK,
                alpha=0.5)
    stage.pair(half - 500, 0, half - 60, 900, 500, (16, 16, 18), (36, 36, 38), 60)
    for side in (-half, half):
        if abs(eye) < half or eye * side < 0:
            continue
        stage.shape([(side, 450, 60), (side, vehicle.roof, 60), (side, vehicle.roof, 7000),
                     (side, 500, 7000)], paint * 0.85, paint * 0.5)
        if vehicle.van:
            stage.shape([(side, 1400, 500), (side, vehicle.roof - 400, 500),
                         (side, vehicle.roof - 400, 6700), (side, 1400, 6700)], *GLASS)
    stage.box(-half, 0.7 * vehicle.plate_height, half, vehicle.roof, 60, paint * 1.05,
              paint * rng.uniform(0.6, 0.9), rng.uniform(10, 150))


def draw_stripes(stage, rng):
    """A firm's or a town's colours across the face."""
    vehicle = stage.vehicle
    half = vehicle.width / 2
    for _ in range(int(rng.integers(0, 4))):
        low, colour = rng.uniform(0.8, 3) * vehicle.plate_height, np.array(pick(rng, PAINTS))
        high = low + rng.uniform(30, 400)
        lean = rng.normal(0, 120)
        stage.shape([(-half, low, 50), (half, low + lean, 50), (half, high + lean, 50),
                     (-half, high, 50)], colour, colour * 0.85)


def draw_boards(stage, rng, low, high, most):
    half = stage.vehicle.width / 2
    for _ in range(int(rng.integers(0, most + 1))):
        stage.board(pick(rng, board_pool()), rng.uniform(-0.95, 0.6) * half,
                    rng.uniform(low, high), rng.uniform(60, 420), 40)


def draw_bus(stage, rng):
    vehicle = stage.vehicle
    half, roof = vehicle.width / 2, vehicle.roof
    sill = vehicle.bonnet + (rng.uniform(200, 900) if vehicle.rear else 0)
    draw_stripes(stage, rng)
    stage.box(-half * 0.92, min(sill, roof - 700), half * 0.92, roof - rng.uniform(150, 450), 45,
              *GLASS, rng.uniform(30, 200))
    if rng.random() < 0.7:
        stage.board(pick(rng, board_pool()), -half * rng.uniform(0.3, 0.6),
                    roof - rng.uniform(280, 420), rng.uniform(160, 260), 40)
    if vehicle.rear and rng.random() < 0.6:
        low = vehicle.plate_height + rng.uniform(130, 300)
        draw_bar_field(stage, -half * 0.6, low, half * 0.6, low + rng.uniform(150, 500),
                       vehicle.grille, np.full(3, rng.uniform(30, 120)))
    draw_boards(stage, rng, vehicle.plate_height + 130, sill, 3)


def draw_cab(stage, rng):
    vehicle = stage.vehicle
    half, sill = vehicle.width / 2, min(vehicle.bonnet + 250, vehicle.roof - 800)
    draw_stripes(stage, rng)
    stage.box(-half * 0.93, sill, half * 0.93, min(sill + rng.uniform(700, 1000), vehicle.roof),
              45, *GLASS, 60)
    low, wide = vehicle.plate_height + rng.uniform(110, 250), half * rng.uniform(0.5, 0.9)
    stage.box(-wide, low, wide, sill - 40, 42, DARK, (12, 12, 14), 30)
    draw_bar_field(stage, -wide, low, wide, sill - 40, vehicle.grille,
                   np.full(3, rng.uniform(30, 220)))
    draw_boards(stage, rng, low, sill, 2)


def draw_tail(stage, rng):
    """Doors of a box or the flap of a platform, and the dark gap below."""
    vehicle, paint = stage.vehicle, np.array(stage.vehicle.paint)
    half, floor = vehicle.width / 2, vehicle.plate_height + rng.uniform(120, 450)
    top = vehicle.roof if rng.random() < 0.65 else floor + rng.uniform(350, 700)
    stage.box(-half, 0.5 * vehicle.plate_height, half, floor, 55, DARK, (10, 10, 12))
    draw_stripes(stage, rng)
    seams = (-half * 0.97, -30, 30, half * 0.97) if rng.random() < 0.7 else ()
    for x in seams:
        stage.box(x - 14, floor, x + 14, top, 40, paint * 0.5, paint * 0.7)
    for x in rng.uniform(-half, half, int(rng.integers(0, 5))):
        stage.box(x - 20, floor - 60, x + 20, top, 38, (190, 192, 196), (110, 112, 116))
    stage.box(-half, floor, half, floor + rng.uniform(30, 120), 36, paint * 0.6, paint * 0.9)
    draw_boards(stage, rng, floor + 40, top - 200, 4)


def draw_bumper(stage, rng):
    """A beam across, before or below the plate, with lamps on it."""
    vehicle = stage.vehicle
    half, plate = vehicle.width / 2, vehicle.plate_height
    trim = np.array(vehicle.trim if rng.random() < 0.6 else vehicle.paint)
    if rng.random() < 0.8:
        low = plate - rng.uniform(100, 320)
        stage.box(-half * 0.98, low, half * 0.98, low + rng.uniform(90, 450), 25, trim * 1.1,
                  trim * 0.6, rng.uniform(0, 40))
    glass = (RED, RED, AMBER, WHITE) if vehicle.rear else (WHITE, WHITE, AMBER)
    outer, low = half * rng.uniform(0.7, 0.97), plate + rng.uniform(-160, 120)
    for _ in range(int(rng.integers(1, 4))):
        wide, high, colour = rng.uniform(70, 260), rng.uniform(60, 220), np.array(pick(rng, glass))
        if rng.random() < 0.6:
            stage.pair(outer - wide, low, outer, low + high, 18, colour, colour * 0.6, 15)
        else:
            for side in (-1, 1):
                stage.shape(disc(side * (outer - wide / 2), low + high / 2, high / 2, high / 2,
                                 18), colour, colour * 0.6)
        outer -= wide + rng.uniform(0, 120)


def draw_beside(stage, rng):
    """What is fixed close to the plate: its bracket, a board, a lamp."""
    vehicle, paint = stage.vehicle, np.array(stage.vehicle.paint)
    x, y = vehicle.plate_aside, vehicle.plate_height
    if vehicle.recess != "none":
        wide, high = rng.uniform(180, 330), rng.uniform(95, 190)
        back = np.full(3, rng.uniform(12, 70)) if vehicle.recess == "dark" else paint * 0.8
        stage.box(x - wide, y - high, x + wide, y + high, 10, back, back * 0.8, 15)
    for side in (-1, 1):
        way, gap = rng.random(), rng.uniform(170, 330)
        if way < 0.3:
            board, high = pick(rng, board_pool()), rng.uniform(70, 220)
            wide = high * board.shape[1] / board.shape[0]
            stage.board(board, x + gap if side > 0 else x - gap - wide, y - high / 2, high, 5)
        elif way < 0.5:
            colour = np.array(pick(rng, (RED, AMBER, WHITE)))
            stage.shape(disc(x + side * (gap + 70), y, *rng.uniform(35, 80, 2), 5), colour,
                        colour * 0.6)
