# SPDX-License-Identifier: MIT
"""The page about a run: the topology as a picture, how each VLAN spread, the frames on each cable.

One HTML file that needs nothing else: page.html with the run's facts as JSON in it."""

import json
import pathlib

import capture
import history
import layout

PAGE = pathlib.Path(__file__).resolve().parent / "page.html"
PLACE_OF_DATA = "/* the run */"


def cable_facts(watched, ends, end, frames):
    up = history.spans(watched.cables[ends], end, lambda up: True if up else None)
    return {"a": ends[0], "b": ends[1], "up": [[first, last] for first, last, _ in up],
            "frames": frames}


def memberships(watched, topology, end, vlan):
    """How each port that leads to another switch had the VLAN, and when."""
    found = {}
    for cable in topology.cables:
        for here, there in ((cable.a, cable.b), (cable.b, cable.a)):
            found[f"{here} {there}"] = history.spans(
                watched.states[here], end,
                lambda state, there=there: history.kind_at(state["ports"][there], vlan))
    return found


def facts(watched, network, results, end):
    topology = network.topology
    places = layout.place(topology.switches, [(c.a, c.b) for c in topology.cables])
    return {
        "title": topology.title,
        "seconds": round(end, 2),
        "switches": [{"name": name, "x": round(x, 3), "y": round(y, 3)}
                     for name, (x, y) in places.items()],
        "hosts": [{"name": host.name, "switch": host.switch} for host in topology.hosts],
        "cables": [cable_facts(watched, ends, end, capture.between(network, ends, watched.clock))
                   for ends in watched.cables],
        "steps": [{"at": round(at, 2), "title": title} | result
                  for (at, title), result in zip(watched.marks, results)],
        "vlans": [{"vlans": ranges, "switches": way,
                   "ports": memberships(watched, topology, end, first_of(ranges))}
                  for ranges, way in history.vlan_groups(watched, end)],
    }


def first_of(ranges):
    return int(ranges.replace("-", ",").split(",")[0])


def write(path, watched, network, results):
    """@param results  of the steps: dicts with "good" and "text"
    @pre the switches have ended, so that the captures are whole"""
    end = watched.now()
    data = json.dumps(facts(watched, network, results, end), separators=(",", ":"))
    page = PAGE.read_text(encoding="utf-8")
    # A title may hold what would end the script.
    path.write_text(page.replace(PLACE_OF_DATA, data.replace("</", "<\\/")), encoding="utf-8")
