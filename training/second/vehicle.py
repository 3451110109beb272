"""Vehicles as painted panels in space: what their front or rear shows, a bonnet, a side.

In mm: x to the right as seen, y up from the ground, z into the vehicle, 0 at the bumper.
A panel is a canvas on a bent sheet: its outline in space is a grid of points.
"""
from dataclasses import dataclass, field

import numpy as np
from PIL import Image, ImageDraw

import glyphs
from canvas import Canvas, smooth

KINDS = ("sedan", "kei", "van", "truck", "bus")
COLOURS = (((0.75, 0.76, 0.76), 5), ((0.35, 0.36, 0.37), 4), ((0.012, 0.012, 0.014), 4),
           ((0.08, 0.08, 0.085), 3), ((0.35, 0.012, 0.015), 2), ((0.012, 0.05, 0.28), 2),
           ((0.02, 0.022, 0.05), 1), ((0.12, 0.03, 0.025), 1), ((0.55, 0.16, 0.01), 1),
           ((0.60, 0.42, 0.02), 1), ((0.03, 0.16, 0.09), 1), ((0.42, 0.36, 0.26), 1),
           ((0.09, 0.35, 0.50), 1), ((0.5, 0.3, 0.35), 1))
SIZES = {                              # width, height, height of the front panel, bulge
    "sedan": (1760, 1440, 800, 260), "kei": (1475, 1720, 960, 120),
    "van": (1720, 1900, 1050, 160), "truck": (2100, 2500, 2480, 60),
    "bus": (2480, 3000, 2980, 110)}
DARK = (0.012, 0.012, 0.013)
RUBBER = (0.018, 0.018, 0.018)
CHROME = (0.62, 0.63, 0.64)
GLASS = (0.02, 0.025, 0.028)
BADGES = ("LUMINA", "Corvo", "TERANO X", "Hybrid", "4WD", "GRAND", "Stella", "EX-R", "TURBO",
          "Aeria", "Custom", "V6 24V", "ECO", "WAGON")


@dataclass
class Panel:
    canvas: Canvas
    grid: np.ndarray                   # rows x columns x 3, mm, rows from the top
    shining: np.ndarray = None         # its light, once it is known


@dataclass
class Vehicle:
    kind: str
    rear: bool
    width: float
    length: float
    panels: list = field(default_factory=list)
    plate: tuple = (0, 0, 1.0)         # middle x, middle y, size (1: medium)
    lamps: list = field(default_factory=list)


def random_colour(rng):
    colours, weights = zip(*COLOURS)
    pick = rng.choice(len(colours), p=np.array(weights) / sum(weights))
    return np.clip(np.array(colours[pick]) * rng.uniform(0.8, 1.15, 3), 0.006, 0.85)


def box(x, y, width, height):
    return [(x - width / 2, y - height / 2), (x + width / 2, y - height / 2),
            (x + width / 2, y + height / 2), (x - width / 2, y + height / 2)]


def soft_box(x, y, width, height, corner=0.25):
    r = corner * min(width, height)
    l, t, h, v = x - width / 2, y + height / 2, width, height
    return smooth([(l + r, t), (l + h - r, t), (l + h, t - r), (l + h, t - v + r),
                   (l + h - r, t - v), (l + r, t - v), (l, t - v + r), (l, t - r)], 5)


def sheet(width, low, high, bulge, rows=10, columns=24):
    """Points of a panel from (y, z) at its bottom to (y, z) at its top, bent back at its sides."""
    x = np.linspace(-width / 2, width / 2, columns)
    part = np.linspace(1, 0, rows)[:, None]
    y, z = (low[axis] + (high[axis] - low[axis]) * part for axis in (0, 1))
    bent = bulge * np.abs(2 * x / width) ** 3
    return np.stack(np.broadcast_arrays(x[None, :], y, z + bent[None, :]), 2)


# Fronts

