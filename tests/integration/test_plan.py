# SPDX-License-Identifier: MIT
"""mvrp-plan: what it measures is what the timers say, its mistakes say what is allowed, its manual page
knows its options."""

import json
import pathlib
import re
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

from support import BUILD

ROOT = pathlib.Path(__file__).resolve().parents[2]
PLAN = BUILD / "plan" / "mvrp-plan"


def run(*words):
    return subprocess.run([PLAN, *map(str, words)], capture_output=True, text=True, timeout=120,
                          check=False)


def measure(*words):
    done = run("-j", *words)
    if done.returncode != 0:
        raise AssertionError(f"{words}: status {done.returncode}: {done.stderr}")
    return json.loads(done.stdout)


class Measures(unittest.TestCase):
    def test_a_leave_takes_a_leave_time_for_each_switch_on_the_way(self):
        timers = ("--join", 200, "--leave", 5000, "--leave-all", 20000, "--rest", 0)
        for switches in (3, 6):
            result = measure("--shape", "line", "--switches", switches, *timers)
            self.assertEqual(result["diameter"], switches)
            self.assertGreaterEqual(result["leave"]["ms"], (switches - 1) * 5000)
            self.assertLessEqual(result["leave"]["ms"], (switches + 1) * 5000)

    def test_a_join_takes_one_run_of_the_pending_timer_whatever_the_size(self):
        for words in (("line", "--switches", 2), ("line", "--switches", 12),
                      ("star", "--switches", 9, "--vlans", 4093)):
            result = measure("--shape", *words, "--rest", 0, "--leave", 12000)
            self.assertGreater(result["join"]["ms"], 0)
            self.assertLessEqual(result["join"]["ms"], 3000)

    def test_shapes_have_the_ports_and_ways_that_their_names_say(self):
        tree = measure("--shape", "tree", "--switches", 13, "--ports", 4, "--rest", 0)
        self.assertEqual((tree["ports"], tree["diameter"]), (52, 5))
        star = measure("--shape", "star", "--switches", 5, "--rest", 0)
        self.assertEqual((star["ports"], star["diameter"]), (8, 3))
        self.assertIsNone(star["rest"])

    def test_the_same_network_gives_the_same_figures(self):
        words = ("--shape", "tree", "--switches", 7, "--ports", 4, "--vlans", 20)
        first, second = measure(*words), measure(*words)
        for result in (first, second):
            result.pop("memory")
        self.assertEqual(first, second)
        self.assertEqual(first["version"], 1)

    def test_traffic_is_counted(self):
        result = measure("--shape", "line", "--switches", 4, "--rest", 240000)
        rest = result["rest"]
        self.assertEqual(rest["ms"], 240000)
        self.assertGreaterEqual(rest["frames"], 2 * result["ports"])
        self.assertGreater(rest["bytes"], 20 * rest["frames"])
        self.assertAlmostEqual(rest["framesPerPort"] * result["ports"], rest["frames"], places=3)
        self.assertGreaterEqual(rest["mostFramesOfAPort"], rest["framesPerPort"])

    def test_every_network_of_the_lab_that_is_a_tree_is_planned(self):
        for path in sorted((ROOT / "lab" / "topologies").glob("*.toml")):
            with self.subTest(path.name):
                result = measure(path, "--rest", 0)
                self.assertTrue(result["join"]["ended"] and result["leave"]["ended"])

    def test_the_table_has_the_figures_of_the_json(self):
        words = ("--shape", "line", "--switches", 3, "--leave", 12000)
        result, table = measure(*words), run(*words).stdout
        rows = dict(re.findall(r"^(join|at rest|leave) +(.*)$", table, re.MULTILINE))
        for title, phase in (("join", "join"), ("at rest", "rest"), ("leave", "leave")):
            figures = [float(word) for word in rows[title].split()]
            self.assertEqual(figures[:2], [result[phase]["ms"] / 1000, result[phase]["frames"]])
            self.assertEqual((figures[3], figures[5]), (result[phase]["mostFramesOfAPort"],
                                                        result[phase]["mostBytesOfAPort"]))

    def test_a_phase_is_shown_before_the_next_has_ended(self):
        words = ("--shape", "tree", "--switches", "100", "--ports", "8", "--rest", "0")
        with subprocess.Popen([PLAN, *words], stdout=subprocess.PIPE, text=True) as planning:
            self.assertTrue(any(line.startswith("join") for line in planning.stdout))
            planning.kill()
            self.assertNotIn("leave", planning.stdout.read())

    def test_a_plot_is_a_picture_with_both_curves(self):
        with tempfile.TemporaryDirectory() as directory:
            file = pathlib.Path(directory) / "plot.svg"
            measure("--shape", "line", "--switches", 4, "--vlans", 20, "--rest", 0, "--plot", file)
            root = xml.etree.ElementTree.parse(file).getroot()
        name = "{http://www.w3.org/2000/svg}"
        points = {phase: [len(curve.findall(f".//{name}use")) for curve in root.findall(
            f".//{name}g[@id='{phase}']")] for phase in ("join", "leave")}
        # Sizes 2 and 4 in the panels on the left, 1, 8 and 20 VLANs in those on the right.
        self.assertEqual(points, {"join": [2, 3, 2, 3], "leave": [2, 3, 2, 3]})

    def test_a_plot_says_what_it_shows_and_in_what(self):
        with tempfile.TemporaryDirectory() as directory:
            file = pathlib.Path(directory) / "plot.svg"
            measure("--shape", "tree", "--switches", 4, "--ports", 3, "--vlans", 3, "--leave", 12000,
                    "--rest", 0, "--plot", file)
            text = file.read_text(encoding="utf-8")
        written = re.findall(r"<!-- (.*?) -->", text)  # the text of what is drawn as curves
        self.assertIn("tree of 4 switches with 3 ports, 3 VLANs", written)
        self.assertIn("join 6000 ms, leave 12000 ms, leave-all 120000 ms", written)
        self.assertLessEqual({"time until all have changed (s)", "frames sent by a port",
                              "switches on the longest way"}, set(written))

    def test_a_plot_reports_as_without_it(self):
        words = ("--shape", "line", "--switches", 3, "--rest", 0)
        with tempfile.TemporaryDirectory() as directory:
            drawn = measure(*words, "--plot", pathlib.Path(directory) / "plot.png")
        drawn.pop("memory")
        plain = measure(*words)
        plain.pop("memory")
        self.assertEqual(drawn, plain)


