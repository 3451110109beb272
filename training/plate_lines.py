"""Makes samples for the plate-line recogniser: crops of plates, and what they say.

A plate is drawn, photographed from somewhere, cut out with a margin and
rectified with corners that are a little off, as the detector and the corner
network leave it.  From there on crops are made as kavrel makes them: five
variants of the rectified plate, rows at fixed heights, boxes of the text
detector, and small regions around the kana.

A crop says what it shows whole.  Where a number or a name is cut, nothing of
it is read: three digits of a cut serial would pass for a number of their own.
"""
from dataclasses import dataclass

import cv2
import numpy as np

import camera
import plates
from plates import CLASS, KANA, REGION, SERIAL

INPUT_WIDTH, INPUT_HEIGHT = 320, 48
RECTIFIED = (320, 96)
PX_PER_MM = 1.2


# Lettering

def bent(plate, rng):
    """The plate with its shapes pulled by up to a few mm, each place its own way."""
    height, width = plate.shape[:2]
    pulls = rng.normal(0, rng.uniform(0, 1.3) * PX_PER_MM, (2, 6, 12)).astype(np.float32)
    dx, dy = (cv2.resize(pull, (width, height), interpolation=cv2.INTER_CUBIC) for pull in pulls)
    dx += np.arange(width, dtype=np.float32)
    dy += np.arange(height, dtype=np.float32)[:, None]
    return cv2.remap(plate, dx, dy, cv2.INTER_LINEAR, borderMode=cv2.BORDER_REPLICATE)


def worn(plate, rng):
    """Lines a little thicker or thinner than the pen drew them."""
    way = rng.random()
    if way < 0.5:
        return plate
    change = cv2.erode if way < 0.75 else cv2.dilate
    return change(plate, np.ones((2, 2) if rng.random() < 0.6 else (3, 3), np.uint8))


# A photograph of a plate

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


def turned_plate(rng, width, hard):
    """The corners of a plate about `width` pixels wide, seen from somewhere."""
    spread = np.radians((13, 8, 4)) * hard
    limit = np.radians((35, 25, 15)) * hard
    yaw, pitch, roll = (np.clip(rng.normal(0, spread), -limit, limit) if rng.random() < 0.8
                        else rng.uniform(-limit, limit))
    half = np.array([(-1, -0.5), (1, -0.5), (1, 0.5), (-1, 0.5)]) * plates.WIDTH / 2
    points = np.stack([half[:, 0] * np.cos(yaw), half[:, 1] * np.cos(pitch),
                       half[:, 0] * np.sin(yaw) + half[:, 1] * np.sin(pitch)], 1)
    points = points[:, :2] / (rng.uniform(4, 12) * plates.WIDTH + points[:, 2:])
    turn = np.array([(np.cos(roll), np.sin(roll)), (-np.sin(roll), np.cos(roll))])
    points = points @ turn
    return points * width / np.linalg.norm(points[1] - points[0])


def surroundings(rng, width, height):
    """A few soft patches of any colour: what a detector's box shows beside the plate."""
    patches = rng.integers(0, 200) + rng.integers(-60, 60, (4, 5, 3))
    patches = np.clip(patches, 0, 255).astype(np.uint8)
    way = cv2.INTER_CUBIC if rng.random() < 0.7 else cv2.INTER_NEAREST
    return cv2.resize(patches, (width, height), interpolation=way)


def mapped_boxes(boxes, transform):
    """Boxes of mm as upright boxes in a picture.  Their corners are mostly empty."""
    left, top, right, bottom = boxes.T
    dx, dy = (right - left) * 0.04, (bottom - top) * 0.04
    corners = np.stack([np.stack([x, y], 1) for x in (left + dx, right - dx)
                        for y in (top + dy, bottom - dy)], 1)
    points = cv2.perspectiveTransform(corners.astype(np.float32), transform)
    return np.concatenate([points.min(1), points.max(1)], 1)


UNIT = np.float32([(0, 0), (1, 0), (1, 1), (0, 1)])


def corners_of(width, height):
    return UNIT * np.float32((width, height))


