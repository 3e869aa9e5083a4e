# SPDX-License-Identifier: MIT
"""Batches of mvrpctl, all or nothing; one command at all daemons; network namespaces by name."""

import json
import os
import pathlib
import subprocess
import unittest

from support import NetworkTest, cable
from test_mvrpctl_json import schema, validate

NAMESPACES = pathlib.Path("/run/netns")


class BatchTest(NetworkTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10-12", ports=("east", "west"))

    def run_words(self, *words, given=""):
        return subprocess.run([self.switch.mvrpctl, *map(str, words)], input=given, text=True,
                              capture_output=True, env=self.switch.environment, timeout=60,
                              check=False)

    def batch(self, text, *options):
        file = self.directory / "batch"
        file.write_text(text, encoding="utf-8")
        return self.run_words("-b", file, *options)

    def state(self):
        """All that a batch may set; what is learnt meanwhile is the protocol's."""
        show = self.switch.query("show")
        texts = [self.switch.control(line).stdout for line in ("config show", "show config")]
        vlans = [(each["vlans"], each["vlanStatus"]) for each in self.switch.query("show vlans")["vlans"]]
        return texts, vlans, [show[key] for key in ("debug", "gvrpCompliance", "mvrpEnabledStatus")]


class Batch(BatchTest):
    def test_lines_are_run_in_order(self):
        done = self.batch("# a comment\n\nswitch vlan create 77   # another\n"
                          "mvrpctl sw port perm east 1-100\nshow vlan 77\n")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("VLAN                77", done.stdout)

    def test_lines_come_from_the_standard_input(self):
        done = self.run_words("--batch", "-", given="switch vlan create 77\n")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("77", self.switch.control("show vlans").stdout)

    def test_a_failure_names_the_line_and_ends_the_batch(self):
        done = self.batch("switch vlan create 77\nset port nowhere enable on\n"
                          "switch vlan create 78\n")
        self.assertEqual(done.returncode, 1)
        self.assertIn("batch:2: the switch has no port 'nowhere'", done.stderr)
        vlans = self.switch.control("show vlans").stdout
        self.assertIn("77", vlans)
        self.assertNotIn("78", vlans)

    def test_a_mistake_in_any_line_is_found_before_the_first_is_run(self):
        for line in ("shwo", "show port 'east", "show port", "help", "-b other"):
            done = self.batch(f"switch vlan create 77\n\n{line}\n")
            self.assertEqual(done.returncode, 2, line)
            self.assertIn("batch:3: ", done.stderr)
            self.assertIn("nothing was run", done.stderr)
        self.assertNotIn("77", self.switch.control("show vlans").stdout)

    def test_a_command_that_ends_with_a_status_is_a_failure(self):
        done = self.batch("wait --port east --vlan 99 --timeout 0\n")
        self.assertEqual(done.returncode, 1)
        self.assertIn("batch:1: ", done.stderr)

    def test_a_file_that_is_not_there_is_said_so(self):
        done = self.run_words("-b", self.directory / "none")
        self.assertEqual(done.returncode, 2)
        self.assertIn("No such file", done.stderr)
        self.assertIn("allowed is", done.stderr)

    def test_options_that_do_not_fit_are_refused(self):
        for words, text in ((("-b", "x", "show"), "no command beside it"),
                            (("--atomic", "show"), "--atomic is for the lines of --batch"),
                            (("--all", "-b", "x"), "a batch is for one")):
            done = self.run_words(*words)
            self.assertEqual(done.returncode, 2)
            self.assertIn(text, done.stderr)

    def test_a_failure_is_json_where_json_was_asked_for(self):
        done = self.batch("set port east join-time 1\n", "-j")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(json.loads(done.stdout)["statusName"], "outOfRange")
        self.assertIn("batch:1: ", json.loads(done.stdout)["error"])


CHANGES = """
set debug receive
set port east registration forbidden
set port east leave-all-time 20000
set port east leave-time 5000
set port east join-time 1000
set port west participant quiet
set port west enable off
switch vlan create 20-22
switch vlan delete 11
switch vlan type 12 dynamic
switch vlan remove-port east 10
switch port permit west 5-9
switch port pvid east 20
switch port link west down
switch port wire-form east ieee
switch port add 7 seven
switch port add 8 lag aggregation
switch port aggregation seven lag
switch port eligible east no
set global compliance on
set global enable off
"""


class Atomic(BatchTest):
    def test_what_was_set_is_put_back_when_a_later_line_fails(self):
        before = self.state()
        done = self.batch(CHANGES + "show port nowhere\n", "--atomic")
        self.assertEqual(done.returncode, 1)
        self.assertIn("batch:23: the switch has no port 'nowhere'", done.stderr)
        self.assertIn("what was set before is put back", done.stderr)
        self.assertEqual(self.state(), before)

    def test_each_change_by_itself_is_put_back(self):
        for line in CHANGES.strip().splitlines():
            if "seven" in line and "add" not in line:
                continue
            with self.subTest(line):
                before = self.state()
                done = self.batch(f"{line}\nshow port nowhere\n", "--atomic")
                self.assertIn("what was set before is put back", done.stderr)
                self.assertEqual(self.state(), before)

    def test_a_batch_that_succeeds_stays(self):
        done = self.batch(CHANGES, "--atomic")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("seven", self.switch.control("show ports").stdout)
        self.assertIn("20", self.switch.control("show vlans").stdout)

    def test_what_can_not_be_put_back_is_refused_before_anything_is_run(self):
        for line in ("switch port delete west", "standby take-over", "config save x",
                     "clear statistics", "debug vlan 10"):
            done = self.batch(f"switch vlan create 77\n{line}\n", "--atomic")
            self.assertEqual(done.returncode, 2)
            self.assertIn("batch:2: ", done.stderr)
            self.assertIn("can not be put back", done.stderr)
            self.assertIn("set port", done.stderr)
        self.assertNotIn("77", self.switch.control("show vlans").stdout)

    def test_what_was_learnt_can_not_be_put_back(self):
        self.switch.change("switch vlan type 12 dynamic")
        done = self.batch("switch vlan create 77\nswitch vlan delete 12\n", "--atomic")
        self.assertEqual(done.returncode, 1)
        self.assertIn("VLANs 12 were learnt", done.stderr)
        self.assertNotIn("77", self.switch.control("show vlans").stdout)


class Everywhere(NetworkTest):
    def setUp(self):
        super().setUp()
        self.net = self.start({"west": "10-12", "east": "-"}, [cable("west", "east")])
        self.switch = self.net.nodes["west"]
        self.root = self.switch.directory.parent

    def everywhere(self, *words, socket=None):
        done = subprocess.run([self.switch.mvrpctl, "--all", "--socket", str(socket or self.root),
                               *words], text=True, capture_output=True, timeout=60, check=False)
        return done

    def test_every_daemon_is_asked(self):
        done = self.everywhere("show", "vlans")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        headings = [line.split()[1] for line in done.stdout.splitlines() if line.startswith("== ")]
        self.assertEqual(headings, ["east", "west"])

    def test_a_daemon_beside_another_of_like_name_is_found(self):
        """/run/mvrp-lab beside /run/mvrp"""
        (self.root / "we").mkdir()
        done = self.everywhere("-j", "show", socket=self.root / "we" / "mvrpcmd.socket")
        self.assertEqual([each["name"] for each in json.loads(done.stdout)["daemons"]], ["west"])

    def test_the_answers_are_one_document(self):
        for words, status in ((("-j", "show", "ports"), 0), (("-j", "show", "port", "nowhere"), 1),
                              (("-j", "set", "debug", "none"), 0)):
            done = self.everywhere(*words)
            self.assertEqual(done.returncode, status)
            self.assertEqual(validate(done.stdout, schema("all")), 1)
            self.assertEqual(len(json.loads(done.stdout)["daemons"]), 2)

    def test_one_that_fails_does_not_keep_the_others_from_being_asked(self):
        name = self.switch.query("show ports")["ports"][0]["name"]
        done = self.everywhere("show", "port", name)
        self.assertEqual(done.returncode, 1)
        self.assertIn("no port", done.stderr)
        self.assertIn("Registration", done.stdout)

    def test_what_a_daemon_left_behind_is_none(self):
        self.net.nodes["east"].process.kill()
        self.net.nodes["east"].process.wait()
        self.assertTrue((self.root / "east" / "mvrpcmd.socket").exists())
        done = self.everywhere("-j", "show")
        self.assertEqual([each["name"] for each in json.loads(done.stdout)["daemons"]], ["west"])
        self.net.nodes["east"].start()
        self.net.nodes["east"].wait_ready()

    def test_without_any_it_says_where_it_looked(self):
        empty = self.directory / "empty"
        empty.mkdir()
        done = self.everywhere("show", socket=empty)
        self.assertEqual(done.returncode, 2)
        self.assertIn(str(empty), done.stderr)

    def test_what_follows_one_daemon_is_refused(self):
        done = self.everywhere("watch")
        self.assertEqual(done.returncode, 2)
        self.assertIn("--socket", done.stderr)


class Namespaces(NetworkTest):
    def test_one_that_is_not_there_is_answered_with_those_that_are(self):
        switch = self.start_one()
        done = switch.control("-n nowhere show")
        self.assertEqual(done.returncode, 2)
        self.assertIn("no network namespace 'nowhere'", done.stderr)

    def test_a_command_runs_in_the_namespace(self):
        if os.geteuid() != 0 or subprocess.run(["unshare", "-n", "true"], check=False,
                                               capture_output=True).returncode != 0:
            self.skipTest("network namespaces need root")
        name = f"mvrp-test-{os.getpid()}"
        place = NAMESPACES / name
        NAMESPACES.mkdir(exist_ok=True)
        place.touch()
        self.addCleanup(place.unlink)
        # The file stands for the namespace as long as it is mounted there.
        made = subprocess.run(["unshare", f"--net={place}", "true"], check=False,
                              capture_output=True, text=True)
        if made.returncode != 0:
            self.skipTest("network namespaces can not be named: " + made.stderr)
        self.addCleanup(subprocess.run, ["umount", str(place)], check=True)
        switch = self.start_one()
        with subprocess.Popen([switch.mvrpctl, "--netns", name, "watch"], text=True,
                              env=switch.environment, stdout=subprocess.PIPE) as watch:
            watch.stdout.readline()
            there = os.stat(f"/proc/{watch.pid}/ns/net").st_ino
            watch.terminate()
        self.assertEqual(there, place.stat().st_ino)
        self.assertNotEqual(there, os.stat("/proc/self/ns/net").st_ino)


if __name__ == "__main__":
    unittest.main()
