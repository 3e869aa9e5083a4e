# SPDX-License-Identifier: MIT
"""Completion in real shells, at a real terminal: what is typed, and the line that comes out of it."""

import os
import pathlib
import shutil
import subprocess
import unittest

from at_terminal import END_OF_FILE, HOME, TAB, AtTerminal
from support import BUILD, NetworkTest

COMPLETIONS = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "completion"


class Shell(AtTerminal):
    """A shell at a terminal of its own."""

    def run(self, line):
        self.type(line + "; echo READ''Y\n")
        self.await_text("READY")

    def end(self):
        """Hangs up: a shell may have a line begun."""
        self.type(END_OF_FILE)
        os.close(self.terminal)
        os.waitpid(self.process, 0)

    def completed(self, begun):
        """The line that a TAB makes of this one."""
        self.type(begun + TAB + HOME + "echo GO''T: \n")
        return self.await_text(r"GOT: ([^\n]*)\n")[1].rstrip()


class InShells(NetworkTest):
    def setUp(self):
        super().setUp()
        self.file = self.directory / "some-settings.toml"
        self.file.touch()

    def environment(self):
        """With these programs first."""
        path = f"{BUILD / 'network'}:{BUILD / 'cli'}:{os.environ['PATH']}"
        return os.environ | {"PATH": path, "TERM": "dumb", "PS1": "> ", "HOME": str(self.directory)}

    def in_bash(self, file):
        shell = self.shell("bash", "--norc", "--noprofile", "-i")
        shell.run(f"bind 'set bell-style none'; source {COMPLETIONS / file}")
        return shell

    def in_zsh(self):
        shell = self.shell("zsh", "-f", "-i")
        shell.run(f"unsetopt beep; fpath=({COMPLETIONS} $fpath); autoload -Uz compinit; "
                  f"compinit -u -d {self.directory}/dump; bindkey -e")
        return shell

    def in_fish(self, file, asked):
        """What it offers, and what that means."""
        if shutil.which("fish") is None:
            self.skipTest("fish is not installed")
        return subprocess.run(["fish", "--no-config", "-c", f"source {COMPLETIONS / file}; {asked}"],
                              capture_output=True, text=True, timeout=60, check=True,
                              env=self.environment()).stdout

    def shell(self, *words):
        if shutil.which(words[0]) is None:
            self.skipTest(f"{words[0]} is not installed")
        shell = Shell(words, self.environment())
        self.addCleanup(shell.end)
        return shell


class Completion(InShells):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10-12", ports=("east", "west"))

    def environment(self):
        return self.switch.environment | super().environment() | {
            "MVRP_RUNTIME_DIR": str(self.switch.directory)}

    def assert_completes(self, shell):
        for begun, line in (("mvrpctl stan", "mvrpctl standby"),
                            ("mvrpctl show summ", "mvrpctl show summary"),
                            ("mvrpctl sh po e", "mvrpctl sh po east"),
                            ("mvrpctl set port east registration n",
                             "mvrpctl set port east registration normal"),
                            ("mvrpctl set debug rec", "mvrpctl set debug receive"),
                            ("mvrpctl debug call mvrpDbgG", "mvrpctl debug call mvrpDbgGlbShow"),
                            ("mvrpctl wait --vlan 10", "mvrpctl wait --vlan 10-12"),
                            ("mvrpctl explain e", "mvrpctl explain east"),
                            ("mvrpctl explain west 1", "mvrpctl explain west 1"),
                            ("mvrpctl explain west 12", "mvrpctl explain west 12"),
                            ("mvrpctl switch port link east d", "mvrpctl switch port link east down"),
                            ("mvrpctl set port west leave-a", "mvrpctl set port west leave-all-time"),
                            ("mvrpctl wait --port w", "mvrpctl wait --port west"),
                            ("mvrpctl wait --ti", "mvrpctl wait --timeout"),
                            (f"mvrpctl config diff {self.directory}/some-s",
                             f"mvrpctl config diff {self.file}"),
                            ("mvrpctl explain nosuch", "mvrpctl explain nosuch")):
            with self.subTest(begun):
                self.assertEqual(shell.completed(begun), line)

    def test_in_bash(self):
        self.assert_completes(self.in_bash("mvrpctl.bash"))

    def test_in_zsh(self):
        self.assert_completes(self.in_zsh())

    def test_zsh_says_what_the_candidates_mean(self):
        shell = self.in_zsh()
        shell.type("mvrpctl show port" + TAB + TAB)
        shell.await_text(r"ports +-- all ports with what they registered")

    def test_fish_asks_for_candidates_and_shows_what_they_mean(self):
        said = self.in_fish("mvrpctl.fish",
                            "complete -C 'mvrpctl sh po e'; complete -C 'mvrpctl set debug rec'; "
                            "complete -C 'mvrpctl switch port link west '")
        self.assertEqual(said, "east\tunit 1, up\nreceive\ndown\nup\n")

    def test_in_zsh_as_the_manual_says(self):
        """Without a file: what `completion zsh` prints, evaluated."""
        shell = self.shell("zsh", "-f", "-i")
        shell.run(f"unsetopt beep; autoload -Uz compinit; compinit -u -d {self.directory}/dump; "
                  'bindkey -e; eval "$(mvrpctl completion zsh)"')
        self.assertEqual(shell.completed("mvrpctl explain e"), "mvrpctl explain east")


if __name__ == "__main__":
    unittest.main()


class OfMvrpNet(InShells):
    """Its commands, their options, and files."""

    def assert_completes(self, shell):
        for begun, line in (("mvrp-net top", "mvrp-net topology"),
                            ("mvrp-net explain --fr", "mvrp-net explain --from"),
                            ("mvrp-net map --out", "mvrp-net map --output"),
                            ("mvrp-net --ver", "mvrp-net --version"),
                            (f"mvrp-net check {self.directory}/some-s", f"mvrp-net check {self.file}")):
            with self.subTest(begun):
                self.assertEqual(shell.completed(begun), line)

    def test_in_bash(self):
        self.assert_completes(self.in_bash("mvrp.bash"))

    def test_in_zsh(self):
        self.assert_completes(self.in_zsh())

    def test_in_fish(self):
        said = self.in_fish("mvrp.fish", "complete -C 'mvrp-net top'; complete -C 'mvrp-net explain --fr'; "
                                         "complete -C 'mvrp-net --ver'")
        self.assertEqual(said, "topology\twho is connected to whom, and how that is known\n"
                               "--from\tswitch where the way begins; default: all ways\n"
                               "--version\tprint the version\n")
