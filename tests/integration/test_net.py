# SPDX-License-Identifier: MIT
"""mvrp-net over running switches: collected as the example does, checked, explained, compared."""

import html.parser
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import time
import unittest
import xml.etree.ElementTree

from faults import names_of
from support import BUILD, NetworkTest, cable
from test_mvrpctl_json import schema, validate

ROOT = pathlib.Path(__file__).resolve().parents[2]
COLLECT = ROOT / "packaging" / "examples" / "collect" / "collect.sh"
PLAYBOOK = COLLECT.with_name("playbook.yml")
PROGRAM = BUILD / "network" / "mvrp-net"


HOSTILE = "</script><img src=x onerror=alert(1)>\"'&<!--/* the network */<!-- pictures -->"


class Page(html.parser.HTMLParser):
    """What a browser makes of a page: its elements, and the text of its scripts."""

    def __init__(self, path):
        super().__init__()
        self.elements, self.scripts, self.within = [], [], None
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        self.elements.append((tag, sorted(name for name, _ in attrs)))
        self.within = tag
        if tag == "script":
            self.scripts.append("")

    def handle_endtag(self, tag):
        self.within = None

    def handle_data(self, data):
        if self.within == "script":
            self.scripts[-1] += data


class Collected(NetworkTest):
    """The switches of self.net, collected as the example does, and mvrp-net over what came in."""

    def await_findings(self, name, expected, within=30):
        """Collects until these are the reasons of all errors and warnings. @return them"""
        deadline = time.monotonic() + within
        while True:
            self.assertEqual(self.collect(name).returncode, 0)
            found = [each for each in self.query("check", self.directory / name, status=None)["findings"]
                     if each["severity"] != "note"]
            if [each["reason"] for each in found] == expected:
                return found
            self.assertLess(time.monotonic(), deadline, found)
            time.sleep(0.2)

    def collect(self, name, hosts=None):
        """By the shell loop, with a daemon's directory in place of a host."""
        inventory = self.directory / "inventory"
        inventory.write_text("# the switches\n\n" + "".join(f"{host}\n" for host in hosts or self.net.nodes),
                             encoding="utf-8")
        command = self.directory / "ask"
        command.write_text(f"#!/bin/sh\nMVRP_RUNTIME_DIR={self.directory}/$1 exec "
                           f"{next(iter(self.net.nodes.values())).mvrpctl} snapshot\n", encoding="utf-8")
        command.chmod(0o755)
        environment = {"PATH": "/usr/bin:/bin", "COLLECT_COMMAND": str(command)}
        return subprocess.run([COLLECT, inventory, self.directory / name], env=environment,
                              capture_output=True, text=True, timeout=120, check=False)

    def run_net(self, *words, status=0):
        done = subprocess.run([PROGRAM, *map(str, words)], capture_output=True, text=True, timeout=60,
                              check=False)
        if status is not None:
            self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done

    def query(self, command, *words, status=0):
        return json.loads(self.run_net(command, "-j", *words, status=status).stdout)


