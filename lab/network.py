# SPDX-License-Identifier: MIT
"""A network of running switches, and the walk through the steps of its topology."""

import contextlib
import time

import expect
import node

POLL_SECONDS = 0.1


class Network:
    """Starts and stops the switches of a topology. Use as a context manager."""

    def __init__(self, topology, run_directory, build):
        self.topology = topology
        self.directory = run_directory
        self.nodes = {name: node.Node(switch, run_directory / name, build)
                      for name, switch in topology.switches.items()}

    def __enter__(self):
        try:
            for each in self.nodes.values():
                each.start()
            for each in self.nodes.values():
                each.wait_ready()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        """Ends all switches. @return texts about those that did not end as they should"""
        problems = []
        for each in self.nodes.values():
            status = each.stop()
            if status not in (None, 0):
                problems.append(f"mvrp of {each.name} ended with status {status}")
        return problems

    def await_state(self, expectations, within, progress=lambda text: None):
        """Waits until the switches show what is expected.
        @return (number of values, seconds taken, texts of those that still differ)"""
        start = time.monotonic()
        while True:
            count, texts = expect.differences(self.nodes, expectations)
            spent = time.monotonic() - start
            if not texts or spent > within:
                return count, spent, texts
            progress(f"{spent:.1f} s: {texts[0]}")
            time.sleep(POLL_SECONDS)


class Walk:
    """Goes through the steps, shows them, and counts what was as expected."""

    def __init__(self, network, terminal):
        self.network = network
        self.terminal = terminal
        self.passed = 0
        self.failed = 0

    def run(self):
        """@return True when every step came out as expected; the first that does not is the last"""
        return all(self.step(step) for step in self.network.topology.steps)

    def step(self, step):
        self.terminal.heading(step.title)
        if step.text:
            self.terminal.paragraph(step.text)
        for line in step.do:
            name, command = (part.strip() for part in line.split(":", 1))
            self.terminal.command(name, command, "")
            self.network.nodes[name].change(command)
        self.terminal.line()
        count, spent, texts = self.network.await_state(step.expect, step.within,
                                                       self.terminal.progress)
        self.passed += count - len(texts)
        self.failed += len(texts)
        for text in texts:
            self.terminal.bad(f"{text} (after {spent:.1f} s)")
        if not texts and count:
            self.terminal.good(f"after {spent:.1f} s, {count} sets of VLANs as they should be")
        self.show(step.show)
        return not texts

    def show(self, lines):
        for line in lines:
            name, command = (part.strip() for part in line.split(":", 1))
            done = self.network.nodes[name].control(command)
            self.terminal.command(name, command, done.stdout + done.stderr)

    def explain_failure(self):
        """What the switches say about themselves, for a person who looks for the reason."""
        for name, each in self.network.nodes.items():
            with contextlib.suppress(node.NodeError, OSError):
                self.terminal.command(name, "show ports", each.control("show ports").stdout)
            self.terminal.line(f"  end of the log {each.log}:\n{each.log_tail()}")
