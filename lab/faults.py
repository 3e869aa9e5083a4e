#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Puts faults into networks of running switches, one at a time, and looks whether `mvrp-net check`
names each with the right place and reason. Prints a table of hits and misses, and "N passed, N failed".

Networks are trees with random VLANs at random places; the same seed makes the same networks and faults."""

import argparse
import json
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

import expect
import network
import topology

ROOT = pathlib.Path(__file__).resolve().parent.parent
TIMERS = {"join": 200, "leave": 600, "leave-all": 2000}
# One LeaveAll and a half, the leave time, and what the machine is late.
SETTLE_SECONDS = 6
CALM_SECONDS = 60
SIZES = (5, 6, 8, 10, 12, 16, 25, 50)


def hash_of(name):
    """The byte by which the addresses of a switch's ports differ from those of others."""
    value = 2166136261
    for character in name.encode():
        value = ((value ^ character) * 16777619) & 0xFFFFFFFF
    return value & 0xFF


def names_of(count):
    """Names whose switches have addresses of their own."""
    names, taken, number = [], set(), 0
    while len(names) < count:
        number += 1
        name = f"s{number}"
        if hash_of(name) not in taken:
            taken.add(hash_of(name))
            names.append(name)
    return names


class Plan:
    """A random tree of switches, and VLANs that are wanted on two of them or three."""

    def __init__(self, chance, count):
        self.names = names_of(count)
        self.cables = [(chance.choice(self.names[:i]), name) for i, name in enumerate(self.names) if i]
        self.statics = {name: set() for name in self.names}
        for vlan in range(10, 10 + 2 * count):
            for name in chance.sample(self.names, chance.choice((2, 2, 3))):
                self.statics[name].add(vlan)

    def document(self):
        return {"title": "faults", "timers": TIMERS, "corrections": "all",
                "switch": [{"name": name, "vlans": expect.format_ranges(self.statics[name])}
                           for name in self.names],
                "cable": [{"between": list(ends)} for ends in self.cables]}

    def side(self, here, there):
        """The switches that are at this end of a cable."""
        found, ahead = {here}, [here]
        while ahead:
            at = ahead.pop()
            for a, b in self.cables:
                for near, far in ((a, b), (b, a)):
                    if near == at and far not in found and {near, far} != {here, there}:
                        found.add(far)
                        ahead.append(far)
        return found

    def crossing(self, here, there):
        """VLANs that are wanted at both ends of a cable."""
        def wanted(names):
            return set().union(*(self.statics[name] for name in names))
        near = self.side(here, there)
        return wanted(near) & wanted(set(self.names) - near)


class Fault:
    """One at a port of a switch. `port` is called after the switch at the other end."""

    kinds = ("notPermitted", "forbidden", "fixed", "limit", "portOff", "mvrpOff", "protocols", "times",
             "linkDown", "notHeard", "corrections", "onePlace")

    def __init__(self, kind, plan, chance):
        self.kind = kind
        places = []
        for a, b in plan.cables:
            for here, there in ((a, b), (b, a)):
                vlans = self.vlans_at(plan, here, there)
                if vlans:
                    places.append((here, there, vlans))
        self.switch, self.port, self.vlans = chance.choice(places)
        self.vlan = chance.choice(sorted(self.vlans))
        self.others = [name for name in plan.names
                       if self.vlan in plan.statics[name] and name != self.switch]

    def vlans_at(self, plan, here, there):
        """Those for which the fault has an effect; none where it has none."""
        crossing = plan.crossing(here, there)
        if self.kind in ("forbidden", "fixed"):
            return crossing - plan.statics[here]
        if self.kind == "limit":
            learnt = crossing - plan.statics[here]
            return learnt if len(learnt) > 2 else set()
        if self.kind == "onePlace":
            return {vlan for vlan in plan.statics[here]
                    if sum(vlan in plan.statics[name] for name in plan.names) == 2}
        return crossing

    def timing(self):
        return [f"set port {self.port} {name}-time {ms}" for name, ms in TIMERS.items()]

    def enabling(self):
        return [f"set port {self.port} enable on", *self.timing()]

    def commands(self):
        """(to put it in, to take it out)"""
        port, vlan = self.port, self.vlan
        return {
            "notPermitted": ([f"switch vlan remove-port {port} {vlan}"],
                             [f"switch vlan add-port {port} {vlan}"]),
            "forbidden": ([f"set port {port} registration forbidden"],
                          [f"set port {port} registration normal"]),
            "fixed": ([f"set port {port} registration fixed", f"switch port link {port} down",
                       f"switch port link {port} up"], [f"set port {port} registration normal"]),
            "portOff": ([f"set port {port} enable off"], self.enabling()),
            "protocols": (["set global compliance on"], ["set global compliance off"]),
            "times": ([f"set port {port} leave-all-time 30000", f"set port {port} leave-time 12000",
                       f"set port {port} join-time 6000"],
                      self.timing()),
            "linkDown": ([f"switch port link {port} down"], [f"switch port link {port} up"]),
            "onePlace": ([f"switch vlan delete {vlan}"], [f"switch vlan create {vlan}"]),
        }.get(self.kind, ([], []))

    def put_in(self, net):
        node = net.nodes[self.switch]
        if self.kind == "notHeard":
            net_port = next(port for port in node.switch.ports if port.name == self.port)
            self.cable = net_port.cable
            node.change(f"switch port cable {self.port} none")
        elif self.kind == "corrections":
            self.restart(net, [name for name in topology.correction_names() if name != "apply-soon"])
        elif self.kind == "mvrpOff":
            node.change("set global enable off")
        elif self.kind == "limit":
            self.limit(node, "max-vlans = 1\n")
            node.change(f"set port {self.port} enable off")
            self.await_nothing_learnt(node)  # what is registered stays
            for command in self.enabling():
                node.change(command)
        for command in self.commands()[0]:
            node.change(command)

    def take_out(self, net):
        node = net.nodes[self.switch]
        if self.kind == "notHeard":
            node.change(f"switch port cable {self.port} {self.cable}")
        elif self.kind in ("corrections", "mvrpOff"):
            self.restart(net, "all")
        elif self.kind == "limit":
            self.limit(node, "")
        for command in self.commands()[1]:
            node.change(command)

    def restart(self, net, corrections):
        node = net.nodes[self.switch]
        node.stop()
        node.switch.corrections = corrections
        node.start()
        node.wait_ready()

    def limit(self, node, line):
        """The file with or without a limit of the port."""
        text = node.configuration_file.read_text(encoding="utf-8").replace("max-vlans = 1\n", "")
        name = f'name = "{self.port}"\n'
        node.configuration_file.write_text(text.replace(name, name + line), encoding="utf-8")
        node.change("config apply")

    def await_nothing_learnt(self, node):
        deadline = time.monotonic() + CALM_SECONDS
        while node.query(f"show running {self.port}")["ports"][0]["vlansLearnt"] != "-":
            if time.monotonic() > deadline:
                raise RuntimeError(f"{self.switch}:{self.port} forgets nothing")
            time.sleep(0.1)

    def is_named_by(self, finding):
        """Whether a finding has the reason and the place of this fault."""
        if finding["reason"] != self.kind:
            return False
        if self.kind == "notHeard":
            return finding["cable"] in self.cables()
        if self.kind == "onePlace":
            return finding["switch"] in self.others
        if self.kind == "times":  # it is the other end whose leave time is too short
            return (finding["switch"], finding["port"]) == (self.port, self.switch)
        whole = self.kind in ("mvrpOff", "protocols", "corrections")
        return finding["switch"] == self.switch and finding["port"] == (None if whole else self.port)

    def cables(self):
        ends = f"{self.switch}:{self.port}", f"{self.port}:{self.switch}"
        return f"{ends[0]} - {ends[1]}", f"{ends[1]} - {ends[0]}"


