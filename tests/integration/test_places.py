# SPDX-License-Identifier: MIT
"""Who finds a place at the command channel, and what those who do not leave in the log."""

import os
import pwd
import subprocess
import unittest

from support import Channel, ClosedError, NetworkTest

PORT_FIRST = 1
STRANGER = pwd.getpwnam("nobody")


class Places(NetworkTest):
    def test_root_finds_a_place_among_clients_that_say_nothing(self):
        each = self.start_one()
        path = each.directory / "mvrpcmd.socket"
        idle = [Channel(path) for _ in range(64)]
        self.assert_serves(each)
        gone = 0
        for line in idle:
            try:
                line.request(PORT_FIRST)
            except ClosedError:
                gone += 1
            line.socket.close()
        self.assertGreater(gone, 0)
        self.assertLess(gone, 10)

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to become another user")
    def test_a_client_that_connects_in_a_loop_does_not_fill_the_log(self):
        each = self.start_one()
        each.directory.chmod(0o755)
        self.directory.chmod(0o755)
        path = each.directory / "mvrpcmd.socket"
        path.chmod(0o666)
        before = each.log.stat().st_size
        subprocess.run(
            ["python3", "-c", "import socket, sys\n"
             "for _ in range(2000):\n"
             "    s = socket.socket(socket.AF_UNIX)\n"
             "    s.connect(sys.argv[1])\n"
             "    s.close()", path],
            user=STRANGER.pw_uid, group=STRANGER.pw_gid, extra_groups=[], check=True, timeout=60)
        self.assert_serves(each)
        log = each.log.read_text(errors="replace")
        self.assertIn("may not use it", log)
        self.assertLess(each.log.stat().st_size - before, 10_000)


if __name__ == "__main__":
    unittest.main()
