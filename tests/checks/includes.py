#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks which folder includes which: the portable daemon stands on the standard library and the
contract alone, the platform knows nothing of the daemon, and within a folder the rooms stand on
floors: a room includes itself and what is below it. No folder holds more sources than a reader takes
in at once. Prints "N passed, N failed"."""

import collections
import itertools
import pathlib
import re
import sys

from _results import Results, finds

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
STANDARD = re.compile(r"^[a-z_]+$")  # C++ standard headers have no suffix and no folder

# folder -> (may include standard headers only, prefixes of the project's headers it may include)
RULES = {
    "platform/contract": (False, ("platform/contract/",)),
    "daemon": (True, ("daemon/", "platform/contract/")),
    "platform": (False, ("platform/",)),
    # The daemon runs on it in this process, so it reaches into the daemon; of the rest of the platform it
    # takes what has no state of its own.
    "platform/virtual": (False, ("platform/virtual/", "platform/contract/", "platform/model/",
                                 "platform/containers/", "platform/switch/route_message.h",
                                 "platform/wire/frame.h", "daemon/")),
    "cli": (False, ("cli/", "platform/contract/", "platform/model/", "platform/channel/protocol.h",
                    "platform/channel/observations.h", "platform/channel/snapshot_records.h",
                    "platform/config/load.h",
                    "platform/inspect/", "platform/runtime/files/descriptor.h", "platform/wire/events.h",
                    "platform/wire/pcap.h", "platform/wire/pcapng.h")),
    # Reads what mvrpctl wrote, and says things in its words.
    "network": (False, ("network/", "platform/contract/", "platform/model/", "cli/client/safe_text.h",
                        "cli/explain/explain.h", "cli/print/")),
    # Runs the daemons in memory, and looks into them.
    "network/plan": (False, ("network/", "platform/contract/", "platform/model/", "platform/virtual/",
                             "daemon/db/port.h", "daemon/fsm/machine.h")),
    # A client of the command channel, as mvrpctl is.
    "exporter": (False, ("exporter/", "cli/client/", "cli/views/metrics.h", "platform/model/",
                         "platform/host/privileges.h", "platform/runtime/")),
}

# folder -> its floors, the highest first. The rooms of one floor know nothing of each other, but for
# the ring: rooms that are one thing, whose files may also include each other in a circle.
FLOORS = {
    "daemon": (
        ("core",),
        ("mgmt", "events"),
        ("pdu", "map", "timers"),
        ("sync",),
        ("db",),
        ("fsm",),
        ("base",),
    ),
    "platform": (
        ("host",),
        ("requests", "inspect"),
        ("observe", "linux/netlink"),
        ("net", "linux", "replication", "virtual"),
        ("net/cables",),
        ("net/sockets",),
        ("switch", "channel"),
        ("wire", "config", "runtime/tasks"),
        ("runtime/files",),
        ("model", "containers", "runtime"),
        ("contract",),
    ),
    "cli": (
        (".",),  # the program
        ("shell", "status"),
        ("config", "doctor", "explain", "frames", "help", "log", "snapshot", "support", "watch"),
        ("commands",),
        ("views",),
        ("client", "print"),
    ),
    "network": (
        (".",),  # the program
        ("map",),
        ("show",),
        ("plan",),
        ("diff", "explain"),
        ("check",),
        ("join", "read"),
        ("model",),
    ),
}
# A registration that changes sends, a sending starts timers, and a timer withdraws registrations.
RINGS = {"daemon": {"pdu", "map", "timers"}}


def violations(root, folder):
    """Yields "file: include" for each include that the folder's rule forbids."""
    standard_only, prefixes = RULES[folder]
    inner = [root / other for other in RULES if other.startswith(folder + "/")]
    for path in sorted((root / folder).rglob("*")):
        if path.suffix not in (".h", ".cpp") or any(path.is_relative_to(room) for room in inner):
            continue
        for kind, name in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if kind == '"':
                allowed = name.startswith(prefixes)
            else:
                allowed = not standard_only or STANDARD.match(name)
            if not allowed:
                yield f"{path.relative_to(root)}: must not include {name}"


def included(root, folder):
    """Yields (file, include) for each include of a folder's own headers."""
    for path in sorted((root / folder).rglob("*")):
        if path.suffix in (".h", ".cpp"):
            for kind, name in INCLUDE.findall(path.read_text(encoding="utf-8")):
                if kind == '"' and name.startswith(folder + "/"):
                    yield path.relative_to(root), pathlib.PurePath(name)


def room(folder, path):
    """The room that a file lies in: a room may lie in another, as linux/netlink does in linux; "." is
    that of a file that lies in the folder itself."""
    parts = path.relative_to(folder).parts
    inner = "/".join(parts[:2])
    if any(inner in floor for floor in FLOORS[folder]):
        return inner
    return parts[0] if len(parts) > 1 else "."


