# SPDX-License-Identifier: MIT
"""Real daemons on a host whose calls fail: sends that are refused or short, receives that fail, are
empty or short, interrupted waits, a wall clock that jumps. host_faults.cpp stands between."""

import mmap
import struct
import time
import unittest

import topology
from support import BUILD, TIMERS, NetworkTest, cable

FAULTS = ("send_fails", "send_is_short", "receive_fails", "receive_is_empty", "receive_is_short",
          "interrupted", "clock_jumps")
PORT_MACHINES, MACHINES_BYTES = 261, 3 * 4095
CHAIN = {"a": "10", "b": "-", "c": "20"}
CABLES = (cable("a", "b"), cable("b", "c"))
CONVERGED = {"a": {"b": {"registered": "+20"}}, "c": {"b": {"registered": "+10"}},
             "b": {"a": {"registered": "+10"}, "c": {"registered": "+20"}}}


class HostFaults:
    """The file that the faulty host reads its chances from and counts in."""

    def __init__(self, path):
        self.path = path
        path.write_bytes(bytes(16 * len(FAULTS)))
        with path.open("r+b") as file:
            self.memory = mmap.mmap(file.fileno(), 0)

    def set(self, **percent):
        for name, chance in percent.items():
            struct.pack_into("=Q", self.memory, 8 * FAULTS.index(name), chance)

    def clear(self):
        self.set(**dict.fromkeys(FAULTS, 0))

    def count(self, name):
        return struct.unpack_from("=Q", self.memory, 8 * (len(FAULTS) + FAULTS.index(name)))[0]


class FaultyHost(NetworkTest):
    def setUp(self):
        super().setUp()
        self.faults = HostFaults(self.directory / "faults")
        self.addCleanup(self.faults.memory.close)
        self.environment = {
            "LD_PRELOAD": str((BUILD / "tests/integration/libhost_faults.so").resolve()),
            "HOST_FAULTS": str(self.faults.path),
        }

    def start_chain(self):
        document = {
            "title": "test", "timers": TIMERS, "cable": list(CABLES),
            "switch": [{"name": name, "vlans": vlans} for name, vlans in CHAIN.items()],
        }
        return self.run_topology(topology.build(document, self.directory),
                                 environment=self.environment)

    def await_faults(self, *names):
        """Waits until each of these has happened: else nothing is tested."""
        for name in names:
            self.await_true(lambda: self.faults.count(name) > 0)

    def test_frames_that_are_lost_on_the_way_out_and_in(self):
        self.faults.set(send_fails=40, receive_fails=20, receive_is_empty=20, interrupted=10)
        net = self.start_chain()
        self.assert_state(net, within=60, **CONVERGED)
        self.await_faults("send_fails", "receive_fails", "receive_is_empty", "interrupted")
        self.await_true(lambda: any(
            port["sendFailed"] for port in net.nodes["b"].query("show statistics")["statistics"]))
        net.nodes["a"].change("switch vlan delete 10")
        self.assert_state(net, within=60, b={"a": {"registered": "!10"}},
                          c={"b": {"registered": "!10"}})
        self.faults.clear()
        self.assert_state(net, b={"a": {"registered": "!10"}, "c": {"registered": "+20"}},
                          a={"b": {"registered": "+20"}})

    def test_a_host_that_sends_nothing_for_a_while(self):
        net = self.start_chain()
        self.assert_state(net, **CONVERGED)
        self.faults.set(send_fails=100)
        self.assert_state(net, b={"a": {"registered": "!10"}, "c": {"registered": "!20"}})
        self.faults.clear()
        self.assert_state(net, **CONVERGED)

    def test_requests_in_small_parts_lose_nothing(self):
        net = self.start_chain()
        self.assert_state(net, **CONVERGED)
        self.faults.set(send_is_short=90, receive_is_short=90, interrupted=20)
        with self.channel(net.nodes["b"]) as line:
            for _ in range(20):
                for unit in (1, 2):
                    line.send(PORT_MACHINES, unit)
            for _ in range(20):
                for vlan in (10, 20):
                    status, machines = line.receive()
                    self.assertEqual((status, len(machines)), (0, MACHINES_BYTES))
                    self.assertTrue(machines[3 * (vlan - 1) + 2] & 2)
        self.await_faults("send_is_short", "receive_is_short", "interrupted")
        self.assertEqual(len(net.nodes["b"].query("show ports")["ports"]), 2)

    def test_a_wall_clock_that_jumps_is_nothing_to_the_protocol(self):
        self.faults.set(clock_jumps=50)
        net = self.start_chain()
        self.assert_state(net, **CONVERGED)
        since = time.monotonic()
        while time.monotonic() - since < 2 * TIMERS["leave-all"] / 1000:
            self.assert_state(net, within=0, **CONVERGED)
        self.await_faults("clock_jumps")
        net.nodes["a"].change("switch vlan delete 10")
        self.assert_state(net, c={"b": {"registered": "!10"}})


if __name__ == "__main__":
    unittest.main()
