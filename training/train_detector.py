#!/usr/bin/env python3
"""Trains the plate detector: a camera frame to boxes around licence plates.

The frame comes stretched to 640 x 640.  Every cell of a 40 x 40 grid gives one
row (class, score, x1, y1, x2, y2) in fractions of the frame; only local peaks
keep their score, so that nobody has to thin out boxes afterwards.  The box has
a margin around the plate: the corner network reads the crop, and without some
surroundings it cannot see where the plate ends.

    training/train_detector.py               # about an hour on a shared core
    training/train_detector.py --minutes 0   # measures and exports the checkpoint

Debian packages: python3-torch python3-opencv python3-numpy python3-onnx, and
those of plates.py.
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

import common
import plates
import scenes

FRAME, STRIDE = 640, 16
MARGIN = 0.13            # of the plate's width and height, on every side
UNIT = 64.0              # pixels of one unit of the box outputs
WORKING_POINT = 0.25     # the least score that kavrel takes if not told otherwise
GOOD_IOU = 0.7
LEAST_VISIBLE = 0.6      # plates cut off further are neither wanted nor wrong
LEAST_WIDTH = 28         # pixels; what is smaller nobody can read anyway

# Windows see the pixels as the network will: a small one costs a fraction of a
# frame, but only the whole frame holds near plates.
SIDES = (320, 640, 320, 640)
SCALES = {320: (-0.35, 0.3), 448: (-0.3, 0.3), 640: (-0.15, 0.2)}   # natural logarithms
STORE_FRAMES, FIRST_FRAMES = 300, 40
PLATES_PER_FRAME = (0.35, 0.45, 0.12, 0.08)     # none to three
SIZES = ((960, 540), (800, 450), (640, 480), (720, 540))
DARK_KINDS = ("business", "kei_business")


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
        self.coarse = nn.Sequential(conv(middle, wide, stride=2), conv(wide, wide))
        self.coarsest = nn.Sequential(conv(wide, wide, stride=2), conv(wide, wide),
                                      conv(wide, wide, 1))
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
def cell_centres(side):
    """Centres of the grid's cells in pixels: 1 x 2 x side x side, x first."""
    line = (torch.arange(side, dtype=torch.float32) + 0.5) * STRIDE
    return torch.stack(torch.meshgrid(line, line, indexing="xy"))[None]


def boxes_of(maps, centres):
    """x1, y1, x2, y2 in pixels for every cell."""
    return torch.cat([centres - UNIT * maps[:, 1:3], centres + UNIT * maps[:, 3:5]], 1)


