# SPDX-License-Identifier: MIT
"""mvrpctl doctor on software switches; on bridges it is tried by the kernel case `doctor`."""

import json
import re
import unittest

import topology
from support import NetworkTest, cable


class Doctor(NetworkTest):
    def diagnose(self, each):
        """(exit status, ids of what was found)"""
        done = each.control("-j doctor")
        return done.returncode, [found["id"] for found in json.loads(done.stdout)["findings"]]

    def test_a_healthy_pair_has_nothing(self):
        net = self.start({"a": "10", "b": "20"}, [cable("a", "b")])
        each = net.nodes["a"]
        self.await_true(lambda: self.diagnose(each) == (0, []))
        self.assertEqual(each.control("doctor").stdout, "Nothing found.\n")

    def test_what_is_found_is_mended_by_what_it_says(self):
        net = self.start({"a": "10", "b": "20"}, [cable("a", "b")])
        each = net.nodes["a"]
        self.await_true(lambda: self.diagnose(each) == (0, []))
        each.change("set global enable off")
        self.assertEqual(self.diagnose(each), (1, ["globally-off"]))
        command = each.control("doctor").stdout.splitlines()[1].strip()
        self.assertEqual(command, "mvrpctl set global enable on")
        each.change(command.removeprefix("mvrpctl "))
        self.assertEqual(self.diagnose(each), (1, ["no-port-enabled", "port-not-enabled"]))
        lines = each.control("doctor").stdout.splitlines()
        each.change(lines[-1].strip().removeprefix("mvrpctl "))
        self.await_true(lambda: self.diagnose(each) == (0, []))

    def test_a_port_that_the_daemon_has_no_room_for_is_named(self):
        switch = topology.Switch("sw", managed=False)
        for name in ("p1", "p2"):
            switch.add_port(name)
        net = self.run_topology(topology.Topology("test", {"sw": switch}, []), extra={"sw": """
[mvrp]
maxifnum = 1
[management]
enable = true
[[management.port]]
unit = "1-2"
enable = true
"""})
        each = net.nodes["sw"]
        self.await_true(lambda: each.query("show ports")["ports"][0]["portMvrpEnabledStatus"])
        done = each.control("doctor")
        self.assertEqual(done.returncode, 1)
        self.assertIn("error: p2: the file switches MVRP on here, and the daemon refused: there is "
                      "room for 1 port ([mvrp] maxifnum)\n", done.stdout)
        self.assertNotIn("p1", done.stdout)

    def test_a_neighbour_of_the_other_form_is_named(self):
        net = self.start({"a": "10", "b": "20"}, [cable("a", "b")])
        each = net.nodes["a"]
        port = each.query("show ports")["ports"][0]["name"]
        other = net.nodes["b"].query("show ports")["ports"][0]["name"]
        net.nodes["b"].change(f"switch port wire-form {other} ieee")
        each.change(f"switch port wire-form {port} native")
        self.await_true(lambda: "other-form" in self.diagnose(each)[1])
        each.change(f"switch port wire-form {port} auto")
        self.await_true(lambda: "other-form" not in self.diagnose(each)[1])

    def seen(self, each, identity, subject):
        """What the doctor says of this kind about a port; empty where it says nothing."""
        found = json.loads(each.control("-j doctor").stdout)["findings"]
        return [one["seen"] for one in found if (one["id"], one["subject"]) == (identity, subject)]

    def await_seen(self, each, identity, subject, pattern):
        """What it says that matches, once it does."""
        def matching():
            return next((text for text in self.seen(each, identity, subject)
                         if re.search(pattern, text)), None)
        return self.await_true(matching)

    def explained(self, each, port, vid, cause):
        """The explanation, once it has this cause; it does not say that nothing is to be done."""
        def matching():
            answer = each.query(f"explain {port} {vid}")
            return answer if answer["cause"] == cause else None
        answer = self.await_true(matching)
        self.assertNotIn("Nothing is to be done", answer["advice"])
        return answer

    def test_a_static_vlan_that_is_not_declared_is_named(self):
        net = self.start({"west": "29", "middle": "-"}, [cable("west", "middle")])
        middle = net.nodes["middle"]
        self.assert_state(net, middle={"west": {"learnt": "29"}})
        middle.change("switch vlan create 30")
        self.await_seen(middle, "static-not-declared", "west", ": 30$")
        self.await_seen(middle, "correction-off", "west", "static-kept is off, .* acted for 30:")
        answer = self.explained(middle, "west", 30, "staticNotDeclared")
        self.assertIn("prevented it: static-kept", answer["advice"])

    def test_with_corrections_it_is_declared(self):
        net = self.start({"west": "29", "middle": "-"}, [cable("west", "middle")], corrections="all")
        middle = net.nodes["middle"]
        self.assert_state(net, middle={"west": {"learnt": "29"}})
        middle.change("switch vlan create 30")
        # Over two LeaveAlls of both.
        begin = middle.query("show statistics west")["statistics"][0]
        self.await_true(lambda: all(
            middle.query("show statistics west")["statistics"][0][key]["leaveAll"]
            >= begin[key]["leaveAll"] + 2 for key in ("eventsIn", "eventsOut")))
        self.assertEqual(self.diagnose(middle), (0, []))
        self.assertEqual(middle.query("explain west 30")["advice"], "Nothing is to be done.")

    def test_a_registered_vlan_that_is_not_permitted_is_named(self):
        net = self.start({"west": "30", "middle": "-"}, [cable("west", "middle")])
        middle = net.nodes["middle"]
        middle.change("switch port permit west 1-20")
        text = self.await_seen(middle, "registered-not-member", "west", ": 30;")
        self.assertRegex(text, "declared .* ago; the port's permit list leaves them out$")
        self.await_seen(middle, "correction-off", "west", "admission is off, .* acted for 30:")
        answer = self.explained(middle, "west", 30, "notPermitted")
        self.assertIn("registered all the same", answer["why"])

    def test_a_member_that_nobody_registered_is_named_with_since_when(self):
        edges = {f"edge{number}": f"10{number}" for number in range(1, 6)}
        net = self.start({"hub": "-"} | edges, [cable("hub", name) for name in edges])
        hub = net.nodes["hub"]
        settled = {name: {"registered": "1," + vlans} for name, vlans in edges.items()}

        def flap():
            """All join in the same run of the pending timer, and each takes the ones before along."""
            for state in ("down", "up"):
                for name in edges:
                    hub.change(f"switch port link {name} {state}")
            self.assert_state(net, hub=settled)
        pattern = r"registered by nobody: [0-9,-]+; withdrawn (.* ago|never); they do not go by themselves"

        def foreign():
            found = next((name for name in edges
                          for text in self.seen(hub, "member-not-registered", name)
                          if re.search(pattern, text)), None)
            if found is None:
                flap()
            return found
        port = self.await_true(foreign)
        self.assertTrue(self.seen(hub, "correction-off", port))
        vlans = hub.query(f"show running {port}")["ports"][0]["vlansExtra"]
        self.explained(hub, port, re.match(r"\d+", vlans)[0], "kept")

    def test_a_vlan_that_is_not_passed_on_is_named(self):
        net = self.start({"west": "10", "east": "-", "middle": "-"},
                         [cable("west", "middle"), cable("east", "middle")],
                         timers={"join": 200, "leave": 450, "leave-all": 60000})
        middle = net.nodes["middle"]
        self.assert_state(net, middle={"learnt": "10"}, east={"learnt": "10"})
        # The second of west's joins, after the port is on again, would be passed on.
        self.await_true(lambda: re.search("Applicant +QO", middle.control("explain west 10").stdout))
        for word in ("off", "on"):
            middle.change(f"set port east enable {word}")
        self.await_seen(middle, "not-passed-on", "east", ": 10$")
        self.await_seen(middle, "correction-off", "east", "on-declares is off, .* acted for 10:")
        self.assertRegex(middle.query("explain east 10")["declaration"],
                         "although it is registered on west.*prevented it: leave-needed, on-declares")
        metrics = middle.control("metrics").stdout
        self.assertRegex(metrics, r'astray\{port="east",unit="2",kind="registeredNotPassedOn"\} 1\n')

    def test_a_static_vlan_that_gvrp_forgets_is_named(self):
        net = self.start({"west": "10", "middle": "-"}, [cable("west", "middle")])
        for each in net.nodes.values():
            each.change("set global compliance on")
        west = net.nodes["west"]
        self.await_seen(west, "static-not-declared", "middle", r"since the last LeaveAll .*: 1,10$")
        self.await_seen(west, "correction-off", "middle", "gvrp-static-renewed is off")
        answer = self.explained(west, "middle", 10, "staticNotDeclared")
        self.assertIn("prevented it: gvrp-static-renewed", answer["advice"])

    def test_it_works_without_a_daemon(self):
        each = self.start_one()
        each.stop()
        status, found = self.diagnose(each)
        self.assertEqual((status, found[0]), (1, "daemon-not-running"))
        self.assertEqual(each.control("doctor one two").returncode, 2)


if __name__ == "__main__":
    unittest.main()
