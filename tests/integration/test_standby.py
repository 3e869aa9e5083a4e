# SPDX-License-Identifier: MIT
"""An active and a standby: two real daemons, each on a switch of its own, joined by the command
synchronisation; and a neighbour, from which the active learns VLANs."""

import json
import os
import select
import signal
import socket
import struct
import threading
import time
import unittest

import expect
import topology
from support import TIMERS, Channel, NetworkTest

SCALAR_SYNC, SYNC_PACKET = 8, 4
ADD, REMOVE = 2, 3
NO_SUCH_PORT = 0x03E80002
FAILED = 0xFFFFFFFF
LONGEST_WAIT = 0.5      # how long a standby may hold up a request of the active, in seconds
SLACK = 2.0             # of a busy machine
TIME_TO_CLAIM = (TIMERS["leave-all"] + TIMERS["leave"]) / 1000


# What the two ends of a pair say to each other, as in platform/replication/link_protocol.h.
HELLO, BEAT, OLD_HELLO = 306, 307, 305
VERSION, ACTIVE, STANDBY = 2, 1, 2
STATE = struct.Struct("=IIIIQQ")


def state(role, since=0, version=VERSION):
    return STATE.pack(version, role, os.getpid(), 0, 0, since)


def say_hello(line, role=ACTIVE, since=1, version=VERSION):
    """(status, value) of a hello over a channel, as an active says it."""
    return line.request(HELLO, value=state(role, since, version) + struct.pack("=II", 0, 250))


