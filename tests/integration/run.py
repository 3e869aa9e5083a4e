#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the integration tests: the real mvrp and mvrpctl, as processes. Prints "N passed, N failed".

usage: run.py [--build DIRECTORY] [NAME...]    NAME: test_decode, test_decode.Class.test, ..."""

import argparse
import os
import pathlib
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent


class Result(unittest.TextTestResult):
    """Counts what passed, which unittest does not."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.passed = 0

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build")
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    os.environ["MVRP_BUILD"] = str(arguments.build.resolve())
    os.chdir(ROOT)
    sys.path[:0] = [str(HERE), str(ROOT / "lab")]
    loader = unittest.defaultTestLoader
    suite = (loader.loadTestsFromNames(arguments.names) if arguments.names
             else loader.discover(str(HERE), top_level_dir=str(HERE)))
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=2, resultclass=Result).run(suite)
    failed = len(result.failures) + len(result.errors) + len(result.unexpectedSuccesses)
    for test, reason in result.skipped:
        print(f"NOT RUN: {test}: {reason}")
    print(f"{result.passed} passed, {failed} failed")
    return failed != 0 or result.passed == 0


if __name__ == "__main__":
    sys.exit(main())
