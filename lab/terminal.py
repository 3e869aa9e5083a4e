# SPDX-License-Identifier: MIT
"""Writing for a person who watches: headings, a line that changes while something is awaited."""

import os
import shutil
import sys
import textwrap


class Terminal:
    """Standard output; plain when it is no terminal or NO_COLOR is set."""

    def __init__(self):
        self.live = sys.stdout.isatty()
        self.colour = self.live and "NO_COLOR" not in os.environ
        self.started = False

    def paint(self, code, text):
        return f"\x1b[{code}m{text}\x1b[0m" if self.colour else text

    def clear(self):
        if self.live:
            sys.stdout.write("\r\x1b[K")

    def line(self, text=""):
        self.clear()
        print(text, flush=True)

    def heading(self, text):
        self.line()
        self.line(self.paint("1", f"== {text}"))

    def paragraph(self, text):
        """Wrapped to the terminal, or to 80 columns."""
        width = min(shutil.get_terminal_size().columns, 100)
        for part in text.strip().split("\n\n"):
            for line in textwrap.wrap(part, width - 4):
                self.line("  " + line)

    def good(self, text):
        self.line("  " + self.paint("32", "ok") + "  " + text)

    def bad(self, text):
        self.line("  " + self.paint("31", "FAILED") + "  " + text)

    def news(self, text):
        self.line("      " + self.paint("2", text))

    def progress(self, text):
        """A line that the next one replaces; nothing where lines stay."""
        if self.live:
            width = shutil.get_terminal_size().columns - 1
            sys.stdout.write("\r\x1b[K" + self.paint("2", ("  ... " + text)[:width]))
            sys.stdout.flush()

    def command(self, node, command, output):
        self.line()
        self.line("  " + self.paint("2", f"{node}$ ") + self.paint("1", f"mvrpctl {command}"))
        for text in output.splitlines():
            self.line("  " + text)