def bitmap(vlans):
    data = bytearray(512)
    for vid in vlans:
        data[(vid - 1) // 8] |= 0x80 >> ((vid - 1) % 8)
    return bytes(data)


def packet(kind, unit, vlans):
    return struct.pack(">BBHI", kind, 0, 520, unit) + bitmap(vlans)


class Pair(NetworkTest):
    """`active` has the ports north, with a cable to `neighbour`, and south; so has `standby`, whose
    configuration manages nothing and whose ports have no cables."""

    standby_options = ""

    def setUp(self):
        super().setUp()
        self.link = self.directory / "standby-link"
        here, there = self.directory / "active-north", self.directory / "neighbour-south"
        self.cable = f"unix:{here},{there}"
        plan = topology.Topology("pair", {}, [])
        active = plan.switches["active"] = topology.Switch("active", "30")
        active.add_port("north", cable=self.cable, timers=TIMERS)
        active.add_port("south", timers=TIMERS)
        standby = plan.switches["standby"] = topology.Switch("standby", "30", managed=False)
        standby.add_port("north")
        standby.add_port("south")
        neighbour = plan.switches["neighbour"] = topology.Switch("neighbour", "10-12")
        neighbour.add_port("south", cable=f"unix:{there},{here}", timers=TIMERS)
        self.plan = plan
        self.net = None

    def start_all(self):
        self.net = self.run_topology(self.plan, {
            "active": f'\n[standby]\nrole = "active"\npeer = "{self.link}"\n',
            "standby": f'\n[standby]\nrole = "standby"\nlisten = "{self.link}"\n'
                       + self.standby_options
                       + f'[command]\ndirectories = ["{self.directory}"]\n'})
        self.active, self.standby, self.neighbour = (
            self.net.nodes[name] for name in ("active", "standby", "neighbour"))

    def await_connected(self, connected=True):
        self.await_true(
            lambda: self.active.query("show")["standbyConnected"] == connected)

    def port(self, each, name="north"):
        return each.query(f"show port {name}")["ports"][0]

    def vlans(self, each, kind="dynamicMvrp"):
        groups = each.query("show vlans")["vlans"]
        return expect.format_ranges(set().union(
            *(expect.parse(g["vlans"]) for g in groups if g["vlanStatus"] == kind)))

    def role(self, each):
        return each.query("show")["role"]

    def log_of(self, each):
        return each.log.read_text(encoding="utf-8", errors="replace")

    def take_cable_over(self):
        self.standby.change(f"switch port cable north {self.cable}")


class Synchronisation(Pair):
    def test_settings_made_before_and_after_it_connects_reach_the_standby(self):
        self.start_all()
        self.await_connected()
        self.standby.stop()
        self.await_connected(False)
        self.active.change("set port south registration fixed")
        self.active.change("set port north join-time 220")
        self.standby.start()
        self.standby.wait_ready()
        self.await_connected()
        self.assertEqual(self.role(self.standby), "standby")
        for name in ("north", "south"):
            self.assertEqual(self.settings(self.standby, name), self.settings(self.active, name))
        self.assertEqual(self.port(self.standby)["portMrpJoinTime"], 220)
        self.assertEqual(self.port(self.standby, "south")["registration"], "fixed")

        self.active.change("set port north leave-time 500")
        self.active.change("set port south enable off")
        self.assertEqual(self.port(self.standby)["portMrpLeaveTime"], 500)
        self.assertFalse(self.port(self.standby, "south")["portMvrpEnabledStatus"])
        self.active.change("set global compliance on")
        self.assertTrue(self.standby.query("show")["gvrpCompliance"])
        self.active.change("set global enable off")
        self.assertFalse(self.standby.query("show")["mvrpEnabledStatus"])

    def settings(self, each, name):
        keys = ("portMvrpEnabledStatus", "registration", "participant", "portMrpJoinTime",
                "portMrpLeaveTime", "portMrpLeaveAllTime", "periodicTime")
        return {key: self.port(each, name)[key] for key in keys}

    def test_the_standby_shows_what_the_active_learnt_and_what_is_left_after_a_withdrawal(self):
        self.start_all()
        self.assert_state(self.net, active={"learnt": "10-12"},
                          standby={"static": "1,30", "learnt": "10-12",
                                   "north": {"learnt": "10-12"}, "south": {"learnt": "-"}})
        self.assertEqual(self.port(self.standby)["counters"]["framesOut"], 0)
        self.neighbour.change("switch vlan delete 11")
        self.assert_state(self.net, active={"learnt": "10,12"},
                          standby={"static": "1,30", "learnt": "10,12",
                                   "north": {"learnt": "10,12"}})

    def test_a_standby_that_comes_late_or_back_is_told_all(self):
        self.start_all()
        self.assert_state(self.net, standby={"learnt": "10-12"})
        self.standby.kill()
        self.await_connected(False)
        self.neighbour.change("switch vlan create 13")
        self.assert_state(self.net, active={"learnt": "10-13"})
        self.standby.start()
        self.standby.wait_ready()
        self.assert_state(self.net, standby={"learnt": "10-13", "north": {"learnt": "10-13"}})
        self.assertIn("is gone", self.log_of(self.active))


class Packets(Pair):
    """What a standby makes of synchronisation packets, by themselves."""

    def setUp(self):
        super().setUp()
        self.start_all()
        self.await_connected()
        self.active.stop()
        self.line = Channel(self.link)
        self.addCleanup(self.line.socket.close)
        self.send(REMOVE, 1, range(2, 4095))

    def send(self, kind, unit, vlans):
        return self.line.request(SCALAR_SYNC, 0, SYNC_PACKET, packet(kind, unit, vlans))[0]

    def test_addition_creates_the_vlans_and_adds_the_permitted_ones(self):
        self.standby.change("switch port permit north 2-100")
        self.assertEqual(self.send(ADD, 1, [1, 20, 21, 30, 200]), 0)
        self.assert_state(self.net, standby={"static": "1,30", "learnt": "20,21,200",
                                             "north": {"learnt": "20,21,30"}})

    def test_removal_empties_the_port_and_deletes_what_nobody_holds(self):
        self.send(ADD, 1, [20, 21, 22])
        self.send(ADD, 2, [22])
        self.assert_state(self.net, standby={"learnt": "20-22"})
        kept = [20]
        self.assertEqual(self.send(REMOVE, 1, set(range(2, 4096)) - set(kept)), 0)
        # VLAN 20 is not in the packet, and stays without members; 22 has one in the other port.
        self.assert_state(self.net, standby={"static": "1,30", "learnt": "20,22",
                                             "north": {"learnt": "-"}, "south": {"learnt": "22"}})
        self.send(ADD, 1, kept)
        self.assert_state(self.net, standby={"learnt": "20,22", "north": {"learnt": "20"}})

    def test_what_can_not_be_applied_changes_nothing(self):
        self.assertEqual(self.send(ADD, 7, [20]), NO_SUCH_PORT)
        self.assertEqual(self.send(9, 1, [20]), 0)
        self.assert_state(self.net, standby={"learnt": "-", "north": {"learnt": "-"}})

    def test_a_port_without_mvrp_mirrors_nothing(self):
        self.standby.change("set port north enable off")
        self.assertEqual(self.send(ADD, 1, [20]), NO_SUCH_PORT)
        self.assert_state(self.net, standby={"learnt": "-", "north": {"learnt": "-"}})


class FakeStandby:
    """Listens in place of a standby and answers each request with `status`, or not at all; hello
    and heartbeats as a standby does."""

    HEADER = struct.Struct("=IIII")

    def __init__(self, path):
        self.status = 0  # None: no answers
        self.requests = 0
        self.answers = 0
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(str(path))
        self.listener.listen(4)
        self.open = True
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def serve(self):
        lines = []
        while self.open:
            ready, _, _ = select.select([self.listener, *lines], [], [], 0.05)
            for line in ready:
                if line is self.listener:
                    lines.append(line.accept()[0])
                elif not self.answers_to(line):
                    lines.remove(line)
                    line.close()
        for line in [self.listener, *lines]:
            line.close()

    def answers_to(self, line):
        try:
            return self.answer(line)
        except ConnectionError:
            return False

    def answer(self, line):
        header = line.recv(self.HEADER.size, socket.MSG_WAITALL)
        if len(header) < self.HEADER.size:
            return False
        number, _, _, length = self.HEADER.unpack(header)
        value = line.recv(length, socket.MSG_WAITALL)
        if len(value) < length:
            return False
        self.requests += 1
        if self.status is None:
            return True
        self.answers += 1
        if number == HELLO:
            line.sendall(struct.pack("=II", 0, STATE.size) + state(STANDBY))
        elif number == BEAT:
            line.sendall(struct.pack("=II", 0, length) + value[:8] + state(STANDBY))
        else:
            line.sendall(struct.pack("=II", self.status, 0))
        return True

    def close(self):
        self.open = False
        self.thread.join()


class AloneWithFake(Pair):
    """An active whose standby is a fake."""

    active_options = ""

    def setUp(self):
        super().setUp()
        self.fake = FakeStandby(self.link)
        self.addCleanup(self.fake.close)
        del self.plan.switches["standby"]
        self.net = self.run_topology(
            self.plan, {"active": f'\n[standby]\nrole = "active"\npeer = "{self.link}"\n'
                                  + self.active_options})
        self.active, self.neighbour = self.net.nodes["active"], self.net.nodes["neighbour"]
        self.await_connected()
        self.line = self.channel(self.active)

    def set_join_time(self, ms):
        """(status, seconds that it took)"""
        start = time.monotonic()
        status, _ = self.line.request(4, 1, 5, struct.pack("=I", ms))
        return status, time.monotonic() - start


class BadStandby(AloneWithFake):
    def test_a_setting_that_the_standby_refuses_is_refused_and_logged(self):
        self.fake.status = 22
        self.assertNotEqual(self.set_join_time(210)[0], 0)
        self.assertEqual(self.port(self.active)["portMrpJoinTime"], 200)
        self.assertIn("the standby refused port 1 attribute 5 value 210 with status 22",
                      self.log_of(self.active))
        self.fake.status = 0
        self.assertEqual(self.set_join_time(210)[0], 0)

    def test_packets_that_the_standby_refuses_do_not_disturb_the_protocol(self):
        self.fake.status = NO_SUCH_PORT
        before = self.fake.requests
        self.neighbour.change("switch vlan create 14")
        self.assert_state(self.net, active={"learnt": "10-12,14"})
        self.neighbour.change("switch vlan delete 14")
        self.assert_state(self.net, active={"learnt": "10-12"})
        self.assertGreater(self.fake.requests, before)
        self.assertTrue(self.active.query("show")["standbyConnected"])

    def test_a_silent_standby_holds_the_active_up_for_a_bounded_time_and_is_cut_off(self):
        self.fake.status = None
        status, seconds = self.set_join_time(210)
        self.assertEqual(status, 0)
        self.assertLess(seconds, LONGEST_WAIT + SLACK)
        self.await_true(lambda: "did not answer within 1000 ms; it is cut off"
                        in self.log_of(self.active))
        for ms in (220, 200):
            status, seconds = self.set_join_time(ms)
            self.assertEqual(status, 0)
            self.assertLess(seconds, LONGEST_WAIT + SLACK)
        self.assertEqual(self.port(self.active)["portMrpJoinTime"], 200)
        self.neighbour.change("switch vlan delete 11")
        self.assert_state(self.net, active={"learnt": "10,12"})
        self.fake.status = 0
        self.await_connected()


class SilentStandby(AloneWithFake):
    active_options = "lost-after = 60000\n"

    def test_registrations_are_made_while_the_standby_has_not_answered_at_all(self):
        self.fake.status = None
        asked, answered = self.fake.requests, self.fake.answers
        self.neighbour.change("switch vlan create 14")
        self.assert_state(self.net, active={"learnt": "10-12,14"})
        self.neighbour.change("switch vlan delete 12")
        self.assert_state(self.net, active={"learnt": "10-11,14"})
        self.assertGreater(self.fake.requests, asked)
        self.assertEqual(self.fake.answers, answered)
        self.assertTrue(self.active.query("show")["standbyConnected"])

    def test_a_setting_waits_half_a_second_for_a_standby_that_is_not_lost_yet(self):
        self.fake.status = None
        for ms in (210, 200):
            status, seconds = self.set_join_time(ms)
            self.assertEqual(status, 0)
            self.assertLess(seconds, LONGEST_WAIT + SLACK)
        self.assertEqual(self.port(self.active)["portMrpJoinTime"], 200)
        self.assertTrue(self.active.query("show")["standbyConnected"])


class OtherCorrections(Pair):
    standby_options = '\n[mvrp]\ncorrections = ["leave-needed"]\n'

    def test_a_standby_with_other_corrections_is_refused_and_both_sets_are_named(self):
        self.start_all()
        text = ("the active runs with the corrections none, the standby with leave-needed; "
                "allowed: the same [mvrp] corrections in both")
        for each in (self.active, self.standby):
            self.await_true(lambda each=each: text in self.log_of(each))
        self.assert_state(self.net, active={"learnt": "10-12"}, standby={"learnt": "-"})
        self.assertFalse(self.active.query("show")["standbyConnected"])
        self.assertEqual(self.log_of(self.active).count(text), 1)


class FailOver(Pair):
    def test_the_standby_takes_over_on_request_and_adopted_memberships_stay_and_go(self):
        self.start_all()
        self.assert_state(self.net, standby={"learnt": "10-12"}, neighbour={"learnt": "30"})
        self.active.kill()
        self.neighbour.change("switch vlan delete 11")  # nobody hears it
        self.standby.change("standby take-over")
        self.take_cable_over()
        taken_over = time.monotonic()
        self.assertEqual(self.role(self.standby), "active")
        # The switch keeps what it mirrored until every neighbour had its time to declare again.
        self.assertEqual(self.port(self.standby)["vlansLearnt"], "10-12")
        self.await_true(lambda: self.port(self.standby)["vlansLearnt"] != "10-12")
        self.assertGreater(time.monotonic() - taken_over, TIME_TO_CLAIM * 0.8)
        self.assert_state(self.net, standby={"learnt": "10,12", "static": "1,30",
                                             "north": {"learnt": "10,12", "registered": "+10,12",
                                                       "declared": "+30"}},
                          neighbour={"learnt": "30"})
        self.assertIn("1 adopted memberships that nobody declared were removed",
                      self.log_of(self.standby))

    def test_the_new_active_speaks_the_protocol_at_once(self):
        self.start_all()
        self.assert_state(self.net, standby={"learnt": "10-12"}, neighbour={"learnt": "30"})
        self.active.kill()
        self.standby.change("standby take-over")
        self.take_cable_over()
        self.standby.change("switch vlan create 31")
        self.neighbour.change("switch vlan create 13")
        self.assert_state(self.net, standby={"learnt": "10-13"}, neighbour={"learnt": "30-31"})
        self.assertGreater(self.port(self.standby)["counters"]["framesOut"], 0)

    def test_an_active_does_not_take_over(self):
        self.start_all()
        done = self.active.control("standby take-over")
        self.assertEqual(done.returncode, 1)
        self.assertIn("this is the active already", done.stderr)
        self.assertEqual(self.role(self.active), "active")

    def test_a_take_over_through_the_socket_of_the_active_is_answered(self):
        self.start_all()
        self.await_connected()
        self.standby.change(f"--socket {self.link} standby take-over --force")
        self.assertEqual(self.role(self.standby), "active")
        self.assert_serves(self.standby)

    def test_while_the_active_answers_a_take_over_is_refused_without_force(self):
        self.start_all()
        self.await_connected()
        done = self.standby.control("standby take-over")
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"the active, process {self.active.process.pid}, answers, and both would "
                      "speak", done.stderr)
        self.assertIn("--force", done.stderr)
        self.assertEqual(self.role(self.standby), "standby")
        self.assertEqual(self.findings(self.standby, "standby"), ["note"])
        self.assertNotIn("take-over", self.standby.control("doctor").stdout)

    def test_with_force_the_active_stands_back_and_takes_over_when_it_is_told_to(self):
        self.start_all()
        self.assert_state(self.net, standby={"learnt": "10-12"})
        self.standby.change("standby take-over --force")
        self.await_true(lambda: self.role(self.active) == "standby")
        self.assertEqual(self.role(self.standby), "active")
        for each in (self.active, self.standby):
            self.await_true(lambda each=each: "two actives: " in self.log_of(each))
            self.await_true(lambda each=each: self.findings(each, "two-actives") == ["warning"])
        self.await_true(lambda: "standby" in self.findings_by_id(self.active))
        # And back: then it mirrors again.
        self.active.change("standby take-over --force")
        self.await_true(lambda: self.role(self.standby) == "standby")
        self.assertEqual(self.role(self.active), "active")
        self.await_connected()
        self.active.change("set port south registration fixed")
        self.assertEqual(self.port(self.standby, "south")["registration"], "fixed")

    def findings_by_id(self, each):
        done = each.control("-j doctor")
        self.assertNotEqual(done.stdout, "", done.stderr)
        findings = json.loads(done.stdout)["findings"]
        return {finding["id"]: finding["severity"] for finding in findings}

    def findings(self, each, name):
        return [severity for key, severity in self.findings_by_id(each).items() if key == name]


