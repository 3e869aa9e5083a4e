# SPDX-License-Identifier: MIT
"""What the integration tests stand on: networks of real switches, the raw command channel, and a
test case that fails when a daemon did not end as it should or a sanitizer reported something."""

import os
import pathlib
import shutil
import socket
import struct
import tempfile
import time
import unittest

import network
import node
import topology

BUILD = pathlib.Path(os.environ["MVRP_BUILD"])
TIMERS = {"join": 200, "leave": 450, "leave-all": 2000}
SANITIZER_MARKS = ("ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                   "WARNING: ThreadSanitizer")


class ClosedError(Exception):
    """The daemon closed the connection."""


class Channel:
    """A client of the command channel that can also send what no proper client would."""

    HEADER = struct.Struct("=IIII")
    REPLY = struct.Struct("=II")

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        # Blocking while it connects: with a time-out a full queue of the listener is an error.
        self.socket.connect(str(path))
        self.socket.settimeout(20)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, number, unit=0, attribute=0, value=b"", length=None):
        length = len(value) if length is None else length
        try:
            self.socket.sendall(self.HEADER.pack(number, unit, attribute, length) + value)
        except (BrokenPipeError, ConnectionResetError) as error:
            raise ClosedError from error

    def take(self, count):
        data = b""
        while len(data) < count:
            try:
                more = self.socket.recv(count - len(data))
            except ConnectionResetError as error:
                raise ClosedError from error
            if not more:
                raise ClosedError
            data += more
        return data

    def receive(self):
        """(status, value)"""
        status, length = self.REPLY.unpack(self.take(self.REPLY.size))
        return status, self.take(length)

    def request(self, number, unit=0, attribute=0, value=b""):
        self.send(number, unit, attribute, value)
        return self.receive()


class NetworkTest(unittest.TestCase):
    """Networks that are taken down, and looked over, at the end of each test."""

    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="mvrp-test-"))
        self.addCleanup(shutil.rmtree, self.directory, ignore_errors=True)

    def start(self, switches, cables=(), timers=None, corrections=None):
        """Starts switches, given as {name: VLANs}, and cables, given as tables of a topology."""
        document = {
            "title": "test",
            "timers": timers or TIMERS,
            "switch": [{"name": name, "vlans": vlans} for name, vlans in switches.items()],
            "cable": list(cables),
        }
        if corrections is not None:
            document["corrections"] = corrections
        return self.run_topology(topology.build(document, self.directory))

    def start_one(self, vlans="-", ports=("p1",), timers=None, **port_fields):
        """Starts one switch with these ports. @return its node"""
        switch = topology.Switch("sw", vlans)
        for name in ports:
            switch.add_port(name, timers=timers or TIMERS, **port_fields)
        return self.run_topology(topology.Topology("test", {"sw": switch}, [])).nodes["sw"]

    def run_topology(self, plan, extra=None, environment=None):
        """Starts the switches of a plan. extra: more sections for the configuration of some;
        environment: more variables for the programs of all."""
        net = network.Network(plan, self.directory, BUILD)
        for each in net.nodes.values():
            each.environment |= environment or {}
        for name, text in (extra or {}).items():
            net.nodes[name].extra_configuration = text
        self.addCleanup(self.look_over, net)
        net.__enter__()
        return net

    def look_over(self, net):
        self.assertEqual(net.stop(), [], "a daemon did not end as it should")
        for each in net.nodes.values():
            log = each.log.read_text(encoding="utf-8", errors="replace")
            for mark in SANITIZER_MARKS:
                self.assertNotIn(mark, log, log[-4000:])

    def channel(self, each):
        channel = Channel(each.directory / "mvrpcmd.socket")
        self.addCleanup(channel.socket.close)
        return channel

    def assert_state(self, net, within=30, **expectations):
        _, _, texts = net.await_state(expectations, within)
        self.assertEqual(texts, [])

    def await_true(self, condition, within=30):
        """Waits until the condition holds, and returns its value."""
        deadline = time.monotonic() + within
        while not (value := condition()):
            if time.monotonic() > deadline:
                self.fail("what was awaited did not happen")
            time.sleep(0.05)
        return value

    def assert_serves(self, each):
        """The daemon answers, and is the one that was started."""
        self.assertIsNone(each.process.poll(), each.log_tail())
        self.assertEqual(each.query("show")["version"], 1)


def cable(first, second, **fields):
    return {"between": [first, second], **fields}


__all__ = ["BUILD", "TIMERS", "Channel", "ClosedError", "NetworkTest", "cable", "node"]
