#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Reads what gcovr counted in a build with --coverage, prints lines and branches of each file of a
folder, and looks at every line that nothing ran: it has to stand in the list of justified ones.

usage: coverage.py BUILD [--folder daemon] [--justified tests/coverage/justified.txt]

Exit status 1 when a line is neither run nor justified, or an entry of the list justifies nothing."""

import argparse
import collections
import json
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def measure(build, folder):
    """gcovr's files of a folder. Branches that only an exception takes do not count."""
    done = subprocess.run(
        ["gcovr", "--root", str(ROOT), "--object-directory", str(build), "--filter",
         str(ROOT / folder) + "/", "--exclude-throw-branches", "--exclude-unreachable-branches",
         "--json", "-", str(build)], capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"coverage: gcovr failed:\n{done.stderr[-2000:]}")
    files = json.loads(done.stdout)["files"]
    if not files:
        sys.exit(f"coverage: nothing was counted for {folder}/ in {build}; has anything been run?")
    return files


def read_justified(path):
    """The list: `FILE: SOURCE TEXT` below a reason, which is a line that begins with `#`; an entry
    justifies one line. @return {(file, source text): [line numbers of the entries]}"""
    entries = collections.defaultdict(list)
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if line.strip() and not line.startswith("#"):
            name, _, text = line.partition(": ")
            entries[name.strip(), text.strip()].append(number)
    return entries


def share(part, whole):
    return f"{part:6d} of {whole:6d} {100 * part / whole if whole else 100:6.1f} %"


def print_table(files):
    print(f"{'':40}{'lines':>24}{'branches':>26}")
    sums = [0, 0, 0, 0]
    for each in files:
        lines = [line for line in each["lines"] if not line.get("gcovr/noncode")]
        branches = [branch for line in lines for branch in line["branches"]]
        row = (sum(line["count"] > 0 for line in lines), len(lines),
               sum(branch["count"] > 0 for branch in branches), len(branches))
        sums = [total + value for total, value in zip(sums, row)]
        print(f"{each['file']:40}{share(*row[:2])}  {share(*row[2:])}")
    print(f"{'all':40}{share(*sums[:2])}  {share(*sums[2:])}")


def not_run(files):
    """(file, line number, source text) of each line that nothing ran"""
    for each in files:
        source = (ROOT / each["file"]).read_text(encoding="utf-8").splitlines()
        for line in each["lines"]:
            if line["count"] == 0 and not line.get("gcovr/noncode"):
                yield each["file"], line["line_number"], source[line["line_number"] - 1].strip()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--folder", default="daemon")
    parser.add_argument("--justified", type=pathlib.Path,
                        default=ROOT / "tests" / "coverage" / "justified.txt")
    arguments = parser.parse_args()
    files = measure(arguments.build.resolve(), arguments.folder)
    print_table(files)
    entries = read_justified(arguments.justified)
    justified, open_lines = 0, 0
    for name, number, text in not_run(files):
        if entries[name, text]:
            entries[name, text].pop()
            justified += 1
        else:
            open_lines += 1
            print(f"NOT RUN: {name}:{number}: {text}")
    idle = [(number, *key) for key, numbers in entries.items() for number in numbers]
    for number, name, text in sorted(idle):
        print(f"JUSTIFIES NOTHING: {arguments.justified.name}:{number}: {name}: {text}")
    print(f"{justified} lines justified, {open_lines} lines open, {len(idle)} idle entries")
    return open_lines > 0 or bool(idle)


if __name__ == "__main__":
    sys.exit(main())
