"""What makes a plate from its lettering: metal, paint, relief, wear, dirt.  Pictures are RGB, uint8; sizes are mm of a plate of 330 x 165.
"""
import functools

import cv2
import numpy as np

from plate_mount import add, blended, flat, mounted, times
from plate_screws import draw_screws

WIDTH, HEIGHT, CORNER = 330, 165, 10
RIM_INSET, RIM_WIDTH = 2, 4


@functools.lru_cache(maxsize=64)
def rounded(inset, px_per_mm, corner=CORNER):
    """Mask of the plate's outline, moved inwards by `inset` mm."""
    fine = 4
    width, height = round(WIDTH * px_per_mm), round(HEIGHT * px_per_mm)
    mask = np.zeros((height * fine, width * fine), np.uint8)
    edge, corner = inset * px_per_mm * fine, max(corner - inset, 3) * px_per_mm * fine
    low, high = edge + corner, np.float64((width, height)) * fine - edge - corner
    core = np.float32([(low, low), (high[0], low), high, (low, high[1])])
    cv2.fillConvexPoly(mask, core.astype(np.int32), 255)
    cv2.polylines(mask, [core.astype(np.int32)], True, 255, max(1, round(2 * corner)))
    return cv2.resize(mask, (width, height), interpolation=cv2.INTER_AREA)


@functools.lru_cache(maxsize=64)
def rim(px_per_mm, inset=RIM_INSET, width=RIM_WIDTH):
    """What is pressed up along the edge."""
    return rounded(inset, px_per_mm) - rounded(inset + width, px_per_mm)


def field(rng, shape, size, low, high):
    """A smooth field of random values."""
    coarse = rng.uniform(low, high, (size, 2 * size)).astype(np.float32)
    return cv2.resize(coarse, shape[1::-1], interpolation=cv2.INTER_CUBIC)


# Colours and pictures

def colours(kind, rng, free):
    """Of ground and text.  `free`: any at all."""
    ground, text = np.float32(kind.ground), np.float32(kind.text)
    if rng is None:
        return ground, text
    if free and rng.random() < 0.5:
        return np.float32(rng.uniform(0, 250, 3)), np.float32(rng.uniform(0, 250, 3))
    ground = ground * rng.uniform(0.84, 1.12) * rng.uniform(0.94, 1.05, 3)
    if text.max() < 110:
        # Green text is anything from nearly black to bright, black fades to grey.
        text = text * (0.2 + 1.3 * rng.random() ** 1.7) + rng.uniform(0, 25)
        text = text + rng.uniform(0, 0.25) * (90 - text)
    elif ground.max() < 110:
        ground = ground * rng.uniform(0.5, 1.3) + rng.uniform(0, 18)
    text = text * rng.uniform(0.9, 1.12) * rng.uniform(0.94, 1.05, 3)
    return np.float32(np.clip(ground, 0, 252)), np.float32(np.clip(text, 0, 252))


def hill(rng, shape):
    """One ridge across the plate, as a polygon."""
    height, width = shape[:2]
    x = np.linspace(0, width, 24)
    phase, waves = rng.uniform(0, 6, 2), rng.uniform(0.5, 3, 2)
    y = sum(np.sin(p + 6.28 * w * x / width) for p, w in zip(phase, waves))
    y = height * (rng.uniform(0.45, 0.95) - 0.12 * y)
    return np.concatenate([np.stack([x, y], 1), [(width, height), (0, height)]]).astype(np.int32)


def draw_pictures(ground, rng):
    """Hills, suns and blossoms over the ground of a pictorial plate, in colour or
    as the pale one-colour print."""
    height, width = ground.shape[:2]
    full = ground.copy()
    tint = rng.integers(60, 200, 3) if rng.random() < 0.4 else None

    def colour(low):
        own = rng.integers(low, 255, 3) if tint is None else tint * rng.uniform(0.7, 1.3)
        return np.clip(own, 0, 255).tolist()
    for _ in range(int(rng.integers(1, 4))):
        cv2.fillPoly(full, [hill(rng, full.shape)], colour(60), cv2.LINE_AA)
    for _ in range(int(rng.integers(2, 9))):
        centre = (int(rng.integers(width)), int(rng.integers(height)))
        axes = (rng.uniform(0.05, 0.25, 2) * height).astype(int).tolist()
        cv2.ellipse(full, centre, axes, rng.uniform(0, 180), 0, 360, colour(40), -1, cv2.LINE_AA)
    full = cv2.GaussianBlur(full, (0, 0), height / 330 * rng.uniform(0.5, 6))
    strength = rng.uniform(0.12, 0.5)
    return cv2.addWeighted(full, strength, ground, 1 - strength, 0)


def draw_ground(kind, ground, shape, px_per_mm, rng):
    picture = flat(shape, ground)
    if kind.pictures:
        picture = draw_pictures(picture, rng or np.random.default_rng(0))
    if kind.frame and (rng is None or rng.random() < 0.8):
        inner = rounded(8 if rng is None else int(rng.integers(5, 10)), px_per_mm)
        cv2.copyTo(flat(shape, kind.frame), 255 - inner, picture)
    return picture