class Checker:
    def __init__(self, net, build, directory):
        self.net = net
        self.program = build / "network" / "mvrp-net"
        self.directory = directory
        directory.mkdir()

    def findings(self):
        for name, node in self.net.nodes.items():
            node.change(f"snapshot -o {self.directory / name}.json")
        done = subprocess.run([self.program, "check", "-j", self.directory], capture_output=True,
                              text=True, timeout=60, check=False)
        if done.returncode not in (0, 1):
            raise RuntimeError(done.stderr)
        return json.loads(done.stdout)["findings"]

    def await_calm(self):
        """Until nothing is found. @return what still is"""
        deadline = time.monotonic() + CALM_SECONDS
        while (found := self.findings()) and time.monotonic() < deadline:
            time.sleep(1)
        return found


def text_of(finding):
    port = f":{finding['port']}" if finding["port"] else ""
    return f"{finding['reason']} {finding['switch']}{port} {finding['vlans']}"


def try_fault(fault, checker, keep):
    """@return (whether it was named, findings beside it)"""
    fault.put_in(checker.net)
    time.sleep(SETTLE_SECONDS)
    found = checker.findings()
    if keep:
        name = f"{len(checker.net.nodes)}-{fault.kind}-{fault.switch}-{fault.port}"
        shutil.copytree(checker.directory, keep / name, dirs_exist_ok=True)
    named = [each for each in found if fault.is_named_by(each)]
    fault.take_out(checker.net)
    return bool(named), [text_of(each) for each in found if each not in named]


def run_network(count, kinds, chance, build, keep):
    """Yields a row for each fault of one network."""
    plan = Plan(chance, count)
    directory = pathlib.Path(tempfile.mkdtemp(prefix="mvrp-faults-"))
    try:
        net = network.Network(topology.build(plan.document(), directory), directory, build)
        for node in net.nodes.values():  # a cable that is put back lies in two directories
            node.extra_configuration = f'\n[command]\ndirectories = ["{directory}"]\n'
        with net:
            checker = Checker(net, build, directory / "snapshots")
            for kind in kinds:
                calm = checker.await_calm()
                if calm:
                    raise RuntimeError(f"findings without a fault: {[text_of(each) for each in calm]}")
                fault = Fault(kind, plan, chance)
                named, beside = try_fault(fault, checker, keep)
                yield count, fault, named, beside
    finally:
        shutil.rmtree(directory, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--faults", type=int, default=40)
    parser.add_argument("--sizes", default=",".join(map(str, SIZES)), help="switches of the networks")
    parser.add_argument("--keep", type=pathlib.Path, help="a directory for the snapshots of each fault")
    arguments = parser.parse_args()
    chance = random.Random(arguments.seed)
    sizes = [int(size) for size in arguments.sizes.split(",")]
    kinds = [Fault.kinds[i % len(Fault.kinds)] for i in range(arguments.faults)]
    chance.shuffle(kinds)
    passed = failed = beside_all = 0
    print("| switches | fault | place | VLAN | named | beside it |\n|---|---|---|---|---|---|")
    for index, count in enumerate(sizes):
        for row in run_network(count, kinds[index::len(sizes)], chance, arguments.build.resolve(),
                               arguments.keep):
            size, fault, named, beside = row
            passed, failed = passed + named, failed + (not named)
            beside_all += len(beside)
            print(f"| {size} | {fault.kind} | {fault.switch}:{fault.port} | {fault.vlan} | "
                  f"{'yes' if named else '**no**'} | {'; '.join(beside) or '-'} |", flush=True)
    print(f"\n{beside_all} reports beside the faults\n{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
