# SPDX-License-Identifier: MIT
"""Every option of mvrp, mvrpctl, mvrp-net and mvrp-plan is in the program's help, in its manual page
and in its completion: the three lists are compared."""

import os
import pathlib
import re
import subprocess
import unittest

from support import BUILD

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = {"mvrp": BUILD / "platform" / "host" / "mvrp", "mvrp-plan": BUILD / "plan" / "mvrp-plan",
            "mvrp-net": BUILD / "network" / "mvrp-net", "mvrpctl": BUILD / "cli" / "mvrpctl"}
OPTION = re.compile(r"(?<![\w-])--?[a-z][a-z-]*")


def run(*words, **more):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, timeout=60,
                          check=True, **more).stdout


def in_help(*words):
    """The options that a help lists: "  -j,--json  print JSON"."""
    found = set()
    for line in run(*words, "--help").splitlines():
        if listed := re.match(r"  (-\S+)", line):
            found.update(listed[1].split(","))
    return found


def plain(troff):
    """A line of a page without its macros' arguments and fonts."""
    return re.sub(r"\\f[BIR]", "", troff.replace(r"\-", "-"))


def in_page(program):
    """The options that the page of mvrp or mvrp-plan describes: .It Fl -config Ar file"""
    text = (ROOT / "packaging" / "man" / f"{program}.8").read_text(encoding="utf-8")
    found = set()
    for line in re.findall(r"^\.It (Fl .*)$", text, re.MULTILINE):
        found.update("-" + name for name in re.findall(r"Fl ([\w-]+)", line))
    return found


class Pages:
    """mvrpctl(8): the options of the program, and those of each command."""

    def __init__(self):
        self.options, self.commands = set(), {}
        current, named = self.options, False
        text = (ROOT / "packaging" / "man" / "mvrpctl.8").read_text(encoding="utf-8")
        for line in map(plain, text.splitlines()):
            if line.startswith(".SS mvrpctl "):
                words = line.removeprefix(".SS mvrpctl ").split()
                path = " ".join(word for word in words if word == word.lower() and "[" not in word)
                current = self.commands.setdefault(path, set())
            elif line.startswith(".SH"):
                current = self.options if "OPTIONS" in line else set()
            if named:
                current.update(OPTION.findall(line))
            named = line == ".TP"


class OfBash:
    """The options that bash offers."""

    SCRIPT = """
        compopt() { :; }
        source "$1"
        program=$2
        shift 2
        COMP_WORDS=("$program" "$@" -) COMP_CWORD=$(($# + 1))
        _mvrp "$program"
        printf '%s\\n' "${COMPREPLY[@]}"
    """

    @classmethod
    def options(cls, program, *command):
        file = ROOT / "packaging" / "completion" / "mvrp.bash"
        return set(run("bash", "-c", cls.SCRIPT, "bash", file, PROGRAMS[program], *command).split())


def completed(*words):
    """What mvrpctl offers to the shells."""
    environment = os.environ | {"MVRP_RUNTIME_DIR": "/nonexistent"}
    lines = run(PROGRAMS["mvrpctl"], "__complete", *words, "-", env=environment).splitlines()
    return {line.split("\t")[0] for line in lines}


class Options(unittest.TestCase):
    def test_of_mvrp_and_mvrp_plan(self):
        for program in ("mvrp", "mvrp-plan"):
            with self.subTest(program):
                known = in_help(PROGRAMS[program])
                self.assertGreaterEqual(len(known), 3)
                self.assertEqual(in_page(program) | {"-h"}, known | {"-h"})
                self.assertEqual(OfBash.options(program), known)

    def test_of_every_command_of_mvrp_net(self):
        program = PROGRAMS["mvrp-net"]
        listed = run(program, "--help").partition("Subcommands:")[2]
        commands = re.findall(r"^  ([a-z]+) ", listed, re.MULTILINE)
        self.assertGreaterEqual(len(commands), 6)
        known = in_help(program)
        self.assertEqual(OfBash.options("mvrp-net"), known)
        for command in commands:
            with self.subTest(command):
                self.assertEqual(OfBash.options("mvrp-net", command), in_help(program, command))
            known |= in_help(program, command)
        page = (ROOT / "packaging" / "man" / "mvrp-net.8").read_text(encoding="utf-8")
        self.assertEqual({"-" + name for name in re.findall(r"Fl ([\w-]+)", page)}, known)

    def test_of_mvrpctl(self):
        known = in_help(PROGRAMS["mvrpctl"])
        self.assertIn("--atomic", known)
        self.assertEqual(Pages().options, known)
        self.assertEqual(completed(), known)

    def test_of_every_command_of_mvrpctl(self):
        everywhere = in_help(PROGRAMS["mvrpctl"])
        commands = Pages().commands
        self.assertGreater(len(commands), 50)
        for path, described in commands.items():
            if path == "help":
                continue
            with self.subTest(path):
                words = path.split()
                known = in_help(PROGRAMS["mvrpctl"], *words) - {"-h", "--help"}
                self.assertEqual(described, known)
                self.assertEqual(completed(*words), known | everywhere)

    def test_the_completions_of_zsh_and_fish_list_the_help_too(self):
        for name in ("_mvrp", "mvrp.fish"):
            text = (ROOT / "packaging" / "completion" / name).read_text(encoding="utf-8")
            self.assertIn("--help", text)

    def test_every_program_says_its_version(self):
        for program, path in PROGRAMS.items():
            self.assertRegex(run(path, "--version"), rf"^{program} \d+\.\d+\.\d+\b")

    def test_every_page_has_examples(self):
        for page in ("mvrp.8", "mvrpctl.8", "mvrp-net.8", "mvrp-plan.8"):
            text = plain((ROOT / "packaging" / "man" / page).read_text(encoding="utf-8"))
            self.assertRegex(text, r"(?m)^\.S[hH] EXAMPLES$")
            self.assertRegex(text, r"--help|Fl -help")


if __name__ == "__main__":
    unittest.main()
