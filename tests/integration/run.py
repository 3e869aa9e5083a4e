#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the integration tests: the real mvrp and mvrpctl, as processes. Prints "N passed, N failed".

usage: run.py [--build DIRECTORY] [NAME...]    NAME: test_decode, test_decode.Class.test, ...

Without names it runs every file, several at a time: the tests mostly wait for timers."""

import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
FILES_AT_A_TIME = 4


class Result(unittest.TextTestResult):
    """Counts what passed, which unittest does not."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.passed = 0

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1


def run_names(names):
    """Runs the named tests in this process. @return (passed, failed)"""
    sys.path[:0] = [str(HERE), str(ROOT / "lab")]
    suite = unittest.defaultTestLoader.loadTestsFromNames(names)
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=2, resultclass=Result).run(suite)
    failed = len(result.failures) + len(result.errors) + len(result.unexpectedSuccesses)
    for test, reason in result.skipped:
        print(f"NOT RUN: {test}: {reason}")
    return result.passed, failed


def run_file(name, build):
    """Runs the tests of one file in a process of their own. @return (passed, failed, output)"""
    done = subprocess.run([sys.executable, __file__, "--build", build, name], text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    counts = re.search(r"^(\d+) passed, (\d+) failed\n\Z", done.stdout, re.MULTILINE)
    if counts is None:
        return 0, 1, done.stdout
    return int(counts[1]), int(counts[2]), done.stdout[:counts.start()]


def run_all(build):
    """Runs every file, and prints their outputs one after the other. Several files share the
    processors, and real time is part of what they test: a file that fails among the others is run
    once more by itself, and that counts. @return (passed, failed)"""
    names = sorted(path.stem for path in HERE.glob("test_*.py"))
    counts = {}
    with concurrent.futures.ThreadPoolExecutor(FILES_AT_A_TIME) as pool:
        runs = {pool.submit(run_file, name, build): name for name in names}
        for run in concurrent.futures.as_completed(runs):
            good, bad, output = run.result()
            counts[runs[run]] = good, bad
            print(output, flush=True)
    for name in [name for name, (_, bad) in counts.items() if bad]:
        print(f"FAILED AMONG OTHERS, once more by itself: {name}", flush=True)
        good, bad, output = run_file(name, build)
        counts[name] = good, bad
        print(output, flush=True)
    return tuple(map(sum, zip(*counts.values())))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build")
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    build = str(arguments.build.resolve())
    os.environ["MVRP_BUILD"] = build
    os.chdir(ROOT)
    passed, failed = run_names(arguments.names) if arguments.names else run_all(build)
    print(f"{passed} passed, {failed} failed")
    return failed != 0 or passed == 0


if __name__ == "__main__":
    sys.exit(main())
