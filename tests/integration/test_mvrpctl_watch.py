# SPDX-License-Identifier: MIT
"""`mvrpctl watch`: a snapshot, then changes in order, over the end of a connection and of a daemon;
and its full-screen form on a terminal."""

import fcntl
import json
import os
import pty
import select
import struct
import subprocess
import termios
import threading
import time
import unittest

import expect
from support import NetworkTest, cable


class Watcher:
    """A running `mvrpctl -j watch`."""

    def __init__(self, node, *options):
        self.lines = []
        self.process = subprocess.Popen([node.mvrpctl, "-j", "watch", *options],
                                        env=node.environment, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, text=True)
        self.thread = threading.Thread(target=self.read, daemon=True)
        self.thread.start()

    def read(self):
        for line in self.process.stdout:
            self.lines.append(json.loads(line))

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self.thread.join()
        self.process.stdout.close()

    def changes(self, change):
        return [line for line in self.lines if line.get("change") == change]

    def vlans(self, change):
        return set().union(*(expect.parse(line["vlans"]) for line in self.changes(change)))


class Watch(NetworkTest):
    def setUp(self):
        super().setUp()
        self.net = self.start({"west": "10", "middle": "-"}, [cable("west", "middle")])
        self.west = self.net.nodes["west"]
        self.middle = self.net.nodes["middle"]
        self.assert_state(self.net, middle={"learnt": "10"})

    def watch(self, *options):
        watcher = Watcher(self.middle, *options)
        self.addCleanup(watcher.stop)
        self.await_true(lambda: watcher.lines)
        return watcher

    def test_changes_follow_a_snapshot_with_ascending_numbers(self):
        watcher = self.watch()
        self.assertEqual(watcher.lines[0]["type"], "snapshot")
        self.assertEqual(watcher.lines[0]["ports"][0]["vlansLearnt"], "10")
        self.west.change("switch vlan create 20-22")
        # In one change or in several, as they came.
        self.await_true(lambda: watcher.vlans("memberAdded") == {20, 21, 22})
        self.assertEqual({c["name"] for c in watcher.changes("memberAdded")}, {"west"})
        self.await_true(lambda: watcher.vlans("vlanLearnt") == {20, 21, 22})
        self.middle.change("switch port link west down")
        self.await_true(lambda: watcher.changes("linkDown"))
        numbers = [line["sequence"] for line in watcher.lines]
        self.assertEqual(numbers, sorted(set(numbers)))

    def test_a_state_is_shown_with_what_it_was(self):
        watcher = self.watch("--states")
        self.west.change("switch vlan create 20")
        state = self.await_true(lambda: [c for c in watcher.changes("state")
                                         if c["vlans"] == "20"])[0]
        self.assertFalse(state["before"]["registered"])
        self.assertTrue(state["after"]["registered"])

    def test_nothing_is_missed_between_two_connections(self):
        watcher = self.watch()
        watcher.stop()
        since = watcher.lines[-1]["sequence"]
        self.west.change("switch vlan create 30")
        self.await_true(lambda: self.middle.query("show running west")["ports"][0]["vlansLearnt"]
                        == "10,30")
        done = self.middle.control(f"-j watch --since {since} --seconds 2")
        lines = [json.loads(line) for line in done.stdout.splitlines()]
        self.assertNotIn("snapshot", [line["type"] for line in lines])
        self.assertIn("30", [line["vlans"] for line in lines if line["change"] == "memberAdded"])
        self.assertGreater(lines[0]["sequence"], since)

    def test_a_number_that_is_no_longer_known_gives_a_snapshot_that_says_so(self):
        done = self.middle.control("-j watch --since 5 --seconds 1")
        first = json.loads(done.stdout.splitlines()[0])
        self.assertEqual((first["type"], first["reason"]), ("snapshot", "gap"))

    def test_it_goes_on_when_the_daemon_starts_anew(self):
        watcher = self.watch()
        self.middle.kill()
        self.await_true(lambda: [w for w in watcher.lines if w["type"] == "disconnected"])
        self.middle.start()
        self.middle.wait_ready()
        self.await_true(lambda: [w for w in watcher.lines[1:] if w.get("reason") == "gap"])

    def test_lines_for_people_name_port_and_vlans(self):
        with subprocess.Popen([self.middle.mvrpctl, "watch", "--seconds", "30"],
                              env=self.middle.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, text=True) as watch:
            self.assertIn("Unit", watch.stdout.readline())  # the snapshot is taken
            self.west.change("switch vlan create 40")
            self.assertTrue(any("  west    40 came onto the port" in line for line in watch.stdout))
            watch.kill()

    def test_count_ends_it(self):
        self.middle.change("switch vlan create 50,52,54")
        watcher = self.watch("--count", "2")
        self.middle.change("switch vlan create 60,62,64")
        self.assertEqual(watcher.process.wait(20), 0)
        watcher.thread.join()
        self.assertEqual(len(watcher.lines), 3)

    def test_the_screen_shows_ports_by_vlans_and_ends_with_q(self):
        leader, follower = pty.openpty()
        process = subprocess.Popen([self.middle.mvrpctl, "watch", "--screen"], stdin=follower,
                                   stdout=follower, env=self.middle.environment)
        os.close(follower)
        text = b""
        deadline = time.monotonic() + 15
        while b"VLANs" not in text or b"learnt" not in text:
            self.assertLess(time.monotonic(), deadline, text)
            if select.select([leader], [], [], 0.2)[0]:
                text += os.read(leader, 65536)
        self.assertIn(b"west", text)
        self.assertTrue(text.startswith(b"\x1b[?1049h"))
        os.write(leader, b"q")
        while select.select([leader], [], [], 0.5)[0]:
            try:
                text += os.read(leader, 65536)
            except OSError:
                break
        self.assertEqual(process.wait(10), 0)
        os.close(leader)
        self.assertIn(b"\x1b[?1049l", text)

    def screen(self, *options):
        """What a screen of 80 columns shows until it ends by itself."""
        leader, follower = pty.openpty()
        fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        process = subprocess.Popen([self.middle.mvrpctl, "watch", "--screen", *options],
                                   stdin=follower, stdout=follower, env=self.middle.environment)
        os.close(follower)
        text = b""
        try:
            while more := os.read(leader, 65536):
                text += more
        except OSError:
            pass  # nobody has the terminal open any more
        os.close(leader)
        self.assertEqual(process.wait(10), 0)
        return text

    def test_the_screen_ends_after_its_seconds(self):
        self.assertTrue(self.screen("--seconds", "1").endswith(b"\x1b[?1049l"))

    def test_the_screen_ends_after_so_many_changes(self):
        threading.Timer(1, self.west.change, ["switch vlan create 33"]).start()
        self.assertIn(b"33", self.screen("--count", "1", "--seconds", "20"))

    def test_only_the_ports_that_are_asked_for_are_watched(self):
        switch = self.start_one("10", ports=("east", "south"))
        lines = switch.control("-j watch --ports south --seconds 1").stdout.splitlines()
        self.assertEqual([port["name"] for port in json.loads(lines[0])["ports"]], ["south"])
        done = switch.control("watch --ports north --seconds 1")
        self.assertEqual(done.returncode, 1)
        self.assertIn("its ports are: east, south", done.stderr)

    def test_the_screen_wants_a_terminal(self):
        done = self.middle.control("watch --screen")
        self.assertEqual(done.returncode, 2)
        self.assertIn("terminal", done.stderr)


if __name__ == "__main__":
    unittest.main()
