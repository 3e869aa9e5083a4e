#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes snapshots of a large network, to measure mvrp-net with: one real snapshot again and again, with
names, addresses and neighbours of its own. Port n of a switch is connected to port n of the switch
before or after it, or of one that is further away, so that every port has a cable."""

import argparse
import json
import pathlib


def mac(switch, port):
    return f"02:00:{switch >> 8:02x}:{switch & 255:02x}:{port >> 8:02x}:{port & 255:02x}"


def neighbour(switch, port, count):
    """The switch at the other end of a port: pairs at distances that grow with its number."""
    distance = 1 + port // 2
    forward = (switch // distance) % 2 == 0
    other = switch + distance if forward else switch - distance
    return other if 0 <= other < count else None


def connect(document, switch, count, odd):
    document["switch"]["name"] = f"switch{switch}"
    document["hostName"] = f"host{switch}"
    for number, port in enumerate(document["ports"]):
        other = neighbour(switch, number, count)
        port["macAddress"] = mac(switch, port["port"])
        port["cable"] = "none"
        port["neighbours"] = []
        if other is not None:
            address = mac(other, port["port"])
            port["portMvrpLastPduOrigin"] = address
            port["neighbours"] = [{"macAddress": address, "protocol": "native", "age": 100, "lost": False}]
    if switch == odd:
        for port in document["ports"]:
            port["vlansMember"] = port["vlansPermitted"] = "1-2000"
    return document


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("snapshot", type=pathlib.Path, help="a real one, with many ports and VLANs")
    parser.add_argument("directory", type=pathlib.Path)
    parser.add_argument("--switches", type=int, default=1000)
    parser.add_argument("--odd", type=int, default=500, help="a switch that permits VLANs 1-2000 only")
    arguments = parser.parse_args()
    arguments.directory.mkdir(parents=True, exist_ok=True)
    text = arguments.snapshot.read_text(encoding="utf-8")
    for switch in range(arguments.switches):
        document = connect(json.loads(text), switch, arguments.switches, arguments.odd)
        path = arguments.directory / f"switch{switch:04}.json"
        path.write_text(json.dumps(document), encoding="utf-8")


if __name__ == "__main__":
    main()
