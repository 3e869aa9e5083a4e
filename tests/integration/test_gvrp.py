# SPDX-License-Identifier: MIT
"""GVRP compliance between two real switches, with the frames as tshark reads them.

Under compliance a static VLAN is declared when it appears, not again at each LeaveAll; so the ports
here have long leave-all times, and a test that wants a LeaveAll shortens one."""

import shutil
import unittest

from frames import decode, shown
from support import NetworkTest, cable

LEAVE_ALL, JOIN_EMPTY, JOIN_IN, LEAVE_EMPTY, LEAVE_IN, EMPTY = range(6)
JOINS = {JOIN_EMPTY, JOIN_IN}
LEAVES = {LEAVE_EMPTY, LEAVE_IN}
QUIET = {"join": 200, "leave": 600, "leave-all": 60000}


def attributes_of(packet):
    """[(event, VLAN ID or None)] of a decoded GVRP PDU."""
    vlans = iter(shown(packet, "gvrp.attribute_value"))
    return [(int(event), None if int(event) == LEAVE_ALL else int(next(vlans)))
            for event in shown(packet, "gvrp.attribute_event")]


@unittest.skipUnless(shutil.which("tshark"), "needs tshark")
class Gvrp(NetworkTest):
    def start_line(self, **vlans):
        """Switches in a line, all under compliance, each cable recorded."""
        names = list(vlans)
        self.net = self.start(
            vlans, [cable(*ends, record=True) for ends in zip(names, names[1:])], timers=QUIET)
        for each in self.net.nodes.values():
            each.change("set global compliance on")

    def packets_of(self, name, port):
        """What the port sent under compliance; the network is ended first."""
        address = self.net.nodes[name].query(f"show port {port}")["ports"][0]["macAddress"]
        self.net.stop()
        capture = self.directory / name / f"{port}.pcap"
        packets = decode(capture, f"eth.src == {address} && gvrp")
        self.assertGreater(len(packets), 0)
        self.assertEqual(decode(capture, "gvrp && _ws.malformed"), [])
        for packet in packets:
            self.assertEqual(shown(packet, "eth.dst"), ["01:80:c2:00:00:21"])
            self.assertEqual([int(sap, 0) for sap in shown(packet, "llc.dsap")], [0x42])
            self.assertEqual([int(kind, 0) for kind in shown(packet, "gvrp.attribute_type")], [1])
        return [attributes_of(packet) for packet in packets]

    def events_of(self, packets, vlan):
        return {event for packet in packets for event, of in packet if of == vlan}

    def test_vlans_are_declared_with_joins(self):
        self.start_line(a="10-12", b="30")
        self.net.nodes["a"].change("switch vlan create 20")
        self.net.nodes["b"].change("switch vlan create 31")
        self.assert_state(self.net, a={"learnt": "30-31", "b": {"registered": "+30-31"}},
                          b={"learnt": "10-12,20", "a": {"registered": "+10-12,20"}})
        packets = self.packets_of("a", "b")
        for vlan in (10, 11, 12, 20):
            self.assertTrue(self.events_of(packets, vlan) & JOINS, packets)
            self.assertFalse(self.events_of(packets, vlan) & LEAVES, packets)
        self.assertEqual({vlan for packet in packets for _, vlan in packet} - {1, 30, 31},
                         {10, 11, 12, 20})

    def test_a_leaveall_ends_what_nobody_declares_again(self):
        self.start_line(a="-", b="-")
        self.net.nodes["a"].change("switch vlan create 20")
        self.assert_state(self.net, b={"learnt": "20"})
        self.net.nodes["b"].change("set port a leave-all-time 1000")
        self.assert_state(self.net, b={"learnt": "-", "a": {"registered": "!20"}})
        packets = self.packets_of("b", "a")
        self.assertIn([(LEAVE_ALL, None)], packets)

    def test_a_registration_that_ends_is_withdrawn_with_leaves_on_the_other_ports(self):
        self.start_line(a="-", b="-", c="-")
        self.net.nodes["a"].change("switch vlan create 20")
        self.assert_state(self.net, b={"learnt": "20", "c": {"declared": "+20"}},
                          c={"learnt": "20"})
        self.net.nodes["b"].change("switch port link a down")
        self.assert_state(self.net, b={"learnt": "-", "c": {"declared": "!20"}},
                          c={"learnt": "-"})
        packets = self.packets_of("b", "c")
        self.assertTrue(self.events_of(packets, 20) & JOINS, packets)
        self.assertTrue(self.events_of(packets, 20) & LEAVES, packets)

    def test_compliance_on_and_off_again_goes_back_to_mvrp(self):
        self.start_line(a="10", b="30")
        self.net.nodes["a"].change("switch vlan create 20")
        self.assert_state(self.net, b={"learnt": "10,20"})
        for each in self.net.nodes.values():
            each.change("set global compliance off")
        self.net.nodes["a"].change("switch vlan create 21")
        self.net.nodes["a"].change("set port b leave-all-time 2000")
        self.assert_state(self.net, a={"learnt": "30"}, b={"learnt": "10,20-21"})
        vlans = {of for packet in self.packets_of("a", "b") for _, of in packet}
        self.assertNotIn(21, vlans)


if __name__ == "__main__":
    unittest.main()
