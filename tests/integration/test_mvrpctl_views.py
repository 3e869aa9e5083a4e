# SPDX-License-Identifier: MIT
"""The views of mvrpctl, explain and wait, between two and three real switches."""

import os
import signal
import time
import unittest

from support import NetworkTest, cable


class Views(NetworkTest):
    def setUp(self):
        super().setUp()
        self.net = self.start({"west": "10-12", "middle": "-", "east": "-"},
                              [cable("west", "middle"), cable("middle", "east")])
        self.west = self.net.nodes["west"]
        self.middle = self.net.nodes["middle"]
        # One after the other: what two ports learn in one pass, both become members of.
        self.assert_state(self.net, middle={"west": {"learnt": "10-12"}})
        self.net.nodes["east"].change("switch vlan create 30")
        self.assert_state(self.net, middle={"learnt": "10-12,30", "west": {"learnt": "10-12"},
                                            "east": {"learnt": "30"}})

    def explain(self, port, vid):
        return self.middle.query(f"explain {port} {vid}")

    def running(self, port="west"):
        return self.middle.query(f"show running {port}")["ports"][0]

    def statistics(self, port="west"):
        return self.middle.query(f"show statistics {port}")["statistics"][0]

    def test_running_shows_what_is_registered_declared_and_in_the_switch(self):
        self.await_true(lambda: self.running()["vlansDeclared"] == "1,30")
        running = self.running()
        self.assertEqual(running["vlansRegistered"], "1,10-12")
        self.assertEqual(running["vlansInSwitch"], "1,10-12")
        self.assertEqual((running["vlansMissing"], running["vlansExtra"]), ("-", "-"))
        summary = self.middle.query("show summary")["ports"]
        self.assertEqual([port["learnt"] for port in summary], [3, 1])

    def test_states_are_told_in_plain_words(self):
        text = self.middle.control("show state west 10").stdout
        self.assertIn("Registrar", text)
        self.assertIn("registered", text)
        self.assertIn("does not declare it", text)

    def test_statistics_count_pdus_events_and_their_origin(self):
        port = self.await_true(lambda: self.statistics()["eventsIn"]["leaveAll"]
                               and self.statistics())
        self.assertGreater(port["pdusIn"]["native"], 0)
        self.assertGreater(port["pdusOut"]["native"], 0)
        self.assertGreater(port["eventsIn"]["joinIn"] + port["eventsIn"]["joinMt"], 0)
        self.assertEqual(port["portMvrpLastPduOrigin"],
                         self.west.query("show port middle")["ports"][0]["macAddress"])
        self.assertEqual(port["malformed"], 0)

    def test_statistics_are_cleared_at_one_port(self):
        self.await_true(lambda: self.statistics("east")["bytesIn"] > 100)
        before = self.statistics("east")
        self.middle.change("clear statistics west")
        # Both were counted since the start, and the east is asked first.
        east = self.statistics("east")
        self.assertLess(self.statistics("west")["countedFor"], east["countedFor"])
        self.assertGreaterEqual(east["bytesIn"], before["bytesIn"])
        self.assertEqual(self.middle.control("clear statistics north").returncode, 1)

    def test_malformed_frames_and_failed_registrations_have_reasons(self):
        self.middle.change("switch port permit west 2-10")
        failed = self.await_true(lambda: self.statistics()["failedByReason"]["notPermitted"])
        self.assertGreaterEqual(self.statistics()["portMvrpFailedRegistrations"], failed)
        self.middle.change("switch port permit west 2-4094")
        self.middle.change("set port west registration forbidden")
        self.await_true(lambda: self.statistics()["failedByReason"]["forbidden"])

    def test_explain_says_who_declared_a_vlan_and_when(self):
        answer = self.explain("west", 10)
        self.assertTrue(answer["onPort"])
        self.assertIn(answer["cause"], ("learnt", "leaving"))
        self.assertEqual(answer["port"]["declaredBy"],
                         self.west.query("show port middle")["ports"][0]["macAddress"])
        self.assertLess(answer["port"]["declaredAge"], 20000)

    def test_explain_finds_the_cause(self):
        self.assertEqual(self.explain("west", 20)["cause"], "notDeclared")
        self.assertEqual(self.explain("west", 1)["cause"], "staticMember")
        self.west.change("switch vlan delete 12")
        self.await_true(lambda: self.explain("west", 12)["cause"] == "withdrawn")
        self.middle.change("switch vlan remove-port west 21")
        self.assertEqual(self.explain("west", 21)["cause"], "notPermitted")
        self.middle.change("set port west registration fixed")
        self.assertEqual(self.explain("west", 20)["cause"], "fixed")
        self.middle.change("switch port link west down")
        self.assertEqual(self.explain("west", 20)["cause"], "linkDown")
        self.middle.change("set port west enable off")
        answer = self.explain("west", 20)
        self.assertEqual(answer["cause"], "mvrpOff")
        self.assertIn("mvrpctl set port west enable on", answer["advice"])
        self.middle.change("set global enable off")
        self.assertEqual(self.explain("west", 20)["cause"], "globallyOff")

    def test_a_page_tells_how_the_switch_is(self):
        done = self.middle.control("status")
        self.assertEqual((done.returncode, done.stdout.splitlines()[0]), (0, "All is well."))
        for text in ("2 link up, MVRP on: west, east", "1 static: 1", "4 learnt: 10-12,30",
                     "30 came onto the port"):
            self.assertIn(text, done.stdout)
        self.middle.change("set global enable off")
        done = self.middle.control("status")
        self.assertEqual(done.returncode, 1)
        self.assertIn("mvrpctl set global enable on", done.stdout)
        self.middle.stop()
        done = self.middle.control("status")
        self.assertEqual((done.returncode, len(done.stdout.splitlines()) < 8), (1, True), done.stdout)

    def test_learnt_vlans_are_made_static(self):
        printed = self.middle.control("make-static west 10-11,77").stdout
        self.assertIn("\nmvrpctl switch vlan type 10-11 static\n", printed)
        self.assertIn("# not learnt on west, and left out: 77\n", printed)
        self.middle.change("make-static west 10-11 --do")
        self.west.change("switch vlan delete 10-12")
        self.await_true(lambda: self.explain("west", 12)["cause"] == "withdrawn")
        self.assertEqual(self.explain("west", 10)["vlanStatus"], "permanent")
        self.assertTrue(self.explain("west", 10)["onPort"])
        done = self.middle.control("make-static west 10")
        self.assertEqual(done.returncode, 1)
        self.assertIn("learnt there are: -", done.stderr)

    def test_a_vlan_that_does_not_exist_has_no_machines(self):
        text = self.middle.control("show vlan 77").stdout
        self.assertIn("does not exist on this switch", text)
        self.assertNotIn("Applicant", text)

    def test_explain_says_why_a_vlan_is_declared(self):
        self.assertIn("registered on west",
                      self.await_true(lambda: self.explain("east", 10)["port"]["declared"]
                                      and self.explain("east", 10)["declaration"]))

    def test_wait_ends_when_the_vlan_comes_and_when_it_goes(self):
        self.west.change("switch vlan create 50")
        done = self.middle.control("wait --port west --vlan 50 --timeout 20")
        self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)
        self.west.change("switch vlan delete 50")
        done = self.middle.control("wait --port west --vlan 50 --timeout 20 --gone")
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_wait_takes_a_list_and_waits_for_all_of_it(self):
        self.west.change("switch vlan create 50-51")
        done = self.middle.control("wait --port west --vlan 10-12,50-51 --timeout 20")
        self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)
        done = self.middle.control("wait --port west --vlan 50,77-78,80 --timeout 0")
        self.assertEqual((done.returncode, done.stderr), (
            1, "mvrpctl: VLANs 77-78,80 are not on port west after 0 s; `mvrpctl explain west 77` "
               "says why\n"))
        done = self.middle.control("wait --port west --vlan 12,77 --timeout 0 --gone")
        self.assertEqual((done.returncode, done.stderr), (
            1, "mvrpctl: VLAN 12 is still on port west after 0 s; `mvrpctl explain west 12` says "
               "why\n"))

    def test_wait_refuses_what_is_no_list(self):
        for words, text in (("0", "'0' is not a list of VLANs; allowed are VLAN IDs 1 to 4094"),
                            ("10,", "'10,' is not a list of VLANs"),
                            ("12-10", "'12-10' is not a list of VLANs"),
                            ("-", "--vlan names no VLAN; allowed are VLAN IDs 1 to 4094")):
            done = self.middle.control(f"wait --port west --vlan={words} --timeout 0")
            self.assertEqual(done.returncode, 2, words)
            self.assertIn(text, done.stderr)

    def test_wait_gives_up_and_says_how_to_go_on(self):
        done = self.middle.control("wait --port west --vlan 77 --timeout 1")
        self.assertEqual(done.returncode, 1)
        self.assertIn("explain west 77", done.stderr)
        self.assertEqual(self.middle.control("wait --port west").returncode, 2)

    def test_a_daemon_that_does_not_answer_is_called_busy(self):
        os.kill(self.middle.process.pid, signal.SIGSTOP)
        try:
            begin = time.monotonic()
            done = self.middle.control("--patience 1 show")
            self.assertEqual(done.returncode, 2)
            self.assertIn("busy or stopped", done.stderr)
            self.assertLess(time.monotonic() - begin, 20)
        finally:
            os.kill(self.middle.process.pid, signal.SIGCONT)


if __name__ == "__main__":
    unittest.main()
