# SPDX-License-Identifier: MIT
"""Command requests of several clients against frame traffic and timers, all at once. Run with a
build for the thread sanitizer it looks for races; with any build, for what must not happen."""

import random
import socket
import struct
import threading
import unittest

import topology
from support import TIMERS, NetworkTest

ROUNDS = 150
PORT_FIRST, PORT_NEXT, PORT_GET, PORT_SET, SCALAR_GET, SCALAR_SET = 1, 2, 3, 4, 6, 7
HOST_INFO, PORT_LIST, PORT_VLANS, SWITCH_VLANS, PORT_COUNTERS, PORT_MACHINES = range(256, 262)
SHELL_CALL = 272
LINUX_PORT = 2


def number(value):
    return struct.pack("=I", value)


def reader(line, numbers):
    """Everything that can be asked."""
    for request, unit, attribute, value in (
            (PORT_FIRST, 0, 0, b""), (PORT_NEXT, 1, 0, b""), (HOST_INFO, 0, 0, b""),
            (PORT_LIST, 0, 0, b""), (PORT_VLANS, 1, 198, b""), (SWITCH_VLANS, 0, 6, b""),
            (PORT_COUNTERS, 1, 0, b""), (PORT_MACHINES, 1, 0, b""),
            (SCALAR_GET, 0, numbers.choice((1, 2, 3, 5, 6, 7)), b""),
            (PORT_GET, 1, numbers.randrange(1, 8), b""),
            (PORT_GET, LINUX_PORT, numbers.randrange(8, 12), number(numbers.randrange(1, 4095))),
            (SHELL_CALL, 0, 0, struct.pack("=64sIII", b"mvrpDbgPortShow", 0, 0, 0))):
        line.request(request, unit, attribute, value)


def setter(line, numbers):
    """Settings of the port that the frames come from; it goes off and on again."""
    attribute, value = numbers.choice((
        (2, 1), (2, 2), (2, 3), (3, 1), (3, 2), (3, 3), (4, 0), (4, 100), (5, 200), (6, 450),
        (7, 2000), (1, 2), (1, 1)))
    line.request(PORT_SET, LINUX_PORT, attribute, number(value))
    line.request(SCALAR_SET, 0, 2, number(numbers.choice((0, 255))))


def changer(node, numbers):
    """The switch below changes too."""
    node.control(numbers.choice((
        "switch vlan create 100-120", "switch vlan delete 100-120", "switch port link linux down",
        "switch port link linux up", "switch port wire-form linux ieee",
        "switch port wire-form linux native", "switch vlan remove-port linux 40-50",
        "switch vlan add-port linux 40-50")))


def join_frame(numbers, wire_form):
    first, events = numbers.randrange(2, 4000), numbers.randbytes(20)
    vector = struct.pack(">HH", numbers.choice((0, 0x2000)) | 60, first) + events
    head = bytes.fromhex("0180c200002102000000aa01")
    if wire_form == "ieee":
        return head + bytes.fromhex("88f5000102") + vector + bytes(4)
    pdu = bytes.fromhex("aaaa0300000088f5000101") + vector + bytes(2)
    return head + struct.pack(">H", len(pdu)) + pdu


class Threads(NetworkTest):
    def test_requests_slip_in_between_frames_and_do_no_harm(self):
        here, there = self.directory / "here", self.directory / "there"
        plan = topology.build({
            "title": "test", "timers": TIMERS,
            "switch": [{"name": "a", "vlans": "10"}, {"name": "b", "vlans": "20"}],
            "cable": [{"between": ["a", "b"]}]}, self.directory)
        plan.switches["a"].add_port("linux", cable=f"unix:{here},{there}", timers=TIMERS)
        peer = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(peer.close)
        peer.bind(str(there))
        peer.settimeout(0.01)
        net = self.run_topology(plan)
        node = net.nodes["a"]

        done = threading.Event()
        problems = []

        def guarded(work):
            try:
                work()
            except Exception as error:  # a thread's failure is the test's
                problems.append(f"{type(error).__name__}: {error}\n{node.log_tail()}")

        def traffic():
            numbers = random.Random(1)
            while not done.is_set():
                frame = join_frame(numbers, numbers.choice(("ieee", "native")))
                try:
                    # Waits for room where the daemon is behind, then for its frames.
                    peer.sendto(frame, str(here))
                    while True:
                        peer.recv(65536)
                except TimeoutError:
                    pass

        def client(step, seed):
            line, numbers = self.channel(node), random.Random(seed)
            for _ in range(ROUNDS):
                step(line, numbers)

        def change():
            numbers = random.Random(4)
            for _ in range(ROUNDS // 4):
                changer(node, numbers)

        background = threading.Thread(target=guarded, args=(traffic,))
        workers = [threading.Thread(target=guarded, args=(work,)) for work in (
            lambda: client(reader, 2), lambda: client(reader, 3), lambda: client(setter, 5), change)]
        background.start()
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join(timeout=120)
        done.set()
        background.join()
        self.assertFalse(any(worker.is_alive() for worker in workers), "a client got no answer")
        self.assertEqual(problems, [])

        node.control("set debug none")
        node.change("switch vlan delete 100-120")
        self.assert_serves(node)
        self.assert_state(net, within=30, a={"b": {"learnt": "+20"}}, b={"a": {"learnt": "+10"}})


if __name__ == "__main__":
    unittest.main()
