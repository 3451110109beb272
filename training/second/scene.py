"""A vehicle with its plate before a camera: space, light and panels, in linear light.

World in mm: x right, y up, z away from the camera; the ground is y = 0.
"""
from dataclasses import dataclass

import cv2
import numpy as np

import plate as plates
import vehicle as vehicles

SIZES = ((640, 480), (800, 600), (960, 720), (1024, 683), (1280, 720), (1280, 960), (900, 1200),
         (1600, 1200))
WIDE_SIZES = ((2016, 1512), (2560, 1440), (1920, 1280), (1512, 2016))
KINDS = (("sedan", 5), ("kei", 3), ("van", 3), ("truck", 3), ("bus", 2))


@dataclass
class Light:
    """What falls on things: from everywhere, from one side, and what the gloss mirrors."""
    name: str
    diffuse: np.ndarray
    lamp: np.ndarray
    towards: np.ndarray                # unit, from the thing to the lamp, world
    sky: np.ndarray
    lit: float                         # how brightly vehicles' lamps shine
    brightness: float                  # mean of the finished picture
    plate_lamp: float = 0.0


@dataclass
class Camera:
    size: tuple
    focal: float
    turn: np.ndarray                   # world to camera
    place: np.ndarray

    def project(self, points):
        seen = (np.asarray(points, float) - self.place) @ self.turn.T
        depth = np.maximum(seen[..., 2:], 1.0)
        middle = np.array(self.size) / 2
        return middle + self.focal * seen[..., :2] * (1, -1) / depth

    def depth(self, points):
        return ((np.asarray(points, float) - self.place) @ self.turn.T)[..., 2]


# Light

def unit(vector):
    return np.array(vector, float) / np.linalg.norm(vector)


def random_light(rng):
    name = str(rng.choice(("sun", "sun", "cloud", "cloud", "shade", "dusk", "garage", "night")))
    side, up = rng.uniform(-1, 1), rng.uniform(0.5, 1.4)
    towards = unit((side, up, -rng.uniform(0.1, 0.9)))
    tint = np.array((1, 1, 1)) + rng.normal(0, 0.03, 3)
    none = np.zeros(3)
    if name == "sun":
        return Light(name, 0.34 * np.array((0.88, 0.97, 1.1)) * tint,
                     1.0 * np.array((1.05, 1.0, 0.9)) * tint, towards,
                     np.array((0.55, 0.72, 1.0)), 0, 0.23)
    if name == "cloud":
        return Light(name, 0.75 * tint, 0.12 * tint, towards, np.array((0.85, 0.9, 0.95)), 0, 0.22)
    if name == "shade":
        return Light(name, 0.30 * np.array((0.85, 0.97, 1.15)) * tint, 0.05 * tint, towards,
                     np.array((0.5, 0.6, 0.75)), 0, 0.17)
    if name == "dusk":
        return Light(name, 0.10 * np.array((0.9, 0.92, 1.15)) * tint, none, towards,
                     np.array((0.2, 0.18, 0.25)), rng.uniform(0.3, 1), 0.13)
    if name == "garage":
        return Light(name, 0.09 * np.array((0.93, 1.04, 0.9)) * tint,
                     0.12 * np.array((0.95, 1.03, 0.88)), unit((side, 1.4, -0.5)),
                     np.array((0.10, 0.11, 0.10)), float(rng.random() < 0.3) * 0.4, 0.13)
    return Light(name, 0.016 * np.array((1.1, 0.95, 0.75)),
                 rng.uniform(0.10, 0.22) * np.array((1.05, 1.0, 0.88)),
                 unit((rng.uniform(-0.5, 0.5), 0.3, -1)), np.array((0.03, 0.026, 0.02)), 1.0, 0.075,
                 rng.uniform(0.25, 0.6))


# Camera

def tilt(pitch, roll):
    """World to camera for a camera that looks down by `pitch` and leans by `roll`."""
    down = np.array(((1, 0, 0), (0, np.cos(pitch), np.sin(pitch)),
                     (0, -np.sin(pitch), np.cos(pitch))))
    lean = np.array(((np.cos(roll), np.sin(roll), 0), (-np.sin(roll), np.cos(roll), 0), (0, 0, 1)))
    return lean @ down


def aim(size, focal, spot, plate_height, distance, camera_height, roll):
    """A camera that sees a plate at pixel `spot` from `distance`, and the plate's place."""
    ray = np.array(((spot[0] - size[0] / 2) / focal, -(spot[1] - size[1] / 2) / focal, 1.0))
    ray /= np.linalg.norm(ray)
    best = min(np.radians(np.linspace(-8, 40, 400)), key=lambda pitch: abs(
        camera_height + distance * (ray @ tilt(pitch, roll))[1] - plate_height))
    turn = tilt(best, roll)
    along = ray @ turn
    place = np.array((0, plate_height - distance * along[1], 0))
    return Camera(size, focal, turn, place), place + distance * along


