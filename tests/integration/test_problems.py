# SPDX-License-Identifier: MIT
"""The page of problems: each of its commands is one, what it quotes is said in that case, and what it has
one type mends it."""

import pathlib
import re
import shlex

from support import BUILD, NetworkTest, cable

PAGE = (pathlib.Path(__file__).resolve().parents[2] / "docs" / "problems.md").read_text(encoding="utf-8")
OTHERS = ("systemctl", "journalctl", "bridge")  # of the system
EXPLAIN = "explain middle 20"


def rows(title):
    """{what is said: commands of the last column} of a section."""
    section = PAGE[PAGE.index(f"## {title}"):].split("\n## ")[0]
    found = {}
    for said, _, typed in re.findall(r"^\| (.*?) \| (.*?) \| (.*?) \|$", section, re.MULTILINE):
        if quoted := re.match(r'"([^"]+)"', said):
            found[quoted[1]] = re.findall(r"`(mvrpctl [^`]+)`", typed)
    return found


class Problems(NetworkTest):
    """The page's port is the one of west that leads to middle; VLAN 20 is behind it."""

    def setUp(self):
        super().setUp()
        self.start_with("20")

    def start_with(self, vlans):
        self.net = self.start({"west": "-", "middle": vlans}, [cable("west", "middle")],
                              corrections="all")
        self.west, self.middle = self.net.nodes["west"], self.net.nodes["middle"]

    def typed(self, node, command):
        """What is printed; the page's port and file are ours."""
        words = command.replace("swp1", "middle" if node is self.west else "west")
        for path in ("/etc/mvrp/mvrp.toml", "/run/mvrp/", "frames.pcapng"):
            words = words.replace(path, str(node.configuration_file) if path.endswith(".toml")
                                  else f"{self.directory}/" + ("" if path.endswith("/") else path))
        return node.control(words.removeprefix("mvrpctl "))

    def explained(self, phrase):
        text = " ".join(self.west.control(EXPLAIN).stdout.split())
        return phrase in text

    def arrives(self):
        self.assert_state(self.net, west={"middle": {"learnt": "+20"}})

    def case(self, phrase, node, breaking, more=(), arrives=True):
        """Breaks something, finds the phrase, types what the page says, and finds it mended.
        more: typed besides; arrives: the VLAN is awaited, which takes long where a port that was off begins
        with the daemon's own times"""
        self.arrives()
        node.change(breaking)
        self.found(phrase, node, more, arrives)

    def without(self):
        """Begins anew, without VLAN 20."""
        self.net.stop()
        self.start_with("21")
        self.assert_state(self.net, west={"middle": {"learnt": "+21"}})

    def found(self, phrase, node, more=(), arrives=True):
        self.await_true(lambda: self.explained(phrase))
        for command in (*rows("A VLAN is not on a port")[phrase], *more):
            done = self.typed(node, command)
            self.assertEqual(done.returncode, 0, command + done.stderr)
        if arrives:
            self.arrives()
        self.await_true(lambda: not self.explained(phrase))

    def test_nobody_declares_it(self):
        self.without()
        self.found("never declared it", self.middle)

    def test_off_at_the_port(self):
        self.case("MVRP is off at this port", self.west, "set port middle enable off", arrives=False)

    def test_off_on_the_switch(self):
        self.case("MVRP is off on this switch", self.west, "set global enable off",
                  rows("A VLAN is not on a port")["MVRP is off at this port"], arrives=False)

    def test_link_down(self):
        self.case("the link is down", self.west, "switch port link middle down",
                  ["mvrpctl switch port link swp1 up"])

    def test_registration_forbidden(self):
        self.case("registration mode of the port is forbidden", self.west,
                  "set port middle registration forbidden")

    def test_not_permitted(self):
        self.without()
        self.west.change("switch vlan remove-port middle 20")
        self.middle.change("switch vlan create 20")
        self.found("permit list leaves it out", self.west)

    def test_each_case_is_tried(self):
        text = pathlib.Path(__file__).read_text(encoding="utf-8")
        for phrase in rows("A VLAN is not on a port"):
            self.assertIn(f'("{phrase}"', text)

    def test_the_commands_are_commands(self):
        self.arrives()
        blocks = re.findall(r"^```sh\n(.*?)^```$", PAGE, re.MULTILINE | re.DOTALL)
        lines = [line for block in blocks for line in block.splitlines()]
        self.assertGreater(len(lines), 12)
        for line in lines:
            with self.subTest(line):
                if line.startswith("mvrpctl "):
                    done = self.typed(self.west, re.sub(r"--seconds \d+", "--seconds 1", line))
                    self.assertIn(done.returncode, (0, 1), done.stderr)
                elif line.startswith("mvrp "):
                    self.assertTrue((BUILD / "platform" / "host" / "mvrp").exists())
                    self.assertEqual(line, "mvrp --check --config /etc/mvrp/mvrp.toml")
                else:
                    self.assertIn(shlex.split(line)[0], OTHERS)

    def test_what_the_port_shows_is_as_quoted(self):
        for phrase in rows("No VLAN at all comes over a cable"):
            self.west.change(f"switch port link middle {phrase.split()[-1]}")
            shown = " ".join(self.west.control("show port middle").stdout.split())
            self.assertIn(phrase, shown)
        for command in rows("No VLAN at all comes over a cable")["Link up"]:
            node = self.middle if "set port" in command else self.west
            self.assertEqual(self.typed(node, command).returncode, 0, command)
        self.assertEqual(self.west.control("switch port wire-form middle auto").returncode, 0)
        self.assertIn("mvrpctl switch port wire-form swp1 auto", PAGE)


if __name__ == "__main__":
    import unittest
    unittest.main()
