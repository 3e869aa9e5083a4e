# SPDX-License-Identifier: MIT
"""The user guide: its configurations are right and its commands do what they are there for, in the
order in which they stand. What is written for the system's directories is tried in others."""

import os
import pathlib
import re
import shlex
import signal
import subprocess
import unittest

from support import BUILD, SANITIZER_MARKS, NetworkTest

GUIDE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "user-guide.md"
PROGRAMS = {"mvrp": BUILD / "platform" / "host" / "mvrp", "mvrpctl": BUILD / "cli" / "mvrpctl"}
BUILT_ALREADY = "./dev build"


def blocks(language):
    text = GUIDE.read_text(encoding="utf-8")
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


class Guide(NetworkTest):
    """Directory a is that of the example, b that of the standby."""

    def setUp(self):
        super().setUp()
        for name in ("mvrp-a", "mvrp-b", "mvrp-x", "mvrp"):
            (self.directory / name).mkdir()
        example, active, standby = blocks("toml")
        self.write("mvrp.toml", example + active)
        # The standby has no management of its own, and what a runtime directory holds is its own.
        ports = re.sub(r"^\[management\].*?(?=^\[command\])", "", example,
                       flags=re.MULTILINE | re.DOTALL)
        cable = re.search(r"^cable = .unix:.*$", ports, re.MULTILINE)[0]
        standby = (ports.replace(cable, "") + standby).replace("/run/mvrp-a", "/run/mvrp-b")
        # When it takes over it takes the active's sockets.
        self.write("standby.toml", standby.replace('directories = ["/run/mvrp-b"',
                                                   'directories = ["/run/mvrp-a"'))
        self.running = []

    def write(self, name, text):
        (self.directory / "mvrp" / name).write_text(self.moved(text), encoding="utf-8")

    def moved(self, text):
        return text.replace("/run/mvrp-", f"{self.directory}/mvrp-").replace(
            "/etc/mvrp/", f"{self.directory}/mvrp/")

    def environment(self, directory="mvrp-a"):
        return os.environ | {"MVRP_RUNTIME_DIR": str(self.directory / directory)}

    def start_daemon(self, words):
        """Words: MVRP_RUNTIME_DIR=... mvrp --config FILE"""
        directory = pathlib.Path(words[0].split("=")[1]).name
        log = self.directory / directory / "log"
        with open(log, "wb") as file:
            process = subprocess.Popen([PROGRAMS["mvrp"], *words[2:]], stdin=subprocess.DEVNULL,
                                       env=self.environment(directory), stdout=file, stderr=file)
        self.running.append(process)
        self.addCleanup(self.end_daemon, process, log)
        line = ["mvrpctl", "show"]
        self.await_true(lambda: self.run_program(line, directory).returncode == 0)

    def end_daemon(self, process, log):
        if process.poll() is None:
            process.terminate()
            self.assertEqual(process.wait(10), 0)
        text = log.read_text(errors="replace")
        for mark in SANITIZER_MARKS:
            self.assertNotIn(mark, text)

    def run_program(self, words, directory="mvrp-a"):
        program = PROGRAMS.get(words[0], words[0])
        return subprocess.run([program, *words[1:]], env=self.environment(directory),
                              stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=60, check=False)

    def perform(self, line):
        words = shlex.split(self.moved(line))
        if line == BUILT_ALREADY:
            return
        if words[:3] == ["sudo", "cmake", "--install"]:
            prefix = self.directory / "installed"
            words = ["cmake", "--install", str(BUILD), "--prefix", str(prefix)]
        elif words[0].startswith("MVRP_RUNTIME_DIR="):
            self.start_daemon(words)
            return
        elif words == ["kill", "-9", "ACTIVE"]:
            self.running[0].send_signal(signal.SIGKILL)
            self.running[0].wait()
            return
        elif words[0] not in ("mvrp", "mvrpctl", "python3"):
            self.fail(f"the guide has a command that nobody tries: {line}")
        done = self.run_program(words)
        self.assertEqual(done.returncode, 0, f"{line}\n{done.stdout}{done.stderr}")

    def test_every_command_does_what_it_is_there_for(self):
        lines = [line for block in blocks("sh") for line in block.splitlines()]
        self.assertGreater(len(lines), 50)
        for line in lines:
            self.perform(line)
            if line.startswith("python3"):
                # Dumps of the calls before do not show the ports.
                log = self.directory / "mvrp-a" / "log"
                self.await_true(lambda: "port unit: 1" in log.read_text(errors="replace"))
            if line.startswith("MVRP_RUNTIME_DIR=/run/mvrp-b"):
                self.await_true(lambda: "peer connected" in self.run_program(
                    ["mvrpctl", "show"]).stdout)
        for name in ("sbin/mvrp", "bin/mvrpctl"):
            self.assertTrue((self.directory / "installed" / name).exists(), name)
        self.assertIn("active, no peer", self.run_program(["mvrpctl", "show"], "mvrp-b").stdout)

    def test_every_change_of_the_switch_is_in_the_guide(self):
        text = GUIDE.read_text(encoding="utf-8")
        for group in ("switch port", "switch vlan", "set", "show", "debug", "standby"):
            done = self.run_program(["mvrpctl", *group.split(), "--help"])
            commands = done.stdout.split("Subcommands:")[1]
            for name in re.findall(r"^  (\S+)", commands, re.MULTILINE):
                self.assertTrue(re.search(rf"^mvrpctl( --socket \S+)? {group} {name}\b", text,
                                          re.MULTILINE), f"{group} {name}")


if __name__ == "__main__":
    unittest.main()