def lamp(canvas, outline, lit, rear, rng):
    outline = smooth(outline, 6)
    if rear:
        colour, glow = (0.30, 0.008, 0.01), (0.9, 0.03, 0.02)
    else:
        colour, glow = (0.30, 0.32, 0.34), (1.3, 1.2, 1.0)
    canvas.both(outline, colour, gloss=0.9, glow=np.array(glow) * lit * 0.35)
    middle, size = outline.mean(0), np.ptp(outline, axis=0)
    for place in np.linspace(-0.25, 0.25, int(rng.integers(1, 4))):
        centre = middle + (place * size[0], rng.uniform(-0.05, 0.05) * size[1])
        radius = 0.30 * min(size[1], size[0] / 2)
        for side in (-1, 1):
            canvas.disc(side * centre[0], centre[1], radius * 1.25, DARK, strength=0.6)
            canvas.disc(side * centre[0], centre[1], radius, np.array(colour) * 1.6, gloss=1,
                        glow=np.array(glow) * lit * 4)
    if rng.random() < 0.6:
        part = middle + (0.32 * size[0], -0.1 * size[1])
        tone = (0.6, 0.2, 0.01) if not rear else (0.5, 0.5, 0.5)
        canvas.both(soft_box(*part, 0.25 * size[0], 0.5 * size[1]), tone, gloss=0.9)
    canvas.both(np.vstack([outline, outline[:1]]), DARK, line=5, strength=0.8)
    return [(side * middle[0], middle[1]) for side in (-1, 1)]


def grille(canvas, x, y, width, height, rng):
    canvas.fill(soft_box(x, y, width, height, rng.uniform(0.1, 0.45)), DARK, gloss=0.2)
    colour = CHROME if rng.random() < 0.5 else (0.05, 0.05, 0.05)
    gap = rng.uniform(28, 70)
    inner = (0.94 * width, 0.88 * height)
    style = rng.integers(3)
    if style != 1:
        for bar in np.arange(y - inner[1] / 2, y + inner[1] / 2, gap):
            canvas.line([(x - inner[0] / 2, bar), (x + inner[0] / 2, bar)],
                        rng.uniform(6, 18), colour, 0.8, gloss=0.8)
    if style != 0:
        for bar in np.arange(x - inner[0] / 2, x + inner[0] / 2, gap):
            canvas.line([(bar, y - inner[1] / 2), (bar, y + inner[1] / 2)],
                        rng.uniform(4, 10), colour, 0.7)
    if rng.random() < 0.6:
        ring = soft_box(x, y, width, height, 0.3)
        canvas.line(np.vstack([ring, ring[:1]]), rng.uniform(10, 25), CHROME, gloss=1)


def emblem(canvas, x, y, rng):
    size = (rng.uniform(55, 80), rng.uniform(38, 60))
    turn = np.linspace(0, 2 * np.pi, 40)
    canvas.line(np.stack([x + size[0] * np.cos(turn), y + size[1] * np.sin(turn)], 1), 10, CHROME,
                gloss=1)
    for tilt in rng.uniform(0, 3.14, 2):
        reach = 0.8 * np.array((size[0] * np.cos(tilt), size[1] * np.sin(tilt)))
        canvas.line([np.array((x, y)) - reach, np.array((x, y)) + reach], 9, CHROME, gloss=1)


def words(text, size=120):
    face = glyphs.face("BIZUDGothic-Bold", size)
    left, top, right, bottom = face.getbbox(text)
    picture = Image.new("L", (right - left + 4, bottom - top + 4))
    ImageDraw.Draw(picture).text((2 - left, 2 - top), text, 255, face)
    return np.array(picture)


def swell(canvas, rng):
    """Pressed sheet is never flat: edges catch light, what lies under them is darker."""
    for part in rng.uniform(0.3, 0.95, 3):
        y, side = part * canvas.height, canvas.width
        bend = rng.uniform(-60, 60)
        curve = [(-side / 2, y + bend), (-side / 4, y + 0.3 * bend), (0, y),
                 (side / 4, y + 0.3 * bend), (side / 2, y + bend)]
        canvas.shade(curve, rng.uniform(1.1, 1.5), blur=25, line=40)
        canvas.shade(np.array(curve) - (0, 70), rng.uniform(0.5, 0.85), blur=30, line=50)


