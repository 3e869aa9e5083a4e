# SPDX-License-Identifier: MIT
"""Changes of the switch at run time, and what the daemon makes of their notifications."""

import socket
import time
import unittest

import topology
from support import NetworkTest, cable

TIMERS = {"join": 200, "leave": 600, "leave-all": 1000}
DEFAULT_TIMES = (6000, 30000, 120000)
GROUP_ADDRESS = "01:80:c2:00:00:21"


class Neighbours(NetworkTest):
    """`here` is changed; `there` shows what it declares."""

    def begin(self, here="10-12", there="-"):
        net = self.start({"here": here, "there": there}, [cable("here", "there")], timers=TIMERS)
        self.net, self.here, self.there = net, net.nodes["here"], net.nodes["there"]
        self.assert_state(net, here={"learnt": there}, there={"learnt": here})
        # From here on nothing comes about by a LeaveAll.
        self.here.change("set port there leave-all-time 60000")
        self.there.change("set port here leave-all-time 60000")
        self.assert_state(net, here={"learnt": there}, there={"learnt": here})

    def port(self, each, name):
        return each.query(f"show port {name}")["ports"][0]

    def runs(self, name):
        return self.port(self.here, name)["portMvrpEnabledStatus"]


class Links(Neighbours):
    def test_a_link_that_goes_down_ends_what_was_learnt_there(self):
        self.begin(there="30-31")
        self.here.change("switch port link there down")
        self.assert_state(self.net, here={"learnt": "-", "there": {"registered": "!30-31"}})

    def test_a_link_that_comes_back_declares_again_without_waiting_for_a_leaveall(self):
        self.begin()
        self.here.change("switch port link there down")
        self.there.change("switch port link here down")
        self.assert_state(self.net, there={"learnt": "-"})
        self.there.change("switch port link here up")
        self.here.change("switch port link there up")
        self.assert_state(self.net, there={"learnt": "10-12"})


class Vlans(Neighbours):
    def test_created_and_deleted_vlans_are_declared_and_withdrawn(self):
        self.begin()
        self.here.change("switch vlan create 20-22")
        self.assert_state(self.net, there={"learnt": "10-12,20-22"})
        self.here.change("switch vlan delete 11,21")
        self.assert_state(self.net, there={"learnt": "10,12,20,22"})

    def test_a_dynamic_vlan_that_becomes_static_is_declared(self):
        self.begin(here="-", there="30")
        self.assert_state(self.net, here={"learnt": "30", "there": {"declared": "!30"}})
        self.here.change("switch vlan type 30 static")
        self.assert_state(self.net, here={"static": "1,30", "there": {"declared": "+30"}})

    def test_a_port_taken_out_of_a_vlan_withdraws_it_and_declares_it_when_it_is_back(self):
        self.begin()
        self.here.change("switch vlan remove-port there 11")
        self.assert_state(self.net, there={"learnt": "10,12"})
        self.here.change("switch vlan add-port there 11")
        self.assert_state(self.net, there={"learnt": "10-12"})


