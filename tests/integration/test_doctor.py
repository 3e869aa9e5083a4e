# SPDX-License-Identifier: MIT
"""mvrpctl doctor on software switches; on bridges it is tried by the kernel case `doctor`."""

import json
import unittest

from support import NetworkTest, cable


class Doctor(NetworkTest):
    def diagnose(self, each):
        """(exit status, ids of what was found)"""
        done = each.control("-j doctor")
        return done.returncode, [found["id"] for found in json.loads(done.stdout)["findings"]]

    def test_a_healthy_pair_has_nothing(self):
        net = self.start({"a": "10", "b": "20"}, [cable("a", "b")])
        each = net.nodes["a"]
        self.await_true(lambda: self.diagnose(each) == (0, []))
        self.assertEqual(each.control("doctor").stdout, "Nothing found.\n")

    def test_what_is_found_is_mended_by_what_it_says(self):
        net = self.start({"a": "10", "b": "20"}, [cable("a", "b")])
        each = net.nodes["a"]
        self.await_true(lambda: self.diagnose(each) == (0, []))
        each.change("set global enable off")
        self.assertEqual(self.diagnose(each), (1, ["globally-off"]))
        command = each.control("doctor").stdout.splitlines()[1].strip()
        self.assertEqual(command, "mvrpctl set global enable on")
        each.change(command.removeprefix("mvrpctl "))
        self.assertEqual(self.diagnose(each), (1, ["no-port-enabled", "port-not-enabled"]))
        lines = each.control("doctor").stdout.splitlines()
        each.change(lines[-1].strip().removeprefix("mvrpctl "))
        self.await_true(lambda: self.diagnose(each) == (0, []))

    def test_a_port_that_the_daemon_has_no_room_for_is_named(self):
        each = self.start_one(ports=("p1", "p2"))
        config = each.directory / "mvrp.toml"
        text = config.read_text(encoding="utf-8")
        each.control("set port p2 enable off")
        (each.directory / "small.toml").write_text(text + "\n[mvrp]\nmaxifnum = 1\n",
                                                   encoding="utf-8")
        done = each.control(f"doctor {each.directory / 'small.toml'}")
        self.assertIn("error: p2: the file switches MVRP on here, and the daemon refused: there is "
                      "room for 1 ports", done.stdout)

    def test_a_neighbour_of_the_other_form_is_named(self):
        net = self.start({"a": "10", "b": "20"}, [cable("a", "b")])
        each = net.nodes["a"]
        port = each.query("show ports")["ports"][0]["name"]
        other = net.nodes["b"].query("show ports")["ports"][0]["name"]
        net.nodes["b"].change(f"switch port wire-form {other} ieee")
        each.change(f"switch port wire-form {port} native")
        self.await_true(lambda: "other-form" in self.diagnose(each)[1])
        each.change(f"switch port wire-form {port} auto")
        self.await_true(lambda: "other-form" not in self.diagnose(each)[1])

    def test_it_works_without_a_daemon(self):
        each = self.start_one()
        each.stop()
        status, found = self.diagnose(each)
        self.assertEqual((status, found[0]), (1, "daemon-not-running"))
        self.assertEqual(each.control("doctor one two").returncode, 2)


if __name__ == "__main__":
    unittest.main()
