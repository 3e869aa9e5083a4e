#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the wall clock, which jumps when somebody sets it, is only read to be shown: times that
decide something are taken from the monotonic clock. Prints "N passed, N failed"."""

import pathlib
import re
import sys

from _results import Results, finds

WALL_CLOCK = re.compile(
    r"\b(system_clock|high_resolution_clock|CLOCK_REALTIME|gettimeofday|wallClockUs"
    r"|(?:std::|(?<![\w.:>])|(?<!\w)::)time\s*\((?:nullptr|NULL|0|&))")
FOLDERS = ("daemon", "platform")
# file -> what the time is for
SHOWN = {
    "platform/runtime/log_book.cpp": "times of log lines, and a number that no earlier run has used",
    "platform/runtime/logging.cpp": "times of log lines",
    "platform/net/clock.h": "the definition of wallClockUs()",
    "platform/net/frame_net.cpp": "times in captures",
    "platform/observe/change_ring.cpp": "times of changes, as they are shown",
    "platform/observe/frame_tap.cpp": "times of captured frames",
    "platform/requests/snapshot_request.cpp": "the time of a snapshot, as it is shown",
    "platform/observe/sequence.h": "a number that no earlier run has used",
}
PLANTED = [
    "auto now = std::chrono::system_clock::now();",
    "clock_gettime(CLOCK_REALTIME, &now);",
    "const auto now = time(nullptr);",
    "const auto now = std::time(nullptr);",
    "const u64 now = platform::wallClockUs();",
]
HARMLESS = ["setTime(0);", "steady_clock::now();", "port.time(0);", "waitingTime(nullptr);"]


def readers(root):
    """Files that read the wall clock."""
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".h", ".cpp") and WALL_CLOCK.search(
                    path.read_text(encoding="utf-8")):
                yield str(path.relative_to(root))


def noticed(line):
    return finds({"daemon/planted.cpp": line + "\n"}, readers)


def main():
    results = Results()
    for line in PLANTED:
        results.expect(noticed(line), f"the check does not notice: {line}")
    for line in HARMLESS:
        results.expect(not noticed(line), f"the check takes for the wall clock: {line}")
    root = pathlib.Path(__file__).resolve().parents[2]
    found = set(readers(root))
    for path in sorted(found | set(SHOWN)):
        results.expect(path in SHOWN, f"{path}: reads the wall clock; allowed are " + ", ".join(SHOWN))
        results.expect(path in found, f"{path}: is allowed to read the wall clock and does not")
    return results.end()


if __name__ == "__main__":
    sys.exit(main())
