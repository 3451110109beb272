"""What the corner network learns from: crops with a plate, and where its corners are.

A mounted plate (mounted_plates.py) is seen from any side, cut as the detector or somebody
else cuts, goes through any camera and is stretched to the network's input.  Where an edge
of the plate is beyond the crop, the crop's edge is the answer.

Pictures are RGB, uint8, rows first; corners top-left, top-right, bottom-right, bottom-left.
"""
import cv2
import numpy as np

import mounted_plates
import plates
import scenes
from camera import degrade
from mounted_plates import CANVAS_PX, TO_CANVAS, chosen, scaling

NETWORK = (256, 128)              # width, height
PLATE_WIDTHS = (40, 330)          # px
MOST_YAW, MOST_PITCH, MOST_ROLL = 48, 28, 18      # degrees

# How a crop lies around the plate, and how often.
FRAMINGS = {"boxed": 0.48, "loose": 0.16, "tight": 0.25, "cut": 0.11}
# The detector boxes a plate with this share of the plate's box on every side.
MARGIN, MARGIN_SCATTER = 0.135, (0.04, 0.085)

MIRRORED = {"": 0.74, "left to right": 0.16, "upside down": 0.1}
MIRRORS = {"": np.eye(3), "left to right": scaling(plates.WIDTH, 0, -1, 1),
           "upside down": scaling(0, plates.HEIGHT, 1, -1)}


# Where the crop is

def framing(rng):
    """What the crop has beyond the plate's box (left, top, right, bottom), in its sizes."""
    name = chosen(rng, FRAMINGS)
    margins = np.maximum(MARGIN + rng.normal(0, rng.uniform(*MARGIN_SCATTER), 4), 0)
    if name == "loose":
        # The plate fills 35 to 100 % of the crop and lies anywhere in it.
        spare = 1 / np.clip(rng.uniform(0.35, 1) * rng.uniform(0.85, 1.15, 2), 0.35, 1) - 1
        share = rng.uniform(0, 1, 2)
        margins = np.concatenate([spare * share, spare * (1 - share)])
    if name == "tight":
        # Somebody cut along the plate's edge, or a little inside of it.
        inside = rng.random(4) < rng.uniform(0, 1)
        margins = np.where(inside, rng.uniform(-0.08, 0, 4), rng.uniform(-0.015, 0.025, 4))
    if name == "cut":
        sides = rng.permutation(4)[:int(rng.integers(1, 3))]
        margins[sides] = rng.uniform(-0.12, 0, len(sides))
    return name, margins


def placed(rng):
    """How the crop sees the plate (homography from mm), the crop's size and its framing."""
    name, margins = framing(rng)
    # What is cut along the edges was mostly straightened before.
    calm = 0.3 if name == "tight" and rng.random() < 0.6 else 1.0
    homography = scenes.random_homography(rng, yaw=calm * MOST_YAW, pitch=calm * MOST_PITCH,
                                          roll=calm * MOST_ROLL)
    corners = scenes.corners_of(homography)
    low, high = corners.min(0), corners.max(0)
    scale = np.exp(rng.uniform(*np.log(PLATE_WIDTHS))) / (high[0] - low[0])
    low, high = low - margins[:2] * (high - low), high + margins[2:] * (high - low)
    size = np.maximum(np.rint((high - low) * scale), 8).astype(int)
    across, down = size / (high - low)
    return scaling(*(-low * (across, down)), across, down) @ homography, size, name


def meeting(one, other, axis, value):
    """Where the line through two points has `value` on the axis."""
    run = other[axis] - one[axis]
    share = (value - one[axis]) / run if abs(run) > 1e-9 else 0.0
    return one + share * (other - one)


def shown(corners):
    """The corners (4 x 2, parts of the crop) of what the crop shows of the plate.

    A corner beyond the crop moves along the plate's own edge to the crop's border, and one
    that is beyond two borders into the crop's corner, or where an edge still enters.
    """
    answer = np.empty((4, 2))
    for at, corner in enumerate(corners):
        beside, below = corners[(1, 0, 3, 2)[at]], corners[(3, 2, 1, 0)[at]]
        border = np.clip(corner, 0, 1)
        moves = [(beside, 0)] * (corner[0] != border[0]) + [(below, 1)] * (corner[1] != border[1])
        answer[at] = corner
        for neighbour, axis in moves:
            met = meeting(corner, neighbour, axis, border[axis])
            answer[at] = met
            if (0 <= met).all() and (met <= 1).all():
                break
    return np.clip(answer, 0, 1)


# What the camera makes of it

