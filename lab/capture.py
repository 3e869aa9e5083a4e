# SPDX-License-Identifier: MIT
"""The frames on a cable, from the capture that one of its ends recorded."""

import json
import subprocess


def text_of(frame):
    """A frame in one line, from what mvrpctl makes of it."""
    events = [f"{event['event']} {event['vlans'] or ''}".strip() for event in frame["events"]]
    what = frame["problem"] or ", ".join(events) or "nothing"
    return f"{frame['form']}: {what}" if frame["form"] else what


def between(network, ends, start):
    """The frames on a cable: [seconds since `start`, 0 from the first end or 1 from the second, text].
    @pre the switches have ended, so that the captures are whole"""
    first = network.nodes[ends[0]]
    path = first.directory / f"{ends[1]}.pcap"
    if not path.exists():
        return []
    done = subprocess.run([first.mvrpctl, "-j", "decode", path], capture_output=True, text=True,
                          timeout=60, check=True)
    own = first.macs[ends[1]]
    return [[round(frame["time"] / 1000 - start, 3), int(frame["source"] != own), text_of(frame)]
            for frame in json.loads(done.stdout)["frames"]]
