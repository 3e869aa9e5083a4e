# SPDX-License-Identifier: MIT
"""Every JSON answer of mvrpctl against its JSON Schema, the metrics against a public parser, and what
is made from the table of commands: completion and the manual page."""

import csv
import io
import json
import pathlib
import re
import subprocess
import unittest

from support import NetworkTest, cable

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCHEMAS = ROOT / "schema"
VALIDATE = ["/usr/bin/python3", str(pathlib.Path(__file__).with_name("validate.py"))]
CAPTURES = ROOT / "tests" / "data" / "captures"
NO_JSON = {"metrics", "manual", "completion", "help"}


def validate(text, *arguments):
    done = subprocess.run([*VALIDATE, *map(str, arguments)], input=text, capture_output=True,
                          text=True, timeout=60, check=False)
    if done.returncode != 0:
        raise AssertionError(done.stderr[-2000:])
    return int(done.stdout)


def schema(name):
    return SCHEMAS / f"{name}.schema.json"


class Json(NetworkTest):
    def setUp(self):
        super().setUp()
        net = self.start({"west": "10-12", "middle": "-"}, [cable("west", "middle")])
        self.switch = net.nodes["middle"]
        self.assert_state(net, middle={"learnt": "10-12"})

    def assert_valid(self, command, name, status=0):
        done = self.switch.control("-j " + command)
        self.assertIn(done.returncode, (0, 1) if status is None else (status,), done.stderr)
        self.assertEqual(validate(done.stdout, schema(name)), 1)

    def test_every_answer_fits_its_schema(self):
        file = self.directory / "saved.toml"
        covered = set()
        for command, name, status in (
                ("show", "global", 0), ("show corrections", "corrections", 0),
                ("show ports", "ports", 0), ("show port west", "ports", 0),
                ("show vlans", "vlans", 0), ("show vlan 10", "vlans", 0),
                ("show vlan 999", "vlans", 0), ("show state west", "state", 0),
                ("show state west 999", "state", 0), ("show counters", "counters", 0),
                ("show config", "config", 0), ("show running", "running", 0),
                ("show running west", "running", 0), ("show summary", "summary", 0),
                ("show statistics", "statistics", 0), ("clear statistics west", "done", 0),
                ("repair west", "repair", 0), ("repair nowhere", "error", 1),
                ("explain west 10", "explain", 0), ("explain west 999", "explain", 0),
                ("watch --seconds 1", None, 0),
                ("log", "log", 0), ("log --port west --vlan 10 --lines 5", "log", 0),
                ("wait --port west --vlan 10 --timeout 5", "wait", 0),
                ("wait --port west --vlan 10-11,12 --timeout 5", "wait", 0),
                ("wait --port west --vlan 998,999 --timeout 0 --gone", "wait", 0),
                ("doctor", "doctor", None), ("status", "status", None), ("snapshot", "snapshot", 0),
                (f"snapshot -o {self.directory / 'x.json'}", "done", 0),
                ("make-static west 11,99", "make-static", 0), ("make-static west 99", "error", 1),
                ("wait --port west --vlan 99 --timeout 0", "error", 1),
                (f"decode {CAPTURES / 'gvrp-20-vlans.pcap'}", "decode", 0),
                (f"capture {self.directory / 'x.pcap'} --seconds 1", "capture", 0),
                (f"config save {file}", "config-file", 0),
                (f"config check {file}", "config-file", 0), ("config apply", "config-apply", 0),
                ("config show", "config", 0),
                ("config plan", "config-plan", 0), ("config plan /no/such/file", "config-plan", 3),
                ("support --list", "support", 0),
                (f"config diff {file}", "config-diff", 0),
                ("set port west registration fixed", "done", 0),
                (f"config diff {file}", "config-diff", 1),
                ("set global compliance off", "done", 0), ("set debug none", "done", 0),
                ("switch vlan create 77", "done", 0), ("switch vlan delete 4000", "done", 0),
                ("show port north", "error", 1), ("standby take-over", "error", 1),
                ("debug list", "functions", 0), ("debug call mvrpDbgGlbShow", "output", 0),
                ("debug request 6 0 5", "reply", 0), ("debug vlan all", "done", 0),
                ("debug port all", "done", 0), ("switch port link west up", "done", 0),
                ("switch tunnel west take 01:80:c2:00:00:21", "done", 0)):
            with self.subTest(command):
                covered.add(" ".join(command.split()[:2]))
                covered.add(command.split()[0])
                if name is not None:
                    self.assert_valid(command, name, status)
        self.assert_all_covered(covered)

    def assert_all_covered(self, covered):
        """A command that is new has to be tried here."""
        page = self.switch.control("manual").stdout
        commands = {line.split("mvrpctl ")[1].replace("\\-", "-").split(" \\fI")[0].split(" [")[0]
                    for line in page.splitlines() if line.startswith(".SS ")}
        self.assertGreater(len(commands), 40)
        for command in commands:
            words = command.split()
            if words[0] not in NO_JSON:
                self.assertTrue(" ".join(words[:2]) in covered, f"{command} is not tried")

    def test_what_the_doctor_finds_fits_its_schema(self):
        self.switch.change("set global enable off")
        self.assert_valid("doctor", "doctor", 1)
        self.switch.stop()
        self.assert_valid("doctor", "doctor", 1)
        self.assert_valid("show", "error", 2)

    def test_every_schema_is_used(self):
        here = pathlib.Path(__file__)
        tests = [here, here.with_name("test_batch.py"), here.with_name("test_net.py"),
                 here.with_name("test_net_plan.py")]
        used = {name for test in tests
                for name in re.findall(r'"([a-z-]+)"', test.read_text(encoding="utf-8"))}
        for path in SCHEMAS.glob("*.schema.json"):
            self.assertIn(path.name.removesuffix(".schema.json"), used)

    def test_a_stream_of_changes_fits_its_schema(self):
        words = [self.switch.mvrpctl, "-j", "watch", "--states", "--seconds", "8"]
        with subprocess.Popen(words, env=self.switch.environment, stdout=subprocess.PIPE,
                              text=True) as watch:
            snapshot = watch.stdout.readline()
            self.switch.change("switch vlan create 77")
            changes, _ = watch.communicate(timeout=60)
        self.assertEqual(watch.returncode, 0)
        self.assertGreater(validate(snapshot + changes, schema("watch"), "--lines"), 1)

    def test_the_check_notices_what_does_not_fit(self):
        text = self.switch.control("-j show").stdout.replace('"uptime"', '"upTime"')
        with self.assertRaises(AssertionError):
            validate(text, schema("global"))

    def test_yaml_says_what_json_says(self):
        for command in ("show vlans", "show config", "show running", "debug list", "show port north"):
            with self.subTest(command):
                text = self.switch.control("-o yaml " + command).stdout
                done = subprocess.run([*VALIDATE, "--yaml"], input=text, capture_output=True, text=True,
                                      timeout=60, check=False)
                expected = self.switch.control("-o json " + command).stdout
                self.assertEqual(json.loads(done.stdout), json.loads(expected), text)

    def test_changes_are_a_stream_of_yaml_documents(self):
        text = self.switch.control("-o yaml watch --seconds 1").stdout
        self.assertTrue(text.startswith("---\nversion: 1\ntype: snapshot\n"), text)
        done = self.switch.control("-o csv watch --seconds 1")
        self.assertEqual((done.returncode, "allowed are" in done.stderr), (2, True))

    def test_csv_has_the_rows_of_json(self):
        for command, key in (("show config", "ports"), ("show running", "ports"),
                             ("show vlans", "vlans"), ("show counters", "counters")):
            rows = list(csv.DictReader(io.StringIO(self.switch.control("-o csv " + command).stdout)))
            answer = self.switch.query(command)[key]
            self.assertEqual(len(rows), len(answer))
            same = "vlans" if key == "vlans" else "name"
            self.assertEqual([row[same] for row in rows], [entry[same] for entry in answer])

    def test_a_wrong_format_names_those_that_there_are(self):
        done = self.switch.control("-o xml show")
        self.assertEqual(done.returncode, 2)
        self.assertIn("'xml' is no format; allowed are table, json, yaml or csv", done.stderr)
        self.assertEqual(self.switch.control("-j -o yaml show").returncode, 2)
        self.assertIn("statusName: wrongUsage", self.switch.control("-o yaml shwo").stdout)

    def test_metrics_are_read_by_a_public_parser(self):
        text = self.switch.control("metrics --openmetrics").stdout
        self.assertGreater(validate(text, "--openmetrics"), 50)
        self.assertIn('mvrp_port_vlans{port="west",unit="1",state="learnt"} 3', text)
        with self.assertRaises(AssertionError):
            validate(text.replace("# EOF\n", ""), "--openmetrics")


