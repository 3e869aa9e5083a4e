# SPDX-License-Identifier: MIT
"""Wrong configuration files: refused as a whole, with the place and what is allowed."""

import subprocess
import unittest

from support import BUILD, NetworkTest

PORT = '[[port]]\nunit = 1\n'

# name: (file, line that is named, words of the message)
WRONG = {
    "no toml": ("[switch\n", 1, ()),
    "an unknown section": ("[swich]\n", 1, ("swich", "switch")),
    "an unknown key": ('[switch]\nnme = "x"\n', 2, ("nme", "name")),
    "an unknown driver": ('[switch]\ndriver = "hard"\n', 2, ("hard", "soft")),
    "a number for a text": ("[switch]\nname = 5\n", 2, ("name is 5", "allowed")),
    "a port without a unit": ('[[port]]\nname = "x"\n', 1, ("has no unit", "needed")),
    "a unit twice": (PORT + PORT, None, ("unit 1", "twice")),
    "a wrong mac": (PORT + 'mac = "01:00:00:00:00:01"\n', 3, ("mac", "unicast")),
    "a wrong pvid": (PORT + "pvid = 4095\n", 3, ("pvid is 4095", "1 to 4094")),
    "wrong vlan ranges": (PORT + 'permit = "5-3"\n', 3, ("permit", "5-3", "1 to 4094")),
    "a wrong cable": (PORT + 'cable = "string"\n', 3, ("cable", "unix:LOCAL,PEER")),
    "a wrong wire form": (PORT + 'wire-format = "x"\n', 3, ("wire-format", "native")),
    "an aggregation that is none": (PORT + "aggregation = 7\n", 3, ("aggregation is 7",)),
    "a join time out of range": (
        PORT + "[management]\nenable = true\n[[management.port]]\nunit = 1\njoin-time = 199\n", 7,
        ("join-time is 199", "200 to 6000 ms")),
    "a leave time below twice the join time": (
        PORT + "[management]\nenable = true\n[[management.port]]\nunit = 1\n"
        "join-time = 300\nleave-time = 599\n", 8, ("leave-time", "twice the join-time")),
    "management of a port that is not there": (
        PORT + "[management]\nenable = true\n[[management.port]]\nunit = 2\n", 6, ("unit is 2",)),
    "a group that is not there": (
        '[command]\ngroup = "no-such-group"\n', 2, ("no-such-group", "group of this system")),
}


class Configuration(NetworkTest):
    def run_with(self, path):
        return subprocess.run([BUILD / "platform" / "host" / "mvrp", "--config", path],
                              env={"MVRP_RUNTIME_DIR": str(self.directory)}, timeout=30,
                              capture_output=True, text=True, check=False)

    def assert_refused(self, path, words):
        done = self.run_with(path)
        message = done.stderr + done.stdout
        self.assertNotEqual(done.returncode, 0, message)
        self.assertGreater(done.returncode, 0, "ended by a signal")
        for word in (str(path), *words):
            self.assertIn(word, message)
        self.assertFalse((self.directory / "mvrpcmd.socket").exists(), "it started all the same")

    def test_a_wrong_file_is_refused_with_its_place_and_what_is_allowed(self):
        for name, (text, line, words) in WRONG.items():
            with self.subTest(name):
                path = self.directory / "wrong.toml"
                path.write_text(text, encoding="utf-8")
                place = f"{path}:{line}:" if line else str(path)
                self.assert_refused(path, (place, *words))

    def test_all_mistakes_of_a_file_are_named_at_once(self):
        path = self.directory / "wrong.toml"
        path.write_text(PORT + 'pvid = 0\nmtu = 1\nlink = "sideways"\n', encoding="utf-8")
        self.assert_refused(path, (f"{path}:3:", f"{path}:4:", f"{path}:5:"))

    def test_a_file_that_is_not_there_is_named(self):
        self.assert_refused(self.directory / "absent.toml", ("No such file",))

    def test_a_directory_is_no_file(self):
        self.assert_refused(self.directory, ("can not be read",))

    def test_an_unknown_option_of_the_command_line_is_refused(self):
        done = subprocess.run([BUILD / "platform" / "host" / "mvrp", "--confg", "x"], timeout=30,
                              capture_output=True, text=True, check=False)
        self.assertGreater(done.returncode, 0)
        self.assertIn("--confg", done.stderr + done.stdout)


if __name__ == "__main__":
    unittest.main()