# Paint and relief

def worn(ink, rng):
    """Paint gone from some of the raised tops."""
    gone = field(rng, ink.shape, int(rng.integers(16, 70)), 0, 1)
    gone = np.clip((gone - rng.uniform(0.65, 1)) * rng.uniform(2, 8), 0, 1)
    return np.uint8(ink * (1 - rng.uniform(0.2, 0.9) * gone))


def mixed(ground, colour, cover):
    """Letters of `colour` over `ground`."""
    return blended(ground, colour, cover.astype(np.float32) * (1 / 255))


def relief(raised, px_per_mm, light, strength, soft):
    """Brightness to add: the sides of what is pressed up face the light or turn away."""
    height = cv2.GaussianBlur(raised, (0, 0), soft * px_per_mm)
    slope_x = cv2.Sobel(height, cv2.CV_32F, 1, 0, ksize=1)
    slope_y = cv2.Sobel(height, cv2.CV_32F, 0, 1, ksize=1)
    scale = strength * px_per_mm * soft / 255
    return slope_x * (-light[0] * scale) + slope_y * (-light[1] * scale)


def lit(plate, ink, px_per_mm, rng):
    """The relief in the light of day or lamp, with the shadows it casts."""
    if rng is None:
        raised = cv2.max(ink, rim(px_per_mm))
        return add(plate, relief(raised, px_per_mm, (0.7, 0.7), 30, 0.6))
    edge = rim(px_per_mm, int(rng.integers(1, 5)), int(rng.integers(0, 6)))
    raised = cv2.max(ink, edge)
    turn = np.radians(rng.normal(-90, 50))
    light = (-np.cos(turn), -np.sin(turn))
    low = rng.random() < 0.35        # a low light makes long shadows
    strength = rng.uniform(30, 110) if low else rng.uniform(5, 45)
    shine = relief(raised, px_per_mm, light, strength, rng.uniform(0.5, 1.1))
    if rng.random() < 0.3:           # the edge of the paint glistens
        shine += np.maximum(shine - 0.25 * strength, 0) * rng.uniform(1, 5)
    if low:
        reach = rng.uniform(0.8, 3) * px_per_mm
        move = np.float32([(1, 0, light[0] * reach), (0, 1, light[1] * reach)])
        shadow = cv2.warpAffine(ink, move, ink.shape[::-1])
        shadow = cv2.subtract(cv2.GaussianBlur(shadow, (0, 0), 0.5 * px_per_mm + 0.1), ink)
        shine -= shadow * (rng.uniform(0.1, 0.4) * plate.mean() / 255)
    return add(plate, shine)


# What lies on it

def soil(plate, ink, rng):
    """Road dirt: soft brown clouds, thicker towards the lower edge and around
    the relief, and splashes."""
    height, width = plate.shape[:2]
    cover = field(rng, plate.shape, int(rng.integers(3, 9)), 0, 0.6)
    cover += field(rng, plate.shape, int(rng.integers(16, 60)), -0.1, 0.2)
    cover += np.linspace(0, rng.uniform(0, 0.7), height, dtype=np.float32)[:, None]
    for _ in range(int(rng.integers(0, 12))):
        centre = (int(rng.integers(width)), int(rng.integers(height)))
        cv2.circle(cover, centre, max(1, int(height * rng.uniform(0.003, 0.02))), 1.0, -1)
    around = cv2.absdiff(cv2.GaussianBlur(ink, (0, 0), height * 0.012), ink)
    cover += around * (rng.uniform(0, 1.2) / 255)
    cover = np.clip(cover * rng.uniform(0.05, 0.45), 0, 0.65)
    mud = np.float32((110, 95, 75)) * rng.uniform(0.4, 1.1)
    return blended(plate, mud, cover)


def draw_sticker(plate, px_per_mm, rng):
    """A small label in a corner, where no character stands."""
    x = rng.uniform(12, 36) if rng.random() < 0.5 else rng.uniform(294, 318)
    centre = np.round(np.array((x, rng.uniform(12, 45))) * px_per_mm).astype(int)
    size = np.round(rng.uniform(4, 12, 2) * px_per_mm).astype(int)
    colour = rng.integers(0, 256, 3).tolist()
    if rng.random() < 0.5:
        cv2.circle(plate, tuple(centre.tolist()), int(size[0]), colour, -1, cv2.LINE_AA)
    else:
        cv2.rectangle(plate, tuple((centre - size).tolist()), tuple((centre + size).tolist()),
                      colour, -1)


def cover_edge(plate, px_per_mm, rng, deep):
    """Snow or mud along the lower or the upper edge, `deep` mm at most."""
    height, width = plate.shape[:2]
    line = field(rng, (1, width), 5, 0, deep * px_per_mm)[0]
    rows = np.arange(height, dtype=np.float32)[:, None]
    rows = height - rows if rng.random() < 0.6 else rows
    share = np.clip((line - rows) / (1.5 * px_per_mm) + 0.5, 0, 1)
    colour = np.float64((228, 232, 238)) if rng.random() < 0.6 else np.float64((95, 80, 62))
    heap = flat(plate.shape, np.clip(colour * rng.uniform(0.7, 1.08), 0, 255))
    return cv2.blendLinear(plate, add(heap, field(rng, plate.shape, 12, -18, 18)), 1 - share,
                           share)


