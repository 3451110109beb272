"""Puts plates into whole camera frames, with the truth about where they are.

A frame is a street (or mere clutter), vehicles, their plates in true
perspective, then light, weather and the camera's losses.  Pictures are RGB,
uint8, rows first; coordinates are pixels of the frame, x to the right, y down,
corners in the order top-left, top-right, bottom-right, bottom-left.
"""
from dataclasses import dataclass

import cv2
import numpy as np

from plates import HEIGHT, WIDTH, degrade, pick
from street import (board_pool, draw_clutter, draw_street, fill, paste_flat,
                    scatter_boards)
from vehicles import draw_vehicle, random_vehicle

PLATE_MM = (WIDTH, HEIGHT)
MOST_YAW, MOST_PITCH, MOST_ROLL = 35, 25, 15      # degrees
NEAREST = 120    # mm; what is nearer than this to the camera is drawn at this distance


# Perspective

def rotation(yaw, pitch, roll):
    """Degrees to 3 x 3.  Pitch above 0: the camera looks down on the plate."""
    y, p, r = np.radians((yaw, pitch, roll))
    about_y = np.array([(np.cos(y), 0, np.sin(y)), (0, 1, 0), (-np.sin(y), 0, np.cos(y))])
    about_x = np.array([(1, 0, 0), (0, np.cos(p), -np.sin(p)), (0, np.sin(p), np.cos(p))])
    about_z = np.array([(np.cos(r), -np.sin(r), 0), (np.sin(r), np.cos(r), 0), (0, 0, 1)])
    return about_z @ about_x @ about_y


@dataclass
class View:
    """How the camera sees one plate: 3 x 4, from mm around the plate's centre to pixels."""
    matrix: np.ndarray

    def project(self, points):
        """N x 3 mm to N x 2 px."""
        seen = np.asarray(points, np.float64) @ self.matrix[:, :3].T + self.matrix[:, 3]
        return seen[:, :2] / np.maximum(seen[:, 2:], NEAREST)

    def eye(self):
        """Where the camera is, in mm around the plate's centre."""
        return -np.linalg.solve(self.matrix[:, :3], self.matrix[:, 3])

    def homography(self, plate_mm=PLATE_MM):
        """3 x 3 from mm on the plate, top-left corner at 0, to pixels."""
        to_centre = np.array([(1, 0, -plate_mm[0] / 2), (0, 1, -plate_mm[1] / 2), (0, 0, 1)])
        return self.matrix[:, [0, 1, 3]] @ to_centre


def random_turn(rng, yaw=MOST_YAW, pitch=MOST_PITCH, roll=MOST_ROLL):
    """Half of the plates are seen almost straight on, the others at any angle."""
    most = np.array((yaw, pitch, roll), float)
    if rng.random() < 0.5:
        return np.clip(rng.normal(0, 0.25, 3), -1, 1) * most
    return rng.uniform(-1, 1, 3) * most


def random_homography(rng, plate_size_mm=PLATE_MM, yaw=MOST_YAW, pitch=MOST_PITCH,
                      roll=MOST_ROLL, width=200.0, centre=(0.0, 0.0), distance=(1.6, 20.0)):
    """3 x 3 from mm on the plate (top-left corner at 0) to pixels.

    The angles are limits in degrees.  `width` is the plate's in px before it is
    turned, `centre` where its centre comes to lie, `distance` the range of the
    camera's distance in plate widths: near ones have strong perspective.
    """
    focal = width * np.exp(rng.uniform(*np.log(distance)))
    turn = random_turn(rng, yaw, pitch, roll)
    focal *= plate_size_mm[0] / WIDTH
    away = focal * WIDTH / width
    matrix = np.diag((focal, focal, 1)) @ np.column_stack([rotation(*turn), (0, 0, away)])
    shift = np.array([(1, 0, centre[0]), (0, 1, centre[1]), (0, 0, 1)])
    return shift @ View(matrix).homography(plate_size_mm)


def corners_of(homography, plate_mm=PLATE_MM):
    """The plate's corners in px, 4 x 2."""
    w, h = plate_mm
    seen = np.array([(0, 0, 1), (w, 0, 1), (w, h, 1), (0, h, 1)]) @ homography.T
    return seen[:, :2] / seen[:, 2:]


# Plates into pictures

def shrunk(plate, mask, wide):
    """The plate with about as many pixels as it will take up, so that none are skipped."""
    factor = max(wide, 8) / plate.shape[1]
    if factor > 0.75:
        return plate, mask
    size = (round(plate.shape[1] * factor), round(plate.shape[0] * factor))
    return (cv2.resize(plate, size, interpolation=cv2.INTER_AREA),
            cv2.resize(mask, size, interpolation=cv2.INTER_AREA))


