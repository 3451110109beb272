#!/usr/bin/env python3
"""Trains the plate detector: a camera frame to boxes around licence plates.

The frame comes stretched to 1280 x 960, bilinear without a filter before.
Every cell of an 80 x 60 grid gives one row (class, score, x1, y1, x2, y2) in
fractions of the frame; only local peaks keep their score, so that nobody has
to thin out boxes afterwards.  The box has a margin around the plate: the
corner network reads the crop, and without some surroundings it cannot see
where the plate ends.

    training/train_detector.py               # about an hour on a shared core
    training/train_detector.py --minutes 0   # measures and exports the checkpoint

Debian packages: python3-torch python3-opencv python3-numpy python3-onnx, and
those of plates.py and backgrounds.py.
"""
import functools
import itertools
import math
from dataclasses import dataclass
from pathlib import Path

import cv2
import numpy as np
import torch
from torch import nn
from torch.nn import functional

import backgrounds
import common
import optics
import photo_scenes
import plates
import scenes

FRAME, STRIDE = (1280, 960), 16     # width and height of the input
MARGIN = 0.13            # of the plate's width and height, on every side
UNIT = 64.0              # pixels of one unit of the box outputs
WORKING_POINT = 0.25     # the least score that kavrel takes if not told otherwise
GOOD_IOU = 0.7
LEAST_VISIBLE = 0.6      # plates cut off further are neither wanted nor wrong
LEAST_WIDTH = 12         # pixels; smaller ones are neither wanted nor wrong

# Windows see the pixels as the network will: a small one costs a fraction of a
# frame, but only the whole frame holds near plates.  (width, height): how wide
# the plate in it may be.
WINDOWS = {(320, 320): (14, 220), (640, 640): (30, 480), FRAME: (90, 1000)}
TURNS = ((320, 320), (640, 640), FRAME, (320, 320), FRAME)
STORE_SCENES, FIRST_SCENES = 120, 16
# Pixels of the camera's in a window: its losses take most of the time, so few are large.
PIXELS_AT_MOST = (2.2e5, 2.2e5, 2.2e5, 1e6)
STRETCH = (0.36, 1.4)   # heights to widths: portrait frames are squeezed flat, wide ones up
DRAWN_SHARE, EMPTY_SHARE = 0.25, 0.3      # of scenes without photographs, without plates
PLATES_PER_FRAME = (0.3, 0.5, 0.12, 0.08)     # none to three
SIZES = ((960, 540), (800, 450), (640, 480), (720, 540))


# Network

