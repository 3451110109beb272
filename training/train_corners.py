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

import common
import plates
import scenes

NETWORK = (256, 128)              # width, height
POOL, HELD_OUT_POOL = 4000, 500
BACKGROUNDS, HELD_OUT_BACKGROUNDS = 240, 60
HELD_OUT, QUICK = 2000, 256
# Seeds of what is only measured, far from those of any training.
HELD_OUT_SEED, OTHER_FONTS_SEED = 990001, 990002

# The detector boxes a plate with this share of the plate's box on every side.
MARGIN, MARGIN_SCATTER = 0.135, 0.05
CROP_WIDTHS = (56, 420)           # px in the frame

# How a crop lies around the plate, and how often.
FRAMINGS = {"boxed": 0.60, "loose": 0.28, "cut": 0.12}

# Half of the plates sit on the vehicles of whole frames, half on drawn car faces
# that are stranger than those.
IN_FRAME = 0.5
LEAST_VISIBLE = 0.75              # of a plate at the frame's border

PLANES_WEIGHT = 0.1               # of the loss on the corners' planes

UNIT = np.float32([(0, 0), (1, 0), (1, 1), (0, 1)])
# What is drawn around the plate before the warp, in plate heights on each side.
SURROUND = 0.8
BORDERS = (cv2.BORDER_REFLECT_101, cv2.BORDER_REPLICATE)


# What stands around a plate

def body_colour(rng):
    """Mostly the greys of cars and bumpers, sometimes paint, sometimes nearly the plate's."""
    grey = rng.uniform(5, 245)
    colour = grey + rng.normal(0, 6, 3)
    chance = rng.random()
    if chance < 0.3:
        colour = rng.uniform(0, 255, 3)
    elif chance < 0.4:
        kind = plates.pick(rng, list(plates.KINDS.values()))
        colour = np.array(kind.ground) + rng.normal(0, 12, 3)
    return np.clip(colour, 0, 255).tolist()


def draw_bars(canvas, rng):
    """A grille, a panel gap or the steps of a bumper: lines along the plate's edges."""
    height, width = canvas.shape[:2]
    across = rng.random() < 0.75
    length = height if across else width
    pitch = rng.uniform(0.03, 0.4) * height
    thick = max(1, int(pitch * rng.uniform(0.05, 0.6)))
    colour = body_colour(rng)
    for at in np.arange(rng.uniform(0, pitch), length, pitch)[:int(rng.integers(1, 30))]:
        ends = ((0, int(at)), (width, int(at + rng.normal(0, 2))))
        cv2.line(canvas, *(ends if across else [end[::-1] for end in ends]), colour, thick,
                 cv2.LINE_AA)


def draw_recess(canvas, rng):
    """The hollow or the holder that a plate sits in."""
    plate_height = canvas.shape[0] / (1 + 2 * SURROUND)
    gap = rng.uniform(0.01, 0.3, 2) * (1, rng.uniform(0.3, 1))
    middle = np.array(canvas.shape[1::-1]) / 2 + rng.normal(0, 0.04, 2) * plate_height
    half = (np.array((plates.WIDTH / plates.HEIGHT, 1)) / 2 + gap) * plate_height
    corners = middle + (2 * UNIT - 1) * half * rng.uniform((0.94, 1), (1.06, 1), (4, 2))
    outline = [np.int32(corners)]
    cv2.fillPoly(canvas, outline, body_colour(rng), cv2.LINE_AA)
    if rng.random() < 0.6:
        cv2.polylines(canvas, outline, True, body_colour(rng),
                      max(1, int(rng.uniform(0, 0.05) * plate_height)), cv2.LINE_AA)


def draw_lamp(canvas, rng):
    height, width = canvas.shape[:2]
    centre = (int(rng.uniform(0, width)), int(rng.uniform(0, height)))
    axes = (rng.uniform(0.04, 0.35, 2) * height).astype(int).tolist()
    cv2.ellipse(canvas, centre, axes, rng.uniform(0, 180), 0, 360, body_colour(rng), -1,
                cv2.LINE_AA)


def draw_panel(canvas, rng):
    """Body panels, road, other things behind the car: any quadrilateral."""
    height, width = canvas.shape[:2]
    middle = rng.uniform(0, 1, 2) * (width, height)
    corners = middle + (UNIT - 0.5) * rng.uniform(0.2, 1.8, 2) * (width, height)
    corners += rng.normal(0, 0.06 * height, (4, 2))
    cv2.fillPoly(canvas, [np.int32(corners)], body_colour(rng), cv2.LINE_AA)


