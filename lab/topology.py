# SPDX-License-Identifier: MIT
"""Topologies: switches, cables between them, recorded hosts, and the steps of a walk through them.

A topology is a TOML file; see lab/README.md for its form. Everything is checked when it is read:
TopologyError says what is wrong and what is allowed."""

import dataclasses
import pathlib
import re
import tomllib

CONTRACT = pathlib.Path(__file__).resolve().parent.parent / "platform" / "contract" / "corrections.h"


class TopologyError(Exception):
    """The topology file is wrong."""


@dataclasses.dataclass
class Port:
    unit: int
    name: str
    cable: str = "none"
    timers: dict = dataclasses.field(default_factory=dict)
    wire_format: str = "native"
    record: str = ""
    link: str = "up"  # when the switch starts


@dataclasses.dataclass
class Cable:
    """Between two switches, whose ports are called after each other."""
    a: str
    b: str
    up: bool = True  # when the network starts


@dataclasses.dataclass
class Host:
    """A port without a cable, which recorded frames are fed into."""
    name: str
    switch: str


@dataclasses.dataclass
class Switch:
    name: str
    vlans: str = "-"
    managed: bool = True  # its configuration switches the protocol on
    corrections: list | str | None = None  # of its daemon; None: what its driver has
    ports: list = dataclasses.field(default_factory=list)

    def add_port(self, name, **fields):
        if any(port.name == name for port in self.ports):
            raise TopologyError(f"switch {self.name} has two ports called {name}; "
                                "allowed is one cable between two switches")
        self.ports.append(Port(unit=len(self.ports) + 1, name=name, **fields))
        return self.ports[-1]


@dataclasses.dataclass
class Step:
    title: str
    text: str = ""
    at: float = 0.0  # seconds after the start before which it does not begin
    cut: list = dataclasses.field(default_factory=list)  # cables that go down, as pairs of switches
    mend: list = dataclasses.field(default_factory=list)  # cables that come up
    do: list = dataclasses.field(default_factory=list)
    expect: dict = dataclasses.field(default_factory=dict)
    show: list = dataclasses.field(default_factory=list)
    within: float = 10.0


@dataclasses.dataclass
class Topology:
    title: str
    switches: dict
    steps: list
    cables: list = dataclasses.field(default_factory=list)
    hosts: list = dataclasses.field(default_factory=list)


def take(table, place, **kinds):
    """The table's values by key, each of its kind; `...` as the default makes a key required."""
    values = {}
    for key, (kind, default) in kinds.items():
        if key in table and not isinstance(table[key], kind):
            kinds_of = kind if isinstance(kind, tuple) else (kind,)
            raise TopologyError(f"{place}: {key} is not a {' or '.join(k.__name__ for k in kinds_of)}")
        if key not in table and default is ...:
            raise TopologyError(f"{place}: {key} is missing")
        values[key] = table.get(key, default)
    unknown = set(table) - set(kinds)
    if unknown:
        raise TopologyError(f"{place}: {', '.join(sorted(unknown))} is not known; "
                            f"allowed are {', '.join(kinds)}")
    return values


def correction_names():
    """The corrections that daemons know."""
    names = re.search(r"kCorrectionNames = \{(.*?)\};", CONTRACT.read_text(encoding="utf-8"), re.DOTALL)
    return re.findall(r'"([a-z-]+)"', names[1])


def read_corrections(value, place):
    """"all", "none", or a list of names, checked; None stays None."""
    if value in (None, "all", "none"):
        return value
    known = correction_names()
    for name in [value] if isinstance(value, str) else value:
        if name not in known:
            raise TopologyError(f"{place}: {name!r} is no correction; allowed are \"all\", \"none\", or "
                                f"a list of {', '.join(known)}")
    return [value] if isinstance(value, str) else value


def add_cable(switches, entry, run_directory, place):
    fields = take(entry, place, between=(list, ...), timers=(dict, {}), record=(bool, False),
                  wire_format=(str, "native"), up=(bool, True))
    ends = fields["between"]
    if len(ends) != 2 or ends[0] == ends[1] or not set(ends) <= set(switches):
        raise TopologyError(f"{place}: between is {ends}; allowed are two different ones of "
                            f"{', '.join(switches)}")
    link = "up" if fields["up"] else "down"
    sockets = [run_directory / here / f"to-{there}" for here, there in (ends, reversed(ends))]
    for index, (here, there) in enumerate((ends, reversed(ends))):
        switches[here].add_port(
            there, cable=f"unix:{sockets[index]},{sockets[1 - index]}", timers=fields["timers"],
            wire_format=fields["wire_format"], link=link,
            record=str(run_directory / here / f"{there}.pcap") if fields["record"] else "")
    return Cable(*ends, fields["up"])


def add_host(switches, entry, place):
    fields = take(entry, place, name=(str, ...), switch=(str, ...), timers=(dict, {}))
    if fields["switch"] not in switches:
        raise TopologyError(f"{place}: there is no switch {fields['switch']}")
    switches[fields["switch"]].add_port(fields["name"], timers=fields["timers"])
    return Host(fields["name"], fields["switch"])


def read_step(entry, place, switches, cables):
    fields = take(entry, place, title=(str, ...), text=(str, ""), at=((int, float), 0.0),
                  cut=(list, []), mend=(list, []), do=(list, []), expect=(dict, {}),
                  show=(list, []), within=((int, float), 10.0))
    known = [{cable.a, cable.b} for cable in cables]
    for ends in fields["cut"] + fields["mend"]:
        if set(ends) not in known:
            raise TopologyError(f"{place}: there is no cable {ends}; allowed are pairs of "
                                "switches that a [[cable]] is between")
    for name in fields["expect"]:
        if name not in switches:
            raise TopologyError(f"{place}: expect names {name}, which is no switch")
    for line in fields["do"] + fields["show"]:
        if line.split(":")[0] not in switches:
            raise TopologyError(f"{place}: '{line}' does not begin with a switch and a colon")
    return Step(**fields)


def build(document, run_directory, record=False, corrections=None):
    """A Topology from the tables of its file; sockets and captures lie in run_directory.
    @param record       every cable, whatever its table says
    @param corrections  of all daemons, whatever the file says"""
    top = take(document, "topology", title=(str, ...), timers=(dict, {}), corrections=((str, list), None),
               switch=(list, ...), cable=(list, []), host=(list, []), step=(list, []))
    corrections = read_corrections(corrections or top["corrections"], "corrections")
    switches = {}
    for number, entry in enumerate(top["switch"], 1):
        fields = take(entry, f"switch {number}", name=(str, ...), vlans=(str, "-"))
        switches[fields["name"]] = Switch(**fields, corrections=corrections)
    if record:
        top["cable"] = [entry | {"record": True} for entry in top["cable"]]
    cables = [add_cable(switches, entry, pathlib.Path(run_directory), f"cable {number}")
              for number, entry in enumerate(top["cable"], 1)]
    hosts = [add_host(switches, entry, f"host {number}")
             for number, entry in enumerate(top["host"], 1)]
    for switch in switches.values():
        for port in switch.ports:
            port.timers = top["timers"] | port.timers
    steps = [read_step(entry, f"step {number}", switches, cables)
             for number, entry in enumerate(top["step"], 1)]
    return Topology(top["title"], switches, steps, cables, hosts)


def read(path, run_directory, record=False, corrections=None):
    try:
        return build(tomllib.loads(pathlib.Path(path).read_text(encoding="utf-8")), run_directory,
                     record, corrections)
    except (OSError, tomllib.TOMLDecodeError, TopologyError) as error:
        raise TopologyError(f"{path}: {error}") from error
