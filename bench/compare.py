#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the figures of the parts with those of another commit, measured by turns on this machine.

The other commit is taken out of the repository into out/bench/compare/ and built there with the same options;
each round runs both programs, and of all rounds the shortest time of each figure counts. A figure counts as
slower when its cost and its ratio to its limit both grew: a limit that moved alone says nothing of the code.

usage: compare.py BUILD-DIRECTORY COMMIT [--rounds N] [--filter REGEX] [--seconds S]"""

import argparse
import json
import pathlib
import subprocess
import sys

from report import TITLES

ROOT = pathlib.Path(__file__).resolve().parents[1]
# Growth of a figure that is more than turns on one machine differ by.
SLOWER = 1.10
# The sizes that tell most, unless a filter says otherwise.
KEY_FIGURES = (r"^(transition|decode(-gvrp)?/48/4094|declare.*|leave-expiry/.*|leaveall-expiry.*|"
               r"reaction-parts/(8|48)|pending-(add|remove)/48/(64|1024)|corrected-.*/48/.*)")


def run(*command, **options):
    return subprocess.run(command, check=True, text=True, capture_output=True, **options).stdout


def built(commit):
    """Builds the benchmarks of a commit. @return the program"""
    place = ROOT / "out" / "bench" / "compare" / commit
    if not (place / "CMakeLists.txt").exists():
        place.mkdir(parents=True, exist_ok=True)
        files = subprocess.Popen(["git", "-C", ROOT, "archive", commit], stdout=subprocess.PIPE)
        subprocess.run(["tar", "-x", "-C", place], stdin=files.stdout, check=True)
        if files.wait() != 0:
            sys.exit(f"compare.py: commit {commit} could not be taken out")
    build = place / "build-bench"
    run("cmake", "-S", place, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
        "-DMVRP_TESTS=OFF")
    run("ninja", "-C", build, "mvrp-bench")
    return build / "bench" / "mvrp-bench"


def measure(program, arguments):
    """{figure: (cost, limit)} in ns per unit."""
    text = run(program, f"--benchmark_filter={arguments.filter}", "--benchmark_format=json",
               f"--benchmark_min_time={arguments.seconds}")
    return {result["name"].replace("/manual_time", ""): (result["work_ns"], result["limit_ns"])
            for result in json.loads(text or '{"benchmarks": []}')["benchmarks"] if "work_ns" in result}


def keep_least(best, found):
    for name, (work, limit) in found.items():
        before = best.get(name, (work, limit))
        best[name] = (min(before[0], work), min(before[1], limit))


def words(name):
    """What a figure is, with its sizes."""
    head, *sizes = name.split("/")
    return " ".join([TITLES[head][0] if head in TITLES else head, *sizes])


def verdict(cost, ratio):
    if min(cost, ratio) > SLOWER:
        return "SLOWER"
    return "faster" if max(cost, ratio) < 1 / SLOWER else ""


def print_table(theirs, ours):
    """@return how many figures are slower"""
    print(f"{'ns each':52} {'theirs':>10} {'ours':>10} {'times':>6} {'ratio theirs':>13} {'ours':>7}")
    slower = 0
    for name in sorted(theirs.keys() & ours.keys()):
        (old, old_limit), (new, new_limit) = theirs[name], ours[name]
        found = verdict(new / old, (new / new_limit) / (old / old_limit))
        slower += found == "SLOWER"
        print(f"{words(name):52} {old:10.3f} {new:10.3f} {new / old:6.2f} {old / old_limit:13.2f} "
              f"{new / new_limit:7.2f} {found}")
    for name in sorted(theirs.keys() ^ ours.keys()):
        print(f"{words(name):52} only {'theirs' if name in theirs else 'ours'}")
    return slower


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("commit")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--filter", default=KEY_FIGURES)
    parser.add_argument("--seconds", type=float, default=0.05)
    arguments = parser.parse_args()
    try:
        commit = run("git", "-C", ROOT, "rev-parse", "--verify", "--short", f"{arguments.commit}^{{commit}}",
                     ).strip()
    except subprocess.CalledProcessError:
        sys.exit(f"compare.py: there is no commit '{arguments.commit}'")
    ours_program = arguments.build / "bench" / "mvrp-bench"
    theirs_program = built(commit)
    theirs, ours = {}, {}
    for turn in range(arguments.rounds):
        print(f"round {turn + 1} of {arguments.rounds}", file=sys.stderr)
        keep_least(theirs, measure(theirs_program, arguments))
        keep_least(ours, measure(ours_program, arguments))
    if not ours:
        sys.exit(f"compare.py: no figure is called '{arguments.filter}'")
    print(f"theirs: commit {commit}; ours: this tree; the least of {arguments.rounds} rounds by turns\n")
    slower = print_table(theirs, ours)
    print(f"\n{len(ours)} figures, {slower} slower by more than {SLOWER - 1:.0%}")
    return 1 if slower else 0


if __name__ == "__main__":
    sys.exit(main())
