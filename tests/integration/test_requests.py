# SPDX-License-Identifier: MIT
"""Requests as no proper client sends them, against the socket of a real daemon."""

import random
import struct
import unittest

from support import ClosedError, NetworkTest

BAD_ARGUMENT = 22
NO_SUCH_PORT = 0x03E80002
SYNC_PACKET = 4        # the global attribute
LONGEST_PACKET = 1400  # bytes
UNSUPPORTED = 38
MAX_VALUE = 65536
SIZES = [0, 1, 2, 3, 4, 5, 7, 8, 12, 511, 512, 513, 520, 4095, MAX_VALUE - 1, MAX_VALUE]

PORT_GET, PORT_SET, PORT_SYNC, SCALAR_GET, SCALAR_SET, SCALAR_SYNC = 3, 4, 5, 6, 7, 8


def number(value):
    return struct.pack("=I", value)


class Requests(NetworkTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10")
        self.line = self.channel(self.switch)

    def assert_unharmed(self):
        self.assert_serves(self.switch)
        self.assertTrue(self.switch.query("show")["mvrpEnabledStatus"])
        port = self.switch.query("show port p1")["ports"][0]
        self.assertTrue(port["portMvrpEnabledStatus"])
        self.assertEqual(port["portMrpJoinTime"], 200)

    def test_settings_of_a_wrong_size_are_refused_and_change_nothing(self):
        for request in (PORT_SET, PORT_SYNC, SCALAR_SET, SCALAR_SYNC):
            unit = 1 if request in (PORT_SET, PORT_SYNC) else 0
            for attribute in (1, 2, 3):
                for size in SIZES:
                    if size == 4:
                        continue
                    with self.subTest(request=request, attribute=attribute, size=size):
                        status, value = self.line.request(request, unit, attribute, b"\2" * size)
                        self.assertEqual((status, value), (BAD_ARGUMENT, b""))
        self.assert_unharmed()

    def test_synchronisation_packets_of_every_size_leave_the_daemon_well(self):
        numbers = random.Random(3)
        for request in (SCALAR_SET, SCALAR_SYNC):
            for size in [*range(1501), *SIZES]:
                # Every other one is what the daemon reads: an addition or removal on its port.
                head = struct.pack(">BBHI", 2 + size % 4 // 2, 0, 520, 1) if size % 2 else b""
                packet = (head + numbers.randbytes(size))[:size]
                status, value = self.line.request(request, 0, SYNC_PACKET, packet)
                self.assertIn(status, (0, BAD_ARGUMENT, NO_SUCH_PORT), size)
                self.assertEqual(value, b"")
                if size > LONGEST_PACKET:
                    self.assertEqual(status, BAD_ARGUMENT, size)
        self.assert_unharmed()

    def test_questions_of_a_wrong_size_are_refused(self):
        for attribute in (8, 9, 10, 11):
            for size in SIZES:
                if size == 4:
                    continue
                with self.subTest(attribute=attribute, size=size):
                    self.assertEqual(
                        self.line.request(PORT_GET, 1, attribute, bytes(size))[0], BAD_ARGUMENT)
        self.assert_unharmed()

    def test_unknown_attributes_are_refused(self):
        for request, unit, known in ((PORT_GET, 1, range(1, 12)), (PORT_SET, 1, range(1, 8)),
                                     (SCALAR_GET, 0, (1, 2, 3, 5, 6, 7)),
                                     (SCALAR_SET, 0, (1, 2, 3, 4, 8))):
            for attribute in [*range(0, 40), 255, 256, 65536, 2**31, 2**32 - 1]:
                if attribute in known:
                    continue
                with self.subTest(request=request, attribute=attribute):
                    self.assertEqual(self.line.request(request, unit, attribute, number(1))[0],
                                     BAD_ARGUMENT)
        self.assert_unharmed()

    def test_vlan_ids_outside_1_to_4094_are_refused(self):
        for attribute in (8, 9, 10, 11):
            for vlan in (0, 4095, 4096, 65536, 2**31, 2**32 - 1):
                with self.subTest(attribute=attribute, vlan=vlan):
                    self.assertEqual(self.line.request(PORT_GET, 1, attribute, number(vlan))[0],
                                     BAD_ARGUMENT)
            self.assertEqual(self.line.request(PORT_GET, 1, attribute, number(4094))[0], 0)

    def test_unknown_request_numbers_are_refused(self):
        for request in [0, *range(9, 20), 255]:
            with self.subTest(request=request):
                self.assertEqual(self.line.request(request, 1, 1, number(1))[0], BAD_ARGUMENT)
        for request in (270, 299, 1000, 2**31, 2**32 - 1):
            with self.subTest(request=request):
                self.assertEqual(self.line.request(request, 1, 1, number(1))[0], UNSUPPORTED)
        self.assert_unharmed()

    def test_every_number_with_every_size_is_answered(self):
        numbers = random.Random(7)
        for request in [*range(0, 12), *range(255, 264), *range(270, 275), 288]:
            if request in (PORT_SET, PORT_SYNC, SCALAR_SET, SCALAR_SYNC):
                continue  # these would be obeyed; their wrong sizes have a test of their own
            for size in SIZES:
                with self.subTest(request=request, size=size):
                    self.line.request(request, 77, numbers.randrange(400), numbers.randbytes(size))
        self.assert_unharmed()

    def test_a_value_longer_than_allowed_closes_that_connection_only(self):
        for length in (MAX_VALUE + 1, 2**31, 2**32 - 1):
            with self.subTest(length=length):
                bad = self.channel(self.switch)
                with self.assertRaises(ClosedError):
                    bad.send(SCALAR_GET, 0, 1, b"", length=length)
                    bad.receive()
                self.assertEqual(self.line.request(SCALAR_GET, 0, 1)[0], 0)

    def test_a_client_that_goes_in_the_middle_of_a_request_disturbs_nobody(self):
        for count in (1, 15, 16, 17, 100):
            bad = self.channel(self.switch)
            bad.socket.sendall((struct.pack("=IIII", SCALAR_SET, 0, 2, 200) + bytes(200))[:count])
            bad.socket.close()
        self.assertEqual(self.line.request(SCALAR_GET, 0, 1)[0], 0)
        self.assert_unharmed()

    def test_pipelined_requests_are_answered_in_order(self):
        for attribute in list(range(2, 8)) * 50:
            self.line.send(PORT_GET, 1, attribute)
        answers = [self.line.receive() for _ in range(300)]
        self.assertEqual(answers, answers[:6] * 50)
        self.assertEqual(answers[3], (0, number(200)))

    def test_several_clients_are_served_at_a_time(self):
        clients = [self.channel(self.switch) for _ in range(20)]
        for client in clients:
            client.send(SCALAR_GET, 0, 1)
        for client in reversed(clients):
            self.assertEqual(client.receive(), (0, number(1)))

    def test_a_request_that_returns_with_the_lock_held_wedges_nothing(self):
        other = self.channel(self.switch)
        self.assertEqual(self.line.request(SCALAR_SET, 0, 1, number(2))[0], 0)
        self.assertEqual(self.line.request(SCALAR_SET, 0, 3, number(1))[0], 0x03E80016)
        self.assertEqual(self.line.request(SCALAR_SET, 0, 8, number(11))[0], 2**32 - 1)
        self.assertEqual(other.request(SCALAR_GET, 0, 1), (0, number(2)))
        self.assertEqual(other.request(SCALAR_SET, 0, 1, number(1))[0], 0)
        # A thread of its own writes the log.
        self.await_true(
            lambda: self.switch.log.read_text(encoding="utf-8").count("the daemon's lock held") == 2)

    def test_random_bytes_on_the_socket_do_no_harm(self):
        numbers = random.Random(9)
        for _ in range(100):
            bad = self.channel(self.switch)
            try:
                # The first number stays unknown, or random bytes might be an order.
                bad.socket.sendall(number(numbers.randrange(300, 2**32)) + numbers.randbytes(400))
            except (BrokenPipeError, ConnectionResetError):
                pass
            bad.socket.close()
        self.assert_unharmed()


if __name__ == "__main__":
    unittest.main()
