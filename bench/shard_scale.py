#!/usr/bin/env python3
"""What kavrel-shard takes for a long list: time and memory of plan, todo, status and merge.

    bench/shard_scale.py [ROWS [SHARDS [FILES]]]     1,000,000 rows in 1,000 shards unless told

The results are made up: tables with the rows of a real run under other names, and for each row a folder
with so many files of one byte; without FILES there are none. Needs build/ as ./test.sh leaves it, and
6 GB for a million rows.
"""
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
MODELS = ROOT / "models" / "reference"
OPTIONS = ["--plate-corner-model", MODELS / "plate_corner.onnx",
           "--ppocr-det-model", MODELS / "plate_text.onnx",
           "--ppocr-rec-model", MODELS / "plate_rec.onnx",
           "--ocr-dict", ROOT / "dict" / "plate_rec_dict.txt",
           "--dict-region", ROOT / "dict" / "region_words.txt"]
FRAMES_OF_A_GROUP = 4
PICTURE = "samples/rendered/car01_f01.jpg"
EXPECTED = "品川 330 さ 12-34"


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def measure(*command):
    """Runs kavrel-shard and prints what it took."""
    begin = time.monotonic()
    process = subprocess.Popen([ROOT / "build" / "kavrel-shard", *command], stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - begin
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"kavrel-shard {command[0]} ended with {process.returncode}")
    print(f"{command[0]:8}{seconds:8.1f} s{usage.ru_utime + usage.ru_stime:8.1f} s of CPU"
          f"{usage.ru_maxrss / 1024:8.0f} MiB", flush=True)


def real_run(folder):
    """The rows and the totals that kavrel writes for one picture."""
    (folder / "one.csv").write_text(f"image_path,expected,group_id\n{PICTURE},{EXPECTED},GROUP\n")
    subprocess.run([ROOT / "build" / "kavrel", *OPTIONS, "--input-list", folder / "one.csv",
                    "--output-dir", folder / "one"], check=True, cwd=ROOT,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return [(folder / "one" / name).read_text()
            for name in ("frame_summary.csv", "summary.csv", "FINAL_RESULT.json")]


def totals_of(template, rows, groups):
    text = re.sub(r'("frame_(?:total|correct)": )\d+', rf"\g<1>{rows}", template)
    return re.sub(r'("group_(?:total|correct)": )\d+', rf"\g<1>{groups}", text)


def write_result(job, plan, number, templates, files_of_a_case):
    """A whole result of a shard, from its list and the rows of the one picture."""
    frame, group, totals = templates
    cases = [line.split(",") for line in
             (job / "shards" / str(number) / "list.csv").read_text().splitlines()[1:]]
    head, row = frame.splitlines()
    frames = [head] + [row.replace("GROUP", case[2]).replace(PICTURE, case[0]) for case in cases]
    head, row = group.splitlines()
    names = sorted({case[2] for case in cases})
    groups = [head] + [row.replace("GROUP", name) for name in names]
    output = job / "results" / str(number) / "output"
    (output / "cases").mkdir(parents=True)
    files = {"kavrel.log": "", "output/FINAL_RESULT.json": totals_of(totals, len(cases), len(names)),
             "output/frame_summary.csv": "\n".join(frames) + "\n",
             "output/summary.csv": "\n".join(groups) + "\n"}
    for case in cases[:len(cases) if files_of_a_case else 0]:
        folder = "output/cases/" + pathlib.PurePath(case[0]).stem
        (output.parent / folder).mkdir()
        files.update((f"{folder}/{file}.jpg", "x") for file in range(files_of_a_case))
    listed = []
    for name, text in sorted(files.items()):
        data = text.encode()
        (output.parent / name).write_bytes(data)
        listed.append([name, len(data), sha256(data)])
    result = {"plan": plan["id"], "shard": number, "version": "1", "kavrel_sha256": "1",
              "list_sha256": plan["shards"][number - 1]["list_sha256"], "runtime_sha256": "1",
              "options": plan["options"], "host": "", "started": "", "ended": "", "exit_status": 0,
              "networks_and_dictionaries": {file["name"]: file["sha256"] for file in plan["files"]},
              "error": "", "unreadable_rows": [], "files": listed}
    (output.parent / "shard.json").write_text(json.dumps(result))


def main():
    rows = int(sys.argv[1]) if len(sys.argv) > 1 else 1_000_000
    shards = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000
    files = int(sys.argv[3]) if len(sys.argv) > 3 else 0
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        templates = real_run(folder)
        with open(folder / "list.csv", "w", encoding="utf-8") as case_list:
            case_list.write("image_path,expected,group_id\n")
            for row in range(rows):
                # Frames of a group lie far apart, as those of cameras that take turns.
                vehicle = row % max(1, rows // FRAMES_OF_A_GROUP)
                case_list.write(f"/pictures/{row // 1000:04}/frame_{row:07}.jpg,{EXPECTED},v{vehicle:06}\n")
        print(f"{rows} rows in {shards} shards; load {os.getloadavg()[0]:.1f} on {os.cpu_count()} cores")
        job = folder / "job"
        measure("plan", "--input-list", folder / "list.csv", "--shards", str(shards), job, "--", *OPTIONS)
        plan = json.loads((job / "plan.json").read_text())
        for number in range(1, len(plan["shards"]) + 1):
            write_result(job, plan, number, templates, files)
        measure("todo", job)
        measure("status", job)
        measure("merge", job, "--output-dir", folder / "out")
        size = sum(file.stat().st_size for file in (folder / "out").glob("*.*"))
        print(f"{size / rows:.0f} bytes of tables per row")


if __name__ == "__main__":
    main()
