#!/usr/bin/env python3
"""Trains the text-line detector: a rectified plate to a map of where its two rows are.

Debian packages: python3-torch python3-opencv python3-pil python3-onnx and those of plates.py.
"""
import sys

import cv2
import numpy as np
import torch
from torch import nn
from torch.nn import functional

import common
import plate_lines
import plate_shots
import plates

NAME = "plate_text"
MODEL = common.MODELS / f"{NAME}.onnx"
INPUT, MAP = 640, 160
HALF = INPUT // 2       # what is trained on: a quarter of the pixels, see StretchedConv
FINE = 4                # the wanted map is drawn this much larger, for soft edges
VARIANTS_A_SHOT = 2
EMPTY = 0.25            # pictures that show no text, for each shot
ROWS = ((plates.REGION, plates.CLASS), (plates.KANA, plates.SERIAL))
HELD_OUT_SEED = 30_000_007
CHECKED = 96            # pictures for the progress line


# The network

def conv(channels_in, channels, kernel=3, stride=1):
    padding = kernel // 2 if isinstance(kernel, int) else tuple(side // 2 for side in kernel)
    return nn.Sequential(nn.Conv2d(channels_in, channels, kernel, stride, padding, bias=False),
                         nn.BatchNorm2d(channels), nn.ReLU(inplace=True))


def enlarged(maps, down, across):
    return functional.interpolate(maps, scale_factor=(down, across), mode="nearest")


