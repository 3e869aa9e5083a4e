# SPDX-License-Identifier: MIT
"""Reading the configuration again: all of it or nothing, and never so that a file that was cut off costs a
port. What each test waits for is the daemon's word to its service manager that a reload is over."""

import signal
import struct
import subprocess
import unittest

from support import Channel
from test_service import ServiceTest

PORT_LIST, CONFIG_APPLY, FORCE = 257, 326, 1
PORT_RECORD = struct.Struct("=10I6s6s64s240sIIII")
MVRP_BIT = 1
FORCE_ADVICE = "use `mvrpctl config apply --force` if that is meant"


class Reload(ServiceTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_service(ports=("east", "west", "north"), vlans="10-12")
        self.await_notification("READY")
        self.switch.wait_ready()
        self.file = self.switch.configuration_file
        self.whole = self.file.read_bytes()

    def reload(self, text):
        """Puts a file in place and has it read. @return what the daemon logged about it"""
        self.file.write_bytes(text if isinstance(text, bytes) else text.encode())
        before = self.switch.log.stat().st_size
        self.switch.process.send_signal(signal.SIGHUP)
        self.await_notification("RELOADING")
        self.await_notification("READY")
        return self.switch.log.read_bytes()[before:].decode()

    def ports(self):
        """{name: whether it takes part}"""
        with Channel(self.switch.directory / "mvrpcmd.socket") as channel:
            status, value = channel.request(PORT_LIST)
        self.assertEqual(status, 0)
        found = {}
        for fields in PORT_RECORD.iter_unpack(value):
            found[fields[12].split(b"\0")[0].decode()] = bool(fields[6] & MVRP_BIT)
        return found

    def assert_all_ports(self, note=None):
        self.assertEqual(self.ports(), {"east": True, "west": True, "north": True}, note)

    def changed(self, old, new):
        text = self.whole.decode()
        self.assertIn(old, text)
        return text.replace(old, new)

    def test_a_file_cut_off_at_any_byte_costs_no_port(self):
        self.assertGreater(len(self.whole), 400)
        accepted = 0
        for end in range(len(self.whole), -1, -1):
            said = self.reload(self.whole[:end])
            self.assert_all_ports(f"cut at byte {end}: {said}")
            accepted += "stays as it was" not in said
        # Most cuts are wrong TOML or cost a port. What costs none may be meant.
        self.assertGreater(accepted, 0)
        self.assertLess(accepted, 100)

    def test_a_file_that_is_filled_from_nothing_costs_no_port(self):
        for end in range(0, len(self.whole) + 1, 7):
            said = self.reload(self.whole[:end])
            self.assert_all_ports(f"cut at byte {end}: {said}")

    def test_an_empty_file_is_refused_with_the_way_to_mean_it(self):
        said = self.reload("")
        self.assertIn("there is no [switch]", said)
        self.assertIn(FORCE_ADVICE, said)
        self.assert_all_ports()

    def test_a_file_without_any_port_is_refused(self):
        said = self.reload('[switch]\nname = "sw"\n')
        self.assertIn("nothing would be left of its ports", said)
        self.assertIn(FORCE_ADVICE, said)
        self.assert_all_ports()

    def test_another_driver_is_refused(self):
        said = self.reload('[switch]\ndriver = "linux"\nbridge = "br0"\n')
        self.assertIn("nothing would be left of the driver \"soft\"", said)
        self.assert_all_ports()

    def test_a_file_in_which_nothing_takes_part_any_more_is_refused_and_one_that_says_so_is_not(self):
        text = self.whole.decode()
        said = self.reload(text[:text.index("[management]")])
        self.assertIn("no port would take part", said)
        self.assert_all_ports()
        said = self.reload(text[:text.index("[management]")] + "[management]\nenable = false\n")
        self.assertNotIn("stays as it was", said)
        self.await_true(lambda: not any(self.ports().values()))

    def test_one_port_goes_when_the_rest_of_the_file_is_there(self):
        text = self.whole.decode()
        parts = text.split("\n\n")
        fewer = "\n\n".join(part for part in parts if "unit = 2\n" not in part)
        said = self.reload(fewer)
        self.assertIn("[[port]] 2 (west) is gone", said)
        self.await_true(lambda: self.ports() == {"east": True, "north": True})

    def test_each_change_is_logged(self):
        text = self.changed('name = "west"\n', 'name = "west"\npvid = 12\nmtu = 9000\n')
        text = text.replace("leave-time = 450", "leave-time = 600", 1).replace('"10-12"', '"11-13"')
        said = self.reload(text)
        for change in ("[[port]] 2 (west) pvid: 1 -> 12", "[[port]] 2 (west) mtu: 1500 -> 9000",
                       "[[management.port]] 1 leave-time: 450 -> 600",
                       "[[vlan]] ids: 1,10-12 -> 1,11-13"):
            self.assertIn(change, said)
        self.assertEqual(self.reload(text).count(" -> "), 0)

    def test_what_fails_while_it_is_applied_leaves_all_as_it_was(self):
        before = self.switch.query("show config"), self.switch.query("show vlans")
        text = self.changed('name = "east"\n', 'name = "east"\npvid = 12\n').replace(
            "leave-time = 450", "leave-time = 600")
        absent = self.directory / "absent" / "x.pcap"
        said = self.reload(text.replace('"north"\n', f'"north"\nrecord = "{absent}"\n'))
        self.assertIn(str(absent), said)
        self.assertIn("stays as it was", said)
        self.assert_all_ports()
        self.assertEqual((self.switch.query("show config"), self.switch.query("show vlans")), before)

    def test_what_the_daemon_refuses_is_taken_back_as_a_whole(self):
        """A fourth port that may not run the protocol, and much else that is right."""
        self.switch.change("switch vlan create 99")
        before = self.switch.query("show config"), self.switch.query("show vlans")
        text = self.changed('name = "east"\n', 'name = "east"\npvid = 12\n')
        text += ('\n[[port]]\nunit = 4\nname = "south"\neligible = false\n'
                 '\n[[management.port]]\nunit = 4\nenable = true\n')
        said = self.reload(text.replace("leave-time = 450", "leave-time = 600"))
        self.assertIn("the daemon refused", said)
        self.assertIn("stays as it was", said)
        self.assert_all_ports()
        self.assertEqual((self.switch.query("show config"), self.switch.query("show vlans")), before)


class Apply(Reload):
    """The same by a command, which answers."""

    def apply(self, text, options=""):
        self.file.write_text(text, encoding="utf-8")
        return self.switch.control(f"config apply {options}")

    def test_apply_prints_the_changes(self):
        done = self.apply(self.changed('name = "west"\n', 'name = "west"\nmtu = 9000\n'))
        self.assertEqual((done.returncode, done.stdout),
                         (0, "[[port]] 2 (west) mtu: 1500 -> 9000\n"))
        done = self.switch.control("config apply")
        self.assertEqual((done.returncode, done.stdout), (0, "Nothing is different.\n"))
        self.assertEqual(self.switch.query("config apply")["changes"], [])

    def test_apply_refuses_with_the_reason(self):
        done = self.apply("")
        self.assertEqual(done.returncode, 1)
        self.assertIn("there is no [switch]", done.stderr)
        self.assertIn(FORCE_ADVICE, done.stderr)
        done = self.apply("[switch\n")
        self.assertEqual(done.returncode, 1)
        self.assertIn("mvrp.toml:1:", done.stderr)
        self.assert_all_ports()

    def test_force_takes_all_ports_down(self):
        done = self.apply("", "--force")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("[[port]] 1 (east) is gone", done.stdout)
        self.assertEqual(self.ports(), {})
        self.assertIn("[[port]] 1 (east) is gone",
                      self.switch.log.read_text(encoding="utf-8"))

    def test_force_does_not_apply_what_is_wrong(self):
        done = self.apply("[switch]\ndriver = \"hard\"\n", "--force")
        self.assertEqual(done.returncode, 1)
        self.assert_all_ports()


# Of the base, the tests run once.
for _name in [name for name in vars(Reload) if name.startswith("test_")]:
    setattr(Apply, _name, None)


class Restart(ServiceTest):
    """What a service manager does that knows nothing of the file: it ends the daemon, starts it, and
    starts it once more where that failed."""

    def setUp(self):
        super().setUp()
        self.switch = self.start_service(ports=("east", "west"), vlans="10-12")
        self.await_notification("READY")
        self.switch.wait_ready()
        self.file = self.switch.configuration_file
        self.whole = self.file.read_text(encoding="utf-8")
        self.wrong = self.whole + "\n[nonsense]\n"

    def end(self):
        self.switch.process.send_signal(signal.SIGUSR1)
        self.assertEqual(self.switch.process.wait(20), 0)

    def started(self):
        """Started with the file that is there. @return what it said until it was ready or had ended"""
        before = self.switch.log.stat().st_size
        with open(self.switch.log, "ab") as log:
            self.switch.process = subprocess.Popen(
                [self.switch.mvrp, "--config", self.file], stdin=subprocess.DEVNULL, stdout=log,
                stderr=log, env=self.switch.environment, start_new_session=True)
        while self.switch.process.poll() is None:
            said = self.next_notification(0.1)
            if said is not None and "READY" in said:
                break
        return self.switch.log.read_bytes()[before:].decode()

    def test_with_a_refused_file_fails_with_the_error_and_goes_on_as_before(self):
        for _ in range(2):
            self.file.write_text(self.wrong, encoding="utf-8")
            self.end()
            self.assertIn("nonsense", self.started())
            self.assertEqual(self.switch.process.wait(20), 1)
            said = self.started()
            self.assertIn("goes on with the configuration of the last start", said)
            self.assertIn("nonsense", said)
            self.switch.wait_ready()
            self.assertIn("nonsense", self.switch.control("doctor").stdout)
            self.assertEqual(self.switch.control("config apply").returncode, 1)
            self.file.write_text(self.whole, encoding="utf-8")
            self.switch.change("config apply")

    def test_what_was_applied_last_is_what_is_kept(self):
        changed = self.whole.replace("10-12", "10-13")
        self.assertNotEqual(changed, self.whole)
        self.file.write_text(changed, encoding="utf-8")
        self.switch.change("config apply")
        self.file.write_text(self.wrong, encoding="utf-8")
        self.end()
        self.started()
        self.assertEqual(self.switch.process.wait(20), 1)
        self.started()
        self.switch.wait_ready()
        self.assertIn("13", self.switch.control("show vlans").stdout)


if __name__ == "__main__":
    unittest.main()
