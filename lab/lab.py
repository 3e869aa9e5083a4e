#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs networks of several mvrp processes on this machine, described by topology files."""

import argparse
import os
import pathlib
import shutil
import signal
import sys
import tempfile
import time

import history
import network
import node
import report
import terminal
import topology

ROOT = pathlib.Path(__file__).resolve().parent.parent


def parse_arguments():
    parser = argparse.ArgumentParser(prog="lab.py", description=__doc__)
    commands = parser.add_subparsers(dest="command", required=True)
    run = commands.add_parser("run", help="start a network, walk through its steps, end it")
    run.add_argument("topology", type=pathlib.Path)
    run.add_argument("--build", type=pathlib.Path, default=ROOT / "build",
                     help="directory with the built programs (default: build)")
    run.add_argument("--keep", action="store_true", help="leave the network running at the end")
    run.add_argument("--report", type=pathlib.Path, metavar="FILE",
                     help="show changes while they happen, and write a page about the run")
    run.add_argument("--corrections", metavar="all|none|NAME,...",
                     help="corrections of all daemons, in place of those of the file")
    run.add_argument("--count", action="store_true", help="end with 'N passed, N failed'")
    stop = commands.add_parser("stop", help="end a network that was left running")
    stop.add_argument("directory", type=pathlib.Path)
    return parser.parse_args()


def explain_kept(net, screen, build):
    """How to look around in a network that goes on running."""
    pids = net.directory / "pids"
    pids.write_text("".join(f"{n.process.pid}\n" for n in net.nodes.values()), encoding="utf-8")
    here = pathlib.Path.cwd()
    programs = build / "cli"
    if programs.is_relative_to(here):
        programs = f"$PWD/{programs.relative_to(here)}"
    most = max(net.nodes.values(), key=lambda each: len(each.switch.ports))
    screen.heading("The network goes on running")
    screen.line(f"  Sit down at the switch {most.name}:")
    screen.line(f'    export PATH="{programs}:$PATH"')
    screen.line(f"    export MVRP_RUNTIME_DIR={most.directory}")
    screen.line("    mvrpctl show ports")
    screen.line("    mvrpctl explain 1 20        # why VLAN 20 is, or is not, on port 1")
    screen.line("    mvrpctl watch --screen      # all ports, and the changes as they happen")
    screen.line("    mvrpctl --help              # what else there is to see and to change")
    others = [name for name in net.nodes if name != most.name]
    screen.line(f"  Each switch has such a directory, with its configuration and log, in "
                f"{net.directory}: {', '.join(others)}.")
    screen.line("  End it with")
    screen.line(f"    python3 lab/lab.py stop {net.directory}")


def walk_through(net, screen, arguments):
    """Runs the topology's steps. @return (the walk, its history or None)"""
    if not arguments.report:
        walk = network.Walk(net, screen)
        walk.run()
        return walk, None
    with history.History(net) as watched:
        walk = network.Walk(net, screen, watched)
        walk.run()
        time.sleep(history.INTERVAL_SECONDS)
    return walk, watched


def run(arguments):
    screen = terminal.Terminal()
    build = arguments.build.resolve()
    report_file = arguments.report and arguments.report.resolve()
    directory = pathlib.Path(tempfile.mkdtemp(prefix="mvrp-lab-"))
    wanted = arguments.corrections
    try:
        plan = topology.read(arguments.topology, directory, record=bool(report_file),
                             corrections=wanted if wanted in (None, "all", "none") else wanted.split(","))
    except BaseException:
        directory.rmdir()  # nothing was put there yet
        raise
    net = network.Network(plan, directory, build)
    screen.heading(net.topology.title)
    screen.progress("starting the switches")
    good, walk, kept = False, None, False
    os.chdir(ROOT)  # topologies name captures by their place in the tree
    try:
        with net:
            screen.good(f"{len(net.nodes)} switches run: {', '.join(net.nodes)}")
            walk, watched = walk_through(net, screen, arguments)
            good = walk.good()
            if not good:
                walk.explain_failure()
            if arguments.keep:
                explain_kept(net, screen, build)
                kept = True
                for each in net.nodes.values():
                    each.process = None
        for problem in net.stop():
            screen.bad(problem)
            good = False
        if report_file:
            report.write(report_file, watched, net, walk.results)
            screen.line()
            screen.line(f"  The page about this run: {arguments.report}")
    finally:
        if not kept:
            shutil.rmtree(directory, ignore_errors=True)
    screen.line()
    if arguments.count:
        screen.line(f"{walk.passed} passed, {max(walk.failed, int(not good))} failed")
    else:
        screen.line(screen.paint("32;1", "The network converged in every step.") if good else
                    screen.paint("31;1", "The network did not do what it should."))
    return 0 if good else 1


def is_ours(pid, directory):
    """Whether the process is a switch of that network, and not a later one of the same number."""
    try:
        return str(directory) in pathlib.Path(f"/proc/{pid}/cmdline").read_text(encoding="utf-8")
    except OSError:
        return False


def stop(arguments):
    directory = arguments.directory.resolve()
    pids = [int(line) for line in (directory / "pids").read_text(encoding="utf-8").split()]
    running = [pid for pid in pids if is_ours(pid, directory)]
    for pid in running:
        os.kill(pid, signal.SIGTERM)
    deadline = time.monotonic() + 5
    while any(is_ours(pid, directory) for pid in running) and time.monotonic() < deadline:
        time.sleep(0.05)
    shutil.rmtree(directory, ignore_errors=True)
    print(f"ended {len(running)} switches")
    return 0


def main():
    arguments = parse_arguments()
    try:
        return run(arguments) if arguments.command == "run" else stop(arguments)
    except (topology.TopologyError, node.NodeError, OSError) as error:
        print(f"lab: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("\nlab: interrupted", file=sys.stderr)
        return 130


if __name__ == "__main__":
    sys.exit(main())
