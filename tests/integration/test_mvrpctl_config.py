# SPDX-License-Identifier: MIT
"""config check, show, diff and save: the file and what runs."""

import json
import signal
import subprocess
import unittest

from support import BUILD, NetworkTest


class Config(NetworkTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10-12", ports=("east", "west"))
        self.file = self.switch.configuration_file

    def differences(self):
        done = self.switch.control("-j config diff")
        self.assertIn(done.returncode, (0, 1), done.stderr)
        return {(d["name"], d["setting"]): (d["file"], d["running"])
                for d in json.loads(done.stdout)["differences"]}

    def test_what_runs_is_what_the_file_says(self):
        done = self.switch.control("config diff")
        self.assertEqual((done.returncode, done.stdout),
                         (0, "What runs is what the file says.\n"))

    def test_every_kind_of_difference_is_found(self):
        self.switch.change("set port east leave-time 1000")
        self.switch.change("set port west enable off")
        self.switch.change("switch vlan create 99")
        self.switch.change("switch port pvid west 12")
        self.switch.change("switch port add 9 new")
        found = self.differences()
        self.assertEqual(found["east", "leave-time"], ("450", "1000"))
        self.assertEqual(found["west", "enable"], ("on", "off"))
        self.assertEqual(found[None, "vlan ids"], ("1,10-12", "1,10-12,99"))
        self.assertEqual(found["west", "pvid"], ("1", "12"))
        self.assertEqual(found["new", "port"], ("not there", "there"))
        self.assertEqual(self.switch.control("config diff").returncode, 1)

    def test_save_keeps_comments_and_the_backup_and_leaves_no_difference(self):
        before = "# my own words\n" + self.file.read_text(encoding="utf-8")
        self.file.write_text(before, encoding="utf-8")
        self.switch.change("set port east leave-time 1000")
        done = self.switch.control("config save")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.differences(), {})
        self.assertTrue(self.file.read_text(encoding="utf-8").startswith("# my own words\n"))
        self.assertEqual(self.file.with_name(self.file.name + "~").read_text(encoding="utf-8"),
                         before)

    def test_a_daemon_that_starts_with_a_saved_file_runs_as_before(self):
        self.switch.change("set port east registration fixed")
        self.switch.change("switch vlan create 99")
        self.switch.change("switch port permit west 5-9")
        self.switch.change("config save")
        before = self.switch.query("show config")
        self.switch.stop()
        self.switch.process = subprocess.Popen(
            [self.switch.mvrp, "--config", self.file], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=self.switch.environment)
        self.switch.wait_ready()
        self.assertEqual(self.switch.query("show config"), before)
        self.assertEqual(self.differences(), {})

    def test_what_is_shown_is_a_configuration_file(self):
        text = self.switch.control("config show").stdout
        copy = self.directory / "copy.toml"
        copy.write_text(text, encoding="utf-8")
        done = self.switch.control(f"config diff {copy}")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_corrections_are_shown_compared_and_fixed_until_the_next_start(self):
        self.assertIn('[mvrp]\ncorrections = "none"\n', self.switch.control("config show").stdout)
        text = self.file.read_text(encoding="utf-8")
        self.file.write_text(text + '\n[mvrp]\ncorrections = ["leave-needed", "admission"]\n',
                             encoding="utf-8")
        self.assertEqual(self.differences(),
                         {(None, "corrections"): ("leave-needed, admission", "none")})
        self.switch.process.send_signal(signal.SIGHUP)
        self.await_true(lambda: "[mvrp] corrections has changed in the configuration; this takes "
                        "effect at the next start" in self.switch.log.read_text(encoding="utf-8"))
        self.assertIn((None, "corrections"), self.differences())

    def test_a_misspelt_correction_is_refused_with_a_suggestion(self):
        wrong = self.directory / "wrong.toml"
        wrong.write_text('[mvrp]\ncorrections = ["leave-neded"]\n', encoding="utf-8")
        for command in ([BUILD / "cli" / "mvrpctl", "config", "check", wrong],
                        [BUILD / "platform" / "host" / "mvrp", "--config", wrong, "--check"]):
            done = subprocess.run(command, timeout=30, capture_output=True, text=True, check=False)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn('wrong.toml:2:16: [mvrp] corrections names "leave-neded"; did you mean '
                          '"leave-needed"?', done.stderr)

    def test_check_needs_no_daemon_and_says_where_a_file_is_wrong(self):
        self.switch.stop()
        wrong = self.directory / "wrong.toml"
        wrong.write_text("[switch]\ndriver = \"hard\"\n", encoding="utf-8")
        done = subprocess.run([BUILD / "cli" / "mvrpctl", "config", "check", wrong], timeout=30,
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("wrong.toml:2:", done.stderr)
        done = self.switch.control(f"config check {self.file}")
        self.assertEqual((done.returncode, done.stdout), (0, f"{self.file}: right\n"))

    def test_a_file_that_can_not_be_written_is_refused_and_nothing_changes(self):
        done = self.switch.control("config save /no/such/directory/mvrp.toml")
        self.assertEqual(done.returncode, 1)
        self.assertIn("cannot write", done.stderr)


if __name__ == "__main__":
    unittest.main()