class Mistakes(unittest.TestCase):
    def refused(self, *words):
        done = run(*words)
        self.assertEqual(done.returncode, 2, done.stderr)
        return done.stderr

    def file(self, text):
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory) / "network.toml"
            path.write_text(text, encoding="utf-8")
            return self.refused(path)

    def test_options(self):
        self.assertIn("line, star or tree", self.refused())
        self.assertIn("{line,star,tree}", self.refused("--shape", "ring"))
        self.assertIn("--ports", self.refused("--shape", "tree"))
        self.assertIn("3 to 48", self.refused("--shape", "tree", "--ports", 2))
        self.assertIn("200 to 6000", self.refused("--shape", "line", "--join", 5))
        self.assertIn("twice the join time", self.refused("--shape", "line", "--leave", 500))
        self.assertIn("leave time at least", self.refused("--shape", "line", "--leave-all", 700))
        self.assertIn("topology file", self.refused("/nowhere/at/all"))
        self.assertIn("leave-needed", self.refused("--shape", "line", "--corrections", "leaves"))
        self.assertIn(".svg", self.refused("--shape", "line", "--plot", "picture.xyz"))
        self.assertIn("can not be written",
                      self.refused("--shape", "line", "--plot", "/nowhere/at/all.svg"))
        self.assertIn("--shape", self.refused("lab/topologies/demo.toml", "--plot", "plot.svg"))

    def test_files(self):
        two = '[[switch]]\nname = "a"\n[[switch]]\nname = "b"\n'
        cable = '[[cable]]\nbetween = ["a", "b"]\n'
        self.assertIn("network.toml:6:", self.file(two + '[[cable]]\nbetween = ["a", "c"]\n'))
        self.assertIn("ring", self.file(two + cable + cable))
        self.assertIn("connected", self.file(two))
        self.assertIn("name of its own", self.file(two + two + cable))
        self.assertIn("2 to 1000", self.file('[[switch]]\nname = "a"\n'))
        self.assertIn("Known", self.file(two + cable + "colour = 1\n"))
        self.assertIn("200", self.file("[timers]\njoin = 3\n" + two + cable))
        self.assertIn("leave-needed", self.file('corrections = ["leaves"]\n' + two + cable))


class Manual(unittest.TestCase):
    def test_the_manual_has_each_option_and_no_other(self):
        page = (ROOT / "packaging" / "man" / "mvrp-plan.8").read_text(encoding="utf-8")
        described = {f"--{name}" for line in page.splitlines() if line.startswith(".It Fl ")
                     for name in re.findall(r"Fl -([a-z-]+)", line)}
        self.assertEqual(described, set(re.findall(r"--[a-z-]+", " ".join(
            re.findall(r"^  (-.*?)(?: {2}|$)", run("--help").stdout, re.MULTILINE)))) - {"--"})


if __name__ == "__main__":
    unittest.main()