def draw_words(canvas, rng):
    """Stickers and badges: what has letters and is no plate."""
    height, width = canvas.shape[:2]
    words = "".join(plates.pick(rng, "ABDEGHKLMNRST0123456789") for _ in range(6))
    at = (int(rng.uniform(0, 0.8 * width)), int(rng.uniform(0, height)))
    cv2.putText(canvas, words, at, cv2.FONT_HERSHEY_SIMPLEX,
                height * rng.uniform(0.001, 0.004), body_colour(rng), int(rng.integers(1, 4)),
                cv2.LINE_AA)


# How often each is drawn, in the order of drawing.
THINGS = ((draw_panel, 0.8), (draw_panel, 0.5), (draw_bars, 0.5), (draw_lamp, 0.3),
          (draw_words, 0.15), (draw_recess, 0.55), (draw_bars, 0.15))


def shade(canvas, rng):
    """A slow change of light over the body, as bent sheet metal has it."""
    rows, columns = rng.uniform(0.75, 1.25, (3, 4)).astype(np.float32), canvas.shape[1::-1]
    light = cv2.resize(rows, columns, interpolation=cv2.INTER_LINEAR)
    return cv2.multiply(canvas, cv2.merge([light] * 3), dtype=cv2.CV_8U)


def surroundings(shape, rng):
    """A car's face without the plate, and the room it has on each side of one of `shape`."""
    border = round(SURROUND * shape[0])
    colour, size = body_colour(rng), (shape[0] + 2 * border, shape[1] + 2 * border)
    canvas = cv2.merge([np.full(size, channel, np.uint8) for channel in np.uint8(colour)])
    for draw, share in THINGS:
        if rng.random() < share:
            draw(canvas, rng)
    return shade(canvas, rng), border


def cast_shadow(canvas, mask, border, rng):
    """The plate's own shadow on what is behind it."""
    reach = max(2, int(rng.uniform(0.01, 0.09) * mask.shape[0]))
    aside, below = rng.uniform(-0.04, 0.04, 2) * mask.shape[0]
    left, top = int(border + aside) - reach, int(border + 1.5 * max(below, 0)) - reach
    area = canvas[top:top + mask.shape[0] + 2 * reach, left:left + mask.shape[1] + 2 * reach]
    shadow = cv2.copyMakeBorder(mask, *[reach] * 4, cv2.BORDER_CONSTANT, value=0)
    shadow = cv2.blur(shadow, (reach, reach)).astype(np.float32) / 255
    light = 1 - rng.uniform(0.2, 0.9) * shadow
    area[:] = cv2.multiply(area, cv2.merge([light] * 3), dtype=cv2.CV_8U)


def mount(plate, mask, width, rng):
    """The plate, `width` px wide, on a car, and where its upper left corner is."""
    size = (width, round(width * plates.HEIGHT / plates.WIDTH))
    if width != plate.shape[1]:
        plate, mask = (cv2.resize(part, size, interpolation=cv2.INTER_AREA)
                       for part in (plate, mask))
    canvas, border = surroundings(mask.shape, rng)
    if rng.random() < 0.6:
        cast_shadow(canvas, mask, border, rng)
    area = canvas[border:border + size[1], border:border + size[0]]
    cover = mask.astype(np.float32) / 255
    area[:] = cv2.blendLinear(plate, np.ascontiguousarray(area), cover, 1 - cover)
    return canvas, border, size


# What the detector cuts out

def framing(rng):
    """What the crop has beyond the plate's box (left, top, right, bottom), in its sizes."""
    name = str(rng.choice(list(FRAMINGS), p=list(FRAMINGS.values())))
    margins = MARGIN + rng.normal(0, MARGIN_SCATTER, 4)
    if name == "loose":
        # The plate fills 50 to 100 % of the crop and lies anywhere in it.
        fill = rng.uniform(0.5, 1) * rng.uniform(0.9, 1.1, 2)
        spare = 1 / np.clip(fill, 0.5, 1) - 1
        share = rng.uniform(0, 1, 2)
        margins = np.concatenate([spare * share, spare * (1 - share)])
    margins = np.maximum(margins, 0)
    if name == "cut":
        sides = rng.permutation(4)[:int(rng.integers(1, 3))]
        margins[sides] = rng.uniform(-0.12, 0, len(sides))
    return name, margins


def boxed(corners, margins):
    low, high = corners.min(0), corners.max(0)
    size = high - low
    return low - margins[:2] * size, high + margins[2:] * size


def scaling(x, y, across=1.0, down=1.0):
    return np.array([(across, 0, x), (0, down, y), (0, 0, 1)], np.float64)


