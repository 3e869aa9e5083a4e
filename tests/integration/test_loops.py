# SPDX-License-Identifier: MIT
"""Two ports of one switch on one cable: with loop-guard one of them takes no part."""

import unittest

import topology
from support import TIMERS, NetworkTest


class Loops(NetworkTest):
    def start_looped(self):
        """Ports p1 and p2 are connected to each other, without a guard."""
        ends = [self.directory / "one", self.directory / "two"]
        switch = topology.Switch("sw", "10")
        for name, (here, there) in zip(("p1", "p2"), (ends, ends[::-1])):
            switch.add_port(name, cable=f"unix:{here},{there}", timers=TIMERS)
        self.node = self.run_topology(topology.Topology("test", {"sw": switch}, [])).nodes["sw"]

    def guard(self, on):
        text = self.node.configuration_file.read_text(encoding="utf-8")
        lines = [line for line in text.splitlines() if not line.startswith("loop-guard")]
        lines.insert(1, f"loop-guard = {'true' if on else 'false'}")
        self.node.configuration_file.write_text("\n".join(lines) + "\n", encoding="utf-8")
        self.assertEqual(self.node.control("config apply").returncode, 0)

    def ports(self):
        return {port["name"]: port for port in self.node.query("show ports")["ports"]}

    def looped(self):
        return [port for port in self.ports().values() if port["loopWith"]]

    def test_without_the_guard_both_ports_register_what_the_other_declares(self):
        self.start_looped()
        self.await_true(lambda: all(port["vlansRegistered"] == "1,10" for port in self.ports().values()))
        self.assertEqual(self.looped(), [])

    def test_with_the_guard_one_port_is_down_and_both_are_named(self):
        self.start_looped()
        self.guard(True)
        held = self.await_true(self.looped)[0]
        other = "p1" if held["name"] == "p2" else "p2"
        self.assertFalse(held["linkUp"])
        self.assertEqual(held["loopWith"], self.ports()[other]["port"])
        self.assertGreater(held["counters"]["droppedLoop"], 0)
        found = self.node.control("doctor").stdout
        self.assertRegex(found, rf"(?s){held['name']}.*frames that {other} sent come in")
        self.assertIn(f"port {held['loopWith']} of this switch is at the other end",
                      self.node.control(f"show port {held['name']}").stdout)
        self.assertIn(f'mvrp_port_loop_with{{port="{held["name"]}"', self.node.control("metrics").stdout)
        self.guard(False)
        self.await_true(lambda: self.ports()[held["name"]]["linkUp"])
        log = self.node.log.read_text(encoding="utf-8")
        self.assertIn(f"a frame came in that {other} of this switch had sent: a loop", log)
        self.assertIn("the loop is over", log)


if __name__ == "__main__":
    unittest.main()
