# SPDX-License-Identifier: MIT
"""What a user of the command channel can not have the daemon do: write, read or replace anything
outside of the directories that the configuration names, and what he can do with files of his own."""

import grp
import os
import pathlib
import pwd
import shutil
import subprocess
import struct
import unittest

from support import BUILD, NetworkTest

SWITCH_CHANGE = 288
CABLE, REPLAY, RECORD = 10, 12, 13
CAPTURE = pathlib.Path(__file__).resolve().parents[1] / "data" / "captures" / "mvrp-20-vlans.pcap"
STRANGER = pwd.getpwnam("nobody")
GROUP = grp.getgrnam("daemon")


def change(kind, text, unit=1, value=0):
    return struct.pack("=III6s2s512s256s", kind, unit, value, b"", b"", b"", str(text).encode())


class Containment(NetworkTest):
    def setUp(self):
        super().setUp()
        self.node = self.start_one()
        self.outside = self.directory / "outside"
        self.outside.mkdir()

    def ask(self, kind, text, value=0):
        """(status, text)"""
        with self.channel(self.node) as line:
            status, reply = line.request(SWITCH_CHANGE, value=change(kind, text, value=value))
        return status, reply.decode()

    def assert_refused(self, kind, text, reason="is not a path below"):
        status, reply = self.ask(kind, text)
        self.assertNotEqual(status, 0, text)
        self.assertIn(reason, reply)

    def test_a_recording_that_a_request_names_stays_below_the_runtime_directory(self):
        secret = self.outside / "secret"
        secret.write_text("keep this")
        self.assert_refused(RECORD, secret)
        self.assertEqual(secret.read_text(), "keep this")
        self.assert_refused(RECORD, self.outside / "new.pcap")
        self.assertFalse((self.outside / "new.pcap").exists())
        self.assert_refused(RECORD, "relative.pcap")
        self.assertEqual(self.ask(RECORD, self.node.directory / "own.pcap"), (0, ""))
        self.assertEqual(self.ask(RECORD, ""), (0, ""))

    def test_links_lead_nowhere(self):
        (self.node.directory / "out").symlink_to(self.outside)
        (self.node.directory / "file").symlink_to(self.outside / "made")
        self.assert_refused(RECORD, self.node.directory / "out" / "made", "out")
        self.assert_refused(RECORD, self.node.directory / "file", "file")
        self.assertEqual(list(self.outside.iterdir()), [])

    def test_what_the_daemon_keeps_there_is_not_recorded_over(self):
        before = self.node.configuration_file.read_text()
        self.assert_refused(RECORD, self.node.configuration_file, "no recording")
        self.assertEqual(self.node.configuration_file.read_text(), before)

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to give a file away")
    def test_a_file_of_another_user_is_not_recorded_over(self):
        theirs = self.node.directory / "theirs"
        theirs.write_bytes(b"")
        theirs.chmod(0o666)
        os.chown(theirs, STRANGER.pw_uid, STRANGER.pw_gid)
        self.assert_refused(RECORD, theirs, "another user")

    def test_a_replay_that_a_request_names_is_found_there_only(self):
        self.assert_refused(REPLAY, "/etc/passwd")
        shutil.copy(CAPTURE, self.node.directory / "in.pcap")
        self.assertEqual(self.ask(REPLAY, self.node.directory / "in.pcap"), (0, ""))

    def test_a_cable_takes_no_socket_that_is_in_use_not_even_the_daemons_own(self):
        own = self.node.directory / "mvrpcmd.socket"
        self.assert_refused(CABLE, f"unix:{own},{self.node.directory}/peer", "in use")
        self.assert_serves(self.node)
        self.assert_refused(CABLE, f"unix:{self.outside}/a,{self.node.directory}/b")
        self.assert_refused(CABLE, f"unix:{self.node.directory}/a,{self.outside}/b")

    def test_directories_of_the_configuration_take_the_place_of_the_usual_ones(self):
        self.node.stop()
        self.node.extra_configuration = f'[command]\ndirectories = ["{self.outside}/"]\n'
        self.node.start()
        self.node.wait_ready()
        self.assertEqual(self.ask(RECORD, self.outside / "new.pcap"), (0, ""))
        self.assert_refused(RECORD, self.node.directory / "own.pcap")

    def test_mvrpctl_opens_the_files_of_its_user_itself(self):
        self.node.change(f"switch port record p1 {self.outside}/mine.pcap")
        self.node.change(f"switch port replay p1 {CAPTURE} 0")
        self.await_true(lambda: (self.outside / "mine.pcap").stat().st_size > 24)
        self.node.change("switch port record p1 none")
        self.await_true(
            lambda: self.node.query("show port p1")["ports"][0]["counters"]["framesIn"] > 0)

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to become another user")
    def test_a_member_of_the_group_reads_and_writes_with_his_own_rights(self):
        self.node.stop()
        self.node.extra_configuration = f'[command]\ngroup = "{GROUP.gr_name}"\n'
        self.node.start()
        self.node.wait_ready()
        for path in (self.directory, self.node.directory):
            path.chmod(0o755)
        program = self.directory / "mvrpctl"
        shutil.copy(BUILD / "cli" / "mvrpctl", program)
        secret = self.outside / "secret"
        secret.write_text("keep this")
        secret.chmod(0o600)
        theirs = self.directory / "theirs"
        theirs.mkdir()
        os.chown(theirs, STRANGER.pw_uid, STRANGER.pw_gid)
        theirs.chmod(0o700)

        def member(*words):
            return subprocess.run(
                [program, "--socket", self.node.directory / "mvrpcmd.socket", "switch", "port",
                 *words], user=STRANGER.pw_uid, group=STRANGER.pw_gid,
                extra_groups=[GROUP.gr_gid], cwd="/", capture_output=True, text=True, timeout=20,
                check=False)

        done = member("record", "p1", str(secret))
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertEqual(secret.read_text(), "keep this")
        done = member("record", "p1", str(theirs / "mine.pcap"))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(os.stat(theirs / "mine.pcap").st_uid, STRANGER.pw_uid)
        self.await_true(lambda: (theirs / "mine.pcap").stat().st_size >= 24)


@unittest.skipUnless(os.geteuid() == 0, "needs root, to become another user")
class Impostor(NetworkTest):
    def test_who_serves_a_socket_in_a_directory_of_everybodys_is_looked_at(self):
        self.directory.chmod(0o1777)
        path = self.directory / "mvrpcmd.socket"
        server = subprocess.Popen(
            ["python3", "-c", "import socket, sys\n"
             "s = socket.socket(socket.AF_UNIX)\n"
             "s.bind(sys.argv[1])\n"
             "s.listen()\n"
             "print(flush=True)\n"
             "while True:\n"
             "    c = s.accept()[0]\n"
             "    c.recv(16)\n"
             "    c.close()\n", path],
            user=STRANGER.pw_uid, group=STRANGER.pw_gid, extra_groups=[], stdout=subprocess.PIPE)
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        server.stdout.readline()

        def show():
            return subprocess.run([BUILD / "cli" / "mvrpctl", "--socket", path, "show"],
                                  capture_output=True, text=True, timeout=20, check=False)

        done = show()
        self.assertEqual(done.returncode, 2)
        self.assertIn(f"user {STRANGER.pw_uid} serves it", done.stderr)
        self.directory.chmod(0o755)
        self.assertIn("closed the connection", show().stderr)


if __name__ == "__main__":
    unittest.main()
