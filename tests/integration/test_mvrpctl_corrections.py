# SPDX-License-Identifier: MIT
"""What people see of the corrections: which are on, how often they acted, and for which VLAN."""

import signal
import unittest

from support import NetworkTest, cable


class Corrections(NetworkTest):
    def begin(self, corrections):
        self.net = self.start({"west": "10-12", "south": "10", "east": "10", "middle": "-"},
                              [cable(name, "middle") for name in ("west", "south", "east")],
                              corrections=corrections)
        self.middle = self.net.nodes["middle"]
        for port, vlans in (("west", "10-12"), ("south", "10"), ("east", "10")):
            self.await_true(lambda port=port, vlans=vlans: self.middle.query(
                f"show running {port}")["ports"][0]["vlansInSwitch"] == f"1,{vlans}")

    def acted(self):
        answer = self.middle.query("show corrections")["corrections"]
        self.assertEqual(len(answer), 15)
        return {entry["name"]: entry["acted"] for entry in answer if entry["on"]}

    def metric(self, start):
        lines = self.middle.control("metrics").stdout.splitlines()
        return [int(line.rsplit(" ", 1)[1]) for line in lines if line.startswith(start)]

    def test_what_is_on_is_shown_and_counted(self):
        self.begin("all")
        self.assertEqual(len(self.middle.query("show")["corrections"]), 15)
        self.assertRegex(self.middle.control("show").stdout, r"Corrections +all")
        # It acts where the pending timer has more than its 20 ms left: not on each VLAN.
        vlans = iter(range(100, 200))

        def acts():
            self.net.nodes["west"].change(f"switch vlan create {next(vlans)}")
            return self.acted()["apply-soon"] > 0
        self.await_true(acts)
        self.assertGreater(self.metric('mvrp_correction_acts_total{correction="apply-soon"}')[0], 0)
        self.assertEqual(sum(self.metric("mvrp_correction_on")), 15)
        self.assertEqual(sum(self.metric("mvrp_port_vlans_astray")), 0)
        self.assertRegex(self.middle.control("show corrections").stdout,
                         r"leave-needed +on +\d+ +a leave is not passed on")

    def test_explain_names_who_still_needs_a_vlan(self):
        self.begin("all")
        self.net.nodes["west"].change("switch vlan delete 10")
        decision = self.await_true(lambda: self.middle.query("explain east 10")["decision"] or "")
        self.await_true(lambda: "leave-needed" in self.middle.query("explain east 10")["decision"])
        answer = self.middle.query("explain east 10")
        self.assertRegex(answer["decision"],
                         r"^Kept on east: south still registers it \(correction leave-needed, .* ago\)\.$",
                         decision)
        self.assertEqual(answer["port"]["correction"], "leave-needed")
        self.assertIn("Kept on east: south still registers it",
                      self.middle.control("explain east 10").stdout)

    def test_without_corrections_none_is_named(self):
        self.begin(["own-batch"])
        self.assertEqual(list(self.acted()), ["own-batch"])
        self.assertEqual(self.middle.query("show")["corrections"], ["own-batch"])
        self.net.nodes["west"].change("switch vlan delete 10")
        self.await_true(lambda: self.middle.query("explain west 10")["cause"] != "learnt")
        self.assertIsNone(self.middle.query("explain west 10")["port"]["correction"])

    def test_a_policy_that_is_tightened_takes_nothing_away_and_says_so(self):
        self.net = self.start({"west": "10-12", "middle": "-"}, [cable("west", "middle")],
                              corrections="all")
        west, middle = self.net.nodes["west"], self.net.nodes["middle"]
        self.assert_state(self.net, middle={"learnt": "10-12"})
        file = middle.configuration_file
        file.write_text(file.read_text(encoding="utf-8").replace(
            'name = "west"\n', 'name = "west"\npermit = "1-11"\nmax-vlans = 1\n'), encoding="utf-8")
        middle.process.send_signal(signal.SIGHUP)

        def said(text):
            return text in middle.log.read_text(encoding="utf-8")
        self.await_true(lambda: said("west: VLANs 12 are not permitted any more and registered: they stay "
                                     "until they are withdrawn"))
        self.assertTrue(said("west: 3 VLANs are registered and 1 may be (max-vlans): they stay until they "
                             "are withdrawn"))
        for vid, cause, why in ((10, "notAdmitted", r"as many VLANs as it may register \(max-vlans\)"),
                                (12, "notPermitted", "the port's permit list leaves it out")):
            self.assert_state(self.net, middle={"west": {"learnt": f"+11,{vid}"}})
            west.change(f"switch vlan delete {vid}")
            self.assert_state(self.net, middle={"west": {"learnt": f"!{vid}"}})
            west.change(f"switch vlan create {vid}")
            self.await_true(lambda vid=vid, cause=cause:
                            middle.query(f"explain west {vid}")["cause"] == cause)
            self.assertRegex(middle.query(f"explain west {vid}")["why"], why)
        self.assert_state(self.net, middle={"learnt": "11"})
        self.await_true(lambda: said("west: VLAN 10, declared by"))


if __name__ == "__main__":
    unittest.main()
