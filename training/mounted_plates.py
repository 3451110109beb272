"""Plates on what surrounds them, seen straight on: frames, boards, bodywork, pictures.

They are the flat scenes that corner_crops.py photographs.  Drawing one takes long, so a
pool of them is drawn once into training/cache.

The plate's edge must be found, not guessed from the lettering or from what is usual around
a plate: plates with other lettering or none are among them, and things that have edges
beside, around and over those of the plate.

Pictures are RGB, uint8, rows first.
"""
import json
import zlib
from pathlib import Path

import cv2
import numpy as np

import backgrounds
import plates
import scenes
from heavy_vehicles import draw_heavy, random_heavy
from street import board_pool
from vehicles import draw_vehicle, random_vehicle

PX_PER_MM = 0.8                   # of the mounted plates; the crops have them smaller
SURROUND = 148                    # mm of what is around the plate, on each side
PLATE_PX = (round(plates.WIDTH * PX_PER_MM), round(plates.HEIGHT * PX_PER_MM))
BORDER_PX = round(SURROUND * PX_PER_MM)
CANVAS_PX = (PLATE_PX[0] + 2 * BORDER_PX, PLATE_PX[1] + 2 * BORDER_PX)

FRAMES = 240
CONTENTS = {"plate": 0.55, "odd": 0.30, "empty": 0.15}
UNIT = np.float32([(0, 0), (1, 0), (1, 1), (0, 1)])
DARK, DARK_SHARE = ("business", "kei_business"), 0.3      # of the plates, besides those by chance
LARGE = 440 / 330


def px(mm):
    return mm * PX_PER_MM


def chosen(rng, shares):
    """One of the keys, as often as its value says."""
    return str(rng.choice(list(shares), p=list(shares.values())))


# What is behind a plate

def any_colour(rng):
    """Mostly the greys of cars and bumpers, sometimes paint."""
    if rng.random() < 0.3:
        return rng.uniform(0, 255, 3)
    return np.clip(rng.uniform(2, 252) + rng.normal(0, 6, 3), 0, 255)


def plain(rng):
    """Bent sheet metal: one colour, in light that changes slowly."""
    light = rng.uniform(0.6, 1.3, (3, 4, 1)) * any_colour(rng)
    return cv2.resize(np.uint8(np.clip(light, 0, 255)), CANVAS_PX, interpolation=cv2.INTER_CUBIC)


def draw_bars(canvas, rng):
    """A grille, a panel gap or the steps of a bumper: lines along the plate's edges."""
    height, width = canvas.shape[:2]
    across = rng.random() < 0.75
    length = height if across else width
    pitch = rng.uniform(0.03, 0.4) * PLATE_PX[1]
    thick = max(1, int(pitch * rng.uniform(0.05, 0.6)))
    colour, lean = any_colour(rng).tolist(), rng.normal(0, 0.02) * width
    for at in np.arange(rng.uniform(0, pitch), length, pitch)[:int(rng.integers(1, 30))]:
        ends = ((0, int(at)), (width, int(at + lean)))
        cv2.line(canvas, *(ends if across else [end[::-1] for end in ends]), colour, thick,
                 cv2.LINE_AA)


def draw_panel(canvas, rng):
    """Body panels, road, other things behind: any quadrilateral."""
    middle = rng.uniform(0, 1, 2) * CANVAS_PX
    corners = middle + (UNIT - 0.5) * rng.uniform(0.2, 1.8, 2) * CANVAS_PX
    corners += rng.normal(0, 0.06 * CANVAS_PX[1], (4, 2))
    cv2.fillPoly(canvas, [np.int32(corners)], any_colour(rng).tolist(), cv2.LINE_AA)


def draw_lamp(canvas, rng):
    axes = (rng.uniform(0.06, 0.6, 2) * PLATE_PX[1]).astype(int).tolist()
    cv2.ellipse(canvas, np.int32(rng.uniform(0, 1, 2) * CANVAS_PX).tolist(), axes,
                rng.uniform(0, 180), 0, 360, any_colour(rng).tolist(), -1, cv2.LINE_AA)


