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

    def set_cable(self, ends, up):
        """Takes the link of a cable down, or brings it up, at both ends."""
        for here, there in (ends, reversed(ends)):
            self.nodes[here].change(f"switch port link {there} {'up' if up else 'down'}")

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
    """Goes through the steps, shows them, and counts what was as expected.
    @param watched  a history.History that steps and cables are noted in, or None"""

    def __init__(self, network, terminal, watched=None):
        self.network = network
        self.terminal = terminal
        self.watched = watched
        self.start = time.monotonic()
        self.passed = 0
        self.failed = 0
        self.results = []  # of the steps: {"good": bool, "text": what came out}

    def run(self):
        """The first step that does not come out as expected is the last."""
        return all(self.step(step) for step in self.network.topology.steps)

    def good(self):
        return all(result["good"] for result in self.results)

    def step(self, step):
        time.sleep(max(0.0, self.start + step.at - time.monotonic()))
        self.terminal.heading(step.title)
        if step.text:
            self.terminal.paragraph(step.text)
        if self.watched:
            self.watched.mark(step.title)
        self.act(step)
        self.terminal.line()
        count, spent, texts = self.network.await_state(step.expect, step.within,
                                                       self.progress)
        self.progress("")
        self.passed += count - len(texts)
        self.failed += len(texts)
        for text in texts:
            self.terminal.bad(f"{text} (after {spent:.1f} s)")
        result = f"after {spent:.1f} s, {count} sets of VLANs as they should be"
        if not texts and count:
            self.terminal.good(result)
        self.results.append({"good": not texts, "text": "; ".join(texts) or (result if count else "")})
        self.show(step.show)
        return not texts

    def act(self, step):
        """Cuts and mends the step's cables, then gives its commands."""
        for ends, up in [(c, False) for c in step.cut] + [(c, True) for c in step.mend]:
            self.terminal.line(f"  the cable {ends[0]} to {ends[1]} is {'mended' if up else 'cut'}")
            self.network.set_cable(ends, up)
            if self.watched:
                self.watched.cable(ends, up)
        for line in step.do:
            name, command = (part.strip() for part in line.split(":", 1))
            self.terminal.command(name, command, "")
            self.network.nodes[name].change(command)

    def progress(self, text):
        """While something is awaited: what changed, or else what is still missing."""
        for news in self.watched.news() if self.watched else []:
            self.terminal.news(news)
        if text:
            self.terminal.progress(text)

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
