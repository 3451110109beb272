#!/usr/bin/env python3
"""Renders street frames with known text: vehicles that approach a camera.

Each vehicle is one group of frames: the same camera, light and plate, the
vehicle nearer from frame to frame.  Beside the pictures come

  street_expected.csv      image_path,expected,group_id,hard - the case list
  street_hard.csv          the frames of it that are hard on purpose
  street_out_of_reach.csv  vehicles whose serial has one or two digits: the
                           plate parser takes no shorter run than three
  street_truth.json        per picture: text, lettering, light, box, corners

Another seed gives another set of the same make-up.

Debian packages: those of training/plates.py
"""
import argparse
import csv
import json
import os
import sys
from dataclasses import asdict, dataclass, replace
from pathlib import Path

import cv2
import numpy as np

import plates
import scenes
from plates import PlateText, pick
from vehicles import random_vehicle

ROOT = Path(__file__).resolve().parents[1]

PX_PER_MM = 2.0
HEADER = ("image_path", "expected", "group_id", "hard")

# Regions that every set has: kana of their own, one character, three and four.
SURE_REGIONS = ("つくば", "なにわ", "いわき", "とちぎ", "柏", "堺", "名古屋", "袖ヶ浦",
                "春日部", "尾張小牧", "伊勢志摩", "北九州")
SHORT_SERIALS = 7            # vehicles with three digits and a dot
HELD_OUT_EVERY = 4           # each fourth vehicle is lettered with fonts no training saw
HARD_FRAMES = 5


@dataclass(frozen=True)
class Setting:
    """What a set is like: ranges of the plate's share of the width, of the camera's losses."""
    far: tuple
    near: tuple
    strength: tuple
    night: float
    wet: float
    yaw: tuple
    styles: tuple = None     # None: mixed
    width: int = 960

    @property
    def size(self):
        return self.width, self.width * 9 // 16


STREET = Setting((0.10, 0.14), (0.24, 0.45), (0.1, 0.5), 0.2, 0.12, (0, 22))
HARD = Setting((0.06, 0.075), (0.095, 0.12), (0.4, 0.75), 0.5, 0.5, (18, 28),
               plates.STYLES_HELD_OUT, 1280)


# Texts

def kind_for(kana, used):
    """The kind with the fewest vehicles so far, of those that carry this kana."""
    fitting = [name for name, kind in plates.KINDS.items() if kana in kind.kana]
    kind = min(fitting, key=lambda name: (used.count(name), len(plates.KINDS[name].kana)))
    used.append(kind)
    return kind


def vehicle_texts(rng):
    """One vehicle for every kana, in any order."""
    kana = rng.permutation(list(plates.PLATE_KANA))
    others = [r for r in plates.load_regions() if r not in SURE_REGIONS]
    regions = list(SURE_REGIONS) + rng.permutation(others)[:len(kana)].tolist()
    regions = rng.permutation(regions[:len(kana)])
    short = set(rng.permutation(len(kana))[:SHORT_SERIALS].tolist())
    texts, used = [], []
    for i, (character, region) in enumerate(zip(kana.tolist(), regions.tolist())):
        kind = kind_for(character, used)
        number = plates.random_class(rng, plates.KINDS[kind], 0, False)
        serial = plates.random_serial(rng, (0, 0, 1 if i in short else 0))
        texts.append(PlateText(kind, region, number, character, serial))
    return texts


def out_of_reach_texts(rng):
    texts = []
    for kind, digits in (("private", (1, 0, 0)), ("kei", (0, 1, 0))):
        text = plates.random_plate_text(rng, plates.load_regions(), (kind,), 0, 0, digits)
        texts.append(text)
    return texts


# One vehicle

def random_yaw(rng, setting):
    return pick(rng, (-1, 1)) * rng.uniform(*setting.yaw)


def shares(rng, setting, count):
    """Shares of the frame's width, as a vehicle at even speed would not quite have them."""
    steps = np.linspace(0, 1, count) + rng.uniform(-0.05, 0.05, count)
    far, near = (np.log(rng.uniform(*part)) for part in (setting.far, setting.near))
    return np.exp(far + np.clip(steps, 0, 1) * (near - far))


def in_sight(parked, size):
    """The whole plate within the frame, a little from its border."""
    corners = scenes.corners_of(parked.plate.homography())
    return (corners > 8).all() and (corners < np.array(size) - 8).all()


def drive_past(rng, camera, vehicle, setting, count):
    """The vehicle's places, far to near, on a straight line; hangs up the camera too."""
    wanted = shares(rng, setting, count)
    column, row = scenes.random_place(rng, setting.size, wanted[-1])
    place = camera.ray(column, row) * camera.depth(wanted[-1])
    camera.height = vehicle.plate_height + camera.height_over(place)
    start, yaw = rng.uniform(0.15, 0.85) * setting.width, random_yaw(rng, setting)
    # A straight line is straight in the picture too, evenly over 1 / depth.
    ways = (wanted - wanted[0]) / (wanted[-1] - wanted[0])
    return [scenes.park(camera, vehicle,
                        camera.on_road(start + way * (column - start), share,
                                       camera.height - vehicle.plate_height),
                        yaw + rng.normal(0, 1)) for way, share in zip(ways, wanted)]


