# SPDX-License-Identifier: MIT
"""Frames that leave a port, decoded by tshark: a second opinion on the wire forms."""

import shutil
import unittest

from frames import decode, fields, shown
from support import NetworkTest, cable

NEW, JOIN_IN, IN, JOIN_MT, MT, LEAVE = range(6)


def events_of(packet):
    """{VLAN ID: event} of all vectors of a decoded MVRP PDU."""
    events = {}
    for vector in fields(packet, "mrp-mvrp.vector_attribute"):
        first = int(shown(vector, "mrp-mvrp.vid")[0])
        count = int(shown(vector, "mrp-mvrp.number_of_values")[0])
        values = [int(text) for text in shown(vector, "mrp-mvrp.three_packed_event")]
        events |= {first + i: event for i, event in enumerate(values[:count])}
    return events


@unittest.skipUnless(shutil.which("tshark"), "needs tshark")
class Decode(NetworkTest):
    def capture(self, wire_format):
        """A capture of a VLAN's life between two switches, as sent by a's port."""
        net = self.start({"a": "10-12,20", "b": "-"},
                         [cable("a", "b", wire_format=wire_format, record=True)])
        self.assert_state(net, b={"learnt": "10-12,20"})
        net.nodes["a"].change("switch vlan delete 11")
        self.assert_state(net, b={"learnt": "10,12,20"})
        self.address = net.nodes["a"].query("show port b")["ports"][0]["macAddress"]
        net.stop()
        return self.directory / "a" / "b.pcap"

    def test_ieee_form_decodes_as_mvrp_with_the_vlans_and_events_that_were_meant(self):
        capture = self.capture("ieee")
        sent = decode(capture, f"eth.src == {self.address}")
        self.assertGreater(len(sent), 0)
        seen = {}
        for packet in sent:
            self.assertIsNotNone(packet.find("proto[@name='mrp-mvrp']"), "not decoded as MVRP")
            self.assertEqual(shown(packet, "eth.dst"), ["01:80:c2:00:00:21"])
            self.assertEqual(set(shown(packet, "mrp-mvrp.attribute_length")), {"2"})
            for vlan, event in events_of(packet).items():
                seen.setdefault(vlan, set()).add(event)
        self.assertEqual(set(seen) - {1}, {10, 11, 12, 20})
        for vlan in (10, 12, 20):
            self.assertTrue(seen[vlan] & {NEW, JOIN_IN, JOIN_MT}, seen)
            self.assertNotIn(LEAVE, seen[vlan])
        self.assertIn(LEAVE, seen[11])
        self.assertEqual(decode(capture, "_ws.malformed"), [])

    def test_native_form_decodes_as_llc_snap_with_the_protocol_of_mvrp(self):
        capture = self.capture("native")
        sent = decode(capture, f"eth.src == {self.address}")
        self.assertGreater(len(sent), 0)
        for packet in sent:
            self.assertEqual(int(shown(packet, "llc.dsap")[0], 0), 0xAA)
            self.assertEqual(int(shown(packet, "llc.ssap")[0], 0), 0xAA)
            self.assertEqual(int(shown(packet, "llc.oui")[0], 0), 0)
            self.assertEqual(int(shown(packet, "llc.type")[0], 0), 0x88F5)


if __name__ == "__main__":
    unittest.main()
