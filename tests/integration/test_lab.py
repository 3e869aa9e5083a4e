# SPDX-License-Identifier: MIT
"""What lab.py says at the end of a run that is kept: typed by a shell, line by line."""

import pathlib
import re
import subprocess
import sys
import unittest

from support import BUILD, NetworkTest

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
    def lab(self, *words):
        done = subprocess.run([sys.executable, LAB, *map(str, words)], capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, timeout=120, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

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


if __name__ == "__main__":
    unittest.main()
