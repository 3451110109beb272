#!/usr/bin/python3
"""The tables of what 16 and 8 bits cost, for bench/precision.sh.

    bench/precision.py DIR [--parts 8] [--jobs 2]

DIR/hard and DIR/second are sets of frames, DIR/networks has our networks and DIR/public the public
ones, each by form. The vehicles are dealt into eight parts. The rows that answer for the whole chain and
for the recogniser are read over all of them, the others over the first one, unless --parts names a
number for all rows. Runs are kept in DIR/runs under a hash of their networks and their list, so that a
call goes on where one before it ended.
"""
import argparse
import collections
import concurrent.futures
import csv
import functools
import hashlib
import itertools
import json
import os
import shutil
import subprocess
import sys
from pathlib import Path
from types import SimpleNamespace

import numpy as np

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "training"))
import measure_chain                                                   # noqa: E402
from common import print_table                                         # noqa: E402

FORMS = {"float16": "float16", "mixed": "mixed", "int8": "int8",
         "int8-percentile": "int8, ranges by percentile", "int8-kl": "int8, ranges by KL"}
PRECISIONS = ("float16", "mixed", "int8")
NETWORKS = {"plate_det": "detector", "plate_corner": "corners", "plate_text": "text detector",
            "plate_rec": "recogniser"}
OPTIONS = {"plate_det": "--plate-det-model", "plate_corner": "--plate-corner-model",
           "plate_text": "--ppocr-det-model", "plate_rec": "--ppocr-rec-model"}
PUBLIC = {"plate_text": "ppocr_det.onnx", "plate_rec": "ppocr_rec.onnx"}
WITH_PLACES = ("street", "hard", "second")
UPRIGHT = "rendered"                   # each picture is a plate
PARTS = 8
EVERY = 4                              # frame is enough for boxes and corners
READING = "_det_crop_"                 # of a line that the text detector has found

Row = collections.namedtuple("Row", "title forms sets parts")
Run = collections.namedtuple("Run", "files case_list output")


# Lists

def rows_of(path):
    with open(path, encoding="utf-8", newline="") as file:
        return list(csv.DictReader(file))


def set_list(folder, name):
    home = ROOT / "samples" / name if name in ("street", UPRIGHT) else folder / name
    return home / f"{'rendered' if name == UPRIGHT else 'street'}_expected.csv"


def part_list(folder, sets, part):
    """The list of every eighth vehicle of these sets, beginning with that of `part`."""
    path = folder / "lists" / f"{'_'.join(sets)}_{part}_of_{PARTS}.csv"
    listed = []
    for name in sets:
        rows = rows_of(set_list(folder, name))
        vehicles = list(dict.fromkeys(row["group_id"] for row in rows))[part::PARTS]
        listed += [(row["image_path"], row["expected"], f"{name} {row['group_id']}")
                   for row in rows if row["group_id"] in vehicles]
    path.parent.mkdir(exist_ok=True)
    return measure_chain.save_list(path, listed)


# Runs

def network_files(folder, forms):
    """The four networks, in float32 where `forms` names no other."""
    return {name: (folder / "networks" / forms[name] if name in forms else
                   ROOT / "models/reference") / f"{name}.onnx" for name in NETWORKS}


def public_files(folder, forms):
    """The same with the public text networks."""
    files = network_files(folder, {})
    for name, public in PUBLIC.items():
        files[name] = (folder / "public" / forms[name] if name in forms else
                       ROOT / "models/host") / public
    return files


@functools.lru_cache(maxsize=None)
def digest_of(path):
    return hashlib.sha256(path.read_bytes()).digest()


def planned(folder, files, sets, part):
    files, case_list = dict(files), part_list(folder, sets, part)
    if sets == (UPRIGHT,):
        files.pop("plate_det")
    digests = b"".join(map(digest_of, [*files.values(), case_list]))
    return Run(files, case_list, folder / "runs" / hashlib.sha256(digests).hexdigest()[:16])


def is_done(run):
    return (run.output / "FINAL_RESULT.json").exists()


def dictionary_of(files):
    is_ours = files["plate_rec"].name == "plate_rec.onnx"
    return ROOT / ("dict/plate_rec_dict.txt" if is_ours else "models/host/ppocr_rec_dict.txt")