class Rows(nn.Module):
    """The detector with its decoding; `shift` moves the scores to the working point."""

    SHARPNESS = 100.0

    def __init__(self, detector, shift=0.0):
        super().__init__()
        self.detector, self.shift = detector, shift
        self.register_buffer("centres", cell_centres(FRAME // STRIDE).to(common.DEVICE))

    def forward(self, image):
        maps = self.detector(image)
        logit = maps[:, 0:1]
        # Sub, Mul and Relu run on NPUs where comparisons do not; a peak gives exactly 1.
        below = functional.max_pool2d(logit, 5, 1, 2) - logit
        score = torch.sigmoid(logit + self.shift) * torch.relu(1.0 - self.SHARPNESS * below)
        # Clamped: a negative corner would make the row look like another layout.
        boxes = torch.clamp(boxes_of(maps, self.centres) * (1.0 / FRAME), 0.0, 1.0)
        rows = torch.cat([torch.zeros_like(score), score, boxes], 1)
        return rows.reshape(-1, 6, (FRAME // STRIDE) ** 2).transpose(1, 2)


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
    grid = cell_centres(maps.shape[-1]).to(maps.device)
    boxes = boxes_of(maps, grid).permute(0, 2, 3, 1)[centres]
    wanted = wanted_boxes[centres]
    losses, iou = box_loss(boxes, wanted)
    quality = torch.zeros_like(maps[:, 0])
    quality[centres] = iou
    score = score_loss(maps[:, 0], quality, (states >= 0).float())
    return (2 * score + losses.sum()) / max(1, len(wanted))


# Samples

@dataclass
class Frame:
    image: np.ndarray      # RGB, FRAME x FRAME
    outlines: np.ndarray   # bounding boxes of the plates, pixels, perhaps beyond the frame
    kinds: list            # of the plates
    busy: np.ndarray       # a few places where there is something to see


def draw_frame(rng, pool, count, hard):
    """One frame at one of the usual shapes of cameras, stretched as kavrel stretches it."""
    size = SIZES[rng.integers(len(SIZES))]
    image, truths = scenes.render_scene(rng, pool, size, count, hard)
    corners = np.float32([truth["corners"] for truth in truths]).reshape(-1, 4, 2)
    corners *= np.float32([FRAME / size[0], FRAME / size[1]])
    outlines = np.concatenate([corners.min(1), corners.max(1)], 1)
    image = cv2.resize(image, (FRAME, FRAME), interpolation=cv2.INTER_LINEAR)
    return Frame(image, outlines, [truth["text"].kind for truth in truths],
                 busy_places(rng, image))


def busy_places(rng, image, count=16):
    """Places with edges: boards and grilles teach more than plain road does."""
    small = cv2.resize(image, (80, 80), interpolation=cv2.INTER_AREA)
    edges = cv2.Laplacian(cv2.cvtColor(small, cv2.COLOR_RGB2GRAY), cv2.CV_32F)
    weight = np.abs(edges).ravel().astype(float) + 0.01
    rows, columns = np.divmod(rng.choice(weight.size, count, p=weight / weight.sum()), 80)
    return np.stack([columns, rows], 1) * (FRAME / 80)


def random_frame(rng, pool):
    count = int(rng.choice(4, p=PLATES_PER_FRAME))
    return draw_frame(rng, pool, count, bool(rng.random() < 0.3))


def training_pool():
    """Dark plates are rare on the road and hard to find at night: take them twice."""
    pool = plates.without_margins(plates.cached_pool("detector", 1500, 101))
    return pool + [plate for plate in pool if plate[2].kind in DARK_KINDS]


def with_margin(outlines):
    size = np.tile(outlines[:, 2:] - outlines[:, :2], 2)
    return outlines + size * np.float32([-MARGIN, -MARGIN, MARGIN, MARGIN])


def visible_part(outlines, side):
    """The part of every box that lies within the picture."""
    clipped = np.clip(outlines, 0, side)
    return (clipped[:, 2:] - clipped[:, :2]).prod(1) / (outlines[:, 2:] - outlines[:, :2]).prod(1)


def random_window(rng, frame, side):
    """Scales and offset of a window: near a plate mostly, and mostly inside the frame."""
    squeeze = rng.uniform(-0.08, 0.08)
    scale = np.exp(rng.uniform(*SCALES[side]) + np.float32([squeeze, -squeeze]))
    if len(frame.outlines) and rng.random() < 0.8:
        x1, y1, x2, y2 = frame.outlines[rng.integers(len(frame.outlines))]
        focus = np.float32([(x1 + x2) / 2, (y1 + y2) / 2]) * scale
    else:
        focus = frame.busy[rng.integers(len(frame.busy))] * scale
    offset = focus - side * rng.uniform(0.1, 0.9, 2)
    # A window wider than the frame has it anywhere inside.
    room = FRAME * scale - side
    return scale, np.clip(offset, np.minimum(room, 0), np.maximum(room, 0))


def relight(rng, image):
    """Another exposure and white balance; of the bright pictures some become dark."""
    dark = rng.random() < 0.3 and image.mean() > 60
    gain = rng.uniform(0.25, 0.6) if dark else rng.uniform(0.75, 1.3)
    ramp = (np.arange(256) / 255) ** math.exp(rng.uniform(-0.35, 0.35)) * 255 * gain
    table = np.outer(ramp, rng.uniform(0.9, 1.1, 3)) + rng.uniform(-12, 12)
    return cv2.LUT(image, np.clip(table, 0, 255).astype(np.uint8)[None])


def cut_window(rng, frame, side):
    """A training picture and the outlines in it."""
    scale, offset = random_window(rng, frame, side)
    matrix = np.float32([[scale[0], 0, -offset[0]], [0, scale[1], -offset[1]]])
    image = cv2.warpAffine(frame.image, matrix, (side, side), flags=cv2.INTER_LINEAR,
                           borderValue=rng.integers(0, 256, 3).tolist())
    outlines = frame.outlines * np.tile(scale, 2) - np.tile(offset, 2)
    return relight(rng, image), outlines.astype(np.float32)


def mark_plate(wanted, states, box, cells):
    """Makes the cells around the plate's centre answer for it."""
    centre = (box[:2] + box[2:]) / 2 / STRIDE - 0.5
    reach = np.minimum((box[2:] - box[:2]) / 2 / STRIDE, 1.5)
    low = np.clip(np.ceil(centre - reach), 0, cells - 1).astype(int)
    high = np.clip(np.floor(centre + reach), low, cells - 1).astype(int)
    area = np.s_[low[1]:high[1] + 1, low[0]:high[0] + 1]
    wanted[area], states[area] = box, 1


def targets(outlines, side):
    """Boxes and states of the cells, as loss_of() takes them."""
    cells = side // STRIDE
    wanted = np.zeros((cells, cells, 4), np.float32)
    states = np.zeros((cells, cells), np.int8)
    boxes = np.clip(with_margin(outlines), 0, side)
    clear = ((visible_part(outlines, side) >= LEAST_VISIBLE) &
             (outlines[:, 2] - outlines[:, 0] >= LEAST_WIDTH))
    for box in boxes[~clear]:
        x1, y1, x2, y2 = (box / STRIDE).astype(int)
        states[y1:y2 + 1, x1:x2 + 1] = -1
    for box in boxes[clear]:
        mark_plate(wanted, states, box, cells)
    return wanted, states


class Store:
    """Frames to cut windows from.  Drawing one costs more than a dozen cuts, so each
    serves for a while before another takes its place."""

    def __init__(self, rng, pool):
        self.rng, self.pool, self.frames = rng, pool, []

    def renew(self, count):
        for _ in range(count):
            frame = random_frame(self.rng, self.pool)
            if len(self.frames) < STORE_FRAMES:
                self.frames.append(frame)
            else:
                self.frames[self.rng.integers(STORE_FRAMES)] = frame

    def batch(self, side, count):
        parts = []
        for _ in range(count):
            image, outlines = cut_window(self.rng, self.choose(side), side)
            parts.append((image, *targets(outlines, side)))
        return tuple(np.stack(part) for part in zip(*parts))

    def choose(self, side):
        """Whole frames show near plates, smaller windows only plates that fit in."""
        frames = [self.frames[i] for i in self.rng.integers(len(self.frames), size=4)]
        if side == FRAME:
            return max(frames[:2], key=widest)
        return next((frame for frame in frames if widest(frame) < 0.8 * side), frames[0])


def widest(frame):
    return max((x2 - x1 for x1, _, x2, _ in frame.outlines), default=0)


def samples_for(pool, batch):
    """Endless batches; `batch` counts windows of the smallest side, others get as many
    as cost the same."""
    def samples(rng):
        store = Store(rng, pool)
        store.renew(FIRST_FRAMES)
        for side in itertools.cycle(SIDES):
            # Every second batch: drawing a frame takes longer than learning from one.
            store.renew(side == FRAME)
            yield store.batch(side, max(1, round(batch * (SIDES[0] / side) ** 2)))
    return samples


# Figures

# Sets of frames that no training draws: seed, plates in a frame, hard.  The
# threshold is set on the first two with the fonts of the training, all others
# have fonts that no training sees.
SETS = {
    "calibration": (9001, 1, False),
    "calibration, no plate": (9002, 0, False),
    "watched": (9003, 1, False),
    "one plate": (9004, 1, False),
    "one plate, hard": (9005, 1, True),
    "two plates": (9006, 2, False),
    "three plates": (9007, 3, False),
    "no plate": (9008, 0, False),
}


def held_out_frames(name, count):
    seed, in_frame, hard = SETS[name]
    pool = (plates.cached_pool("detector", 1500, 101) if name.startswith("calibration")
            else plates.cached_pool("detector_held_out", 400, 102, plates.STYLES_HELD_OUT))
    pool = plates.without_margins(pool)
    frames = (draw_frame(np.random.default_rng([seed, index]), pool, in_frame, hard)
              for index in itertools.count())
    # A plate that is mostly cut off cannot be read: such frames are no test.
    fit = (frame for frame in frames if not in_frame or len(true_boxes(frame)))
    return itertools.islice(fit, count)


def true_boxes(frame):
    clear = visible_part(frame.outlines, FRAME) >= LEAST_VISIBLE
    return np.clip(with_margin(frame.outlines[clear]), 0, FRAME)


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
    box = (top[2:] * FRAME).expand(len(truth), 4)
    iou = iou_and_giou(box, truth)[0].max().item() if len(truth) else 0.0
    width = (frame.outlines[0, 2] - frame.outlines[0, 0]) / FRAME if len(truth) else 0.0
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
    found = find(rows, held_out_frames("calibration", count))
    fits = np.array([finding.score if finding.iou >= GOOD_IOU else 0.0 for finding in found])
    alarms = np.array([finding.score for finding in
                       find(rows, held_out_frames("calibration, no plate", count))])
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
    for name, count in (("one plate, hard", 400), ("two plates", 250), ("three plates", 250)):
        lines.append(report_plates(name, find(rows, held_out_frames(name, round(count * scale)))))
    common.print_table(("one plate, top row", "frames", f"IoU >= {GOOD_IOU}", "IoU >= 0.5",
                        "mean IoU"), lines)
    scores = [f.score for f in find(rows, held_out_frames("no plate", round(500 * scale)))]
    common.print_table(("no plate", "frames", "no row reaches it"), [
        (f"score {limit}", len(scores), percent([score < limit for score in scores]))
        for limit in (WORKING_POINT, 0.4, 0.5)])


def main():
    parser = common.options("detector", __doc__.splitlines()[0], minutes=60, batch=16, rate=3e-3)
    parser.add_argument("--sets", type=float, default=1.0, help="size of the held-out sets")
    parser.add_argument("--output", type=Path, default=common.MODELS / "plate_det.onnx")
    args = common.parse(parser)
    batch, args.batch = args.batch, None      # the stream makes whole batches
    watched = list(held_out_frames("watched", 80))

    def held_out_error(net):
        return np.mean([not finding.good(0.0) for finding in find(Rows(net), watched)])

    detector = common.train(Detector(), args, samples_for(training_pool(), batch), loss_of,
                            held_out_error, args.output)
    rows = Rows(detector, working_shift(detector, round(500 * args.sets))).eval()
    print(f"scores moved by {rows.shift:.2f}")
    common.export(rows, torch.zeros(1, 3, FRAME, FRAME), args.output, ["image"], ["rows"])
    report(rows, args.sets)


if __name__ == "__main__":
    main()
