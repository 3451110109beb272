"""Scenes among free photographs: plates, and much that is none, before the camera.

A scene is a picture in the camera's own pixels.  What the detector sees is cut
from it and sampled as kavrel squeezes whole frames: bilinear, without a filter
before, whatever that skips.  Whatever carries a plate in one scene carries a
board, a foreign plate or nothing in another, pasted in the same way.

Pictures are RGB, uint8; corners TL TR BR BL in px of the scene.
"""
import functools
from dataclasses import dataclass

import cv2
import numpy as np

import backgrounds
import camera
from heavy_vehicles import draw_heavy, random_heavy
from plates import HEIGHT, WIDTH, pick
from scenes import (MOST_IN_COMPANY, PLATE_MM, add_glow, apart, corners_of, lamp_spots, park,
                    random_camera, random_homography, random_light, random_place, shrunk,
                    street_lamps, visible_part)
from street import (BOARD_WORDS, LATIN_WORDS, board_pool, digits_text, draw_clutter, draw_street,
                    fill, paste_flat, scatter_boards, text_strip)
from vehicles import draw_vehicle, random_vehicle

ASPECTS = (16 / 9, 3 / 2, 3 / 2, 4 / 3, 4 / 3, 1.0, 3 / 4, 9 / 16)
LONG_SIDE = (900, 1500)
LEAST_SHARE, MOST_SHARE = 0.02, 0.5       # of a plate, of the scene's width
LARGE, LARGE_SHARE = 440 / 330, 0.15
HEAVY_SHARE, HEAVY_LARGE, HEAVY_DARK = 0.35, 0.6, 0.6    # of vehicles; of these, of their plates
DARK_KINDS = ("business", "kei_business")
PLATE_SHARE, OTHER_SHARE = 0.7, 0.8       # of the places, of those without a plate
VEHICLE_SHARES = (0.25, 0.35, 0.15, 0.1, 0.1, 0.05)      # none to five
ALONE_SHARE = 0.4        # of the scenes without plates: photographs and nothing else


@dataclass
class Scene:
    image: np.ndarray
    corners: np.ndarray      # N x 4 x 2, the plates'
    kinds: list


# Plates that are none

FOREIGN_GROUNDS = ((235, 235, 232), (240, 205, 40), (28, 60, 130), (25, 25, 28), (20, 90, 60),
                   (200, 40, 40))


def foreign_text(rng):
    form = pick(rng, ("AA 000 AA", "AAA 000", "A 000 AA", "AA-AA 000", "000 AAA", "A-AA 0000",
                      "AA 00000", "0AAA000", "A·00000", "00-AAA-0", "00 A 0000"))
    return "".join(pick(rng, "ABCDEHKLMNPRSTVXY") if c == "A" else
                   pick(rng, "0123456789") if c == "0" else c for c in form)


def write(area, strip, ink, strength=1.0):
    """Puts a mask of letters into the area, from its top left corner."""
    strip = strip[:area.shape[0], :area.shape[1]]
    area = area[:strip.shape[0], :strip.shape[1]]
    share = strip.astype(np.float32) * np.float32(strength / 255)
    area[:] = cv2.blendLinear(area, np.full_like(area, ink), 1 - share, share)


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


def random_start(rng, image, strip):
    room = np.maximum(np.subtract(image.shape[1::-1], strip.shape[1::-1]), 0)
    return rng.integers(room + 1)


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


# Pasting

