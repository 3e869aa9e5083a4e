# SPDX-License-Identifier: MIT
"""Looking into a running daemon: its functions by name, the debug socket, and the traces in the log."""

import random
import socket
import struct
import unittest

import topology
from support import TIMERS, NetworkTest, cable

WORD = struct.Struct("=I")


class Functions(NetworkTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10", ports=("west", "east"))

    def call(self, words):
        done = self.switch.control(f"debug call {words}")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def test_every_dump_comes_back_to_the_caller(self):
        for words, expected in (
                ("mvrpDbgGlbShow", ["global info:", "max port num:", "vlannum_pertimes:"]),
                ("mvrpDbgPortShow", ["port info:", "port unit: 1", "port unit: 2", "======"]),
                ("mvrpDbgPortThisShow 2", ["port unit: 2", "vlan flag:", "vid 4095: 0"]),
                ("mvrpDbgPortThisShow 9", ["no this port entry.(9)"]),
                ("mvrpDbgPortVlanShow 1 10", ["port 1 vlan 10 info:", "APPLICANT:", "REG-BIT: 1"]),
                ("mvrpDbgPortVlanShow 9 10", ["port is not exist"]),
                ("mvrpShowPort", ["portunit 1", "registration_mode 1"]),
                ("mvrpDbgHandler 4 70000 0", ["4: gMvrpInfo.vlanNumPerTimes"]),
                ("mvrpDbgHandler 3 1 10", ["dbg handler:", "port 1 vlan 10 info:"])):
            with self.subTest(words):
                printed = self.call(words)
                for text in expected:
                    self.assertIn(text, printed)
        self.assertIn("vlannum_pertimes: 4464", self.call("mvrpDbgGlbShow"))

    def test_functions_are_listed_and_others_refused(self):
        names = self.switch.query("debug list")["functions"]
        self.assertIn("mvrpDbgPortShow", names)
        self.assertNotIn("mvrpDbgServer", names, "it would wait for a connection")
        done = self.switch.control("debug call mvrpDbgServer")
        self.assertEqual(done.returncode, 1)
        self.assertIn("mvrpDbgPortShow", done.stderr)


class Traces(NetworkTest):
    def setUp(self):
        super().setUp()
        self.net = self.start({"a": "-", "b": "-", "c": "-"}, [cable("a", "b"), cable("b", "c")])
        self.node = self.net.nodes["b"]
        self.node.change("set debug none")

    def log(self):
        return self.node.log.read_text(encoding="utf-8", errors="replace")

    def lines_of(self, change):
        """The trace lines that are written while a VLAN, and the change, spreads through b."""
        before = len(self.log())
        change()
        return [line for line in self.log()[before:].splitlines() if " notice " not in line]

    def spread(self, *vlans):
        def change():
            for vlan in vlans:
                self.net.nodes["a"].change(f"switch vlan create {vlan}")
            wanted = ",".join(map(str, vlans))
            self.assert_state(self.net, b={"a": {"learnt": f"+{wanted}"}},
                              c={"b": {"learnt": f"+{wanted}"}})
            self.node.query("show")  # comes behind what still holds the lock
        return self.lines_of(change)

    def assert_some(self, lines, text, some=True):
        self.assertEqual(any(text in line for line in lines), some, (text, lines[-20:]))

    def test_categories_choose_what_is_written(self):
        self.assertEqual(self.spread(20), [])
        self.node.change("set debug receive")
        lines = self.spread(21)
        self.assert_some(lines, "Vector process")
        self.assert_some(lines, "timer handler", False)
        self.assert_some(lines, "pkt print start", False)
        self.node.change("set debug packet,timer")
        lines = self.spread(22)
        self.assert_some(lines, "pkt print start")
        self.assert_some(lines, "join timer handler")
        self.assert_some(lines, "Vector process", False)
        self.assertEqual(self.node.query("show")["debug"], "packet,timer")

    def test_the_port_filter_leaves_the_lines_of_one_port(self):
        self.node.change("set debug timer")
        self.node.change("debug port c")
        lines = self.spread(20)
        self.assert_some(lines, "add dynamic tag vlan 20 to port 1", False)
        self.assert_some(lines, "timer handler; port:2.")
        self.assert_some(lines, "timer handler; port:1.", False)
        self.node.change("debug port all")
        lines = self.spread(21)
        self.assert_some(lines, "add dynamic tag vlan 21 to port 1")

    def test_the_vlan_filter_leaves_the_lines_of_one_vlan(self):
        self.node.change("set debug timer")
        self.node.change("debug vlan 21")
        lines = self.spread(20, 21)
        self.assert_some(lines, "add dynamic tag vlan 21 to port 1")
        self.assert_some(lines, "add dynamic tag vlan 20 to port 1", False)
        self.node.change("debug vlan all")
        lines = self.spread(22)
        self.assert_some(lines, "add dynamic tag vlan 22 to port 1")

    def test_a_filter_that_can_not_be_is_refused(self):
        for words, allowed in (("debug vlan 4095", "1 to 4094"), ("debug port north", "1 a, 2 c")):
            done = self.node.control(words)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn(allowed, done.stderr)


class DebugSocket(NetworkTest):
    def setUp(self):
        super().setUp()
        plan = topology.Topology("debug", {"sw": topology.Switch("sw", "10")}, [])
        plan.switches["sw"].add_port("p1", timers=TIMERS)
        self.switch = self.run_topology(
            plan, {"sw": "\n[debug]\nsocket = true\n"}).nodes["sw"]
        self.path = self.switch.directory / "mvrpdbg.socket"
        self.await_true(self.path.exists)

    def connect(self):
        line = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        line.settimeout(20)
        line.connect(str(self.path))
        return line

    def request(self, *words):
        with self.connect() as line:
            for word in words:
                line.sendall(WORD.pack(word))
            self.assertEqual(line.recv(1), b"", "nothing is answered, and the connection closed")

    def await_printed(self, text):
        self.await_true(lambda: text in self.switch.log.read_text(errors="replace"))

    def test_a_request_of_four_words_runs_and_prints_to_the_console(self):
        self.request(1, 0, 0, 0)
        self.await_printed("global info:")
        self.request(3, 1, 10, 0)
        self.await_printed("port 1 vlan 10 info:")
        self.request(4, 70000, 0, 0)
        self.await_true(lambda: "vlannum_pertimes: 4464" in self.switch.control(
            "debug call mvrpDbgGlbShow").stdout)

    def test_only_the_own_user_may_use_it(self):
        self.assertEqual(self.path.stat().st_mode & 0o077, 0)

    def test_requests_of_any_size_leave_the_daemon_well(self):
        numbers = random.Random(5)
        for size in range(21):
            for _ in range(3):
                with self.connect() as line:
                    try:
                        line.sendall(numbers.randbytes(size))
                        line.shutdown(socket.SHUT_WR)
                        line.recv(1)
                    except (BrokenPipeError, ConnectionResetError, OSError):
                        pass  # it has read what it wanted and closed the connection
        self.assertNotIn("global info:", self.switch.log.read_text(errors="replace"))
        self.request(1, 0, 0, 0)
        self.await_printed("global info:")
        self.assert_serves(self.switch)

    def test_a_connection_that_says_nothing_does_not_hold_up_the_daemon(self):
        with self.connect() as silent:
            self.switch.change("set port p1 join-time 210")
            self.assertEqual(self.switch.query("show port p1")["ports"][0]["portMrpJoinTime"], 210)
            silent.setblocking(False)
            with self.assertRaises(BlockingIOError, msg="only when it was given up"):
                silent.recv(1)
            silent.setblocking(True)
            silent.sendall(WORD.pack(1))
        self.assert_serves(self.switch)

    def test_a_connection_that_says_nothing_does_not_hold_up_the_next(self):
        with self.connect() as silent:
            silent.sendall(WORD.pack(1))
            self.request(1, 0, 0, 0)
            self.await_printed("global info:")
            self.assertEqual(silent.recv(1), b"", "it was given up")


if __name__ == "__main__":
    unittest.main()
