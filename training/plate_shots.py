"""Photographs single plates and rectifies them, for the networks that read them.

A plate is drawn, photographed from somewhere, cut out with what is around it, and
rectified with corners as the chain finds them: true ones, ours with their small errors,
bad ones, and those of a picture that is nothing but the plate.  A plate costs more to draw
than to photograph, so a few hundred are kept and each is photographed several times.
"""
from dataclasses import dataclass

import cv2
import numpy as np

import backgrounds
import camera
import font_lettering
import plates
from plates import pick

RECTIFIED = (320, 96)
PX_PER_MM = 1.3
KEPT_PLATES, SHOTS_A_PLATE = 300, 7
# One plate in five is lettered with fonts.
STYLES_TRAIN = (plates.STYLES_TRAIN * (4 * len(font_lettering.STYLES) // len(plates.STYLES_TRAIN))
                + font_lettering.STYLES)
UNIT = np.float32([(0, 0), (1, 0), (1, 1), (0, 1)])


def corners_of(width, height):
    return UNIT * np.float32((width, height))


@dataclass
class Shot:
    """A plate as the chain has it before it reads: cut out, and rectified."""
    text: plates.PlateText
    roi: np.ndarray
    rect: np.ndarray
    groups: np.ndarray      # of each character
    chars: list
    roi_boxes: np.ndarray   # the characters' left, top, right, bottom there
    rect_boxes: np.ndarray
    mm_boxes: np.ndarray    # on the plate
    mm_to_rect: np.ndarray


# Plates to be photographed

def with_ones(text, rng):
    """Class numbers and serials full of 1s: their bars are what is lost first."""
    def ones(digits, share):
        return "".join("1" if char.isdigit() and rng.random() < share else char
                       for char in digits)
    class_no = ones(text.class_no, 0.4) if rng.random() < 0.4 else text.class_no
    serial = ones(text.serial, 0.4) if rng.random() < 0.25 else text.serial
    # A serial never begins with 0; 1s make none that does.
    return plates.PlateText(text.kind, text.region, class_no, text.kana, serial)


# Light letters on a dark ground are the rarer sight, and the harder one.
DARK, MORE_DARK = ("business", "kei_business"), 0.15


def random_text(rng, regions):
    """All kana and class numbers are needed, however rare they are on a plate."""
    kinds = DARK if rng.random() < MORE_DARK else None
    text = plates.random_plate_text(rng, regions, uniform=0.75, kinds=kinds,
                                    short=(0.03, 0.05, 0.17))
    return with_ones(text, rng)


def drawn_plates(rng, styles, regions):
    while True:
        text = random_text(rng, regions)
        yield text, plates.draw_plate(text, pick(rng, styles), PX_PER_MM, rng)


def kept_plates(rng, styles, regions):
    """Any of the last plates drawn; a new one replaces one every few times."""
    fresh, kept = drawn_plates(rng, styles, regions), []
    while True:
        if len(kept) < KEPT_PLATES:
            kept.append(next(fresh))
            yield kept[-1]
            continue
        kept[int(rng.integers(KEPT_PLATES))] = next(fresh)
        for _ in range(SHOTS_A_PLATE):
            yield pick(rng, kept)


# The place of a plate in the picture that is cut out

def turned_plate(rng, width, hard):
    """The corners of a plate about `width` pixels wide, seen from somewhere."""
    spread = np.radians((15, 8, 4)) * hard
    limit = np.radians((42, 25, 15)) * hard
    yaw, pitch, roll = (np.clip(rng.normal(0, spread), -limit, limit) if rng.random() < 0.75
                        else rng.uniform(-limit, limit))
    half = np.array([(-1, -0.5), (1, -0.5), (1, 0.5), (-1, 0.5)]) * plates.WIDTH / 2
    points = np.stack([half[:, 0] * np.cos(yaw), half[:, 1] * np.cos(pitch),
                       half[:, 0] * np.sin(yaw) + half[:, 1] * np.sin(pitch)], 1)
    points = points[:, :2] / (rng.uniform(4, 12) * plates.WIDTH + points[:, 2:])
    turn = np.array([(np.cos(roll), np.sin(roll)), (-np.sin(roll), np.cos(roll))])
    points = points @ turn
    return points * width / np.linalg.norm(points[1] - points[0])


def slips(rng, size, most):
    """Four corners that went astray together: moved, stretched, sheared and bent."""
    x, y = UNIT.T - 0.5
    dx = sum(rng.uniform(-most, most) * shape for shape in (1, 2 * x, 2 * y, 4 * x * y))
    dy = sum(rng.uniform(-most, most) * shape for shape in (0.7, 2 * x, 1.4 * y, 4 * x * y))
    return np.stack([dx + 0 * x, dy + 0 * x], 1) * size


def found_corners(rng, corners, size):
    """The corners as a network finds them: exact, a little off, or badly off."""
    width = np.linalg.norm(corners[1] - corners[0])
    way = rng.random()
    if way < 0.12:
        return corners
    if way < 0.67:
        return corners + rng.normal(0, width * rng.uniform(0.001, 0.013), (4, 2))
    return corners + slips(rng, width, rng.uniform(0.015, 0.055)) \
        + rng.normal(0, 0.004 * width, (4, 2))


@dataclass
class Place:
    """Where the plate lies in the picture that is cut out, and where it is found."""
    corners: np.ndarray
    size: np.ndarray
    found: np.ndarray


# Shares of pictures that are nothing but the plate, and of plates found far too large.
TIGHT, LOOSE = 0.17, 0.04


def place(rng, hard):
    width = np.exp(rng.uniform(np.log(52), np.log(340))) if hard else rng.uniform(260, 400)
    way = rng.random()
    tight, loose = way < TIGHT, TIGHT < way < TIGHT + LOOSE
    corners = turned_plate(rng, width, 0.35 * hard if tight else hard)
    low, high = corners.min(0), corners.max(0)
    box = high - low
    margins = (rng.uniform(-0.03, 0.04, 4) if tight
               else rng.uniform(0.04, 0.13, 4) if loose else rng.uniform(0.02, 0.2, 4))
    corners = (corners - low + margins[:2] * box).astype(np.float32)
    size = np.maximum(16, np.round(box * (1 + margins[:2] + margins[2:]))).astype(int)
    if loose or (tight and rng.random() < 0.6):
        found = corners_of(*(size - 1))
    else:
        found = found_corners(rng, corners, size)
    return Place(corners, size, np.clip(found, 0, size - 1).astype(np.float32))


# The picture

def surroundings(rng, width, height):
    """A few soft patches of any colour: what a detector's box shows beside the plate."""
    patches = rng.integers(0, 200) + rng.integers(-60, 60, (4, 5, 3))
    patches = np.clip(patches, 0, 255).astype(np.uint8)
    way = cv2.INTER_CUBIC if rng.random() < 0.7 else cv2.INTER_NEAREST
    return cv2.resize(patches, (width, height), interpolation=way)


def shrunk_for(plate, width):
    """Picture, mask and outline; halves and quarters are averaged, a warp would skip."""
    picture, outline = plate.picture, plate.outline()
    factor = min(1.0, 1.3 * width / np.linalg.norm(outline[1] - outline[0]))
    if factor == 1.0:
        return picture, plate.mask, outline
    size = (max(8, round(picture.shape[1] * factor)), max(4, round(picture.shape[0] * factor)))
    scale = np.float32(size) / np.float32(picture.shape[1::-1])
    return (cv2.resize(picture, size, interpolation=cv2.INTER_AREA),
            cv2.resize(plate.mask, size, interpolation=cv2.INTER_AREA),
            np.float32((outline + 0.5) * scale - 0.5))


def into_scene(plate, spot, rng):
    """The cut-out picture with the plate in its place."""
    picture, mask, outline = shrunk_for(plate, np.linalg.norm(spot.corners[1] - spot.corners[0]))
    warp = cv2.getPerspectiveTransform(outline, spot.corners)
    size = tuple(spot.size.tolist())
    scene = surroundings(rng, *size)
    seen = cv2.warpPerspective(picture, warp, size, flags=cv2.INTER_LINEAR,
                               borderMode=cv2.BORDER_REPLICATE)
    cv2.copyTo(seen, cv2.warpPerspective(mask, warp, size) // 128, scene)
    return scene


# What is done to pictures after the camera

RESIZING = (cv2.INTER_LINEAR, cv2.INTER_CUBIC, cv2.INTER_LANCZOS4, cv2.INTER_NEAREST,
            cv2.INTER_AREA)


def sharpened(image, rng):
    soft = cv2.GaussianBlur(image, (0, 0), rng.uniform(0.6, 2.2))
    amount = rng.uniform(0.5, 3)
    return cv2.addWeighted(image, 1 + amount, soft, -amount, 0)


def grey(image):
    return cv2.cvtColor(cv2.cvtColor(image, cv2.COLOR_RGB2GRAY), cv2.COLOR_GRAY2RGB)


def equalised(image, rng):
    bright = cv2.cvtColor(image, cv2.COLOR_RGB2GRAY)
    if rng.random() < 0.3:
        return cv2.cvtColor(cv2.equalizeHist(bright), cv2.COLOR_GRAY2RGB)
    tiles = (int(rng.integers(1, 9)), int(rng.integers(1, 9)))
    return cv2.cvtColor(cv2.createCLAHE(rng.uniform(1.5, 12), tiles).apply(bright),
                        cv2.COLOR_GRAY2RGB)


def flattened(image, rng):
    """Little contrast at any brightness."""
    contrast = rng.uniform(0.22, 0.65)
    return cv2.convertScaleAbs(image, alpha=contrast, beta=rng.uniform(0, 250 * (1 - contrast)))


def toned(image, rng):
    """A steep tone curve: what was blurred before becomes thick or thin strokes."""
    middle = np.clip(image.mean() + rng.normal(-10, 30), 40, 215)
    values = 1 / (1 + np.exp((middle - np.arange(256)) / rng.uniform(8, 45)))
    low, high = values[[0, -1]]
    return cv2.LUT(image, np.uint8(np.round(255 * (values - low) / (high - low))))


def overexposed(image, rng):
    """White paint that burns out, and glows into the letters."""
    image = cv2.convertScaleAbs(image, alpha=rng.uniform(1.15, 1.9), beta=rng.uniform(-50, 35))
    if rng.random() < 0.4:
        soft = cv2.GaussianBlur(image, (0, 0), rng.uniform(1, 4))
        image = cv2.addWeighted(image, 1, soft, rng.uniform(0.1, 0.4), -rng.uniform(0, 60))
    return image


def smoothed(image, rng):
    """Noise reduction, which takes small strokes for noise."""
    if rng.random() < 0.5:
        return cv2.medianBlur(image, 3)
    return cv2.bilateralFilter(image, 5, rng.uniform(10, 60), 3)


def recompressed(image, rng):
    quality = int(rng.uniform(12, 75))
    _, data = cv2.imencode(".jpg", image, [cv2.IMWRITE_JPEG_QUALITY, quality])
    return cv2.imdecode(data, cv2.IMREAD_UNCHANGED)


def resized(image, rng):
    """By way of another size, and back."""
    factor = np.exp(rng.uniform(np.log(0.55), np.log(2)))
    other = tuple(max(12, round(side * factor)) for side in image.shape[1::-1])
    image_there = cv2.resize(image, other, interpolation=pick(rng, RESIZING))
    return cv2.resize(image_there, image.shape[1::-1], interpolation=pick(rng, RESIZING))


# What is done, and how often.
EDITS = ((smoothed, 0.04), (sharpened, 0.2), (flattened, 0.07), (overexposed, 0.09),
         (resized, 0.16), (lambda image, _rng: grey(image), 0.05), (toned, 0.1),
         (equalised, 0.14), (sharpened, 0.06), (recompressed, 0.22))


def edited(image, rng):
    """The picture as it comes out of the camera's electronics and through many hands."""
    for edit, share in EDITS:
        if rng.random() < share:
            image = edit(image, rng)
    return image


def mapped_boxes(boxes, transform):
    """Boxes of mm as upright boxes in a picture.  Their corners are mostly empty."""
    left, top, right, bottom = boxes.T
    dx, dy = (right - left) * 0.04, (bottom - top) * 0.04
    corners = np.stack([np.stack([x, y], 1) for x in (left + dx, right - dx)
                        for y in (top + dy, bottom - dy)], 1)
    points = cv2.perspectiveTransform(corners.astype(np.float32), transform)
    return np.concatenate([points.min(1), points.max(1)], 1)


def rectifying(found):
    return cv2.getPerspectiveTransform(
        found, corners_of(RECTIFIED[0] - 1, RECTIFIED[1] - 1))


def rectified(roi, found):
    return cv2.warpPerspective(roi, rectifying(found), RECTIFIED, flags=cv2.INTER_LINEAR,
                               borderMode=cv2.BORDER_REPLICATE)


def losses(rng, width):
    """Strength of what light and camera do.  It counts in pixels, of which a small plate
    can spare few; and most photographs are good ones."""
    return (0.05 + 0.8 * rng.random() ** 1.7) * (0.3 + 0.7 * min(1.0, width / 180))


def photograph(text, plate, rng, hard):
    """`hard` 0 is a large plate in daylight, seen from the front, 1 is the street."""
    spot = place(rng, hard)
    width = np.linalg.norm(spot.corners[1] - spot.corners[0])
    roi = camera.degrade(into_scene(plate, spot, rng), rng, losses(rng, width) * hard)
    if hard:
        roi = edited(roi, rng)
    boxes = np.float64([character.box for character in plate.characters])
    into_roi = cv2.getPerspectiveTransform(corners_of(plates.WIDTH, plates.HEIGHT), spot.corners)
    into_rect = rectifying(spot.found) @ into_roi
    return Shot(text, roi, rectified(roi, spot.found),
                np.array([character.group for character in plate.characters]),
                [character.char for character in plate.characters],
                mapped_boxes(boxes, into_roi), mapped_boxes(boxes, into_rect), boxes,
                into_rect)


def empty_rect(rng):
    """A rectified picture that shows no plate."""
    size = rng.integers((60, 30), (360, 200)).tolist()
    image = (backgrounds.cover(rng, size, (1.0, 6.0)) if rng.random() < 0.8
             else surroundings(rng, *size))
    image = edited(camera.degrade(image, rng, rng.uniform(0.05, 0.8)), rng)
    return cv2.resize(image, RECTIFIED, interpolation=cv2.INTER_LINEAR)


def shots(rng, styles, hardness, regions):
    """Endless shots.  `hardness` is asked for each."""
    for text, plate in kept_plates(rng, styles, regions):
        yield photograph(text, plate, rng, hardness())
