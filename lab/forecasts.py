#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares what `mvrp-net plan` forecasts with what running switches do: random networks, one change each.
Each network is made some times from nothing, one switch after the other, and changed at any moment between
two LeaveAlls, which the forecast is told (`--after`). Prints a table, and "N passed, N failed": a network is
right when each of its changes has an end that the forecast named, and took, until the last membership that
came or went, as long as the middle of the forecast, by 10 % or 200 ms. Of other times the frames that the
busiest port sends at rest from then on have to be those of the forecast as well, by 10 % or one frame.

The same seed makes the same network and change."""

import argparse
import contextlib
import functools
import json
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

import expect
import faults
import network
import topology

ROOT = pathlib.Path(__file__).resolve().parent.parent
TIMES = ({"join": 200, "leave": 600, "leave-all": 2000}, {"join": 200, "leave": 1000, "leave-all": 4000},
         {"join": 400, "leave": 2000, "leave-all": 5000})
KINDS = ("cut", "delete", "add", "restart", "mend", "times")
OUTAGE_MS = 500
START_SECONDS = 0.15  # from a daemon's start until its ports speak
START_APART_SECONDS = 1.0  # at most, between two switches of a network
ASK_SECONDS = 10.0  # for a forecast, before the change that it is about
TOLERANCE_MS = 200
TOLERANCE_PART = 0.1
NEW_TIMES = {"join": 200, "leave": 800, "leave-all": 3000}
COUNTED_LEAVE_ALLS = 10  # at rest, for the frames of the busiest port
FACTS = ("registered", "declared", "member", "static VLANs")
MEMBERS = ("memberAdded", "memberRemoved")


class Trial:
    """A random tree of switches, a spare cable that is down, and a change."""

    def __init__(self, seed, sizes=(3, 12)):
        self.seed = seed
        chance = random.Random(seed)
        self.kind = KINDS[seed % len(KINDS)]
        self.corrections = "none" if seed % 3 == 2 else "all"
        self.times = chance.choice(TIMES)
        plan = faults.Plan(chance, chance.randint(*sizes))
        self.names, self.statics, self.cables = plan.names, plan.statics, plan.cables
        self.plan = plan
        self.spare = self.choose_spare(chance)
        self.choose(chance)

    def choose_spare(self, chance):
        linked = {frozenset(ends) for ends in self.cables}
        free = [(a, b) for a in self.names for b in self.names if a < b and frozenset((a, b)) not in linked]
        return chance.choice(free) if free else None

    def choose(self, chance):
        """The change: what mvrp-net is asked, and what it takes."""
        name = chance.choice(self.names)
        cable = chance.choice(self.cables)
        own = sorted(self.statics[name])
        self.switch, self.cut, self.vlans, self.mended = name, None, "", None
        if self.kind == "delete":
            self.vlans = expect.format_ranges(set(chance.sample(own, max(1, len(own) // 2))) if own else {})
            self.words = ["--delete", f"{name}:{self.vlans}"]
        elif self.kind == "add":
            free = sorted(set(range(10, 10 + 3 * len(self.names))) - self.statics[name])
            self.vlans = expect.format_ranges(set(chance.sample(free, 5)))
            self.words = ["--add", f"{name}:{self.vlans}"]
        elif self.kind == "restart":
            self.words = ["--restart", name, "--outage", str(OUTAGE_MS)]
        elif self.kind == "mend" and self.spare:
            self.cut, self.mended = self.circle(chance), self.spare
            self.words = ["--cut", ":".join(self.cut), "--mend", ":".join(self.spare)]
        elif self.kind == "times":
            self.words = ["--times", ",".join(f"{name}={ms}" for name, ms in NEW_TIMES.items())]
        else:
            self.cut = cable
            self.words = ["--cut", ":".join(cable)]

    def circle(self, chance):
        """A cable of the circle that the spare one closes: without it the network is one again."""
        a, b = self.spare
        return chance.choice([ends for ends in self.cables
                              if (a in self.plan.side(*ends)) != (b in self.plan.side(*ends))])

    def document(self):
        cables = [{"between": list(ends)} for ends in self.cables]
        if self.spare:
            cables.append({"between": list(self.spare), "up": False})
        return {"title": "forecasts", "timers": self.times, "corrections": self.corrections,
                "switch": [{"name": name, "vlans": expect.format_ranges(self.statics[name]) or "-"}
                           for name in self.names],
                "cable": cables}

    def calm_seconds(self):
        """Without a change for so long nothing will: a LeaveAll has passed, and what it made leave."""
        longest = {name: max(ms, NEW_TIMES[name]) for name, ms in self.times.items()}
        return (1.5 * longest["leave-all"] + 2 * longest["leave"]) / 1000 + 2


class Watched:
    """What `mvrpctl watch` says on all switches."""

    def __init__(self, net, directory):
        self.files, self.processes = [], []
        for name, each in net.nodes.items():
            path = directory / f"{name}.watch"
            self.files.append(path)
            with open(path, "wb") as out:
                self.processes.append(subprocess.Popen([each.mvrpctl, "-j", "watch"], stdout=out,
                                                       stderr=subprocess.DEVNULL, env=each.environment))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.processes:
            process.terminate()
            process.wait()

    def last_change(self, since):
        """Seconds since the epoch of the last membership that came or went, or `since`."""
        last = since
        for path in self.files:
            for line in path.read_text(encoding="utf-8").splitlines():
                with contextlib.suppress(json.JSONDecodeError):  # a line that is being written
                    change = json.loads(line)
                    if change.get("change") in MEMBERS:
                        last = max(last, change["time"] / 1000)
        return last

    def await_calm(self, since, seconds):
        while True:
            last = self.last_change(since)
            if time.time() - max(last, since) > seconds:
                return last
            time.sleep(0.2)


def changes_since(node, sequence):
    """@return what the daemon did after a change; None when it does not keep that, or is of another run"""
    lines = node.control(f"-j watch --seconds 1 --since {sequence}").stdout.splitlines()
    lines = [json.loads(line) for line in lines]
    return None if lines and lines[0].get("reason") == "gap" else lines


def last_of_restarted(node, since):
    """The last change of memberships of a daemon that was away: its watcher may have come too late for it."""
    newest = json.loads(node.control("-j watch --seconds 1").stdout.splitlines()[0])["sequence"]
    kept, gone = 0, 1
    while changes_since(node, newest - gone) is not None:
        kept, gone = gone, 2 * gone
    while gone - kept > 1:
        between = (kept + gone) // 2
        if changes_since(node, newest - between) is None:
            gone = between
        else:
            kept = between
    times = [line["time"] / 1000 for line in changes_since(node, newest - kept)
             if line.get("change") in MEMBERS]
    return max([since, *times])


def collect(net, directory):
    directory.mkdir()
    for name, each in net.nodes.items():
        (directory / f"{name}.json").write_text(each.control("snapshot").stdout, encoding="utf-8")
    return directory


class Scattered(network.Network):
    """Switches that were not started together: their timers are anywhere."""

    def __init__(self, plan, directory, build, chance):
        super().__init__(plan, directory, build)
        for each in self.nodes.values():
            each.start = functools.partial(self.start_later, each, chance)

    @staticmethod
    def start_later(each, chance):
        del each.start  # only the first time
        time.sleep(chance.uniform(0, START_APART_SECONDS))
        each.start()


class Prepared:
    """Commands for switches, given at one moment: the programs wait, as they start late on a busy machine."""

    def __init__(self, net, commands):
        self.waiting = []
        for name, command in commands:
            each = net.nodes[name]
            self.waiting.append((name, command, subprocess.Popen(
                [each.mvrpctl, "--batch", "-"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                stderr=subprocess.PIPE, env=each.environment, text=True)))

    def give(self):
        for _, command, process in self.waiting:
            process.stdin.write(command + "\n")
            process.stdin.close()
        for name, command, process in self.waiting:
            text = process.stderr.read()
            process.stderr.close()
            if process.wait(30) != 0:
                raise RuntimeError(f"{name}: {command}: {text}")


def commands_of(net, trial):
    """[(switch, command)]"""
    commands = []
    if trial.vlans:
        commands.append((trial.switch,
                         f"switch vlan {'create' if trial.kind == 'add' else 'delete'} {trial.vlans}"))
    for cable, state in ((trial.cut, "down"), (trial.mended, "up")):
        for here, there in (cable, reversed(cable)) if cable else ():
            commands.append((here, f"switch port link {there} {state}"))
    if trial.kind == "times":
        # The leave time is twice the join time at least, and at most the leave-all time.
        commands += [(name, "\n".join(f"set port {port.name} {word}-time {ms}" for port in node.switch.ports
                                      for word, ms in NEW_TIMES.items()))
                     for name, node in net.nodes.items()]
    return commands


def restart(node, started):
    """A switch that was stopped comes back when it is to."""
    time.sleep(max(0.0, started + OUTAGE_MS / 1000 - START_SECONDS - time.time()))
    node.start()
    node.wait_ready()


def change(net, trial, moment):
    """Makes the change at a moment. @return when"""
    prepared = Prepared(net, commands_of(net, trial))
    late = time.time() - moment
    if late > -0.2:
        raise RuntimeError(f"the forecast took {late + 0.2:.1f} s longer than it may")
    time.sleep(-late)
    started = time.time()
    prepared.give()
    if trial.kind == "restart":
        net.nodes[trial.switch].stop()
        restart(net.nodes[trial.switch], started)
    return started


def differences(rows):
    """Those of VLANs, as sets without VLAN 1."""
    return {(row["where"], row["what"], *(frozenset(expect.parse(row[side]) - {1})
                                          for side in ("before", "after")))
            for row in rows if row["what"] in FACTS
            and expect.parse(row["before"]) - {1} != expect.parse(row["after"]) - {1}}


def ask(build, *words):
    done = subprocess.run([build / "network" / "mvrp-net", *map(str, words)], capture_output=True, text=True,
                          timeout=600, check=False)
    if done.returncode not in (0, 1):
        raise RuntimeError(done.stderr)
    return json.loads(done.stdout)


def middle(values):
    return sorted(values)[len(values) // 2]


class Once:
    """One network that was changed, and what was foreseen for it."""

    def __init__(self, forecast, real_ms, real, frames_a_minute):
        self.forecast, self.real_ms, self.frames_a_minute = forecast, real_ms, frames_a_minute
        self.real = differences(real)
        self.endings = [(each["runs"], differences(each["differences"])) for each in forecast["endings"]]
        self.expected = self.endings[0][1]
        self.same_end = self.expected == self.real
        self.named_end = any(end == self.real for _, end in self.endings)
        # Of each membership that differs by itself: whether some run had it so.
        seen = set().union(*(end for _, end in self.endings))
        sure = set.intersection(*(end for _, end in self.endings))
        self.covered = sure <= self.real <= seen
        slack = max(TOLERANCE_MS, TOLERANCE_PART * real_ms)
        quiet = forecast["quiet"]
        self.in_time = abs(real_ms - quiet["middle"]) <= slack
        self.in_range = quiet["least"] - slack <= real_ms <= quiet["most"] + slack
        if frames_a_minute is not None:
            expected = forecast["framesAMinute"]["after"]
            one_frame = 60_000 / COUNTED_LEAVE_ALLS / NEW_TIMES["leave-all"]
            self.in_time &= abs(frames_a_minute - expected) <= max(one_frame, TOLERANCE_PART * expected)

    def text(self):
        quiet = self.forecast["quiet"]
        mark = "" if self.in_time else "**"
        frames = ("" if self.frames_a_minute is None else
                  f", frames a minute {self.forecast['framesAMinute']['after']}: {self.frames_a_minute:.0f}")
        return f"{mark}{quiet['middle']} ({quiet['least']}-{quiet['most']}): {self.real_ms}{frames}{mark}"


class Result:
    """Some networks that are alike, each changed once."""

    def __init__(self, trial, rounds):
        self.trial, self.rounds = trial, rounds

    def count(self, what):
        return sum(getattr(each, what) for each in self.rounds)

    def middles_agree(self):
        took = middle([each.real_ms for each in self.rounds])
        quiet = middle([each.forecast["quiet"]["middle"] for each in self.rounds])
        return abs(took - quiet) <= max(TOLERANCE_MS, TOLERANCE_PART * took)

    def good(self):
        return self.count("in_time") == self.count("named_end") == len(self.rounds)

    def row(self):
        trial, count = self.trial, len(self.rounds)
        words = " ".join(trial.words)
        unlike = max(len(each.forecast["unlike"]) for each in self.rounds)
        endings = max(len(each.endings) for each in self.rounds)
        return (f"| {trial.seed} | {len(trial.names)} | {trial.corrections} | "
                f"{trial.times['leave']}/{trial.times['leave-all']} | `{words}` | "
                f"{'; '.join(each.text() for each in self.rounds)} | {self.count('in_time')} of {count} | "
                f"{'yes' if self.middles_agree() else '**no**'} | {self.count('in_range')} | "
                f"{endings} | {self.count('named_end')} of {count} | {self.count('same_end')} | "
                f"{self.count('covered')} | {unlike} |")

    def print_ends(self):
        for each in self.rounds:
            for title, rows in (("forecast only", each.expected - each.real),
                                ("real only", each.real - each.expected)):
                for where, what, old, new in sorted(rows, key=str):
                    print(f"    {title}: {where} {what} {expect.format_ranges(old)} -> "
                          f"{expect.format_ranges(new)}")


COUNTS = (("in_time", "in time"), ("in_range", "in range"), ("named_end", "ends named"),
          ("same_end", "as the first of them"), ("covered", "with each membership as some run had it"))
HEADING = ("| seed | switches | corrections | leave/leave-all | change | forecast (range): real, ms | "
           "within 10 % or 200 ms | middles | in range | ends forecast | end among them | "
           "the first of them | each membership by itself | differences before |\n|" + "---|" * 14)


def ask_forecast(trial, build, runs, chance, before):
    """@return (the forecast, the moment that it is about in seconds since the epoch)"""
    after = ASK_SECONDS + chance.uniform(0, trial.times["leave-all"] / 1000)
    newest = max(json.loads(path.read_text(encoding="utf-8"))["taken"] for path in before.glob("*.json"))
    forecast = ask(build, "plan", "-j", "--runs", runs, "--after", round(1000 * after), *trial.words, before)
    return forecast, newest / 1000 + after


def frames_sent(net):
    """{(switch, port): (ms since the epoch, MVRP PDUs since the start)}"""
    snapshots = {name: json.loads(node.control("snapshot").stdout) for name, node in net.nodes.items()}
    return {(name, port["name"]): (snapshot["taken"], sum(port["statistics"]["pdusOut"].values()))
            for name, snapshot in snapshots.items() for port in snapshot["ports"]}


def frames_a_minute(net):
    """Of the port that sends most, at rest."""
    before = frames_sent(net)
    time.sleep(COUNTED_LEAVE_ALLS * NEW_TIMES["leave-all"] / 1000)
    after = frames_sent(net)
    return max(60_000 * (after[port][1] - sent) / (after[port][0] - at)
               for port, (at, sent) in before.items())


def run_once(trial, build, runs, chance):
    directory = pathlib.Path(tempfile.mkdtemp(prefix="mvrp-forecast-"))
    try:
        net = Scattered(topology.build(trial.document(), directory), directory, build, chance)
        with net, Watched(net, directory) as watched:
            watched.await_calm(time.time(), trial.calm_seconds())
            before = collect(net, directory / "before")
            forecast, moment = ask_forecast(trial, build, runs, chance, before)
            started = change(net, trial, moment)
            last = watched.await_calm(started, trial.calm_seconds())
            frames = frames_a_minute(net) if trial.kind == "times" else None
            after = collect(net, directory / "after")
            if trial.kind == "restart":
                last = last_of_restarted(net.nodes[trial.switch], last)
            real = ask(build, "diff", "-j", before, after)["differences"]
            return Once(forecast, round(1000 * (last - started)), real, frames)
    finally:
        shutil.rmtree(directory, ignore_errors=True)


def run(trial, build, runs, rounds):
    chance = random.Random(1000 + trial.seed)
    return Result(trial, [run_once(trial, build, runs, chance) for _ in range(rounds)])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build")
    parser.add_argument("--seeds", default="1-10", help="networks, one each")
    parser.add_argument("--runs", type=int, default=15, help="of each forecast")
    parser.add_argument("--rounds", type=int, default=3, help="how often each is tried, from nothing")
    parser.add_argument("--verbose", action="store_true", help="print how end states differ")
    arguments = parser.parse_args()
    results = []
    print(HEADING)
    for seed in sorted(expect.parse(arguments.seeds)):
        results.append(run(Trial(seed), arguments.build.resolve(), arguments.runs, arguments.rounds))
        print(results[-1].row(), flush=True)
        if arguments.verbose:
            results[-1].print_ends()
    rounds = [each for result in results for each in result.rounds]
    print("\nof", len(rounds), "changes:", ", ".join(
        f"{sum(getattr(each, what) for each in rounds)} {words}" for what, words in COUNTS),
        f"; middles agree in {sum(result.middles_agree() for result in results)} of {len(results)} networks")
    good = sum(result.good() for result in results)
    print(f"\n{good} passed, {len(results) - good} failed")
    return 0 if good == len(results) else 1


if __name__ == "__main__":
    sys.exit(main())