def place(rng, hard):
    """A place for the plate: its corners in the cut-out picture, the picture's
    size, and the corners that the chain would find."""
    fills_picture = rng.random() < 0.12
    width = np.exp(rng.uniform(np.log(62), np.log(400))) if hard else rng.uniform(260, 400)
    corners = turned_plate(rng, width, 0.1 if fills_picture else hard)
    margins = rng.uniform(-0.015, 0.02, 4) if fills_picture else rng.uniform(0.02, 0.2, 4)
    low, high = corners.min(0), corners.max(0)
    box = high - low
    corners = corners - low + margins[:2] * box
    size = np.maximum(16, np.round(box * (1 + margins[:2] + margins[2:]))).astype(int)
    if fills_picture:
        found = corners_of(*(size - 1))
    else:
        spread = width * rng.uniform(0.001, 0.014) * (2.2 if rng.random() < 0.05 else 1)
        found = corners + rng.normal(0, spread, (4, 2))
    return corners.astype(np.float32), size, np.clip(found, 0, size - 1).astype(np.float32)


def shrunk_for(plate, mask, width):
    """Halves and quarters must be averaged: a warp would skip their pixels."""
    factor = min(1.0, 1.3 * width / plate.shape[1])
    if factor == 1.0:
        return plate, mask
    size = (max(8, round(plate.shape[1] * factor)), max(4, round(plate.shape[0] * factor)))
    return (cv2.resize(plate, size, interpolation=cv2.INTER_AREA),
            cv2.resize(mask, size, interpolation=cv2.INTER_AREA))


