# SPDX-License-Identifier: MIT
"""Faults of the host around a running daemon: too many clients, clients that do not read, sockets
removed under it, empty frames, and a flood on one port."""

import itertools
import os
import pathlib
import socket
import struct
import threading
import unittest

import topology
from support import TIMERS, NetworkTest

HOST_INFO, PORT_COUNTERS, PORT_MACHINES = 256, 260, 261
CLIENTS = 1000
JOINS = bytes([129])  # three JoinMt
GROUP_ADDRESS = bytes.fromhex("0180c2000021")


def join_frame(first, events, count=None):
    """JoinMt of 3 VLANs for each byte of events, or of the first of them only."""
    vector = struct.pack(">HH", count or 3 * len(events), first) + events
    pdu = bytes.fromhex("aaaa0300000088f5000101") + vector + bytes(2)
    return GROUP_ADDRESS + bytes.fromhex("02000000aa01") + struct.pack(">H", len(pdu)) + pdu


class Faults(NetworkTest):
    def start_with_peers(self, count, timers=TIMERS):
        """A switch whose ports' far ends are sockets of this test. Sets node, ports and peers."""
        ends = [(self.directory / f"port{n}", self.directory / f"peer{n}") for n in range(count)]
        switch = topology.Switch("sw", "10")
        self.peers = []
        for number, (port, peer) in enumerate(ends):
            switch.add_port(f"p{number + 1}", cable=f"unix:{port},{peer}", timers=timers)
            line = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
            self.addCleanup(line.close)
            line.bind(str(peer))
            self.peers.append(line)
        self.ports = [str(port) for port, _ in ends]
        self.node = self.run_topology(topology.Topology("test", {"sw": switch}, [])).nodes["sw"]

    def descriptors(self):
        return len(os.listdir(pathlib.Path("/proc") / str(self.node.process.pid) / "fd"))

    def counters(self, unit):
        names = ("framesIn", "framesOut", "bytesIn", "bytesOut", "malformed", "overflow",
                 "disabled", "tunnel", "sendFailed", "forwarded", "ignored")
        with self.channel(self.node) as line:
            return dict(zip(names, struct.unpack("=11Q", line.request(PORT_COUNTERS, unit)[1][:88])))

    def registered(self, unit, vlan):
        with self.channel(self.node) as line:
            return line.request(PORT_MACHINES, unit)[1][3 * (vlan - 1) + 2] & 2 != 0

    def test_a_thousand_clients_come_and_go(self):
        self.start_with_peers(1)
        before = self.descriptors()
        path = str(self.node.directory / "mvrpcmd.socket")
        clients = []
        for _ in range(CLIENTS):
            client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM | socket.SOCK_NONBLOCK)
            clients.append(client)
            try:
                client.connect(path)
            except BlockingIOError:  # the queue of those who wait is full, as it should be
                pass
        self.assertIsNone(self.node.process.poll())
        for client in clients:
            client.close()
        self.assert_serves(self.node)
        self.await_true(lambda: self.descriptors() <= before)

    def test_a_client_that_never_reads_holds_up_nobody(self):
        self.start_with_peers(1)
        lazy = self.channel(self.node)
        lazy.socket.settimeout(0.5)
        asked = 0
        with self.assertRaises(TimeoutError):  # it is not read further, so it can not write further
            while True:
                lazy.send(PORT_MACHINES, 1)
                asked += 1
        self.assertGreater(asked, 10)
        with self.channel(self.node) as line:
            for _ in range(50):
                self.assertEqual(line.request(HOST_INFO)[0], 0)
        self.assert_serves(self.node)

    def test_the_command_socket_is_removed_under_the_daemon(self):
        self.start_with_peers(1)
        line = self.channel(self.node)
        (self.node.directory / "mvrpcmd.socket").unlink()
        self.assertEqual(line.request(HOST_INFO)[0], 0)
        self.peers[0].sendto(join_frame(20, JOINS), self.ports[0])
        self.await_true(lambda: line.request(PORT_MACHINES, 1)[1][3 * 19 + 2] & 2)

    def test_the_other_end_of_a_cable_is_removed(self):
        self.start_with_peers(2)
        self.peers[0].close()
        pathlib.Path(self.directory / "peer0").unlink()
        self.peers[1].sendto(join_frame(20, JOINS), self.ports[1])
        # Nobody at the other end is no failure: the frames are lost, as on a real cable.
        self.await_true(lambda: self.registered(2, 20))
        self.assertEqual(self.counters(1)["sendFailed"], 0)
        again = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(again.close)
        again.bind(str(self.directory / "peer0"))
        again.settimeout(15)
        self.assertEqual(again.recv(2048)[:6], GROUP_ADDRESS)

    def test_neighbours_that_do_not_read_are_told_everything_when_they_do(self):
        """Six of them. They are not told by a LeaveAll that was due anyway."""
        self.start_with_peers(7, TIMERS | {"leave-all": 300000})
        *lazy, busy = range(7)
        vlans = iter(range(100, 4000))
        self.peers[busy].setblocking(True)

        def join_more():
            for vlan in itertools.islice(vlans, 100):
                self.peers[busy].sendto(join_frame(vlan, JOINS, 1), self.ports[busy])
            return all(self.counters(number + 1)["sendFailed"] for number in lazy)

        self.await_true(join_more, within=60)
        join_more()
        last = next(vlans) - 1  # nobody has been told
        self.await_true(lambda: self.registered(busy + 1, last))
        for number in lazy:
            self.await_declared(self.peers[number], last)

    def await_declared(self, peer, vlan):
        """Reads until a LeaveAll has come and, after it, a vector that holds the VLAN."""
        peer.settimeout(30)
        asked = False
        while True:
            pdu = peer.recv(2048)[25:]
            while pdu[:2] != bytes(2):
                count, begin = struct.unpack_from(">HH", pdu)
                asked = asked or count & 0x2000 != 0
                count &= 0x1fff
                if asked and begin <= vlan < begin + count:
                    return
                pdu = pdu[4 + (count + 2) // 3:]

    def test_empty_frames_are_nothing(self):
        self.start_with_peers(1)
        for _ in range(5):
            self.peers[0].sendto(b"", self.ports[0])
        self.peers[0].sendto(join_frame(20, JOINS), self.ports[0])
        self.await_true(lambda: self.registered(1, 20))

    def test_a_flood_on_one_port_does_not_keep_another_from_converging(self):
        self.start_with_peers(2)
        ended = threading.Event()

        def flood():
            frame = join_frame(3000, JOINS * 30)
            while not ended.is_set():
                try:
                    self.peers[0].sendto(frame, self.ports[0])
                except BlockingIOError:
                    pass
                for peer in self.peers:
                    try:
                        peer.recv(2048)
                    except BlockingIOError:
                        pass

        flooder = threading.Thread(target=flood)
        flooder.start()
        try:
            self.await_true(lambda: self.counters(1)["framesIn"] > 500, within=30)

            def declared():
                try:
                    self.peers[1].sendto(join_frame(20, JOINS), self.ports[1])
                except BlockingIOError:
                    pass
                return self.registered(2, 20)

            self.await_true(declared, within=30)
        finally:
            ended.set()
            flooder.join()
        self.assert_serves(self.node)


if __name__ == "__main__":
    unittest.main()
