"""A program on a terminal of its own, and what a person sees there."""
import errno
import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import termios
import time

from world import LOOK_AGAIN_S, PATIENCE_S

# What a vt100 is told: to go somewhere, to go on from here, to clear; attributes and character sets say nothing here.
SEQUENCE = re.compile(r"\x1b\[([?\d;]*)([A-Za-z])|\x1b[()][A-Za-z0-9]|\x1b[=>78MDEH]")


class Screen:
    """The letters on a screen after what was written to it."""

    def __init__(self, lines, columns):
        self.lines, self.columns = lines, columns
        self.clear()

    def clear(self):
        self.rows = [[" "] * self.columns for _ in range(self.lines)]
        self.row = self.column = 0

    def text(self):
        return ["".join(row).rstrip() for row in self.rows]

    def write(self, text):
        at = 0
        while at < len(text):
            found = SEQUENCE.match(text, at)
            if found:
                at = found.end()
                if found.group(2):
                    self._obey(found.group(1), found.group(2))
            elif text[at] == "\x1b":
                return text[at:]  # not all of it is there yet
            else:
                self._letter(text[at])
                at += 1
        return ""

    def _letter(self, letter):
        if letter == "\r":
            self.column = 0
        elif letter == "\n":
            self.row = min(self.row + 1, self.lines - 1)
        elif letter == "\b":
            self.column = max(self.column - 1, 0)
        elif letter >= " ":
            if self.column < self.columns:
                self.rows[self.row][self.column] = letter
            self.column += 1

    def _obey(self, numbers, what):
        given = [int(one) if one.isdigit() else 0 for one in numbers.split(";")]
        first = given[0]
        if what == "H":
            self.row = min(max(first, 1), self.lines) - 1
            self.column = max(given[1] if len(given) > 1 else 1, 1) - 1
        elif what in "ABCD":
            step = max(first, 1)
            self.row += {"A": -step, "B": step}.get(what, 0)
            self.column += {"C": step, "D": -step}.get(what, 0)
            self.row = min(max(self.row, 0), self.lines - 1)
        elif what in "JK":
            begin = 0 if first else self.column
            end = self.column + 1 if first == 1 else self.columns
            self.rows[self.row][begin:end] = [" "] * (end - begin)
            if what == "J":
                for row in range(self.row + 1 if first != 2 else 0, self.lines):
                    self.rows[row] = [" "] * self.columns


class OnTerminal:
    """A program with a terminal as its standard input, output and error."""

    def __init__(self, words, lines=24, columns=80, environment=()):
        self._own, theirs = pty.openpty()
        self.screen = Screen(lines, columns)
        self._set_size(lines, columns)
        self.before = termios.tcgetattr(theirs)
        self._left = ""
        self.process = subprocess.Popen(
            words, stdin=theirs, stdout=theirs, stderr=theirs, start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0), env={**os.environ, "TERM": "vt100", **dict(environment)})
        self._theirs = theirs

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self._own)
        os.close(self._theirs)

    def _set_size(self, lines, columns):
        fcntl.ioctl(self._own, termios.TIOCSWINSZ, struct.pack("HHHH", lines, columns, 0, 0))

    def resize(self, lines, columns):
        self.screen = Screen(lines, columns)
        self._set_size(lines, columns)

    def press(self, keys):
        os.write(self._own, keys.encode())

    def read(self):
        """Takes in what there is."""
        while select.select([self._own], [], [], 0)[0]:
            try:
                told = os.read(self._own, 65536)
            except OSError as problem:
                assert problem.errno == errno.EIO
                return
            self._left = self.screen.write(self._left + told.decode(errors="replace"))

    def wait_for(self, what, predicate):
        """Looks until the predicate holds of the lines on the screen."""
        until = time.monotonic() + PATIENCE_S
        while True:
            self.read()
            if value := predicate(self.screen.text()):
                return value
            assert time.monotonic() < until, f"waited for {what}; on the screen:\n" + "\n".join(self.screen.text())
            time.sleep(LOOK_AGAIN_S)

    def wait_for_end(self):
        until = time.monotonic() + PATIENCE_S
        while self.process.poll() is None:
            self.read()  # a terminal that nobody reads holds up who writes to it
            assert time.monotonic() < until, "it does not end"
            time.sleep(LOOK_AGAIN_S)
        self.read()
        return self.process.returncode

    def is_as_before(self):
        """The terminal has its settings back."""
        return termios.tcgetattr(self._theirs) == self.before

    def signal(self, which=signal.SIGTERM):
        self.process.send_signal(which)
