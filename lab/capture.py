# SPDX-License-Identifier: MIT
"""The frames on a cable, from the capture that one of its ends recorded."""

import json
import struct
import subprocess

GLOBAL_HEADER = struct.Struct("=IHHiIII")
PACKET_HEADER = struct.Struct("=IIII")


def packets(path):
    """Yields (seconds since 1970, bytes) of a pcap file in the machine's byte order."""
    data = path.read_bytes()
    place = GLOBAL_HEADER.size
    while place + PACKET_HEADER.size <= len(data):
        seconds, micros, length, _ = PACKET_HEADER.unpack_from(data, place)
        place += PACKET_HEADER.size
        yield seconds + micros / 1e6, data[place:place + length]
        place += length


def mac_of(bytes6):
    return ":".join(f"{byte:02x}" for byte in bytes6)


def decoded(node, path):
    """What mvrpctl makes of each frame of a capture, as texts."""
    done = subprocess.run([node.mvrpctl, "-j", "decode", path], capture_output=True, text=True,
                          timeout=60, check=False)
    if done.returncode != 0:
        return []
    return [frame["text"] for frame in json.loads(done.stdout)["frames"]]


def between(network, ends, start):
    """The frames on a cable: [seconds since `start`, 0 from the first end or 1 from the second, text].
    @pre the switches have ended, so that the captures are whole"""
    first = network.nodes[ends[0]]
    path = first.directory / f"{ends[1]}.pcap"
    if not path.exists():
        return []
    own = first.macs.get(ends[1])
    texts = decoded(first, path)
    found = []
    for number, (seconds, frame) in enumerate(packets(path)):
        text = texts[number] if number < len(texts) else f"{len(frame)} bytes"
        found.append([round(seconds - start, 3), int(mac_of(frame[6:12]) != own), text])
    return found
