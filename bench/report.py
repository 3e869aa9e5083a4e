#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the figures of the benchmarks beside their limits as one table, and draws them as SVG.

usage: report.py RESULTS.json... --plots DIRECTORY"""

import argparse
import json
import pathlib
import sys

# benchmark -> (what it is, unit of its costs, goal for the ratio or None)
TITLES = {
    "transition": ("one event, all VLANs of a port", "VLAN", None),
    "decode": ("PDU of all VLANs, registered", "VLAN x port", None),
    "decode-scattered": ("PDU of scattered VLANs", "VLAN x port", None),
    "decode-gvrp": ("GVRP PDU", "VLAN x port", None),
    "reaction": ("PDU in to last frame out, bare sends", "frame", None),
    "reaction-batched": ("the same, bare sends in one call", "frame", None),
    "reaction-parts": ("the same, in one process, without threads", "frame", None),
    "declare": ("full declaration of a port", "byte", 2.0),
    "leave-expiry": ("leave expiry", "port", None),
    "leave-withdrawn": ("leave expiry, withdrawn by all ports", "VLAN x port", None),
    "leaveall-expiry": ("leave-all expiry", "port", None),
    "pending-add": ("memberships added", "VLAN x port", 1.4),
    "pending-remove": ("memberships removed", "VLAN x port", 1.4),
    "corrected-unchanged": ("PDU that changes nothing, all corrections", "VLAN x port", 1.05),
    "corrected-sending": ("the same without send-on-change", "VLAN x port", 1.05),
    "corrected-register": ("PDU that registers all, all corrections", "VLAN x port", 1.05),
    "corrected-withdrawn": ("leave expiry, withdrawn by all ports, all corrections", "VLAN x port", None),
    "request": ("request of the command channel", "request", None),
    "load": ("PDU of 30 VLANs without loss, bare relay", "PDU", 1.25),
}
# figure of the whole program -> what it is
FIGURES = {
    "start/ready": "start to ready, 48 ports",
    "rest/register": "start to 48 x 4093 memberships",
    "rest/wake-ups": "at rest: wake-ups",
    "rest/memory": "at rest: resident memory",
    "rest/cpu-idle": "at rest: processor, nothing due",
    "rest/cpu-leave-alls": "at rest: processor, leave-alls and answers",
    "sent": "PDUs sent",
    "lost": "PDUs lost of them",
    "request-middle": "delay of a request, middle",
    "request-longest": "delay of a request, longest",
    "processor": "processor of the daemon for each PDU",
    "bare-relay": "a bare relay takes",
    "lossless": "rate without loss, up to that",
}
# Benchmarks whose cost must not grow by more than this from the smallest size to any other.
GROWTH = {"decode": 1.3, "leave-withdrawn": 1.3, "pending-add": 1.3, "pending-remove": 1.3}
# Sizes that have a goal of their own.
OWN_GOALS = {"leave-expiry/0": 2.0,
             "reaction/8": 1.5, "reaction/48": 1.1, "reaction/256": 1.2,
             "reaction-batched/8": 1.9, "reaction-batched/48": 1.5, "reaction-batched/256": 1.5}
# ns that a unit may cost, beside the ratio.
LEAST = {"pending-add": 50, "pending-remove": 60}


def results(paths):
    return [result for path in paths
            for result in json.loads(pathlib.Path(path).read_text())["benchmarks"]]


def load(entries):
    """[{name, args, work, limit, ratio, goal}], in ns per unit."""
    rows = []
    for result in entries:
        if "work_ns" not in result:
            continue
        full = result["name"].replace("/manual_time", "")
        name, *args = full.split("/")
        goal = OWN_GOALS.get(full, TITLES[name][2])
        rows.append({"name": name, "args": args, "work": result["work_ns"],
                     "limit": result["limit_ns"], "ratio": result["ratio"], "goal": goal})
    return rows


def verdict(ratio, goal):
    return "" if goal is None else "yes" if ratio <= goal else "NO"


def goal_of(row):
    """As it stands in the table."""
    texts = [] if row["goal"] is None else [f"{row['goal']:g}"]
    if row["name"] in LEAST:
        texts.append(f"{LEAST[row['name']]:g} ns")
    return ", ".join(texts)


def met(row):
    if row["work"] > LEAST.get(row["name"], row["work"]):
        return "NO"
    return verdict(row["ratio"], row["goal"])


def print_table(rows):
    print(f"{'what':48} {'ns per':>13} {'cost':>11} {'limit':>11} {'ratio':>8} {'goal':>10} met")
    for row in rows:
        title, unit, _ = TITLES[row["name"]]
        what = " ".join([title, *row["args"]])
        print(f"{what:48} {unit:>13} {row['work']:11.3f} {row['limit']:11.3f} {row['ratio']:8.2f} "
              f"{goal_of(row):>10} {met(row)}")


def print_growth(rows):
    """The cost of each size against that of the smallest."""
    print(f"\n{'growth of the cost (sizes: ports, VLANs)':48} {'smallest':>13} {'dearest':>11} "
          f"{'ratio':>8} {'goal':>6} met")
    for name, goal in GROWTH.items():
        own = sorted((r for r in rows if r["name"] == name and len(r["args"]) == 2),
                     key=lambda r: (int(r["args"][0]), int(r["args"][1])))
        if len(own) < 2:
            continue
        dearest = max(own, key=lambda r: r["work"])
        ratio = dearest["work"] / own[0]["work"]
        print(f"{TITLES[name][0]:48} {'/'.join(own[0]['args']):>13} {'/'.join(dearest['args']):>11} "
              f"{ratio:8.2f} {goal:6g} {verdict(ratio, goal)}")


def print_figures(entries):
    """What was measured from outside."""
    print(f"\n{'the whole program':48} {'figure':>13} {'unit':11} {'goal':>8} met")
    for entry in (e for e in entries if "value" in e):
        what, place = FIGURES.get(entry["name"]), ""
        if what is None:
            place, name = entry["name"].split("/")
            what = f"{place.removeprefix('load-').replace('-', ' ')}: {FIGURES[name]}"
        goal = entry.get("goal")
        print(f"{what:48} {entry['value']:13.2f} {entry['unit']:11} "
              f"{'' if goal is None else f'{goal:g}':>8} {verdict(entry['value'], goal)}")


def draw(rows, directory):
    try:
        import matplotlib
    except ImportError:
        print("no plots: python3-matplotlib is not installed", file=sys.stderr)
        return
    matplotlib.use("svg")
    from matplotlib import pyplot
    directory.mkdir(parents=True, exist_ok=True)
    for axis, label in ((0, "ports"), (1, "VLANs")):
        figure, axes = pyplot.subplots(figsize=(7, 5))
        shown = set()
        for color, name in enumerate(GROWTH):
            fixed = "4094" if axis == 0 else "48"
            own = sorted((int(r["args"][axis]), r["work"], r["limit"]) for r in rows
                         if r["name"] == name and len(r["args"]) == 2
                         and r["args"][1 - axis] == fixed)
            if not own:
                continue
            sizes, work, limit = zip(*own)
            shown.update(sizes)
            axes.plot(sizes, work, "o-", color=f"C{color}", label=TITLES[name][0])
            axes.plot(sizes, limit, "x:", color=f"C{color}", label="its limit")
        axes.set_xscale("log", base=2)
        axes.set_yscale("log")
        axes.set_xticks(sorted(shown), labels=[str(size) for size in sorted(shown)])
        axes.set_xlabel(f"{label} (at {'4094 VLANs' if axis == 0 else '48 ports'})")
        axes.set_ylabel("ns per VLAN and port")
        axes.grid(True, which="both", alpha=0.3)
        axes.legend(fontsize=8, ncol=3, loc="upper center", bbox_to_anchor=(0.5, -0.14))
        figure.tight_layout()
        figure.savefig(directory / f"cost-by-{label.lower()}.svg")
        print(f"drawn: {directory}/cost-by-{label.lower()}.svg")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("results", nargs="+")
    parser.add_argument("--plots", type=pathlib.Path, required=True)
    arguments = parser.parse_args()
    entries = results(arguments.results)
    rows = load(entries)
    print_table(rows)
    print_growth(rows)
    print_figures(entries)
    draw(rows, arguments.plots)


if __name__ == "__main__":
    sys.exit(main())
