# SPDX-License-Identifier: MIT
"""The peers of a soaked switch: what they send, in a process of their own."""

import random
import socket
import time

HEAD = bytes.fromhex("0180c200002102000000aa01")
JOIN_MT, LEAVE = 3, 5  # attribute events of IEEE 802.1Q
EVENT_WEIGHTS = (36, 6, 1)
TICK_SECONDS = 0.01
GARBAGE_PERCENT = 92  # each proper frame has the daemon send one to every other port


def packed(event, count):
    """Events of `count` VLANs, three to a byte."""
    return bytes(sum(event * weight for weight, _ in zip(EVENT_WEIGHTS, range(count - at)))
                 for at in range(0, count, 3))


def frame(vectors, wire_form="native", leave_all=False):
    """@param vectors  (event, first VLAN, count) each"""
    top = 0x2000 if leave_all else 0
    body = b"".join((top | count).to_bytes(2, "big") + first.to_bytes(2, "big")
                    + packed(event, count) for event, first, count in vectors)
    if wire_form == "ieee":
        return HEAD + bytes.fromhex("88f5000102") + body + bytes(4)
    pdu = bytes.fromhex("aaaa0300000088f5000101") + body + bytes(2)
    return HEAD + len(pdu).to_bytes(2, "big") + pdu


def garbage(numbers):
    """Any bytes; bytes behind a proper header; a proper frame cut or with a wrong byte."""
    kind = numbers.randrange(4)
    if kind == 0:
        return numbers.randbytes(numbers.randrange(1, 400))
    if kind == 1:
        return HEAD + bytes.fromhex("88f5") + numbers.randbytes(numbers.randrange(200))
    whole = bytearray(frame([(JOIN_MT, 3500, numbers.randrange(1, 60))]))
    if kind == 2:
        return bytes(whole[:numbers.randrange(1, len(whole))])
    whole[numbers.randrange(14, 25)] = numbers.randrange(256)
    return bytes(whole)


class Peers:
    """One neighbour for each port. Each declares steady VLANs of its own again and again, joins and
    leaves VLANs of a range that all share, and sends garbage in between."""

    def __init__(self, ends, steady, churn, seed):
        """ends: (our socket's path, the port's path) each; steady: (first VLAN, count) of each;
        churn: range of VLAN IDs"""
        self.numbers = random.Random(seed)
        self.steady, self.churn = steady, churn
        self.targets = [str(port) for _, port in ends]
        self.sockets = []
        for here, _ in ends:
            line = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
            line.bind(str(here))
            self.sockets.append(line)
        self.sent = self.refused = self.received = 0

    def send(self, port, data):
        try:
            self.sockets[port].sendto(data, self.targets[port])
            self.sent += 1
        except (BlockingIOError, ConnectionRefusedError, FileNotFoundError):
            self.refused += 1

    def declare(self, port):
        first, count = self.steady[port]
        self.send(port, frame([(JOIN_MT, first, count)], "ieee" if port % 2 else "native"))

    def disturb(self):
        """One frame that is no steady declaration."""
        port = self.numbers.randrange(len(self.sockets))
        chance = self.numbers.randrange(100)
        if chance < GARBAGE_PERCENT:
            self.send(port, garbage(self.numbers))
        elif chance == GARBAGE_PERCENT:
            self.send(port, frame([(0, 1, 1)], leave_all=True))
        else:
            first = self.numbers.choice(self.churn)
            count = min(self.numbers.randrange(1, 30), self.churn.stop - first)
            event = self.numbers.choice((JOIN_MT, JOIN_MT, LEAVE))
            self.send(port, frame([(event, first, count)], self.numbers.choice(("ieee", "native"))))

    def drain(self):
        for line in self.sockets:
            try:
                while True:
                    line.recv(2048)
                    self.received += 1
            except BlockingIOError:
                pass

    def run(self, rate, ended, counts):
        """Sends `rate` frames a second until `ended` is set; what a late tick owes is sent then.
        counts: shared, frames sent, refused by a full socket, received"""
        begin, declared = time.monotonic(), 0
        while not ended.is_set():
            spent = time.monotonic() - begin
            owed = int(spent * rate) - self.sent - self.refused
            # Every port once a second, by the clock: on a busy machine a neighbour that declares by
            # turns is too late, and what it loses is its own fault.
            due = int(spent * len(self.sockets))
            for port in range(max(declared, due - len(self.sockets)), due):
                self.declare(port % len(self.sockets))
            declared = due
            for _ in range(min(owed, rate // 4)):
                self.disturb()
            self.drain()
            counts[:] = [self.sent, self.refused, self.received]
            time.sleep(TICK_SECONDS)
