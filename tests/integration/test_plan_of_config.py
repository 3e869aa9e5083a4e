# SPDX-License-Identifier: MIT
"""config plan: what a reload would do, in ports, VLANs and settings, without doing it; and configurations of
several files."""

import json
import signal
import subprocess
import unittest

from support import BUILD, NetworkTest

NOTHING, CHANGES, REFUSED = 0, 1, 3


class PlanTest(NetworkTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10-12", ports=("east", "west"))
        self.file = self.switch.configuration_file
        self.fragments = self.file.parent / "conf.d"

    def write_copy(self, old, new, name="new.toml"):
        """A copy of the daemon's file with a change, elsewhere."""
        text = self.file.read_text(encoding="utf-8")
        self.assertIn(old, text)
        copy = self.directory / name
        copy.write_text(text.replace(old, new, 1), encoding="utf-8")
        return copy

    def plan(self, file, status, *words):
        done = self.switch.control(" ".join(["-j config plan", str(file), *words]))
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return json.loads(done.stdout)


class Plan(PlanTest):
    def test_of_the_daemons_own_file_nothing_would_change(self):
        done = self.switch.control("config plan")
        self.assertEqual((done.returncode, done.stdout), (NOTHING, "Nothing would change.\n"))
        self.assertEqual(self.plan(self.file, NOTHING)["changes"], [])

    def test_it_says_what_apply_then_does(self):
        self.switch.change("switch vlan create 20-22")
        copy = self.write_copy('name = "west"\n', 'name = "west"\npvid = 12\npermit = "1-9"\n')
        copy.write_text(copy.read_text(encoding="utf-8").replace('"10-12"', '"11-13"'), encoding="utf-8")
        before = self.switch.query("show config"), self.switch.query("show vlans")
        plan = self.plan(copy, CHANGES)
        self.assertEqual((self.switch.query("show config"), self.switch.query("show vlans")), before,
                         "a plan changed something")
        self.assertEqual(plan["refused"], [])
        self.assertIn({"name": None, "effect": "vlansCreated", "vlans": "13"}, plan["effects"])
        self.assertIn({"name": None, "effect": "vlansDeleted", "vlans": "10"}, plan["effects"])
        self.assertIn("[[port]] 2 (west) pvid: 1 -> 12", plan["changes"])
        self.file.write_text(copy.read_text(encoding="utf-8"), encoding="utf-8")
        done = self.switch.control("-j config apply")
        self.assertEqual(json.loads(done.stdout)["changes"], plan["changes"] + plan["nextStart"])
        self.plan(self.file, NOTHING)

    def test_the_page_of_a_person(self):
        copy = self.write_copy('name = "west"\n', 'name = "west"\npermit = "1-9"\n')
        copy.write_text(copy.read_text(encoding="utf-8") + '[store]\nfile = "/tmp/x"\n', encoding="utf-8")
        text = self.switch.control(f"config plan {copy}").stdout
        for line in ("Settings that would change", "  [[port]] 2 (west) permit: ",
                     "What that does to ports and VLANs", "  west permits no longer VLANs 10-",
                     "What would wait for the next start", "  [store] has changed"):
            self.assertIn(line, text)

    def test_what_would_be_refused_is_named_and_force_is_foreseen(self):
        copy = self.directory / "new.toml"
        copy.write_text('[switch]\nname = "sw"\n', encoding="utf-8")
        plan = self.plan(copy, REFUSED)
        self.assertIn("nothing would be left of its ports", plan["refused"][0])
        plan = self.plan(copy, CHANGES, "--force")
        self.assertEqual(plan["refused"], [])
        self.assertIn({"name": "east", "effect": "portGone", "vlans": "-"}, plan["effects"])

    def test_what_is_wrong_with_the_file_is_named_with_its_line(self):
        copy = self.write_copy('name = "west"\n', 'name = "west"\npvdi = 12\n')
        plan = self.plan(copy, REFUSED)
        self.assertRegex(plan["refused"][0], rf'^{copy}:\d+:1: .*did you mean pvid')
        self.assertEqual((plan["changes"], plan["effects"]), ([], []))
        self.assertRegex(self.plan("/no/such/file", REFUSED)["refused"][0], "No such file")

    def test_a_request_without_sealed_memory_is_refused(self):
        with self.channel(self.switch) as channel:
            status, text = channel.request(329)
        self.assertEqual(status, 22)
        self.assertIn(b"sealed memory", text)
        self.assert_serves(self.switch)


class Fragments(PlanTest):
    def write_fragment(self, name, text):
        self.fragments.mkdir(exist_ok=True)
        path = self.fragments / name
        path.write_text(text, encoding="utf-8")
        return path

    def test_they_are_honoured_by_plan_apply_reload_check_diff_and_start(self):
        self.write_fragment("10-vlans.toml", '[[vlan]]\nids = "30-31"\n')
        plan = self.plan(self.file, CHANGES)
        self.assertEqual(plan["files"], [str(self.file), str(self.fragments / "10-vlans.toml")])
        self.assertEqual(plan["effects"], [{"name": None, "effect": "vlansCreated", "vlans": "30-31"}])
        self.assertEqual(self.switch.control("config diff").returncode, 1)
        self.switch.change("config apply")
        self.assertEqual(self.switch.control("config diff").returncode, 0)
        self.write_fragment("10-vlans.toml", '[[vlan]]\nids = "30-33"\n')
        self.switch.process.send_signal(signal.SIGHUP)
        self.await_true(lambda: self.switch.control("config plan").returncode == NOTHING)
        before = self.switch.query("show config")
        self.switch.stop()
        # The node writes its own file only.
        self.switch.start()
        self.switch.wait_ready()
        self.assertEqual(self.switch.query("show config"), before)

    def test_an_error_names_the_fragment_and_its_line_wherever_it_is_read(self):
        path = self.write_fragment("50-x.toml", '[switch]\nname = "other"\n')
        said = f"{path}:2:1: [switch] name is set already in {self.file}:"
        self.assertTrue(self.plan(self.file, REFUSED)["refused"][0].startswith(said))
        done = self.switch.control("config apply")
        self.assertEqual(done.returncode, 1)
        self.assertIn(said, done.stderr)
        for command in ([BUILD / "cli" / "mvrpctl", "config", "check", self.file],
                        [BUILD / "platform" / "host" / "mvrp", "--config", self.file, "--check"]):
            done = subprocess.run(command, timeout=30, capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 1)
            self.assertIn(said, done.stderr)

    def test_a_file_elsewhere_is_planned_with_the_daemons_fragments(self):
        self.write_fragment("10-vlans.toml", '[[vlan]]\nids = "30-31"\n')
        self.switch.change("config apply")
        copy = self.write_copy('"10-12"', '"10-13"')
        plan = self.plan(copy, CHANGES)
        self.assertEqual(plan["effects"], [{"name": None, "effect": "vlansCreated", "vlans": "13"}])
        (self.directory / "conf.d").mkdir()
        self.assertIn({"name": None, "effect": "vlansDeleted", "vlans": "30-31"},
                      self.plan(copy, CHANGES)["effects"])

    def test_what_runs_is_saved_as_one_file_and_not_beside_fragments(self):
        self.write_fragment("10-vlans.toml", '[[vlan]]\nids = "30-31"\n')
        self.switch.change("config apply")
        done = self.switch.control("config save")
        self.assertEqual(done.returncode, 1)
        self.assertIn("has 1 fragments in", done.stderr)
        one = self.directory / "one.toml"
        self.assertEqual(self.switch.control(f"config save {one}").returncode, 0)
        self.assertEqual(self.switch.control(f"config diff {one}").returncode, 0)


if __name__ == "__main__":
    unittest.main()