def climbing(root, folder):
    """Yields "file: include" for each include that goes to a floor above, or across a floor."""
    height = {name: -at for at, floor in enumerate(FLOORS[folder]) for name in floor}
    ring = RINGS.get(folder, set())
    for path, name in included(root, folder):
        here, there = room(folder, path), room(folder, name)
        if here not in height:
            yield f"{path}: {here}/ is on no floor"
        elif here != there and not {here, there} <= ring \
                and height.get(there, 0) >= height[here]:
            yield f"{path}: must not include {name}, which is not below"


def circles(root, folder):
    """Yields each file, a header and its source being one, that includes itself by way of others.
    The ring is exempt."""
    ring = RINGS.get(folder, set())
    below = {}
    for path, name in included(root, folder):
        if not {room(folder, path), room(folder, name)} <= ring:
            below.setdefault(path.with_suffix(""), set()).add(name.with_suffix(""))
    for start in sorted(below):
        reached, ahead = set(), list(below[start] - {start})
        while ahead:
            here = ahead.pop()
            if here not in reached:
                reached.add(here)
                ahead += below.get(here, ())
        if start in reached:
            yield f"{start}: includes itself, by way of others"


MOST_SOURCES = 20


def crowded(root):
    """Yields each folder with more sources on one floor than MOST_SOURCES."""
    for folder in ("daemon", "platform", "cli", "network"):
        counts = collections.Counter(path.parent for path in (root / folder).rglob("*")
                                     if path.suffix in (".h", ".cpp"))
        for place, count in sorted(counts.items()):
            if count > MOST_SOURCES:
                yield f"{place.relative_to(root)}: {count} sources on one floor; allowed: {MOST_SOURCES}"


def planted(*includes):
    """A tree with a file in each folder that holds one include: (folder, line)."""
    return {f"{folder}/planted.cpp": line + "\n" for folder, line in includes}


PLANTED = [
    ("daemon", '#include "platform/switch/ports.h"'),
    ("daemon", "#include <sys/socket.h>"),
    ("daemon", "  #  include <unistd.h>"),
    ("platform", '#include "daemon/db/port.h"'),
    ("platform/contract", '#include "platform/channel/protocol.h"'),
    ("platform/virtual", '#include "platform/switch/switch_driver.h"'),
    ("platform/virtual/network", '#include "tests/simulation/step.h"'),
    ("cli", '#include "platform/config/host_config.h"'),
    ("cli", '#include "platform/switch/switch_driver.h"'),
    ("cli", '#include "platform/wire/adapter.h"'),
]


def planted_rooms(folder):
    """Yields (room, room that it includes, whether that is allowed) for each pair of rooms."""
    ring = RINGS.get(folder, set())
    for here, floor in enumerate(FLOORS[folder]):
        for there, other in enumerate(FLOORS[folder]):
            for a, b in itertools.product(floor, other):
                if a != b:
                    yield a, b, there > here or {a, b} <= ring


def crowds(count):
    """Whether so many sources in one folder are too many."""
    return finds({f"cli/attic/{number}.h": "" for number in range(count)}, crowded)


def trials():
    """Yields (whether the check was right about something planted, what that was)."""
    for count in (MOST_SOURCES, MOST_SOURCES + 1):
        yield crowds(count) == (count > MOST_SOURCES), f"{count} sources in a folder"
    for folder, line in PLANTED:
        yield finds(planted((folder, line)),
                    lambda root: (found for rule in RULES for found in violations(root, rule))), \
            f"{line} in {folder}/"
    for folder in FLOORS:
        def floors(root, folder=folder):
            return climbing(root, folder)

        for here, there, allowed in planted_rooms(folder):
            line = f'#include "{folder}/{there}/planted.h"'
            yield finds(planted((f"{folder}/{here}", line)), floors) != allowed, f"{line} in {here}/"
        attic = planted((f"{folder}/attic", f'#include "{folder}/attic/planted.h"'))
        yield finds(attic, floors), "a new room"
        base = f"{folder}/{FLOORS[folder][-1][0]}"
        yield finds(planted((f"{base}/a", f'#include "{base}/b/planted.h"'),
                            (f"{base}/b", f'#include "{base}/a/planted.h"')),
                    lambda root, folder=folder: circles(root, folder)), f"a circle in {base}/"


def main():
    results = Results()
    for right, what in trials():
        results.expect(right, f"the check is wrong about {what}")
    root = pathlib.Path(__file__).resolve().parents[2]
    for folder in RULES:
        results.nothing(violations(root, folder))
    for check in (climbing, circles):
        for folder in FLOORS:
            results.nothing(check(root, folder))
    results.nothing(crowded(root))
    return results.end()


if __name__ == "__main__":
    sys.exit(main())