def conv(inputs, outputs, size=3, stride=1):
    return nn.Sequential(nn.Conv2d(inputs, outputs, size, stride, size // 2, bias=False),
                         nn.BatchNorm2d(outputs), nn.ReLU(inplace=True))


def enlarge(x):
    return functional.interpolate(x, scale_factor=2.0)


class Detector(nn.Module):
    """Five maps at stride 16: score logit, then left, top, right, bottom in UNITs."""

    def __init__(self, narrow=32, middle=64, wide=96):
        super().__init__()
        self.stem = nn.Sequential(common.ByteConv2d(3, 24, 6, 4, 1), nn.ReLU(inplace=True))
        self.fine = nn.Sequential(conv(24, narrow, stride=2), conv(narrow, narrow))
        self.grid = nn.Sequential(conv(narrow, middle, stride=2), conv(middle, middle),
                                  conv(middle, middle))
        # A near plate is wider than the grid's view; the two coarser levels see its ends.
        self.coarse = nn.Sequential(conv(middle, wide, stride=2), conv(wide, wide),
                                    common.Further(wide))
        self.coarsest = nn.Sequential(conv(wide, wide, stride=2), conv(wide, wide),
                                      common.Further(wide, spread=2),
                                      common.Further(wide, spread=3), conv(wide, wide, 1))
        self.merge = nn.Sequential(conv(wide, wide), conv(wide, middle, 1))
        self.head = nn.Sequential(conv(middle, middle), nn.Conv2d(middle, 5, 1))
        # Few cells are plates: begin with a low score everywhere, boxes of 128 x 64.
        self.head[1].bias.data = torch.tensor([-4.0, 1.0, 0.5, 1.0, 0.5])

    def forward(self, image):
        grid = self.grid(self.fine(self.stem(image)))
        coarse = self.coarse(grid)
        coarse = self.merge(coarse + enlarge(self.coarsest(coarse)))
        return self.head(grid + enlarge(coarse))


@functools.lru_cache(maxsize=None)
def cell_centres(columns, rows):
    """Centres of the grid's cells in pixels: 1 x 2 x rows x columns, x first."""
    x, y = ((torch.arange(count, dtype=torch.float32) + 0.5) * STRIDE
            for count in (columns, rows))
    return torch.stack(torch.meshgrid(x, y, indexing="xy"))[None]


def boxes_of(maps, centres, unit=UNIT):
    """x1, y1, x2, y2 in pixels for every cell."""
    return torch.cat([centres - unit * maps[:, 1:3], centres + unit * maps[:, 3:5]], 1)


class Rows(nn.Module):
    """The detector with its decoding; `shift` moves the scores to the working point.

    Of several plates the nearest is meant, as a camera is aimed at a vehicle.  So what a
    score has above the working point counts less for a small box; whether it reaches the
    point at all does not depend on the size.
    """

    SHARPNESS = 100.0
    FAR, NEAR = 0.25, 0.5      # the part that is left to a point; width and height from which all is

    def __init__(self, detector, shift=0.0):
        super().__init__()
        self.detector, self.shift = detector, shift
        columns, rows = FRAME[0] // STRIDE, FRAME[1] // STRIDE
        # In parts of the frame from the start: 16-bit floats have steps of a pixel beyond 1,024.
        size = torch.tensor(FRAME, dtype=torch.float32).reshape(1, 2, 1, 1)
        self.register_buffer("centres", (cell_centres(columns, rows) / size).to(common.DEVICE))
        self.register_buffer("unit", (UNIT / size).to(common.DEVICE))

    def forward(self, image):
        maps = self.detector(image)
        logit = maps[:, 0:1]
        # Sub, Mul and Relu run on NPUs where comparisons do not; a peak gives exactly 1.
        below = functional.max_pool2d(logit, 5, 1, 2) - logit
        score = torch.sigmoid(logit + self.shift) * torch.relu(1.0 - self.SHARPNESS * below)
        # Clamped: a negative corner would make the row look like another layout.
        boxes = torch.clamp(boxes_of(maps, self.centres, self.unit), 0.0, 1.0)
        size = boxes[:, 2:3] - boxes[:, 0:1] + boxes[:, 3:4] - boxes[:, 1:2]
        taken = (1 - self.FAR) * torch.relu(1.0 - size * (1 / self.NEAR))
        score = score - taken * torch.relu(score - WORKING_POINT)
        rows = torch.cat([torch.zeros_like(score), score, boxes], 1)
        return rows.reshape(-1, 6, self.centres.shape[2] * self.centres.shape[3]).transpose(1, 2)


# Loss

def iou_and_giou(a, b):
    """Of boxes given as rows."""
    low, high = torch.maximum(a[:, :2], b[:, :2]), torch.minimum(a[:, 2:], b[:, 2:])
    both = (high - low).clamp(min=0).prod(1)
    either = (a[:, 2:] - a[:, :2]).clamp(min=0).prod(1) + (b[:, 2:] - b[:, :2]).prod(1) - both
    hull = (torch.maximum(a[:, 2:], b[:, 2:]) - torch.minimum(a[:, :2], b[:, :2])).prod(1)
    iou = both / either
    return iou, iou - (hull - either) / hull


def box_loss(boxes, wanted):
    """Loss and IoU; errors count in parts of the plate, so that small ones matter."""
    iou, giou = iou_and_giou(boxes, wanted)
    size = (wanted[:, 2:] - wanted[:, :2]).repeat(1, 2)
    error = functional.smooth_l1_loss(boxes / size, wanted / size, beta=0.05, reduction="none")
    return (1 - giou) + 2 * error.sum(1), iou.detach().clamp(min=0)


def score_loss(logits, wanted, weight):
    """Quality focal loss: the score learns how well its box fits."""
    loss = functional.binary_cross_entropy_with_logits(logits, wanted, reduction="none")
    return (loss * (wanted - torch.sigmoid(logits)).square() * weight).sum()


def loss_of(net, images, wanted_boxes, states):
    """`states` per cell: 1 a plate's centre, 0 none, -1 not to be judged."""
    with common.shortened():
        maps = net(images.permute(0, 3, 1, 2).float())
    maps = maps.float()
    centres = states == 1
    grid = cell_centres(maps.shape[3], maps.shape[2]).to(maps.device)
    boxes = boxes_of(maps, grid).permute(0, 2, 3, 1)[centres]
    wanted = wanted_boxes[centres]
    losses, iou = box_loss(boxes, wanted)
    quality = torch.zeros_like(maps[:, 0])
    # The root: a box that is a pixel off is no less a plate because the plate is small.
    quality[centres] = iou.sqrt()
    score = score_loss(maps[:, 0], quality, (states >= 0).float())
    return (2 * score + losses.sum()) / max(1, len(wanted))


# Samples

@dataclass
class Frame:
    image: np.ndarray      # RGB, as the network sees it
    outlines: np.ndarray   # bounding boxes of the plates, pixels, perhaps beyond the frame
    kinds: list            # of the plates


def draw_frame(rng, pool, count, hard):
    """One drawn frame at one of the usual shapes of cameras, squeezed as kavrel does it."""
    size = SIZES[rng.integers(len(SIZES))]
    few = plates.without_margins(plates.pick(rng, pool) for _ in range(4)) if pool else []
    image, truths = scenes.render_scene(rng, few, size, count, hard)
    corners = np.float32([truth["corners"] for truth in truths]).reshape(-1, 4, 2)
    return squeezed(image, corners, [truth["text"].kind for truth in truths])


def photo_frame(rng, pool):
    """One frame among photographs."""
    scene = photo_scenes.render(rng, pool)
    return squeezed(optics.photographed(scene.image, rng), scene.corners, scene.kinds)


def squeezed(image, corners, kinds):
    corners = corners * np.float32(FRAME) / np.float32(image.shape[1::-1])
    outlines = np.concatenate([corners.min(1), corners.max(1)], 1)
    return Frame(cv2.resize(image, FRAME, interpolation=cv2.INTER_LINEAR), outlines, kinds)


def training_pool():
    """Dark plates are rare on the road and hard to find at night: take them twice."""
    pool = plates.cached_pool("detector", 1500, 101)
    return pool + [plate for plate in pool if plate.text.kind in photo_scenes.DARK_KINDS]


def drawn_scene(rng, pool):
    """A street that is drawn throughout, before the camera."""
    size = SIZES[rng.integers(len(SIZES))]
    count = int(rng.choice(4, p=PLATES_PER_FRAME))
    image, truths = scenes.render_scene(rng, plates.without_margins(pool), size, count,
                                        bool(rng.random() < 0.3), strength=0.0)
    corners = np.float32([truth["corners"] for truth in truths]).reshape(-1, 4, 2)
    return photo_scenes.Scene(image, corners, [truth["text"].kind for truth in truths])


def random_scene(rng, pool):
    if rng.random() < DRAWN_SHARE:
        few = [pool[i] for i in rng.integers(len(pool), size=4)]
        return drawn_scene(rng, few)
    return photo_scenes.render(rng, pool if rng.random() >= EMPTY_SHARE else [])


def with_margin(outlines):
    size = np.tile(outlines[:, 2:] - outlines[:, :2], 2)
    return outlines + size * np.float32([-MARGIN, -MARGIN, MARGIN, MARGIN])


def visible_part(outlines, size):
    """The part of every box that lies within the picture of `size`."""
    clipped = np.clip(outlines, 0, np.tile(size, 2))
    return (clipped[:, 2:] - clipped[:, :2]).prod(1) / (outlines[:, 2:] - outlines[:, :2]).prod(1)


def random_squeeze(rng, scene, window, focus):
    """Pixels of the network for one of the camera's, across and down.

    Of all frames that could show this scene: as large as makes the plate one of the
    window's widths, and of any shape.
    """
    wide = np.exp(rng.uniform(*np.log(WINDOWS[window])))
    across = wide / (np.ptp(focus[:, 0]) if focus is not None else rng.uniform(60, 250))
    area = window[0] * window[1]
    least = math.sqrt(area / max(plates.pick(rng, PIXELS_AT_MOST), 0.6 * area))
    across = float(np.clip(across, least, 3.5))
    squeeze = np.array((across, across * np.exp(rng.uniform(*np.log(STRETCH)))))
    # No window is larger than the scene.
    return np.maximum(squeeze, np.array(window) / (np.array(scene.image.shape[1::-1]) - 4))


def cut_window(rng, scene, window):
    """A training picture and the outlines in it: a part of the camera's picture with the
    camera's losses, sampled as cv2.resize() samples it."""
    has = len(scene.corners) and rng.random() < 0.85
    focus = scene.corners[rng.integers(len(scene.corners))] if has else None
    squeeze = random_squeeze(rng, scene, window, focus)
    frame, part = np.array(scene.image.shape[1::-1]), np.array(window) / squeeze
    middle = focus.mean(0) if has else rng.uniform(0, 1, 2) * frame
    # Few plates are cut off by the window's edge.
    whole = has and rng.random() < 0.85
    edge = np.minimum(0.55 * np.ptp(focus, axis=0) / part, 0.5) if whole else 0.05
    start = np.clip(middle - part * rng.uniform(edge, 1 - edge, 2), 0, frame - part - 2)
    x, y = first = start.astype(int)
    w, h = np.minimum(np.ceil(part).astype(int) + 2, frame - first)
    seen = optics.photographed(scene.image[y:y + h, x:x + w].copy(), rng)
    shift = start - first + 0.5 / squeeze - 0.5
    matrix = np.float32([[1 / squeeze[0], 0, shift[0]], [0, 1 / squeeze[1], shift[1]]])
    image = cv2.warpAffine(seen, matrix, window, flags=cv2.INTER_LINEAR | cv2.WARP_INVERSE_MAP,
                           borderMode=cv2.BORDER_REPLICATE)
    corners = (scene.corners - start) * squeeze
    outlines = np.concatenate([corners.min(1), corners.max(1)], 1)
    return image, outlines.astype(np.float32)


def mark_plate(wanted, states, box):
    """Makes the cells around the plate's centre answer for it."""
    last = np.array(states.shape[::-1]) - 1
    centre = (box[:2] + box[2:]) / 2 / STRIDE - 0.5
    reach = np.clip((box[2:] - box[:2]) / 2 / STRIDE, 0.5, 1.5)
    low = np.clip(np.ceil(centre - reach), 0, last).astype(int)
    high = np.clip(np.floor(centre + reach), low, last).astype(int)
    area = np.s_[low[1]:high[1] + 1, low[0]:high[0] + 1]
    wanted[area], states[area] = box, 1


def targets(outlines, window):
    """Boxes and states of the cells, as loss_of() takes them."""
    columns, rows = window[0] // STRIDE, window[1] // STRIDE
    wanted = np.zeros((rows, columns, 4), np.float32)
    states = np.zeros((rows, columns), np.int8)
    boxes = np.clip(with_margin(outlines), 0, np.tile(window, 2))
    clear = ((visible_part(outlines, window) >= LEAST_VISIBLE) &
             (outlines[:, 2] - outlines[:, 0] >= LEAST_WIDTH))
    for box in boxes[~clear]:
        x1, y1, x2, y2 = (box / STRIDE).astype(int)
        states[y1:y2 + 1, x1:x2 + 1] = -1
    for box in boxes[clear]:
        mark_plate(wanted, states, box)
    return wanted, states


class Store:
    """Scenes to cut windows from.  Drawing one costs more than a dozen cuts, so each
    serves for a while before another takes its place."""

    def __init__(self, rng, pool):
        self.rng, self.pool, self.scenes = rng, pool, []

    def renew(self, count):
        for _ in range(count):
            scene = random_scene(self.rng, self.pool)
            if len(self.scenes) < STORE_SCENES:
                self.scenes.append(scene)
            else:
                self.scenes[self.rng.integers(STORE_SCENES)] = scene

    def batch(self, window, count):
        parts = []
        for _ in range(count):
            scene = self.scenes[self.rng.integers(len(self.scenes))]
            image, outlines = cut_window(self.rng, scene, window)
            parts.append((image, *targets(outlines, window)))
        return tuple(np.stack(part) for part in zip(*parts))


def samples_for(pool, batch):
    """Endless batches; `batch` counts windows of the smallest size, others get as many
    as cost the same."""
    def samples(rng):
        store = Store(rng, pool)
        store.renew(FIRST_SCENES)
        for turn, window in enumerate(itertools.cycle(TURNS)):
            store.renew(turn % 2)
            cost = window[0] * window[1] / (TURNS[0][0] * TURNS[0][1])
            yield store.batch(window, max(1, round(batch / cost)))
    return samples


# Figures

# Sets of frames that no training draws: seed, plates in a frame, and hard, among
# photographs or photographs alone.  The threshold is set on the calibration sets with the
# fonts of the training, all others have fonts that no training sees.
SETS = {
    "calibration": (9001, 1, False),
    "calibration, no plate": (9002, 0, False),
    "calibration, photographs": (9011, 1, "photographs"),
    "calibration, photographs alone": (9012, 0, "alone"),
    "watched": (9013, 1, "photographs"),
    "one plate": (9004, 1, False),
    "one plate, hard": (9005, 1, True),
    "two plates": (9006, 2, False),
    "three plates": (9007, 3, False),
    "no plate": (9008, 0, False),
    "plates among photographs": (9014, 1, "photographs"),
    "boards among photographs": (9015, 0, "photographs"),
}


def set_frame(rng, pool, in_frame, way):
    pool = pool if in_frame else []
    if way == "alone":
        picture = backgrounds.cover(rng, photo_scenes.random_size(rng))
        return squeezed(optics.photographed(picture, rng), np.empty((0, 4, 2)), [])
    if way == "photographs":
        return photo_frame(rng, pool)
    return draw_frame(rng, pool, in_frame, way)


def held_out_frames(name, count):
    seed, in_frame, way = SETS[name]
    pool = (plates.cached_pool("detector", 1500, 101) if name.startswith("calibration")
            else plates.cached_pool("detector_held_out", 400, 102, plates.STYLES_HELD_OUT))
    frames = (set_frame(np.random.default_rng([seed, index]), pool, in_frame, way)
              for index in itertools.count())
    # A plate that is mostly cut off cannot be read: such frames are no test.
    fit = (frame for frame in frames if not in_frame or len(true_boxes(frame)))
    return itertools.islice(fit, count)


def true_boxes(frame):
    clear = ((visible_part(frame.outlines, FRAME) >= LEAST_VISIBLE) &
             (frame.outlines[:, 2] - frame.outlines[:, 0] >= LEAST_WIDTH))
    return np.clip(with_margin(frame.outlines[clear]), 0, np.tile(FRAME, 2))


@dataclass
class Finding:
    """What the network gave for one frame, and what kind of frame it was."""
    score: float           # of the top row
    iou: float             # with the plate that it fits best, 0 without plates
    kind: str              # of the first plate
    width: float           # of the first plate, part of the frame's width
    level: float           # mean brightness, 0 to 255

    def good(self, threshold=WORKING_POINT, least_iou=GOOD_IOU):
        return self.score >= threshold and self.iou >= least_iou


def finding_of(rows, frame):
    top = rows[rows[:, 1].argmax()]
    truth = torch.from_numpy(true_boxes(frame)).float()
    box = (top[2:] * torch.tensor([*FRAME, *FRAME])).expand(len(truth), 4)
    iou = iou_and_giou(box, truth)[0].max().item() if len(truth) else 0.0
    width = (frame.outlines[0, 2] - frame.outlines[0, 0]) / FRAME[0] if len(truth) else 0.0
    return Finding(top[1].item(), iou, frame.kinds[0] if frame.kinds else "", width,
                   frame.image[::8, ::8].mean())


def find(network, frames):
    findings, frames = [], iter(frames)
    with torch.no_grad():
        while part := list(itertools.islice(frames, 8)):
            images = torch.from_numpy(np.stack([frame.image for frame in part]))
            rows = network(images.to(common.DEVICE).permute(0, 3, 1, 2).float()).cpu()
            findings += map(finding_of, rows, part)
    return findings


def working_shift(detector, count):
    """What to add to the logits so that at WORKING_POINT the worse of two shares is least: of
    frames whose plate is lost, and of frames without a plate that raise an alarm."""
    rows = Rows(detector)
    found = (find(rows, held_out_frames("calibration", count)) +
             find(rows, held_out_frames("calibration, photographs", count)))
    fits = np.array([finding.score if finding.iou >= GOOD_IOU else 0.0 for finding in found])
    empty = (find(rows, held_out_frames("calibration, no plate", count)) +
             find(rows, held_out_frames("calibration, photographs alone", count)))
    alarms = np.array([finding.score for finding in empty])
    logits = np.linspace(-4, 3, 141)
    errors = [max(np.mean(fits < score), np.mean(alarms >= score))
              for score in 1 / (1 + np.exp(-logits))]
    best = logits[np.isclose(errors, min(errors))].mean()
    return math.log(WORKING_POINT / (1 - WORKING_POINT)) - best


WIDTH_CLASSES = ((0, 0.1), (0.1, 0.2), (0.2, 0.4), (0.4, 2))
DARK_LEVEL = 50


def groups(findings):
    """Names and parts of the frames with one plate."""
    yield "all", findings
    for low, high in WIDTH_CLASSES:
        name = f"plate {100 * low:.0f} to {100 * min(high, 1):.0f} % of the width"
        yield name, [f for f in findings if low <= f.width < high]
    for kind in plates.KINDS:
        yield kind, [f for f in findings if f.kind == kind]
    yield "dark frames", [f for f in findings if f.level < DARK_LEVEL]


def percent(hits):
    return f"{100 * np.mean(list(hits)):.1f} %" if hits else "-"


def report_plates(title, findings):
    return [title, len(findings), percent([f.good() for f in findings]),
            percent([f.good(least_iou=0.5) for f in findings]),
            f"{np.mean([f.iou for f in findings]):.3f}" if findings else "-"]


def report(rows, scale):
    """The tables; `scale` makes the sets smaller for a quick look."""
    found = find(rows, held_out_frames("one plate", round(1000 * scale)))
    lines = [report_plates(name, part) for name, part in groups(found)]
    for name, count in (("one plate, hard", 400), ("two plates", 250), ("three plates", 250),
                        ("plates among photographs", 400)):
        lines.append(report_plates(name, find(rows, held_out_frames(name, round(count * scale)))))
    common.print_table(("one plate, top row", "frames", f"IoU >= {GOOD_IOU}", "IoU >= 0.5",
                        "mean IoU"), lines)
    for name, count in (("no plate", 500), ("boards among photographs", 300)):
        scores = [f.score for f in find(rows, held_out_frames(name, round(count * scale)))]
        common.print_table((name, "frames", "no row reaches it"), [
            (f"score {limit}", len(scores), percent([score < limit for score in scores]))
            for limit in (WORKING_POINT, 0.4, 0.5)])


def main():
    parser = common.options("detector", __doc__.splitlines()[0], minutes=60, batch=16, rate=3e-3)
    parser.add_argument("--sets", type=float, default=1.0, help="size of the held-out sets")
    parser.add_argument("--output", type=Path, default=common.MODELS / "plate_det.onnx")
    args = common.parse(parser)
    batch, args.batch = args.batch, None      # the stream makes whole batches
    watched = list(held_out_frames("watched", 12))

    def held_out_error(net):
        return np.mean([not finding.good(0.0) for finding in find(Rows(net), watched)])

    detector = common.train(Detector(), args, samples_for(training_pool(), batch), loss_of,
                            held_out_error, args.output)
    rows = Rows(detector, working_shift(detector, round(300 * args.sets))).eval()
    print(f"scores moved by {rows.shift:.2f}")
    common.export(rows, torch.zeros(1, 3, FRAME[1], FRAME[0]), args.output, ["image"], ["rows"])
    report(rows, args.sets)


if __name__ == "__main__":
    main()
