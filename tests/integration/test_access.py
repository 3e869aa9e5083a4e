# SPDX-License-Identifier: MIT
"""Who may use the command channel."""

import grp
import os
import pwd
import shutil
import stat
import subprocess
import unittest

from support import BUILD, NetworkTest

STRANGER = pwd.getpwnam("nobody")
GROUP = "daemon"


@unittest.skipUnless(os.geteuid() == 0, "needs root, to become another user")
class Access(NetworkTest):
    def setUp(self):
        super().setUp()
        self.directory.chmod(0o755)
        # The build may lie where nobody else can read.
        self.program = self.directory / "mvrpctl"
        shutil.copy(BUILD / "cli" / "mvrpctl", self.program)
        self.program.chmod(0o755)

    def show_as(self, each, user, group, others=(), command=("show",)):
        each.directory.chmod(0o755)
        return subprocess.run(
            [self.program, "--socket", each.directory / "mvrpcmd.socket", *command], user=user,
            group=group, extra_groups=list(others), cwd="/", capture_output=True, text=True, timeout=20,
            check=False)

    def test_another_user_is_kept_out_by_the_mode_of_the_socket(self):
        each = self.start_one()
        mode = stat.S_IMODE(os.stat(each.directory / "mvrpcmd.socket").st_mode)
        self.assertEqual(mode & 0o007, 0, oct(mode))
        done = self.show_as(each, STRANGER.pw_uid, STRANGER.pw_gid)
        self.assertEqual(done.returncode, 2)
        self.assertIn("not permitted; allowed are root", done.stderr)

    def test_another_user_is_kept_out_when_the_mode_lets_him_in(self):
        each = self.start_one()
        os.chmod(each.directory / "mvrpcmd.socket", 0o666)
        done = self.show_as(each, STRANGER.pw_uid, STRANGER.pw_gid)
        self.assertEqual(done.returncode, 2)
        self.assertIn("the daemon closed the connection", done.stderr)
        self.assert_serves(each)

    def test_members_of_the_configured_group_are_served(self):
        each = self.start_one()
        each.stop()
        each.extra_configuration = f'[command]\ngroup = "{GROUP}"\n'
        each.start()
        each.wait_ready()
        done = self.show_as(each, STRANGER.pw_uid, grp.getgrnam(GROUP).gr_gid)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        # As SupplementaryGroups= of a service: the database of users does not know of it.
        done = self.show_as(each, STRANGER.pw_uid, STRANGER.pw_gid, [grp.getgrnam(GROUP).gr_gid])
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        done = self.show_as(each, STRANGER.pw_uid, STRANGER.pw_gid)
        self.assertEqual(done.returncode, 2)

    def test_members_of_the_group_of_readers_look_and_change_nothing(self):
        each = self.start_one(vlans="10-12")
        each.stop()
        each.extra_configuration = f'[command]\ngroup = "adm"\nread-group = "{GROUP}"\n'
        each.start()
        each.wait_ready()
        reader = (STRANGER.pw_uid, grp.getgrnam(GROUP).gr_gid)
        for words in (["show"], ["status"], ["-j", "show", "vlans"], ["show", "statistics"], ["doctor"],
                      ["explain", "p1", "10"], ["log"], ["metrics"], ["config", "show"], ["debug", "list"],
                      ["watch", "--seconds", "1"]):
            done = self.show_as(each, *reader, command=words)
            self.assertIn(done.returncode, (0, 1), (words, done.stderr))
            self.assertEqual(done.stderr, "", words)
        for words in (["set", "port", "p1", "leave-time", "1000"], ["set", "global", "enable", "off"],
                      ["switch", "vlan", "create", "99"], ["clear", "statistics"], ["config", "apply"],
                      ["debug", "call", "mvrpDbgGlbShow"], ["standby", "take-over"]):
            done = self.show_as(each, *reader, command=words)
            self.assertEqual(done.returncode, 1, words)
            self.assertIn("may only read: who changes something has to be root", done.stderr, words)
        done = self.show_as(each, *reader, command=["-j", "clear", "statistics"])
        self.assertIn('"notAllowed"', done.stdout)
        self.assertEqual(each.query("show vlans")["vlans"][-1]["vlans"], "10-12")
        # Whoever may do everything may do so as before; strangers come to neither socket.
        self.assertEqual(self.show_as(each, STRANGER.pw_uid, grp.getgrnam("adm").gr_gid,
                                      command=["clear", "statistics"]).returncode, 0)
        self.assertEqual(self.show_as(each, STRANGER.pw_uid, STRANGER.pw_gid).returncode, 2)
        read = each.directory / "mvrpread.socket"
        self.assertEqual(stat.S_IMODE(os.stat(read).st_mode), 0o660)
        each.stop()
        self.assertFalse(read.exists())


if __name__ == "__main__":
    unittest.main()
