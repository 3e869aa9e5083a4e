# SPDX-License-Identifier: MIT
"""What the daemon is as a service: what it tells its service manager, when the watchdog is fed and
when it is not, what is left of its privileges, and how the unit file shuts it in."""

import contextlib
import ctypes
import os
import pathlib
import pwd
import re
import shutil
import signal
import socket
import stat
import subprocess
import time
import unittest

from support import NetworkTest

UNIT = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "systemd" / "mvrp.service"
MOST_EXPOSURE = 2.0
WATCHDOG_S = 4
PROTOCOL_TASK = "mvrptask"
STRANGER = pwd.getpwnam("nobody")
NET_RAW = 1 << 13

LIBC = ctypes.CDLL(None, use_errno=True)
PTRACE_SEIZE, PTRACE_INTERRUPT, PTRACE_DETACH = 0x4206, 0x4207, 17
WAIT_FOR_ANY_THREAD = 0x40000000


def trace(request, thread):
    done = LIBC.ptrace(request, ctypes.c_long(thread), None, None)
    if done != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


@contextlib.contextmanager
def held(thread):
    """One thread of a process stands still, the others go on."""
    trace(PTRACE_SEIZE, thread)
    trace(PTRACE_INTERRUPT, thread)
    os.waitpid(thread, WAIT_FOR_ANY_THREAD)
    try:
        yield
    finally:
        trace(PTRACE_DETACH, thread)


def threads(process):
    """{thread id: name}"""
    return {int(task.name): (task / "comm").read_text().strip()
            for task in pathlib.Path(f"/proc/{process.pid}/task").iterdir()}


def status(process, thread):
    lines = pathlib.Path(f"/proc/{process.pid}/task/{thread}/status").read_text().splitlines()
    return dict(line.split(":\t", 1) for line in lines if ":\t" in line)


class ServiceTest(NetworkTest):
    def setUp(self):
        super().setUp()
        self.manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.manager.close)
        self.manager.bind(str(self.directory / "notify"))

    def start_service(self, extra="", watchdog_s=WATCHDOG_S, **fields):
        """A switch whose service manager is this test."""
        each = self.start_one(**fields)
        each.stop()
        each.environment["NOTIFY_SOCKET"] = str(self.directory / "notify")
        each.environment["WATCHDOG_USEC"] = str(watchdog_s * 1000000)
        each.environment.pop("WATCHDOG_PID", None)
        each.extra_configuration = extra
        each.start()
        return each

    def next_notification(self, within):
        """{name: value}, or nothing"""
        self.manager.settimeout(max(within, 0.001))
        try:
            text = self.manager.recv(4096).decode()
        except TimeoutError:
            return None
        return dict(line.split("=", 1) for line in text.splitlines())

    def await_notification(self, name, within=15):
        deadline = time.monotonic() + within
        while (left := deadline - time.monotonic()) > 0:
            said = self.next_notification(left)
            if said is not None and name in said:
                return said
        self.fail(f"no {name} came")

    def notifications(self, seconds):
        """All that come in this time."""
        deadline = time.monotonic() + seconds
        said = []
        while (left := deadline - time.monotonic()) > 0:
            if (more := self.next_notification(left)) is not None:
                said.append(more)
        return said


class Notifications(ServiceTest):
    def test_readiness_comes_when_the_ports_have_their_settings(self):
        each = self.start_service()
        said = self.await_notification("READY")
        self.assertEqual(said["READY"], "1")
        self.assertEqual(said["STATUS"], "active, 1 of 1 ports take part")
        self.assertEqual(each.query("show")["version"], 1)

    def test_the_status_follows_the_ports(self):
        each = self.start_service()
        each.wait_ready()
        each.change("set port p1 enable off")
        self.await_true(lambda: self.await_notification("STATUS")["STATUS"] ==
                        "active, 0 of 1 ports take part")

    def test_reload_and_end_are_announced(self):
        each = self.start_service()
        self.await_notification("READY")
        each.wait_ready()
        each.process.send_signal(signal.SIGHUP)
        self.assertGreater(int(self.await_notification("RELOADING")["MONOTONIC_USEC"]), 0)
        self.assertEqual(self.await_notification("READY"), {"READY": "1"})
        each.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.await_notification("STOPPING")["STOPPING"], "1")

    def test_without_a_service_manager_nothing_is_different(self):
        each = self.start_one()
        self.assertNotIn("mvrpservice", threads(each.process).values())


class Watchdog(ServiceTest):
    def test_an_idle_daemon_is_fed_in_time(self):
        each = self.start_service(ports=())
        self.await_notification("READY")
        each.wait_ready()
        for _ in range(4):
            self.await_notification("WATCHDOG", WATCHDOG_S)

    def test_a_protocol_task_that_hangs_starves_it_and_one_that_goes_on_feeds_it_again(self):
        each = self.start_service()
        self.await_notification("READY")
        each.wait_ready()
        thread = next(number for number, name in threads(each.process).items()
                      if name == PROTOCOL_TASK)
        try:
            hold = held(thread)
            hold.__enter__()
        except PermissionError as error:
            self.skipTest(f"one thread can not be held here: {error}")
        try:
            before = self.notifications(WATCHDOG_S / 4 + 0.5)  # the look that was about to come
            said = self.notifications(WATCHDOG_S * 1.5)
        finally:
            hold.__exit__(None, None, None)
        self.assertEqual([one for one in said if "WATCHDOG" in one], [])
        self.assertIn({"STATUS": "the protocol task does not move"}, before + said)
        self.assertIn("the watchdog is not fed", each.log_tail())
        self.await_notification("WATCHDOG", WATCHDOG_S)

    def test_a_time_that_is_too_short_is_named(self):
        each = self.start_service(watchdog_s=1)
        each.wait_ready()
        self.assertIn("WatchdogSec=", each.log.read_text())