def paste(image, picture, mask, warp, light):
    """Lays the picture where `warp` (its px to the scene's) takes it."""
    height, width = picture.shape[:2]
    edge = np.array([(0, 0, 1), (width, 0, 1), (width, height, 1), (0, height, 1)]) @ warp.T
    corners = edge[:, :2] / edge[:, 2:]
    x0, y0 = np.maximum(np.floor(corners.min(0)).astype(int) - 1, 0)
    x1, y1 = np.minimum(np.ceil(corners.max(0)).astype(int) + 2, image.shape[1::-1])
    if x1 <= x0 or y1 <= y0:
        return
    small, cover = shrunk(picture, mask, np.linalg.norm(corners[1] - corners[0]))
    to_full = np.diag((width / small.shape[1], height / small.shape[0], 1.0))
    warp = np.array([(1, 0, -float(x0)), (0, 1, -float(y0)), (0, 0, 1)]) @ warp @ to_full
    size = (int(x1 - x0), int(y1 - y0))
    seen = cv2.warpPerspective(small, warp, size, borderMode=cv2.BORDER_REPLICATE)
    share = cv2.warpPerspective(cover, warp, size).astype(np.float32) / 255
    seen = cv2.multiply(seen, (*np.float64(light), 0.0))
    area = image[y0:y1, x0:x1]
    area[:] = cv2.blendLinear(area, seen, 1 - share, share)


def from_margin(plate):
    """3 x 3 from px of the plate's picture to mm on the plate."""
    scale = plate.px_per_mm
    return np.array([(1 / scale, 0, -plate.margin), (0, 1 / scale, -plate.margin), (0, 0, 1)])


def lay_plate(image, plate, homography, light):
    paste(image, plate.picture, plate.mask, homography @ from_margin(plate), light)


def lay_other(image, rng, homography, light):
    """Something else where a plate would be: its size, or anything alike."""
    board = random_other(rng)
    w = WIDTH * rng.uniform(0.5, 1.6)
    h = np.clip(w * board.shape[0] / board.shape[1], 40, 400)
    x, y = (WIDTH - w) / 2, (HEIGHT - h) / 2
    to_mm = np.array([(w / board.shape[1], 0, x), (0, h / board.shape[0], y), (0, 0, 1)])
    mask = np.full(board.shape[:2], 255, np.uint8)
    paste(image, board, mask, homography @ to_mm, light)


# What surrounds a plate, drawn flat around it

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


# Grounds

def photo_ground(rng, size):
    return backgrounds.cover(rng, size)


def collage(rng, size):
    """Photographs above and below, as walls and road."""
    image = backgrounds.cover(rng, size)
    horizon = int(size[1] * rng.uniform(0.3, 0.7))
    road = backgrounds.cover(rng, (size[0], size[1] - horizon), (1.0, 1.5))
    if rng.random() < 0.7:
        # A road is seen from a low point: far ends are narrow.
        h, w = road.shape[:2]
        spread = rng.uniform(0.2, 1.5) * w
        warp = cv2.getPerspectiveTransform(
            np.float32([(0, 0), (w, 0), (w, h), (0, h)]),
            np.float32([(0, 0), (w, 0), (w + spread, h), (-spread, h)]))
        road = cv2.warpPerspective(road, warp, (w, h), borderMode=cv2.BORDER_REFLECT)
    if rng.random() < 0.5:
        grey = cv2.cvtColor(cv2.cvtColor(road, cv2.COLOR_RGB2GRAY), cv2.COLOR_GRAY2RGB)
        road = cv2.addWeighted(road, 0.25, grey, 0.75, 0)
    image[horizon:] = road
    for _ in range(int(rng.integers(0, 6))):
        w, h = (np.array(size) * rng.uniform(0.05, 0.5, 2)).astype(int) + 8
        x, y = (rng.uniform(-0.1, 0.9, 2) * size).astype(int).clip(0)
        area = image[y:y + h, x:x + w]
        area[:] = backgrounds.cover(rng, (area.shape[1], area.shape[0]))
    return image


def street_ground(rng, size):
    """The drawn street with photographs worked into it."""
    image = draw_clutter(size, rng) if rng.random() < 0.2 else draw_street(size, rng)
    if rng.random() < 0.7:
        share = rng.uniform(0.1, 0.6)
        image = cv2.addWeighted(image, 1 - share, backgrounds.cover(rng, size), share, 0)
    return image


def random_ground(rng, size):
    way = rng.random()
    ground = (photo_ground if way < 0.45 else collage if way < 0.75 else street_ground)(rng, size)
    if rng.random() < 0.2:
        length = int(rng.uniform(5, 45))
        ground = cv2.blur(ground, (length, 1 + int(rng.integers(2))))
    elif rng.random() < 0.25:
        ground = cv2.GaussianBlur(ground, (0, 0), rng.uniform(0.8, 5))
    return ground