# Panels into the picture

def radiance(panel, light, heading, mirrored):
    """A panel's picture as it shines, and its cover as a fourth channel, premultiplied."""
    canvas, grid = panel.canvas, panel.grid
    turned = np.gradient(grid, axis=1), np.gradient(grid, axis=0)
    normal = np.cross(turned[0], turned[1])
    normal /= np.maximum(np.linalg.norm(normal, axis=2, keepdims=True), 1e-9)
    outward = normal * np.where(normal[..., 2:] > 0.2, -1, 1)
    outward = np.where(np.abs(outward[..., 2:]) > 0.2, outward,
                       outward * np.sign(outward[..., :1] * grid[..., :1] + 1e-9))
    outward = np.where(outward[..., 1:2] < -0.1, -outward, outward) @ heading.T
    lamp = np.clip(outward @ light.towards, 0, 1)
    open_sky = 0.62 + 0.38 * outward[..., 1]
    edge = 1 - np.abs(outward @ np.array((0, 0, -1.0)))
    size = canvas.gloss.shape[::-1]
    lamp, open_sky, edge = (cv2.resize(values.astype(np.float32), size)[..., None]
                            for values in (lamp, open_sky, edge))
    mirror = cv2.resize(mirrored, size)
    # What leans back mirrors the sky instead of the street.
    upward = np.clip(2.2 * open_sky - 1.5, 0, 1)
    sky = np.float32(light.sky) * float(np.mean(light.diffuse + light.lamp))
    mirror = mirror + (sky - mirror) * upward
    shine = canvas.gloss[..., None] ** 2 * (0.06 + 0.3 * edge ** 2 + 0.25 * upward) * mirror
    picture = canvas.paint * (lamp * np.float32(light.lamp) + open_sky * np.float32(light.diffuse))
    picture = picture + shine + canvas.glow
    cover = canvas.cover[..., None]
    return np.concatenate((picture * cover, cover), 2).astype(np.float32)


def put_quad(frame, texture, source, target):
    """Warp the texture's quadrilateral `source` onto `target` of the frame."""
    low = np.floor(target.min(0)).astype(int) - 1
    high = np.ceil(target.max(0)).astype(int) + 2
    low, high = np.maximum(low, 0), np.minimum(high, frame.shape[1::-1])
    if (high <= low).any():
        return
    warp = cv2.getPerspectiveTransform(np.float32(source), np.float32(target - low))
    size = tuple(int(side) for side in high - low)
    patch = cv2.warpPerspective(texture, warp, size, flags=cv2.INTER_LINEAR,
                                borderMode=cv2.BORDER_REPLICATE)
    inside = np.zeros(patch.shape[:2], np.uint8)
    cv2.fillConvexPoly(inside, np.rint((target - low) * 16).astype(np.int32), 1, shift=4)
    under = frame[low[1]:high[1], low[0]:high[0]]
    np.copyto(under, patch[..., :3] + under * (1 - patch[..., 3:]), where=inside[..., None] > 0)


def shrink(texture, ratio):
    """The texture at the size at which it is seen, so that nothing aliases."""
    if ratio >= 0.9:
        return texture
    size = tuple(max(4, round(side * ratio)) for side in texture.shape[1::-1])
    return cv2.resize(texture, size, interpolation=cv2.INTER_AREA)


def put_sheet(frame, camera, texture, points):
    """Draw a texture over a grid of world points, cell by cell, far ones first."""
    if (camera.depth(points) < 300).any():
        return
    seen = camera.project(points)
    across = np.linalg.norm(np.diff(seen, axis=1), axis=2).sum(1).max()
    texture = shrink(texture, 1.1 * across / texture.shape[1])
    rows, columns = points.shape[:2]
    x = np.linspace(0, texture.shape[1] - 1, columns)
    y = np.linspace(0, texture.shape[0] - 1, rows)
    cells = [(row, column) for row in range(rows - 1) for column in range(columns - 1)]
    depth = camera.depth(points)
    for row, column in sorted(cells, key=lambda cell: -depth[cell]):
        corner = ((row, column), (row, column + 1), (row + 1, column + 1), (row + 1, column))
        target = np.array([seen[place] for place in corner])
        middle = target.mean(0)
        target = middle + (target - middle) * 1.02     # no gaps between cells
        put_quad(frame, texture, [(x[j], y[i]) for i, j in corner], target)


