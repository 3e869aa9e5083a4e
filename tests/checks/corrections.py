#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts where the daemon asks about each correction: as often as its text has rules that change, so
that a new place is a decision and a lost one is noticed. And looks at its scenarios: for each name
there is one that shows the harm, and the same one with that correction alone, whose traces differ.
Prints "N passed, N failed"."""

import pathlib
import re
import sys

from _results import Results, in_tree

ROOT = pathlib.Path(__file__).resolve().parents[2]
ASKED = re.compile(r"\bmvrpCorrects(?:Now)?\(Correction::(\w+)")
NAMES = re.compile(r"kCorrectionNames = \{(.*?)\};", re.DOTALL)
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
CASES = ROOT / "tests/scenario/cases/corrections"
WITHOUT = "-without"
PLANTED = "    if (mvrpCorrects(Correction::Admission))\n        return;\n"


def places(root):
    """Correction -> how often it is asked about."""
    counts = {}
    for path in sorted((root / "daemon").rglob("*")):
        if path.suffix in (".h", ".cpp"):
            for name in ASKED.findall(path.read_text(encoding="utf-8")):
                counts[name] = counts.get(name, 0) + 1
    return counts


def commands(path):
    """A scenario's commands as (corrections, the others)."""
    lines = [line.partition("#")[0].split() for line in path.read_text(encoding="utf-8").splitlines()]
    lines = [line for line in lines if line]
    corrections = [set(line[1:]) - {"none"} for line in lines if line[0] == "correct"]
    return corrections, [line for line in lines if line[0] != "correct"]


def happened(path):
    """A trace without what it repeats of the commands that choose corrections."""
    lines = path.read_text(encoding="utf-8").splitlines()
    return [line for line in lines if not line.startswith("> correct")]


def pair_problem(path):
    """What is wrong with a scenario and its double without a correction, or nothing; and the names in
    which they differ."""
    double = path.with_name(path.stem + WITHOUT + ".scn")
    mine, commands_here = commands(path)
    other, commands_there = commands(double)
    if commands_here != commands_there:
        return "other commands than its double has", set()
    if len(mine) != 1 or len(other) != 1 or len(mine[0] - other[0]) != 1 or other[0] - mine[0]:
        return "not one correction more than its double", set()
    if happened(path.with_suffix(".trace")) == happened(double.with_suffix(".trace")):
        return "its double has the same trace: it shows no harm", set()
    return None, mine[0] if not other[0] else set()


def scenarios(root):
    """text -> whether it does not apply: pairs that are none, and names without a pair."""
    results, shown = {}, set()
    for path in sorted(root.rglob("*.scn")):
        if path.stem.endswith(WITHOUT):
            with_it = path.with_name(path.stem[: -len(WITHOUT)] + ".scn")
            results[f"{path.parent.name}/{path.name}: nothing to compare with"] = with_it.exists()
        elif path.with_name(path.stem + WITHOUT + ".scn").exists():
            problem, names = pair_problem(path)
            results[f"{path.parent.name}/{path.name}: {problem}"] = problem is None
            shown |= names & {path.parent.name}
    return results, shown


def planted_scenarios():
    """Whether pairs that are none are noticed: another command, and the same trace."""
    noticed = []
    for more, trace in (("start\n", "other"), ("", "same")):
        files = {}
        for stem, word, text in (("x", "own-batch", ""), ("x" + WITHOUT, "none", more)):
            happens = trace if stem == "x" else "same"
            files[f"own-batch/{stem}.scn"] = f"correct {word}\n{text}"
            files[f"own-batch/{stem}.trace"] = f"> correct {word}\n  {happens}\n"
        results, shown = in_tree(files, scenarios)
        noticed.append(not all(results.values()) and not shown)
    return all(noticed)


def main():
    found = places(ROOT)
    header = (ROOT / "platform/contract/corrections.h").read_text(encoding="utf-8")
    results = Results()
    results.expect(in_tree({"daemon/planted.cpp": PLANTED}, places) == {"Admission": 1},
                   "the check does not notice a place")
    results.expect(set(NAMED.findall(header)) == set(PLACES),
                   "the check does not know what the contract names")
    for name in sorted(set(found) | set(PLACES)):
        asked, expected = found.get(name, 0), PLACES.get(name, 0)
        results.expect(asked == expected, f"{name}: asked about in {asked} places, not in {expected}")
    cmake = (ROOT / "tests/simulation/CMakeLists.txt").read_text(encoding="utf-8")
    controls = re.findall(r"[a-z-]+", cmake)
    pairs, shown = scenarios(CASES)
    for text, right in pairs.items():
        results.expect(right, text)
    results.expect(planted_scenarios(), "the check does not notice a pair that is none")
    for name in re.findall(r'"([a-z-]+)"', NAMES.search(header).group(1)):
        results.expect(name in shown, f"{name}: no scenario that shows the harm, with its double under "
                                      "that correction alone")
        results.expect(name in controls, f"{name}: the simulation is not run without it")
    return results.end()


if __name__ == "__main__":
    sys.exit(main())
