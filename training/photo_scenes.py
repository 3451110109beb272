"""Scenes among free photographs: plates, and much that is none, before the camera.

A scene is a picture in the camera's own pixels.  What the detector sees is cut
from it and sampled as kavrel squeezes whole frames: bilinear, without a filter
before, whatever that skips.  Whatever carries a plate in one scene carries a
board, a foreign plate or nothing in another, pasted in the same way.

Pictures are RGB, uint8; corners TL TR BR BL in px of the scene.
"""
from dataclasses import dataclass

import cv2
import numpy as np

import backgrounds
from grounds import random_ground
from heavy_vehicles import draw_heavy, random_heavy
from other_plates import lay_other
from panels import lay_panel, shade_with
from pasting import lay_plate, random_start, write
from plates import HEIGHT, WIDTH, pick
from scenes import (MOST_IN_COMPANY, PLATE_MM, add_glow, apart, corners_of, lamp_spots, park,
                    random_camera, random_homography, random_light, random_place, street_lamps,
                    visible_part)
from street import digits_text, scatter_boards, text_strip
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
    text = pick(rng, ("2016/04/16", "'09 8 21", "stock photo", "© 2018 K. SATO", "PHOTO", "sample",
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
