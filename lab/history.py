# SPDX-License-Identifier: MIT
"""What the switches of a network knew, and when: taken by looking at them again and again.

Times are seconds since the network was ready. A state is kept when it differs from the one before."""

import collections
import concurrent.futures
import contextlib
import threading
import time

import expect
import node

INTERVAL_SECONDS = 0.25
WATCHERS = 2  # switches that are looked at beside each other


def state_of(each):
    """What one switch knows now: its VLANs, and those of its ports."""
    vlans = {"permanent": set(), "dynamicMvrp": set()}
    for group in each.query("show vlans")["vlans"]:
        vlans[group["vlanStatus"]] |= expect.parse(group["vlans"])
    ports = {port["name"]: {key: frozenset(expect.parse(port[name]))
                            for key, name in expect.PORT_KEYS.items()}
             for port in each.query("show ports")["ports"]}
    return {"static": frozenset(vlans["permanent"]), "learnt": frozenset(vlans["dynamicMvrp"]),
            "ports": ports}


class History:
    """Watches a running network from a thread of its own. Use as a context manager."""

    def __init__(self, network):
        self.start = time.monotonic()
        self.clock = time.time()  # of the same moment, as captures count
        self.states = {name: [] for name in network.nodes}  # lists of (seconds, state)
        self.marks = []  # (seconds, title) of the steps
        self.cables = {(c.a, c.b): [(0.0, c.up)] for c in network.topology.cables}
        self._news = collections.deque()
        self._network = network
        self._ended = threading.Event()
        self._thread = threading.Thread(target=self._watch, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._ended.set()
        self._thread.join()
        self._look_at_all()

    def now(self):
        return time.monotonic() - self.start

    def mark(self, title):
        self.marks.append((self.now(), title))

    def cable(self, ends, up):
        key = tuple(ends) if tuple(ends) in self.cables else tuple(reversed(ends))
        self.cables[key].append((self.now(), up))

    def _look_at(self, name):
        with contextlib.suppress(node.NodeError, OSError):
            state = state_of(self._network.nodes[name])
            seen = self.states[name]
            if not seen or seen[-1][1] != state:
                self._note(name, seen[-1][1] if seen else state, state)
                seen.append((self.now(), state))

    def _note(self, name, before, after):
        for sign, vlans in (("learns", after["learnt"] - before["learnt"]),
                            ("forgets", before["learnt"] - after["learnt"])):
            if vlans:
                self._news.append(f"{self.now():6.1f} s  {name} {sign} {expect.format_ranges(vlans)}")

    def news(self):
        """Takes the texts of what was learnt and forgotten since the last call."""
        while self._news:
            yield self._news.popleft()

    def _look_at_all(self):
        with concurrent.futures.ThreadPoolExecutor(WATCHERS) as pool:
            list(pool.map(self._look_at, self._network.nodes))

    def _watch(self):
        while not self._ended.wait(INTERVAL_SECONDS):
            self._look_at_all()


def spans(seen, end, value_of):
    """Times in which a value held: [first second, last second, value] of each that is not None.
    @param seen  list of (seconds, state)"""
    found = []
    for at, state in seen:
        value = value_of(state)
        if found and found[-1][2] == value:
            continue
        if found:
            found[-1][1] = at
        found.append([at, end, value])
    return [[round(first, 2), round(last, 2), value] for first, last, value in found
            if value is not None]


def kind_on(switch_state, vlan):
    """How a switch knows a VLAN: "static", "learnt", "kept" (learnt, and no port has it registered any
    more), or None."""
    if vlan in switch_state["static"]:
        return "static"
    if vlan not in switch_state["learnt"]:
        return None
    return "learnt" if any(vlan in port["registered"] for port in switch_state["ports"].values()) else "kept"


def kind_at(port_state, vlan):
    """How a port has a VLAN: "registered", since what is behind it declares it; "unasked", a learnt
    member although nothing behind it does; or None."""
    if vlan in port_state["registered"]:
        return "registered"
    return "unasked" if vlan in port_state["learnt"] else None


def vlan_groups(history, end):
    """VLANs that went the same way through the network, together.
    @return list of (ranges, {switch: spans of kind_on()})"""
    known = set()
    for seen in history.states.values():
        for _, state in seen:
            known |= state["static"] | state["learnt"]
    ways = {}
    for vlan in sorted(known - {1}):
        way = {name: spans(seen, end, lambda state, vlan=vlan: kind_on(state, vlan))
               for name, seen in history.states.items()}
        ways.setdefault(repr(rounded(way)), ([], way))[0].append(vlan)
    return [(expect.format_ranges(vlans), way) for vlans, way in ways.values()]


def rounded(way):
    """Looks at several VLANs of a switch may fall to both sides of one change of them."""
    return {name: [(round(first), round(last), kind) for first, last, kind in found]
            for name, found in way.items()}