def paste_plate(image, plate, mask, homography, light=(1.0, 1.0, 1.0)):
    """Lays the plate into `image`; `homography` is from mm.  `light`: factors per channel."""
    corners = corners_of(homography)
    height, width = image.shape[:2]
    x0, y0 = np.maximum(np.floor(corners.min(0)).astype(int) - 1, 0)
    x1, y1 = np.minimum(np.ceil(corners.max(0)).astype(int) + 2, (width, height))
    if x1 <= x0 or y1 <= y0:
        return
    plate, mask = shrunk(plate, mask, np.linalg.norm(corners[1] - corners[0]))
    to_mm = np.diag((WIDTH / plate.shape[1], HEIGHT / plate.shape[0], 1.0))
    to_area = np.array([(1, 0, -float(x0)), (0, 1, -float(y0)), (0, 0, 1)])
    warp, size = to_area @ homography @ to_mm, (int(x1 - x0), int(y1 - y0))
    seen = cv2.warpPerspective(plate, warp, size, borderMode=cv2.BORDER_REPLICATE)
    share = cv2.warpPerspective(mask, warp, size).astype(np.float32) / 255
    if tuple(light) != (1.0, 1.0, 1.0):
        seen = cv2.multiply(seen, (*np.float64(light), 0.0))
    area = image[y0:y1, x0:x1]
    area[:] = cv2.blendLinear(area, seen, 1 - share, share)


def draw_holder(image, view, holder, light, rng):
    """The rim of a holder around the plate, and the shadow that the plate casts."""
    grow = holder + 4
    w, h = WIDTH / 2 + grow, HEIGHT / 2 + grow
    shadow = np.array([(-w, -h, 4), (w, -h, 4), (w, h + 6, 4), (-w, h + 6, 4)])
    fill(image, view.project(shadow), (15, 15, 16), alpha=0.45)
    if holder:
        w, h = WIDTH / 2 + holder, HEIGHT / 2 + holder
        rim = np.array([(-w, -h, 2), (w, -h, 2), (w, h, 2), (-w, h, 2)])
        shade = pick(rng, (25, 40, 170, 205)) * np.float32(light)
        fill(image, view.project(rim), shade, shade * 0.8)


def truth_of(text, homography, size):
    """What is known about a plate in a frame of `size` (width, height).

    `corners` may lie beyond the frame, `box` (x1, y1, x2, y2, no margin) is
    what the frame shows of them, `visible` the part of the plate it shows.
    """
    corners = corners_of(homography)
    box = np.concatenate([np.clip(corners.min(0), 0, size), np.clip(corners.max(0), 0, size)])
    return {"text": text, "box": box, "corners": corners,
            "visible": visible_part(corners, size)}


def visible_part(corners, size):
    frame = np.float32([(0, 0), (size[0], 0), size, (0, size[1])])
    plate = corners.astype(np.float32)
    shown, _ = cv2.intersectConvexConvex(cv2.convexHull(plate), cv2.convexHull(frame))
    return float(shown / max(cv2.contourArea(plate), 1e-6))


# Light

@dataclass
class Light:
    """Factors on street and bodywork, on plates, and whether lamps are lit."""
    street: np.ndarray
    plate: np.ndarray
    night: bool


def random_light(rng, night):
    if not night:
        level = rng.uniform(0.55, 1.1)
        tint = 1 + rng.uniform(-0.05, 0.05, 3)
        return Light(level * tint, level * tint * rng.uniform(0.75, 1.12), False)
    level = rng.uniform(0.1, 0.4)
    tint = np.array((0.95, 0.95, 1.1)) if rng.random() < 0.5 else np.array((1.15, 1.0, 0.75))
    # A plate throws the light back to the lamps behind the camera, or has its own.
    return Light(level * tint, rng.uniform(0.3, 0.85) * (0.5 + 0.5 * tint), True)


def dim(image, light):
    image[:] = cv2.multiply(image, (*np.float64(light.street), 0.0))


