#!/usr/bin/env python3
"""Draws licence-plate pictures with known text for the rendered sample set.

A folder of real crops carries other people's number plates and cannot travel
with the sources; these drawings can, and their text is certain.  The pictures
are upright plates that fill the frame, so that they can be read on a machine
without the corner network.

Debian packages: python3-pil python3-numpy python3-opencv
                 fonts-mplus fonts-motoya-l-maruberi
"""
import argparse
import csv
import os
import sys
from pathlib import Path

import cv2
import numpy as np
from PIL import Image, ImageDraw, ImageFont

ROOT = Path(__file__).resolve().parents[1]
PX_PER_MM = 4        # drawn twice as fine as the picture, edges settle in the warp
PICTURE = (640, 320)
GLYPH_PX = 800

# Plate digits are one even pressed line with round ends: a hairline digit
# drawn over with a wide pen.  Region and kana are round gothic, a bit heavier
# than the font has them.
DIGIT_FONT = "/usr/share/fonts/opentype/mplus/Mplus1-Thin.otf"
LETTER_FONT = "/usr/share/fonts/truetype/motoya-l-maruberi/MTLmr3m.ttf"
FONT_PACKAGES = {DIGIT_FONT: "fonts-mplus", LETTER_FONT: "fonts-motoya-l-maruberi"}

# name: (font, character that fills the box, pen in mm).  A digit fills its box
# by itself, only 1 is narrower and goes by the 0.  12 mm is the line of the
# serial digits on the medium plate, about half of it that of the small ones.
LETTERING = {
    "serial": (DIGIT_FONT, None, 11.0),
    "class": (DIGIT_FONT, None, 5.0),
    "kana": (LETTER_FONT, "あ", 1.8),
    "region": (LETTER_FONT, "東", 1.0),
}

# Medium plate in mm.  Down: 15, 40, 15, 80, 15.  Across the lower row: 20,
# kana 40, 15, digit 40, 15, digit 40, 12.5, hyphen 20, 12.5, digit 40, 15,
# digit 40, 20.
WIDTH, HEIGHT, CORNER = 330, 165, 10
RIM_INSET, RIM_WIDTH = 2, 4
UPPER_TOP, UPPER_HEIGHT = 15, 40
LOWER_TOP, LOWER_HEIGHT = 70, 80
KANA_CENTRE, KANA_SIZE = 40, 40
SERIAL_CENTRES = (95, 150, 235, 290)
SERIAL_WIDTH = 40
HYPHEN = (182.5, 104, 202.5, 116)
DOT_RADIUS = 6
REGION_LEFT, REGION_FIELD = 78, 85
REGION_CELLS = {1: (40, 0), 2: (40, 5), 3: (27, 2), 4: (20.5, 1)}   # width, gap
CLASS_CENTRES = (189, 216, 243)
CLASS_WIDTH = 22
BOLTS = ((60, 25), (270, 25))
BOLT_RADIUS, SEAL_RADIUS = 6.5, 11

# kind: ground (RGB), text (RGB), seal on the left bolt.  Kei plates have none.
KINDS = {
    "private": ((222, 224, 219), (20, 86, 50), True),
    "business": ((20, 86, 50), (222, 224, 219), True),
    "kei": ((240, 196, 24), (22, 22, 22), False),
    "kei_business": ((26, 26, 26), (240, 196, 24), False),
}

# kind, region, class number, kana, serial, frames.  One to four characters of
# region, all four kinds, every digit, and two serials that begin with a dot.
VEHICLES = (
    ("private", "品川", "330", "さ", "12-34", 3),
    ("private", "名古屋", "501", "ま", "58-06", 2),
    ("private", "柏", "300", "な", "27-91", 3),
    ("kei", "春日部", "480", "か", "43-65", 2),
    ("business", "習志野", "130", "い", "90-12", 3),
    ("kei_business", "札幌", "480", "り", "37-84", 2),
    ("business", "なにわ", "500", "う", "61-29", 3),
    ("kei", "つくば", "583", "た", "70-53", 2),
    ("private", "沖縄", "301", "わ", "44-18", 3),
    ("kei", "堺", "580", "く", "85-60", 2),
    ("private", "尾張小牧", "530", "の", "29-07", 3),
    ("business", "福岡", "100", "え", "16-72", 2),
    ("private", "京都", "400", "ろ", "503", 2),
    ("kei", "仙台", "581", "ゆ", "817", 3),
    ("private", "袖ヶ浦", "335", "む", "36-95", 2),
    ("kei_business", "広島", "483", "れ", "88-41", 3),
)


def px(mm):
    return round(mm * PX_PER_MM)


