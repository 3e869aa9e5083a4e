# SPDX-License-Identifier: MIT
"""Draws how long VLANs take, and what they cost, against the size of a network: the part of mvrp-plan that
`--plot` hands over to.

usage: plot_plan.py MVRP-PLAN OPTIONS..., options as mvrp-plan takes them, with --plot FILE. Runs mvrp-plan
once as it was called, and then in several sizes. The exit status is that of the first run; 2 when there
can be no picture."""

import argparse
import json
import os
import pathlib
import subprocess
import sys

SYSTEM_PYTHON = pathlib.Path("/usr/bin/python3")
PHASES = (("join", "#1f6fb2"), ("leave", "#c2491d"))


def fail(text):
    print(f"mvrp-plan: {text}", file=sys.stderr)
    sys.exit(2)


def figures():
    """The plotting library, on a backend that needs no display."""
    try:
        import matplotlib
    except ImportError:
        # The system's packages belong to its own Python, which need not be the first one.
        if SYSTEM_PYTHON.exists() and not SYSTEM_PYTHON.samefile(sys.executable):
            os.execv(SYSTEM_PYTHON, [SYSTEM_PYTHON, *sys.argv])
        fail("--plot draws with matplotlib, which is not installed; allowed: install it (Debian and Ubuntu: "
             "apt-get install python3-matplotlib), or leave --plot out and take the figures from --json")
    matplotlib.use("agg")
    matplotlib.rcParams["svg.hashsalt"] = "mvrp-plan"  # the same picture each time
    from matplotlib import figure
    return figure


def check_file(figure, path):
    known = figure.Figure().canvas.get_supported_filetypes()
    if path.suffix[1:].lower() not in known:
        fail(f"--plot {path}: allowed are names that end in .{', .'.join(sorted(known))}")
    if path.is_dir() or not os.access(path if path.exists() else path.absolute().parent, os.W_OK):
        fail(f"--plot {path}: can not be written; allowed is the name of a file in a folder of yours")


def steps(first, factor, last):
    """first, first * factor, ... below last, and last."""
    while first < last:
        yield first
        first *= factor
    yield last


def measure(plan, switches, vlans, options):
    done = subprocess.run([*plan, "--switches", str(switches), "--vlans", str(vlans), *options, "-j",
                           "--rest", "0"], stdout=subprocess.PIPE, text=True, check=False)
    if not done.stdout:
        sys.exit(done.returncode)
    return json.loads(done.stdout)


def panel(axes, points, value):
    """One curve for each phase. A phase that did not come to its end is left out."""
    for phase, colour in PHASES:
        ended = [(x, value(result[phase])) for x, result in points if result[phase]["ended"]]
        axes.plot(*zip(*ended) if ended else ((), ()), "o-", color=colour, label=phase, gid=phase)
    sizes = [x for x, _ in points]
    axes.set(xscale="log", yscale="log", xticks=sizes, xticklabels=sizes)
    axes.minorticks_off()
    axes.yaxis.set_major_formatter("{x:g}")
    axes.grid(axis="y", alpha=0.4)


def network(asked, result):
    """What was planned, and with which times, for the title."""
    ports = f" with {asked.ports} ports" if asked.ports else ""
    vlans = f"{asked.vlans} VLAN{'s' * (asked.vlans != 1)}"
    corrected = f", corrections: {asked.corrections}" if asked.corrections else ""
    return (f"{asked.shape} of {result['switches']} switches{ports}, {vlans}{corrected}\n"
            f"join {asked.join} ms, leave {asked.leave} ms, leave-all {asked.leave_all} ms")


def draw(figure, by_way, by_vlans, title, path):
    """Times above, traffic below, each row with one scale: logarithmic, as a join takes a second where a
    leave takes minutes."""
    picture = figure.Figure(figsize=(10, 7.5), layout="constrained")
    picture.suptitle(title)
    rows = (("time until all have changed (s)", lambda phase: phase["ms"] / 1000),
            ("frames sent by a port", lambda phase: phase["framesPerPort"]))
    columns = (("switches on the longest way", by_way),
               (f"VLANs, {by_vlans[-1][1]['diameter']} switches on the longest way", by_vlans))
    for panels, (scale, value) in zip(picture.subplots(2, 2, sharey="row", sharex="col"), rows):
        panels[0].set_ylabel(scale)
        for axes, (_, points) in zip(panels, columns):
            panel(axes, points, value)
    for axes, (label, _) in zip(panels, columns):
        axes.set_xlabel(label)
    picture.axes[0].legend()
    picture.savefig(path, metadata={"Date": None} if path.suffix == ".svg" else None)


def main():
    parser = argparse.ArgumentParser(add_help=False, allow_abbrev=False)
    parser.add_argument("plan")
    parser.add_argument("--plot", type=pathlib.Path, required=True)
    parser.add_argument("--switches", type=int, default=10)
    parser.add_argument("--vlans", type=int, default=1)
    parser.add_argument("--rest", default=None)
    shown = parser.add_argument_group("named in the title, and handed on")
    for name, initial in (("--shape", None), ("--ports", None), ("--corrections", None), ("--join", 6000),
                          ("--leave", 30000), ("--leave-all", 120000)):
        shown.add_argument(name, default=initial)
    parser.add_argument("-j", "--json", action="store_true")
    asked, options = parser.parse_known_args()
    for action in shown._group_actions:
        if (value := getattr(asked, action.dest)) is not None:
            options += [action.option_strings[0], str(value)]
    figure = figures()
    check_file(figure, asked.plot)

    first = [asked.plan, "--switches", str(asked.switches), "--vlans", str(asked.vlans), *options]
    first += ["--rest", asked.rest] if asked.rest else []
    status = subprocess.run(first + ["-j"] * asked.json, check=False).returncode
    if status not in (0, 1):
        return status
    by_way = {}
    for switches in steps(2, 2, asked.switches):
        result = measure([asked.plan], switches, asked.vlans, options)
        by_way[result["diameter"]] = result
    by_vlans = [(vlans, measure([asked.plan], asked.switches, vlans, options))
                for vlans in steps(1, 8, asked.vlans)]
    draw(figure, sorted(by_way.items()), by_vlans, network(asked, by_vlans[-1][1]), asked.plot)
    return status


if __name__ == "__main__":
    sys.exit(main())
