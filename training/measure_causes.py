#!/usr/bin/env python3
"""Whether kavrel-report names the stage that fails: one stage is spoiled at a time.

Runs kavrel over a set of street frames (training/render_street.py) as it is, then with a
detector whose boxes lie beside the plate, with corners that are shifted, with a recogniser that
takes every character for another one, and with labels that are spelled otherwise.  Prints of how
many of the frames that fail by it kavrel-report names the spoiled stage, with the set's truth of
boxes and corners and without it.

    training/measure_causes.py                          # samples/street, half an hour on two cores
    training/measure_causes.py --every 6                # every sixth frame of it
    training/measure_causes.py --set DIR --output DIR   # any other set, keeping the runs
    training/measure_causes.py --roi samples/rendered/rendered_expected.csv

With --roi, each picture of the list is a plate, in roi mode: there are neither boxes nor a truth.

Debian packages: python3-onnx python3-numpy
"""
import argparse
import csv
import io
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np
import onnx
from onnx import helper, numpy_helper

import common

ROOT = common.ROOT
DETECTOR, CORNERS, RECOGNISER = "plate_det.onnx", "plate_corner.onnx", "plate_rec.onnx"
# To the right and down, in widths and heights of the box, and of the plate.
BOX_SHIFTS = ((0.3, 0), (0.6, 0), (-0.3, 0), (0, 0.3), (0, -0.3))
CORNER_SHIFTS = ((0.1, 0), (0.2, 0), (-0.1, 0), (0, 0.2), (0, -0.2))


# Networks with another last step

def spoiled(source, target, step, constant):
    """The network with `step` of its output and a constant behind it."""
    model = onnx.load(str(source))
    graph = model.graph
    name = graph.output[0].name
    for node in graph.node:
        node.output[:] = ["unspoiled" if output == name else output for output in node.output]
    graph.node.append(helper.make_node(step, ["unspoiled", "spoiler"], [name], **(
        {"axis": 2} if step == "Gather" else {})))
    graph.initializer.append(numpy_helper.from_array(constant, "spoiler"))
    onnx.checker.check_model(model)
    onnx.save(model, str(target))
    return target


def shifting(size, points, shift, begin, end):
    """The matrix that moves points by shares of the way from point `begin` to point `end`; these are
    places of an x in a row of `size`, behind which its y stands."""
    matrix = np.eye(size, dtype=np.float32)
    for axis, share in enumerate(shift):
        for point in points:
            matrix[begin[axis] + axis, point + axis] -= share
            matrix[end[axis] + axis, point + axis] += share
    return matrix


def shifted_boxes(source, target, shift):
    """Rows are class, score, x1, y1, x2, y2."""
    return spoiled(source, target, "MatMul", shifting(6, (2, 4), shift, (2, 2), (4, 4)))


def shifted_corners(source, target, shift):
    """By shares of the plate's upper and of its left side."""
    return spoiled(source, target, "MatMul", shifting(8, (0, 2, 4, 6), shift, (0, 0), (2, 6)))


def other_classes(source, target):
    """Every character's score goes to the next character; the blank, the first class, stays."""
    classes = onnx.load(str(source)).graph.output[0].type.tensor_type.shape.dim[2].dim_value
    order = np.concatenate(([0], np.roll(np.arange(1, classes), 1)))
    return spoiled(source, target, "Gather", order)


# Runs

def rows_of(text):
    return list(csv.DictReader(io.StringIO(text)))


def respelled(label):
    """As a spreadsheet may have it: full-width digits, and a dash that is no hyphen."""
    wide = str.maketrans("0123456789-", "０１２３４５６７８９－")
    return label.translate(wide)


