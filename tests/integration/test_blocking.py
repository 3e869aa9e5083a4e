# SPDX-License-Identifier: MIT
"""Files that nobody reads or writes at the other end: the daemon goes on, and ends when it is told
to, within a second."""

import os
import signal
import time
import unittest

from support import NetworkTest

END_WITHIN = 1.0


class Blocking(NetworkTest):
    def setUp(self):
        super().setUp()
        self.node = self.start_one()
        self.fifo = self.directory / "fifo"
        os.mkfifo(self.fifo)

    def assert_ends(self, process=None):
        process = process or self.node.process
        process.send_signal(signal.SIGTERM)
        begin = time.monotonic()
        self.assertEqual(process.wait(20), 0)
        self.assertLess(time.monotonic() - begin, END_WITHIN)

    def test_a_fifo_as_configuration_is_refused_at_sighup(self):
        self.node.configuration_file.unlink()
        os.mkfifo(self.node.configuration_file)
        self.node.process.send_signal(signal.SIGHUP)
        self.await_true(lambda: "a FIFO" in self.node.log.read_text(errors="replace"))
        self.assert_serves(self.node)
        self.assert_ends()

    def test_a_fifo_as_recording_or_replay_is_refused_at_sighup(self):
        text = self.node.configuration_file.read_text()
        for key in ("record", "replay"):
            self.node.configuration_file.write_text(text.replace(
                "cable =", f'{key} = "{self.fifo}"\ncable ='))
            self.node.process.send_signal(signal.SIGHUP)
            self.await_true(lambda: self.node.log.read_text(errors="replace").count(
                "regular file") > (key == "replay"))
            self.assert_serves(self.node)
        self.assert_ends()

    def test_a_reader_of_the_log_that_stands_still_holds_nothing_up(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        self.node.stop()
        self.node.start(log=writer)
        os.close(writer)
        self.node.wait_ready()
        self.node.change("set debug all")
        # Each answer is logged, and printed: more than the pipe and the rings hold.
        with self.channel(self.node) as line:
            for _ in range(3000):
                line.request(7, 0, 2, b"\xff\0\0\0")
                line.request(272, value=b"mvrpDbgPortShow".ljust(64, b"\0") + bytes(12))
        self.assert_serves(self.node)
        self.assert_ends()

    def test_a_recording_to_a_pipe_that_nobody_reads_holds_nothing_up(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        self.addCleanup(os.close, writer)
        done = self.node.control(f"switch port record p1 /proc/{os.getpid()}/fd/{writer}")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        capture = "tests/data/captures/mvrp-20-vlans.pcap"
        root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
        for _ in range(20):
            self.node.change(f"switch port replay p1 {root}/{capture} 0")
        self.assert_serves(self.node)
        self.assert_ends()


if __name__ == "__main__":
    unittest.main()
