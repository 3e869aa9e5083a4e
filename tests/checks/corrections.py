#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts where the daemon asks about each correction: as often as its text has rules that change, so
that a new place is a decision and a lost one is noticed. Prints "N passed, N failed"."""

import pathlib
import re
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
ASKED = re.compile(r"\bmvrpCorrects(?:Now)?\(Correction::(\w+)")
NAMED = re.compile(r"^    (\w+),\s*///<", re.MULTILINE)

# correction -> places, and what each of them decides
PLACES = {
    "StaticKept": 5,  # REG-BIT set, REG-BIT cleared, the declaration kept, clean-up, what is put off
    "StaticHeard": 3,  # MVRP reception, GVRP reception, when the second join timer is due
    "LeaveNeeded": 4,  # leaves one by one, leaves at once, leave indication, the declaration kept
    "OwnBatch": 1,
    "SpareOthers": 1,
    "GvrpStaticRenewed": 2,  # LeaveAll, what a join says
    "OffWithdraws": 1,
    "SendOnChange": 1,
    "LeaveClock": 5,  # one machine, many, timer start, expiry, the sending of a removed static VLAN
    "GvrpStaticWithdrawn": 3,  # the machine, the sending, the deletion of a VLAN
    "OnDeclares": 2,  # port enable, registration mode
    "ForbiddenForgets": 1,
    "ApplySoon": 1,
    "YieldBounded": 1,
    "Admission": 1,
}
PLANTED = "    if (mvrpCorrects(Correction::Admission))\n        return;\n"


def places(root):
    """Correction -> how often it is asked about."""
    counts = {}
    for path in sorted((root / "daemon").rglob("*")):
        if path.suffix in (".h", ".cpp"):
            for name in ASKED.findall(path.read_text(encoding="utf-8")):
                counts[name] = counts.get(name, 0) + 1
    return counts


def planted():
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name) / "daemon"
        folder.mkdir()
        (folder / "planted.cpp").write_text(PLANTED, encoding="utf-8")
        return places(pathlib.Path(name))


def main():
    found = places(ROOT)
    header = (ROOT / "platform/contract/corrections.h").read_text(encoding="utf-8")
    results = {
        "the check does not notice a place": planted() == {"Admission": 1},
        "the check does not know what the contract names": set(NAMED.findall(header)) == set(PLACES),
    }
    for name in sorted(set(found) | set(PLACES)):
        asked, expected = found.get(name, 0), PLACES.get(name, 0)
        results[f"{name}: asked about in {asked} places, not in {expected}"] = asked == expected
    for text, passed in results.items():
        if not passed:
            print(text)
    print(f"{sum(results.values())} passed, {len(results) - sum(results.values())} failed")
    return not all(results.values())


if __name__ == "__main__":
    sys.exit(main())
