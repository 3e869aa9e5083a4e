# SPDX-License-Identifier: MIT
"""What lab.py says at the end of a run that is kept: typed by a shell, line by line."""

import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

from support import BUILD, NetworkTest

LINE = pathlib.Path(__file__).resolve().parents[2] / "lab" / "topologies" / "line.toml"
LAB = pathlib.Path(__file__).resolve().parents[2] / "lab" / "lab.py"
TOPOLOGY = """
title = "two switches"
[timers]
join = 200
leave = 450
leave-all = 2000
[[switch]]
name = "west"
vlans = "20"
[[switch]]
name = "east"
[[cable]]
between = ["west", "east"]
[[step]]
title = "east learns"
within = 30
[step.expect.east]
learnt = "20"
"""


class KeptNetwork(NetworkTest):
    def start_lab(self, *words):
        return subprocess.run([sys.executable, LAB, *map(str, words)], capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, timeout=120, check=False)

    def lab(self, *words):
        done = self.start_lab(*words)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

    def kept_configuration(self, text, *words):
        """The configuration of east in a kept network."""
        file = self.directory / "two.toml"
        file.write_text(text, encoding="utf-8")
        stop = re.search(r"lab\.py (stop) (\S+)", self.lab("run", file, "--build", BUILD, "--keep", *words))
        self.addCleanup(self.lab, *stop.groups())
        return (pathlib.Path(stop[2]) / "east" / "mvrp.toml").read_text(encoding="utf-8")

    def test_corrections_are_those_of_the_file(self):
        text = self.kept_configuration('corrections = ["leave-needed", "own-batch"]' + TOPOLOGY)
        self.assertIn('corrections = ["leave-needed", "own-batch"]', text)

    def test_corrections_of_the_command_line_count_over_the_file(self):
        text = self.kept_configuration('corrections = "none"' + TOPOLOGY, "--corrections", "all")
        self.assertIn('corrections = "all"', text)

    def test_a_bad_topology_leaves_no_directory_behind(self):
        file = self.directory / "bad.toml"
        file.write_text("colour = 1\n", encoding="utf-8")
        for path in (file, self.directory / "missing.toml"):
            done = subprocess.run([sys.executable, LAB, "run", path], capture_output=True, text=True,
                                  check=False, timeout=120,
                                  env=os.environ | {"TMPDIR": str(self.directory)})
            self.assertEqual(done.returncode, 1, done.stdout)
            self.assertIn("lab: ", done.stderr)
        self.assertEqual([path.name for path in self.directory.iterdir()], ["bad.toml"])

    def test_an_unknown_correction_is_refused_with_those_that_there_are(self):
        file = self.directory / "two.toml"
        file.write_text('corrections = ["leave-neded"]' + TOPOLOGY, encoding="utf-8")
        done = self.start_lab("run", file, "--build", BUILD)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"'leave-neded' is no correction; allowed are .*leave-needed")

    def test_what_it_says_to_type_works_until_it_is_ended(self):
        file = self.directory / "two.toml"
        file.write_text(TOPOLOGY, encoding="utf-8")
        text = self.lab("run", file, "--build", BUILD, "--keep")
        lines = [line.strip() for line in text.split("The network goes on running")[1].splitlines()
                 if line.startswith("    ")]
        stop = re.search(r"lab\.py (stop) (\S+)", text)
        self.addCleanup(self.lab, *stop.groups())
        typed = [line for line in lines if "watch" not in line and "lab.py" not in line]
        self.assertEqual(len(typed), 5, lines)
        shell = subprocess.run(["bash", "-e"], input="\n".join(typed), capture_output=True, text=True,
                               timeout=60, check=False)
        self.assertEqual((shell.returncode, shell.stderr), (0, ""), shell.stdout)
        self.assertRegex(shell.stdout, r"1 +east +up +on")
        self.assertIn("VLAN 20", shell.stdout)


class Page(NetworkTest):
    """What is drawn is looked at by people; here that all of it is there to be drawn."""

    def test_it_has_each_kind_of_membership_and_all_that_its_script_looks_for(self):
        page = self.directory / "page.html"
        done = subprocess.run([sys.executable, LAB, "run", LINE, "--build", BUILD, "--corrections", "none",
                               "--report", page], capture_output=True, text=True, check=False, timeout=120)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        text = page.read_text(encoding="utf-8")
        data = re.search(r'<script id="run" type="application/json">(.*?)</script>', text, re.DOTALL)
        run = json.loads(data[1])
        for part, kinds in (("switches", {"static", "learnt"}), ("ports", {"registered"})):
            seen = {kind for group in run["vlans"] for spans in group[part].values()
                    for _, _, kind in spans}
            self.assertLessEqual(kinds, seen)
            self.assertLessEqual(seen, kinds | {"kept", "unasked"})
        self.assertEqual(len(run["steps"]), 5)
        self.assertTrue(all(step["good"] for step in run["steps"]))
        for name in re.findall(r'byId\("(\w+)"\)', text):
            self.assertIn(f'id="{name}"', text)

    def test_what_nobody_asked_for_is_told_from_what_is_registered(self):
        sys.path.insert(0, str(LAB.parent))
        import history
        port = {"registered": {20}, "learnt": {20, 30}}
        self.assertEqual([history.kind_at(port, vlan) for vlan in (20, 30, 40)],
                         ["registered", "unasked", None])
        state = {"static": {10}, "learnt": {20, 30}, "ports": {"a": port}}
        self.assertEqual([history.kind_on(state, vlan) for vlan in (10, 20, 30, 40)],
                         ["static", "learnt", "kept", None])


if __name__ == "__main__":
    unittest.main()