def add_glow(image, spots, rng):
    """Lamps: a white core and a wide halo, on a small picture since they are soft."""
    height, width = image.shape[:2]
    small = np.zeros((height // 4 + 1, width // 4 + 1, 3), np.uint8)
    for (x, y), radius, colour in spots:
        centre = (int(np.clip(x / 4, -500, 5000)), int(np.clip(y / 4, -500, 5000)))
        cv2.circle(small, centre, max(1, int(radius / 4)), colour, -1)
    halo = cv2.GaussianBlur(small, (0, 0), max(1.0, width / 4 * rng.uniform(0.01, 0.04)))
    glow = cv2.add(cv2.GaussianBlur(small, (0, 0), 1), cv2.convertScaleAbs(halo, alpha=1.2))
    image[:] = cv2.add(image, cv2.resize(glow, (width, height)))


def lamp_spots(vehicle, view):
    """Where a vehicle's lamps shine, as ((x, y), radius px, colour)."""
    half, level = vehicle.width / 2 - 180, 0.95 * vehicle.bonnet * vehicle.lamp_level - 90
    at = [(side * half - vehicle.plate_aside, vehicle.plate_height - level, 0)
          for side in (-1, 1)]
    scale = np.linalg.norm(np.diff(view.project([(-50, 0, 0), (50, 0, 0)]), axis=0)) / 100
    colour = (200, 30, 20) if vehicle.rear else (255, 245, 220)
    radius = scale * (30 if vehicle.rear else 55)
    return [(tuple(point), radius, colour) for point in view.project(at)]


def street_lamps(size, rng):
    return [((rng.uniform(0, size[0]), rng.uniform(0, 0.6) * size[1]),
             size[0] * rng.uniform(0.002, 0.01),
             pick(rng, ((255, 240, 200), (255, 190, 110), (230, 40, 30), (60, 230, 120))))
            for _ in range(int(rng.integers(0, 8)))]


# Cameras and the vehicles before them

LEAST_WIDTH, MOST_WIDTH = 0.06, 0.60      # of the frame's width
MOST_IN_COMPANY = 0.2                     # more of a plate leaves no room for others
MOST_WHEN_HARD = 0.12
LEAST_EYE, MOST_EYE = 250, 6000           # mm above the road


@dataclass
class Camera:
    """`turn` takes the street's directions to the camera's, `height` is mm above the road."""
    size: tuple
    focal: float
    turn: np.ndarray
    height: float = 0.0

    def ray(self, column, row):
        """Direction of a pixel, 1 deep."""
        return np.array([(column - self.size[0] / 2) / self.focal,
                         (row - self.size[1] / 2) / self.focal, 1.0])

    def depth(self, share):
        """mm to a plate that takes up `share` of the frame's width."""
        return self.focal * WIDTH / (share * self.size[0])

    def height_over(self, place):
        """mm that the camera is above a place before it."""
        return (self.turn.T @ place)[1]

    def on_road(self, column, share, below):
        """The place of a plate in this column, `below` mm lower than the camera."""
        place = self.ray(column, 0) * self.depth(share)
        down = self.turn.T[1]
        place[1] = (below - down[0] * place[0] - down[2] * place[2]) / down[1]
        return place

    def view(self, place, yaw, slope=0.0):
        matrix = np.array([(self.focal, 0, self.size[0] / 2), (0, self.focal, self.size[1] / 2),
                           (0, 0, 1)])
        turn = self.turn @ rotation(yaw, 0, 0) @ rotation(0, slope, 0)
        return View(matrix @ np.column_stack([turn, place]))

    def horizon(self):
        """The row where a level road would end."""
        far = self.turn[:, 2]
        return self.size[1] / 2 + self.focal * far[1] / max(far[2], 0.05)


@dataclass
class Parked:
    """A vehicle in a camera's view; `view` is upright, `plate` leans with the bodywork."""
    vehicle: object
    view: View
    plate: View

    def outline(self):
        """All that the vehicle may cover, px, convex."""
        v, half = self.vehicle, self.vehicle.width / 2
        box = [(side * half - v.plate_aside, v.plate_height - level, z)
               for side in (-1, 1) for level in (100, v.roof) for z in (0, 3900)]
        return cv2.convexHull(self.view.project(box).astype(np.float32))

    def hides(self, point):
        """Whether the vehicle stands before this pixel, or almost."""
        return cv2.pointPolygonTest(self.outline(), tuple(map(float, point)), True) > -4


def park(camera, vehicle, place, yaw):
    return Parked(vehicle, camera.view(place, yaw), camera.view(place, yaw, vehicle.slope))


def random_share(rng, most=MOST_WIDTH):
    """A plate's share of the frame's width; each doubling is as frequent as the next."""
    return float(np.exp(rng.uniform(np.log(LEAST_WIDTH), np.log(most))))


def random_yaw(rng, hard):
    if hard:
        return pick(rng, (-1, 1)) * rng.uniform(18, 28)
    return random_turn(rng)[0]


def random_place(rng, size, share):
    """Column and row of a plate's centre: inside the frame, few are cut off."""
    half = np.array((share, share / 2 * size[0] / size[1])) / 2
    at = 0.5 + np.maximum(0.47 - half, 0.01) * rng.uniform(-1, 1, 2)
    if rng.random() < 0.06:
        axis = pick(rng, (0, 0, 1))
        at[axis] = pick(rng, (0, 1)) + half[axis] * rng.uniform(-0.6, 0.6)
    return at * size


def random_camera(rng, size, level):
    """`level`: somebody holds or hung it; else it may hang at any angle."""
    if level:
        roll = np.clip(rng.normal(0, 3.5), -MOST_ROLL, MOST_ROLL)
        tilt = rng.uniform(-6, MOST_PITCH)
    else:
        roll, tilt = rng.uniform(-1, 1, 2) * (MOST_ROLL, MOST_PITCH)
    return Camera(size, size[0] * rng.uniform(0.9, 2.2), rotation(0, tilt, roll))


def first_vehicle(rng, size, hard, most):
    """A camera and the vehicle that it was hung for; `most`: of the frame's width."""
    level = rng.random() < 0.85
    vehicle, share = random_vehicle(rng), random_share(rng, most)
    for _ in range(40):
        camera = random_camera(rng, size, level)
        place = camera.ray(*random_place(rng, size, share)) * camera.depth(share)
        camera.height = vehicle.plate_height + camera.height_over(place)
        if not level or LEAST_EYE < camera.height < MOST_EYE:
            break
    return camera, park(camera, vehicle, place, random_yaw(rng, hard))


def apart(one, other):
    """Whether neither vehicle hides the other's plate."""
    for front, back in ((one, other), (other, one)):
        if any(front.hides(corner) for corner in corners_of(back.plate.homography())):
            return False
    return True


def next_vehicle(rng, camera, others, hard):
    """Another vehicle on the same road that leaves the others' plates in sight, or None."""
    for _ in range(30):
        vehicle, share = random_vehicle(rng), random_share(rng, MOST_IN_COMPANY)
        place = camera.on_road(random_place(rng, camera.size, share)[0], share,
                               camera.height - vehicle.plate_height)
        parked = park(camera, vehicle, place, random_yaw(rng, hard))
        corners = corners_of(parked.plate.homography())
        if visible_part(corners, camera.size) > 0.7 and all(apart(parked, o) for o in others):
            return parked
    return None


def random_vehicles(rng, size, count, hard=False):
    """A camera and up to `count` vehicles that do not hide each other's plates."""
    most = MOST_WHEN_HARD if hard else MOST_WIDTH if count < 2 else MOST_IN_COMPANY
    for _ in range(3):
        camera, first = first_vehicle(rng, size, hard, most)
        parked = [first][:count]
        while 0 < len(parked) < count and (other := next_vehicle(rng, camera, parked, hard)):
            parked.append(other)
        if len(parked) == count:
            break
    return camera, parked


# Frames

def level_street(rng, camera):
    """The street as the camera sees it, leaning the other way when the camera leans."""
    image = draw_street(camera.size, rng, camera.horizon())
    roll = np.degrees(np.arctan2(camera.turn[1, 0], camera.turn[0, 0]))
    if abs(roll) < 2:
        return image
    middle = (camera.size[0] / 2, camera.size[1] / 2)
    return cv2.warpAffine(image, cv2.getRotationMatrix2D(middle, -roll, 1), camera.size,
                          borderMode=cv2.BORDER_REFLECT)


def random_street(rng, camera):
    """A street, or mere clutter."""
    return draw_clutter(camera.size, rng) if rng.random() < 0.15 else level_street(rng, camera)


def cover_plate_place(image, view, rng):
    """What stands where a plate could be: nothing, or a board of a dealer."""
    if rng.random() < 0.6:
        w, h = WIDTH / 2 * rng.uniform(0.6, 1.1), HEIGHT / 2 * rng.uniform(0.4, 1.0)
        quad = np.array([(-w, -h, 0), (w, -h, 0), (w, h, 0), (-w, h, 0)])
        paste_flat(image, pick(rng, board_pool()), view.project(quad))


def draw_scene(rng, camera, parked, light, street=None):
    """The street with its vehicles, far ones first, in their light; no plates yet."""
    image = random_street(rng, camera) if street is None else street.copy()
    for one in sorted(parked, key=lambda p: -p.view.matrix[2, 3]):
        draw_vehicle(image, one.vehicle, one.view)
    if street is None and rng.random() < 0.3:
        scatter_boards(image, rng, int(rng.integers(1, 4)))
    dim(image, light)
    if light.night:
        spots = [spot for spot in street_lamps(camera.size, rng)
                 if not any(one.hides(spot[0]) for one in parked)]
        for one in parked:
            if one.vehicle.lit:
                spots += lamp_spots(one.vehicle, one.view)
        add_glow(image, spots, rng)
    return image


def mount(image, parked, plate, mask, light, rng):
    """Puts a plate onto a vehicle that has been drawn."""
    draw_holder(image, parked.plate, parked.vehicle.holder, light.plate, rng)
    paste_plate(image, plate, mask, parked.plate.homography(),
                light.plate * rng.uniform(0.93, 1.07, 3))


def render_scene(rng, pool, size=(960, 540), n_plates=1, hard=False, strength=None):
    """A frame and a list of dicts as truth_of() makes them, one for each plate.

    `pool` is a list of (rgb, mask, PlateText).  A crowded road may have room
    for fewer than `n_plates`.  Without plates the frame has vehicles without
    one, boards and lamps.  `hard`: small plates, 18 to 28 degrees of yaw, often
    night.  `strength` is that of degrade(), None for any.
    """
    light = random_light(rng, rng.random() < (0.5 if hard else 0.2))
    count = n_plates or int(rng.integers(0, 3))
    camera, parked = random_vehicles(rng, size, count, hard)
    image = draw_scene(rng, camera, parked, light)
    found = []
    if n_plates == 0:
        for one in parked:
            cover_plate_place(image, one.plate, rng)
        scatter_boards(image, rng, int(rng.integers(0, 6)))
    for one in parked[:n_plates]:
        plate, mask, text = pool[int(rng.integers(len(pool)))]
        mount(image, one, plate, mask, light, rng)
        found.append(truth_of(text, one.plate.homography(), size))
    if strength is None:
        strength = rng.uniform(0.4, 0.8) if hard else rng.uniform(0, 0.7)
    strength = max(strength, 0.5) if light.night else strength
    return degrade(image, rng, strength, night=False), found


# Backgrounds kept, plates put in on the fly

@dataclass
class Background:
    """A lit frame without plates, and the views at which its vehicles want them."""
    image: np.ndarray
    views: list
    light: Light


def render_background(rng, size=(960, 540)):
    light = random_light(rng, rng.random() < 0.2)
    camera, parked = random_vehicles(rng, size, pick(rng, (0, 1, 1, 1, 2)))
    image = draw_scene(rng, camera, parked, light)
    return Background(image, [one.plate for one in parked], light)


def render_background_pool(count, seed, size=(960, 540)):
    return [render_background(np.random.default_rng([seed, i]), size) for i in range(count)]


def random_view(rng, size):
    """A plate anywhere before any camera."""
    share = random_share(rng)
    camera = random_camera(rng, size, False)
    place = camera.ray(*random_place(rng, size, share)) * camera.depth(share)
    return camera.view(place, random_yaw(rng, False))


def window_around(rng, view, size, frame):
    """Top left corner of a window of `size` that shows the view's plate somewhere."""
    corners = corners_of(view.homography())
    low, high = corners.min(0), corners.max(0)
    room = np.maximum(np.array(size) - (high - low), 0)
    corner = low - rng.uniform(0, 1, 2) * room
    return np.clip(corner, 0, np.maximum(np.array(frame) - size, 0)).astype(int)


def compose_window(rng, background, pool, size=(320, 320)):
    """A window of a background with a plate in it (picture, list of truths).

    Half of the plates are where a vehicle has its plate, the others anywhere.
    The camera's losses are not in it yet: degrade() the window.
    """
    frame = background.image.shape[1::-1]
    mounted = bool(background.views) and rng.random() < 0.5
    view = pick(rng, background.views) if mounted else random_view(rng, frame)
    x, y = window_around(rng, view, size, frame)
    image = background.image[y:y + size[1], x:x + size[0]].copy()
    plate, mask, text = pool[int(rng.integers(len(pool)))]
    shift = np.array([(1, 0, -float(x)), (0, 1, -float(y)), (0, 0, 1)])
    homography = shift @ view.homography()
    paste_plate(image, plate, mask, homography,
                background.light.plate * rng.uniform(0.85, 1.15, 3))
    return image, [truth_of(text, homography, image.shape[1::-1])]