# Vehicles

def random_share(rng, most):
    return float(np.exp(rng.uniform(np.log(LEAST_SHARE), np.log(most))))


def wide_yaw(rng):
    return rng.normal(0, 6) if rng.random() < 0.4 else rng.uniform(-45, 45)


def some_vehicle(rng):
    return random_heavy(rng) if rng.random() < HEAVY_SHARE else random_vehicle(rng)


def is_heavy(vehicle):
    return vehicle.width > 1900


def vehicles_in(rng, size, count):
    """Up to `count` vehicles of which none hides another's plate."""
    most = MOST_SHARE if count < 2 else MOST_IN_COMPANY
    share = random_share(rng, most)
    view = random_camera(rng, size, rng.random() < 0.85)
    vehicle = some_vehicle(rng)
    place = view.ray(*random_place(rng, size, share)) * view.depth(share)
    view.height = vehicle.plate_height + view.height_over(place)
    parked = [park(view, vehicle, place, wide_yaw(rng))]
    for _ in range(8 * count):
        if len(parked) == count:
            break
        vehicle, share = some_vehicle(rng), random_share(rng, MOST_IN_COMPANY)
        place = view.on_road(random_place(rng, size, share)[0], share,
                             view.height - vehicle.plate_height)
        if place[2] < 500:
            continue
        other = park(view, vehicle, place, wide_yaw(rng))
        if (visible_part(corners_of(other.plate.homography()), size) > 0.7 and
                all(apart(other, one) for one in parked)):
            parked.append(other)
    return parked


def draw_all(image, rng, parked):
    for one in sorted(parked, key=lambda p: -p.view.matrix[2, 3]):
        draw = draw_heavy if is_heavy(one.vehicle) else draw_vehicle
        draw(image, one.vehicle, one.view)
        outline = np.int32(np.clip(one.outline().reshape(-1, 2), -9999, 9999))
        x, y, w, h = cv2.boundingRect(outline)
        x0, y0, x1, y1 = max(x, 0), max(y, 0), min(x + w, image.shape[1]), min(y + h,
                                                                            image.shape[0])
        if x1 - x0 < 8 or y1 - y0 < 8 or rng.random() < 0.2:
            continue
        mask = np.zeros((y1 - y0, x1 - x0), np.uint8)
        cv2.fillConvexPoly(mask, outline - (x0, y0), 255)
        shade_with(image[y0:y1, x0:x1], mask, rng)


# Air and lamps

def fog(image, rng):
    height = image.shape[0]
    share = np.linspace(*rng.uniform(0, 0.75, 2), height, dtype=np.float32)[:, None]
    share = np.repeat(share, image.shape[1], 1)
    grey = np.full_like(image, rng.uniform(120, 235) + rng.uniform(-8, 8, 3))
    return cv2.blendLinear(image, grey, 1 - share, share)


def snow(image, rng):
    flakes = np.zeros(image.shape[:2], np.uint8)
    for _ in range(int(rng.integers(60, 600))):
        x, y = rng.uniform(0, 1, 2) * image.shape[1::-1]
        cv2.circle(flakes, (int(x), int(y)), int(rng.integers(1, 5)), int(rng.integers(90, 256)),
                   -1, cv2.LINE_AA)
    flakes = cv2.GaussianBlur(flakes, (0, 0), rng.uniform(0.5, 2.5))
    return cv2.add(image, cv2.merge([flakes] * 3))


NEON = ((255, 30, 60), (40, 255, 90), (60, 90, 255), (255, 60, 230), (255, 170, 40),
        (60, 240, 255), (255, 245, 220))


def neon(image, rng):
    """Coloured lamps, tubes and their glow."""
    spots = [((rng.uniform(0, image.shape[1]), rng.uniform(0, image.shape[0])),
              image.shape[1] * np.exp(rng.uniform(np.log(0.002), np.log(0.03))), pick(rng, NEON))
             for _ in range(int(rng.integers(1, 12)))]
    add_glow(image, spots, rng)