def draw_words(canvas, rng):
    """Stickers and badges: what has letters and is no plate."""
    words = "".join(plates.pick(rng, "ABDEGHKLMNRST0123456789") for _ in range(6))
    at = np.int32(rng.uniform(0, 1, 2) * (0.8 * CANVAS_PX[0], CANVAS_PX[1])).tolist()
    cv2.putText(canvas, words, at, cv2.FONT_HERSHEY_SIMPLEX, rng.uniform(0.3, 1.6),
                any_colour(rng).tolist(), int(rng.integers(1, 5)), cv2.LINE_AA)


# How often each is drawn, in the order of drawing.
BODYWORK = ((draw_panel, 0.8), (draw_panel, 0.5), (draw_bars, 0.5), (draw_lamp, 0.3),
            (draw_words, 0.2), (draw_bars, 0.15))


def bodywork(rng):
    canvas = plain(rng)
    for draw, share in BODYWORK:
        if rng.random() < share:
            draw(canvas, rng)
    return canvas


def scaling(x, y, across=1.0, down=1.0):
    return np.array([(across, 0, x), (0, down, y), (0, 0, 1)], np.float64)


# From mm on the plate to the canvas' pixels, whose centres are half a pixel from their edges.
TO_CANVAS = scaling(BORDER_PX - 0.5, BORDER_PX - 0.5, PX_PER_MM, PX_PER_MM)


def from_scene(rng, frames):
    """A vehicle where it has its plate, or any place in its frame, seen straight on."""
    background = plates.pick(rng, frames)
    frame = background.image.shape[1::-1]
    if background.views and rng.random() < 0.7:
        homography = plates.pick(rng, background.views).homography()
    else:
        homography = scenes.random_homography(rng, width=rng.uniform(60, 250),
                                              centre=rng.uniform(0.2, 0.8, 2) * frame)
    seen = TO_CANVAS @ np.linalg.inv(homography)
    return cv2.warpPerspective(background.image, seen, CANVAS_PX, borderMode=cv2.BORDER_REFLECT)


class StraightOn:
    """The view of a camera that stands before the plate, in a plate's `width` in px."""

    def __init__(self, rng, width):
        self.scale, self.distance = width / plates.WIDTH, rng.uniform(2000, 15000)
        self.aside = rng.normal(0, 0.2, 2) * self.distance

    def project(self, points):
        points = np.asarray(points, np.float64)
        depth = np.maximum(1 + points[:, 2:] / self.distance, 0.1)
        seen = points[:, :2] + self.aside * (depth - 1)
        return np.array(CANVAS_PX) / 2 + self.scale * seen / depth

    def eye(self):
        return np.array((*self.aside, -self.distance))


def bodywork_of_a_vehicle(rng):
    """A vehicle's lamps, bumper, grille and boards as close to the plate as they are; the
    plates of lorries and buses are large, so all else is smaller."""
    canvas = backgrounds.cover(rng, CANVAS_PX)
    heavy = rng.random() < 0.65
    large = heavy and rng.random() < 0.6
    view = StraightOn(rng, PLATE_PX[0] / (LARGE if large else 1))
    if heavy:
        draw_heavy(canvas, random_heavy(rng), view)
    else:
        draw_vehicle(canvas, random_vehicle(rng), view)
    return canvas


def behind(rng, frames):
    chance = rng.random()
    if chance < 0.08:
        return plain(rng)
    if chance < 0.25:
        return bodywork(rng)
    if chance < 0.5:
        return bodywork_of_a_vehicle(rng)
    if chance < 0.7:
        return from_scene(rng, frames)
    return backgrounds.cover(rng, CANVAS_PX, (1, 5))


def near(colour, rng):
    """A colour that is hardly told from the other."""
    return np.clip(colour * rng.uniform(0.7, 1.25) + rng.normal(0, 10, 3), 0, 255)


