# SPDX-License-Identifier: MIT
"""The session in the README: its commands, in their order, give what stands there."""

import pathlib
import re
import unittest

import topology
from support import NetworkTest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXT = (ROOT / "README.md").read_text(encoding="utf-8")


def session():
    """[(switch, command, what it prints)]"""
    steps = []
    for line in re.findall(r"^(?:    (.*))?$", TEXT, re.MULTILINE):
        if prompt := re.fullmatch(r"(\w+)\$ mvrpctl (.*)", line):
            steps.append((prompt[1], prompt[2], []))
        elif line == "":
            steps.append(("", "", []))
        elif steps and steps[-1][0]:
            steps[-1][2].append(line)
    return [step for step in steps if step[0]]


class Readme(NetworkTest):
    def setUp(self):
        super().setUp()
        self.net = self.run_topology(topology.read(ROOT / "lab" / "topologies" / "demo.toml",
                                                   self.directory))
        # One after the other, as the demo does it.
        self.assert_state(self.net, middle={"west": {"learnt": "10-12"}}, east={"learnt": "10-12"})
        self.net.nodes["east"].change("switch vlan create 30")
        self.assert_state(self.net, middle={"east": {"learnt": "30"}}, west={"learnt": "30"})

    def test_the_session_goes_as_it_stands_there(self):
        steps = session()
        self.assertEqual(len(steps), 4, steps)
        for switch, command, wanted in steps:
            with self.subTest(f"{switch}$ {command}"):
                if not wanted:
                    self.net.nodes[switch].change(command)
                    continue
                shown = []

                def is_shown(switch=switch, command=command, wanted=wanted, shown=shown):
                    shown[:] = self.net.nodes[switch].control(command).stdout.splitlines()
                    return shown == wanted
                try:
                    self.await_true(is_shown)
                except AssertionError:
                    self.assertEqual(shown, wanted)

    def test_what_it_names_on_the_way_exists(self):
        commands = re.findall(r"`mvrpctl ([^`]*)`", TEXT)
        self.assertGreater(len(commands), 2)
        for command in commands:
            # The full screen wants a terminal; it is tried with one elsewhere.
            words = command.replace("watch --screen", "watch --seconds 1").replace("-j", "-j show")
            with self.subTest(command):
                done = self.net.nodes["middle"].control(words)
                self.assertEqual((done.returncode, done.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
