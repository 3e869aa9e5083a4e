# SPDX-License-Identifier: MIT
"""The shell of mvrpctl, at a terminal: prompt, completion, what may follow, history, Ctrl-C."""

import unittest

from at_terminal import GIVE_UP, TAB, UP, AtTerminal
from support import NetworkTest


class Prompt(AtTerminal):
    """The shell. Keys count only where it reads them: a command that runs has the terminal's own."""

    PROMPT = r"(sw|mvrpctl)> $"

    def type(self, text):
        self.await_text(self.PROMPT)
        super().type(text)

    def more(self, text):
        """Types on in the same line."""
        super().type(text)

    def give_up(self):
        self.more(GIVE_UP)


class Shell(NetworkTest):
    def setUp(self):
        super().setUp()
        self.switch = self.start_one("10-12", ports=("east", "west"))

    def shell(self, *words, columns=80, **environment):
        shell = Prompt([self.switch.mvrpctl, *words], self.switch.environment | {
            "TERM": "xterm", "HOME": str(self.directory), "XDG_STATE_HOME": ""} | environment,
            columns)
        shell.await_text("Ctrl-D leaves")
        return shell

    def test_commands_are_run_without_the_name_of_the_program(self):
        shell = self.shell()
        shell.type("show ports\n")
        shell.await_text("Unit  Name")
        shell.await_text("west")
        shell.type("mvrpctl sh vl\n")
        shell.await_text(r"static .*10-12")
        self.assertEqual(shell.end(), 0)

    def test_what_is_set_is_set(self):
        shell = self.shell()
        shell.type("set port east registration fixed\n")
        shell.type("exit\n")
        self.assertEqual(shell.ended(), 0)
        self.assertEqual(self.switch.query("show port east")["ports"][0]["registration"], "fixed")

    def test_a_tab_completes(self):
        shell = self.shell()
        shell.type("exp" + TAB + "ea" + TAB + "10\n")
        shell.await_text("VLAN 10 is on east")
        shell.type("set port east reg" + TAB + "no" + TAB + "\n")
        shell.await_text("set port east registration normal")
        shell.end()

    def test_a_tab_lists_what_several_words_mean(self):
        shell = self.shell()
        shell.type("show po" + TAB + TAB)
        shell.await_text(r"port +one port")
        shell.await_text(r"ports +all ports")
        shell.give_up()
        shell.end()

    def test_a_question_mark_lists_what_may_follow(self):
        shell = self.shell()
        shell.type("?")
        shell.await_text(r"explain +why a VLAN is")
        shell.await_text(r"quit +leave the shell")
        shell.type("switch port add ?")
        shell.await_text(r"UNIT +number of the new port")
        shell.more("5 x ?")
        shell.await_text(r"ENTER +add a port")
        # The line is still there, and can be ended.
        shell.more("\n")
        self.await_true(lambda: "x" in self.switch.control("show ports").stdout)
        shell.end()

    def test_what_may_follow_fits_a_narrow_terminal(self):
        shell = self.shell(columns=60)
        shell.type("?")
        listed = shell.await_text(r"(?s)\?\n(.*)quit ")[1]
        self.assertLessEqual(max(map(len, listed.splitlines())), 60)
        shell.end()

    def test_a_mistake_is_answered_and_the_shell_goes_on(self):
        shell = self.shell()
        shell.type("shwo\n")
        shell.await_text(r"did you mean show\?")
        shell.type("show port 'east\n")
        shell.await_text("a quotation mark has no second one")
        shell.type("show port nowhere\n")
        shell.await_text("no port 'nowhere'")
        self.assertEqual(shell.end(), 0)

    def test_ctrl_c_gives_up_a_line(self):
        shell = self.shell()
        shell.type("switch vlan create 99")
        shell.give_up()
        shell.await_text(r"\^C")
        shell.type("show vlans\n")
        shell.await_text("static")
        self.assertEqual(shell.end(), 0)
        self.assertNotIn("99", self.switch.control("show vlans").stdout)

    def test_ctrl_c_ends_a_command_and_not_the_shell(self):
        shell = self.shell()
        shell.type("watch\n")
        shell.await_text("east")
        shell.give_up()
        shell.type("show vlans\n")
        shell.await_text("static")
        self.assertEqual(shell.end(), 0)

    def test_lines_are_remembered_by_the_next_shell(self):
        shell = self.shell()
        shell.type("show corrections\n")
        shell.end()
        file = self.directory / ".local" / "state" / "mvrpctl_history"
        self.assertEqual(file.stat().st_mode & 0o777, 0o600)
        shell = self.shell()
        shell.type(UP + "\n")
        shell.await_text("show corrections")
        shell.end()

    def test_options_hold_for_every_line(self):
        shell = self.shell("-j")
        shell.type("show ports\n")
        shell.await_text(r'"version": 1')
        shell.end()

    def test_it_waits_for_a_daemon_that_is_not_there(self):
        self.switch.stop()
        shell = self.shell()
        shell.type("show\n")
        shell.await_text("is mvrp running?")
        self.assertEqual(shell.end(), 0)

    def test_without_a_terminal_a_command_is_missing(self):
        done = self.switch.control("")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("a command is missing", done.stderr)

    def test_no_colour_is_heeded(self):
        for colour, expected in (("", True), ("1", False)):
            shell = Prompt([self.switch.mvrpctl], self.switch.environment | {
                "TERM": "xterm", "HOME": str(self.directory), "NO_COLOR": colour})
            shell.await_text("Ctrl-D leaves")
            shell.end()
            self.assertEqual("\x1b[1m" in shell.raw, expected)


if __name__ == "__main__":
    unittest.main()