def like(canvas, colour, rng):
    """White on white, green on black: what is behind takes on nearly the plate's colour."""
    near = np.clip(colour + rng.normal(0, 14, 3) + rng.normal(0, 12), 0, 255)
    flat = np.empty_like(canvas)
    flat[:] = near
    share = rng.uniform(0.5, 1)
    return cv2.addWeighted(flat, share, canvas, 1 - share, 0)


# What is around a plate

def around(gaps, turn=0.0):
    """The plate's outline on the canvas, moved outwards by `gaps` px (left, top, right, bottom)."""
    low = np.array((BORDER_PX, BORDER_PX)) - gaps[:2]
    high = np.array((BORDER_PX, BORDER_PX)) + PLATE_PX + gaps[2:]
    corners = low + UNIT * (high - low)
    middle = np.array(CANVAS_PX) / 2
    spin = np.array([(np.cos(turn), np.sin(turn)), (-np.sin(turn), np.cos(turn))])
    return (corners - middle) @ spin + middle


def draw_box(canvas, gaps, colour, rng, turn=0.0):
    """A filled shape around the plate, mostly with straight edges, often with a rim."""
    outline = [np.int32(np.rint(around(gaps, turn) * 16))]
    if rng.random() < 0.85:
        cv2.fillPoly(canvas, outline, colour.tolist(), cv2.LINE_AA, 4)
    if rng.random() < 0.5:
        cv2.polylines(canvas, outline, True, any_colour(rng).tolist(),
                      max(1, int(px(rng.uniform(1, 8)))), cv2.LINE_AA, 4)


def draw_board(canvas, _plate, rng):
    """A board or a panel that the plate is screwed to, or the hollow that it lies in."""
    gaps = px(rng.uniform(5, 120, 4) * rng.uniform(0.1, 1))
    outline = around(gaps, rng.normal(0, 0.02)) + rng.normal(0, px(4), (4, 2))
    cv2.fillPoly(canvas, [np.int32(outline)], any_colour(rng).tolist(), cv2.LINE_AA)
    if rng.random() < 0.4:
        draw_words(canvas, rng)


def draw_frames(canvas, plate, rng):
    """Frames one inside another, even or wider on one side; the inmost may touch the plate
    and may have nearly its colour."""
    gaps = px(rng.uniform(0, 45)) * rng.uniform(0.3, 1, 4)
    for _ in range(int(rng.integers(1, 4))):
        colour = near(plate, rng) if rng.random() < 0.3 else any_colour(rng)
        draw_box(canvas, gaps, colour, rng, rng.normal(0, 0.006))
        gaps = gaps * rng.uniform(0, 0.8, 4)


def draw_other_plate(canvas, plate, rng):
    """A second plate or a sign beside, above or below."""
    aside = PLATE_PX * rng.uniform((1.04, 1.1), (1.3, 1.6)) * plates.pick(
        rng, ((1, 0), (-1, 0), (0, 1), (0, -1), (0, -1)))
    shift = np.float64([(1, 0, BORDER_PX + aside[0]), (0, 1, BORDER_PX + aside[1])])
    cv2.warpAffine(plate, shift, CANVAS_PX, dst=canvas, borderMode=cv2.BORDER_TRANSPARENT)