def load_fonts():
    for path, package in FONT_PACKAGES.items():
        if not os.path.exists(path):
            sys.exit(f"render_samples.py: {path} is missing, install {package}")
    return {path: ImageFont.truetype(path, GLYPH_PX) for path in FONT_PACKAGES}


def glyph_tile(font, char):
    """The character's ink alone, and its top against the baseline."""
    tile = Image.new("L", (2 * GLYPH_PX, 2 * GLYPH_PX))
    baseline = 3 * GLYPH_PX // 2
    ImageDraw.Draw(tile).text((GLYPH_PX // 2, baseline), char, font=font, fill=255,
                              anchor="ls")
    box = tile.getbbox()
    return tile.crop(box), box[1] - baseline


def pen_line(tile, scale_x, scale_y, border):
    """The tile at plate size, drawn over with a round pen as wide as `border`."""
    tile = tile.resize((max(1, round(tile.width * scale_x)),
                        max(1, round(tile.height * scale_y))), Image.BOX)
    # A hairline is greyer than white after the shrink, the pen needs it whole.
    line = np.where(np.pad(np.asarray(tile), border) > 40, 255, 0).astype(np.uint8)
    return cv2.dilate(line, cv2.getStructuringElement(
        cv2.MORPH_ELLIPSE, (border | 1, border | 1)))


def draw_glyph(ink, fonts, style, char, centre, top, size):
    """Puts one character into the box of `size` mm; thin ones keep their width."""
    path, filler, pen = LETTERING[style]
    full, full_top = glyph_tile(fonts[path], filler or char.replace("1", "0"))
    tile, tile_top = glyph_tile(fonts[path], char)
    scale_x = px(size[0] - pen) / full.width
    scale_y = px(size[1] - pen) / full.height
    border = px(pen)
    line = pen_line(tile, scale_x, scale_y, border)
    left = px(centre) - line.shape[1] // 2
    row = px(top + pen / 2) + round((tile_top - full_top) * scale_y) - border
    area = ink[row:row + line.shape[0], left:left + line.shape[1]]
    np.maximum(area, line, out=area)


def draw_upper_row(ink, fonts, region, number):
    width, gap = REGION_CELLS[len(region)]
    used = len(region) * width + (len(region) - 1) * gap
    first = REGION_LEFT + (REGION_FIELD - used + width) / 2
    for i, char in enumerate(region):
        draw_glyph(ink, fonts, "region", char, first + i * (width + gap),
                   UPPER_TOP, (width, UPPER_HEIGHT))
    for char, centre in zip(number, CLASS_CENTRES):
        draw_glyph(ink, fonts, "class", char, centre, UPPER_TOP,
                   (CLASS_WIDTH, UPPER_HEIGHT))


def draw_lower_row(ink, fonts, kana, serial):
    middle = LOWER_TOP + LOWER_HEIGHT / 2
    draw_glyph(ink, fonts, "kana", kana, KANA_CENTRE, middle - KANA_SIZE / 2,
               (KANA_SIZE, KANA_SIZE))
    # Serials below 1000 have a dot for every missing digit and no hyphen.
    for char, centre in zip(serial.replace("-", "").rjust(4, "."), SERIAL_CENTRES):
        if char == ".":
            cv2.circle(ink, (px(centre), px(middle)), px(DOT_RADIUS), 255, -1)
        else:
            draw_glyph(ink, fonts, "serial", char, centre, LOWER_TOP,
                       (SERIAL_WIDTH, LOWER_HEIGHT))
    if "-" in serial:
        x0, y0, x1, y1 = map(px, HYPHEN)
        cv2.rectangle(ink, (x0, y0), (x1, y1), 255, -1)


def rounded(inset):
    """Mask of the plate's outline, moved inwards by `inset` mm."""
    mask = Image.new("L", (px(WIDTH), px(HEIGHT)))
    ImageDraw.Draw(mask).rounded_rectangle(
        (px(inset), px(inset), px(WIDTH - inset) - 1, px(HEIGHT - inset) - 1),
        px(max(CORNER - inset, 3)), fill=255)
    return np.asarray(mask)


def emboss(plate, height):
    """Lit from the upper left: pressed edges get a bright and a dark side."""
    soft = cv2.GaussianBlur(height, (0, 0), 0.35 * PX_PER_MM).astype(np.float32) / 255
    step = px(0.5)
    slope = np.roll(soft, (-step, -step), (0, 1)) - np.roll(soft, (step, step), (0, 1))
    return plate + 45 * slope[:, :, None]


def draw_bolts(plate, seal):
    for (x, y), sealed in zip(BOLTS, (seal, False)):
        outer = SEAL_RADIUS if sealed else BOLT_RADIUS
        rings = ((0.8, outer, 70, -1), (0, outer, 177, -1), (0, outer * 0.7, 141, px(0.8)))
        for shift, radius, grey, width in rings:
            cv2.circle(plate, (px(x + shift), px(y + shift)), px(radius), (grey,) * 3,
                       width, cv2.LINE_AA)
        if not sealed:
            slot = outer * 0.5
            cv2.line(plate, (px(x - slot), px(y)), (px(x + slot), px(y)), (80,) * 3,
                     px(1.2), cv2.LINE_AA)


def draw_plate(fonts, kind, region, number, kana, serial):
    """The flat plate in RGB and the mask of its outline."""
    ground, text, seal = KINDS[kind]
    outline = rounded(0)
    ink = np.zeros_like(outline)
    draw_upper_row(ink, fonts, region, number)
    draw_lower_row(ink, fonts, kana, serial)
    cover = cv2.GaussianBlur(ink, (0, 0), 1)[:, :, None].astype(np.float32) / 255
    plate = (1 - cover) * np.float32(ground) + cover * np.float32(text)
    rim = rounded(RIM_INSET) - rounded(RIM_INSET + RIM_WIDTH)
    plate = np.clip(emboss(plate, np.maximum(ink, rim)), 0, 255).astype(np.uint8)
    draw_bolts(plate, seal)
    return plate, outline


def tilt(plate, outline, body, rng):
    """The plate in front of the car, each corner up to 1.5 % off the picture's."""
    fine = (px(WIDTH), px(HEIGHT))
    unit = np.float32([(0, 0), (1, 0), (1, 1), (0, 1)])
    target = (unit + rng.uniform(-0.015, 0.015, (4, 2))) * PICTURE
    warp = cv2.getPerspectiveTransform(unit * np.float32(fine), target.astype(np.float32))
    scene = np.where(outline[:, :, None] > 127, plate, np.uint8(body))
    return cv2.warpPerspective(cv2.GaussianBlur(scene, (0, 0), 1), warp, PICTURE,
                               flags=cv2.INTER_LINEAR, borderValue=body.tolist())


def photograph(plate, outline, body, rng):
    """One frame: slightly out of square, unevenly lit, soft and noisy."""
    frame = tilt(plate, outline, body, rng)
    frame = cv2.GaussianBlur(frame, (0, 0), rng.uniform(0.5, 1.2)).astype(np.float32)
    across, down = (np.linspace(-1, 1, n) * rng.uniform(-0.07, 0.07) for n in PICTURE)
    light = rng.uniform(0.72, 1.1) * (1 + across[None, :] + down[:, None])
    tint = rng.uniform(0.95, 1.05, 3)
    noise = rng.normal(0, rng.uniform(2, 5), frame.shape)
    return np.clip(frame * light[:, :, None] * tint + noise, 0, 255).astype(np.uint8)


def write_frame(path, frame, rng):
    quality = int(rng.integers(70, 90))
    ok, data = cv2.imencode(".jpg", cv2.cvtColor(frame, cv2.COLOR_RGB2BGR),
                            [cv2.IMWRITE_JPEG_QUALITY, quality])
    if not ok:
        sys.exit(f"render_samples.py: cannot encode {path}")
    path.write_bytes(data.tobytes())


def render_vehicle(fonts, output, index, vehicle, seed):
    """Writes the frames of one vehicle and returns its rows of the case list."""
    *text, frames = vehicle
    expected = " ".join(text[1:])
    group = f"car{index:02d}"
    plate, outline = draw_plate(fonts, *text)
    body = np.random.default_rng([seed, index]).integers(25, 120, 3)
    rows = []
    for number in range(1, frames + 1):
        rng = np.random.default_rng([seed, index, number])
        path = output / f"{group}_f{number:02d}.jpg"
        write_frame(path, photograph(plate, outline, body, rng), rng)
        rows.append((Path(os.path.relpath(path, ROOT)).as_posix(), expected, group))
    return rows


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", type=Path, default=ROOT / "samples/rendered")
    parser.add_argument("--seed", type=int, default=20250507)
    args = parser.parse_args()
    fonts = load_fonts()
    args.output.mkdir(parents=True, exist_ok=True)
    # A vehicle taken out of the table must not leave its pictures behind.
    for old in args.output.glob("car*_f*.jpg"):
        old.unlink()
    rows = []
    for index, vehicle in enumerate(VEHICLES, 1):
        rows += render_vehicle(fonts, args.output, index, vehicle, args.seed)
    with open(args.output / "rendered_expected.csv", "w", encoding="utf-8", newline="") as f:
        writer = csv.writer(f, lineterminator="\n")
        writer.writerow(("image_path", "expected", "group_id"))
        writer.writerows(rows)


if __name__ == "__main__":
    main()
