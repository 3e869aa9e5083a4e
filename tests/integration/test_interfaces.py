# SPDX-License-Identifier: MIT
"""Cables to network interfaces that are not there yet, or go and come: in a network namespace of the daemon's
own."""

import subprocess
import unittest

from support import NetworkTest

ABSENT = "No such device"


def namespaces_allow_it():
    done = subprocess.run(["unshare", "-n", "ip", "link", "add", "x0", "type", "veth", "peer", "name", "x1"],
                          capture_output=True, check=False)
    return done.returncode == 0


@unittest.skipUnless(namespaces_allow_it(), "needs root and a kernel with veth")
class Interfaces(NetworkTest):
    def setUp(self):
        super().setUp()
        self.each = self.start_one()
        self.each.stop()
        wrapper = self.directory / "alone"
        wrapper.write_text(f'#!/bin/sh\nexec unshare -n "{self.each.mvrp}" "$@"\n', encoding="utf-8")
        wrapper.chmod(0o755)
        self.each.mvrp = wrapper
        self.each.extra_configuration = (
            '\n[[port]]\nunit = 2\nname = "out"\ncable = "interface:v0"\n'
            "[[management.port]]\nunit = 2\nenable = true\n")
        self.each.start()
        self.each.wait_ready()

    def ip(self, words):
        subprocess.run(["nsenter", "-t", str(self.each.process.pid), "-n", "ip", *words.split()],
                       check=True, timeout=20)

    def make(self):
        self.ip("link add v0 type veth peer name v1")
        self.ip("link set v0 up")
        self.ip("link set v1 up")

    def error(self):
        return self.each.query("show port out")["ports"][0]["cableError"]

    def sent(self):
        return self.each.query("show counters out")["counters"][0]["framesOut"]

    def test_an_interface_that_is_missing_at_the_start_is_opened_when_it_appears(self):
        self.assertEqual(self.error(), ABSENT)
        self.make()
        self.await_true(lambda: self.error() is None)
        before = self.sent()
        self.await_true(lambda: self.sent() > before)

    def test_an_interface_that_was_deleted_and_made_again_is_opened_again(self):
        self.make()
        self.await_true(lambda: self.error() is None)
        self.ip("link del v0")
        self.await_true(lambda: self.error() == ABSENT)
        self.assertIn("interface:v0 is gone", self.each.log.read_text(encoding="utf-8"))
        self.make()
        self.await_true(lambda: self.error() is None)
        before = self.sent()
        self.await_true(lambda: self.sent() > before)

    def test_a_link_that_goes_down_is_no_interface_that_is_gone(self):
        self.make()
        self.await_true(lambda: self.error() is None)
        self.ip("link set v0 down")
        self.ip("link set v0 up")
        before = self.sent()
        self.await_true(lambda: self.sent() > before)
        self.assertNotIn("is gone", self.each.log.read_text(encoding="utf-8"))


if __name__ == "__main__":
    unittest.main()