def photograph(plate, mask, homography, size, plate_width, rng):
    """The plate on its car in the crop; shrunk before the warp, which only interpolates."""
    width = int(min(plate.shape[1], 1.3 * plate_width))
    canvas, border, drawn = mount(plate, mask, width, rng)
    to_mm = scaling(0, 0, plates.WIDTH / drawn[0], plates.HEIGHT / drawn[1])
    # A pixel's centre is half a pixel from its edge, here and in the crop.
    to_plate = to_mm @ scaling(0.5 - border, 0.5 - border)
    return cv2.warpPerspective(canvas, scaling(-0.5, -0.5) @ homography @ to_plate, size,
                               flags=cv2.INTER_LINEAR,
                               borderMode=plates.pick(rng, BORDERS))


def on_car_face(plate, mask, margins, rng):
    """A crop of its own, and the plate's corners in it."""
    homography = scenes.random_homography(rng)
    low, high = boxed(scenes.corners_of(homography), margins)
    width = np.exp(rng.uniform(*np.log(CROP_WIDTHS)))
    # The detector's box is cut out at whole pixels.
    size = np.maximum(np.rint((high - low) * width / (high[0] - low[0])), 8).astype(int)
    across, down = size / (high - low)
    homography = scaling(-low[0] * across, -low[1] * down, across, down) @ homography
    corners = scenes.corners_of(homography)
    crop = photograph(plate, mask, homography, tuple(size.tolist()), np.ptp(corners[:, 0]), rng)
    return crop, corners


def place_in(background, rng):
    """Where a vehicle has its plate, or anywhere in the frame at any angle."""
    if background.views and rng.random() < 0.5:
        return plates.pick(rng, background.views).homography()
    return scenes.random_homography(rng, width=np.exp(rng.uniform(*np.log(CROP_WIDTHS))),
                                    centre=rng.uniform(0, 1, 2) * background.image.shape[1::-1])


def in_frame(plate, mask, margins, backgrounds, rng):
    """A piece of a whole frame with the plate put in, and the plate's corners in it."""
    visible = 0
    while visible < LEAST_VISIBLE:
        background = plates.pick(rng, backgrounds)
        frame, homography = background.image.shape[1::-1], place_in(background, rng)
        corners = scenes.corners_of(homography)
        visible = scenes.visible_part(corners, frame)
    low, high = (np.clip(np.rint(end), 0, frame).astype(int) for end in boxed(corners, margins))
    crop = background.image[low[1]:high[1], low[0]:high[0]].copy()
    scenes.paste_plate(crop, plate, mask, scaling(*-low) @ homography,
                       background.light.plate * rng.uniform(0.85, 1.15, 3))
    return crop, corners - low


def sample(pool, backgrounds, rng):
    """The network's picture, the corners (4 x 2), height / width of the crop, and tags."""
    plate, mask, text = plates.pick(rng, pool)
    name, margins = framing(rng)
    if rng.random() < IN_FRAME:
        crop, corners = in_frame(plate, mask, margins, backgrounds, rng)
        place = "in a frame"
    else:
        crop, corners = on_car_face(plate, mask, margins, rng)
        place = "on a car face"
    crop = plates.degrade(crop, rng, rng.uniform(0.15, 1))
    picture = cv2.resize(crop, NETWORK, interpolation=cv2.INTER_LINEAR)
    # A corner beyond the crop is given on its border, the nearest that can be cut out.
    height, width = crop.shape[:2]
    fractions = np.clip(corners / (width, height), 0, 1).astype(np.float32)
    return picture, fractions, np.float32(height / width), (name, place, text.kind)


def samples(pool, backgrounds, rng):
    while True:
        picture, corners, aspect, _ = sample(pool, backgrounds, rng)
        yield picture, corners, aspect


# The network

def conv(inputs, outputs, stride=1):
    return [nn.Conv2d(inputs, outputs, 3, stride, 1, bias=False), nn.BatchNorm2d(outputs),
            nn.ReLU()]


GRID = np.array((16, 8))          # places across and down that the trunk ends in


class CornerNet(nn.Module):
    """A trunk down to 8 x 16 places, and a small fully connected part over them.

    In training the trunk's first four planes are also held to show where the
    corners are: eight numbers alone teach so many weights slowly.
    """

    def __init__(self):
        super().__init__()
        self.trunk = nn.Sequential(
            common.ByteConv2d(3, 32, 6, 4, 1), nn.ReLU(), *conv(32, 32),
            *conv(32, 48, 2), *conv(48, 48), *conv(48, 64, 2), *conv(64, 64), *conv(64, 64),
            nn.Conv2d(64, 24, 1))
        self.head = nn.Sequential(nn.ReLU(), nn.Flatten(), nn.Linear(24 * GRID.prod(), 96),
                                  nn.ReLU(), nn.Linear(96, 8))
        # Begins with the plate in the middle of the crop.
        self.head[-1].weight.data.mul_(0.1)
        self.head[-1].bias.data.copy_(torch.from_numpy(0.15 + 0.7 * UNIT).flatten())

    def forward(self, x):
        return self.head(self.trunk(x))


