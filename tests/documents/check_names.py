#!/usr/bin/python3
"""Holds what documents name to what there is: commands and options of the programs and scripts, also
in command lines that no test runs, and files of the repository.

    check_names.py KAVREL_REPORT KAVREL_SHARD

A name counts where it is code: in a block, between backticks, or on a man page in its examples. The
options of kavrel are those of the README's table, which a test of its own holds to the program.
"""
import functools
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
CODE = re.compile(r"```\w*\n(.*?)```|(?<!`)`([^`]+)`(?!`)|^\.Bd -literal.*?\n(.*?)^\.Ed", re.DOTALL | re.M)
OPTION = re.compile(r"(?<![\w-])--?[a-z][\w-]*")
CALL = re.compile(r"(?<![\w.-])(kavrel(?:-report|-shard)?|[\w/]+/\w+\.(?:py|sh)) +([^|;&\n'#]+)")
FILE = re.compile(r"(?<![\w./-])((?:src|host_runtime|report|shard|tests|fuzz|bench|training|docs|packaging|"
                  r"cmake|tools|models/reference|samples/street|samples/rendered)/[\w./-]*\w)")
MADE_LATER = {"training/cache", "fuzz/corpus/NAME", "fuzz/fuzz_NAME.cpp", "report/html/html_NAME.cpp"}
# Of programs that are not ours.
FOREIGN = {"--array", "--sshloginfile"}


def output_of(*command):
    return subprocess.run(command, cwd=ROOT, check=True, capture_output=True, text=True).stdout


class Names:
    def __init__(self, report, shard):
        self.programs = {"kavrel-report": report, "kavrel-shard": shard}
        self.files = set(output_of("git", "ls-files").split())
        self.folders = {str(folder) for file in self.files for folder in pathlib.Path(file).parents}

    @functools.lru_cache(maxsize=None)
    def help(self, program, *command):
        return output_of(self.programs[program], *command, "--help")

    def commands(self, program):
        if program not in self.programs:
            return []
        return re.findall(r"^  (\w+)", self.help(program).split("Subcommands:\n")[1], re.M)

    def options(self, program, *command):
        """Of a script: all that its text has."""
        if program in self.programs:
            lines = re.findall(r"^  (-\S+)", self.help(program, *command), re.M)
            return set(OPTION.findall(" ".join(lines)))
        if program == "kavrel":
            table = (ROOT / "README.md").read_text().split("| Option | Default |")[1].split("\n\n")[0]
            return set(OPTION.findall(" ".join(re.findall(r"^\| (.*?) \|", table, re.M))))
        return set(OPTION.findall((ROOT / program).read_text()))

    @functools.lru_cache(maxsize=None)
    def all_options(self):
        owners = [("kavrel",), *((script,) for script in self.files if re.search(r"\.(py|sh)$", script))]
        for program in self.programs:
            owners += [(program,), *((program, command) for command in self.commands(program))]
        return FOREIGN.union(*(self.options(*owner) for owner in owners))


def faults_of_call(program, words, names):
    words, _, of_kavrel = words.partition(" -- ")
    command = re.match(r"[a-z]+\b(?!/)", words)
    if names.commands(program) and command and command[0] not in names.commands(program):
        return [f"{program} {command[0]}"]
    owner = [program, *([command[0]] if names.commands(program) and command else [])]
    wrong = set(OPTION.findall(words)) - names.options(*owner)
    wrong |= set(OPTION.findall(of_kavrel)) - names.options("kavrel")
    return [f"{' '.join(owner)} {option}" for option in wrong]


def faults_of(text, names):
    for code in ("".join(parts) for parts in CODE.findall(text)):
        code = re.sub(r"\\e?\n", " ", code).replace("tools/logged.sh ", "")
        for program, words in CALL.findall(code):
            if program in names.files or not program.endswith(("py", "sh")):
                yield from faults_of_call(program, words, names)
        if code.startswith("--"):
            yield from set(OPTION.findall(code)) - names.all_options()
        for file in FILE.findall(code):
            if file not in names.files | names.folders | MADE_LATER:
                yield file


def faults_of_man_page(program, text, names):
    named = {"--" + option for option in re.findall(r"Fl Fl ([a-z][\w-]*)", text)}
    known = names.options(program).union(*(names.options(program, c) for c in names.commands(program)))
    return named - known


def main():
    names = Names(*sys.argv[1:])
    found = []
    for document in output_of("git", "ls-files", "*.md", "docs/*.1").split():
        text = (ROOT / document).read_text()
        found += [f"{document} names {fault}, which there is not" for fault in faults_of(text, names)]
        if document.endswith(".1"):
            program = pathlib.Path(document).stem
            found += [f"{document} has {fault}, which {program} does not take"
                      for fault in faults_of_man_page(program, text, names)]
    for program in names.programs:
        for command in names.commands(program):
            found += [f"the help of {program} {command} names {fault}, which there is not"
                      for fault in faults_of(f"```\n{names.help(program, command)}```", names)]
    sys.exit("\n".join(found) or 0)


if __name__ == "__main__":
    main()