def make(run):
    """kavrel over the list."""
    if is_done(run):
        return
    networks = [word for name, path in run.files.items() for word in (OPTIONS[name], path)]
    part = run.output.with_suffix(".part")
    done = subprocess.run(
        [ROOT / "build/kavrel", "--input-mode", "frame" if "plate_det" in run.files else "roi",
         *networks, "--ocr-dict", dictionary_of(run.files), "--input-list", run.case_list,
         "--output-dir", part],
        cwd=ROOT, env={**os.environ, "KAVREL_HOST_THREADS": "1"}, check=False,
        capture_output=True, text=True)
    if done.returncode:
        raise RuntimeError(f"kavrel ended with {done.returncode}: {done.stderr[-300:]}")
    shutil.rmtree(part / "cases")
    part.rename(run.output)


# Rows

def our_rows():
    every, sets = list(NETWORKS), (WITH_PLACES, (UPRIGHT,))
    yield Row("all in float32", {}, sets, PARTS)
    for precision in PRECISIONS:
        yield Row(f"all in {precision}", dict.fromkeys(every, precision), sets, PARTS)
    yield Row("all but the recogniser in int8", dict.fromkeys(every[:3], "int8"), sets, PARTS)
    for name in reversed(every):
        for precision in PRECISIONS:
            is_lossy = name == "plate_rec" and precision != "float16"
            yield Row(f"{NETWORKS[name]} in {precision}", {name: precision}, sets,
                      PARTS if is_lossy else 1)
    for form in ("int8-percentile", "int8-kl"):
        yield Row(f"all in {FORMS[form]}", dict.fromkeys(every, form), sets, 1)


def public_rows():
    sets = ((UPRIGHT,),)
    yield Row("both in float32", {}, sets, PARTS)
    for precision in PRECISIONS:
        yield Row(f"both in {precision}", dict.fromkeys(PUBLIC, precision), sets, PARTS)
    for name in PUBLIC:
        yield Row(f"{NETWORKS[name]} in int8", {name: "int8"}, sets, PARTS)


def runs_of(folder, row, files_of, part):
    return [planned(folder, files_of(folder, row.forms), sets, part) for sets in row.sets]


def whole_parts(folder, row, files_of):
    """The runs of the row's first parts, as far as they are done."""
    if not all(path.exists() for path in files_of(folder, row.forms).values()):
        return []
    parts = (runs_of(folder, row, files_of, part) for part in range(PARTS))
    return list(itertools.takewhile(lambda runs: all(map(is_done, runs)), parts))


def make_runs(folder, tables, parts, jobs):
    """kavrel over all that the rows need, those over most parts first."""
    rows = sorted(((parts or row.parts, row, files_of) for rows, files_of in tables for row in rows),
                  key=lambda one: -one[0])
    runs = {run.output: run for count, row, files_of in rows for part in range(count)
            for run in runs_of(folder, row, files_of, part)}
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        list(pool.map(make, runs.values()))


# Figures

def right(rows):
    return sum(row["status"] == "correct" for row in rows)


def of_set(name, runs, file):
    return [row for run in runs for row in rows_of(run.output / file)
            if row["group_id"].startswith(name + " ")]


def lines_exact(runs):
    """The share of the lines that the text detector found that are read as they stand there."""
    found = exact = 0
    for run in runs:
        for row in rows_of(run.output / "frame_summary.csv"):
            region, number, kana, serial = row["expected"].split()
            lines = {region + number, kana + serial.rjust(4, "・")}
            for reading in row["ocr_texts"].split(" / "):
                source, _, text = reading.partition(":")
                found += READING in source
                exact += READING in source and text in lines
    return 100 * exact / found


def find_places(folder, models):
    """Of every fourth frame: whether its box lies on the plate, how well, and the corners' error."""
    args, found = SimpleNamespace(kavrel=ROOT / "build/kavrel", models=models), []
    for case_list in (set_list(folder, name) for name in WITH_PLACES):
        truths = json.loads((case_list.parent / "street_truth.json").read_text("utf-8"))
        found += measure_chain.places(args, rows_of(case_list)[::EVERY], {
            truth["image_path"]: truth for truth in truths})
    return [{name: float(value) for name, value in one.items()} for one in found]


def places(folder, form):
    """What find_places() says of these networks, kept under a hash of them."""
    models = folder / "networks" / form if form else ROOT / "models/reference"
    data = b"".join((models / f"{name}.onnx").read_bytes() for name in ("plate_det", "plate_corner"))
    kept = folder / "places" / f"{hashlib.sha256(data).hexdigest()[:16]}.json"
    if not kept.exists():
        kept.parent.mkdir(exist_ok=True)
        kept.write_text(json.dumps(find_places(folder, models)))
    return json.loads(kept.read_text())