# Light on the whole, and dents

def shaded(plate, rng):
    """Light falls off across the plate, from a lamp above it or an edge of shadow."""
    factor = field(rng, plate.shape, 2, *sorted(rng.uniform(0.8, 1.1, 2)))
    height, width = plate.shape[:2]
    way = rng.random()
    if way < 0.15:
        line = np.float32(rng.normal(0, 1, 2)) / width
        x = np.arange(width, dtype=np.float32) - width * rng.uniform(0.1, 0.9)
        y = np.arange(height, dtype=np.float32)[:, None] - height * rng.uniform(0, 1)
        side = (x * line[0] + y * line[1]) * rng.uniform(8, 100)
        factor *= 1 - rng.uniform(0.2, 0.6) * np.clip(side + 0.5, 0, 1)
    elif way < 0.22:
        x = np.arange(width, dtype=np.float32) / width - rng.uniform(0.2, 0.8)
        y = np.arange(height, dtype=np.float32)[:, None] / height
        glow = np.exp(-(x ** 2 * rng.uniform(2, 10) + y ** 2 * rng.uniform(1, 8)))
        factor *= rng.uniform(0.35, 0.8) + rng.uniform(0.3, 1.2) * glow
    return times(plate, factor)


def dented(plate, px_per_mm, rng):
    """Bent by some mm, and what is bent is lit in its own way."""
    height, width = plate.shape[:2]
    size = int(rng.integers(2, 5))
    move_x, move_y = (field(rng, plate.shape, size, -1, 1) * rng.uniform(0.3, 1.6) * px_per_mm
                      for _ in range(2))
    light = cv2.Sobel(move_y, cv2.CV_32F, 0, 1, ksize=3) + cv2.Sobel(move_x, cv2.CV_32F, 1, 0,
                                                                    ksize=3)
    move_x += np.arange(width, dtype=np.float32)
    move_y += np.arange(height, dtype=np.float32)[:, None]
    bent = cv2.remap(plate, move_x, move_y, cv2.INTER_LINEAR, borderMode=cv2.BORDER_REPLICATE)
    return add(bent, light * rng.uniform(0, 150))


def glowing(ground, ink, px_per_mm, rng):
    """A plate whose characters shine by themselves."""
    colour = np.float32((70, 225, 130)) * rng.uniform(0.6, 1.1) * rng.uniform(0.85, 1.15, 3)
    plate = mixed(times(ground, np.full(ink.shape, rng.uniform(0.25, 1), np.float32)),
                  np.clip(colour, 0, 255), ink)
    halo = cv2.GaussianBlur(ink, (0, 0), rng.uniform(1, 4) * px_per_mm)
    share = halo.astype(np.float32) * (rng.uniform(0, 0.5) / 255)
    return cv2.add(plate, np.uint8(np.clip(share[..., None] * colour, 0, 255)))


# The whole

def live(kind, ink, px_per_mm, margin, screws, rng):
    """Picture and mask of a plate with `ink` on it, `margin` px around it.  `screws`:
    where they are; None on plates that are like no other: colours, screws and
    what covers them may be anything then."""
    free = screws is None
    ground, colour = colours(kind, rng, free)
    ground = draw_ground(kind, ground, ink.shape, px_per_mm, rng)
    if rng is None:
        plate = lit(mixed(ground, colour, ink), ink, px_per_mm, None)
        draw_screws(plate, screws, kind.seal, px_per_mm, None)
        return mounted(plate, rounded(0, px_per_mm), margin, px_per_mm, None)
    if kind.seal and kind.ground[0] > 200 and rng.random() < 0.03:
        plate = glowing(ground, ink, px_per_mm, rng)
    else:
        cover = worn(ink, rng) if rng.random() < 0.12 else ink
        plate = lit(mixed(ground, colour, cover), ink, px_per_mm, rng)
    if free:
        screws = rng.uniform(12, (WIDTH - 12, HEIGHT - 12), (int(rng.integers(0, 5)), 2))
    draw_screws(plate, screws, kind.seal, px_per_mm, rng)
    plate = lived_in(plate, ink, px_per_mm, 90 if free else 20, rng)
    corner = CORNER if rng.random() < 0.6 else int(rng.integers(4, 15))
    return mounted(plate, rounded(0, px_per_mm, corner), margin, px_per_mm, rng)


def lived_in(plate, ink, px_per_mm, deep, rng):
    """With what a few years may do to a plate; `deep`: mm that snow and mud may hide."""
    if rng.random() < 0.2:
        plate = soil(plate, ink, rng)
    if rng.random() < 0.05:
        draw_sticker(plate, px_per_mm, rng)
    if rng.random() < 0.06:
        plate = cover_edge(plate, px_per_mm, rng, deep)
    if rng.random() < 0.08:
        plate = dented(plate, px_per_mm, rng)
    return shaded(plate, rng) if rng.random() < 0.6 else plate