class Peers(Pair):
    """Who may be the other end of a standby."""

    def setUp(self):
        super().setUp()
        self.start_all()
        self.await_connected()

    def test_a_second_active_is_refused_while_the_first_is_there(self):
        with Channel(self.link) as line:
            status, text = say_hello(line)
        self.assertNotEqual(status, 0)
        self.assertIn(b"is the peer already; allowed: one at a time", text)
        self.assertTrue(self.active.query("show")["standbyConnected"])

    def test_another_version_is_refused_with_both(self):
        self.active.stop()
        with Channel(self.link) as line:
            for status, text in (say_hello(line, version=3),
                                 line.request(OLD_HELLO, value=struct.pack("=I", 0))):
                self.assertNotEqual(status, 0)
                self.assertIn(b"of the standby link; allowed: 2, the same program", text)
        self.await_true(lambda: "speaks version 1 of the standby link" in self.log_of(self.standby))


class TwoActives(Pair):
    # Longer than the active takes to find a standby that starts after it.
    standby_options = "take-over-after = 2\n"

    def test_an_active_that_was_stopped_goes_on_and_the_younger_one_stands_back(self):
        self.start_all()
        self.assert_state(self.net, standby={"learnt": "10-12"})
        self.active.process.send_signal(signal.SIGSTOP)
        self.await_true(lambda: self.role(self.standby) == "active")
        self.active.process.send_signal(signal.SIGCONT)
        self.await_true(lambda: self.role(self.standby) == "standby")
        self.assertEqual(self.role(self.active), "active")
        self.await_connected()
        for each in (self.active, self.standby):
            self.await_true(lambda each=each: "two actives: " in self.log_of(each))
        self.assertIn("this one stands back", self.log_of(self.standby))
        self.assert_state(self.net, active={"learnt": "10-12"},
                          standby={"learnt": "10-12", "north": {"learnt": "10-12"}})

    def test_an_active_that_is_started_again_after_a_take_over_stands_back(self):
        self.start_all()
        self.await_connected()
        self.active.kill()
        self.await_true(lambda: self.role(self.standby) == "active")
        self.active.start()
        self.await_true(lambda: "this one stands back" in self.log_of(self.active))
        self.await_true(lambda: self.role(self.active) == "standby")
        self.assertEqual(self.role(self.standby), "active")