def save_list(path, rows, spell=str):
    with open(path, "w", encoding="utf-8", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(("image_path", "expected", "group_id"))
        writer.writerows((row["image_path"], spell(row["expected"]), row["group_id"])
                         for row in rows)
    return path


def run(args, case_list, output, **networks):
    """kavrel over the list, unless an earlier measurement has finished it in `output`."""
    if (output / "FINAL_RESULT.json").exists():
        return output
    paths = {name: args.models / name for name in (DETECTOR, CORNERS, RECOGNISER)}
    paths.update({network + ".onnx": path for network, path in networks.items()})
    mode = "roi" if args.roi else "frame"
    command = [args.kavrel, "--input-mode", mode, "--input-list", case_list,
               "--output-dir", output, "--plate-det-model", paths[DETECTOR],
               "--plate-corner-model", paths[CORNERS],
               "--ppocr-det-model", args.models / "plate_text.onnx",
               "--ppocr-rec-model", paths[RECOGNISER],
               "--ocr-dict", ROOT / "dict/plate_rec_dict.txt",
               "--dict-region", ROOT / "dict/region_words.txt"]
    done = subprocess.run(command, capture_output=True, text=True, check=False, cwd=ROOT)
    if done.returncode:
        sys.exit(done.stderr[-500:])
    return output


def spoiled_runs(args, folder, rows):
    """What was spoiled, the causes that name its stage, and the run's output directory."""
    whole = save_list(folder / "list.csv", rows)
    for shift in () if args.roi else BOX_SHIFTS:
        name = "boxes_{}_{}".format(*shift)
        network = shifted_boxes(args.models / DETECTOR, folder / f"{name}.onnx", shift)
        yield (f"boxes shifted by {shift}", {"no-plate", "box-beside"},
               run(args, whole, folder / name, plate_det=network))
    for shift in CORNER_SHIFTS:
        name = "corners_{}_{}".format(*shift)
        network = shifted_corners(args.models / CORNERS, folder / f"{name}.onnx", shift)
        yield (f"corners shifted by {shift}", {"corners"},
               run(args, whole, folder / name, plate_corner=network))
    network = other_classes(args.models / RECOGNISER, folder / "classes.onnx")
    yield ("recogniser of other classes", {"not-read"},
           run(args, whole, folder / "classes", plate_rec=network))
    labels = save_list(folder / "respelled.csv", rows, respelled)
    yield "labels respelled", {"label"}, run(args, labels, folder / "labels")


# Causes

def causes_of(args, output, truth):
    """The cause of every frame that is not correct, by image path."""
    options = ["--truth", args.set / "street_truth.json"] if truth else []
    done = subprocess.run([args.report, "misread", output, *options], capture_output=True,
                          text=True, check=True, cwd=ROOT)
    return {row["image_path"]: row["cause"] for row in rows_of(done.stdout)}


def share_named(causes, wanted, failed_before):
    """Of the frames that only fail by what was spoiled: how many name its stage."""
    fresh = [cause for path, cause in causes.items() if path not in failed_before]
    named = sum(cause in wanted for cause in fresh)
    return f"{named} of {len(fresh)}", f"{100 * named / max(1, len(fresh)):.1f} %"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    add = parser.add_argument
    add("--set", type=Path, default=ROOT / "samples/street", help="folder with street_*")
    add("--roi", type=Path, metavar="LIST", help="a list of pictures that a plate fills")
    add("--kavrel", type=Path, default=ROOT / "build/kavrel")
    add("--report", type=Path, default=ROOT / "build/kavrel-report")
    add("--models", type=Path, default=common.MODELS, help="folder with our networks")
    add("--every", type=int, default=1, help="only every N-th frame")
    add("--output", type=Path, help="keeps networks and runs in this folder, and goes on there")
    args = parser.parse_args()
    case_list = args.roi or args.set / "street_expected.csv"
    rows = rows_of(case_list.read_text(encoding="utf-8"))
    rows = rows[::args.every]
    with tempfile.TemporaryDirectory() as scratch:
        folder = (args.output or Path(scratch)).resolve()
        folder.mkdir(parents=True, exist_ok=True)
        whole = run(args, save_list(folder / "list.csv", rows), folder / "as_it_is")
        kinds = {"without": False} if args.roi else {"with truth": True, "without": False}
        failed_before = set(causes_of(args, whole, truth=not args.roi))
        table = []
        for name, wanted, output in spoiled_runs(args, folder, rows):
            row = [name]
            for truth in kinds.values():
                row += share_named(causes_of(args, output, truth), wanted, failed_before)
            table.append(row)
        columns = ["spoiled"]
        for kind in kinds:
            columns += ["named " + kind, "share"]
        common.print_table(columns, table)


if __name__ == "__main__":
    main()
