#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the integration tests: the real mvrp and mvrpctl, as processes. Prints "N passed, N failed".

usage: run.py [--build DIRECTORY] [--jobs N] [NAME...]    NAME: test_decode, test_decode.Class.test, ...

Without names it runs every class of tests, several at a time: they mostly wait for timers. What took longest
is named at the end."""

import argparse
import concurrent.futures
import os
import pathlib
import re
import resource
import subprocess
import sys
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
CLASSES_AT_A_TIME = 8
LONGEST_SHOWN = 10
# Classes that begin first, so that none of them is what is waited for at the end.
LONGEST = ["test_mvrpctl_json.Json", "test_batch.Atomic", "test_net_plan.Plan", "test_mvrpctl_views.Views",
           "test_guide.Guide", "test_net.Net", "test_standby.FailOver", "test_doctor.Doctor",
           "test_options.Options", "test_problems.Problems", "test_network_guide.Story",
           "test_events.Ports", "test_standby.Synchronisation", "test_mvrpctl_watch.Watch",
           "test_net.Fifty", "test_lab.Page"]


def processor_seconds():
    """What this process, and those of its children that ended, took of a processor."""
    return sum(used.ru_utime + used.ru_stime for used in map(
        resource.getrusage, (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)))


class Result(unittest.TextTestResult):
    """Counts what passed, which unittest does not, and says how long each test took."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.passed = 0
        self.began = 0.0
        self.processor = 0.0

    def startTest(self, test):
        self.began = time.monotonic()
        self.processor = processor_seconds()
        super().startTest(test)

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1

    def stopTest(self, test):
        super().stopTest(test)
        spent, used = time.monotonic() - self.began, processor_seconds() - self.processor
        print(f"TOOK {spent:.1f} s, {used:.1f} s of a processor: {test.id()}")


def tests_of(suite):
    """Yields the single tests of a suite of suites."""
    for each in suite:
        if isinstance(each, unittest.TestSuite):
            yield from tests_of(each)
        else:
            yield each


def class_names():
    """Those of the classes of all files: first those that were found to take longest, then those with most
    tests."""
    names = {}
    for path in sorted(HERE.glob("test_*.py")):
        for test in tests_of(unittest.defaultTestLoader.loadTestsFromName(path.stem)):
            name = ".".join(test.id().split(".")[:2])
            names[name] = names.get(name, 0) + 1
    assert names.keys() >= set(LONGEST), set(LONGEST) - names.keys()
    return LONGEST + sorted(names.keys() - set(LONGEST), key=lambda name: (-names[name], name))


def run_names(names):
    """Runs the named tests in this process. @return (passed, failed)"""
    suite = unittest.defaultTestLoader.loadTestsFromNames(names)
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=2, resultclass=Result).run(suite)
    failed = len(result.failures) + len(result.errors) + len(result.unexpectedSuccesses)
    for test, reason in result.skipped:
        print(f"NOT RUN: {test}: {reason}")
    return result.passed, failed


def run_class(name, build):
    """Runs the tests of one class in a process of their own. @return (passed, failed, output)"""
    done = subprocess.run([sys.executable, __file__, "--build", build, name], text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    counts = re.search(r"^(\d+) passed, (\d+) failed\n\Z", done.stdout, re.MULTILINE)
    if counts is None:
        return 0, 1, done.stdout
    return int(counts[1]), int(counts[2]), done.stdout[:counts.start()]


def show_longest(outputs):
    """The tests that took longest, by what the processes of the classes said."""
    took = re.findall(r"^TOOK (([\d.]+) s.*)$", "\n".join(outputs), re.MULTILINE)
    for text, _ in sorted(took, key=lambda each: -float(each[1]))[:LONGEST_SHOWN]:
        print(text)


def run_all(build, jobs):
    """Runs every class, and prints their outputs one after the other. Several share the
    processors, and real time is part of what they test: a class that fails among the others is run
    once more by itself, and that counts. @return (passed, failed)"""
    counts, outputs = {}, []
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        runs = {pool.submit(run_class, name, build): name for name in class_names()}
        for run in concurrent.futures.as_completed(runs):
            good, bad, output = run.result()
            counts[runs[run]] = good, bad
            outputs.append(output)
            print(output, flush=True)
    for name in [name for name, (_, bad) in counts.items() if bad]:
        print(f"FAILED AMONG OTHERS, once more by itself: {name}", flush=True)
        good, bad, output = run_class(name, build)
        counts[name] = good, bad
        print(output, flush=True)
    show_longest(outputs)
    return tuple(map(sum, zip(*counts.values())))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build")
    parser.add_argument("--jobs", type=int, default=CLASSES_AT_A_TIME)
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    build = str(arguments.build.resolve())
    os.environ["MVRP_BUILD"] = build
    os.chdir(ROOT)
    sys.path[:0] = [str(HERE), str(ROOT / "lab")]
    passed, failed = run_names(arguments.names) if arguments.names else run_all(build, arguments.jobs)
    print(f"{passed} passed, {failed} failed")
    return failed != 0 or passed == 0


if __name__ == "__main__":
    sys.exit(main())
