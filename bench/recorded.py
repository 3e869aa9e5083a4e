#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds five ratios against those that are recorded beside it, in recorded.json, and fails where one has
grown by more than 1.3 times. Ratios only: a cost says more about the machine than about the code.

A busy machine makes a turn longer and never shorter, so a figure that seems to have grown gets more rounds,
and the least of all counts. Ends with "N passed, M failed".

usage: recorded.py BUILD-DIRECTORY [--record]     (--record: writes what is measured instead)"""

import argparse
import json
import pathlib
import platform
import statistics
import sys

from compare import measure, words

RECORD = pathlib.Path(__file__).with_name("recorded.json")
# What a ratio may grow by: what machines and their neighbours make of the same code is less.
ALLOWED = 1.3
ROUNDS = 8
SECONDS = 0.05


def arguments_for(wanted):
    return argparse.Namespace(filter="^(" + "|".join(wanted) + ")/manual_time$", seconds=SECONDS)


def middles(program, wanted):
    """{figure: ratio}, the middle of all rounds: what a machine that does nothing else usually has."""
    rounds = [measure(program, arguments_for(wanted)) for _ in range(ROUNDS)]
    return {name: round(statistics.median(found[name][0] / found[name][1] for found in rounds), 2)
            for name in wanted}


def leasts(program, wanted, enough):
    """{figure: ratio}, the least of as many rounds as it takes until `enough` says so."""
    least = {}
    for _ in range(ROUNDS):
        for name, (work, limit) in measure(program, arguments_for(wanted)).items():
            least[name] = min(least.get(name, work / limit), work / limit)
        if enough(least):
            break
    return least


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--record", action="store_true")
    arguments = parser.parse_args()
    recorded = json.loads(RECORD.read_text())
    program = arguments.build / "bench" / "mvrp-bench"
    if platform.machine() == "x86_64" and "avx2" not in pathlib.Path("/proc/cpuinfo").read_text():
        print("NOT RUN: figures: the ratios are those of a processor with AVX2\n0 passed, 0 failed")
        return 0
    if arguments.record:
        RECORD.write_text(json.dumps(middles(program, recorded), indent=2) + "\n")
        return 0
    found = leasts(program, recorded, lambda now: all(
        now.get(name, 0) <= ALLOWED * limit for name, limit in recorded.items()))
    failed = 0
    for name, limit in recorded.items():
        ratio = found.get(name)
        good = ratio is not None and ratio <= ALLOWED * limit
        failed += not good
        print(f"{words(name):48} {ratio or 0:8.2f} of its limit, recorded {limit:.2f}"
              f"{'' if good else '  GROWN'}")
    print(f"{len(recorded) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
