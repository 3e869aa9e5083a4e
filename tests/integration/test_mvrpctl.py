# SPDX-License-Identifier: MIT
"""mvrpctl against a real daemon: everything it can set, change and show, and how it refuses."""

import json
import os
import pty
import unittest

import expect
from support import NetworkTest


class Mvrpctl(NetworkTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10-12", ports=("east", "west"))

    def port(self, name="east"):
        return self.switch.query(f"show port {name}")["ports"][0]

    def assert_refused(self, command, status, *words):
        done = self.switch.control(command)
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertEqual(done.stdout, "")
        for word in words:
            self.assertIn(word, done.stderr)


class Settings(Mvrpctl):
    def test_every_setting_of_a_port_is_shown_as_it_was_set(self):
        for command, key, value in (
                ("leave-all-time 20000", "portMrpLeaveAllTime", 20000),
                ("leave-time 1000", "portMrpLeaveTime", 1000),
                ("join-time 300", "portMrpJoinTime", 300),
                ("periodic-time 0", "periodicTime", 0),
                ("periodic-time 5000", "periodicTime", 5000),
                ("registration fixed", "registration", "fixed"),
                ("registration 3", "registration", "forbidden"),
                ("participant quiet", "participant", "quiet"),
                ("enable off", "portMvrpEnabledStatus", False),
                ("enable on", "portMvrpEnabledStatus", True)):
            with self.subTest(command):
                done = self.switch.control(f"set port east {command}")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
                self.assertEqual(self.port()[key], value)

    def test_global_settings_are_shown_as_they_were_set(self):
        self.switch.change("set global compliance on")
        self.assertTrue(self.switch.query("show")["gvrpCompliance"])
        self.switch.change("set global compliance off")
        self.switch.change("set debug receive,timer")
        self.assertEqual(self.switch.query("show")["debug"], "receive,timer")
        self.switch.change("set debug none")
        self.switch.change("set global enable off")
        self.assertFalse(self.switch.query("show")["mvrpEnabledStatus"])

    def test_a_timer_out_of_range_is_refused_with_what_is_allowed(self):
        self.assert_refused("set port east join-time 199", 1, "200 to 6000 ms")
        self.assert_refused("set port east join-time 226", 1, "half of the leave time",
                            "leave 450 ms")
        self.assert_refused("set port east leave-time 399", 1, "twice the join time")
        self.assert_refused("set port east leave-all-time 449", 1, "at least the leave time")
        self.assertEqual(self.port()["portMrpJoinTime"], 200)

    def test_settings_of_a_port_without_mvrp_are_refused(self):
        self.switch.change("set port east enable off")
        self.assert_refused("set port east join-time 300", 1, "not switched on at port east")

    def test_a_port_can_not_be_enabled_while_the_protocol_is_off(self):
        self.switch.change("set global enable off")
        self.assert_refused("set port east enable on", 1, "switched off globally")
        self.assert_refused("set global compliance on", 1, "switched off globally")

    def test_a_port_that_is_not_eligible_can_not_be_enabled(self):
        self.switch.change("set port east enable off")
        self.switch.change("switch port eligible east no")
        self.assert_refused("set port east enable on", 1, "can not run MVRP")


class Mistakes(Mvrpctl):
    def test_a_wrong_word_is_answered_with_those_that_are_allowed(self):
        self.assert_refused("show prts", 2, "'prts'", "ports, port, vlans")
        self.assert_refused("set port east colour red", 2, "'colour'", "join-time")
        self.assert_refused("set port east enable perhaps", 2, "'perhaps'", "on or off")
        self.assert_refused("set port east join-time soon", 2, "'soon'")
        self.assert_refused("show vlan 4095", 2, "1 to 4094")
        self.assert_refused("switch vlan create 5-3", 2, "'5-3'", "1 to 4094")
        self.assert_refused("set debug everything", 2, "receive, transmit")

    def test_a_port_that_is_not_there_is_answered_with_those_that_are(self):
        self.assert_refused("show port north", 1, "'north'", "1 east, 2 west")

    def test_a_refusal_is_json_where_json_was_asked_for(self):
        done = self.switch.control("-j set port east join-time 1")
        self.assertEqual(done.returncode, 1)
        answer = json.loads(done.stdout)
        self.assertEqual(answer["status"], 0x04040003)
        self.assertIn("200 to 6000", answer["error"])

    def test_a_wrong_command_line_is_json_where_json_was_asked_for(self):
        for line in ("-j shwo", "shwo --json", "-j show prt", "-j --patience 0 show"):
            done = self.switch.control(line)
            self.assertEqual(done.returncode, 2)
            answer = json.loads(done.stdout)
            self.assertEqual(answer["statusName"], "wrongUsage")
            self.assertIn(answer["error"], done.stderr)

    def test_a_word_that_is_nearly_one_is_guessed(self):
        for line, guess in (("shwo", "show"), ("show prt", "port"), ("-json show", "--json"),
                            ("show --jsn", "--json")):
            self.assertIn(f"is not known here (did you mean {guess}?)", self.switch.control(line).stderr)

    def test_a_value_that_is_nearly_one_is_guessed(self):
        for line, word in (("show port eats", "east"), ("set port east regis normal", "registration"),
                           ("set port east registration nromal", "normal"),
                           ("set debug receive,trasmit", "transmit"), ("completion bsh", "bash"),
                           ("help shwo", "show")):
            self.assertIn(f"(did you mean {word}?)", self.switch.control(line).stderr)

    def test_a_value_out_of_range_is_answered_with_the_range_and_no_commands(self):
        error = self.switch.control("--patience 0 show").stderr
        self.assertIn("1 to 3600", error)
        self.assertNotIn("corrections", error)

    def test_without_a_daemon_it_says_so(self):
        self.switch.stop()
        self.assert_refused("show", 2, "cannot connect", "is mvrp running?")


class Abbreviations(Mvrpctl):
    def assert_means(self, short, whole):
        self.assertEqual(self.switch.control(short).stdout, self.switch.control(whole).stdout)
        self.assertEqual(self.switch.control(short).returncode, 0)

    def test_the_beginning_of_a_word_stands_for_it(self):
        self.assert_means("sh corr", "show corrections")
        self.assert_means("conf sh", "config show")
        self.switch.change("sw vl cr 77")
        self.assertIn("77", self.switch.control("sh vl").stdout)

    def test_what_follows_tells_a_word_from_its_plural(self):
        self.assert_means("sh po", "show ports")
        self.assert_means("sh po east", "show port east")
        self.assert_means("sh vl 10", "show vlan 10")
        self.assert_means("sh po --patience 5", "show ports")

    def test_what_may_be_several_is_refused_with_those(self):
        self.assert_refused("s", 2, "'s' may be ", "show", "switch or standby")
        # One takes one argument only, and is dear when the other was meant.
        self.assert_refused("sw po re east", 2, "'re' may be", "reset", "replay", "record")
        self.assertTrue(self.port()["portMvrpEnabledStatus"])

    def test_arguments_are_not_abbreviations(self):
        self.assert_refused("show port eas", 1, "no port 'eas'")

    def test_help_is_that_of_the_command(self):
        for line in ("help show port", "he sh port", "help show", "help"):
            words = line.split()[1:]
            whole = " ".join(words).replace("sh port", "show port")
            self.assert_means(line, f"{whole} --help".strip())


class Shows(Mvrpctl):
    def test_every_show_command_has_text_and_json(self):
        for command in ("show", "show ports", "show port east", "show port 2", "show vlans",
                        "show vlan 10", "show vlan 999", "show state east", "show state east 10",
                        "show counters", "show counters west", "debug list"):
            with self.subTest(command):
                done = self.switch.control(command)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertGreater(len(done.stdout), 10)
                self.assertNotIn("\x1b", done.stdout)
                self.assertEqual(self.switch.query(command)["version"], 1)

    def test_colour_is_for_terminals_only_and_not_against_the_users_wish(self):
        def on_terminal(environment):
            leader, follower = pty.openpty()
            pid = os.fork()
            if pid == 0:
                os.dup2(follower, 1)
                os.execve(self.switch.mvrpctl, ["mvrpctl", "show", "ports"], environment)
            os.close(follower)
            os.waitpid(pid, 0)
            text = os.read(leader, 65536)
            os.close(leader)
            return text
        self.assertIn(b"\x1b[", on_terminal(self.switch.environment))
        self.assertNotIn(b"\x1b[", on_terminal(self.switch.environment | {"NO_COLOR": "1"}))

    def test_a_debug_function_shows_what_it_prints(self):
        done = self.switch.control("debug call mvrpDbgGlbShow")
        self.assertIn("global info:", done.stdout)
        self.assert_refused("debug call noSuchFunction", 1, "noSuchFunction", "mvrpDbgGlbShow")

    def test_a_raw_request_shows_its_answer(self):
        done = self.switch.control("debug request 6 0 5")
        self.assertEqual(bytes.fromhex(done.stdout), b"MVRP_Vl3.10.00.00")
        self.assert_refused("debug request 4 1 5 c700", 1)


class SwitchChanges(Mvrpctl):
    def test_ports_come_and_go(self):
        self.switch.change("switch port add 7 north")
        self.assertEqual(self.port("7")["name"], "north")
        self.switch.change("switch port delete north")
        self.assert_refused("show port north", 1)
        self.assert_refused("switch port add 1 twice", 1)

    def test_every_property_of_a_port_can_be_changed(self):
        for command, key, value in (
                ("link east down", "linkUp", False),
                ("link east up", "linkUp", True),
                ("pvid east 20", "pvid", 20),
                ("permit east 30-40", "vlansPermittedTagged", "30-40"),
                ("eligible east no", "eligible", False),
                ("eligible east yes", "eligible", True),
                ("wire-form east ieee", "wireForm", "ieee"),
                ("cable east none", "cable", "none")):
            with self.subTest(command):
                self.switch.change(f"switch port {command}")
                self.assertEqual(self.port()[key], value)
        self.switch.change("switch port reset west")
        self.assert_refused("switch port cable east string", 1, "unix:LOCAL,PEER")
        self.assert_refused("switch port replay east /no/such/file", 1, "/no/such/file")

    def test_vlans_can_be_created_changed_and_deleted(self):
        self.switch.change("switch vlan create 100-105")
        self.assertEqual(self.vlans("permanent"), "1,10-12,100-105")
        self.switch.change("switch vlan type 100 dynamic")
        self.assertEqual(self.vlans("dynamicMvrp"), "100")
        self.switch.change("switch vlan delete 101-105")
        self.assertEqual(self.vlans("permanent"), "1,10-12")
        self.switch.change("switch vlan remove-port east 10-12")
        self.assertFalse(expect.parse(self.port()["vlansPermitted"]) & {10, 11, 12})
        self.switch.change("switch vlan add-port east 10-12")
        self.assertLessEqual({10, 11, 12}, expect.parse(self.port()["vlansPermitted"]))

    def vlans(self, status):
        groups = self.switch.query("show vlans")["vlans"]
        return expect.format_ranges(set().union(
            *(expect.parse(g["vlans"]) for g in groups if g["vlanStatus"] == status)))


if __name__ == "__main__":
    unittest.main()
