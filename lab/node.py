# SPDX-License-Identifier: MIT
"""One running switch: its configuration file, its mvrp process, and mvrpctl to look at it."""

import json
import os
import pathlib
import signal
import subprocess
import time


class NodeError(Exception):
    """A switch did not start, or a command was refused."""


def quote(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def configuration(switch):
    """The switch as a configuration file of mvrp."""
    lines = ["[switch]", 'driver = "soft"', f"name = {quote(switch.name)}"]
    for port in switch.ports:
        lines += ["", "[[port]]", f"unit = {port.unit}", f"name = {quote(port.name)}",
                  f"cable = {quote(port.cable)}", f"wire-format = {quote(port.wire_format)}"]
        if port.record:
            lines.append(f"record = {quote(port.record)}")
        if port.link != "up":
            lines.append(f"link = {quote(port.link)}")
    if switch.corrections is not None:
        # JSON writes a word, and a list of words, as TOML does.
        lines += ["", "[mvrp]", f"corrections = {json.dumps(switch.corrections)}"]
    if switch.vlans != "-":
        lines += ["", "[[vlan]]", f"ids = {quote(switch.vlans)}"]
    if not switch.managed:
        return "\n".join(lines) + "\n"
    lines += ["", "[management]", "enable = true"]
    for port in switch.ports:
        lines += ["", "[[management.port]]", f"unit = {port.unit}", "enable = true"]
        lines += [f"{name}-time = {ms}" for name, ms in port.timers.items()]
    return "\n".join(lines) + "\n"


class Node:
    """A switch that runs in a directory of its own. Programs come from a build directory."""

    def __init__(self, switch, directory, build):
        self.switch = switch
        self.name = switch.name
        self.directory = pathlib.Path(directory)
        self.mvrp = build / "platform" / "host" / "mvrp"
        # A daemon under test may be of a build without it.
        self.mvrpctl = os.environ.get("MVRPCTL") or build / "cli" / "mvrpctl"
        self.process = None
        self.macs = {}  # of the ports, by name, once it is ready
        self.extra_configuration = ""  # sections that the topology has no word for
        self.environment = os.environ | {"MVRP_RUNTIME_DIR": str(self.directory)}

    @property
    def log(self):
        return self.directory / "log"

    @property
    def configuration_file(self):
        return self.directory / "mvrp.toml"

    def start(self, log=None):
        """log: a descriptor, in place of the node's log file"""
        self.directory.mkdir(parents=True, exist_ok=True)
        self.configuration_file.write_text(
            configuration(self.switch) + self.extra_configuration + self.as_it_is_started(),
            encoding="utf-8")
        with open(self.log if log is None else log, "ab", closefd=log is None) as log:
            self.process = subprocess.Popen(
                [self.mvrp, "--config", self.configuration_file], stdin=subprocess.DEVNULL,
                stdout=log, stderr=log, env=self.environment, start_new_session=True)

    def as_it_is_started(self):
        """Directories of a lab belong to whoever runs it; root's would be of no use to another."""
        if os.geteuid() != 0 or "[process]" in self.extra_configuration:
            return ""
        return "\n[process]\nkeep-root = true\n"

    def wait_ready(self, timeout=30):
        """Waits until the daemon answers and the ports that its configuration manages run the
        protocol."""
        deadline = time.monotonic() + timeout
        problem = "it does not answer"
        while time.monotonic() < deadline:
            if self.process.poll() is not None:
                raise NodeError(f"mvrp of {self.name} ended by itself:\n{self.log_tail()}")
            try:
                ports = self.query("show ports")["ports"]
                waiting = [p["name"] for p in ports if not p["portMvrpEnabledStatus"]]
                self.macs = {p["name"]: p["macAddress"] for p in ports}
                if not waiting or not self.switch.managed:
                    return
                problem = f"ports without MVRP: {', '.join(waiting)}"
            except NodeError as error:
                problem = str(error)
            time.sleep(0.05)
        raise NodeError(f"{self.name} is not ready after {timeout} s ({problem}):\n"
                        f"{self.log_tail()}")

    def kill(self):
        """Ends the daemon as a crash of the machine would."""
        self.process.kill()
        self.process.wait()
        self.process = None

    def stop(self, timeout=20):
        """Ends the daemon. @return its exit status, negative for a signal; None: never started"""
        if self.process is None:
            return None
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(timeout)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        return self.process.returncode

    def control(self, command):
        """Runs mvrpctl with the words of `command`. @return the finished process"""
        return subprocess.run([self.mvrpctl, *command.split()], env=self.environment,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=30, check=False)

    def change(self, command):
        done = self.control(command)
        if done.returncode != 0:
            raise NodeError(f"{self.name}: mvrpctl {command}: {done.stderr.strip()}")

    def query(self, command):
        """What `mvrpctl -j COMMAND` prints, decoded."""
        done = self.control("-j " + command)
        if done.returncode != 0:
            raise NodeError(f"{self.name}: mvrpctl {command}: {done.stderr.strip()}")
        return json.loads(done.stdout)

    def log_tail(self, lines=15):
        try:
            text = self.log.read_text(encoding="utf-8", errors="replace")
        except OSError:
            return ""
        return "\n".join("    " + line for line in text.splitlines()[-lines:])