def write_over(image, rng):
    """What is written into a photograph: a date, a mark across it, a name in a corner."""
    text = pick(rng, ("2016/04/16", "'09 8 21", "alamy", "© 2018 K. SATO", "PHOTO", "sample",
                      "www.example.jp", digits_text(rng), digits_text(rng)))
    strip = text_strip(text, int(image.shape[0] * rng.uniform(0.015, 0.08)) + 4, rng)
    x, y = random_start(rng, image, strip)
    colour = pick(rng, ((255, 255, 255), (255, 140, 20), (240, 30, 20), (20, 20, 20)))
    write(image[y:, x:], strip, colour, rng.uniform(0.25, 1))


# The scene

def photographs_alone(rng, size):
    """A photograph as it is, perhaps in fog, with boards or with a smaller one before it."""
    image = backgrounds.cover(rng, size, natural=rng.random() < 0.6)
    if rng.random() < 0.2:
        image = fog(image, rng)
    if rng.random() < 0.3:
        w, h = (np.array(size) * rng.uniform(0.1, 0.7, 2)).astype(int)
        x, y = (rng.uniform(0, 1, 2) * (np.array(size) - (w, h))).astype(int)
        image[y:y + h, x:x + w] = backgrounds.cover(rng, (w, h))
    if rng.random() < 0.3:
        scatter_boards(image, rng, int(rng.integers(1, 9)))
    return image


def random_size(rng):
    aspect, long_side = pick(rng, ASPECTS), rng.uniform(*LONG_SIDE)
    size = (long_side, long_side / aspect) if aspect >= 1 else (long_side * aspect, long_side)
    return int(size[0]), int(size[1])


def clear_of(corners, others, size, reach=1.25):
    """Whether the outline, with some room around it, touches none of the others."""
    middle = corners.mean(0)
    grown = np.float32(middle + (corners - middle) * reach)
    return visible_part(corners, size) > 0.55 and all(
        cv2.intersectConvexConvex(cv2.convexHull(grown), cv2.convexHull(np.float32(one)))[0] <= 0
        for one in others)


def loose_homography(rng, size):
    """A plate's place anywhere in the scene."""
    width = np.exp(rng.uniform(np.log(LEAST_SHARE), np.log(MOST_SHARE))) * size[0]
    return random_homography(rng, PLATE_MM, 45, 25, 15, width, rng.uniform(0.03, 0.97, 2) * size,
                             (2.5, 30))


def places_for(rng, parked, size):
    """Homographies of the places for plates, whether to draw something around them, and
    whether they are those of heavy vehicles."""
    places = [(one.plate.homography(), False, is_heavy(one.vehicle)) for one in parked]
    for _ in range(int(rng.integers(1, 6))):
        places.append((loose_homography(rng, size), rng.random() < 0.8, False))
    for homography, panelled, heavy in places:
        if rng.random() < (HEAVY_LARGE if heavy else LARGE_SHARE):
            shift = (1 - LARGE) / 2
            homography = homography @ np.array([(LARGE, 0, shift * WIDTH),
                                                (0, LARGE, shift * HEIGHT), (0, 0, 1)])
        corners = corners_of(homography)
        if np.isfinite(corners).all() and np.abs(corners).max() < 20000:
            yield homography, corners, panelled, heavy


def some_plate(rng, pool, heavy):
    dark = heavy and rng.random() < HEAVY_DARK
    return pick(rng, [one for one in pool if one.text.kind in DARK_KINDS] if dark else pool)


def hang(image, rng, pool, homography, light, heavy):
    """A plate, something else or nothing; returns the plate or None."""
    glow = light.plate * rng.uniform(0.9, 1.1, 3) * rng.uniform(0.75, 1.1)
    if pool and rng.random() < PLATE_SHARE:
        plate = some_plate(rng, pool, heavy)
        lay_plate(image, plate, homography, glow)
        return plate
    if rng.random() < OTHER_SHARE:
        lay_other(image, rng, homography, glow)
    return None