def warped(canvas, homography, size, frames, rng):
    """The canvas in the crop; shrunk before the warp, which only interpolates."""
    wide = np.linalg.norm(np.diff(scenes.corners_of(homography)[:2], axis=0))
    halvings = int(np.clip(np.log2(mounted_plates.PLATE_PX[0] / (1.2 * wide)), 0, 3))
    to_mm = np.linalg.inv(TO_CANVAS)
    if halvings:
        small = tuple(side >> halvings for side in CANVAS_PX)
        factors = np.array(CANVAS_PX) / small
        canvas = cv2.resize(canvas, small, interpolation=cv2.INTER_AREA)
        to_mm = to_mm @ scaling(*(factors / 2 - 0.5), *factors)
    warp = scaling(-0.5, -0.5) @ homography @ to_mm
    # What is beyond the canvas is another place, or its own border.
    crop, border = elsewhere(size, frames, rng), cv2.BORDER_TRANSPARENT
    if rng.random() < 0.3:
        border = cv2.BORDER_REPLICATE
    flags = cv2.INTER_NEAREST if rng.random() < 0.08 else cv2.INTER_LINEAR
    return cv2.warpPerspective(canvas, warp, size, dst=crop, flags=flags, borderMode=border)


def elsewhere(size, frames, rng):
    frame = plates.pick(rng, frames)
    room = np.array(frame.shape[1::-1]) - size
    if (room < 1).any():
        return cv2.resize(frame, size)
    x, y = (rng.uniform(0, 1, 2) * room).astype(int)
    return frame[y:y + size[1], x:x + size[0]].copy()


def equalised(crop, rng):
    """Brightness spread out over the whole range, place by place or at once."""
    yuv = cv2.cvtColor(crop, cv2.COLOR_RGB2YUV)
    if rng.random() < 0.3:
        yuv[..., 0] = cv2.equalizeHist(yuv[..., 0])
    else:
        tiles = int(rng.integers(2, 9))
        yuv[..., 0] = cv2.createCLAHE(rng.uniform(1.5, 6), (tiles, tiles)).apply(
            np.ascontiguousarray(yuv[..., 0]))
    return cv2.cvtColor(yuv, cv2.COLOR_YUV2RGB)


def sharpened(crop, rng):
    """Bright and dark seams along every edge, as phones and drive recorders make them."""
    soft = cv2.GaussianBlur(crop, (0, 0), rng.uniform(0.7, 2.2))
    amount = rng.uniform(0.5, 3)
    return cv2.addWeighted(crop, 1 + amount, soft, -amount, 0)


def saturated(crop, rng):
    """Light paint and reflections that go beyond white, or shade that drowns in black."""
    gain = rng.uniform(1.2, 2.2)
    return cv2.convertScaleAbs(cv2.subtract(crop, (rng.uniform(0, 60),) * 4), alpha=gain)


def recompressed(crop, rng):
    quality = int(rng.uniform(12, 60))
    _, data = cv2.imencode(".jpg", crop, [cv2.IMWRITE_JPEG_QUALITY, quality])
    return cv2.imdecode(data, cv2.IMREAD_COLOR)


def processed(crop, rng):
    """What is done to a picture after it was taken."""
    grey = rng.random() < 0.22
    if grey:
        crop = cv2.merge([cv2.cvtColor(crop, cv2.COLOR_RGB2GRAY)] * 3)
    elif rng.random() < 0.15:
        crop = np.ascontiguousarray(crop[..., rng.permutation(3)])
    for change, share in ((saturated, 0.15), (equalised, 0.5 if grey else 0.06),
                          (sharpened, 0.25), (recompressed, 0.2)):
        if rng.random() < share:
            crop = change(crop, rng)
    return crop


# Samples

def losses(homography, rng):
    """How bad the camera is; what is small in the picture already lost much."""
    wide = np.ptp(scenes.corners_of(homography)[:, 0])
    return rng.uniform(0.05, 0.8) * min(1, 0.3 + wide / 200)


def tags_of(homography, name, contents):
    corners = scenes.corners_of(homography)
    top, side = corners[1] - corners[0], corners[3] - corners[0]
    turned = np.linalg.norm(top) / np.linalg.norm(side) < 2 * np.cos(np.radians(30))
    return (name, f"contents: {contents}", *["turned by 30 degrees or more"] * turned,
            *["plates below 80 px"] * (np.ptp(corners[:, 0]) < 80))


def sample(pool, frames, rng):
    """The network's picture, the corners (4 x 2), height / width of the crop, and tags."""
    canvases, contents = pool
    index = int(rng.integers(len(canvases)))
    homography, size, name = placed(rng)
    mirror = MIRRORS[chosen(rng, MIRRORED)]
    crop = warped(canvases[index], homography @ mirror, tuple(size.tolist()), frames, rng)
    crop = processed(degrade(crop, rng, losses(homography, rng)), rng)
    picture = cv2.resize(crop, NETWORK, interpolation=cv2.INTER_LINEAR)
    # kavrel rectifies with 0 in the middle of the first pixel, the homography counts from its edge.
    corners = shown((scenes.corners_of(homography) - 0.5) / size).astype(np.float32)
    return (picture, corners, np.float32(size[1] / size[0]),
            tags_of(homography, name, contents[index]))


def samples(pool, frames, rng):
    while True:
        yield sample(pool, frames, rng)[:2]