class Ports(Neighbours):
    def test_a_deleted_port_takes_what_it_learnt_with_it(self):
        self.begin(there="30")
        self.here.change("switch port delete there")
        self.await_true(lambda: self.here.query("show ports")["ports"] == [])
        self.assert_state(self.net, here={"learnt": "-", "static": "1,10-12"})

    def test_an_added_port_runs_the_protocol_once_it_is_enabled(self):
        self.begin()
        self.here.change("switch port add 7 seventh")
        self.assertFalse(self.runs("seventh"))
        self.here.change("set port seventh enable on")
        self.assertTrue(self.runs("seventh"))
        self.here.change("switch port delete seventh")
        self.here.change("switch port add 7 again")
        self.assertFalse(self.runs("again"), "the daemon kept the port of before")

    def test_a_port_that_is_no_longer_eligible_stops(self):
        self.begin(there="30")
        self.here.change("switch port eligible there no")
        self.await_true(lambda: not self.runs("there"))
        self.assert_state(self.net, here={"there": {"learnt": "-"}})
        self.here.change("switch port eligible there yes")
        self.assertFalse(self.runs("there"), "only management enables a port")
        self.here.change("set port there enable on")
        self.assertTrue(self.runs("there"))

    def test_a_reset_port_goes_back_to_its_defaults(self):
        self.begin(there="30")
        self.here.change("set port there registration fixed")
        self.here.change("switch port reset there")
        self.await_true(lambda: not self.runs("there"))
        self.assert_state(self.net, here={"there": {"learnt": "-"}})
        self.here.change("set port there enable on")
        port = self.port(self.here, "there")
        self.assertEqual(port["registration"], "normal")
        self.assertEqual((port["portMrpJoinTime"], port["portMrpLeaveTime"],
                          port["portMrpLeaveAllTime"]), DEFAULT_TIMES)

    def test_a_port_has_the_standard_times_again_after_off_and_on_and_after_a_reset(self):
        switch = topology.Switch("sw", managed=False)
        switch.add_port("p1")
        self.here = self.run_topology(topology.Topology("test", {"sw": switch}, []), extra={"sw": """
[management]
enable = true
times = "standard"
[[management.port]]
unit = 1
enable = true
"""}).nodes["sw"]
        for words in ("set port p1 enable off", "switch port reset p1"):
            self.await_true(lambda: self.runs("p1"))
            self.here.change("set port p1 leave-time 2000")
            self.here.change(words)
            self.await_true(lambda: not self.runs("p1"))
            self.here.change("set port p1 enable on")
            port = self.port(self.here, "p1")
            self.assertEqual((port["portMrpJoinTime"], port["portMrpLeaveTime"],
                              port["portMrpLeaveAllTime"]), (200, 600, 10000))

    def test_a_port_in_an_aggregation_hands_the_protocol_over(self):
        self.begin(there="30")
        self.here.change("switch port add 20 lag aggregation")
        for words in ("enable on", "join-time 200", "leave-time 600"):
            self.here.change(f"set port lag {words}")
        self.here.change("switch port aggregation there lag")
        self.await_true(lambda: not self.runs("there"))
        self.assertFalse(self.port(self.here, "there")["eligible"])
        self.assert_state(self.net, here={"there": {"learnt": "-"}})
        # The neighbour's frames count for the aggregation now.
        self.there.change("switch vlan create 31")
        self.assert_state(self.net, here={"lag": {"learnt": "+31"}})
        done = self.here.control("set port there enable on")
        self.assertIn("can not run MVRP", done.stderr)

        self.here.change("switch port aggregation there none")
        self.here.change("set port there enable on")
        self.assertTrue(self.runs("there"))


class Tunnel(NetworkTest):
    """A tunnel takes the group address on a port, and gives it back."""

    PEER = bytes.fromhex("02000000aa01")
    MVRP_PDU = bytes.fromhex("aaaa0300000088f5" "0001010000")
    GVRP_PDU = bytes.fromhex("424203" "00010104020014" "0000")  # JoinIn of VLAN 20

    def setUp(self):
        super().setUp()
        here, peer = self.directory / "here", self.directory / "peer"
        self.peer = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.peer.close)
        self.peer.bind(str(peer))
        self.switch = self.start_one(timers=TIMERS, cable=f"unix:{here},{peer}")
        self.switch.change("set global compliance on")
        self.address = str(here)

    def send(self):
        """One frame for each of the two data sockets."""
        for pdu in (self.MVRP_PDU, self.GVRP_PDU):
            frame = (bytes.fromhex(GROUP_ADDRESS.replace(":", "")) + self.PEER
                     + len(pdu).to_bytes(2, "big") + pdu)
            self.peer.sendto(frame.ljust(60, b"\0"), self.address)

    def counted(self):
        counters = self.switch.query("show counters p1")["counters"][0]
        return counters["framesIn"], counters["droppedTunnel"]

    def await_counted(self, delivered, tunnelled):
        self.await_true(lambda: sum(self.counted()) == delivered + tunnelled)
        self.assertEqual(self.counted(), (delivered, tunnelled))

    def await_effect(self, taken):
        """The daemon installs and removes the matches when it reads the notification."""
        deadline = time.monotonic() + 15
        while True:
            before = self.counted()
            self.send()
            self.await_true(lambda: sum(self.counted()) == sum(before) + 2)
            after = self.counted()
            if after[1] - before[1] == (2 if taken else 0):
                return
            self.assertLess(time.monotonic(), deadline)

    def test_frames_of_both_protocols_are_the_tunnels_until_it_gives_the_address_back(self):
        self.send()
        self.await_counted(delivered=2, tunnelled=0)
        self.switch.change(f"switch tunnel p1 take {GROUP_ADDRESS}")
        self.await_effect(taken=True)
        self.switch.change(f"switch tunnel p1 give-back {GROUP_ADDRESS}")
        self.await_effect(taken=False)

    def test_another_address_is_not_taken(self):
        self.switch.change("switch tunnel p1 take 01:80:c2:00:00:20")
        self.switch.change("switch port link p1 up")
        self.await_effect(taken=False)


if __name__ == "__main__":
    unittest.main()
