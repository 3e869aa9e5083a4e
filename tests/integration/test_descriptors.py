# SPDX-License-Identifier: MIT
"""File descriptors that run out: the limit is raised, and where it can not be, what has none is named and a
client is served all the same."""

import contextlib
import pathlib
import resource
import socket
import unittest

from support import NetworkTest

PORTS = [f"q{number}" for number in range(1, 41)]
EMFILE_TEXT = "Too many open files"


class Descriptors(NetworkTest):
    def start_limited(self, soft, hard):
        """A switch of many ports, each with a cable, whose process may have so many descriptors."""
        each = self.start_one()
        each.stop()
        for unit, name in enumerate(PORTS, 2):
            cable = f"unix:{each.directory}/{name}.near,{each.directory}/{name}.far"
            each.extra_configuration += (f'\n[[port]]\nunit = {unit}\nname = "{name}"\n'
                                         f'cable = "{cable}"\n'
                                         f"[[management.port]]\nunit = {unit}\nenable = true\n")
        wrapper = self.directory / "limited"
        wrapper.write_text(f'#!/bin/sh\nulimit -Sn {soft}\nulimit -Hn {hard}\nexec "{each.mvrp}" "$@"\n',
                           encoding="utf-8")
        wrapper.chmod(0o755)
        each.mvrp = wrapper
        each.start()
        each.wait_ready()
        return each

    def cable_errors(self, each):
        return {port["name"]: port["cableError"] for port in each.query("show ports")["ports"]
                if port["cableError"]}

    def test_the_limit_is_raised_to_what_the_configuration_takes(self):
        each = self.start_limited(32, resource.getrlimit(resource.RLIMIT_NOFILE)[1])
        limits = pathlib.Path(f"/proc/{each.process.pid}/limits").read_text(encoding="utf-8")
        soft = next(line for line in limits.splitlines() if "open files" in line).split()[3]
        self.assertGreater(int(soft), 2 * len(PORTS))
        self.assertEqual(self.cable_errors(each), {})

    def test_what_has_none_is_named_everywhere_and_a_client_is_served(self):
        each = self.start_limited(64, 64)
        errors = self.cable_errors(each)
        self.assertGreater(len(errors), 5)
        self.assertLess(len(errors), len(PORTS))
        self.assertEqual(set(errors.values()), {EMFILE_TEXT})
        name = next(iter(errors))
        log = each.log.read_text(encoding="utf-8")
        self.assertIn("LimitNOFILE=", log)
        self.assertIn(EMFILE_TEXT, log)
        self.assertIn(f'mvrp_port_cable_error{{port="{name}"', each.control("metrics").stdout)
        self.assertIn(EMFILE_TEXT, each.control(f"show port {name}").stdout)
        found = each.control("-j doctor").stdout
        self.assertIn("cable-not-open", found)
        self.assertIn(EMFILE_TEXT, found)

    def test_one_client_is_served_beside_others_that_take_all_there_are(self):
        each = self.start_limited(64, 64)
        with contextlib.ExitStack() as stack:
            for _ in range(8):
                idle = stack.enter_context(socket.socket(socket.AF_UNIX, socket.SOCK_STREAM))
                idle.connect(str(each.directory / "mvrpcmd.socket"))
        self.await_true(lambda: each.control("show").returncode == 0)
        self.assert_serves(each)


if __name__ == "__main__":
    unittest.main()
