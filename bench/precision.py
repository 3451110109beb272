#!/usr/bin/python3
"""The tables of what 16 and 8 bits cost, for bench/precision.sh.

    bench/precision.py DIR [--jobs 2]

DIR/hard and DIR/second are sets of frames, DIR/networks has our networks by precision. Runs are kept
in DIR/runs under a hash of their networks and their list, so that a call goes on where one before
it ended.
"""
import argparse
import concurrent.futures
import csv
import hashlib
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

PRECISIONS = ("float16", "mixed", "int8")
NETWORKS = {"plate_det": "detector", "plate_corner": "corners", "plate_text": "text detector",
            "plate_rec": "recogniser"}
OPTIONS = {"plate_det": "--plate-det-model", "plate_corner": "--plate-corner-model",
           "plate_text": "--ppocr-det-model", "plate_rec": "--ppocr-rec-model"}
PUBLIC = {"plate_text": "ppocr_det.onnx", "plate_rec": "ppocr_rec.onnx"}
SETS = ("street", "hard", "second", "rendered")
WITH_PLACES = SETS[:3]
EVERY = 4                              # frame of a set is enough for boxes and corners
READING = "_det_crop_"                 # of a line that the text detector has found


def list_of(folder, name):
    if name in ("street", "rendered"):
        return ROOT / f"samples/{name}/{name}_expected.csv"
    return folder / name / "street_expected.csv"


def rows_of(path):
    with open(path, encoding="utf-8", newline="") as file:
        return list(csv.DictReader(file))


# Runs

def network_files(folder, precisions):
    """The four networks, in float32 where `precisions` names no other."""
    homes = {"float32": ROOT / "models/reference"}
    return {name: homes.get(precision, folder / "networks" / precision) / f"{name}.onnx"
            for name in NETWORKS for precision in [precisions.get(name, "float32")]}


def run_folder(folder, files, case_list):
    """Where the run is kept: runs of the same networks over the same list share it."""
    digest = hashlib.sha256()
    for path in [*files.values(), case_list]:
        digest.update(hashlib.sha256(path.read_bytes()).digest())
    return folder / "runs" / digest.hexdigest()[:16]


def planned(folder, set_name, precisions):
    """The networks, the list and the folder of a run."""
    files, case_list = network_files(folder, precisions), list_of(folder, set_name)
    if set_name == "rendered":
        files.pop("plate_det")         # each picture is a plate
    return files, case_list, run_folder(folder, files, case_list)


def planned_public(folder, precisions):
    """The same with the public text networks, over plates that fill the picture."""
    files, case_list, _ = planned(folder, "rendered", {})
    for name, public in PUBLIC.items():
        home = folder / "public" / precisions[name] if name in precisions else ROOT / "models/host"
        files[name] = home / public
    return files, case_list, run_folder(folder, files, case_list)


def dictionary_of(files):
    is_ours = files["plate_rec"].name == "plate_rec.onnx"
    return ROOT / ("dict/plate_rec_dict.txt" if is_ours else "models/host/ppocr_rec_dict.txt")


def run(files, case_list, output):
    """kavrel over the list."""
    if (output / "FINAL_RESULT.json").exists():
        return
    networks = [word for name, path in files.items() for word in (OPTIONS[name], path)]
    part = output.with_suffix(".part")
    done = subprocess.run(
        [ROOT / "build/kavrel", "--input-mode", "frame" if "plate_det" in files else "roi",
         *networks, "--ocr-dict", dictionary_of(files), "--input-list", case_list,
         "--output-dir", part],
        cwd=ROOT, env={**os.environ, "KAVREL_HOST_THREADS": "1"}, check=False,
        capture_output=True, text=True)
    if done.returncode:
        sys.exit(done.stderr[-500:])
    shutil.rmtree(part / "cases")
    part.rename(output)


# Figures

def right(rows):
    return sum(row["status"] == "correct" for row in rows)


def lines_exact(folders):
    """The share of the lines that the text detector found that are read as they stand there."""
    found = exact = 0
    for folder in folders:
        for row in rows_of(folder / "frame_summary.csv"):
            region, number, kana, serial = row["expected"].split()
            lines = {region + number, kana + serial.rjust(4, "・")}
            for reading in row["ocr_texts"].split(" / "):
                source, _, text = reading.partition(":")
                found += READING in source
                exact += READING in source and text in lines
    return 100 * exact / found