def render(rng, pool):
    """A scene; `pool` is a list of Plates, without any the scene has none."""
    size = random_size(rng)
    if not pool and rng.random() < ALONE_SHARE:
        return Scene(photographs_alone(rng, size), np.empty((0, 4, 2), np.float32), [])
    image = random_ground(rng, size)
    light = random_light(rng, rng.random() < 0.25)
    count = int(rng.choice(6, p=VEHICLE_SHARES))
    parked = vehicles_in(rng, size, count) if count else []
    draw_all(image, rng, parked)
    if rng.random() < 0.6:
        scatter_boards(image, rng, int(rng.integers(1, 7)))
    image = cv2.multiply(image, (*np.float64(light.street), 0.0))
    found, kinds, taken = [], [], []
    for homography, corners, panelled, heavy in places_for(rng, parked, size):
        if not clear_of(corners, taken, size, 2.2 if panelled else 1.3):
            continue
        taken.append(corners)
        if panelled:
            lay_panel(image, rng, homography, light.street)
        plate = hang(image, rng, pool, homography, light, heavy)
        if plate:
            found.append(corners)
            kinds.append(plate.text.kind)
    image = weather(image, rng, parked, light, taken)
    return Scene(image, np.float32(found).reshape(-1, 4, 2), kinds)


def weather(image, rng, parked, light, taken):
    if light.night:
        spots = [spot for spot in street_lamps(image.shape[1::-1], rng)
                 if not any(inside(spot[0], at) for at in taken)]
        for one in parked:
            if one.vehicle.lit:
                spots += lamp_spots(one.vehicle, one.view)
        add_glow(image, spots, rng)
    if rng.random() < (0.5 if light.night else 0.06):
        neon(image, rng)
    if rng.random() < 0.06:
        image = fog(image, rng)
    if rng.random() < 0.05:
        image = snow(image, rng)
    for _ in range(int(rng.integers(0, 3))):
        write_over(image, rng)
    return image


def inside(point, corners):
    return cv2.pointPolygonTest(np.float32(corners), tuple(map(float, point)), True) > -6


# Optics of phones and drive recorders

def vignette(image, rng):
    height, width = image.shape[:2]
    y, x = np.mgrid[-1:1:24j, -1:1:24j].astype(np.float32)
    fall = 1 - rng.uniform(0.1, 0.6) * ((x - rng.uniform(-0.5, 0.5)) ** 2 +
                                        (y - rng.uniform(-0.5, 0.5)) ** 2) / 2
    gain = cv2.resize(np.maximum(fall, 0.1), (width, height))
    return cv2.multiply(image, cv2.merge([gain] * 3), dtype=cv2.CV_8U)


def sharpened(image, rng):
    soft = cv2.GaussianBlur(image, (0, 0), rng.uniform(0.6, 2.5))
    amount = rng.uniform(0.3, 2.5)
    return cv2.addWeighted(image, 1 + amount, soft, -amount, 0)


def colours(image, rng):
    """Another saturation, tone curve and colour of light."""
    grey = cv2.cvtColor(cv2.cvtColor(image, cv2.COLOR_RGB2GRAY), cv2.COLOR_GRAY2RGB)
    much = rng.uniform(0, 0.4) if rng.random() < 0.15 else rng.uniform(0.6, 1.7)
    image = cv2.addWeighted(image, much, grey, 1 - much, 0)
    curve = (np.arange(256) / 255) ** np.exp(rng.uniform(-0.5, 0.6))
    table = np.outer(curve * 255 * rng.uniform(0.6, 1.45), rng.uniform(0.85, 1.15, 3))
    return cv2.LUT(image, np.clip(table + rng.uniform(-15, 25), 0, 255).astype(np.uint8)[None])


def optics(image, rng):
    if rng.random() < 0.6:
        image = colours(image, rng)
    if rng.random() < 0.2:
        image = vignette(image, rng)
    image = camera.degrade(image, rng, rng.uniform(0, 0.75))
    if rng.random() < 0.12:
        image = cv2.medianBlur(image, 3)
    if rng.random() < 0.35:
        image = sharpened(image, rng)
        if rng.random() < 0.5:
            image = camera.jpeg_loss(image, rng, rng.uniform(0.2, 1))
    return image