class Net(Collected):
    """west - middle - east; VLAN 30 is wanted at both ends."""

    def setUp(self):
        super().setUp()
        self.net = self.start({"west": "10,30", "middle": "-", "east": "30"},
                              [cable("west", "middle"), cable("middle", "east")], corrections="all")
        self.assert_state(self.net, middle={"learnt": "10,30"}, east={"learnt": "10"})
        self.await_findings("settled", [])

    def test_a_network_in_which_all_is_well(self):
        self.assertEqual(self.collect("good").returncode, 0)
        cables = self.query("topology", self.directory / "good")["cables"]
        self.assertEqual([(c["a"]["switch"], c["b"]["switch"]) for c in cables],
                         [("east", "middle"), ("middle", "west")])
        self.assertTrue(all(c["evidence"]["heardAtA"] and c["evidence"]["heardAtB"] for c in cables))
        found = self.query("check", self.directory / "good")["findings"]
        self.assertEqual([f["reason"] for f in found], ["onePlace"])
        self.assertIn("connected", self.run_net("explain", 30, self.directory / "good").stdout)

    def test_a_fault_is_found_explained_and_mended_by_what_is_said(self):
        self.assertEqual(self.collect("before").returncode, 0)
        middle = self.net.nodes["middle"]
        middle.change("set port west registration forbidden")
        self.assert_state(self.net, east={"learnt": "-"})
        found = self.await_findings("after", ["forbidden"])[0]
        self.assertEqual((found["severity"], found["reason"], found["switch"], found["port"], found["vlans"]),
                         ("error", "forbidden", "middle", "west", "30"))
        text = self.run_net("explain", 30, "--from", "east", "--to", "west", self.directory / "after",
                            status=1).stdout
        self.assertIn("ok    east:middle - middle:east", text)
        self.assertIn("STOPS", text)
        changed = self.query("diff", self.directory / "before", self.directory / "after",
                             status=1)["differences"]
        self.assertIn(("middle:west", "registration", "normal", "forbidden"),
                      [tuple(each.values()) for each in changed])
        for command in found["commands"]:
            middle.change(command.removeprefix("mvrpctl "))
        self.assert_state(self.net, east={"learnt": "10"})

    def run_playbook(self, *hosts):
        """As its first lines say, on hosts that are this machine, each with the directory of its daemon."""
        lines = ["[switches]"]
        for host in hosts:
            python = self.directory / f"python-{host}"
            python.write_text(f"#!/bin/sh\nMVRP_RUNTIME_DIR={self.directory}/{host} "
                              f'exec {sys.executable} "$@"\n', encoding="utf-8")
            python.chmod(0o755)
            lines.append(f"{host} ansible_connection=local ansible_python_interpreter={python}")
        inventory = self.directory / "ansible-inventory"
        inventory.write_text("\n".join(lines) + "\n", encoding="utf-8")
        programs = next(iter(self.net.nodes.values())).mvrpctl.parent
        environment = {"PATH": f"{programs}:/usr/bin:/bin", "HOME": str(self.directory), "LC_ALL": "C.UTF-8",
                       "PWD": str(self.directory)}
        return subprocess.run(["ansible-playbook", "-i", inventory, "-e", "into=played", PLAYBOOK],
                              cwd=self.directory, env=environment, capture_output=True, text=True,
                              timeout=300, check=False)

    @unittest.skipUnless(shutil.which("ansible-playbook"), "ansible-core is not installed")
    def test_the_playbook_collects_what_the_loop_does(self):
        done = self.run_playbook(*self.net.nodes)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        played = self.directory / "played"
        self.assertEqual(sorted(path.name for path in played.iterdir()),
                         sorted(f"{name}.json" for name in self.net.nodes))
        for path in played.iterdir():
            text = path.read_text(encoding="utf-8")
            self.assertEqual(json.loads(text)["switch"]["name"], path.stem)
            self.assertEqual(validate(text, schema("snapshot")), 1)
        self.assertEqual(self.query("check", played)["cables"], 2)

    @unittest.skipUnless(shutil.which("ansible-playbook"), "ansible-core is not installed")
    def test_the_playbook_goes_on_without_a_switch_that_does_not_answer(self):
        done = self.run_playbook("west", "nobody")
        self.assertEqual(done.returncode, 2, done.stdout + done.stderr)
        self.assertEqual([path.name for path in (self.directory / "played").iterdir()], ["west.json"])
        self.assertRegex(done.stdout, r"(?m)^nobody .*failed=1")

    def test_what_can_not_be_used_is_a_line_and_the_rest_goes_on(self):
        done = self.collect("some", [*self.net.nodes, "nobody"])
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("collect: nobody: no snapshot", done.stderr)
        some = self.directory / "some"
        self.assertEqual(sorted(path.name for path in some.iterdir()),
                         ["east.json", "middle.json", "west.json"])
        whole = (some / "west.json").read_text(encoding="utf-8")
        (some / "cut.json").write_text(whole[:-100], encoding="utf-8")
        (some / "later.json").write_text(whole.replace('"version":1', '"version":9'), encoding="utf-8")
        copy = whole.replace('"name":"west"', '"name":"co\\u001bpy"')
        (some / "copy.json").write_text(copy, encoding="utf-8")
        done = self.run_net("check", some, status=0)
        for words in ("cut.json: is no JSON", "later.json: is a snapshot of version 9",
                      "have the same MAC addresses"):
            self.assertIn(words, done.stderr)
        self.assertNotIn("\x1b", done.stdout + done.stderr)
        self.run_net("check", self.directory / "missing", status=2)

    def test_the_answers_fit_their_schemas(self):
        self.assertEqual(self.collect("before").returncode, 0)
        middle = self.net.nodes["middle"]
        middle.change("set port west registration forbidden")
        self.await_findings("after", ["forbidden"])
        before, after = self.directory / "before", self.directory / "after"
        (after / "cut.json").write_text("{", encoding="utf-8")
        for name, words, status in (("net-topology", [after], 0), ("net-check", [after], 1),
                                    ("net-explain", [30, after], 1), ("net-explain", [30, before], 0),
                                    ("net-explain", [4000, after], 0), ("net-diff", [before, after], 1),
                                    ("net-diff", [after, after], 0)):
            with self.subTest(name):
                text = self.run_net(name.removeprefix("net-"), "-j", *words, status=status).stdout
                self.assertEqual(validate(text, schema(name)), 1)
        with self.assertRaises(AssertionError):
            validate(text.replace('"differences"', '"difference"'), schema("net-diff"))

    def test_a_map_is_a_page_or_a_picture_whatever_names_hold(self):
        self.net.nodes["middle"].change("set port west registration forbidden")
        self.await_findings("good", ["forbidden"])
        good, hostile = self.directory / "good", self.directory / "hostile"
        shutil.copytree(good, hostile)
        for path in hostile.iterdir():
            text = path.read_text(encoding="utf-8")
            for name in ("west", "middle"):
                text = text.replace(f'"name":"{name}"', f'"name":{json.dumps(name + HOSTILE)}')
            path.write_text(text, encoding="utf-8")
        pages = {}
        for where in (good, hostile):
            self.run_net("map", "-o", self.directory / "map.html", where, status=1)
            pages[where] = Page(self.directory / "map.html")
            self.run_net("map", "--vlan", 30, "-o", self.directory / "map.svg", where, status=1)
            picture = xml.etree.ElementTree.parse(self.directory / "map.svg").getroot()
            names = [each.text for each in picture.iter("{http://www.w3.org/2000/svg}title")]
            self.assertIn("west" if where == good else "west" + HOSTILE, names)
        self.assertEqual(pages[good].elements, pages[hostile].elements)
        facts = json.loads(pages[hostile].scripts[0])
        self.assertIn("west" + HOSTILE, [each["name"] for each in facts["switches"]])
        self.assertEqual((facts["vlan"], facts["findings"][0]["port"]), (30, "west" + HOSTILE))
        self.assertNotIn("http", pages[good].scripts[1].replace("http://www.w3.org/2000/svg", ""))

    def test_a_map_says_what_names_are_allowed_and_leaves_nothing_half_written(self):
        self.assertEqual(self.collect("good").returncode, 0)
        for name, words in (("map.png", "allowed are names that end in .html or .svg"),
                            ("nowhere/map.html", "can not be written: No such file or directory")):
            done = self.run_net("map", "-o", self.directory / name, self.directory / "good", status=2)
            self.assertIn(words, done.stderr)
        self.assertEqual([path.name for path in self.directory.glob("*map*")], [])

    @unittest.skipUnless(shutil.which("chromium"), "chromium is not installed")
    def test_a_browser_runs_the_page_to_its_end(self):
        self.net.nodes["middle"].change("set port west registration forbidden")
        self.await_findings("after", ["forbidden"])
        self.run_net("map", "-o", self.directory / "map.html", self.directory / "after", status=1)
        words = ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--dump-dom",
                 f"--user-data-dir={self.directory}/profile", f"file://{self.directory}/map.html"]
        done = subprocess.run(words, capture_output=True, text=True, timeout=120, check=False)
        shown = re.findall(r'(<p id="about">.*?<|<li class="error">.*?</li>)', done.stdout)
        self.assertEqual(shown[0], '<p id="about">VLAN 30: static on east, west; learnt on 1 switch. '
                                   'It stops at middle:west - west:middle.<')
        self.assertIn("On middle: mvrpctl set port west registration normal", shown[1])

    def test_an_archive_is_as_good_as_a_directory(self):
        self.assertEqual(self.collect("good").returncode, 0)
        archive = self.directory / "good.tar"
        with tarfile.open(archive, "w") as tar:
            tar.add(self.directory / "good", "a-directory-with-a-name/" + "x" * 120)
        listed = self.query("topology", archive)
        self.assertEqual([each["name"] for each in listed["switches"]], ["east", "middle", "west"])
        shutil.rmtree(self.directory / "good")
        self.run_net("diff", archive, archive)


class Fifty(Collected):
    def test_the_loop_collects_fifty_daemons(self):
        names = names_of(50)
        first, last = names[0], names[-1]
        switches = {name: "77" if name in (first, last) else "-" for name in names}
        # Each has four below it.
        cables = [cable(names[(number - 1) // 4], names[number]) for number in range(1, 50)]
        self.net = self.start(switches, cables, corrections="all")
        # Those between the two, and one away from them.
        self.assert_state(self.net, **{names[at]: {"learnt": "77"} for at in (3, 12, 1)})
        self.await_findings("fifty", [], 120)
        files = sorted(path.name for path in (self.directory / "fifty").iterdir())
        self.assertEqual(files, sorted(f"{name}.json" for name in names))
        answer = self.query("check", self.directory / "fifty")
        self.assertEqual((answer["switches"], answer["cables"], answer["problems"]), (50, 49, []))
        way = self.run_net("explain", 77, "--from", last, "--to", first, self.directory / "fifty").stdout
        self.assertIn(f"{last} to {first}: connected", way)
