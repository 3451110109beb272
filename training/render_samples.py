#!/usr/bin/env python3
"""Draws licence-plate pictures with known text for the rendered sample set.

A folder of real crops carries other people's number plates and cannot travel
with the sources; these drawings can, and their text is certain.  The pictures
are upright plates that fill the frame, so that they can be read on a machine
without the corner network.

Debian packages: python3-pil python3-numpy python3-opencv
                 fonts-motoya-l-maruberi
"""
import argparse
import csv
import os
import sys
from pathlib import Path

import cv2
import numpy as np

from plates import HEIGHT, STYLE_PLAIN, WIDTH, PlateText, draw_plate

ROOT = Path(__file__).resolve().parents[1]

PICTURE = (640, 320)
FINE = 4                 # px per mm: twice as fine, edges settle in the warp

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


def tilt(plate, outline, body, rng):
    """The plate in front of the car, each corner up to 1.5 % off the picture's."""
    fine = (WIDTH * FINE, HEIGHT * FINE)
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


def render_vehicle(output, index, vehicle, seed):
    """Writes the frames of one vehicle and returns its rows of the case list."""
    *fields, frames = vehicle
    text = PlateText(*fields)
    group = f"car{index:02d}"
    plate, outline = draw_plate(text, STYLE_PLAIN, FINE).cut()
    body = np.random.default_rng([seed, index]).integers(25, 120, 3)
    rows = []
    for number in range(1, frames + 1):
        rng = np.random.default_rng([seed, index, number])
        path = output / f"{group}_f{number:02d}.jpg"
        write_frame(path, photograph(plate, outline, body, rng), rng)
        rows.append((Path(os.path.relpath(path, ROOT)).as_posix(), text.expected(), group))
    return rows


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", type=Path, default=ROOT / "samples/rendered")
    parser.add_argument("--seed", type=int, default=20250507)
    args = parser.parse_args()
    args.output.mkdir(parents=True, exist_ok=True)
    # A vehicle taken out of the table must not leave its pictures behind.
    for old in args.output.glob("car*_f*.jpg"):
        old.unlink()
    rows = []
    for index, vehicle in enumerate(VEHICLES, 1):
        rows += render_vehicle(args.output, index, vehicle, args.seed)
    with open(args.output / "rendered_expected.csv", "w", encoding="utf-8", newline="") as f:
        writer = csv.writer(f, lineterminator="\n")
        writer.writerow(("image_path", "expected", "group_id"))
        writer.writerows(rows)


if __name__ == "__main__":
    main()