def wheels(canvas, width):
    for side in (-1, 1):
        canvas.fill(box(side * (width / 2 - 130), 60, 190, 330), RUBBER, gloss=0.02)


def car_front(kind, colour, lit, detail, rng):
    width, _, top, bulge = SIZES[kind]
    canvas = Canvas(width, top, detail, colour, 0.5)
    swell(canvas, rng)
    canvas.shade(box(0, 0, width * 1.1, 560), 0.12, blur=40)
    wheels(canvas, width)
    waist = rng.uniform(0.50, 0.58) * top
    lamp_y = top - rng.uniform(100, 170)
    inner, outer = rng.uniform(0.24, 0.32) * width, rng.uniform(0.45, 0.485) * width
    depth = rng.uniform(45, 85) * (1.4 if kind != "sedan" else 1)
    grille(canvas, 0, lamp_y - rng.uniform(0, 30), 2 * inner * rng.uniform(0.75, 1.0),
           rng.uniform(90, 170), rng)
    lamps = lamp(canvas, [(inner, lamp_y - depth * rng.uniform(0.5, 0.9)),
                          (inner + 20, lamp_y + depth * 0.3), (outer - 40, lamp_y + depth),
                          (outer, lamp_y + depth * 0.6), (outer - 15, lamp_y - depth * 0.5)],
                 lit, False, rng)
    emblem(canvas, 0, lamp_y + rng.uniform(-5, 25), rng)
    canvas.line([(-width / 2, waist + 60), (0, waist + 25), (width / 2, waist + 60)], 8, DARK, 0.5,
                blur=3)
    intake = rng.uniform(0.34, 0.62) * width
    grille(canvas, 0, rng.uniform(200, 290), intake, rng.uniform(80, 190), rng)
    for side in (-1, 1):
        x = side * rng.uniform(0.33, 0.38) * width
        canvas.fill(soft_box(x, 270, 240, 130, 0.4), DARK, strength=0.9)
        canvas.disc(x, 270, 45, (0.4, 0.42, 0.42), gloss=0.9)
    if rng.random() < 0.5:
        canvas.fill(box(0, 150, width, 60), DARK, blur=6)
    y = rng.uniform(330, 480)
    x = 0 if rng.random() < 0.85 else rng.uniform(-0.2, 0.2) * width
    if rng.random() < 0.5:
        canvas.fill(soft_box(x, y, rng.uniform(370, 460), rng.uniform(190, 240), 0.2),
                    DARK if rng.random() < 0.6 else colour * 0.7, blur=4)
    return canvas, lamps, (x, y, 1.0)


