#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every text that the daemon writes is seen in a recorded trace, and no trace holds another.

texts.txt lists the formats of all trace lines, operator messages and dump lines, one a line, as C
writes them. Usage: texts.py [BUILD DIRECTORY, not used]
"""

import re
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
CASES = HERE.parent / "scenario" / "cases"

# What a conversion of printf prints, in a recorded trace.
CONVERSIONS = {
    "%u": r"\d+",
    "%d": r"-?\d+",
    "%s": r".*",
    "%02x": r"[0-9a-f]{2}",
    "%#x": r"(?:0x[0-9a-f]+|0)",
    "%p": r"(?:\(nil\)|0x[0-9a-f]+)",
}
# What no scenario can reach, and why.
UNREACHABLE = {
    r"if vlan del handler; step1.del vlan %u ok\r\n":
        "the immediate removal deletes no VLAN from the switch at a change of port",
    r"Propagate join; no port enable mvrp\r\n": "tests/unit/daemon/no_port_test.cpp",
    r"Propagate join msg send; no port enable mvrp\r\n": "tests/unit/daemon/no_port_test.cpp",
    r"propagate leave; no port enable mvrp\r\n": "tests/unit/daemon/no_port_test.cpp",
    r"clr propagate; no port enable mvrp\r\n": "tests/unit/daemon/no_port_test.cpp",
}
# Data lines of the hex dump have no text of their own.
HEX_LINE = re.compile(r"(?:[0-9a-f]{2} )*(?:\\r\\n)?")
EVENT = re.compile(r'^  (?:(?:log|iflog) [0-9a-f]{8} \d+ \d+|out|perror) "(.*)"$')


def pattern(text):
    """The regular expression of a format's output."""
    parts = re.split("(" + "|".join(map(re.escape, CONVERSIONS)) + ")", text)
    return re.compile("".join(CONVERSIONS.get(part) or re.escape(part) for part in parts))


def main():
    texts = (HERE / "texts.txt").read_text().splitlines()
    wanted = {text: pattern(text) for text in texts}
    seen, unknown = set(), {}
    for trace in sorted(CASES.rglob("*.trace")):
        for line in trace.read_text().splitlines():
            event = EVENT.match(line)
            if not event or event[1] in seen:
                continue
            hits = [text for text, regex in wanted.items() if regex.fullmatch(event[1])]
            seen.update(hits)
            if not hits and not HEX_LINE.fullmatch(event[1]):
                unknown.setdefault(event[1], trace)
    missing = [text for text in texts if (text in seen) == (text in UNREACHABLE)]
    for text in missing:
        print(f"{'a trace shows after all' if text in seen else 'no trace shows'}: {text}")
    for text, trace in unknown.items():
        print(f"{trace.relative_to(CASES)}: not in texts.txt: {text}")
    print(f"{len(texts) - len(missing)} passed, {len(missing) + len(unknown)} failed")
    return 1 if missing or unknown else 0


if __name__ == "__main__":
    sys.exit(main())