def to_input(pictures):
    """Rows of RGB bytes, as they are drawn, to the network's planes."""
    return pictures.to(common.DEVICE).permute(0, 3, 1, 2).float()


def corner_planes(corners):
    """One plane per corner: 1 shared out over the four places around it."""
    grid = torch.from_numpy(GRID).to(corners)
    at = torch.minimum((corners * grid - 0.5).clamp(min=0), grid - 1)
    across, down = (
        (1 - (at[..., axis, None] - torch.arange(GRID[axis]).to(at)).abs()).clamp(min=0)
        for axis in (0, 1))
    return down[..., :, None] * across[..., None, :]


def loss_of(net, pictures, corners, _aspect):
    # The fully connected part works in full: its outputs are finer than bfloat16 can tell apart.
    with common.shortened():
        places = net.trunk(to_input(pictures))
    places = places.float()
    wanted, shown = corner_planes(corners), places[:, :4]
    missed = torch.where(wanted > 0, shown - wanted, shown.relu())
    return (functional.smooth_l1_loss(net.head(places), corners.flatten(1), beta=0.01)
            + PLANES_WEIGHT * missed.square().sum((2, 3)).mean())


# Measuring

def held_out(count, styles, seed):
    pool = plates.without_margins(plates.render_pool(HELD_OUT_POOL, seed, styles, px_per_mm=1.0))
    backgrounds = scenes.render_background_pool(HELD_OUT_BACKGROUNDS, seed)
    rng = np.random.default_rng(seed)
    drawn = [sample(pool, backgrounds, rng) for _ in range(count)]
    pictures, corners, aspects, tags = zip(*drawn)
    return torch.from_numpy(np.stack(pictures)), np.stack(corners), np.array(aspects), tags


def errors(net, data):
    """Distance of every corner (samples x 4) in per cent of the crop's width."""
    pictures, corners, aspects, _ = data
    with torch.no_grad():
        found = torch.cat([net(to_input(part)) for part in pictures.split(64)])
    apart = found.cpu().numpy().clip(0, 1).reshape(-1, 4, 2) - corners
    apart[:, :, 1] *= aspects[:, None]
    return 100 * np.hypot(apart[:, :, 0], apart[:, :, 1])


def rows_of(name, net, data):
    """The table's rows: all samples, then by framing and by kind of plate."""
    found, tags = errors(net, data), data[3]
    yield row(name, found)
    for group in sorted(set(itertools.chain(*tags))):
        yield row(f"{name}: {group}", found[[group in tag for tag in tags]])


def row(name, found):
    far = 100 * (found.max(1) > 3).mean()
    return (name, len(found), f"{found.mean():.2f}", f"{np.percentile(found, 95):.2f}",
            f"{np.percentile(found, 99):.2f}", f"{far:.1f}")


HEADER = ("held-out samples", "count", "mean %", "95th %", "99th %", "a corner off by > 3 %")


def main():
    parser = common.options("corners", __doc__.splitlines()[0], minutes=45, batch=32,
                            rate=2.5e-3)
    parser.add_argument("--output", type=Path, default=common.MODELS / "plate_corner.onnx")
    args = common.parse(parser)
    data = held_out(HELD_OUT, plates.STYLES_TRAIN, HELD_OUT_SEED)
    quick = tuple(part[:QUICK] for part in data)
    pool = plates.without_margins(plates.cached_pool("corners", POOL, args.seed))
    backgrounds = scenes.render_background_pool(BACKGROUNDS, args.seed)
    net = common.train(CornerNet(), args, lambda rng: samples(pool, backgrounds, rng), loss_of,
                       lambda net: errors(net, quick).mean(), args.output)
    common.export(net, torch.zeros(1, 3, *NETWORK[::-1]), args.output, ["image"], ["corners"])
    others = held_out(HELD_OUT, plates.STYLES_HELD_OUT, OTHER_FONTS_SEED)
    common.print_table(HEADER, [*rows_of("fonts of the training", net, data),
                                *rows_of("other fonts", net, others)])


if __name__ == "__main__":
    main()
