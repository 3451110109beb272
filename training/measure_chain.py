#!/usr/bin/env python3
"""Where kavrel's chain loses plates: the same frames, one answer after another made true.

Runs kavrel over a set of street frames (training/render_street.py) as it is, then with the
detector's boxes, the corners and the text lines replaced by what the renderer knows, and
prints for each how many frames and vehicles are right, field by field.  A stage's loss is
what its truth gains.  Before that: how many boxes lie on their plate, and how far corners are
from theirs.  Known corners and lines come as networks that give the same answer
for every picture: rectified plates all have them in the same places.

    training/measure_chain.py                          # samples/street
    training/measure_chain.py --set DIR --output DIR   # any other set, keeping the runs

Debian packages: python3-onnx python3-opencv python3-numpy
"""
import argparse
import csv
import itertools
import json
import subprocess
import sys
import tempfile
from pathlib import Path

import cv2
import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

import common
import runtime

ROOT = common.ROOT
MARGIN = 0.135                # around the plate, as the detector boxes it
PLATE = (320, 96)             # pixels of the rectified plate
TEXT_MAP = 640                # side of the text detector's map
# Where a medium plate has its two rows: left, top, right, bottom in parts of the plate.
TEXT_LINES = ((0.12, 0.10, 0.88, 0.33), (0.05, 0.45, 0.95, 0.90))
LEAST_SCORE, ON_PLATE = 0.25, 0.5
FIELDS = ("region", "class_no", "kana", "serial")


# Networks that always say the same

def save_constant(path, size, answer):
    """An ONNX file that takes a picture of `size` and gives `answer` whatever it shows."""
    nodes = [helper.make_node("ReduceMax", ["image"], ["brightest"], keepdims=0),
             helper.make_node("Mul", ["brightest", "zero"], ["nothing"]),
             helper.make_node("Add", ["answer", "nothing"], ["output"])]
    constants = [numpy_helper.from_array(np.float32(0), "zero"),
                 numpy_helper.from_array(np.float32(answer), "answer")]
    graph = helper.make_graph(
        nodes, "constant",
        [helper.make_tensor_value_info("image", TensorProto.FLOAT, (1, 3, size[1], size[0]))],
        [helper.make_tensor_value_info("output", TensorProto.FLOAT, answer.shape)], constants)
    model = helper.make_model(graph, opset_imports=[helper.make_opsetid("", 11)], ir_version=7)
    onnx.checker.check_model(model)
    onnx.save(model, str(path))
    return path


def whole_picture(folder):
    corners = np.float32([(0, 0, 1, 0, 1, 1, 0, 1)])
    return save_constant(folder / "whole_picture.onnx", (256, 128), corners)


def known_lines(folder):
    answer = np.zeros((1, 1, TEXT_MAP, TEXT_MAP))
    for left, top, right, bottom in np.rint(np.array(TEXT_LINES) * TEXT_MAP).astype(int):
        answer[:, :, top:bottom, left:right] = 1
    return save_constant(folder / "known_lines.onnx", (TEXT_MAP, TEXT_MAP), answer)


# Pictures with what the renderer knows

def boxed(image, truth):
    """The plate as a detector without faults cuts it out, and its corners there."""
    low, high = np.reshape(truth["box"], (2, 2))
    spare = MARGIN * (high - low)
    size = np.array(image.shape[1::-1])
    low = np.clip(np.floor(low - spare), 0, size - 1).astype(int)
    high = np.clip(np.ceil(high + spare), 0, size - 1).astype(int) + 1
    return image[low[1]:high[1], low[0]:high[0]], np.float32(truth["corners"] - low)


def rectified(image, truth):
    crop, corners = boxed(image, truth)
    width, height = PLATE
    upright = np.float32([(0, 0), (width - 1, 0), (width - 1, height - 1), (0, height - 1)])
    warp = cv2.getPerspectiveTransform(corners, upright)
    return cv2.warpPerspective(crop, warp, PLATE, flags=cv2.INTER_LINEAR,
                               borderMode=cv2.BORDER_REPLICATE)