class Privileges(ServiceTest):
    def assert_capabilities(self, each, allowed):
        """In every thread, since the kernel keeps them by thread."""
        for thread, name in threads(each.process).items():
            lines = status(each.process, thread)
            for field in ("CapPrm", "CapEff"):
                self.assertEqual(int(lines[field], 16), allowed, f"{name}: {field}")
            for field in ("CapInh", "CapAmb"):
                self.assertEqual(int(lines[field], 16), 0, f"{name}: {field}")
            self.assertEqual(lines["NoNewPrivs"], "1", name)

    def test_a_software_switch_keeps_nothing(self):
        each = self.start_service()
        each.wait_ready()
        self.assert_capabilities(each, 0)
        self.assertIn("no capabilities", each.log.read_text())

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to have privileges to give up")
    def test_raw_sockets_stay_where_the_file_says_so(self):
        each = self.start_service(extra="[process]\nkeep-net-raw = true\n")
        each.wait_ready()
        self.assert_capabilities(each, NET_RAW)
        each.change("switch port cable p1 interface:lo")

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to have privileges to give up")
    def test_without_them_an_interface_is_refused_and_the_way_is_named(self):
        each = self.start_service()
        each.wait_ready()
        done = each.control("switch port cable p1 interface:lo")
        self.assertEqual(done.returncode, 1)
        self.assertIn("keep-net-raw", done.stderr)

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to become another user")
    def test_the_configured_user_runs_it_and_the_group_gets_the_socket(self):
        self.directory.chmod(0o755)
        each = self.start_one()
        each.stop()
        shutil.rmtree(each.directory)
        each.directory.mkdir()
        os.chown(each.directory, STRANGER.pw_uid, STRANGER.pw_gid)
        each.extra_configuration = ('[process]\nuser = "nobody"\n[command]\ngroup = "daemon"\n'
                                    f'[store]\nfile = "{each.directory}/settings"\n')
        each.start()
        each.wait_ready()
        self.assertEqual(status(each.process, each.process.pid)["Uid"].split(),
                         [str(STRANGER.pw_uid)] * 4)
        self.assert_capabilities(each, 0)
        entry = os.stat(each.directory / "mvrpcmd.socket")
        self.assertEqual((entry.st_uid, entry.st_gid, stat.S_IMODE(entry.st_mode)),
                         (STRANGER.pw_uid, 1, 0o660))
        each.change("set port p1 registration fixed")
        self.await_true(lambda: (each.directory / "settings").exists())

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to become another user")
    def test_a_directory_that_the_user_can_not_write_is_named(self):
        each = self.start_one()
        each.stop()
        each.extra_configuration = '[process]\nuser = "nobody"\n'
        each.start()
        self.assertEqual(each.process.wait(10), 1)
        self.assertIn("writable for the user", each.log.read_text())
        each.process = None


@unittest.skipUnless(shutil.which("systemd-analyze"), "systemd is not there")
class Unit(unittest.TestCase):
    def test_it_is_shut_in(self):
        done = subprocess.run(
            ["systemd-analyze", "security", "--offline=true", "--no-pager", UNIT],
            capture_output=True, text=True, timeout=60, check=False)
        if "unrecognized option" in done.stderr:
            self.skipTest("this systemd can not look at a file")
        exposure = re.search(r"Overall exposure level for \S+: ([\d.]+)", done.stdout)
        self.assertIsNotNone(exposure, done.stdout + done.stderr)
        self.assertLessEqual(float(exposure[1]), MOST_EXPOSURE)

    def test_every_line_of_it_is_understood(self):
        done = subprocess.run(["systemd-analyze", "verify", "--man=no", UNIT],
                              capture_output=True, text=True, timeout=60, check=False)
        said = [line for line in done.stderr.splitlines()
                if UNIT.name in line and "is not executable" not in line]
        self.assertEqual(said, [])

    def test_a_slow_boot_does_not_end_it_for_good(self):
        """It comes after those that make bridges, and is started again however often it fails."""
        unit = UNIT.read_text(encoding="utf-8").split("[Service]")[0]
        self.assertIn("\nStartLimitIntervalSec=0\n", unit)
        after = re.search(r"^After=(.*)$", unit, re.MULTILINE)[1].split()
        for manager in ("systemd-networkd.service", "NetworkManager.service",
                        "networking.service", "network.target"):
            self.assertIn(manager, after)

    def test_its_filters_leave_what_the_daemon_needs(self):
        text = UNIT.read_text(encoding="utf-8")
        for needed in ("Type=notify", "AF_PACKET", "AF_NETLINK", "AF_UNIX",
                       "Environment=MVRP_RUNTIME_DIR=/run/mvrp", "RuntimeDirectoryPreserve=yes"):
            self.assertIn(needed, text)


if __name__ == "__main__":
    unittest.main()