class StretchedConv(common.ByteConv2d):
    """A convolution for pictures that were enlarged, trained on them at half their size.

    Its weights come in squares of two by two that are alike, so that it sees the mean of
    four pixels: where a picture was stretched from 320 x 96 that is all there is to see.
    """

    def __init__(self, *shape):
        super().__init__(*shape, bias=False)
        self.weight.data = enlarged(functional.avg_pool2d(self.weight.data, 2), 2, 2)

    def forward(self, x):
        if x.shape[2] == INPUT:
            return super().forward(x)
        weight = functional.avg_pool2d(self.weight, 2) * (4 / 255)
        return functional.conv2d(x, weight, stride=[step // 2 for step in self.stride])


class TextLines(nn.Module):
    """Pictures 3 x 640 x 640 of 0..255 to logits 1 x 160 x 160.

    The rectified plate of 320 x 96 was stretched most downwards, so the first layer
    steps eight rows at once and four columns.
    """

    def __init__(self):
        super().__init__()
        self.stem = nn.Sequential(StretchedConv(3, 16, (8, 4), (8, 4)),
                                  nn.BatchNorm2d(16), nn.ReLU(inplace=True))    # 80 x 160
        self.fine = conv(16, 24, 3, 2)                                          # 40 x 80
        self.middle = nn.Sequential(conv(24, 40, 3, 2), conv(40, 40))           # 20 x 40
        # Rows are as wide as the plate: the coarse level sees all of it.
        self.coarse = nn.Sequential(conv(40, 64, 3, 2), conv(64, 64), conv(64, 64, (3, 7)),
                                    conv(64, 64, (3, 7)), conv(64, 40, 1))      # 10 x 20
        self.merge = nn.Sequential(conv(40, 40), conv(40, 24, 1))
        self.sharpen = nn.Sequential(conv(24, 24), conv(24, 16, 1))
        self.last = nn.Sequential(conv(16, 16), nn.Conv2d(16, 2, 1))

    def forward(self, image):
        stem = self.stem(image)
        fine = self.fine(stem)
        middle = self.middle(fine)
        middle = self.merge(middle + enlarged(self.coarse(middle), 2, 2))
        fine = self.sharpen(fine + enlarged(middle, 2, 2))
        # Two rows of the map for each of the stem's, side by side until here.
        pairs = self.last(stem + enlarged(fine, 2, 2))
        upper, lower = pairs[:, 0:1], pairs[:, 1:2]
        return torch.stack([upper, lower], 3).reshape(-1, 1, MAP, MAP)


class Chances(nn.Module):
    """The detector with the map that kavrel reads, 0..1."""

    def __init__(self, lines):
        super().__init__()
        self.lines = lines

    def forward(self, image):
        return torch.sigmoid(self.lines(image))


def for_export(net):
    """With plain weights in the first layer, else its batch norm is not folded."""
    net = net.to(memory_format=torch.contiguous_format)
    first = net.stem[0]
    plain = nn.Conv2d(3, first.out_channels, first.kernel_size, first.stride, bias=False)
    plain.weight.data = first.weight.data / 255
    net.stem[0] = plain
    return Chances(net).eval()


# Samples

def marked(shot):
    """The wanted map: 1 where a row's characters stand, from the first to the last."""
    wanted = np.zeros((MAP * FINE, MAP * FINE), np.uint8)
    scale = np.float32((MAP * FINE, MAP * FINE)) / plate_shots.RECTIFIED
    for row in ROWS:
        boxes = shot.mm_boxes[np.isin(shot.groups, row)]
        low, high = boxes[:, :2].min(0), boxes[:, 2:].max(0)
        corners = low + plate_shots.UNIT * (high - low)
        seen = cv2.perspectiveTransform(corners[None].astype(np.float32), shot.mm_to_rect)[0]
        cv2.fillPoly(wanted, [np.round((seen + 0.5) * scale).astype(np.int32)], 255)
    return cv2.resize(wanted, (MAP, MAP), interpolation=cv2.INTER_AREA)


MIXED_ACROSS = np.float32([[1 / 8, 6 / 8, 1 / 8]])


def shown(rect, rng):
    """The rectified plate or a variant of it, stretched as the network's picture and halved."""
    change, way = plates.pick(rng, plate_lines.VARIANTS)
    image = change(rect)
    if way == plate_lines.PLAIN:
        # Pixels between the plate's, two of which are averaged, mix their neighbours in.
        image = cv2.filter2D(image, -1, MIXED_ACROSS)
    return cv2.resize(image, (HALF, HALF), interpolation=way)


def samples(styles):
    regions = plates.load_regions()

    def endless(rng):
        for shot in plate_shots.shots(rng, styles, lambda: 1.0, regions):
            if rng.random() < EMPTY:
                empty = plate_shots.empty_rect(rng)
                yield shown(empty, rng), np.zeros((MAP, MAP), np.uint8)
            wanted = marked(shot)
            for _ in range(VARIANTS_A_SHOT):
                yield shown(shot.rect, rng), wanted
    return endless


def picture(batch):
    """Rows of bytes as the network takes them; 0..255 is the same in either type."""
    kind = torch.bfloat16 if common.BFLOAT16 and torch.is_grad_enabled() else torch.float32
    return batch.permute(0, 3, 1, 2).to(kind)


def loss_of(net, pictures, wanted):
    """Cross-entropy, and the overlap of each picture: few places are at a row's edge."""
    wanted = wanted[:, None].float() / 255
    with common.shortened():
        logits = net(picture(pictures))
    logits = logits.float()
    each = functional.binary_cross_entropy_with_logits(logits, wanted)
    chances = torch.sigmoid(logits)
    both = (chances * wanted).sum((1, 2, 3))
    overlap = (2 * both + 40) / (chances.sum((1, 2, 3)) + wanted.sum((1, 2, 3)) + 40)
    return each + 0.5 * (1 - overlap).mean()


# Measuring: boxes as kavrel makes them from the map (src/ocr/text_detection.cpp)

THRESHOLD, LEAST_AREA, MOST_BOXES = 0.3, 20.0, 16
CLOSING = cv2.getStructuringElement(cv2.MORPH_RECT, (5, 3))


def boxes_of(chances, size):
    """Left, top, right, bottom in a picture of `size` (width, height)."""
    binary = np.where(chances > THRESHOLD, 255, 0).astype(np.uint8)
    binary = cv2.morphologyEx(binary, cv2.MORPH_CLOSE, CLOSING, borderType=cv2.BORDER_CONSTANT)
    contours, _ = cv2.findContours(binary, cv2.RETR_EXTERNAL, cv2.CHAIN_APPROX_SIMPLE)
    scale = np.float64(size) / chances.shape[::-1]
    boxes = []
    for contour in contours:
        if cv2.contourArea(contour) < LEAST_AREA:
            continue
        x, y, width, height = cv2.boundingRect(contour)
        low = np.floor((x, y) * scale) - plate_lines.GROWTH
        grown = np.ceil((width, height) * scale) + 2 * plate_lines.GROWTH
        low = np.maximum(low, 0)
        boxes.append((*low, *np.minimum(low + grown, size)))
    return boxes[:MOST_BOXES]


def row_boxes(shot):
    """Each row's characters as one box in the rectified plate, cut at its edges."""
    for row in ROWS:
        boxes = shot.rect_boxes[np.isin(shot.groups, row)]
        box = np.concatenate([boxes[:, :2].min(0), boxes[:, 2:].max(0)])
        yield np.clip(box, 0, np.tile(plate_shots.RECTIFIED, 2))


def holds(box, row):
    """Whether a box shows all of a row and little else: it may be a third higher and
    a tenth of the plate wider on either side."""
    across, down = 0.1 * plate_shots.RECTIFIED[0], 0.34 * (row[3] - row[1])
    spare = 1.5     # px: an edge of ink is not to the pixel
    outer = row + np.array((-across, -down - 4, across, down + 4))
    return (box[0] <= row[0] + spare and box[1] <= row[1] + spare
            and box[2] >= row[2] - spare and box[3] >= row[3] - spare
            and (np.array(box)[:2] >= outer[:2]).all() and (np.array(box)[2:] <= outer[2:]).all())


def rows_found(net, shot_list):
    """For each shot: boxes for the upper row, for the lower row, and boxes in all."""
    found = []
    for shot in shot_list:
        image = cv2.resize(shot.rect, (INPUT, INPUT), interpolation=cv2.INTER_LINEAR)
        with torch.no_grad():
            chances = torch.sigmoid(net(picture(torch.from_numpy(image)[None]))).numpy()[0, 0]
        boxes = boxes_of(chances, plate_shots.RECTIFIED)
        found.append([sum(holds(box, row) for box in boxes) for row in row_boxes(shot)]
                     + [len(boxes)])
    return np.array(found)


def held_out(count, seed, styles):
    stream = plate_shots.shots(np.random.default_rng([seed, 999]), styles, lambda: 1.0,
                               plates.load_regions())
    return [next(stream) for _ in range(count)]


def share(hits):
    return f"{100 * np.mean(hits):.1f} %"


def rows_of_table(name, net, shot_list):
    found = rows_found(net, shot_list)
    yield [name, len(found), share(found[:, 0] > 0), share(found[:, 1] > 0),
           share(found[:, 2] == 2), f"{found[:, 2].mean():.2f}"]


def quiet(net, count, seed):
    rng = np.random.default_rng([seed, 998])
    silent = []
    for _ in range(count):
        image = shown(plate_shots.empty_rect(rng), rng)
        with torch.no_grad():
            chances = torch.sigmoid(net(picture(torch.from_numpy(image)[None]))).numpy()[0, 0]
        silent.append(not boxes_of(chances, plate_shots.RECTIFIED))
    return silent


def main():
    parser = common.options(NAME, __doc__.splitlines()[0], minutes=25, batch=24, rate=3e-3)
    parser.add_argument("--measured", type=int, default=1000, help="pictures of the final table")
    args = common.parse(parser)
    checked = held_out(CHECKED, HELD_OUT_SEED, plate_shots.STYLES_TRAIN)
    net = common.train(TextLines().to(memory_format=torch.channels_last), args,
                       samples(plate_shots.STYLES_TRAIN), loss_of,
                       lambda net: 1 - np.mean(rows_found(net, checked)[:, :2] > 0), MODEL)
    net = net.cpu()
    for title, styles in (("fonts of the training", plate_shots.STYLES_TRAIN),
                          ("fonts never seen", plates.STYLES_HELD_OUT)):
        shot_list = held_out(args.measured, HELD_OUT_SEED + 1, styles)
        common.print_table(("held out", "plates", "upper row", "lower row", "two boxes", "boxes"),
                           rows_of_table(title, net, shot_list))
    print(f"nothing marked in {share(quiet(net, args.measured, HELD_OUT_SEED))} of "
          f"{args.measured} pictures without a plate")
    common.export(for_export(net), torch.zeros(1, 3, INPUT, INPUT), MODEL, ["image"], ["chances"])


if __name__ == "__main__":
    sys.exit(main())