def placed(points, heading, spot, origin):
    """Points of a vehicle in the world: `spot` of the vehicle stands at `origin`."""
    return (np.asarray(points, float) - spot) @ heading.T + origin


def turned(yaw):
    return np.array(((np.cos(yaw), 0, np.sin(yaw)), (0, 1, 0), (-np.sin(yaw), 0, np.cos(yaw))))


def put_vehicle(frame, camera, car, light, heading, spot, origin, mirrored):
    shadow(frame, camera, car, light, heading, spot, origin)
    own = (camera.place - origin) @ heading + spot
    for panel in car.panels:
        middle = panel.grid.mean((0, 1))
        if abs(middle[0]) > 100 and own[0] * np.sign(middle[0]) < car.width / 2:
            continue                                   # a side that looks away
        if panel.shining is None:
            panel.shining = radiance(panel, light, heading, mirrored)
        texture = panel.shining
        points = placed(panel.grid, heading, spot, origin)
        if abs(middle[0]) > 100 and middle[0] < 0:     # its front end is at the right
            points, texture = points[:, ::-1], np.ascontiguousarray(texture[:, ::-1])
        put_sheet(frame, camera, texture, points)


def shadow(frame, camera, car, light, heading, spot, origin):
    half, length = car.width / 2, car.length
    foot = [(-half, 0, 0), (half, 0, 0), (half, 0, length), (-half, 0, length)]
    height = vehicles.SIZES[car.kind][1]
    ground = placed(foot, heading, spot, origin)
    reach = -light.towards * height / max(light.towards[1], 0.2)
    far = ground + (reach[0], 0, reach[2])
    sun = float(np.mean(light.lamp) / (np.mean(light.lamp) + np.mean(light.diffuse)))
    for shape, strength, soft in ((ground, 0.85, 90), (np.vstack([ground, far]), 0.8 * sun, 15)):
        if (camera.depth(shape) < 300).any():
            continue
        seen = cv2.convexHull(np.float32(camera.project(shape)))
        mask = np.zeros(frame.shape[:2], np.uint8)
        cv2.fillConvexPoly(mask, np.rint(seen * 16).astype(np.int32), 255, cv2.LINE_AA, 4)
        blur = soft * camera.focal / np.median(camera.depth(shape))
        small = cv2.resize(mask, None, fx=0.25, fy=0.25, interpolation=cv2.INTER_AREA)
        small = cv2.GaussianBlur(small, (0, 0), max(blur / 4, 0.5))
        mask = cv2.resize(small, frame.shape[1::-1]).astype(np.float32)[..., None] / 255
        frame *= 1 - strength * mask


# The plate

def put_plate(frame, camera, drawn, car, light, heading, spot, origin, tilted, shade):
    """Screw the plate on; its corners in the frame."""
    x, y, size = car.plate
    corner = np.array(((-1, -1), (1, -1), (1, 1), (-1, 1)))
    own = plates.corners()
    margin = plates.MARGIN
    whole = own + margin * corner

    def mounted(points):
        flat = (points - (plates.WIDTH / 2, plates.HEIGHT / 2)) * size * (1, -1)
        level = np.concatenate((flat, np.zeros((4, 1))), 1) @ tilted.T
        return placed(level + (x, y, -16), heading, spot, origin)

    towards = light.towards @ heading @ tilted         # into the plate's own axes
    local = (towards[0], -towards[1], max(-towards[2], 0.02))
    strength = np.broadcast_to(np.float32(light.lamp), drawn.paint.shape)
    if shade is not None:
        strength = strength * shade[..., None]
    picture = plates.lit(drawn, local, light.diffuse * (0.75 - 0.25 * tilted[1, 2]), strength,
                         light.sky)
    if car.rear and light.plate_lamp:
        rows = np.arange(picture.shape[0], dtype=np.float32)[:, None, None] / plates.SCALE
        fall = light.plate_lamp * np.exp(-rows / 110) * np.float32((1.05, 1, 0.9))
        picture = picture + plates.lit(drawn, (0.1, -1, 0.7), np.zeros(3),
                                       np.broadcast_to(fall, drawn.paint.shape), np.zeros(3))
    texture = np.concatenate((picture * drawn.cover[..., None], drawn.cover[..., None]), 2)
    target = camera.project(mounted(whole))
    across = np.linalg.norm(target[1] - target[0])
    texture = shrink(texture.astype(np.float32), 1.05 * across / texture.shape[1])
    rows, columns = texture.shape[:2]
    source = [(-0.5, -0.5), (columns - 0.5, -0.5), (columns - 0.5, rows - 0.5), (-0.5, rows - 0.5)]
    put_quad(frame, texture, source, target)
    return camera.project(mounted(own))
