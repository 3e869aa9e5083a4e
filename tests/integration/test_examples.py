# SPDX-License-Identifier: MIT
"""The examples of the package: what their units start, as a user of the group of readers, with a real daemon;
and the fragments, by those who read them."""

import grp
import os
import pathlib
import pwd
import re
import shlex
import shutil
import signal
import socket
import subprocess
import unittest
import urllib.error
import urllib.request

from support import BUILD, NetworkTest
from test_mvrpctl_json import validate

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "packaging" / "examples"
WATCH_SCHEMA = ROOT / "schema" / "watch.schema.json"
UNITS = sorted(EXAMPLES.glob("*.service"))
READERS = "daemon"


def commands_of(name):
    """The words of each ExecStart= with something in it."""
    text = (EXAMPLES / name).read_text(encoding="utf-8")
    return [shlex.split(line) for line in re.findall(r"^ExecStart=(.+)$", text, re.MULTILINE)]


@unittest.skipUnless(os.geteuid() == 0, "needs root, to become another user")
class Streams(NetworkTest):
    def setUp(self):
        super().setUp()
        self.directory.chmod(0o755)
        self.copy_program(BUILD / "cli" / "mvrpctl")
        self.switch = self.start_one()
        self.switch.stop()
        self.switch.extra_configuration = f'[command]\nread-group = "{READERS}"\n'
        self.switch.start()
        self.switch.wait_ready()
        self.switch.directory.chmod(0o755)

    def copy_program(self, program):
        """The build may lie where nobody else can read."""
        shutil.copy(program, self.directory)
        (self.directory / program.name).chmod(0o755)

    def here(self, words, **others):
        """A command of a unit with the programs and the directory of this test."""
        places = {"/usr/bin/mvrpctl": f"{self.directory}/mvrpctl",
                  "/usr/libexec/mvrp/mvrp-exporter": f"{self.directory}/mvrp-exporter",
                  "/run/mvrp": str(self.switch.directory), **others}
        for old, new in places.items():
            words = [word.replace(old, new) for word in words]
        return words

    def start_as_reader(self, words, **options):
        process = subprocess.Popen(
            words, user=pwd.getpwnam("nobody").pw_uid, group=grp.getgrnam(READERS).gr_gid, extra_groups=[],
            cwd="/", env={"MVRP_RUNTIME_DIR": str(self.switch.directory), "PATH": "/usr/bin:/bin"},
            text=True, start_new_session=True, **options)
        self.addCleanup(process.wait)
        self.addCleanup(os.killpg, process.pid, signal.SIGKILL)
        return process

    def test_the_stream_has_each_change_and_outlasts_the_daemon(self):
        words, = commands_of("mvrp-watch.service")
        watch = self.start_as_reader(self.here(words), stdout=subprocess.PIPE)
        self.addCleanup(watch.stdout.close)
        lines = [watch.stdout.readline()]
        self.switch.change("switch vlan create 77")
        while '"77"' not in lines[-1]:
            lines.append(watch.stdout.readline())
        self.switch.stop()
        self.switch.start()
        self.switch.wait_ready()
        self.switch.change("switch vlan create 78")
        while "78" not in lines[-1]:
            lines.append(watch.stdout.readline())
        self.assertGreater(validate("".join(lines), WATCH_SCHEMA, "--lines"), 1)

    def test_a_program_gets_the_same_lines(self):
        words = commands_of("mvrp-watch-to-program.conf")[-1]
        got = self.directory / "got"
        got.touch()
        got.chmod(0o666)
        program = self.directory / "on-vlan-change"
        program.write_text(f"#!/bin/sh\nexec cat >> {got}\n", encoding="utf-8")
        program.chmod(0o755)
        self.start_as_reader(self.here(words, **{"/usr/local/bin/on-vlan-change": str(program)}))
        self.await_true(got.read_text)
        self.switch.change("switch vlan create 77")
        self.await_true(lambda: '"77"' in got.read_text())

    def test_the_exporter_runs_as_a_reader(self):
        words, = commands_of("mvrp-exporter.service")
        self.copy_program(BUILD / "platform" / "host" / "mvrp-exporter")
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            address = f"127.0.0.1:{free.getsockname()[1]}"
        self.start_as_reader(self.here(words, **{"127.0.0.1:9620": address}))

        def metrics():
            try:
                with urllib.request.urlopen(f"http://{address}/metrics", timeout=20) as answer:
                    return answer.read().decode()
            except urllib.error.URLError:
                return None
        self.assertIn("mvrp_port_link_up", self.await_true(metrics))


class Files(unittest.TestCase):
    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd is not there")
    def test_every_line_of_the_units_is_understood(self):
        self.assertEqual(len(UNITS), 2)
        for unit in UNITS:
            done = subprocess.run(["systemd-analyze", "verify", "--man=no", unit],
                                  capture_output=True, text=True, timeout=60, check=False)
            said = [line for line in done.stderr.splitlines()
                    if unit.name in line and "is not executable" not in line]
            self.assertEqual(said, [], unit.name)

    def test_every_example_is_explained(self):
        page = (EXAMPLES / "README.md").read_text(encoding="utf-8")
        for path in EXAMPLES.iterdir():
            if path.name != "README.md":
                self.assertIn(f"`{path.name}`", page)

    @unittest.skipUnless(shutil.which("rsyslogd"), "rsyslog is not installed")
    def test_rsyslog_understands_its_fragment(self):
        done = subprocess.run(["rsyslogd", "-N1", "-f", EXAMPLES / "rsyslog-mvrp.conf"],
                              capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertNotIn("error", done.stderr)


if __name__ == "__main__":
    unittest.main()
