# SPDX-License-Identifier: MIT
"""Frames as no proper bridge sends them, into a port of a real daemon."""

import random
import socket
import unittest

from support import NetworkTest

GROUP_ADDRESS = bytes.fromhex("0180c2000021")
PEER = bytes.fromhex("02000000aa01")
SNAP = bytes.fromhex("aaaa0300000088f5")
IEEE = bytes.fromhex("88f5")
GVRP = bytes.fromhex("424203")
LONGEST = 3840


def with_length(body):
    """802.3: a length in place of the type, as far as it can be told."""
    return GROUP_ADDRESS + PEER + min(len(body), 1500).to_bytes(2, "big") + body


def native_frame(pdu):
    return with_length(SNAP + pdu)


class Garbage(NetworkTest):
    def setUp(self):
        super().setUp()
        here, there = self.directory / "here", self.directory / "there"
        self.peer = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.peer.close)
        self.peer.bind(str(there))
        self.switch = self.start_one("10", cable=f"unix:{here},{there}")
        self.switch_address = str(here)
        self.numbers = random.Random(11)

    def drain(self):
        """Takes what the switch sent, so that its cable does not fill up."""
        self.peer.setblocking(False)
        try:
            while True:
                self.peer.recv(65536)
        except BlockingIOError:
            self.peer.setblocking(True)

    def send(self, frames):
        count = 0
        for frame in frames:
            self.peer.sendto(frame, self.switch_address)
            count += 1
            if count % 64 == 0:
                self.drain()
        return count

    def counters(self):
        return self.switch.query("show counters p1")["counters"][0]

    def await_counted(self, sent, before):
        """Waits until every frame was counted as something. @return the counters"""
        def all_counted():
            now = self.counters()
            seen = sum(now[key] - before[key] for key in (
                "framesIn", "forwarded", "ignored", "droppedMalformed", "droppedOverflow",
                "droppedDisabled", "droppedTunnel"))
            return now if seen >= sent else None
        return self.await_true(all_counted)

    def assert_still_learns(self, vlan):
        """A proper declaration is still understood, and so is its end."""
        def learnt():
            # JoinIn for one VLAN, in the native form.
            self.send([native_frame(bytes.fromhex("0001010001") + vlan.to_bytes(2, "big")
                                    + bytes.fromhex("240000"))])
            self.drain()
            return self.switch.query("show port p1")["ports"][0]["vlansLearnt"] == str(vlan)
        self.await_true(learnt)
        self.assert_serves(self.switch)

    def test_random_frames_of_every_length_are_counted_and_dropped(self):
        before = self.counters()
        sent = self.send(self.numbers.randbytes(size) for size in range(LONGEST + 1))
        now = self.await_counted(sent, before)
        self.assertGreater(now["ignored"] + now["droppedMalformed"], before["ignored"])
        self.assert_still_learns(77)

    def test_random_bytes_after_proper_headers_are_counted_and_dropped(self):
        for header in (SNAP, GVRP):
            with self.subTest(header=header.hex()):
                before = self.counters()
                sent = self.send(with_length(header + self.numbers.randbytes(size))
                                 for size in range(0, LONGEST - 22, 3))
                self.await_counted(sent, before)
        before = self.counters()
        sent = self.send(GROUP_ADDRESS + PEER + IEEE + self.numbers.randbytes(size)
                         for size in range(0, LONGEST - 14, 3))
        now = self.await_counted(sent, before)
        self.assertGreater(now["droppedMalformed"], before["droppedMalformed"])
        self.assert_still_learns(78)

    def test_cut_frames_are_survived(self):
        whole = native_frame(bytes.fromhex("000101" + "0fff0001" + "24" * 1365 + "0000"))
        standard = GROUP_ADDRESS + PEER + IEEE + bytes.fromhex("00010220030001b4000aac00000000")
        before = self.counters()
        sent = self.send(frame[:size] for frame in (whole, standard)
                         for size in range(len(frame)))
        self.await_counted(sent, before)
        self.assert_serves(self.switch)

    def test_vectors_that_run_past_the_last_vlan_are_survived(self):
        frames = []
        for first in (0, 1, 4093, 4094, 4095, 4096, 65535):
            for count in (0, 1, 2, 4095, 8191):
                for leave_all in (0, 0x2000):
                    events = bytes([36]) * min((count + 2) // 3, 480)
                    vector = (leave_all | count).to_bytes(2, "big") + first.to_bytes(2, "big")
                    frames.append(native_frame(bytes.fromhex("000101") + vector + events
                                               + b"\0\0"))
                    frames.append(GROUP_ADDRESS + PEER + IEEE + bytes.fromhex("000102") + vector
                                  + events + b"\0\0\0\0")
        before = self.counters()
        self.await_counted(self.send(frames), before)
        self.assert_serves(self.switch)


if __name__ == "__main__":
    unittest.main()