def save_pictures(folder, rows, truths, cut):
    """Every frame's picture after `cut`, and the case list that names them."""
    folder.mkdir()
    listed = []
    for row in rows:
        path = folder / (Path(row["image_path"]).stem + ".png")
        cv2.imwrite(str(path), cut(cv2.imread(row["image_path"]), truths[row["image_path"]]))
        listed.append((path, row["expected"], row["group_id"]))
    return save_list(folder / "list.csv", listed)


def save_list(path, listed):
    with open(path, "w", encoding="utf-8", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(("image_path", "expected", "group_id"))
        writer.writerows(listed)
    return path


# Runs

def rows_of(path):
    with open(path, encoding="utf-8", newline="") as file:
        return list(csv.DictReader(file))


def run(args, mode, case_list, output, corner_model, text_model):
    """kavrel over the list; the frames' rows and the groups' rows."""
    models = args.models
    command = [args.kavrel, "--input-mode", mode, "--input-list", case_list, "--output-dir", output,
               "--plate-det-model", models / "plate_det.onnx",
               "--plate-corner-model", corner_model, "--ppocr-det-model", text_model,
               "--ppocr-rec-model", models / "plate_rec.onnx",
               "--ocr-dict", ROOT / "dict/plate_rec_dict.txt",
               "--dict-region", ROOT / "dict/region_words.txt"]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode:
        sys.exit(done.stderr[-500:])
    return rows_of(output / "frame_summary.csv"), rows_of(output / "summary.csv")


def stages(args, folder, rows, truths):
    """Name and kavrel's rows of every run, from the whole chain to the recogniser alone."""
    corner_model, text_model = args.models / "plate_corner.onnx", args.text_model
    listed = [(row["image_path"], row["expected"], row["group_id"]) for row in rows]
    whole = save_list(folder / "list.csv", listed)
    yield "all networks", run(args, "frame", whole, folder / "all", corner_model,
                              text_model)
    boxes = save_pictures(folder / "boxed", rows, truths, lambda *known: boxed(*known)[0])
    yield "true boxes", run(args, "roi", boxes, folder / "boxes", corner_model, text_model)
    upright = save_pictures(folder / "rectified", rows, truths, rectified)
    corner_model = whole_picture(folder)
    yield "and true corners", run(args, "roi", upright, folder / "corners", corner_model,
                                  text_model)
    yield "and true text lines", run(args, "roi", upright, folder / "lines", corner_model,
                                     known_lines(folder))


# Boxes and corners against the truth

def overlap(one, other):
    """Intersection over union of two boxes."""
    low, high = np.maximum(one[:2], other[:2]), np.minimum(one[2:], other[2:])
    shared = np.prod(np.maximum(high - low, 0))
    return shared / (sum(np.prod(box[2:] - box[:2]) for box in (one, other)) - shared)


def clear_box(truth, picture):
    """The plate's box with the margin that the detector is to leave around it."""
    crop, _ = boxed(picture, truth)
    low = np.reshape(truth["box"], (2, 2))[0]
    spare = MARGIN * (np.reshape(truth["box"], (2, 2))[1] - low)
    start = np.clip(np.floor(low - spare), 0, None)
    return np.concatenate((start, start + crop.shape[1::-1]))


def corner_error(network, crop, known):
    """Mean distance of the four corners in % of the plate's width."""
    width = (np.linalg.norm(known[1] - known[0]) + np.linalg.norm(known[2] - known[3])) / 2
    return 100 * np.linalg.norm(runtime.corners(network, crop) - known, axis=1).mean() / width


def places(args, rows, truths):
    """Of every frame: whether the best box lies on the plate, how well, and the corners' error."""
    library = args.kavrel.parent / "host_runtime/librknnrt.so"
    detector, corner = (runtime.Network(args.models / name, library)
                        for name in ("plate_det.onnx", "plate_corner.onnx"))
    for row in rows:
        truth, picture = truths[row["image_path"]], cv2.imread(row["image_path"])
        crop, known = boxed(picture, truth)
        found = {"true box": corner_error(corner, crop, known)}
        best = runtime.boxes(detector, picture)[:1]
        if best and best[0][0] >= LEAST_SCORE:
            box = best[0][1].astype(int)
            found["overlap"] = overlap(best[0][1], clear_box(truth, picture))
            if found["overlap"] > ON_PLATE:
                cut = picture[box[1]:box[3] + 1, box[0]:box[2] + 1]
                found["own box"] = corner_error(corner, cut, truth["corners"] - box[:2])
        yield found


def print_places(found):
    overlaps = np.array([one.get("overlap", -1) for one in found])
    print("\nboxes\n")
    common.print_table(
        ("frames", "with a box", f"best one on the plate (IoU > {ON_PLATE})", "mean IoU of these"),
        [(len(found), sum(overlaps >= 0), sum(overlaps > ON_PLATE),
          f"{overlaps[overlaps > ON_PLATE].mean():.3f}" if (overlaps > ON_PLATE).any() else "")])
    print("\ncorners, in % of the plate's width\n")
    table = []
    for name in ("true box", "own box"):
        errors = [one[name] for one in found if name in one]
        if errors:
            table.append((name, len(errors), f"{np.mean(errors):.2f}",
                          *(f"{np.percentile(errors, part):.2f}" for part in (50, 95))))
    common.print_table(("cut by", "frames", "mean", "median", "95 %"), table)


# Tables

def in_hiragana(row):
    """つくば, なにわ and their like bring kana of their own into the vote over the kana."""
    return all("ぁ" <= char <= "ゖ" for char in row["expected"].split()[0])


def shares(rows):
    """How many rows are right: in all, then field by field."""
    right = sum(row["status"] == "correct" for row in rows)
    hits = [np.mean([row[field] == row["expected"].split()[place] for row in rows])
            for place, field in enumerate(FIELDS)]
    return [f"{right} of {len(rows)}", *(f"{100 * share:.1f} %" for share in hits)]


def print_table(title, results):
    if results and all(rows for _, rows in results):
        print(f"\n{title}\n")
        common.print_table(("run", "right", *FIELDS),
                           [[name, *shares(rows)] for name, rows in results])


def print_tables(results):
    for title, place in (("frames", 0), ("vehicles", 1)):
        every = [(name, rows[place]) for name, rows in results]
        print_table(title, every)
        print_table(f"of these {title}, those with a region in hiragana",
                    [(name, list(filter(in_hiragana, rows))) for name, rows in every])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    add = parser.add_argument
    add("--set", type=Path, default=ROOT / "samples/street", help="folder with street_*.csv")
    add("--kavrel", type=Path, default=ROOT / "build/kavrel")
    add("--models", type=Path, default=common.MODELS, help="folder with our networks")
    add("--text-model", type=Path, default=common.MODELS / "plate_text.onnx")
    add("--stages", type=int, default=4, help="how many of the runs, 0 for boxes and corners only")
    add("--output", type=Path, help="keeps lists, pictures and runs in this new folder")
    args = parser.parse_args()
    rows = rows_of(args.set / "street_expected.csv")
    truths = {truth["image_path"]: truth for truth in
              json.loads((args.set / "street_truth.json").read_text(encoding="utf-8"))}
    with tempfile.TemporaryDirectory() as scratch:
        folder = args.output or Path(scratch)
        folder.mkdir(parents=True, exist_ok=True)
        print_places(list(places(args, rows, truths)))
        print_tables(list(itertools.islice(stages(args, folder, rows, truths), args.stages)))


if __name__ == "__main__":
    main()
