#!/usr/bin/env python3
"""Frames of vehicles with known plates by a renderer that no training uses.

Draws a set in the form of samples/street: NAME_expected.csv, NAME_truth.json and JPEG files, into
a new folder. Nothing in it comes from the training's drawings: not the code, the fonts, the
layout nor the backgrounds, so that a network cannot know it by its habits.

    training/render_second.py --output DIR --seed 1 --vehicles 40
"""
import argparse
import csv
import json
import sys
from pathlib import Path

import cv2
import numpy as np

sys.path.insert(0, str(Path(__file__).resolve().parent / "second"))
import frames                                                          # noqa: E402

ROOT = Path(__file__).resolve().parents[1]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    add = parser.add_argument
    add("--output", type=Path, required=True, help="new folder for the set")
    add("--seed", type=int, default=1)
    add("--vehicles", type=int, default=40)
    add("--frames", type=int, default=3, help="pictures of each vehicle")
    add("--wide", action="store_true", help="large pictures with plates of 65 to 200 pixels")
    args = parser.parse_args()
    regions = [line.strip() for line in
               (ROOT / "dict/region_words.txt").read_text(encoding="utf-8").splitlines()
               if line.strip()]
    cv2.setNumThreads(1)
    args.output.mkdir(parents=True)
    truths = []
    for number in range(args.vehicles):
        rng = np.random.default_rng((args.seed, number))
        for truth in frames.vehicle_frames(args.output, number + 1, args.frames, regions,
                                           args.wide, rng):
            truths.append(truth)
    with open(args.output / "street_expected.csv", "w", encoding="utf-8", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(("image_path", "expected", "group_id"))
        writer.writerows((truth["image_path"], truth["expected"], truth["group_id"])
                         for truth in truths)
    lines = ",\n".join(json.dumps(truth, ensure_ascii=False) for truth in truths)
    (args.output / "street_truth.json").write_text(f"[\n{lines}\n]\n", encoding="utf-8")


if __name__ == "__main__":
    main()
