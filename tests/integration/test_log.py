# SPDX-License-Identifier: MIT
"""What the log says by itself: VLANs, links, neighbours, who set what, what a reload changed; the fields that
the journal gets; and `mvrpctl log`, which reads the daemon's own lines."""

import json
import os
import pathlib
import re
import shlex
import signal
import socket
import subprocess
import unittest

from support import NetworkTest, cable

ROOT = pathlib.Path(__file__).resolve().parents[2]
CATALOGUE = ROOT / "packaging" / "systemd" / "mvrp.catalog"
EVENTS = ROOT / "platform" / "runtime" / "log_event.h"


class Log(NetworkTest):
    def setUp(self):
        super().setUp()
        self.net = self.start({"west": "10-12", "middle": "-"}, [cable("west", "middle")])
        self.switch = self.net.nodes["middle"]
        self.assert_state(self.net, middle={"learnt": "10-12"})

    def await_line(self, pattern):
        """Waits for a line of the log. @return what the pattern's groups found"""
        found = self.await_true(lambda: re.search(pattern, self.switch.log.read_text(), re.MULTILINE))
        return found.groups()

    def lines(self, *options):
        done = self.switch.control("-j log " + " ".join(options))
        self.assertEqual(done.returncode, 0, done.stderr)
        return json.loads(done.stdout)["lines"]

    def test_vlans_that_are_learnt_and_left_are_said_with_their_port(self):
        self.await_line(r"notice  west: VLANs 10-12 learnt$")
        self.net.nodes["west"].change("switch vlan delete 11")
        self.await_line(r"notice  west: VLAN 11 left$")

    def test_links_and_neighbours_are_said(self):
        self.await_line(r"west: neighbour [0-9a-f:]{17} found$")
        self.switch.change("switch port link west down")
        self.await_line(r"west: link down$")
        self.await_line(r"west: neighbour [0-9a-f:]{17} lost: the link is down$")
        self.await_line(r"west: VLANs 10-12 left$")
        self.switch.change("switch port link west up")
        self.await_line(r"west: link up$")

    def test_who_set_what_is_said_with_the_value_before_and_after(self):
        self.switch.change("set port west registration fixed")
        user, _ = self.await_line(
            r"west: registration normal -> fixed, by user (\d+), process (\d+)$")
        self.assertEqual(int(user), os.geteuid())
        self.switch.change("set debug timer")
        self.await_line(r"debug start -> timer, by user")
        self.switch.change("switch vlan create 77")
        self.await_line(r"VLANs 77 created, by user")

    def test_a_request_that_is_refused_is_not_said(self):
        self.assertNotEqual(self.switch.control("set port west join-time 7").returncode, 0)
        self.switch.change("set port west registration fixed")
        self.await_line(r"registration normal -> fixed")
        self.assertNotIn("join-time", self.switch.log.read_text())

    def test_what_a_reload_changed_is_said(self):
        file = self.switch.configuration_file
        file.write_text(file.read_text() + "\n[[vlan]]\nids = \"500\"\n")
        self.switch.process.send_signal(signal.SIGHUP)
        self.await_line(r"configuration: \[\[vlan\]\] ids: 1 -> 1,500$")
        self.assertIn("config-changed", [line["event"] for line in self.lines()])

    def test_mvrpctl_log_finds_lines_by_port_by_vlan_and_by_time(self):
        self.await_line(r"VLANs 10-12 learnt$")
        learnt = self.lines("--vlan 11")
        self.assertEqual([line["event"] for line in learnt], ["vlans-learnt"])
        self.assertEqual((learnt[0]["name"], learnt[0]["vlans"], learnt[0]["priority"]),
                         ("west", "10-12", "notice"))
        self.assertIn(learnt[0], self.lines("--port west"))
        self.assertIn(learnt[0], self.lines("--port 1", "--since 1h"))
        self.assertEqual(self.lines("--vlan 99"), [])
        self.assertEqual(len(self.lines("--lines 2")), 2)
        self.assertEqual(self.lines("--since 0s"), [])

    def test_mvrpctl_log_says_what_is_not_allowed(self):
        for option, text in (("--since soon", "allowed is a time that has passed, as 90s"),
                             ("--port north", "no port 'north'"), ("--vlan 5000", "1 to 4094")):
            done = self.switch.control("log " + option)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn(text, done.stderr)

    def test_mvrpctl_log_says_whose_lines_they_are(self):
        text = self.switch.control("log").stdout
        self.assertTrue(text.startswith("# kept by the daemon since its start"), text)
        self.assertLessEqual(max(map(len, text.splitlines()[:1])), 80)

    def test_mvrpctl_log_goes_on_with_lines_as_they_come(self):
        self.await_line(r"notice  west: VLANs 10-12 learnt$")
        self.await_line(r"west: neighbour [0-9a-f:]{17} found$")
        words = [self.switch.mvrpctl, "log", "--follow", "--lines", "0"]
        with subprocess.Popen(words, env=self.switch.environment, stdout=subprocess.PIPE,
                              text=True) as follower:
            self.assertTrue(follower.stdout.readline().startswith("#"))
            self.switch.change("set port west registration fixed")
            self.assertIn("registration normal -> fixed", follower.stdout.readline())
            follower.terminate()

    def test_a_port_that_is_gone_is_still_found_by_its_name(self):
        self.await_line(r"VLANs 10-12 learnt$")
        self.switch.change("switch port delete west")
        self.await_line(r"west: the port is gone, and with it VLANs 10-12$")
        self.assertIn("port-removed", [line["event"] for line in self.lines("--port west")])