def into_scene(plate, mask, corners, size, rng):
    """The cut-out picture with the plate in its place."""
    plate, mask = shrunk_for(plate, mask, np.linalg.norm(corners[1] - corners[0]))
    warp = cv2.getPerspectiveTransform(corners_of(plate.shape[1], plate.shape[0]), corners)
    scene = surroundings(rng, *size)
    seen = cv2.warpPerspective(plate, warp, tuple(size), flags=cv2.INTER_LINEAR,
                               borderMode=cv2.BORDER_REPLICATE)
    cv2.copyTo(seen, cv2.warpPerspective(mask, warp, tuple(size)) // 128, scene)
    return scene


def photograph(text, style, rng, hard):
    """`hard` 0 is a large plate in daylight, seen from the front, 1 is the street."""
    drawn = plates.draw_plate(text, style, PX_PER_MM, rng)
    plate, mask = drawn.cut()
    if rng.random() < 0.5:
        plate = bent(worn(plate, rng), rng)
    corners, size, found = place(rng, hard)
    roi = into_scene(plate, mask, corners, size, rng)
    roi = camera.degrade(roi, rng, rng.uniform(0.05, 0.9) * hard)
    upright = cv2.getPerspectiveTransform(found, corners_of(RECTIFIED[0] - 1, RECTIFIED[1] - 1))
    rect = cv2.warpPerspective(roi, upright, RECTIFIED, flags=cv2.INTER_LINEAR,
                               borderMode=cv2.BORDER_REPLICATE)
    groups, chars, boxes = zip(*((one.group, one.char, one.box) for one in drawn.characters))
    boxes = np.float64(boxes)
    into_roi = cv2.getPerspectiveTransform(corners_of(plates.WIDTH, plates.HEIGHT), corners)
    return Shot(text, roi, rect, np.array(groups), list(chars),
                mapped_boxes(boxes, into_roi), mapped_boxes(boxes, upright @ into_roi))


# What a window shows

WHOLE_ACROSS, WHOLE_DOWN = 0.84, 0.75
ABSENT_ACROSS, ABSENT_DOWN = 0.15, 0.3


def overlaps(boxes, window):
    """The share of each box inside of the window, across and down."""
    low = np.maximum(boxes[:, :2], window[:2])
    high = np.minimum(boxes[:, 2:], window[2:])
    share = np.maximum(high - low, 0) / np.maximum(boxes[:, 2:] - boxes[:, :2], 1e-6)
    return share.T


def visible(shot, boxes, window):
    """Which characters are to be read: the lower row's, if any, else the upper one's.

    Where both rows are squeezed into one line the lower one is large enough;
    and kana and serial are what such a reading is worth.
    """
    across, down = overlaps(boxes, window)
    whole = (across > WHOLE_ACROSS) & (down > WHOLE_DOWN)
    cut = ~whole & (across > ABSENT_ACROSS) & (down > ABSENT_DOWN)
    # A dot is no digit: without it the number is the same.
    cut &= np.array([char != plates.MIDDLE_DOT for char in shot.chars])
    for group in range(4):
        if cut[shot.groups == group].any():
            whole[shot.groups == group] = False
    lower = whole & (shot.groups >= KANA)
    return np.flatnonzero(lower if lower.any() else whole)


def is_doubtful(boxes, window):
    """Whether a character is about as much to be read as it is not."""
    across, down = overlaps(boxes, window)
    return (((across > 0.68) & (across < 0.92) & (down > ABSENT_DOWN))
            | ((down > 0.6) & (down < 0.82) & (across > ABSENT_ACROSS))).any()


# Crops, as kavrel makes them (src/plate/image_prep.cpp, src/ocr, src/kana)

def gray(image):
    return cv2.cvtColor(cv2.cvtColor(image, cv2.COLOR_RGB2GRAY), cv2.COLOR_GRAY2RGB)


def clahe(image):
    lab = cv2.cvtColor(image, cv2.COLOR_RGB2Lab)
    lab[:, :, 0] = cv2.createCLAHE(2.0, (8, 8)).apply(lab[:, :, 0])
    return cv2.cvtColor(lab, cv2.COLOR_Lab2RGB)


def sharpen(image):
    return cv2.addWeighted(image, 1.6, cv2.GaussianBlur(image, (0, 0), 1.0), -0.6, 0.0)


def enlarge(image, factor):
    return cv2.resize(image, None, fx=factor, fy=factor, interpolation=cv2.INTER_CUBIC)


def otsu(image, way):
    bright = cv2.cvtColor(image, cv2.COLOR_RGB2GRAY)
    _, binary = cv2.threshold(bright, 0, 255, way | cv2.THRESH_OTSU)
    return cv2.cvtColor(binary, cv2.COLOR_GRAY2RGB)


VARIANTS = (lambda image: image, gray, clahe, sharpen, lambda image: enlarge(image, 2.0))
KANA_VARIANTS = (lambda image: image, gray, clahe, sharpen,
                 lambda image: otsu(image, cv2.THRESH_BINARY),
                 lambda image: otsu(image, cv2.THRESH_BINARY_INV),
                 lambda image: enlarge(image, 4.0),
                 lambda image: enlarge(gray(image), 5.0),
                 lambda image: enlarge(gray(image), 8.0),
                 lambda image: enlarge(clahe(image), 5.0))

# Fractions of the picture's width and height.
ROWS = {"upper_row": (0.0, 0.0, 1.0, 0.5), "lower_row": (0.0, 0.38, 1.0, 1.0),
        "serial_area": (0.28, 0.38, 1.0, 1.0), "full": (0.0, 0.0, 1.0, 1.0)}
KANA_REGIONS = ((0.0, 0.35, 0.45, 1.0), (0.0, 0.35, 0.18, 0.98), (0.0, 0.35, 0.22, 0.98),
                (0.02, 0.38, 0.26, 0.98), (0.0, 0.45, 0.28, 1.0))


def ratio_window(image, fractions):
    height, width = image.shape[:2]
    x0, y0 = np.floor(np.array(fractions[:2]) * (width, height))
    x1, y1 = np.ceil(np.array(fractions[2:]) * (width, height))
    return np.array([x0, y0, min(x1, width), min(y1, height)])


def cut_out(image, window):
    x0, y0, x1, y1 = (int(value) for value in window)
    return image[y0:y1, x0:x1]


def input_size(image):
    height, width = image.shape[:2]
    scale = min(INPUT_WIDTH / width, INPUT_HEIGHT / height)
    return max(1, int(width * scale + 0.5)), max(1, int(height * scale + 0.5))


def recogniser_input(image):
    """The crop at the left end of the network's picture, white where it does not reach."""
    size = input_size(image)
    canvas = np.full((INPUT_HEIGHT, INPUT_WIDTH, 3), 255, np.uint8)
    canvas[:size[1], :size[0]] = cv2.resize(image, size, interpolation=cv2.INTER_LINEAR)
    return canvas


# What a detected box may hold: groups, or a part of the serial.
BOX_CONTENTS = ((REGION, CLASS), (REGION, CLASS), (REGION,), (CLASS,), (KANA, SERIAL),
                (KANA, SERIAL), (SERIAL,), (KANA,), (REGION, CLASS, KANA, SERIAL))


def text_box(shot, rng):
    """A box as the text detector finds it: it marks the middle of the line and
    often ends within the outer characters."""
    member = np.isin(shot.groups, plates.pick(rng, BOX_CONTENTS))
    if rng.random() < 0.15:
        member &= rng.random(len(member)) < 0.5
        if not member.any():
            member[int(rng.integers(len(member)))] = True
    boxes = shot.rect_boxes[member]
    low, high = boxes[:, :2].min(0), boxes[:, 2:].max(0)
    height = high[1] - low[1]
    grow = rng.uniform((-0.35, -0.12), (0.3, 0.25), (2, 2)) * height
    low, high = np.floor(low - grow[0]), np.ceil(high + grow[1])
    return np.concatenate([np.clip(low, 0, np.array(RECTIFIED) - 8),
                           np.clip(high, np.maximum(low, 0) + 8, RECTIFIED)])


def settled_box(shot, rng):
    for _ in range(5):
        window = text_box(shot, rng)
        if not is_doubtful(shot.rect_boxes, window):
            break
    return window


def silent_window(shot, rng):
    """A window that shows nothing whole, or none."""
    for _ in range(12):
        size = rng.uniform((10, 8), (320, 60))
        low = np.floor(rng.uniform(0, 1, 2) * (np.array(RECTIFIED) - size))
        window = np.concatenate([low, np.ceil(low + size)])
        if not (len(visible(shot, shot.rect_boxes, window))
                or is_doubtful(shot.rect_boxes, window)):
            return window
    return None


@dataclass
class Crop:
    image: np.ndarray
    text: str
    centres: np.ndarray     # of the text's characters, as fractions of the width


class CropMaker:
    """Crops of one shot; its variants are made when they are first wanted."""

    def __init__(self, shot, rng):
        self.shot, self.rng, self.variants = shot, rng, {}

    def variant(self, number):
        if number not in self.variants:
            self.variants[number] = VARIANTS[number](self.shot.rect)
        return self.variants[number]

    def crop(self, image, boxes, window):
        shown = visible(self.shot, boxes, window)
        middles = (boxes[shown, 0] + boxes[shown, 2]) / 2
        return Crop(image, "".join(self.shot.chars[i] for i in shown),
                    (middles - window[0]) / (window[2] - window[0]))

    def of_window(self, window):
        image = self.variant(int(self.rng.integers(len(VARIANTS))))
        image = cut_out(image, np.array(window) * (image.shape[1] // RECTIFIED[0]))
        return self.crop(image, self.shot.rect_boxes, window)

    def kana(self):
        of_roi = self.rng.random() < 0.5
        image = self.shot.roi if of_roi else self.shot.rect
        boxes = self.shot.roi_boxes if of_roi else self.shot.rect_boxes
        window = ratio_window(image, plates.pick(self.rng, KANA_REGIONS))
        return self.crop(plates.pick(self.rng, KANA_VARIANTS)(cut_out(image, window)), boxes,
                         window)

    def make(self, kind):
        if kind == "kana":
            return self.kana()
        if kind == "box":
            return self.of_window(settled_box(self.shot, self.rng))
        if kind == "nothing":
            window = silent_window(self.shot, self.rng)
            if window is not None:
                return self.of_window(window)
            kind = "serial_area"
        return self.of_window(ratio_window(self.shot.rect, ROWS[kind]))


# Samples

# Shares of the crops of a training.  The upper row has the most characters to learn.
SHARES = {"upper_row": 0.3, "lower_row": 0.16, "serial_area": 0.07, "full": 0.11,
          "box": 0.18, "kana": 0.13, "nothing": 0.05}
EASY_SHARES = {"upper_row": 0.4, "lower_row": 0.4, "box": 0.2}
CROPS_A_PLATE = 6
# Light letters on a dark ground are the rarer sight, and the harder one.
DARK, MORE_DARK = ("business", "kei_business"), 0.2


@dataclass
class Line:
    """A sample: the network's picture, the text and in which column each of its
    characters has its middle."""
    picture: np.ndarray
    text: str
    columns: np.ndarray
    crop_kind: str
    plate_kind: str


def lines(rng, styles, hardness, regions):
    """Endless samples.  `hardness` is asked for each plate."""
    while True:
        hard = hardness()
        shares = SHARES if hard > 0.3 else EASY_SHARES
        # All kana and class numbers are needed, however rare they are on a plate.
        text = plates.random_plate_text(rng, regions, uniform=0.75,
                                        kinds=DARK if rng.random() < MORE_DARK else None)
        shot = photograph(text, plates.pick(rng, styles), rng, hard)
        maker = CropMaker(shot, rng)
        for kind in rng.choice(list(shares), CROPS_A_PLATE, p=list(shares.values())):
            crop = maker.make(kind)
            yield Line(recogniser_input(crop.image), crop.text,
                       crop.centres * input_size(crop.image)[0], str(kind), text.kind)


def held_out_lines(count, seed, styles):
    """A list of `count` samples that no training with another seed sees."""
    stream = lines(np.random.default_rng([seed, 999]), styles, lambda: 1.0,
                   plates.load_regions())
    return [next(stream) for _ in range(count)]
