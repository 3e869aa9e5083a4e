# SPDX-License-Identifier: MIT
"""A program at a terminal of its own: what is typed, and what comes of it."""

import os
import pty
import re
import select
import signal
import struct
import termios
import time
from fcntl import ioctl

ESCAPES = re.compile(r"\x1b\[[0-9;?]*[a-zA-Z]|\x1b[=>]|\x1b\][^\x07]*\x07|\r|\x08")
TAB, HOME, UP, END_OF_FILE, GIVE_UP = "\t", "\x01", "\x1b[A", "\x04", "\x03"
PATIENCE = 30


class AtTerminal:
    """A program at a terminal."""

    def __init__(self, words, environment, columns=80):
        self.text = ""
        self.raw = ""  # all that came, with what moves and colours it
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            os.execvpe(words[0], [str(word) for word in words], environment)

    def type(self, text):
        os.write(self.terminal, text.encode())

    def take(self):
        more = os.read(self.terminal, 65536).decode(errors="replace")
        self.raw += more
        self.text += ESCAPES.sub("", more)

    def await_text(self, pattern):
        """Reads until the pattern is there. @return its match"""
        deadline = time.monotonic() + PATIENCE
        while (found := re.search(pattern, self.text)) is None:
            ready, _, _ = select.select([self.terminal], [], [], max(0, deadline - time.monotonic()))
            if not ready:
                raise AssertionError(f"{pattern!r} did not come; there is: {self.text!r}")
            self.take()
        self.text = self.text[found.end():]
        return found

    def end(self):
        """Ends it by the end of its input. @return the exit status"""
        self.type(END_OF_FILE)
        return self.ended()

    def ended(self):
        """Waits until the program has ended. @return its exit status"""
        deadline = time.monotonic() + PATIENCE
        late = False
        try:
            while select.select([self.terminal], [], [], max(0, deadline - time.monotonic()))[0]:
                self.take()
            late = True
            os.kill(self.process, signal.SIGKILL)
        except OSError:
            pass  # the program has closed its terminal
        os.close(self.terminal)
        status = os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])
        if late:
            raise AssertionError(f"it did not end; there is: {self.raw[-500:]!r}")
        return status