class JournalFields(NetworkTest):
    """A daemon that sees a journal of this test's in the place of the system's."""

    def setUp(self):
        super().setUp()
        place = self.directory / "journal"
        place.mkdir()
        self.journal = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.journal.close)
        self.journal.bind(str(place / "socket"))
        self.journal.settimeout(30)
        for path in (self.directory, place, place / "socket"):
            path.chmod(0o777)
        self.net = self.start({"west": "10-12", "middle": "-"}, [cable("west", "middle")])
        self.switch = self.net.nodes["middle"]
        self.switch.stop()
        self.restart_before(place)
        self.assert_state(self.net, middle={"learnt": "10-12"})

    def restart_before(self, place):
        """Starts the switch again in mounts of its own, with its log as the stream of a journal."""
        script = self.directory / "start"
        script.write_text("#!/bin/sh -e\nmount -t tmpfs none /run\nmkdir -p /run/systemd/journal\n"
                          f"mount --bind {shlex.quote(str(place))} /run/systemd/journal\n"
                          f"exec {shlex.quote(str(self.switch.mvrp))} \"$@\"\n")
        script.chmod(0o755)
        inner = self.directory / "unshared"
        options = "-m" if os.geteuid() == 0 else "-rm"
        inner.write_text(f"#!/bin/sh -e\nexec unshare {options} {script} \"$@\"\n")
        inner.chmod(0o755)
        self.switch.mvrp = inner
        self.switch.log.touch()
        stream = self.switch.log.stat()
        self.switch.environment["JOURNAL_STREAM"] = f"{stream.st_dev}:{stream.st_ino}"
        self.switch.start()
        self.switch.wait_ready()

    def receive(self):
        fields = {}
        for line in self.journal.recv(1 << 20).decode().splitlines():
            name, value = line.split("=", 1)
            fields.setdefault(name, []).append(value)
        return fields

    def await_event(self, event):
        while (fields := self.receive())["MVRP_EVENT"] != [event]:
            pass
        return fields

    def test_learnt_vlans_have_port_vlans_and_message_id(self):
        fields = self.await_event("vlans-learnt")
        self.assertEqual(fields["MVRP_PORT"], ["west"])
        self.assertEqual(fields["MVRP_VLANS"], ["10-12"])
        self.assertEqual(fields["MVRP_VLAN"], ["10", "11", "12"])
        self.assertEqual(fields["MESSAGE"], ["west: VLANs 10-12 learnt"])
        self.assertEqual(fields["PRIORITY"], ["5"])
        self.assertEqual(fields["SYSLOG_IDENTIFIER"], ["mvrp"])
        self.assertNotIn("VLANs 10-12 learnt", self.switch.log.read_text())

    def test_a_setting_has_its_port_and_message_id(self):
        self.switch.change("set port west registration fixed")
        fields = self.await_event("setting")
        self.assertEqual(fields["MVRP_PORT"], ["west"])
        self.assertRegex(fields["MESSAGE"][0], "registration normal -> fixed, by user")

    def test_a_journal_that_does_not_read_holds_nobody_up(self):
        count = 0
        while "registration" not in self.switch.log.read_text():
            self.switch.change(f"set port west registration {('fixed', 'normal')[count % 2]}")
            count += 1
            self.assertLess(count, 5000, "the journal's socket is never full")
        self.assertRegex(self.switch.log.read_text(), "<5>west: registration")


class Catalogue(unittest.TestCase):
    def test_every_message_id_has_its_text(self):
        ids = set(re.findall(r'"([0-9a-f]{32})"', EVENTS.read_text(encoding="utf-8")))
        self.assertGreater(len(ids), 10)
        text = CATALOGUE.read_text(encoding="utf-8")
        self.assertEqual(set(re.findall(r"^-- ([0-9a-f]{32})$", text, re.MULTILINE)), ids)
        for entry in re.split(r"^-- [0-9a-f]{32}$", text, flags=re.MULTILINE)[1:]:
            self.assertRegex(entry, r"^\nSubject: .+\nDefined-By: mvrp\nSupport: .+\n"
                                    r"(Documentation: .+\n)?\n.+")