class FailOverByItself(Pair):
    # Longer than the active takes to find a standby that starts after it.
    standby_options = "take-over-after = 4\n"

    def test_a_standby_takes_over_when_its_active_has_been_gone_for_the_configured_time(self):
        self.start_all()
        self.assert_state(self.net, standby={"learnt": "10-12"})
        # Nothing tells of a take-over that does not happen: the time for it has to pass.
        time.sleep(4.5)
        self.assertEqual(self.role(self.standby), "standby")
        self.active.kill()
        gone = time.monotonic()
        self.take_cable_over()
        self.await_true(lambda: self.role(self.standby) == "active")
        # At least; a busy machine only makes it longer.
        self.assertGreater(time.monotonic() - gone, 3.5)
        self.assertIn("taking over as the active", self.log_of(self.standby))
        self.assert_state(self.net, standby={"learnt": "10-12",
                                             "north": {"registered": "+10-12"}})


class TakeOver(Pair):
    """The ways in which an active goes: the standby takes over after the configured time each time,
    and what else is connected does not keep it from that."""

    standby_options = "take-over-after = 2\n"

    def setUp(self):
        super().setUp()
        self.start_all()
        self.await_connected()

    def await_take_over(self, since):
        self.await_true(lambda: self.role(self.standby) == "active")
        # At least, but for a heartbeat; a busy machine only makes it longer.
        self.assertGreater(time.monotonic() - since, 1.5)
        self.assertIn("taking over as the active", self.log_of(self.standby))

    def test_it_is_killed(self):
        self.active.kill()
        self.await_take_over(time.monotonic())

    def test_it_is_stopped(self):
        self.active.process.send_signal(signal.SIGSTOP)
        self.addCleanup(self.active.kill)
        self.await_take_over(time.monotonic())
        self.assertIsNone(self.active.process.poll())

    def test_it_is_connected_and_says_nothing(self):
        self.active.stop()
        with Channel(self.link) as mute:
            self.await_true(lambda: say_hello(mute)[0] == 0)
            self.await_take_over(time.monotonic())

    def test_an_idle_stranger_is_connected(self):
        with Channel(self.link):
            self.active.kill()
            self.await_take_over(time.monotonic())

    def test_the_standby_itself_was_stopped(self):
        self.standby.process.send_signal(signal.SIGSTOP)
        self.await_connected(False)
        # Nothing tells of a take-over that does not happen: the time for it has to pass.
        time.sleep(2.5)
        self.standby.process.send_signal(signal.SIGCONT)
        self.await_connected()
        self.assertEqual(self.role(self.standby), "standby")
        self.assertNotIn("taking over", self.log_of(self.standby))


if __name__ == "__main__":
    unittest.main()
