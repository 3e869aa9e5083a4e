# SPDX-License-Identifier: MIT
"""The manual pages: the tutorial does what it says, and every setting is described where it belongs."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from support import BUILD

MANUALS = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "man"
MVRP = BUILD / "platform" / "host" / "mvrp"
MVRPCTL = BUILD / "cli" / "mvrpctl"


def literal_blocks(page):
    text = (MANUALS / page).read_text(encoding="utf-8")
    blocks = re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed$", text, re.MULTILINE | re.DOTALL)
    return [block.replace(r"\e", "\\") for block in blocks]


def settings():
    """The settings in mvrp.toml(5): {(section, driver or ""): keys}."""
    found, keys, depth = {}, None, 0
    for line in (MANUALS / "mvrp.toml.5").read_text(encoding="utf-8").splitlines():
        heading = re.match(r"\.Ss \[+([a-z.]+)\]+(?: with driver = \\\(dq(\w+)\\\(dq)?", line)
        if heading:
            keys = found.setdefault((heading[1], heading[2] or ""), set())
        elif line.startswith((".Ss", ".Sh")):
            keys = None
        elif line.startswith((".Bl", ".El")):
            depth += 1 if line.startswith(".Bl") else -1
        # What a key may be, in a list within the list, is no key.
        elif line.startswith(".It Li ") and keys is not None and depth == 1:
            # "key = value", "key , key , key", "key = value , Li key = value"
            for part in line.removeprefix(".It ").split(" , "):
                keys.add(part.removeprefix("Li ").split(" = ")[0].strip())
    return found


# A person types more slowly than the daemons start.
FIRST_CHANGE = "left switch vlan create 10-11"
READY = "".join(f"timeout 20 bash -c 'until mvrpctl --socket {side}/mvrpcmd.socket show; "
                "do sleep 0.1; done' > /dev/null 2>&1\n" for side in ("left", "right"))


class Tutorial(unittest.TestCase):
    def test_the_tutorial_runs_as_it_stands(self):
        script = "shopt -s expand_aliases\nset -e\ntrap 'kill $(jobs -p) 2> /dev/null || true' EXIT\n"
        for line in "".join(literal_blocks("mvrp.7")).splitlines(keepends=True):
            line = line.removeprefix("$ ")
            script += (READY if line.strip() == FIRST_CHANGE else "") + line
        self.assertIn(READY, script)
        with tempfile.TemporaryDirectory(prefix="mvrp-tutorial-") as directory:
            path = f"{MVRP.parent}:{MVRPCTL.parent}:{os.environ['PATH']}"
            # From its standard input, as a person types it: aliases count from the next line on.
            done = subprocess.run(["bash", "-m"], input=script, cwd=directory, text=True,
                                  capture_output=True, timeout=120, check=False,
                                  env=os.environ | {"PATH": path})
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"dynamic\b.*to-left.*\b10-11\b")


class Settings(unittest.TestCase):
    def known(self, driver, section, repeated):
        """The settings that the program knows in a section, by asking for one that it does not."""
        table = f"[[{section}]]" if repeated else f"[{section}]"
        with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
            text = "" if section == "switch" else f'[switch]\ndriver = "{driver}"\n'
            inside = f'driver = "{driver}"\n' if section == "switch" else ""
            file.write(f"{text}{table}\n{inside}no-such-setting = 1\n")
            file.flush()
            done = subprocess.run([MVRP, "--check", "--config", file.name], capture_output=True,
                                  text=True, timeout=20, check=False)
        self.assertEqual(done.returncode, 1, done.stderr)
        line = next(line for line in done.stderr.splitlines() if "no-such-setting" in line)
        return set(line.split("Known: ")[1].rstrip(".").split(", "))

    def test_every_setting_is_in_the_manual_and_no_other(self):
        documented = settings()
        self.assertGreater(len(documented), 9)
        times = {"registration", "participant", "join-time", "leave-time", "leave-all-time",
                 "periodic-time"}
        for (section, driver), keys in documented.items():
            repeated = section in ("port", "vlan", "management.port")
            with self.subTest(section=section, driver=driver):
                if section == "switch":
                    self.assertEqual(keys, self.known("linux", section, repeated))
                else:
                    # [management] holds the tables of its ports.
                    self.assertEqual(keys | ({"port"} if section == "management" else set()),
                                     self.known(driver or "soft", section, repeated))
        self.assertLessEqual(times, documented["port", "linux"])


if __name__ == "__main__":
    unittest.main()