def places(folder, precision):
    """Mean overlap of the boxes that lie on their plate, their number, and the corners' error."""
    home = network_files(folder, dict.fromkeys(NETWORKS, precision))["plate_det"].parent
    args = SimpleNamespace(kavrel=ROOT / "build/kavrel", models=home)
    kept = folder / f"places_{precision}.json"
    stamp = str(run_folder(folder, network_files(folder, dict.fromkeys(NETWORKS, precision)),
                           list_of(folder, "street")))
    if not kept.exists() or json.loads(kept.read_text())["of"] != stamp:
        found = []
        for name in WITH_PLACES:
            case_list = list_of(folder, name)
            truths = json.loads((case_list.parent / "street_truth.json").read_text("utf-8"))
            found.extend(measure_chain.places(args, rows_of(case_list)[::EVERY], {
                truth["image_path"]: truth for truth in truths}))
        found = [{name: float(value) for name, value in one.items()} for one in found]
        kept.write_text(json.dumps({"of": stamp, "found": found}))
    found = json.loads(kept.read_text())["found"]
    overlaps = np.array([one.get("overlap", 0) for one in found])
    on_plate = overlaps > measure_chain.ON_PLATE
    return (overlaps[on_plate].mean(), int(on_plate.sum()), len(found),
            np.mean([one["true box"] for one in found]))


# Tables

def print_networks(folder):
    """By which one can tell whether the tables are of the networks of today."""
    files = network_files(folder, {}).values()
    print("Of", ", ".join(f"{path.name} {hashlib.sha256(path.read_bytes()).hexdigest()[:8]}"
                          for path in files) + ":\n")


def table_rows():
    """Name and precisions of every row."""
    every = list(NETWORKS)
    yield "all in float32", {}
    for precision in PRECISIONS:
        yield f"all in {precision}", dict.fromkeys(every, precision)
    yield "all but the recogniser in int8", dict.fromkeys(every[:3], "int8")
    for precision in reversed(PRECISIONS):
        for name in reversed(every):
            yield f"{NETWORKS[name]} in {precision}", {name: precision}


def public_rows():
    yield "both in float32", {}
    for precision in PRECISIONS:
        yield f"both in {precision}", dict.fromkeys(PUBLIC, precision)
    for name in PUBLIC:
        yield f"{NETWORKS[name]} in int8", {name: "int8"}


def make_runs(rows, jobs):
    """Runs what the rows need; of every row that is whole, its folders by set."""
    runs = {output: (files, case_list, output)
            for _, by_set in rows for files, case_list, output in by_set.values()}
    if jobs:
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            list(pool.map(lambda one: run(*one), runs.values()))
    return [(title, {name: output for name, (_, _, output) in by_set.items()})
            for title, by_set in rows
            if all((output / "FINAL_RESULT.json").exists() for _, _, output in by_set.values())]


def count_cells(by_set):
    cells, total = [], np.zeros(4, int)
    for output in by_set.values():
        groups, frames = (rows_of(output / name) for name in ("summary.csv", "frame_summary.csv"))
        cells.append(f"{right(groups)} / {right(frames)}")
        total += right(groups), right(frames), len(groups), len(frames)
    return [*cells, f"{total[0]} / {total[1]}"], total


def print_counts(first, rows):
    if not rows:
        return
    sizes = count_cells(rows[0][1])[1]
    table = []
    for title, by_set in rows:
        cells, total = count_cells(by_set)
        points = [100 * (total[place] - sizes[place]) / sizes[place + 2] for place in (0, 1)]
        table.append((title, *cells, *(f"{point:+.1f}" for point in points)))
    print_table((first, *rows[0][1], f"of {sizes[2]} / {sizes[3]}", "points of vehicles",
                 "points of frames"), table)
    print()


def print_own(folder, rows):
    by_title, table = dict(rows), []
    for precision in ("float32", *PRECISIONS):
        if f"all in {precision}" not in by_title:
            continue
        overlap, on_plate, frames, corners = places(folder, precision)
        title = f"all in {precision}"
        table.append((title, f"{on_plate} of {frames}", f"{overlap:.3f}", f"{corners:.2f}",
                      f"{lines_exact(by_title[title].values()):.1f}"))
    print_table(("our networks", "boxes on the plate", "mean IoU of these",
                 "corners off, % of the plate's width", "lines exact, %"), table)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=Path)
    parser.add_argument("--jobs", type=int, default=os.cpu_count(),
                        help="runs at a time; 0 prints the rows that are there")
    args = parser.parse_args()
    (args.folder / "runs").mkdir(exist_ok=True)
    folder = args.folder.resolve()
    rows = make_runs([(title, {name: planned(folder, name, precisions) for name in SETS})
                      for title, precisions in table_rows()], args.jobs)
    print_networks(folder)
    print_counts("our networks", rows)
    print_own(folder, rows)
    print()
    print_counts("the public networks", make_runs(
        [(title, {"rendered": planned_public(folder, precisions)})
         for title, precisions in public_rows()], args.jobs))


if __name__ == "__main__":
    main()