# Tables

def print_networks(folder):
    """By which one can tell whether the tables are of the networks of today."""
    print("Of", ", ".join(f"{path.name} {digest_of(path).hex()[:8]}"
                          for path in network_files(folder, {}).values()) + ".\n")


def count_cells(parts):
    """Right vehicles and frames of each set and of all, and how many there are."""
    runs = [run for part in parts for run in part]
    cells, total = {}, np.zeros(4, int)
    for name in (*WITH_PLACES, UPRIGHT):
        groups, frames = (of_set(name, runs, file) for file in ("summary.csv", "frame_summary.csv"))
        if groups:
            cells[name] = f"{right(groups)} / {right(frames)}"
            total += right(groups), right(frames), len(groups), len(frames)
    return cells, total


def losses(parts, others):
    """Frames that are right in `parts` and not in `others`, and the other way round."""
    first, second = ([row["status"] == "correct" for part in both for run in part
                      for row in rows_of(run.output / "frame_summary.csv")]
                     for both in (parts, others))
    return (sum(one and not other for one, other in zip(first, second)),
            sum(other and not one for one, other in zip(first, second)))


def print_counts(folder, first, rows, files_of):
    """A table for each number of parts; its first row is that of the float networks."""
    by_count = {}
    base = whole_parts(folder, rows[0], files_of)
    for row in rows:
        parts = whole_parts(folder, row, files_of)
        if parts:
            by_count.setdefault(len(parts), []).append((row.title, parts))
    for count, found in sorted(by_count.items(), reverse=True):
        if found[0][0] != rows[0].title:
            found.insert(0, (rows[0].title, base[:count]))
        print_count_table(first, found)


def print_count_table(first, found):
    base_cells, base = count_cells(found[0][1])
    table = []
    for title, parts in found:
        cells, total = count_cells(parts)
        points = [100 * (total[place] - base[place]) / base[place + 2] for place in (0, 1)]
        lost, won = losses(found[0][1], parts)
        table.append((title, *cells.values(), f"{total[0]} / {total[1]}",
                      *(f"{point:+.1f}" for point in points), f"{lost} / {won}"))
    print_table((first, *base_cells, f"of {base[2]} / {base[3]}", "points of vehicles",
                 "points of frames", "frames lost / won"), table)
    print()


def print_own(folder, rows):
    """Each network's own task, by form."""
    parts = {row.title: whole_parts(folder, row, network_files)[:1] for row in rows}

    def exact(title):
        return f"{lines_exact(parts[title][0]):.1f}" if parts.get(title) else ""

    table = []
    for form in (None, *FORMS):
        if form and not (folder / "networks" / form).is_dir():
            continue
        found, title = places(folder, form), FORMS.get(form, "float32")
        overlaps = np.array([one.get("overlap", 0) for one in found])
        on_plate = overlaps > measure_chain.ON_PLATE
        overlap = f"{overlaps[on_plate].mean():.3f}" if on_plate.any() else ""
        table.append((title, f"{on_plate.sum()} of {len(found)}", overlap,
                      f"{np.mean([one['true box'] for one in found]):.2f}",
                      *(exact(f"{who} in {title}") for who in ("text detector", "recogniser", "all"))))
    print_table(("", "boxes on the plate", "mean IoU of these", "corners off, % of the plate's width",
                 "lines exact, %: text detector alone", "recogniser alone", "all"), table)
    print()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=Path)
    parser.add_argument("--parts", type=int, choices=range(1, PARTS + 1),
                        help="of the vehicles, for every row: 1 for a quick look, 8 for all")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(),
                        help="runs at a time; 0 prints what is there")
    args = parser.parse_args()
    folder = args.folder.resolve()
    (folder / "runs").mkdir(parents=True, exist_ok=True)
    ours, public = list(our_rows()), list(public_rows())
    if args.jobs:
        make_runs(folder, ((ours, network_files), (public, public_files)), args.parts, args.jobs)
    print_networks(folder)
    print_counts(folder, "our networks", ours, network_files)
    print_own(folder, ours)
    print_counts(folder, "the public networks", public, public_files)


if __name__ == "__main__":
    main()
