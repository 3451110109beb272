#!/usr/bin/env python3
"""Runs the command lines of the README and the other documents as they stand there.

    tests/documents/run_commands.py [DOCUMENT...]     all of them unless some are named

Each block that is marked as sh is run in a scratch folder where everything lies as in the repository,
but output/ is a new one that begins with the demo's. Run ./demo.sh first. Left out are blocks whose
lines stand in .ci/run, and those with a comment before them that says why:

    <!-- not run: needs a board -->

What a block needs and a reader has anyway is made by a comment of the same kind, "first: COMMAND".
"""
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BLOCK = re.compile(r"(?:<!-- (?P<mark>not run|first): (?P<text>[^>]*) -->\n+)?"
                   r"```sh\n(?P<commands>.*?)```\n", re.DOTALL)
# Not those of the training, which takes packages and hours of its own.
DOCUMENTS = ["README.md", "CONTRIBUTING.md", "CHANGELOG.md", "docs/*.md"]


def documents():
    return subprocess.check_output(["git", "ls-files", *DOCUMENTS], cwd=ROOT, text=True).split()


def lines_of(commands):
    """The commands of a block, without the comments behind them."""
    return [re.sub(r"\s+#.*", "", line) for line in commands.splitlines()]


def run(commands, folder):
    """Ends the program if one of the commands fails."""
    script = "set -euo pipefail\n" + commands
    done = subprocess.run(["bash", "-c", script], cwd=folder, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit(f"{commands}\nended with status {done.returncode}:\n{done.stdout[-4000:]}")


def make_scratch(folder):
    for entry in ROOT.iterdir():
        if entry.name != "output":
            (folder / entry.name).symlink_to(entry)
    (folder / "output").mkdir()
    (folder / "output" / "demo").symlink_to(ROOT / "output" / "demo")


def run_document(name, folder, ci_lines):
    text = (ROOT / name).read_text()
    for block in BLOCK.finditer(text):
        line = text.count("\n", 0, block.start("commands"))
        lines = lines_of(block["commands"])
        if block["mark"] == "not run":
            outcome = f"not run: {block['text']}"
        elif set(lines) <= ci_lines:
            outcome = "run by .ci/run"
        else:
            if block["mark"] == "first":
                run(block["text"], folder)
            run(block["commands"], folder)
            outcome = f"ran {len(lines)} lines"
        print(f"{name}:{line}: {outcome}", flush=True)


def main():
    ci_lines = set((ROOT / ".ci/run").read_text().splitlines())
    with tempfile.TemporaryDirectory() as scratch:
        make_scratch(pathlib.Path(scratch))
        for name in sys.argv[1:] or documents():
            run_document(name, pathlib.Path(scratch), ci_lines)


if __name__ == "__main__":
    main()