class FromTheTable(NetworkTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10-12", ports=("east", "west"))

    def complete(self, *words):
        done = subprocess.run([self.switch.mvrpctl, "__complete", *words], capture_output=True,
                              env=self.switch.environment, text=True, timeout=30, check=False)
        self.assertEqual(done.returncode, 0)
        return [line.split("\t")[0] for line in done.stdout.splitlines()]

    def test_words_ports_vlans_and_options_are_completed(self):
        self.assertIn("running", self.complete("show", ""))
        self.assertEqual(self.complete("show", "run"), ["running"])
        self.assertEqual(self.complete("explain", ""), ["east", "west"])
        self.assertEqual(self.complete("explain", "e"), ["east"])
        self.assertEqual(self.complete("explain", "east", "1"), ["1", "10", "11", "12"])
        self.assertEqual(self.complete("switch", "port", "link", "east", ""), ["down", "up"])
        self.assertIn("leave-time", self.complete("set", "port", "east", ""))
        self.assertEqual(self.complete("wait", "--port", "w"), ["west"])
        self.assertIn("--since", self.complete("watch", "--"))
        self.assertEqual(self.complete("config", "diff", ""), ["<files>"])
        self.assertEqual(self.complete("show", "running", "east", "w"), ["west"])

    def test_values_are_completed(self):
        for line, words in (("set port east registration ", ["fixed", "forbidden", "normal"]),
                            ("set port east participant f", ["full"]),
                            ("set global enable ", ["off", "on"]),
                            ("set port east join-time ", []),
                            ("set debug rec", ["receive"]),
                            ("set debug receive,t", ["receive,timer", "receive,transmit"]),
                            ("debug call mvrpDbgG", ["mvrpDbgGlbShow"]),
                            ("wait --vlan ", ["1", "10-12"]),
                            ("wait --port east --vlan 1,", ["1,1", "1,10-12"]),
                            ("switch vlan delete 10", ["10-12"]),
                            ("completion f", ["fish"]), ("-o j", ["json"]),
                            ("help show po", ["port", "ports"])):
            with self.subTest(line):
                self.assertEqual(self.complete(*line.split(" ")), words)

    def test_abbreviated_words_are_completed_as_if_they_were_whole(self):
        self.assertEqual(self.complete("sh", "run"), ["running"])
        self.assertEqual(self.complete("sh", "po", "w"), ["west"])
        self.assertEqual(self.complete("se", "po", "east", "regis"), ["registration"])

    def test_each_candidate_comes_with_what_it_means(self):
        done = subprocess.run([self.switch.mvrpctl, "__complete", "show", "port", ""],
                              capture_output=True, env=self.switch.environment, text=True,
                              timeout=30, check=True)
        self.assertEqual(done.stdout, "east\tunit 1, up\nwest\tunit 2, up\n")

    def test_completion_without_a_daemon_offers_what_it_can(self):
        self.switch.stop()
        self.assertEqual(self.complete("explain", ""), [])
        self.assertEqual(self.complete("show", "run"), ["running"])

    def test_bash_completes_a_line(self):
        script = self.switch.control("completion bash").stdout
        done = subprocess.run(
            ["bash", "-c", script + "\nPATH=$1:$PATH\nCOMP_WORDS=(mvrpctl explain e)\nCOMP_CWORD=2\n"
             "_mvrpctl\necho \"${COMPREPLY[@]}\"", "bash", self.switch.mvrpctl.parent],
            env=self.switch.environment, capture_output=True, text=True, timeout=30, check=False)
        self.assertEqual((done.stdout, done.stderr), ("east\n", ""))

    def test_the_files_that_are_made_from_the_table_are_current(self):
        for command, path in (("manual", "man/mvrpctl.8"),
                              ("completion bash", "completion/mvrpctl.bash"),
                              ("completion zsh", "completion/_mvrpctl"),
                              ("completion fish", "completion/mvrpctl.fish")):
            committed = (ROOT / "packaging" / path).read_text(encoding="utf-8")
            self.assertEqual(self.switch.control(command).stdout, committed,
                             f"run: mvrpctl {command} > packaging/{path}")

    def test_the_manual_names_every_option(self):
        page = self.switch.control("manual").stdout
        for word in ("\\-\\-since", "\\-\\-gone", "\\-\\-socket", "\\-\\-help", "\\-\\-version",
                     "EXAMPLES", "EXIT STATUS", "explain"):
            self.assertIn(word, page)

    def test_the_manual_writes_words_as_the_program_takes_them(self):
        page = self.switch.control("manual").stdout
        for word in ("up|down", "bash|zsh|fish", "yes|no", "static|dynamic", "native|ieee|auto"):
            self.assertIn(word, page)
            self.assertNotIn(word.capitalize(), page)


if __name__ == "__main__":
    unittest.main()