def draw_neighbour(canvas, plate, rng):
    """A board, a lamp or a panel right beside the plate, perhaps of its height and colour."""
    low = np.array((BORDER_PX, BORDER_PX), np.float64)
    size = PLATE_PX * rng.uniform((0.2, 0.3), (1.2, 1.3))
    axis, after = int(rng.random() < 0.35), rng.random() < 0.5
    if rng.random() < 0.4:
        size[1 - axis] = PLATE_PX[1 - axis]
    gap = px(rng.uniform(0, 30))
    at = low + (PLATE_PX - size) * (0.5 if rng.random() < 0.5 else rng.random())
    at[axis] = low[axis] + (PLATE_PX[axis] + gap if after else -gap - size[axis])
    outline = at + UNIT * size + rng.normal(0, px(1.5), (4, 2))
    if rng.random() < 0.4:
        board = plates.pick(rng, board_pool())
        full = np.float32([(0, 0), (board.shape[1], 0), board.shape[1::-1], (0, board.shape[0])])
        warp = cv2.getPerspectiveTransform(full, np.float32(outline))
        cv2.warpPerspective(board, warp, CANVAS_PX, dst=canvas, borderMode=cv2.BORDER_TRANSPARENT)
        return
    colour = near(plate, rng) if rng.random() < 0.35 else any_colour(rng)
    cv2.fillPoly(canvas, [np.int32(outline)], colour.tolist(), cv2.LINE_AA)
    if rng.random() < 0.5:
        cv2.polylines(canvas, [np.int32(outline)], True, any_colour(rng).tolist(),
                      max(1, int(px(rng.uniform(1, 8)))), cv2.LINE_AA)


def cast_shadow(canvas, _plate, rng):
    """The plate's own shadow on what is behind it."""
    shadow = np.zeros(canvas.shape[:2], np.float32)
    outline = around(np.full(4, px(rng.uniform(-2, 6)))) + px(rng.uniform((-8, -3), (8, 14)))
    cv2.fillPoly(shadow, [np.int32(outline)], 1.0)
    shadow = cv2.blur(shadow, (1 + int(px(rng.uniform(0, 14))),) * 2)
    light = 1 - rng.uniform(0.2, 0.9) * shadow
    canvas[:] = cv2.multiply(canvas, cv2.merge([light] * 3), dtype=cv2.CV_8U)


# What is over a plate's edge

def shade(canvas, rng):
    """What stands out above the plate keeps the light from a part of it and around it."""
    dark = np.full(canvas.shape[:2], rng.uniform(0.25, 0.8), np.float32)
    at = BORDER_PX + PLATE_PX[1] * rng.uniform(0, 1)
    edge = np.float32([(0, at + rng.normal(0, 30)), (CANVAS_PX[0], at + rng.normal(0, 30)),
                       CANVAS_PX, (0, CANVAS_PX[1])])
    cv2.fillPoly(dark, [np.int32(edge)], 1.0)
    dark = cv2.blur(dark, (1 + int(px(rng.uniform(0, 40))),) * 2)
    canvas[:] = cv2.multiply(canvas, cv2.merge([dark] * 3), dtype=cv2.CV_8U)


def cover_side(canvas, rng):
    """A bumper, a lip or a wide holder over a part of one side."""
    over = rng.integers(4)
    gaps = np.full(4, px(SURROUND), np.float64)
    gaps[over] = -px(rng.uniform(1, 12))
    outside = around(gaps, rng.normal(0, 0.012))
    side = np.array([around(np.full(4, px(SURROUND)))[i] for i in (over, (over + 3) % 4)])
    edge = np.array([outside[i] for i in ((over + 3) % 4, over)])
    cv2.fillPoly(canvas, [np.int32(np.concatenate([side, edge]))], any_colour(rng).tolist(),
                 cv2.LINE_AA)


