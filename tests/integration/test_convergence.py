# SPDX-License-Identifier: MIT
"""Switches that learn VLANs from each other, and forget them again."""

import unittest

from support import NetworkTest, cable


class TwoSwitches(NetworkTest):
    def test_each_learns_the_static_vlans_of_the_other(self):
        net = self.start({"a": "10-12", "b": "30,4094"}, [cable("a", "b")])
        self.assert_state(
            net,
            a={"static": "1,10-12", "learnt": "30,4094", "b": {"learnt": "30,4094"}},
            b={"static": "1,30,4094", "learnt": "10-12", "a": {"learnt": "10-12"}})

    def test_a_deleted_static_vlan_is_forgotten_everywhere(self):
        net = self.start({"a": "10-12", "b": "-"}, [cable("a", "b")])
        self.assert_state(net, b={"learnt": "10-12"})
        net.nodes["a"].change("switch vlan delete 11")
        self.assert_state(net, a={"static": "1,10,12"},
                          b={"learnt": "10,12", "a": {"learnt": "10,12", "registered": "!11"}})

    def test_a_created_static_vlan_is_learnt(self):
        net = self.start({"a": "-", "b": "-"}, [cable("a", "b")])
        net.nodes["a"].change("switch vlan create 100-110")
        self.assert_state(net, b={"learnt": "100-110"})

    def test_vlans_of_a_switch_that_ended_are_forgotten_and_learnt_again(self):
        net = self.start({"a": "10", "b": "-"}, [cable("a", "b")])
        self.assert_state(net, b={"learnt": "10"})
        net.nodes["a"].stop()
        self.assert_state(net, b={"learnt": "-"})
        net.nodes["a"].start()
        net.nodes["a"].wait_ready()
        self.assert_state(net, b={"learnt": "10"})

    def test_all_vlans_at_once_are_learnt(self):
        net = self.start({"a": "2-4094", "b": "-"}, [cable("a", "b")])
        self.assert_state(net, within=60, b={"learnt": "2-4094"})

    def test_a_port_set_to_forbidden_gives_up_what_it_learnt(self):
        net = self.start({"a": "10", "b": "-"}, [cable("a", "b")])
        self.assert_state(net, b={"learnt": "10"})
        net.nodes["b"].change("set port a registration forbidden")
        self.assert_state(net, b={"a": {"learnt": "-", "registered": "!10"}})


class ThreeSwitches(NetworkTest):
    def test_vlans_cross_a_switch_that_does_not_have_them(self):
        net = self.start({"a": "10", "b": "-", "c": "30"}, [cable("a", "b"), cable("b", "c")])
        # Memberships of several ports that are applied in one pass carry earlier ports' VLANs along.
        self.assert_state(net, a={"learnt": "30"},
                          b={"learnt": "10,30", "a": {"learnt": "10"}, "c": {"learnt": "+30"}},
                          c={"learnt": "10"})

    def test_a_withdrawal_crosses_a_switch_that_does_not_have_the_vlan(self):
        net = self.start({"a": "10-11", "b": "-", "c": "-"}, [cable("a", "b"), cable("b", "c")])
        self.assert_state(net, b={"learnt": "10-11"}, c={"learnt": "10-11"})
        net.nodes["a"].change("switch vlan delete 10")
        self.assert_state(net, b={"learnt": "11", "a": {"learnt": "11", "registered": "!10"},
                                  "c": {"declared": "!10"}},
                          c={"learnt": "11", "b": {"learnt": "11", "registered": "!10"}})

    def test_both_wire_forms_carry_vlans(self):
        net = self.start({"a": "10", "b": "-", "c": "30"},
                         [cable("a", "b", wire_format="ieee"), cable("b", "c")])
        self.assert_state(net, a={"learnt": "30"}, b={"learnt": "10,30"}, c={"learnt": "10"})


if __name__ == "__main__":
    unittest.main()