def approach(rng, setting, count):
    """A camera on a level road and a vehicle that shows it its whole plate all the time."""
    while True:
        vehicle, camera = random_vehicle(rng), scenes.random_camera(rng, setting.size, True)
        drive = drive_past(rng, camera, vehicle, setting, count)
        if (scenes.LEAST_EYE < camera.height < scenes.MOST_EYE
                and all(in_sight(parked, setting.size) for parked in drive)):
            return camera, drive


def camera_losses(image, rng, strength, wet, hard):
    if hard:
        return plates.degrade(image, rng, rng.uniform(0.85, 1.0), night=False,
                              wet=bool(rng.random() < 0.5))
    return plates.degrade(image, rng, strength, night=False, wet=wet)


def write_picture(path, image, rng):
    quality = [cv2.IMWRITE_JPEG_QUALITY, int(rng.integers(72, 86))]
    if not cv2.imwrite(str(path), cv2.cvtColor(image, cv2.COLOR_RGB2BGR), quality):
        sys.exit(f"render_street.py: cannot write {path}")


def relative(path):
    return Path(os.path.relpath(path, ROOT)).as_posix()


def from_middles(places):
    """Places in px with 0 in the middle of the first pixel; the scene counts from its edge."""
    return (places - 0.5).round(2).tolist()


def render_vehicle(output, group, text, style, setting, rng, with_hard_frame):
    """Writes the frames of one vehicle and returns what is known about each."""
    count = int(rng.integers(3, 6))
    camera, drive = approach(rng, setting, count)
    light = scenes.random_light(rng, rng.random() < setting.night)
    wet, strength = bool(rng.random() < setting.wet), rng.uniform(*setting.strength)
    street = scenes.level_street(rng, camera)
    plate, mask = plates.draw_plate(text, style, PX_PER_MM, rng).cut()
    hard_frame = int(rng.integers(count)) if with_hard_frame else None
    known = {"expected": text.expected(), "group_id": group, **asdict(text),
             "lettering": style.name,
             "held_out_fonts": style in plates.STYLES_HELD_OUT, "night": light.night, "wet": wet}
    records = []
    for number, parked in enumerate(drive):
        image = scenes.draw_scene(rng, camera, [parked], light, street)
        scenes.mount(image, parked, plate, mask, light, rng)
        hard = number == hard_frame
        path = output / f"{group}_f{number + 1:02d}.jpg"
        write_picture(path, camera_losses(image, rng, strength, wet, hard), rng)
        truth = scenes.truth_of(text, parked.plate.homography(), setting.size)
        records.append({"image_path": relative(path), **known, "hard": int(hard),
                        "box": from_middles(truth["box"]),
                        "corners": from_middles(truth["corners"])})
    return records


# The set

def style_for(rng, setting, index):
    if setting.styles:
        return pick(rng, setting.styles)
    return pick(rng, plates.STYLES_HELD_OUT if index % HELD_OUT_EVERY == 0
                else plates.STYLES_TRAIN)


def render_vehicles(output, texts, setting, seed, hard_vehicles=()):
    records = []
    for index, text in texts:
        rng = np.random.default_rng([seed, index])
        style = style_for(rng, setting, index)
        records += render_vehicle(output, f"car{index:02d}", text, style, setting, rng,
                                  index in hard_vehicles)
    return records


def write_list(path, records):
    with open(path, "w", encoding="utf-8", newline="") as file:
        writer = csv.DictWriter(file, HEADER, extrasaction="ignore", lineterminator="\n")
        writer.writeheader()
        writer.writerows(records)


def write_truth(path, records):
    lines = ",\n".join(json.dumps(record, ensure_ascii=False) for record in records)
    path.write_text(f"[\n{lines}\n]\n", encoding="utf-8")


def render_set(output, seed, setting, hard_frames):
    output.mkdir(parents=True, exist_ok=True)
    # A vehicle taken out of the set must not leave its pictures behind.
    for old in output.glob("car*_f*.jpg"):
        old.unlink()
    rng = np.random.default_rng(seed)
    texts = list(enumerate(vehicle_texts(rng), 1))
    hard_vehicles = set((rng.permutation(len(texts))[:hard_frames] + 1).tolist())
    readable = render_vehicles(output, texts, setting, seed, hard_vehicles)
    beyond = list(enumerate(out_of_reach_texts(rng), len(texts) + 1))
    unreadable = render_vehicles(output, beyond, setting, seed)
    write_list(output / "street_expected.csv", readable)
    write_list(output / "street_hard.csv", [r for r in readable if r["hard"]])
    write_list(output / "street_out_of_reach.csv", unreadable)
    write_truth(output / "street_truth.json", readable + unreadable)
    return len(texts) + len(beyond), len(readable + unreadable)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", type=Path, default=ROOT / "samples/street")
    parser.add_argument("--seed", type=int, default=20250611)
    parser.add_argument("--hard", action="store_true",
                        help="small plates, night, rain, yaw, fonts that no training saw")
    parser.add_argument("--width", type=int, help="of the frames, px; they are 16 to 9")
    args = parser.parse_args()
    plates.require_fonts()
    cv2.setNumThreads(1)
    setting, hard_frames = (HARD, 0) if args.hard else (STREET, HARD_FRAMES)
    setting = replace(setting, width=args.width or setting.width)
    vehicles, frames = render_set(args.output, args.seed, setting, hard_frames)
    print(f"{args.output}: {vehicles} vehicles, {frames} frames")


if __name__ == "__main__":
    main()