def cover_spot(canvas, rng):
    """A clip, a hook, a leaf or a cable across the plate's edge."""
    along = rng.uniform(0, 1, 2)
    along[rng.integers(2)] = rng.integers(2)
    at = np.int32(BORDER_PX + along * PLATE_PX).tolist()
    axes = np.maximum(px(rng.uniform(2, 18, 2)), 1).astype(int).tolist()
    if rng.random() < 0.5:
        cv2.ellipse(canvas, at, axes, rng.uniform(0, 180), 0, 360, any_colour(rng).tolist(), -1,
                    cv2.LINE_AA)
    elif rng.random() < 0.5:
        cv2.rectangle(canvas, np.int32(np.subtract(at, axes)).tolist(),
                      np.int32(np.add(at, axes)).tolist(), any_colour(rng).tolist(), -1)
    else:
        other = np.int32(np.add(at, rng.normal(0, px(100), 2))).tolist()
        cv2.line(canvas, at, other, any_colour(rng).tolist(), max(1, min(axes) // 2), cv2.LINE_AA)


# The plate in its place

def drawn_plate(rng, regions, styles):
    """A plate (picture, cover 0..255), its margin in mm and the kind of its contents."""
    contents = chosen(rng, CONTENTS)
    text = plates.random_plate_text(rng, regions, DARK if rng.random() < DARK_SHARE else None)
    plate = plates.draw_plate(text, plates.pick(rng, styles), PX_PER_MM, rng, contents=contents)
    return plate.picture, plate.mask, plate.margin, contents


def mounted(rng, plate, frames, other):
    """The canvas with the plate, PLATE_PX wide, in its middle; `other` may stand beside it."""
    picture, mask, margin, _ = plate
    canvas, ground = np.ascontiguousarray(behind(rng, frames)), np.median(picture[mask > 0], 0)
    if rng.random() < 0.25:
        canvas = like(canvas, ground, rng)
    if rng.random() < 0.08:
        draw_other_plate(canvas, other[0], rng)
    for draw, share in ((draw_board, 0.3), (draw_neighbour, 0.2), (draw_neighbour, 0.1),
                        (draw_frames, 0.35), (cast_shadow, 0.5)):
        if rng.random() < share:
            draw(canvas, ground, rng)
    lay(canvas, picture, mask, margin)
    for draw, share in ((cover_side, 0.08), (cover_spot, 0.12), (shade, 0.12)):
        if rng.random() < share:
            draw(canvas, rng)
    return canvas


def lay(canvas, picture, mask, margin):
    """The plate into the middle; what its picture has beyond the plate's edge goes with it."""
    size = [side + 2 * round(px(margin)) for side in PLATE_PX]
    if picture.shape[1::-1] != tuple(size):
        picture, mask = (cv2.resize(part, size, interpolation=cv2.INTER_AREA)
                         for part in (picture, mask))
    left, top = ((CANVAS_PX[axis] - size[axis]) // 2 for axis in (0, 1))
    area = canvas[top:top + size[1], left:left + size[0]]
    cover = mask.astype(np.float32) / 255
    area[:] = cv2.blendLinear(picture, np.ascontiguousarray(area), cover, 1 - cover)


# Pools: drawn once, photographed many times

def draw_pool(path, count, seed, styles):
    """Canvas `i` depends on the seed and `i` alone."""
    regions, frames = plates.load_regions(), scenes.render_background_pool(FRAMES, seed)
    shape = (count, CANVAS_PX[1], CANVAS_PX[0], 3)
    part = path.with_suffix(".part")
    canvases, contents = np.lib.format.open_memmap(part, "w+", np.uint8, shape), []
    other = drawn_plate(np.random.default_rng([seed, count]), regions, styles)
    for index in range(count):
        rng = np.random.default_rng([seed, index])
        plate = drawn_plate(rng, regions, styles)
        canvases[index] = mounted(rng, plate, frames, other)
        contents.append(plate[3])
        other = plate
    canvases.flush()
    path.with_suffix(".json").write_text(json.dumps(contents), encoding="utf-8")
    part.rename(path)


def cached_pool(count, seed, styles):
    """The canvases, on disk until used, and what is on their plates; drawn anew when what
    draws them changes."""
    here = Path(__file__)
    drawn_by = [(here.parent / file).read_bytes() for file in (here.name, *plates.DRAWN_BY)]
    digest = zlib.crc32(repr((drawn_by, styles)).encode())
    path = plates.CACHE / f"mounted_{count}_{seed}_{digest:08x}.npy"
    if not path.exists():
        plates.make_cache_folder(path.parent)
        draw_pool(path, count, seed, styles)
    contents = json.loads(path.with_suffix(".json").read_text(encoding="utf-8"))
    return np.load(path, mmap_mode="r"), contents
