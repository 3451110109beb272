#!/usr/bin/env python3
"""Trains the network that finds a plate's four corners in the detector's crop.

Takes 3 x 128 x 256, RGB 0..255; gives x and y of the top-left, top-right,
bottom-right and bottom-left corner as fractions of the crop.  Writes
models/reference/plate_corner.onnx.

Debian packages: python3-torch python3-onnx python3-opencv python3-pil
                 python3-numpy, and those of kanji.py.
"""
import itertools
from pathlib import Path

import cv2
import numpy as np
import torch
from torch import nn
from torch.nn import functional

import backgrounds
import common
import corner_crops
import mounted_plates
import plates
import scenes

POOL, HELD_OUT_POOL = 2800, 400
FRAMES = 60                       # pictures beyond what a plate is mounted on
HELD_OUT, QUICK = 1500, 128
HELD_OUT_SEED = 990001            # far from those of any training

STEP = 4                          # pixels of the picture per place of the planes
# The outmost ring of places is beyond the crop.
PLACES = (corner_crops.NETWORK[0] // STEP + 2) * (corner_crops.NETWORK[1] // STEP + 2)
PLANES_WEIGHT = 0.005             # of the loss on the corners' planes
SPREAD = 0.7                      # places; how far a corner's mark reaches on its plane


# The network

def conv(inputs, outputs, stride=1):
    return nn.Sequential(nn.Conv2d(inputs, outputs, 3, stride, 1, bias=False),
                         nn.BatchNorm2d(outputs), nn.ReLU())


def larger(places):
    return functional.interpolate(places, scale_factor=2)


def positions():
    """x and y of the planes' places, row by row, as fractions of the crop."""
    x, y = ((np.arange(-1, side // STEP + 1) + 0.5) * STEP / side
            for side in corner_crops.NETWORK)
    return torch.from_numpy(np.stack(np.meshgrid(x, y), 2).reshape(-1, 2)).float()


class CornerNet(nn.Module):
    """One plane per corner, and the mean place under each.

    Down to 4 x 8 places, where the whole crop is in sight, and up again to 32 x 64, where
    edges are still sharp.  The planes are one place larger than the crop on every side, so
    that a mean may lie on its border.
    """

    def __init__(self):
        super().__init__()
        self.stem = nn.Sequential(common.ByteConv2d(3, 32, 6, STEP, 1), nn.ReLU(), conv(32, 32))
        self.down8 = nn.Sequential(conv(32, 64, 2), conv(64, 64))
        self.down16 = nn.Sequential(conv(64, 96, 2), conv(96, 96))
        self.down32 = nn.Sequential(conv(96, 96, 2), conv(96, 96), nn.Conv2d(96, 96, 1))
        self.up16 = nn.Sequential(nn.ReLU(), conv(96, 96), nn.Conv2d(96, 64, 1))
        self.up8 = nn.Sequential(nn.ReLU(), conv(64, 64), nn.Conv2d(64, 32, 1))
        self.up4 = nn.Sequential(nn.ReLU(), conv(32, 32))
        self.mark = nn.Conv2d(32, 4, 3, padding=2)
        self.register_buffer("positions", positions(), persistent=False)

    def planes(self, x):
        at4 = self.stem(x)
        at8 = self.down8(at4)
        at16 = self.down16(at8)
        at16 = self.up16(at16 + larger(self.down32(at16)))
        at8 = self.up8(at8 + larger(at16))
        planes = self.mark(self.up4(at4 + larger(at8)))
        return planes.reshape(-1, 4, PLACES)

    def corners(self, planes):
        return (planes.softmax(2) @ self.positions).reshape(-1, 8)

    def forward(self, x):
        return self.corners(self.planes(x))


def to_input(pictures):
    """Rows of RGB bytes, as they are drawn, to the network's planes."""
    return pictures.to(common.DEVICE).permute(0, 3, 1, 2).float()


def marks(net, corners):
    """What the planes should be: a spot around each corner that sums up to 1."""
    away = (net.positions - corners[:, :, None]) * corners.new_tensor(corner_crops.NETWORK) / STEP
    return (-0.5 * (away / SPREAD).square().sum(3)).softmax(2)


def loss_of(net, pictures, corners):
    # The means are taken in full: they are finer than bfloat16 can tell apart.
    with common.shortened():
        planes = net.planes(to_input(pictures))
    planes = planes.float()
    missed = -(marks(net, corners) * planes.log_softmax(2)).sum(2).mean()
    far = functional.smooth_l1_loss(net.corners(planes), corners.flatten(1), beta=0.004)
    return far + PLANES_WEIGHT * missed


# Measuring

# The outmost places of the lettering, as fractions of the plate.
LETTERING = np.array([(x, y) for x in (0.06, 0.35, 0.65, 0.94) for y in (0.09, 0.37, 0.43, 0.91)])


def held_out(count):
    pool = mounted_plates.cached_pool(HELD_OUT_POOL, HELD_OUT_SEED, plates.STYLES_HELD_OUT)
    frames = beyond(HELD_OUT_SEED)
    rng = np.random.default_rng(HELD_OUT_SEED)
    drawn = [corner_crops.sample(pool, frames, rng) for _ in range(count)]
    pictures, corners, aspects, tags = zip(*drawn)
    return torch.from_numpy(np.stack(pictures)), np.stack(corners), np.array(aspects), tags


def beyond(seed):
    """What else a crop may show: streets and photographs."""
    rng = np.random.default_rng(seed)
    return [*(one.image for one in scenes.render_background_pool(FRAMES // 2, seed)),
            *(backgrounds.cover(rng, (960, 540), (1, 3)) for _ in range(FRAMES // 2))]


def found_corners(net, pictures):
    with torch.no_grad():
        found = torch.cat([net(to_input(part)) for part in pictures.split(64)])
    return found.cpu().numpy().clip(0, 1).reshape(-1, 4, 2)


def distances(found, corners, aspects):
    """From the true corners (samples x 4) in per cent of the crop's width."""
    return 100 * np.linalg.norm((found - corners) * np.stack(
        [np.ones_like(aspects), aspects], 1)[:, None], axis=2)


def rectified_lettering(found, corners):
    """Where the lettering of a plate with these corners comes to lie, as fractions."""
    unit = mounted_plates.UNIT
    warps = (np.linalg.inv(cv2.getPerspectiveTransform(unit, to)) @
             cv2.getPerspectiveTransform(unit, true)
             for to, true in zip(np.float32(found), np.float32(corners)))
    return np.stack([cv2.perspectiveTransform(LETTERING[None], warp)[0] for warp in warps])


def measures(found, data):
    """Of every sample: its corners' distances, the lettering's shift, whether some is cut off."""
    _, corners, aspects, _ = data
    lettering = rectified_lettering(found, corners)
    shift = np.linalg.norm((lettering - LETTERING) * (1, 0.5), axis=2).mean(1)
    cut = ((lettering < 0) | (lettering > 1)).any((1, 2))
    return distances(found, corners, aspects), 100 * shift, 100 * cut


def rows_of(net, data):
    """The table's rows: all samples, then by framing, contents, angle and size."""
    each, tags = measures(found_corners(net, data[0]), data), data[3]
    yield row("all", *each)
    for group in sorted(set(itertools.chain(*tags))):
        chosen = [group in tag for tag in tags]
        yield row(group, *(part[chosen] for part in each))


def row(name, found, shift, cut):
    return (name, len(found), f"{found.mean():.2f}", f"{np.percentile(found, 95):.2f}",
            f"{np.percentile(found, 99):.2f}", f"{100 * (found.max(1) > 3).mean():.1f}",
            f"{shift.mean():.2f}", f"{cut.mean():.1f}")


HEADER = ("held-out crops", "count", "mean %", "95th %", "99th %", "a corner off by > 3 %",
          "lettering moved %", "lettering cut %")


def main():
    parser = common.options("corners", __doc__.splitlines()[0], minutes=60, batch=32,
                            rate=2.5e-3)
    parser.add_argument("--output", type=Path, default=common.MODELS / "plate_corner.onnx")
    args = common.parse(parser)
    data = held_out(HELD_OUT)
    quick = tuple(part[:QUICK] for part in data[:3])
    pool = mounted_plates.cached_pool(POOL, args.seed, plates.STYLES_TRAIN)
    frames = beyond(args.seed)
    net = common.train(
        CornerNet().to(memory_format=torch.channels_last), args,
        lambda rng: corner_crops.samples(pool, frames, rng), loss_of,
        lambda net: distances(found_corners(net, quick[0]), *quick[1:]).mean(), args.output)
    common.export(net, torch.zeros(1, 3, *corner_crops.NETWORK[::-1]), args.output, ["image"],
                  ["corners"])
    common.print_table(HEADER, rows_of(net, data))


if __name__ == "__main__":
    main()
