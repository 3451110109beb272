"""Makes samples for the plate-line recogniser: crops of plates, and what they say.

From a rectified plate (plate_shots.py) crops are made as kavrel makes them: five variants
of it, rows at fixed heights, boxes of the text-line detector, and small windows around the
kana.

A crop says what it shows whole.  Where a number or a name is cut, nothing of
it is read: three digits of a cut serial would pass for a number of their own.
"""
from dataclasses import dataclass

import cv2
import numpy as np

import plate_shots
import plates
from plate_shots import RECTIFIED
from plates import CLASS, KANA, REGION, SERIAL

INPUT_WIDTH, INPUT_HEIGHT = 320, 48


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


def otsu(image, way):
    bright = cv2.cvtColor(image, cv2.COLOR_RGB2GRAY)
    _, binary = cv2.threshold(bright, 0, 255, way | cv2.THRESH_OTSU)
    return cv2.cvtColor(binary, cv2.COLOR_GRAY2RGB)


def same(image):
    return image


# Some are enlarged before they are read: once they are brought to the network's size that
# comes to bringing them there with the enlargement's cubic filter.
PLAIN, ENLARGED = cv2.INTER_LINEAR, cv2.INTER_CUBIC
VARIANTS = ((same, PLAIN), (gray, PLAIN), (clahe, PLAIN), (sharpen, PLAIN), (same, ENLARGED))
KANA_VARIANTS = (*VARIANTS, (lambda image: otsu(image, cv2.THRESH_BINARY), PLAIN),
                 (lambda image: otsu(image, cv2.THRESH_BINARY_INV), PLAIN),
                 (gray, ENLARGED), (gray, ENLARGED), (clahe, ENLARGED))

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


def recogniser_input(image, way=PLAIN):
    """The crop at the left end of the network's picture, white where it does not reach."""
    size = input_size(image)
    canvas = np.full((INPUT_HEIGHT, INPUT_WIDTH, 3), 255, np.uint8)
    canvas[:size[1], :size[0]] = cv2.resize(image, size, interpolation=way)
    return canvas


# What a detected box may hold: a row, both, groups, or a part of any of these.
ROW_CONTENTS = ((REGION, CLASS), (KANA, SERIAL))
BOX_CONTENTS = ((REGION,), (CLASS,), (SERIAL,), (KANA,), (REGION, CLASS, KANA, SERIAL))
# Pixels of the plate that kavrel adds to what is marked.
GROWTH = np.array((5, 4))


def text_box(shot, rng):
    """A box as a text detector finds it: mostly a row with a little more or less."""
    in_rows = rng.random() < 0.75
    member = np.isin(shot.groups, plates.pick(rng, ROW_CONTENTS if in_rows else BOX_CONTENTS))
    if rng.random() < (0.05 if in_rows else 0.3):
        member &= rng.random(len(member)) < 0.5
        if not member.any():
            member[int(rng.integers(len(member)))] = True
    boxes = shot.rect_boxes[member]
    low, high = boxes[:, :2].min(0), boxes[:, 2:].max(0)
    height = high[1] - low[1]
    if in_rows:
        # The enlarged variant's boxes grow by half.
        growth = GROWTH * (0.5 if rng.random() < 0.2 else 1)
        grow = growth + rng.normal(0, (0.06, 0.05), (2, 2)) * height
    else:
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
    way: int                # PLAIN or ENLARGED
    text: str
    centres: np.ndarray     # of the text's characters, as fractions of the width


class CropMaker:
    """Crops of one shot; its variants are made when they are first wanted."""

    def __init__(self, shot, rng):
        self.shot, self.rng, self.variants = shot, rng, {}

    def variant(self, change):
        if change not in self.variants:
            self.variants[change] = change(self.shot.rect)
        return self.variants[change]

    def crop(self, image, way, boxes, window):
        shown = visible(self.shot, boxes, window)
        middles = (boxes[shown, 0] + boxes[shown, 2]) / 2
        return Crop(image, way, "".join(self.shot.chars[i] for i in shown),
                    (middles - window[0]) / (window[2] - window[0]))

    def of_window(self, window):
        change, way = plates.pick(self.rng, VARIANTS)
        return self.crop(cut_out(self.variant(change), window), way, self.shot.rect_boxes, window)

    def kana(self):
        of_roi = self.rng.random() < 0.5
        image = self.shot.roi if of_roi else self.shot.rect
        boxes = self.shot.roi_boxes if of_roi else self.shot.rect_boxes
        window = ratio_window(image, plates.pick(self.rng, KANA_REGIONS))
        change, way = plates.pick(self.rng, KANA_VARIANTS)
        return self.crop(change(cut_out(image, window)), way, boxes, window)

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
SHARES = {"upper_row": 0.34, "lower_row": 0.25, "serial_area": 0.03, "full": 0.06,
          "box": 0.21, "kana": 0.08, "nothing": 0.03}
EASY_SHARES = {"upper_row": 0.4, "lower_row": 0.4, "box": 0.2}
CROPS_A_SHOT = 8
MIXED = 480     # crops at once, so that those of one plate come apart


@dataclass
class Line:
    """A sample: the network's picture, the text and in which column each of its
    characters has its middle."""
    picture: np.ndarray
    text: str
    columns: np.ndarray
    crop_kind: str
    plate_kind: str


def lines_of(shot, rng, easy=False):
    shares = EASY_SHARES if easy else SHARES
    maker = CropMaker(shot, rng)
    for kind in rng.choice(list(shares), CROPS_A_SHOT, p=list(shares.values())):
        crop = maker.make(kind)
        yield Line(recogniser_input(crop.image, crop.way), crop.text,
                   crop.centres * input_size(crop.image)[0], str(kind), shot.text.kind)


def lines(rng, styles, hardness, regions):
    """Endless samples.  `hardness` is asked for each shot."""
    mixed = []
    for shot in plate_shots.shots(rng, styles, hardness, regions):
        mixed += lines_of(shot, rng, hardness() <= 0.3)
        while len(mixed) > MIXED:
            place = int(rng.integers(MIXED))
            line, mixed[place] = mixed[place], mixed.pop()
            yield line


def held_out_lines(count, seed, styles):
    """A list of `count` samples that no training with another seed sees."""
    stream = lines(np.random.default_rng([seed, 999]), styles, lambda: 1.0,
                   plates.load_regions())
    return [next(stream) for _ in range(count)]
