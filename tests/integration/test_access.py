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

    def show_as(self, each, user, group, others=()):
        each.directory.chmod(0o755)
        return subprocess.run(
            [self.program, "--socket", each.directory / "mvrpcmd.socket", "show"], user=user,
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


if __name__ == "__main__":
    unittest.main()