def car_rear(kind, colour, lit, detail, rng):
    width, _, top, _ = SIZES[kind]
    canvas = Canvas(width, top, detail, colour, 0.5)
    swell(canvas, rng)
    canvas.shade(box(0, 0, width * 1.1, 460), 0.2, blur=30)
    wheels(canvas, width)
    bumper = rng.uniform(0.44, 0.5) * top
    upper = top * rng.uniform(0.84, 0.93)
    inner, outer = rng.uniform(0.26, 0.36) * width, 0.485 * width
    if kind == "sedan":
        outline = [(inner, upper - 130), (inner + 15, upper - 20), (outer, upper),
                   (outer, upper - 150)]
    else:
        outline = [(0.40 * width, bumper + 40), (0.41 * width, upper), (outer, upper + 20),
                   (outer, bumper + 30)]
    lamps = lamp(canvas, outline, lit, True, rng)
    canvas.line([(-width / 2, bumper), (width / 2, bumper)], 10, DARK, 0.8, blur=2)
    canvas.line([(-inner, bumper), (-inner, top), (inner, top), (inner, bumper)], 6, DARK, 0.5)
    canvas.line([(-width / 2, bumper + 130), (width / 2, bumper + 130)], 14, (0.5, 0.5, 0.5), 0.25,
                blur=8)
    canvas.both(box(0.36 * width, 0.36 * top, 190, 45), (0.35, 0.01, 0.01), gloss=0.8)
    if rng.random() < 0.6:
        canvas.disc(-0.3 * width, 190, (55, 38), (0.2, 0.2, 0.2), gloss=0.9)
        canvas.disc(-0.3 * width, 190, (42, 27), DARK)
    low = rng.random() < 0.35
    y = rng.uniform(330, 400) if low else bumper + rng.uniform(120, 170)
    recess = soft_box(0, y + 12, rng.uniform(420, 620), rng.uniform(205, 250), 0.2)
    canvas.fill(recess, colour * rng.uniform(0.35, 0.75), gloss=0.3)
    canvas.shade(box(0, y + 115, 480, 50), 0.3, blur=14)
    canvas.fill(box(0, y + 122, 420, 26), CHROME if rng.random() < 0.5 else colour, gloss=0.9)
    emblem(canvas, 0, min(top - 70, y + 210), rng)
    for side in (-1, 1):
        if rng.random() < 0.7:
            text = words(str(rng.choice(BADGES)))
            height = rng.uniform(26, 45)
            canvas.paste(text, side * 0.27 * width - 100, bumper + rng.uniform(200, 290), height,
                         CHROME)
    return canvas, lamps, (0, y, 1.0)


def windscreen(canvas, low, high, width, rng):
    """Glass with what shines in it: the sky at the top, seats, a dashboard, papers."""
    outline = smooth([(-0.47 * width, low), (0, low - 25), (0.47 * width, low),
                      (0.42 * width, high), (0, high + 20), (-0.42 * width, high)], 6)
    canvas.fill(outline, GLASS, gloss=1.0)
    for side in (-1, 1):
        x = side * 0.21 * width
        canvas.fill(soft_box(x, low + 0.45 * (high - low), 300, 0.55 * (high - low), 0.4),
                    (0.03, 0.03, 0.033), strength=0.8, blur=15)
    canvas.fill(box(0, low + 40, 0.8 * width, 80), (0.015, 0.015, 0.016), blur=15)
    canvas.disc(0, high - 60, (95, 32), (0.02, 0.02, 0.02))
    if rng.random() < 0.6:
        canvas.fill(box(rng.uniform(-300, 300), low + 60, 140, 50), (0.6, 0.6, 0.55), 0.7)
    if rng.random() < 0.8:
        canvas.fill(box(0.12 * width, high - 40, 70, 60), (0.5, 0.6, 0.65), 0.8)
    canvas.line(np.vstack([outline, outline[:1]]), 22, DARK)
    for x in (-0.1 * width, 0.2 * width):
        canvas.line([(x, low - 15), (x - 0.28 * width, low + 60)], 10, RUBBER)


