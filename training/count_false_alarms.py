#!/usr/bin/env python3
"""How often the plate detector sees a plate where there is none: free photographs without plates.

Fetches Debian packages with photographs (training/second/packages.py), feeds the detector every
photograph as kavrel does, and counts the pictures in which its best row scores 0.25 or more.
Photographs of 2,000 pixels and more are also cut into crops that do not overlap; whole
photographs, crops and frames of a film are counted apart.

    training/count_false_alarms.py --list      # and name the pictures with a box

Debian packages: python3-opencv python3-numpy
"""
import argparse
import sys
from pathlib import Path

import cv2

import common
import runtime

sys.path.insert(0, str(Path(__file__).resolve().parent / "second"))
import packages                                                        # noqa: E402

CROP = (900, 675)                      # pixels; smaller than this a crop is hardly a frame
FILM_STEP = 40                         # frames of a film from one that is taken to the next


def crops(picture):
    """Parts that do not overlap, each about as large as CROP."""
    rows, columns = picture.shape[:2]
    across, down = max(1, columns // CROP[0]), max(1, rows // CROP[1])
    for row in range(down):
        for column in range(across):
            yield picture[row * rows // down:(row + 1) * rows // down,
                          column * columns // across:(column + 1) * columns // across]


def film(path):
    """Some frames of a film."""
    source = cv2.VideoCapture(str(path))
    number = 0
    while True:
        going, picture = source.read()
        if not going:
            return
        if number % FILM_STEP == 0:
            yield picture
        number += 1


def pictures():
    """Kind, name and pixels of every picture."""
    for path in packages.without_plates():
        if path.suffix == ".avi":
            for number, picture in enumerate(film(path)):
                yield "frames of films", f"{path.name} {number}", picture
            continue
        picture = cv2.imread(str(path))
        yield "whole photographs", path.name, picture
        if picture.shape[1] >= 2000:
            for number, crop in enumerate(crops(picture)):
                yield "crops of these", f"{path.name} {number}", crop


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    add = parser.add_argument
    add("--detector", type=Path, default=common.MODELS / "plate_det.onnx")
    add("--runtime", type=Path, default=runtime.LIBRARY)
    add("--least-score", type=float, default=0.25)
    add("--list", action="store_true", help="name every picture with a box")
    args = parser.parse_args()
    detector = runtime.Network(args.detector, args.runtime)
    counts = {}
    for kind, name, picture in pictures():
        best = runtime.boxes(detector, picture)[:1]
        alarm = bool(best) and best[0][0] >= args.least_score
        seen, alarms = counts.get(kind, (0, 0))
        counts[kind] = seen + 1, alarms + alarm
        if alarm and args.list:
            print(f"{best[0][0]:.2f} {name} {best[0][1].astype(int).tolist()}")
    counts["all"] = tuple(map(sum, zip(*counts.values())))
    common.print_table(("pictures", "how many", "with a box", "without"),
                       [(kind, seen, alarms, f"{100 * (1 - alarms / seen):.1f} %")
                        for kind, (seen, alarms) in counts.items()])


if __name__ == "__main__":
    main()