def high_front(kind, colour, lit, rear, detail, rng):
    """Trucks and buses: one upright panel with glass above, bumper below."""
    width, _, top, _ = SIZES[kind]
    canvas = Canvas(width, top, 0.8 * detail, colour, 0.45)
    canvas.shade(box(0, 0, width * 1.1, 520), 0.15, blur=25)
    wheels(canvas, width)
    sill = rng.uniform(0.46, 0.52) * top if kind == "truck" else rng.uniform(0.36, 0.42) * top
    if rear and kind == "truck":
        canvas.fill(box(0, 0.68 * top, width, 0.64 * top), (0.5, 0.51, 0.52), gloss=0.2)
        canvas.line([(0, 0.36 * top), (0, top)], 14, DARK)
        for x in (-0.3, -0.08, 0.08, 0.3):
            canvas.line([(x * width, 0.36 * top), (x * width, top)], 26, CHROME, gloss=0.7)
    else:
        windscreen(canvas, sill, top * 0.88, width * 0.98, rng)
    stripe = random_colour(rng)
    if rng.random() < 0.7:
        y = sill - rng.uniform(80, 300)
        canvas.fill(smooth([(-width, y), (0, y - rng.uniform(0, 120)), (width, y),
                            (width, y - rng.uniform(60, 200)), (-width, y - rng.uniform(60, 160))]),
                    stripe)
    bumper = rng.uniform(600, 720)
    tone = CHROME if rng.random() < 0.4 else np.array((0.4, 0.4, 0.4)) * rng.uniform(0.2, 1.6)
    canvas.fill(soft_box(0, bumper - 160, width * 1.02, 320, 0.2), tone, gloss=0.7)
    canvas.line([(-width / 2, bumper), (width / 2, bumper)], 12, DARK, 0.9, blur=4)
    if not rear:
        grille(canvas, 0, bumper + rng.uniform(120, 200), 0.6 * width, rng.uniform(120, 260), rng)
    lamps = lamp(canvas, soft_box(0.37 * width, bumper - rng.uniform(90, 200), 330, 160, 0.2)[::5],
                 lit, rear, rng)
    emblem(canvas, 0, bumper + rng.uniform(180, 330), rng)
    if rng.random() < 0.7:
        text = words(str(rng.choice(BADGES)))
        canvas.paste(text, rng.uniform(-700, 0), sill - rng.uniform(50, 120), rng.uniform(70, 130),
                     stripe if rng.random() < 0.5 else DARK)
    x = rng.choice((0, 0, -0.22, 0.22)) * width
    y = bumper - rng.uniform(110, 260)
    canvas.fill(box(x, y, 480, 260), DARK, strength=float(rng.integers(2)) * 0.8, blur=5)
    return canvas, lamps, (x, y, 4 / 3 if rng.random() < 0.6 else 1.0)


# Sides and tops

def side_canvas(kind, colour, length, height, rng):
    canvas = Canvas(length, height, 0.35, colour, 0.5)
    half = length / 2
    if kind == "sedan":
        outline = smooth([(-half, 180), (-half, 780), (-half + 900, 960), (-half + 1600, 1400),
                          (half - 1500, 1430), (half - 700, 1020), (half, 950), (half, 180)])
        glass = [(-half + 1250, 980), (-half + 1700, 1330), (half - 1550, 1350), (half - 950, 1000)]
    else:
        lean = {"kei": 420, "van": 700}.get(kind, 40)
        outline = [(-half, 180), (-half, SIZES[kind][2]), (-half + lean, height - 60),
                   (half - 40, height), (half, height - 80), (half, 180)]
        low = 0.56 * height
        glass = [(-half + lean * 0.8 + 120, low), (-half + lean + 180, 0.9 * height),
                 (half - 160, 0.9 * height), (half - 160, low)]
        if kind == "truck":
            glass = [(-half + 150, low), (-half + 200, 0.88 * height),
                     (-half + 1250, 0.88 * height), (-half + 1250, low)]
            canvas.fill([(-half + 1500, 900), (half, 900), (half, height), (-half + 1500, height)],
                        (0.5, 0.51, 0.52), gloss=0.2)
    canvas.fill(glass, GLASS, gloss=1.0)
    for part in np.linspace(-half, half, 6)[1:-1]:
        tone = colour if kind == "bus" else DARK
        canvas.line([(part, 250), (part, 0.95 * height)], 18, tone, 0.7)
    canvas.shade(box(0, 240, length, 200), 0.4, blur=60)
    canvas.line([(-half, 0.48 * height), (half, 0.5 * height)], 30, (0.6, 0.6, 0.6), 0.25, blur=20)
    big = 310 if kind in ("sedan", "kei", "van") else 470
    for x in (-half + 2.6 * big, half - 2.8 * big):
        canvas.disc(x, big, big * 1.18, DARK)
        canvas.disc(x, big, big, RUBBER, gloss=0.05)
        canvas.disc(x, big, big * 0.66, (0.30, 0.30, 0.31), gloss=0.6)
        for turn in np.linspace(0, 2 * np.pi, 6)[:-1] + rng.uniform(0, 1):
            tip = (x + 0.5 * big * np.cos(turn), big + 0.5 * big * np.sin(turn))
            canvas.disc(*tip, 0.13 * big, DARK)
    canvas.cut(outline)
    whole = canvas.cover
    for x in (-half + 2.6 * big, half - 2.8 * big):
        turn = np.linspace(0, 2 * np.pi, 40)
        area, place = canvas.mask(np.stack([x + big * np.cos(turn), big + big * np.sin(turn)], 1))
        whole[place] = np.maximum(whole[place], area)
    return canvas


def make(kind, rear, colour, lit, rng, detail=1.0):
    """A vehicle; `lit` from 0 to 1: how brightly its lamps shine; `detail`: pixels per mm."""
    width, height, top, bulge = SIZES[kind]
    high = kind in ("truck", "bus")
    bulge = bulge * (0.4 if rear else 1) * rng.uniform(0.7, 1.2)
    length = {"sedan": 4500, "kei": 3400, "van": 4500, "truck": 6200, "bus": 9500}[kind]
    vehicle = Vehicle(kind, rear, width, length)
    if high:
        canvas, lamps, plate = high_front(kind, colour, lit, rear, detail, rng)
    else:
        canvas, lamps, plate = (car_rear if rear else car_front)(kind, colour, lit, detail, rng)
    vehicle.plate = plate
    x, y, size = plate
    canvas.shade(box(x + 4, y - 12, 345 * size, 172 * size), 0.25, blur=9)
    depth = {"sedan": 1050, "kei": 420, "van": 700}.get(kind, 0)
    if rear:
        depth = {"sedan": 550, "kei": 40, "van": 60}.get(kind, 0)
    base = {"sedan": 960, "kei": top + 70, "van": top + 80}.get(kind, top)
    for side in (-1, 1):
        grid = sheet(length, (0, 0), (height, 0), 0, 12, 24)
        turned = np.stack([np.full_like(grid[..., 0], side * width / 2), grid[..., 1],
                           grid[..., 0] + length / 2 + bulge], 2)
        side_panel = side_canvas(kind, colour, length, height, rng)
        if rear:
            for name in ("paint", "gloss", "glow", "cover"):
                setattr(side_panel, name, np.ascontiguousarray(getattr(side_panel, name)[:, ::-1]))
        vehicle.panels.append(Panel(side_panel, turned))
    if not high:
        roof = Canvas(width * 0.84, 900, 0.3, colour, 0.6)
        vehicle.panels.append(Panel(roof, sheet(width * 0.84, (height - 40, depth + 650),
                                                (height, depth + 1500), 0.3 * bulge)))
        glass = Canvas(width, 800, 0.45, colour, 0.5)
        windscreen(glass, 60, 760, width, rng)
        outline = [(-0.5 * width, 0), (0.5 * width, 0), (0.44 * width, 800), (-0.44 * width, 800)]
        glass.cut(outline)
        lean = 700 if kind == "sedan" else 350
        vehicle.panels.append(Panel(glass, sheet(width, (base, depth), (height - 40, depth + lean),
                                                 bulge)))
        bonnet = Canvas(width, 900, 0.3, colour, 0.7)
        for x in (-0.3, 0.3):
            bonnet.line([(x * width, 0), (0.8 * x * width, 900)], 12, colour * 0.5, 0.6, blur=8)
        vehicle.panels.append(Panel(bonnet, sheet(width, (top, 0), (base, depth), bulge)))
    vehicle.panels.append(Panel(canvas, sheet(width, (0, 0), (top, 25 if high else 0), bulge)))
    vehicle.lamps = [(x, y, -10.0) for x, y in lamps]
    return vehicle
